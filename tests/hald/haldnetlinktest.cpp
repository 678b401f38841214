// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "busclient.h"
#include "files.h"
#include "haldprocess.h"
#include "testmain.h"

#include <QDir>
#include <QtEndian>

#include <memory>
#include <optional>

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString modem = "usb_device_1110_9041_noserial"_s;
constexpr char modemPath[] = "/devices/kestra/usb1/1-4"; // in no sysfs

constexpr quint32 udevGroup = 2;

/** The hash (MurmurHash2) by which the kernel is told to filter. */
quint32 hashOf(const QByteArray &text)
{
    constexpr quint32 factor = 0x5bd1e995;
    quint32 hash = quint32(text.size());
    int i = 0;
    for (; i + 4 <= text.size(); i += 4) {
        quint32 part = qFromLittleEndian<quint32>(text.constData() + i) * factor;
        part ^= part >> 24;
        hash = (hash * factor) ^ (part * factor);
    }
    const int rest = int(text.size()) - i;
    for (int k = rest; --k >= 0;)
        hash ^= quint32(uchar(text.at(i + k))) << (8 * k);
    if (rest > 0)
        hash *= factor;
    hash ^= hash >> 13;
    hash *= factor;
    return hash ^ (hash >> 15);
}

/** What udev sends in front of the properties of an event. */
struct Header
{
    char prefix[8] = "libudev";
    quint32 magic = qToBigEndian(0xfeedcafeU);
    quint32 size = sizeof(Header);
    quint32 propertiesOffset = sizeof(Header);
    quint32 propertiesSize = 0;
    quint32 subsystemHash = 0;
    quint32 typeHash = 0;
    quint32 tags[2] = {};
};

/** The place of udev: it sends events as udev does, through the kernel. */
class Sender
{
public:
    Sender() : m_socket(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT)) { }
    ~Sender() { close(m_socket); }
    Q_DISABLE_COPY(Sender)

    /** Returns whether the kernel let it pass. */
    bool send(const QByteArray &action, const QByteArray &path, const QByteArray &padding = {})
    {
        const QByteArray subsystem = "usb";
        const QByteArray type = "usb_device";
        QByteArray properties;
        for (const QByteArray &property :
             {"ACTION=" + action, "DEVPATH=" + path, "SUBSYSTEM=" + subsystem, "DEVTYPE=" + type,
              "SEQNUM=" + QByteArray::number(++m_number), QByteArray("PRODUCT=1110/9041/0"),
              "PADDING=" + padding})
            properties += property + '\0';
        Header header;
        header.propertiesSize = quint32(properties.size());
        header.subsystemHash = qToBigEndian(hashOf(subsystem));
        header.typeHash = qToBigEndian(hashOf(type));
        const QByteArray message =
            QByteArray(reinterpret_cast<const char *>(&header), sizeof header) + properties;
        sockaddr_nl address = {};
        address.nl_family = AF_NETLINK;
        address.nl_groups = udevGroup;
        return sendto(m_socket, message.constData(), size_t(message.size()), 0,
                      reinterpret_cast<const sockaddr *>(&address), sizeof address)
            == message.size();
    }

private:
    int m_socket;
    int m_number = 0;
};

/** How many events the kernel had no room for, of those who listen to udev. */
int droppedEvents()
{
    int result = 0;
    const QList<QByteArray> sockets = readFile("/proc/net/netlink"_s).split('\n');
    for (const QByteArray &line : sockets) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 8 && fields.at(1).toInt() == NETLINK_KOBJECT_UEVENT
            && fields.at(3).toUInt(nullptr, 16) == udevGroup)
            result += fields.at(8).toInt();
    }
    return result;
}

}

/** The service on the kernel's own way of events, without umockdev. */
class HaldNetlinkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void eventsAreReceived();
    void lostEventsAreMadeUpFor();
    void lostEventsOften();
    void lossAtTheEndOfOneGo();

private:
    /** Holds the service up and sends more than the kernel keeps for it. */
    bool overrun();
    /** The same with few large events. Returns how many the kernel has kept; 0 if none was lost. */
    int overrunWith(int eventSize);
    bool waitForEvent(const QString &event);
    /** How often it has said that events were lost, at its end. */
    int lossCount();

    std::optional<HaldProcess> m_daemon;
    std::optional<BusClient> m_client;
    std::optional<Witness> m_witness;
    std::optional<Sender> m_sender;
};

void HaldNetlinkTest::initTestCase()
{
    makeDirectory("/run/udev"_s);
    writeFile("/run/udev/control"_s, ""); // without it libudev takes udev for absent
    if (!Sender().send("add", "/devices/nobody"))
        QSKIP("this user may send no events here; try root");
}

