// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "loopdevice.h"
#include "messagelog.h"
#include "stage.h"
#include "testmain.h"

#include <kestra/media/mediamanager.h>

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTemporaryDir>

#include <optional>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

using namespace KestraTest;

namespace {

const Texts debian = {{"ID_FS_LABEL", "Debian_12.5.0"},
                      {"ID_FS_LABEL_ENC", "Debian\\x2012.5.0"},
                      {"ID_FS_UUID", "2024-02-10-11-30-00-00"},
                      {"ID_FS_TYPE", "iso9660"}};
const QString debianName = "volume_uuid_2024_02_10_11_30_00_00"_s;

const Texts notReadYet = {{"ID_CDROM_MEDIA_TRACK_COUNT_DATA", "1"}};

Texts labelled(const QByteArray &label)
{
    return {{"ID_FS_LABEL", label}, {"ID_FS_LABEL_ENC", label}, {"ID_FS_TYPE", "iso9660"}};
}

/** Signals of the library, as "+device|label|name" and "-name". */
class Signals
{
public:
    explicit Signals(const MediaManager &manager)
    {
        QObject::connect(&manager,
                         QOverload<QString, QString, QString>::of(&MediaManager::volumeAdded),
                         [this](const QString &device, const QString &label, const QString &udi) {
                             m_lines.append("+%1|%2|%3"_s.arg(device, label, nameOf(udi)));
                         });
        QObject::connect(&manager, QOverload<>::of(&MediaManager::volumeAdded),
                         [this] { ++m_plainCount; });
        QObject::connect(&manager, QOverload<QString>::of(&MediaManager::volumeRemoved),
                         [this](const QString &udi) { m_lines.append("-"_s + nameOf(udi)); });
        QObject::connect(&manager, QOverload<>::of(&MediaManager::volumeRemoved),
                         [this] { ++m_plainCount; });
    }

    int plainCount() const { return m_plainCount; }
    QStringList lines() const { return m_lines; }

private:
    static QString nameOf(const QString &udi) { return udi.section(QLatin1Char('/'), -1); }

    QStringList m_lines;
    int m_plainCount = 0;
};

/** The volumes as "device|label|name". */
QStringList shown(const QList<Volume> &volumes)
{
    QStringList result;
    for (const Volume &volume : volumes)
        result.append("%1|%2|%3"_s.arg(volume.getDevice(), volume.getLabel(),
                                       volume.getUdi().section(QLatin1Char('/'), -1)));
    return result;
}

int run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

/** A drive with the numbers of a block device that exists. */
MachineDevice driveOf(const QString &device)
{
    struct stat status = {};
    stat(device.toLocal8Bit().constData(), &status);
    MachineDevice result = drive();
    result.properties.insert("DEVNAME", device.toLatin1());
    result.properties.insert("MAJOR", QByteArray::number(major(status.st_rdev)));
    result.properties.insert("MINOR", QByteArray::number(minor(status.st_rdev)));
    return result;
}

}

/** What the service tells of discs, and what the library makes of it. */
class HaldDiscTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void propertiesAreExact_data();
    void propertiesAreExact();
    void names_data();
    void names();
    void labels_data();
    void labels();
    void othersAreNoDiscs_data();
    void othersAreNoDiscs();

    void discIsShownWhenItHasBeenRead();
    void timeDiscThatCannotBeReadIsShownLater();
    void timeDiscThatCannotBeReadIsShownInSpiteOfEvents();
    void discThatIsNotReadYetIsTakenOut();
    void presentDiscsAreListed();
    void insertionAndEjectionAreSignalled();
    void discWithoutLabelIsSignalledAndListed();
    void discsAreSwapped_data();
    void discsAreSwapped();
    void sameDiscComesBack();
    void sameDiscInTwoDrives();
    void driveGoesWithItsDisc();
    void driveComesWithADisc();
    void changesOfNothingAreNotAnnounced();
    void changesOfAnEmptyDriveAreNotAnnounced();

    void mountStateFollowsTheKernel();
    void mountPointIsReadAsItIs_data();
    void mountPointIsReadAsItIs();
    void mountOfAPartIsTheSecondChoice();
    void firstOfSeveralMounts();
    void libraryMountsAndUnmounts();
    void mountedDiscIsEjected();

