// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "fakehal.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/media/haliface.h>
#include <kestra/media/mediamanager.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDebug>
#include <QMetaMethod>
#include <QProcess>
#include <QThread>

#include <memory>
#include <optional>
#include <type_traits>

#include <dlfcn.h>

using namespace KestraTest;

namespace {

const QString disc = "/org/freedesktop/Hal/devices/disc"_s;
const QString otherDisc = "/org/freedesktop/Hal/devices/another_disc"_s;
const QString modem = "/org/freedesktop/Hal/devices/modem"_s;
const QStringList discCapability = {"volume"_s, "volume.disc"_s};

QVariantMap discProperties(const QString &device, const QString &label)
{
    return {{"volume.is_disc"_s, true}, {"block.device"_s, device}, {"volume.label"_s, label}};
}

/** The volumes as "device label udi", for comparisons. */
QStringList toStrings(const QList<Volume> &volumes)
{
    QStringList result;
    for (const Volume &volume : volumes)
        result.append(QStringList({volume.getDevice(), volume.getLabel(), volume.getUdi()})
                          .join(QLatin1Char('|')));
    return result;
}

/** Waits until the bus has read the subscriptions of the managers: it answers in order. */
void waitForSubscriptions()
{
    QDBusConnection::systemBus().interface()->isServiceRegistered("org.freedesktop.DBus"_s);
}

/** Writes each signal of a manager to the Qt debug stream, where it stands among the messages. */
void logSignals(MediaManager &manager)
{
    waitForSubscriptions();
    QObject::connect(&manager, QOverload<QString, QString, QString>::of(&MediaManager::volumeAdded),
                     [](const QString &blockDev, const QString &label, const QString &device) {
                         qDebug().noquote() << "signal volumeAdded" << blockDev << label << device;
                     });
    QObject::connect(&manager, QOverload<>::of(&MediaManager::volumeAdded),
                     [] { qDebug() << "signal volumeAdded"; });
    QObject::connect(
        &manager, QOverload<QString>::of(&MediaManager::volumeRemoved),
        [](const QString &device) { qDebug().noquote() << "signal volumeRemoved" << device; });
    QObject::connect(&manager, QOverload<>::of(&MediaManager::volumeRemoved),
                     [] { qDebug() << "signal volumeRemoved"; });
}

QStringList addedLines(const QString &device, const QString &label, const QString &udi)
{
    return {"Volume added..."_s, "Volume ok: \"%1\" \"%2\""_s.arg(device, label),
            "signal volumeAdded %1 %2 %3"_s.arg(device, label, udi), "signal volumeAdded"_s};
}

QStringList removedLines(const QString &udi)
{
    return {"Volume removed: \"%1\""_s.arg(udi), "signal volumeRemoved "_s + udi,
            "signal volumeRemoved"_s};
}

QStringList names(const QList<FakeHal::Call> &calls)
{
    QStringList result;
    for (const FakeHal::Call &call : calls)
        result.append(call.arguments.value(0).toString());
    return result;
}

}

/** The discs that the hardware daemon reports, and what it announces. */
class MediaManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void volumeHoldsItsFields();
    void metaObjectHasSignalsAndSlots();
    void membersStandInOrder();
    void halInterfaceIsAGlobalObject();

    void constructionWritesNothing();
    void managerIsChildOfTheThread();
    void processesMoveToTheThread();
    void destructionWritesOneLine();
    void destructionKillsProcessesInOrder();

    void noDiscs();
    void countDoesNotTouchTheList();
    void listKeepsTheDaemonsOrder();
    void listIsRebuiltByEachCall();
    void listSkipsVolumesWithoutProperty_data();
    void listSkipsVolumesWithoutProperty();
    void listHasVolumesWithEmptyValues();
    void bothPropertiesAreReadBeforeEitherIsTested();
    void wrongTypeOfPropertyIsAFailure_data();
    void wrongTypeOfPropertyIsAFailure();
    void wrongTypeOfListIsAFailure_data();
    void wrongTypeOfListIsAFailure();
    void errorOfListIsAFailure();
    void managersShareTheInterface();

    void insertedDiscIsAnnounced();
    void thirdArgumentIsTheUdi();
    void otherDevicesAreSilent_data();
    void otherDevicesAreSilent();
    void insertedDiscWithoutPropertyIsNotAnnounced_data();
    void insertedDiscWithoutPropertyIsNotAnnounced();
    void insertedDiscWithEmptyLabelIsAnnounced();
    void anyRemovalIsPassedOn_data();
    void anyRemovalIsPassedOn();
    void anySenderAndPathIsHeard();
    void slotsDoNotChangeTheList();
    void slotsRunInTheThreadOfTheManager();
    void everyManagerHears();
    void deletedManagerHearsNothing();

    void udiThatIsNoObjectPath_data();
    void udiThatIsNoObjectPath();

    void noDaemon();
    void daemonComesLater();
    void daemonVanishesInTheListCall();
    void daemonVanishesBetweenVolumes();
    void daemonVanishesWhileADiscIsAdded();
    void daemonIsOlderThanTheLibrary();
    void noBus_data();
    void noBus();

    void nothingGoesToStandardOutput();

