// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stage.h"
#include "testmain.h"

#include <QSet>

#include <memory>
#include <optional>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr bool isMemoryMeasured = false; // what is freed is kept to be watched
#else
constexpr bool isMemoryMeasured = true;
#endif

// KiB, for the way in which memory is kept. A hundred bytes lost in each of 10 000 events are more.
constexpr int allowance = 960;
constexpr int floodTime = 60000; // ms; much for a checking tool

/** A client that speaks to the bus by itself, and so can do what no library does: not listen. */
class RawClient
{
public:
    RawClient();
    ~RawClient() { close(m_socket); }
    Q_DISABLE_COPY(RawClient)

    static QByteArray message(const QByteArray &destination, const QByteArray &path,
                              const QByteArray &interface, const QByteArray &member,
                              const QByteArray &argument = {});
    /** Returns whether all of it was taken. */
    bool write(const QByteArray &bytes) const;

private:
    int m_socket;
};

RawClient::RawClient() : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const QByteArray path =
        qgetenv("DBUS_SYSTEM_BUS_ADDRESS").mid(int(qstrlen("unix:path="))).split(',').constFirst();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
    char answer[1000] = {};
    if (connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0
        || !write(QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(getuid()).toHex()
                  + "\r\n")
        || read(m_socket, answer, sizeof answer) < 2 || qstrncmp(answer, "OK", 2) != 0
        || !write("BEGIN\r\n"
                  + message("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                            "Hello")))
        qFatal("the bus does not let a plain client in");
}

bool RawClient::write(const QByteArray &bytes) const
{
    qint64 done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            send(m_socket, bytes.constData() + done, size_t(bytes.size() - done), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        done += count;
    }
    return true;
}

void align(QByteArray &bytes, int size)
{
    while (bytes.size() % size != 0)
        bytes += '\0';
}

void appendNumber(QByteArray &bytes, quint32 number)
{
    align(bytes, 4);
    for (int shift = 0; shift < 32; shift += 8)
        bytes += char(number >> shift);
}

void appendString(QByteArray &bytes, const QByteArray &text)
{
    appendNumber(bytes, quint32(text.size()));
    bytes += text + '\0';
}

QByteArray RawClient::message(const QByteArray &destination, const QByteArray &path,
                              const QByteArray &interface, const QByteArray &member,
                              const QByteArray &argument)
{
    struct Field
    {
        char code;
        char type;
        QByteArray value;
    };
    const Field list[] = {
        {1, 'o', path}, {2, 's', interface}, {3, 's', member}, {6, 's', destination}};
    QByteArray fields;
    const auto begin = [&](char code, char type) {
        align(fields, 8);
        fields += code;
        fields += '\1';
        fields += type;
        fields += '\0';
    };
    for (const Field &field : list) {
        begin(field.code, field.type);
        appendString(fields, field.value);
    }
    QByteArray body;
    if (!argument.isNull()) {
        begin(8, 'g');
        fields += QByteArray("\1s\0", 3);
        appendString(body, argument);
    }
    static quint32 serial = 0;
    QByteArray result("l\1\0\1", 4);
    appendNumber(result, quint32(body.size()));
    appendNumber(result, ++serial);
    appendNumber(result, quint32(fields.size()));
    result += fields;
    align(result, 8);
    return result + body;
}

QByteArray halCall(const char *member, const QByteArray &path, const char *interface,
                   const QByteArray &argument = {})
{
    return RawClient::message(halService, path, interface, member, argument);
}

}

/** Many events, many devices, and clients that behave badly. */
class HaldFloodTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tenThousandEvents();
    void tenThousandIdenticalDevices();
    void clientThatNeverReadsItsReplies();
    void clientThatNeverReadsItsSignals();
    void clientThatDiesInACall();
    void manyClients();

private:
    std::optional<Stage> m_stage;
};

void HaldFloodTest::init()
{
    m_stage.emplace(Witness::Believes);
    QVERIFY(m_stage->daemon.start());
}

void HaldFloodTest::cleanup()
{
    const bool isAlive = m_stage->daemon.isRunning();
    m_stage.reset();
    QVERIFY(isAlive);
}

/** 100 devices come and go 50 times, each at its own time. */
void HaldFloodTest::tenThousandEvents()
{
    constexpr int deviceCount = 100;
    constexpr int roundCount = 50;
    const auto place = [](int device) { return "1-" + QByteArray::number(device + 1); };
    int eventCount = 0;
    qint64 firstMemory = 0;
    for (int round = 0; round <= roundCount; ++round) {
        // A third of the devices leaves before the next third comes, in changing order.
        for (int i = 0; i < deviceCount; ++i) {
            const int device = (i * 37 + round * 11) % deviceCount;
            if (round > 0 && ++eventCount)
                m_stage->machine.unplug(place(device));
            if (round < roundCount && ++eventCount)
                m_stage->machine.plug(usbDevice(place(device), 1, device + 1));
        }
        if (round == 5) {
            QVERIFY(m_stage->settle());
            firstMemory = m_stage->daemon.memory();
        }
    }
    QCOMPARE(eventCount, 10000);
    QVERIFY(waitUntil([&] { return m_stage->witness.count() >= eventCount + 2; }, floodTime));
    const QStringList events = m_stage->takeEvents();
    QCOMPARE(events.size(), eventCount);
    QMap<QString, QByteArray> signsOf;
    for (const QString &event : events)
        signsOf[event.mid(1)] += event.at(0).toLatin1();
    QCOMPARE(signsOf.size(), deviceCount);
    for (const QByteArray &signs : std::as_const(signsOf))
        QCOMPARE(signs, QByteArray("+-").repeated(roundCount));
    QCOMPARE(m_stage->client.devices(), QStringList());
    if (isMemoryMeasured)
        QVERIFY2(m_stage->daemon.memory() <= firstMemory + allowance,
                 qPrintable("%1 KiB, then %2"_s.arg(firstMemory).arg(m_stage->daemon.memory())));
}