private:
    /** Lets the library hear of what has happened. */
    QStringList signalsAfterSettling();
    /** Inserts a real image as a disc into a drive. */
    void insertImage();
    /** "volume.is_mounted" and "volume.mount_point" together. */
    QVariantList mountState() const;

    QTemporaryDir m_directory;
    std::optional<Stage> m_stage;
    std::optional<MessageLog> m_log;
    std::optional<MediaManager> m_manager;
    std::optional<Signals> m_signals;
    std::optional<LoopDevice> m_image;
    MachineDevice m_drive;
};

void HaldDiscTest::initTestCase()
{
    const QString path = m_directory.filePath("disc.img"_s);
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    QVERIFY(QFile::resize(path, 4 * 1024 * 1024));
    QCOMPARE(run("mkfs.ext2"_s, {"-q"_s, "-F"_s, path}), 0);
    m_image.emplace(path); // now, as umockdev keeps it from a program that has a machine
}

void HaldDiscTest::init()
{
    m_stage.emplace();
    QVERIFY(m_stage->daemon.start());
    m_log.emplace();
    m_manager.emplace(nullptr);
    m_signals.emplace(*m_manager);
    // The bus has read the manager's subscriptions when it answers.
    QDBusConnection::systemBus().interface()->isServiceRegistered("org.freedesktop.DBus"_s);
    m_drive = drive();
}

void HaldDiscTest::cleanup()
{
    while (run("umount"_s, {m_image->path()}) == 0) { }
    remove("/mnt/kestra-test"_s);
    const QStringList lies = m_stage->witness.lies();
    m_signals.reset();
    m_manager.reset();
    m_log.reset();
    m_stage.reset();
    QCOMPARE(lies, QStringList());
}

QStringList HaldDiscTest::signalsAfterSettling()
{
    if (!m_stage->settle())
        return {"the service does not announce anything any more"_s};
    const QString last = m_stage->witness.events().constLast();
    if (!waitUntil([&] { return m_signals->lines().contains(last); }))
        return {"the library does not hear anything any more"_s};
    QStringList lines;
    for (const QString &line : m_signals->lines()) {
        if (!line.contains("usb_device_fefe"_s)) // those of settling
            lines.append(line);
    }
    return lines;
}

void HaldDiscTest::propertiesAreExact_data()
{
    QTest::addColumn<Texts>("disc");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("type");
    QTest::newRow("data") << debian << debianName << "Debian 12.5.0"_s
                          << "iso9660"_s;
    QTest::newRow("music") << Texts() << "volume_sr0"_s
                           << ""_s
                           << ""_s;
}

void HaldDiscTest::propertiesAreExact()
{
    QFETCH(Texts, disc);
    QFETCH(QString, name);
    QFETCH(QString, label);
    QFETCH(QString, type);
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, disc);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + name));
    const QVariantMap expected = {
        {"info.udi"_s, udiOf(name)},
        {"info.subsystem"_s, "block"_s},
        {"info.capabilities"_s, QStringList({"block"_s, "volume"_s, "volume.disc"_s})},
        {"linux.sysfs_path"_s, "/sys/devices/sr0"_s},
        {"block.device"_s, "/dev/sr0"_s},
        {"volume.label"_s, label},
        {"volume.fstype"_s, type},
        {"volume.is_disc"_s, true},
        {"volume.is_mounted"_s, false},
        {"volume.mount_point"_s, ""_s},
    };
    const QDBusMessage all = m_stage->client.callDevice(udiOf(name), "GetAllProperties"_s);
    QCOMPARE(all.signature(), "a{sv}"_s);
    QCOMPARE(qdbus_cast<QVariantMap>(all.arguments().value(0)), expected);
    for (auto i = expected.begin(); i != expected.end(); ++i) {
        const QDBusMessage reply =
            m_stage->client.callDevice(udiOf(name), "GetProperty"_s, {i.key()});
        QCOMPARE(reply.arguments(), QVariantList {i.value()});
        QCOMPARE(reply.signature(),
                 i.key() == "info.capabilities"_s                 ? "as"_s
                     : i.value().userType() == QMetaType::QString ? "s"_s
                                                                  : "b"_s);
        QCOMPARE(m_stage->client.callDevice(udiOf(name), "PropertyExists"_s, {i.key()}).arguments(),
                 QVariantList {true});
    }
    for (const char *capability : {"block", "volume", "volume.disc"})
        QCOMPARE(m_stage->client
                     .callManager("FindDeviceByCapability"_s, {QString::fromLatin1(capability)})
                     .arguments(),
                 QVariantList {QStringList(udiOf(name))});
}