private:
    /** Waits for messages and signals of announcements. */
    bool waitForTexts(int count)
    {
        return QTest::qWaitFor([this, count] { return m_log->texts().size() >= count; });
    }

    std::optional<DebugFile> m_debugFile;
    std::optional<MessageLog> m_log;
};

void MediaManagerTest::init()
{
    m_debugFile.emplace();
    m_log.emplace();
}

void MediaManagerTest::cleanup()
{
    m_log.reset();
    QCOMPARE(m_debugFile->text(), QByteArray());
    m_debugFile.reset();
}

void MediaManagerTest::volumeHoldsItsFields()
{
    const Volume volume("/dev/sr0"_s, "Label"_s, "/udi"_s);
    QCOMPARE(volume.getDevice(), "/dev/sr0"_s);
    QCOMPARE(volume.getLabel(), "Label"_s);
    QCOMPARE(volume.getUdi(), "/udi"_s);
    Volume copy("x"_s, QString(), QString());
    copy = volume;
    QCOMPARE(toStrings({copy}), toStrings({volume}));
    QVERIFY(!std::is_polymorphic<Volume>::value);
    QVERIFY(!std::is_default_constructible<Volume>::value);
    QVERIFY(reinterpret_cast<const char *>(&volume.m_device)
            == reinterpret_cast<const char *>(&volume));
    QVERIFY(&volume.m_device < &volume.m_label && &volume.m_label < &volume.m_udi);
}

void MediaManagerTest::metaObjectHasSignalsAndSlots()
{
    const QMetaObject &meta = MediaManager::staticMetaObject;
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        methods.append(
            "%1 %2 %3"_s.arg(method.methodType() == QMetaMethod::Signal ? "signal"_s : "slot"_s,
                             QString::fromLatin1(method.methodSignature()),
                             QString::fromLatin1(method.parameterNames().join(','))));
        QCOMPARE(method.access(),
                 method.methodType() == QMetaMethod::Signal ? QMetaMethod::Public
                                                            : QMetaMethod::Private);
    }
    // The parameter "device" of volumeAdded carries the udi.
    QCOMPARE(methods.mid(0, 4),
             QStringList({"signal volumeAdded(QString,QString,QString) blockDev,label,device"_s,
                          "signal volumeRemoved(QString) device"_s, "signal volumeAdded() "_s,
                          "signal volumeRemoved() "_s}));
    QCOMPARE(methods.size(), 6);
    QVERIFY(methods.at(4).startsWith("slot deviceAdded(QString)"_s));
    QVERIFY(methods.at(5).startsWith("slot deviceRemoved(QString)"_s));
}

void MediaManagerTest::membersStandInOrder()
{
    const MediaManager manager(nullptr);
    const auto address = [](const auto &member) { return reinterpret_cast<quintptr>(&member); };
    QVERIFY(address(manager.m_volumes) < address(manager.m_mountProcess));
    QVERIFY(&manager.m_mountProcess < &manager.m_unmountProcess);
    QVERIFY(&manager.m_unmountProcess < &manager.m_ejectProcess);
}

void MediaManagerTest::halInterfaceIsAGlobalObject()
{
    QVERIFY((std::is_same<decltype(hal_iface), QDBusInterface>::value));
    QCOMPARE(hal_iface.service(), "org.freedesktop.Hal"_s);
    QCOMPARE(hal_iface.path(), "/org/freedesktop/Hal/Manager"_s);
    QCOMPARE(hal_iface.interface(), "org.freedesktop.Hal.Manager"_s);
    QCOMPARE(hal_iface.connection().name(), QDBusConnection::systemBus().name());
    QVERIFY(!hal_iface.parent());
    QCOMPARE(dlsym(RTLD_DEFAULT, "hal_iface"), static_cast<void *>(&hal_iface));
}