void HaldNetlinkTest::init()
{
    m_daemon.emplace();
    QVERIFY(m_daemon->start());
    m_client.emplace();
    m_witness.emplace(Witness::Believes);
    m_sender.emplace();
}

void HaldNetlinkTest::cleanup()
{
    m_sender.reset();
    m_witness.reset();
    m_client.reset();
    m_daemon.reset();
    remove("/run/udev/data"_s);
}

bool HaldNetlinkTest::waitForEvent(const QString &event)
{
    return waitUntil([&] { return m_witness->events().contains(event); });
}

int HaldNetlinkTest::lossCount()
{
    m_daemon->stop(); // its log is complete then
    return int(m_daemon->takeLog().filter("Events were lost"_s).size());
}

bool HaldNetlinkTest::overrun()
{
    m_daemon->pause();
    const QByteArray padding(6000, 'x');
    for (int i = 0; i < 12000; ++i) { // 70 MiB
        if (!m_sender->send("change", modemPath, padding))
            return false;
    }
    return true;
}

int HaldNetlinkTest::overrunWith(int eventSize)
{
    m_daemon->pause();
    const QByteArray padding(eventSize, 'x');
    const int before = droppedEvents();
    for (int kept = 0; kept < 1000; ++kept) {
        if (!m_sender->send("change", modemPath, padding))
            return 0;
        if (droppedEvents() > before)
            return kept;
    }
    return 0;
}

void HaldNetlinkTest::eventsAreReceived()
{
    QVERIFY(m_sender->send("add", modemPath));
    QVERIFY(waitForEvent("+"_s + modem));
    QCOMPARE(m_client->property(udiOf(modem), "usb_device.product_id"_s), QVariant(0x9041));
    QVERIFY(m_sender->send("remove", modemPath));
    QVERIFY(waitForEvent("-"_s + modem));
    QCOMPARE(m_witness->events(), QStringList({"+"_s + modem, "-"_s + modem}));
    QCOMPARE(lossCount(), 0);
}

/** The modem's removal is lost, and so is the insertion of a disc. */
void HaldNetlinkTest::lostEventsAreMadeUpFor()
{
    if (!QDir("/sys/block/loop0"_s).exists())
        QSKIP("this needs a loop device");
    QVERIFY(m_sender->send("add", modemPath));
    QVERIFY(waitForEvent("+"_s + modem));
    QVERIFY(overrun());
    QVERIFY(m_sender->send("remove", modemPath));
    writeFile("/run/udev/data/b7:0"_s,
              "I:1\nE:ID_CDROM=1\nE:ID_CDROM_MEDIA=1\nE:ID_FS_TYPE=iso9660\nE:ID_FS_LABEL=found\n");
    m_daemon->resume();
    QVERIFY(waitForEvent("+volume_label_found"_s));
    // What was kept was older than what was lost.
    QVERIFY(m_sender->send("add", "/devices/kestra/usb1/1-5"));
    QVERIFY(waitUntil([this] { return m_witness->events().count("+"_s + modem) == 2; }));
    QCOMPARE(m_witness->events(),
             QStringList({"+"_s + modem, "-"_s + modem, "+volume_label_found"_s, "+"_s + modem}));
    QCOMPARE(m_client->property(udiOf(modem), "linux.sysfs_path"_s),
             QVariant("/sys/devices/kestra/usb1/1-5"_s));
    QCOMPARE(m_client->devices(), QStringList({"volume_label_found"_s, modem}));
    QCOMPARE(lossCount(), 1);
}

void HaldNetlinkTest::lostEventsOften()
{
    for (int i = 0; i < 3; ++i) {
        QVERIFY(m_sender->send("add", modemPath));
        QVERIFY(waitForEvent("+"_s + modem));
        QVERIFY(overrun());
        m_daemon->resume();
        QVERIFY(waitForEvent("-"_s + modem));
        QCOMPARE(m_client->devices(), QStringList());
        QCOMPARE(m_witness->takeEvents(), QStringList({"+"_s + modem, "-"_s + modem}));
    }
    QCOMPARE(lossCount(), 3);
}

/** The service reads so many events in one go, and hears of the loss before the first of them. */
void HaldNetlinkTest::lossAtTheEndOfOneGo()
{
    constexpr int eventsInOneGo = 256;
    QVERIFY(m_sender->send("add", modemPath));
    QVERIFY(waitForEvent("+"_s + modem));
    const int kept = overrunWith(100000); // which take up 128 KiB each
    if (kept + 1 != eventsInOneGo)
        QSKIP("the kernel keeps another number of events");
    m_daemon->resume();
    QVERIFY(waitForEvent("-"_s + modem));
    QCOMPARE(lossCount(), 1);
}

KESTRA_TEST_MAIN(HaldNetlinkTest)
#include "haldnetlinktest.moc"