void HaldDiscTest::names_data()
{
    QTest::addColumn<Texts>("disc");
    QTest::addColumn<QString>("name");
    QTest::newRow("uuid") << debian << debianName;
    QTest::newRow("short uuid") << Texts {{"ID_FS_UUID", "ABCD-1234"}, {"ID_FS_LABEL", "x"}}
                                << "volume_uuid_ABCD_1234"_s;
    QTest::newRow("empty uuid") << Texts {{"ID_FS_UUID", ""}, {"ID_FS_LABEL", "x"}}
                                << "volume_label_x"_s;
    QTest::newRow("label") << labelled("My\\x20CD") << "volume_label_My_CD"_s;
    QTest::newRow("Chinese label") << labelled("光盘") << "volume_label___"_s;
    QTest::newRow("empty label") << labelled("") << "volume_sr0"_s;
    QTest::newRow("nothing") << Texts() << "volume_sr0"_s;
}

void HaldDiscTest::names()
{
    QFETCH(Texts, disc);
    QFETCH(QString, name);
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, disc);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + name));
    QCOMPARE(m_stage->client.devices(), QStringList(name));
}

void HaldDiscTest::labels_data()
{
    QTest::addColumn<QByteArray>("encoded"); // null for none
    QTest::addColumn<QString>("label");
    QTest::newRow("plain") << QByteArray("DEBIAN") << "DEBIAN"_s;
    QTest::newRow("blanks") << QByteArray("a\\x20\\x20b") << "a  b"_s;
    QTest::newRow("upper-case digits") << QByteArray("a\\x2Fb") << "a/b"_s;
    QTest::newRow("backslash") << QByteArray("a\\x5cx20b") << "a\\x20b"_s;
    QTest::newRow("as they are") << QByteArray("é猫") << "é猫"_s;
    QTest::newRow("encoded letters") << QByteArray("\\xc3\\xa9") << "é"_s;
    QTest::newRow("zero") << QByteArray("a\\x00b\\x00") << "ab"_s;
    QTest::newRow("control characters") << QByteArray("a\\x01\\x1b\\x0ab") << "a\x01\x1b\nb"_s;
    QTest::newRow("no UTF-8") << QByteArray("a\\xff\\xfeb")
                              << "a\xef\xbf\xbd\xef\xbf\xbd"
                                 "b"_s;
    QTest::newRow("no digits") << QByteArray("a\\xzzb") << "a\\xzzb"_s;
    QTest::newRow("sign") << QByteArray("a\\x+1b") << "a\\x+1b"_s;
    QTest::newRow("blank for a digit") << QByteArray("a\\x 1b") << "a\\x 1b"_s;
    QTest::newRow("one digit at the end") << QByteArray("a\\x2") << "a\\x2"_s;
    QTest::newRow("no digit at the end") << QByteArray("a\\x") << "a\\x"_s;
    QTest::newRow("backslash at the end") << QByteArray("a\\") << "a\\"_s;
    QTest::newRow("other code") << QByteArray("a\\nb\\040") << "a\\nb\\040"_s;
    QTest::newRow("long") << QByteArray(2000, 'x') << QString(2000, QLatin1Char('x'));
    QTest::newRow("not encoded") << QByteArray() << "Plain_one"_s;
}

void HaldDiscTest::labels()
{
    QFETCH(QByteArray, encoded);
    QFETCH(QString, label);
    Texts disc = {{"ID_FS_LABEL", "Plain_one"}, {"ID_FS_UUID", "1"}};
    if (!encoded.isNull())
        disc.insert("ID_FS_LABEL_ENC", encoded);
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, disc);
    QCOMPARE(signalsAfterSettling(), QStringList("+/dev/sr0|%1|volume_uuid_1"_s.arg(label)));
    QCOMPARE(shown(m_manager->getVolumesList()),
             QStringList("/dev/sr0|%1|volume_uuid_1"_s.arg(label)));
}