void MediaManagerTest::constructionWritesNothing()
{
    const MediaManager manager(nullptr);
    QVERIFY(manager.m_volumes.isEmpty());
    QVERIFY(!manager.parent());
    for (const QProcess *const process :
         {manager.m_mountProcess, manager.m_unmountProcess, manager.m_ejectProcess}) {
        QVERIFY(!process->parent());
        QCOMPARE(process->thread(), QThread::currentThread());
        QCOMPARE(process->metaObject()->className(), "QProcess");
    }
    QCOMPARE(m_log->texts(), QStringList());
}

void MediaManagerTest::managerIsChildOfTheThread()
{
    auto thread = std::make_unique<QThread>();
    const QPointer<MediaManager> manager = new MediaManager(thread.get());
    QCOMPARE(manager->parent(), thread.get());
    QCOMPARE(manager->thread(), QThread::currentThread());
    thread.reset();
    QVERIFY(!manager);
    QCOMPARE(m_log->texts(), QStringList("~MediaManager()"_s));
}

void MediaManagerTest::processesMoveToTheThread()
{
    QThread thread;
    const MediaManager *const manager = new MediaManager(&thread);
    QCOMPARE(manager->m_mountProcess->thread(), &thread);
    QCOMPARE(manager->m_unmountProcess->thread(), &thread);
    QCOMPARE(manager->m_ejectProcess->thread(), &thread);
    QVERIFY(!manager->m_mountProcess->parent());
}

void MediaManagerTest::destructionWritesOneLine()
{
    MediaManager(nullptr);
    QCOMPARE(m_log->debugs(), QStringList("~MediaManager()"_s));
    QCOMPARE(m_log->texts().size(), 1);
}

void MediaManagerTest::destructionKillsProcessesInOrder()
{
    auto manager = std::make_unique<MediaManager>(nullptr);
    manager->m_ejectProcess->start("sleep"_s, {"1003"_s});
    manager->m_unmountProcess->start("sleep"_s, {"1002"_s});
    manager->m_mountProcess->start("sleep"_s, {"1001"_s});
    const QList<QProcess *> processes = {manager->m_mountProcess, manager->m_unmountProcess,
                                         manager->m_ejectProcess};
    for (QProcess *const process : processes) {
        QVERIFY(process->waitForStarted());
        connect(process, &QObject::destroyed, process,
                [index = processes.indexOf(process)] { qDebug() << "deleted" << index; });
    }
    manager.reset();
    const QStringList debugs = m_log->debugs();
    QCOMPARE(debugs,
             QStringList({"~MediaManager()"_s, "deleted 0"_s, "deleted 1"_s, "deleted 2"_s}));
    QCOMPARE(m_log->warnings().size(), 3);
    for (const QString &warning : m_log->warnings())
        QVERIFY2(warning.startsWith("QProcess: Destroyed while process"_s), qPrintable(warning));
}

void MediaManagerTest::noDiscs()
{
    FakeHal hal;
    hal.addDevice(modem, {{"usb.vendor_id"_s, 0x1110}});
    MediaManager manager(nullptr);
    QCOMPARE(manager.getVolumesCount(), 0);
    QCOMPARE(m_log->texts(), QStringList());
    QVERIFY(manager.getVolumesList().isEmpty());
    QCOMPARE(m_log->debugs(), QStringList("Volumes list count: 0"_s));
    QCOMPARE(names(hal.calls()), QStringList({"volume.disc"_s, "volume.disc"_s}));
    QCOMPARE(hal.calls().constFirst().member, "FindDeviceByCapability"_s);
    QCOMPARE(hal.calls().constFirst().interface, "org.freedesktop.Hal.Manager"_s);
    QCOMPARE(hal.calls().constFirst().path, "/org/freedesktop/Hal/Manager"_s);
}

void MediaManagerTest::countDoesNotTouchTheList()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    manager.getVolumesList();
    hal.addDevice(otherDisc, {}, discCapability);
    m_log->clear();
    hal.clearCalls();
    QCOMPARE(manager.getVolumesCount(), 2); // what can be read of them is not asked
    QCOMPARE(hal.calls().size(), 1);
    QCOMPARE(manager.m_volumes.size(), 1);
    QCOMPARE(m_log->texts(), QStringList());
}