void HaldFloodTest::tenThousandIdenticalDevices()
{
    constexpr int deviceCount = 10000;
    const auto place = [](int device) { return "1-" + QByteArray::number(device + 1); };
    QStringList names = {"usb_device_1110_9041_noserial"_s};
    for (int i = 0; i < deviceCount; ++i) {
        m_stage->machine.plug(usbDevice(place(i), 0x1110, 0x9041));
        names.append("usb_device_1110_9041_noserial_%1"_s.arg(i));
    }
    names.removeLast();
    QVERIFY(waitUntil([&] { return m_stage->witness.count() >= deviceCount; }, floodTime));
    QVERIFY(m_stage->client.devices() == names); // too long to be shown
    QCOMPARE(m_stage->takeEvents().size(), deviceCount);
    // The places that become free are filled again, the lowest first.
    for (int i = deviceCount; --i >= 0;) {
        if (i % 100 == 50)
            m_stage->machine.unplug(place(i));
    }
    QCOMPARE(m_stage->takeEvents().size(), deviceCount / 100);
    for (int i = 0; i < deviceCount / 100; ++i)
        m_stage->machine.plug(usbDevice("2-" + QByteArray::number(i + 1), 0x1110, 0x9041));
    QStringList expected;
    for (int i = 0; i < deviceCount / 100; ++i)
        expected.append("+"_s + names.at(100 * i + 50));
    QCOMPARE(m_stage->takeEvents(), expected);
    for (int i = 0; i < deviceCount; ++i) {
        if (i % 100 != 50)
            m_stage->machine.unplug(place(i));
    }
    QVERIFY(
        waitUntil([&] { return m_stage->witness.count() >= deviceCount * 99 / 100; }, floodTime));
    QCOMPARE(m_stage->takeEvents().size(), deviceCount * 99 / 100);
    QCOMPARE(m_stage->client.devices().size(), deviceCount / 100);
}

void HaldFloodTest::clientThatNeverReadsItsReplies()
{
    for (int i = 0; i < 50; ++i)
        m_stage->machine.plug(usbDevice("1-" + QByteArray::number(i + 1), 1, i + 1));
    QVERIFY(m_stage->settle());
    const RawClient deaf;
    const QByteArray call = halCall("GetAllDevices", managerPath, managerInterface);
    for (int i = 0; i < 20; ++i) {
        for (int count = 0; count < 500; ++count)
            QVERIFY(deaf.write(call));
        QCOMPARE(m_stage->client.devices().size(), 50);
    }
    m_stage->machine.unplug("1-1");
    QCOMPARE(m_stage->takeEvents().filter("-"_s), QStringList("-usb_device_1_1_noserial"_s));
    // The replies wait in the bus, not in the service.
    if (isMemoryMeasured)
        QVERIFY2(m_stage->daemon.memory() < 64 * 1024,
                 QByteArray::number(m_stage->daemon.memory()).constData());
}

void HaldFloodTest::clientThatNeverReadsItsSignals()
{
    const RawClient deaf;
    QVERIFY(deaf.write(RawClient::message("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                          "org.freedesktop.DBus", "AddMatch", "type='signal'")));
    for (int i = 0; i < 2000; ++i) {
        m_stage->machine.plug(usbDevice("1-1", 1, i));
        m_stage->machine.unplug("1-1");
    }
    QVERIFY(waitUntil([&] { return m_stage->witness.count() == 4000; }, floodTime));
    QCOMPARE(m_stage->client.devices(), QStringList());
}

void HaldFloodTest::clientThatDiesInACall()
{
    m_stage->machine.plug(usbDevice("1-1", 1, 1));
    QVERIFY(m_stage->settle());
    const QByteArray calls[] = {
        halCall("GetAllDevices", managerPath, managerInterface),
        halCall("GetAllProperties", udiOf("usb_device_1_1_noserial"_s).toLatin1(), deviceInterface),
        halCall("Reannounce", managerPath, ownInterface, ""),
    };
    for (int i = 0; i < 300; ++i) {
        for (const QByteArray &call : calls) {
            const RawClient whole;
            QVERIFY(whole.write(call));
            const RawClient half;
            QVERIFY(half.write(call + call.left(call.size() / 2)));
        }
    }
    QCOMPARE(m_stage->client.devices(), QStringList("usb_device_1_1_noserial"_s));
    m_stage->machine.unplug("1-1");
    QCOMPARE(m_stage->takeEvents(),
             QStringList({"+usb_device_1_1_noserial"_s, "-usb_device_1_1_noserial"_s}));
}

/** What is kept of callers is gone with them. */
void HaldFloodTest::manyClients()
{
    m_stage->machine.plug(usbDevice("1-1", 1, 1));
    QVERIFY(m_stage->settle());
    const QByteArray call = halCall("GetAllDevices", managerPath, managerInterface);
    qint64 firstMemory = 0;
    for (int round = 0; round < 10; ++round) {
        for (int i = 0; i < 500; ++i) {
            const RawClient client;
            QVERIFY(client.write(call));
        }
        QCOMPARE(m_stage->client.devices().size(), 1);
        if (round == 1)
            firstMemory = m_stage->daemon.memory();
    }
    if (isMemoryMeasured)
        QVERIFY2(m_stage->daemon.memory() <= firstMemory + allowance,
                 qPrintable("%1 KiB, then %2"_s.arg(firstMemory).arg(m_stage->daemon.memory())));
}

KESTRA_TEST_MAIN(HaldFloodTest)
#include "haldfloodtest.moc"