void HaldDiscTest::othersAreNoDiscs_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("hard disk") << QByteArray("ID_CDROM") << QByteArray();
    QTest::newRow("not optical") << QByteArray("ID_CDROM") << QByteArray("0");
    QTest::newRow("no disc") << QByteArray("ID_CDROM_MEDIA") << QByteArray("0");
    QTest::newRow("empty") << QByteArray("ID_CDROM_MEDIA") << QByteArray("");
}

void HaldDiscTest::othersAreNoDiscs()
{
    QFETCH(QByteArray, property);
    QFETCH(QByteArray, value);
    Texts disc = debian;
    disc.insert(property, value);
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, disc);
    m_stage->machine.announce("sr0", "add");
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_manager->getVolumesCount(), 0);
}

/** udev's first event for a disc comes before it knows the file system. */
void HaldDiscTest::discIsShownWhenItHasBeenRead()
{
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, notReadYet);
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_manager->getVolumesCount(), 0);
    Texts whole = debian;
    whole.insert(notReadYet.firstKey(), notReadYet.first());
    m_stage->machine.insertDisc(m_drive, whole);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + debianName));
    QTest::qWait(2500); // more than it waits for udev
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_stage->client.devices(), QStringList(debianName));
}

void HaldDiscTest::timeDiscThatCannotBeReadIsShownLater()
{
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, notReadYet);
    QVERIFY(waitUntil([this] { return m_stage->witness.count() > 0; }));
    QCOMPARE(m_stage->takeEvents(), QStringList("+volume_sr0"_s));
}

/** Also in a drive that tells of a change again and again. */
void HaldDiscTest::timeDiscThatCannotBeReadIsShownInSpiteOfEvents()
{
    m_stage->machine.plug(m_drive);
    for (int i = 0; i < 8 && m_stage->witness.count() == 0; ++i) {
        m_stage->machine.insertDisc(m_drive, notReadYet);
        QTest::qWait(500);
    }
    QCOMPARE(m_stage->takeEvents(), QStringList("+volume_sr0"_s));
}

void HaldDiscTest::discThatIsNotReadYetIsTakenOut()
{
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, notReadYet);
    m_stage->machine.ejectDisc(m_drive);
    QTest::qWait(2500); // more than it waits for udev
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_manager->getVolumesCount(), 0);
}

void HaldDiscTest::presentDiscsAreListed()
{
    QCOMPARE(m_stage->daemon.stop(), 0);
    m_stage->machine.forgetListeners();
    for (int i = 0; i < 3; ++i)
        m_stage->machine.plug(drive(i));
    m_stage->machine.insertDisc(drive(0), debian);
    m_stage->machine.insertDisc(drive(2), {});
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(m_stage->daemon.start());
    QCOMPARE(m_manager->getVolumesCount(), 2);
    QStringList volumes = shown(m_manager->getVolumesList());
    volumes.sort();
    QCOMPARE(volumes,
             QStringList({"/dev/sr0|Debian 12.5.0|"_s + debianName, "/dev/sr2||volume_sr2"_s}));
    QCOMPARE(signalsAfterSettling(), QStringList());
}

void HaldDiscTest::insertionAndEjectionAreSignalled()
{
    m_stage->machine.plug(m_drive);
    QCOMPARE(m_manager->getVolumesCount(), 0);
    m_stage->machine.insertDisc(m_drive, debian);
    QStringList lines = {"+/dev/sr0|Debian 12.5.0|"_s + debianName};
    QCOMPARE(signalsAfterSettling(), lines);
    QCOMPARE(m_manager->getVolumesCount(), 1);
    m_stage->machine.ejectDisc(m_drive);
    lines.append("-"_s + debianName);
    QCOMPARE(signalsAfterSettling(), lines);
    QCOMPARE(m_signals->plainCount(), 2 + 2); // and the removals of the devices of settling
    QCOMPARE(m_manager->getVolumesCount(), 0);
    QCOMPARE(shown(m_manager->getVolumesList()), QStringList());
}

void HaldDiscTest::discWithoutLabelIsSignalledAndListed()
{
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, {{"ID_FS_UUID", "7"}, {"ID_FS_TYPE", "udf"}});
    QCOMPARE(signalsAfterSettling(), QStringList("+/dev/sr0||volume_uuid_7"_s));
    QCOMPARE(shown(m_manager->getVolumesList()), QStringList("/dev/sr0||volume_uuid_7"_s));
}