void MediaManagerTest::listKeepsTheDaemonsOrder()
{
    FakeHal hal;
    const QStringList udis = {"/z"_s, "/a"_s, "/m"_s};
    QStringList expected;
    for (const QString &udi : udis) {
        hal.addDevice(udi, discProperties("/dev"_s + udi, "Disc "_s + udi), discCapability);
        expected.append("/dev%1|Disc %1|%1"_s.arg(udi));
    }
    MediaManager manager(nullptr);
    QCOMPARE(toStrings(manager.getVolumesList()), expected);
    QCOMPARE(toStrings(manager.m_volumes), expected);
    QCOMPARE(manager.getVolumesCount(), 3);
    QCOMPARE(m_log->debugs(), QStringList("Volumes list count: 3"_s));
    QCOMPARE(m_log->texts().size(), 1);
    const QList<FakeHal::Call> reads = hal.calls("GetProperty"_s);
    QCOMPARE(reads.size(), 6);
    for (int i = 0; i < reads.size(); ++i) {
        QCOMPARE(reads.at(i).path, udis.at(i / 2));
        QCOMPARE(reads.at(i).interface, "org.freedesktop.Hal.Device"_s);
        QCOMPARE(reads.at(i).arguments.constFirst().toString(),
                 i % 2 ? "volume.label"_s : "block.device"_s);
    }
}

void MediaManagerTest::listIsRebuiltByEachCall()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    QCOMPARE(manager.getVolumesList().size(), 1);
    QCOMPARE(manager.getVolumesList().size(), 1);
    QList<Volume> copy = manager.getVolumesList();
    copy.clear();
    QCOMPARE(manager.m_volumes.size(), 1);
    hal.removeDevice(disc);
    hal.addDevice(otherDisc, discProperties("/dev/sr1"_s, "Two"_s), discCapability);
    QCOMPARE(toStrings(manager.getVolumesList()),
             QStringList("/dev/sr1|Two|/org/freedesktop/Hal/devices/another_disc"_s));
    hal.stop();
    QVERIFY(manager.getVolumesList().isEmpty());
    QVERIFY(manager.m_volumes.isEmpty());
}

void MediaManagerTest::listSkipsVolumesWithoutProperty_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::newRow("no label") << QVariantMap({{"block.device"_s, "/dev/sr0"_s}});
    QTest::newRow("no block device") << QVariantMap({{"volume.label"_s, "One"_s}});
    QTest::newRow("neither") << QVariantMap();
}

void MediaManagerTest::listSkipsVolumesWithoutProperty()
{
    QFETCH(QVariantMap, properties);
    FakeHal hal;
    hal.addDevice(disc, properties, discCapability);
    hal.addDevice(otherDisc, discProperties("/dev/sr1"_s, "Two"_s), discCapability);
    MediaManager manager(nullptr);
    QCOMPARE(toStrings(manager.getVolumesList()),
             QStringList("/dev/sr1|Two|/org/freedesktop/Hal/devices/another_disc"_s));
    QCOMPARE(m_log->debugs(), QStringList("Volumes list count: 1"_s));
    QCOMPARE(m_log->texts().size(), 1);
    QCOMPARE(manager.getVolumesCount(), 2);
}

void MediaManagerTest::listHasVolumesWithEmptyValues()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties(QString(), QString()), discCapability);
    MediaManager manager(nullptr);
    QCOMPARE(toStrings(manager.getVolumesList()), QStringList("||"_s + disc));
}

void MediaManagerTest::bothPropertiesAreReadBeforeEitherIsTested()
{
    FakeHal hal;
    hal.addDevice(disc, {{"volume.is_disc"_s, true}}, discCapability);
    MediaManager manager(nullptr);
    manager.getVolumesList();
    const QStringList both = {"block.device"_s, "volume.label"_s};
    QCOMPARE(names(hal.calls("GetProperty"_s)), both);
    hal.clearCalls();
    waitForSubscriptions();
    hal.emitDeviceAdded(disc);
    QTRY_COMPARE(names(hal.calls()), QStringList("volume.is_disc"_s) + both);
}