void HaldDiscTest::discsAreSwapped_data()
{
    QTest::addColumn<Texts>("first");
    QTest::addColumn<Texts>("second");
    QTest::addColumn<QStringList>("events");
    QTest::newRow("other label") << labelled("one") << labelled("two")
                                 << QStringList({"-volume_label_one"_s, "+volume_label_two"_s});
    QTest::newRow("other uuid") << Texts {{"ID_FS_UUID", "1"}, {"ID_FS_LABEL", "x"}}
                                << Texts {{"ID_FS_UUID", "2"}, {"ID_FS_LABEL", "x"}}
                                << QStringList({"-volume_uuid_1"_s, "+volume_uuid_2"_s});
    QTest::newRow("label alone") << Texts {{"ID_FS_UUID", "1"}, {"ID_FS_LABEL", "x"}}
                                 << Texts {{"ID_FS_UUID", "1"}, {"ID_FS_LABEL", "y"}}
                                 << QStringList({"-volume_uuid_1"_s, "+volume_uuid_1"_s});
    QTest::newRow("label goes") << labelled("one") << Texts()
                                << QStringList({"-volume_label_one"_s, "+volume_sr0"_s});
    QTest::newRow("same name on the bus")
        << labelled("a b") << labelled("a-b")
        << QStringList({"-volume_label_a_b"_s, "+volume_label_a_b"_s});
    QTest::newRow("other file system") << Texts {{"ID_FS_UUID", "1"}, {"ID_FS_TYPE", "udf"}}
                                       << Texts {{"ID_FS_UUID", "1"}, {"ID_FS_TYPE", "iso9660"}}
                                       << QStringList({"-volume_uuid_1"_s, "+volume_uuid_1"_s});
}

void HaldDiscTest::discsAreSwapped()
{
    QFETCH(Texts, first);
    QFETCH(Texts, second);
    QFETCH(QStringList, events);
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, first);
    QCOMPARE(signalsAfterSettling().size(), 1);
    QCOMPARE(m_stage->takeEvents().size(), 1);
    m_stage->machine.insertDisc(m_drive, second);
    QCOMPARE(m_stage->takeEvents(), events);
    m_stage->witness.takeLies(); // one of the same name may be there already
    QCOMPARE(m_manager->getVolumesCount(), 1);
    QStringList lines = signalsAfterSettling();
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(1), events.constFirst());
    QVERIFY(lines.at(2).startsWith(
        "+/dev/sr0|%1|"_s.arg(QString::fromUtf8(second.value("ID_FS_LABEL")))));
}

void HaldDiscTest::sameDiscComesBack()
{
    m_stage->machine.plug(m_drive);
    for (int i = 0; i < 5; ++i) {
        m_stage->machine.insertDisc(m_drive, debian);
        QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + debianName));
        m_stage->machine.ejectDisc(m_drive);
        QCOMPARE(m_stage->takeEvents(), QStringList("-"_s + debianName));
    }
}

void HaldDiscTest::sameDiscInTwoDrives()
{
    for (int i = 0; i < 2; ++i) {
        m_stage->machine.plug(drive(i));
        m_stage->machine.insertDisc(drive(i), debian);
    }
    QCOMPARE(m_stage->takeEvents(), QStringList({"+"_s + debianName, "+%1_0"_s.arg(debianName)}));
    QCOMPARE(shown(m_manager->getVolumesList()),
             QStringList({"/dev/sr0|Debian 12.5.0|"_s + debianName,
                          "/dev/sr1|Debian 12.5.0|%1_0"_s.arg(debianName)}));
    m_stage->machine.ejectDisc(drive(0));
    QCOMPARE(m_stage->takeEvents(), QStringList("-"_s + debianName));
    QCOMPARE(shown(m_manager->getVolumesList()),
             QStringList("/dev/sr1|Debian 12.5.0|%1_0"_s.arg(debianName)));
}

void HaldDiscTest::driveGoesWithItsDisc()
{
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, debian);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + debianName));
    m_stage->machine.unplug("sr0");
    QCOMPARE(m_stage->takeEvents(), QStringList("-"_s + debianName));
    QCOMPARE(m_manager->getVolumesCount(), 0);
}

void HaldDiscTest::driveComesWithADisc()
{
    MachineDevice full = m_drive;
    full.properties.insert("ID_CDROM_MEDIA", "1");
    full.properties.insert("ID_FS_LABEL", "x");
    m_stage->machine.plug(full);
    QCOMPARE(m_stage->takeEvents(), QStringList("+volume_label_x"_s));
}

void HaldDiscTest::changesOfNothingAreNotAnnounced()
{
    m_stage->machine.plug(m_drive);
    for (int i = 0; i < 5; ++i)
        m_stage->machine.insertDisc(m_drive, debian);
    m_stage->machine.announce("sr0", "bind");
    Texts locked = debian;
    locked.insert("ID_CDROM_MEDIA_TRACK_COUNT", "1");
    m_stage->machine.insertDisc(m_drive, locked);
    QCOMPARE(signalsAfterSettling(), QStringList("+/dev/sr0|Debian 12.5.0|"_s + debianName));
}

void HaldDiscTest::changesOfAnEmptyDriveAreNotAnnounced()
{
    m_stage->machine.plug(m_drive);
    for (int i = 0; i < 3; ++i)
        m_stage->machine.ejectDisc(m_drive);
    m_stage->machine.unplug("sr0");
    QCOMPARE(signalsAfterSettling(), QStringList());
}

void HaldDiscTest::insertImage()
{
    if (m_image->path().isEmpty())
        return;
    m_drive = driveOf(m_image->path());
    m_stage->machine.plug(m_drive);
    m_stage->machine.insertDisc(m_drive, labelled("real"));
    QCOMPARE(m_stage->takeEvents(), QStringList("+volume_label_real"_s));
    for (const char *name : {"one", "two", "three"})
        makeDirectory("/mnt/kestra-test/"_s + QString::fromLatin1(name));
}

#define REAL_DISC()                                                                                \
    insertImage();                                                                                 \
    if (QTest::currentTestFailed())                                                                \
        return;                                                                                    \
    if (m_image->path().isEmpty())                                                                 \
    QSKIP("this needs loop devices, so root (or a container with --privileged)")

QVariantList HaldDiscTest::mountState() const
{
    const QString udi = udiOf("volume_label_real"_s);
    return {m_stage->client.property(udi, "volume.is_mounted"_s),
            m_stage->client.property(udi, "volume.mount_point"_s)};
}

void HaldDiscTest::mountStateFollowsTheKernel()
{
    REAL_DISC();
    const QString place = "/mnt/kestra-test/one"_s;
    const QString udi = udiOf("volume_label_real"_s);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(mountState(), QVariantList({false, ""_s}));
        QCOMPARE(run("mount"_s, {m_image->path(), place}), 0);
        QCOMPARE(mountState(), QVariantList({true, place}));
        QVERIFY(m_manager->getVolumeIsMounted(udi));
        QCOMPARE(m_manager->getVolumeMountPoint(udi), place);
        const QVariantMap all = qdbus_cast<QVariantMap>(
            m_stage->client.callDevice(udi, "GetAllProperties"_s).arguments().value(0));
        QCOMPARE(all.value("volume.is_mounted"_s), QVariant(true));
        QCOMPARE(all.value("volume.mount_point"_s), QVariant(place));
        QCOMPARE(
            m_stage->client.callManager("FindDeviceStringMatch"_s, {"volume.mount_point"_s, place})
                .arguments(),
            QVariantList {QStringList(udi)});
        QCOMPARE(run("umount"_s, {place}), 0);
    }
    QCOMPARE(mountState(), QVariantList({false, ""_s}));
    QVERIFY(!m_manager->getVolumeIsMounted(udi));
    QCOMPARE(m_stage->takeEvents(), QStringList());
}

void HaldDiscTest::mountPointIsReadAsItIs_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("name");
    for (const QString &language : {"C"_s, "C.UTF-8"_s}) {
        const QByteArray prefix = language.toLatin1() + ", ";
        QTest::newRow((prefix + "blanks").constData()) << language << "my  disc "_s;
        QTest::newRow((prefix + "not ASCII").constData()) << language << "Müller 猫 😀"_s;
        QTest::newRow((prefix + "odd").constData()) << language << "a\tb\nc\\040d#e\"'"_s;
    }
}