void MediaManagerTest::wrongTypeOfPropertyIsAFailure_data()
{
    QTest::addColumn<QString>("property");
    QTest::addColumn<int>("behaviour");
    for (const char *property : {"block.device", "volume.label"}) {
        QTest::addRow("%s in a variant", property)
            << QString::fromLatin1(property) << int(FakeHal::WrapInVariant);
        QTest::addRow("%s of another type", property)
            << QString::fromLatin1(property) << int(FakeHal::WrongType);
    }
}

void MediaManagerTest::wrongTypeOfPropertyIsAFailure()
{
    QFETCH(QString, property);
    QFETCH(int, behaviour);
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    hal.setBehaviour(FakeHal::Behaviour(behaviour), "GetProperty"_s, property);
    MediaManager manager(nullptr);
    QCOMPARE(manager.getVolumesList().size(), 0);
    hal.resetBehaviour();
    QCOMPARE(manager.getVolumesList().size(), 1);
}

void MediaManagerTest::wrongTypeOfListIsAFailure_data()
{
    QTest::addColumn<int>("behaviour");
    QTest::newRow("variant") << int(FakeHal::WrapInVariant);
    QTest::newRow("string") << int(FakeHal::WrongType);
}

void MediaManagerTest::wrongTypeOfListIsAFailure()
{
    QFETCH(int, behaviour);
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    manager.getVolumesList();
    m_log->clear();
    hal.setBehaviour(FakeHal::Behaviour(behaviour), "FindDeviceByCapability"_s);
    QCOMPARE(manager.getVolumesCount(), 0);
    QCOMPARE(m_log->texts(), QStringList());
    QVERIFY(manager.getVolumesList().isEmpty());
    QCOMPARE(m_log->texts(), QStringList("Volumes list count: 0"_s));
    QVERIFY(manager.m_volumes.isEmpty());
}

void MediaManagerTest::errorOfListIsAFailure()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    manager.getVolumesList();
    hal.setBehaviour(FakeHal::Error, "FindDeviceByCapability"_s);
    QCOMPARE(manager.getVolumesCount(), 0);
    QVERIFY(manager.getVolumesList().isEmpty());
    QCOMPARE(m_log->texts(), QStringList({"Volumes list count: 1"_s, "Volumes list count: 0"_s}));
}

void MediaManagerTest::managersShareTheInterface()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager one(nullptr);
    MediaManager two(nullptr);
    QCOMPARE(one.getVolumesList().size(), 1);
    QVERIFY(two.m_volumes.isEmpty());
    QCOMPARE(two.getVolumesCount(), 1);
}

void MediaManagerTest::insertedDiscIsAnnounced()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "A \"label\""_s), discCapability);
    MediaManager manager(nullptr);
    logSignals(manager);
    hal.emitDeviceAdded(disc);
    QVERIFY(waitForTexts(4));
    QCOMPARE(
        m_log->debugs(),
        QStringList({"Volume added..."_s, "Volume ok: \"/dev/sr0\" \"A \\\"label\\\"\""_s,
                     "signal volumeAdded /dev/sr0 A \"label\" "_s + disc, "signal volumeAdded"_s}));
    QCOMPARE(m_log->warnings(), QStringList());
    QCOMPARE(names(hal.calls()),
             QStringList({"volume.is_disc"_s, "block.device"_s, "volume.label"_s}));
    for (const FakeHal::Call &call : hal.calls()) {
        QCOMPARE(call.path, disc);
        QCOMPARE(call.interface, "org.freedesktop.Hal.Device"_s);
    }
}

void MediaManagerTest::thirdArgumentIsTheUdi()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    QString udi;
    connect(&manager, QOverload<QString, QString, QString>::of(&MediaManager::volumeAdded),
            [&udi](const QString &, const QString &, const QString &device) { udi = device; });
    waitForSubscriptions();
    hal.emitDeviceAdded(disc);
    QTRY_COMPARE(udi, disc);
}

void MediaManagerTest::otherDevicesAreSilent_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::newRow("no volume") << QVariantMap({{"usb.vendor_id"_s, 0x1110}});
    QTest::newRow("volume, but no disc") << QVariantMap({{"volume.is_disc"_s, false},
                                                         {"block.device"_s, "/dev/sda1"_s},
                                                         {"volume.label"_s, "Stick"_s}});
    QTest::newRow("number for a flag") << QVariantMap({{"volume.is_disc"_s, 1},
                                                       {"block.device"_s, "/dev/sda1"_s},
                                                       {"volume.label"_s, "Stick"_s}});
}