/** Whatever the language is that the service has been started with. */
void HaldDiscTest::mountPointIsReadAsItIs()
{
    QFETCH(QString, language);
    QFETCH(QString, name);
    QCOMPARE(m_stage->daemon.stop(), 0);
    m_stage->machine.forgetListeners();
    m_stage->daemon.setVariable("LC_ALL"_s, language);
    QVERIFY(m_stage->daemon.start());
    REAL_DISC();
    const QByteArray place = "/mnt/kestra-test/" + name.toUtf8();
    QCOMPARE(::mkdir(place.constData(), 0755), 0);
    // By the call itself: mount(8) and Qt would have a say in what the name is.
    QCOMPARE(::mount(m_image->path().toLatin1().constData(), place.constData(), "ext2", 0, nullptr),
             0);
    QCOMPARE(mountState(), QVariantList({true, QString::fromUtf8(place)}));
}

void HaldDiscTest::mountOfAPartIsTheSecondChoice()
{
    REAL_DISC();
    const QString whole = "/mnt/kestra-test/one"_s;
    const QString part = "/mnt/kestra-test/two"_s;
    const QString other = "/mnt/kestra-test/three"_s;
    QCOMPARE(run("mount"_s, {m_image->path(), whole}), 0);
    QCOMPARE(run("mount"_s, {"--bind"_s, whole + "/lost+found"_s, part}), 0);
    QCOMPARE(mountState(), QVariantList({true, whole}));
    QCOMPARE(run("umount"_s, {whole}), 0);
    QCOMPARE(mountState(), QVariantList({true, part}));
    QCOMPARE(run("mount"_s, {m_image->path(), other}), 0); // later in the table
    QCOMPARE(mountState(), QVariantList({true, other}));
    QCOMPARE(run("umount"_s, {other}), 0);
    QCOMPARE(run("umount"_s, {part}), 0);
    QCOMPARE(mountState(), QVariantList({false, ""_s}));
}

void HaldDiscTest::firstOfSeveralMounts()
{
    REAL_DISC();
    const QStringList places = {"/mnt/kestra-test/two"_s, "/mnt/kestra-test/one"_s,
                                "/mnt/kestra-test/three"_s};
    for (const QString &place : places) {
        QCOMPARE(run("mount"_s, {m_image->path(), place}), 0);
        QCOMPARE(mountState(), QVariantList({true, places.constFirst()}));
    }
    QCOMPARE(run("umount"_s, {places.constFirst()}), 0);
    QCOMPARE(mountState(), QVariantList({true, places.at(1)}));
}

void HaldDiscTest::libraryMountsAndUnmounts()
{
    REAL_DISC();
    const QString udi = udiOf("volume_label_real"_s);
    const QString place = "/mnt/kestra-test/made/by the library"_s;
    QCOMPARE(m_manager->mountVolume(udi, place), 0);
    QVERIFY(exists(place + "/lost+found"_s));
    QVERIFY(m_manager->getVolumeIsMounted(udi));
    QCOMPARE(m_manager->getVolumeMountPoint(udi), place);
    QCOMPARE(m_manager->mountVolume(udi, place), 32);
    QCOMPARE(m_manager->unmountVolume(m_manager->getVolumeMountPoint(udi), false), 0);
    QVERIFY(!exists(place + "/lost+found"_s));
    QVERIFY(!m_manager->getVolumeIsMounted(udi));
    QCOMPARE(m_manager->getVolumeMountPoint(udi), QString());
    QCOMPARE(m_manager->mountVolume(udiOf("volume_label_other"_s), place), -2);
}

/** A loop device has no tray, but its disc is unmounted before that shows. */
void HaldDiscTest::mountedDiscIsEjected()
{
    REAL_DISC();
    const QString udi = udiOf("volume_label_real"_s);
    QCOMPARE(m_manager->mountVolume(udi, "/mnt/kestra-test/one"_s), 0);
    QVERIFY(!m_manager->ejectVolume(udi));
    QCOMPARE(mountState(), QVariantList({false, ""_s}));
    m_stage->machine.ejectDisc(m_drive);
    QCOMPARE(m_stage->takeEvents(), QStringList("-volume_label_real"_s));
    QVERIFY(!m_manager->getVolumeIsMounted(udi));
}

KESTRA_TEST_MAIN(HaldDiscTest)
#include "halddisctest.moc"