void MediaManagerTest::otherDevicesAreSilent()
{
    QFETCH(QVariantMap, properties);
    FakeHal hal;
    hal.addDevice(modem, properties);
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    logSignals(manager);
    hal.emitDeviceAdded(modem);
    hal.emitDeviceAdded(disc);
    QVERIFY(waitForTexts(4));
    QCOMPARE(m_log->texts(), addedLines("/dev/sr0"_s, "One"_s, disc));
    QCOMPARE(hal.calls().size(), 1 + 3);
}

void MediaManagerTest::insertedDiscWithoutPropertyIsNotAnnounced_data()
{
    QTest::addColumn<QString>("property");
    QTest::addColumn<int>("behaviour");
    for (const char *property : {"block.device", "volume.label"}) {
        const QString name = QString::fromLatin1(property);
        QTest::addRow("no %s", property) << name << int(FakeHal::Error);
        QTest::addRow("%s in a variant", property) << name << int(FakeHal::WrapInVariant);
        QTest::addRow("%s of another type", property) << name << int(FakeHal::WrongType);
    }
}

void MediaManagerTest::insertedDiscWithoutPropertyIsNotAnnounced()
{
    QFETCH(QString, property);
    QFETCH(int, behaviour);
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    hal.setBehaviour(FakeHal::Behaviour(behaviour), "GetProperty"_s, property);
    MediaManager manager(nullptr);
    logSignals(manager);
    hal.emitDeviceAdded(disc);
    hal.emitDeviceRemoved(modem);
    QVERIFY(waitForTexts(4));
    QCOMPARE(m_log->texts(), QStringList("Volume added..."_s) + removedLines(modem));
}

void MediaManagerTest::insertedDiscWithEmptyLabelIsAnnounced()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, QString()), discCapability);
    MediaManager manager(nullptr);
    logSignals(manager);
    hal.emitDeviceAdded(disc);
    QVERIFY(waitForTexts(4));
    QCOMPARE(m_log->texts(), addedLines("/dev/sr0"_s, QString(), disc));
}

void MediaManagerTest::anyRemovalIsPassedOn_data()
{
    QTest::addColumn<QString>("udi");
    QTest::newRow("a disc") << disc;
    QTest::newRow("not a disc") << modem;
    QTest::newRow("never seen") << "/org/freedesktop/Hal/devices/unknown"_s;
    QTest::newRow("no object path") << "x"_s;
    QTest::newRow("empty") << QString();
}

void MediaManagerTest::anyRemovalIsPassedOn()
{
    QFETCH(QString, udi);
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    hal.addDevice(modem, {});
    MediaManager manager(nullptr);
    logSignals(manager);
    hal.emitDeviceRemoved(udi);
    QVERIFY(waitForTexts(3));
    QStringList expected = removedLines(udi);
    QCOMPARE(m_log->debugs(), expected);
    QCOMPARE(m_log->warnings(), QStringList());
    QVERIFY(hal.calls().isEmpty());
}

void MediaManagerTest::anySenderAndPathIsHeard()
{
    MediaManager manager(nullptr);
    logSignals(manager);
    const QString name = "stranger"_s;
    {
        QDBusConnection stranger = QDBusConnection::connectToBus(
            QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")), name);
        const auto send = [&stranger](const char *interface, const QString &udi) {
            QDBusMessage message = QDBusMessage::createSignal(
                "/some/where"_s, QString::fromLatin1(interface), "DeviceRemoved"_s);
            message << udi;
            QVERIFY(stranger.send(message));
        };
        send("org.example.Hal.Manager", "/of/another/interface"_s);
        send("org.freedesktop.Hal.Manager", "/gone"_s);
        QVERIFY(waitForTexts(3));
    }
    QDBusConnection::disconnectFromBus(name);
    QCOMPARE(m_log->texts(), removedLines("/gone"_s));
}

void MediaManagerTest::slotsDoNotChangeTheList()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    QCOMPARE(manager.getVolumesList().size(), 1);
    const QStringList before = toStrings(manager.m_volumes);
    hal.addDevice(otherDisc, discProperties("/dev/sr1"_s, "Two"_s), discCapability);
    hal.removeDevice(disc);
    m_log->clear();
    waitForSubscriptions();
    hal.emitDeviceAdded(otherDisc);
    hal.emitDeviceRemoved(disc);
    QVERIFY(waitForTexts(3));
    QCOMPARE(toStrings(manager.m_volumes), before);
    QCOMPARE(toStrings(manager.getVolumesList()), QStringList("/dev/sr1|Two|"_s + otherDisc));
}

void MediaManagerTest::slotsRunInTheThreadOfTheManager()
{
    FakeHal hal;
    QThread thread;
    thread.start();
    auto *const manager = new MediaManager(&thread);
    QThread *slotThread = nullptr;
    connect(
        manager, QOverload<>::of(&MediaManager::volumeRemoved), manager,
        [&slotThread] { slotThread = QThread::currentThread(); }, Qt::DirectConnection);
    waitForSubscriptions();
    hal.emitDeviceRemoved(disc);
    QTRY_VERIFY(slotThread);
    QCOMPARE(slotThread, QThread::currentThread());
    delete manager;
    thread.quit();
    thread.wait();
}

void MediaManagerTest::everyManagerHears()
{
    FakeHal hal;
    MediaManager one(nullptr);
    MediaManager two(nullptr);
    waitForSubscriptions();
    hal.emitDeviceRemoved(disc);
    QVERIFY(waitForTexts(2));
    QCOMPARE(m_log->texts(),
             QStringList({removedLines(disc).constFirst(), removedLines(disc).constFirst()}));
}

void MediaManagerTest::deletedManagerHearsNothing()
{
    FakeHal hal;
    MediaManager listener(nullptr);
    MediaManager(nullptr);
    m_log->clear();
    waitForSubscriptions();
    hal.emitDeviceRemoved(disc);
    QVERIFY(waitForTexts(1));
    QCoreApplication::processEvents();
    QCOMPARE(m_log->texts().size(), 1);
}

void MediaManagerTest::udiThatIsNoObjectPath_data()
{
    QTest::addColumn<QString>("udi");
    for (const char *udi : {"", "x", "/a//b", "/a/", "//", "/a b", "/a-b", "/\xc3\xa4"})
        QTest::newRow(udi) << QString::fromUtf8(udi);
}

void MediaManagerTest::udiThatIsNoObjectPath()
{
    QFETCH(QString, udi);
    FakeHal hal;
    hal.addDevice(udi, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    hal.addDevice(disc, discProperties("/dev/sr1"_s, "Two"_s), discCapability);
    MediaManager manager(nullptr);
    logSignals(manager);
    QCOMPARE(manager.getVolumesCount(), 2);
    QCOMPARE(toStrings(manager.getVolumesList()), QStringList("/dev/sr1|Two|"_s + disc));
    QCOMPARE(m_log->take(), QStringList("Volumes list count: 1"_s));

    hal.emitDeviceAdded(udi);
    hal.emitDeviceRemoved(udi);
    QVERIFY(waitForTexts(3));
    QCOMPARE(m_log->take(), removedLines(udi));

    QVERIFY(!manager.getVolumeIsMounted(udi));
    QCOMPARE(m_log->take().size(), 2);
    QVERIFY(manager.getVolumeMountPoint(udi).isNull());
    QCOMPARE(m_log->take().size(), 2);
    QCOMPARE(manager.mountVolume(udi, "/mnt"_s), -2);
    QCOMPARE(m_log->debugs().size(), 1);
}

void MediaManagerTest::noDaemon()
{
    MediaManager manager(nullptr);
    QCOMPARE(manager.getVolumesCount(), 0);
    QVERIFY(manager.getVolumesList().isEmpty());
    QCOMPARE(m_log->texts(), QStringList("Volumes list count: 0"_s));
}

void MediaManagerTest::daemonComesLater()
{
    FakeHal hal(false);
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    logSignals(manager);
    QCOMPARE(manager.getVolumesCount(), 0);
    hal.start();
    QCOMPARE(manager.getVolumesCount(), 1);
    QCOMPARE(manager.getVolumesList().size(), 1);
    m_log->clear();
    hal.emitDeviceAdded(disc);
    QVERIFY(waitForTexts(4));
    QCOMPARE(m_log->texts(), addedLines("/dev/sr0"_s, "One"_s, disc));
    hal.stop();
    QCOMPARE(manager.getVolumesCount(), 0);
    hal.start();
    QCOMPARE(manager.getVolumesCount(), 1);
}

void MediaManagerTest::daemonVanishesInTheListCall()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    MediaManager manager(nullptr);
    manager.getVolumesList();
    m_log->clear();
    hal.setBehaviour(FakeHal::Vanish, "FindDeviceByCapability"_s);
    QVERIFY(manager.getVolumesList().isEmpty());
    QCOMPARE(m_log->texts(), QStringList("Volumes list count: 0"_s));
    hal.start();
    QCOMPARE(manager.getVolumesCount(), 0);
    QCOMPARE(hal.calls("FindDeviceByCapability"_s).size(), 3);
}

void MediaManagerTest::daemonVanishesBetweenVolumes()
{
    FakeHal hal;
    for (const char *udi : {"/one", "/two", "/three"}) {
        const QString name = QString::fromLatin1(udi);
        hal.addDevice(name, discProperties("/dev/sr0"_s, name), discCapability);
    }
    hal.setBehaviour(FakeHal::Vanish, "GetProperty"_s, "block.device"_s, "/two"_s);
    MediaManager manager(nullptr);
    QCOMPARE(toStrings(manager.getVolumesList()), QStringList("/dev/sr0|/one|/one"_s));
    QCOMPARE(m_log->texts(), QStringList("Volumes list count: 1"_s));
}

void MediaManagerTest::daemonVanishesWhileADiscIsAdded()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    hal.setBehaviour(FakeHal::Vanish, "GetProperty"_s, "volume.label"_s);
    MediaManager manager(nullptr);
    logSignals(manager);
    hal.emitDeviceAdded(disc);
    QVERIFY(waitForTexts(1));
    QTest::qWait(100);
    QCOMPARE(hal.calls().size(), 3);
    QCOMPARE(m_log->texts(), QStringList("Volume added..."_s));
}

void MediaManagerTest::daemonIsOlderThanTheLibrary()
{
    FakeHal hal;
    hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
    QProcess probe;
    probe.start(QStringLiteral(VOLUME_PROBE), QStringList());
    QVERIFY(probe.waitForFinished());
    QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
    const QByteArray output = probe.readAllStandardOutput();
    QVERIFY2(output.startsWith("interface valid: 1\n"
                               "count: 1\n"
                               "message: Volumes list count: 1\n"
                               "volume: /dev/sr0 /org/freedesktop/Hal/devices/disc\n"),
             output.constData());
}

void MediaManagerTest::noBus_data()
{
    QTest::addColumn<QString>("address");
    QTest::newRow("nobody listens") << "unix:path=/run/no/such/bus"_s;
    QTest::newRow("default address") << QString();
    QTest::newRow("nonsense") << "nonsense"_s;
}

void MediaManagerTest::noBus()
{
    QFETCH(QString, address);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DBUS_SYSTEM_BUS_ADDRESS"_s);
    if (!address.isEmpty())
        environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, address);
    QProcess probe;
    probe.setProcessEnvironment(environment);
    probe.start(QStringLiteral(VOLUME_PROBE), QStringList());
    QVERIFY(probe.waitForFinished());
    QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
    QCOMPARE(probe.exitCode(), 0);
    const QList<QByteArray> lines = probe.readAllStandardOutput().split('\n');
    for (const char *line :
         {"interface valid: 0", "count: 0", "message: Volumes list count: 0",
          "message: MediaManager::mountVolume(): reply is invalid, aborting (returning -2)",
          "mount: -2", "message: ~MediaManager()"})
        QVERIFY2(lines.contains(line), line);
}

void MediaManagerTest::nothingGoesToStandardOutput()
{
    QByteArray output;
    {
        StdoutCapture capture;
        FakeHal hal;
        hal.addDevice(disc, discProperties("/dev/sr0"_s, "One"_s), discCapability);
        MediaManager manager(nullptr);
        logSignals(manager);
        manager.getVolumesList();
        hal.emitDeviceAdded(disc);
        hal.emitDeviceRemoved(disc);
        waitForTexts(8);
        output = capture.take();
    }
    QCOMPARE(m_log->texts().size(), 9);
    QCOMPARE(output, QByteArray());
}

KESTRA_TEST_MAIN(MediaManagerTest)

#include "mediamanagertest.moc"
