// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fakehal.h"
#include "knownmodems.h"
#include "messagelog.h"
#include "testmain.h"

#include <kestra/modem/modemmanager.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QSet>
#include <QSignalSpy>
#include <QTimer>

#include <algorithm>
#include <memory>

Q_DECLARE_METATYPE(KestraTest::FakeHal::Behaviour)

using namespace KestraTest;

namespace {

const QString udi = "/org/freedesktop/Hal/devices/usb_device_1110_9041_noserial"_s;
const QString otherUdi = "/org/freedesktop/Hal/devices/usb_device_6b9_4061_noserial"_s;

const char vendorKey[] = "usb_device.vendor_id";
const char productKey[] = "usb_device.product_id";

const QStringList modemNames = {"Sagem F@st 800 E4"_s, "Sagem F@st 800"_s,
                                "Thomson Speedtouch 330"_s, "ZTE ZXDSL 852"_s, "CXACRU modem"_s};

const QStringList driverNames = {"ueagle-atm"_s, "ueagle-atm"_s, "speedtch"_s, "unicorn"_s,
                                 "cxacru"_s};
const QStringList driverVersions = {"default"_s, QString(), "default"_s, "neo"_s, "neo"_s};

bool isKnown(int vendor, int product)
{
    return std::any_of(std::begin(knownDevices), std::end(knownDevices),
                       [=](const KnownDevice &device) {
                           return device.vendor == vendor && device.product == product;
                       });
}

QVariantMap usbDevice(int vendor, int product)
{
    return {{QLatin1String(vendorKey), vendor}, {QLatin1String(productKey), product}};
}

QString announcement(const QString &device) { return "New device: \"%1\""_s.arg(device); }

QString idMessage(int vendor, int product)
{
    return "p_id: %1 v_id: %2"_s.arg(product).arg(vendor);
}

/** What a verification says that goes through the table up to a row. */
QStringList verification(int lastRow, bool found)
{
    QStringList result = {"ModemManager::verifyDevice()"_s};
    for (int row = 0; row <= lastRow; ++row)
        result.append("iterating through: \"%1\""_s.arg(modemNames.at(row)));
    if (found)
        result.append("contains"_s);
    return result;
}

void emitSignal(const QString &path, const QString &interface, const QString &name)
{
    QDBusMessage signal = QDBusMessage::createSignal(path, interface, name);
    signal << udi;
    QDBusConnection connection = QDBusConnection::connectToBus(
        QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")), "someone else"_s);
    QVERIFY(connection.send(signal));
    QDBusConnection::disconnectFromBus("someone else"_s);
}

}

/**
 * Modem detection. Most tests call the slots themselves and so need not wait for the settle time;
 * those named after time wait it out.
 */
class ModemManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsWithNothing();
    void declaresSignalsAndSlotsInOrder();
    void constructionSaysNothingAndAsksNothing();
    void connectingSaysSo();

    void recognisesEachDevice_data();
    void recognisesEachDevice();
    void recognisesNoOtherPairOfItsNumbers();
    void recognisesNoSwappedNumbers();
    void recognisesNoNumberInTheGaps_data();
    void recognisesNoNumberInTheGaps();
    void keepsTheTableInOrder();

    void announcementSaysExactly();
    void announcementAsksForProductThenVendor();
    void announcementStartsSingleShotOfFiveSeconds();
    void verificationAsksTheManager();
    void verificationSaysExactly();
    void verificationOfAnUnknownDeviceSaysExactly();
    void verificationBeforeAnyAnnouncementFindsNothing();

    void deviceThatIsNotUsbChangesNothing_data();
    void deviceThatIsNotUsbChangesNothing();
    void deviceThatIsNotUsbLeavesTheTimerAlone();
    void failedPropertyChangesNothing_data();
    void failedPropertyChangesNothing();
    void failedExistenceCheckFindsNothing_data();
    void failedExistenceCheckFindsNothing();
    void identifierThatIsNoObjectPathIsIgnored_data();
    void identifierThatIsNoObjectPathIsIgnored();

    void gettersAreCompleteWhenTheSignalGoesOut();
    void emptyVersionReplacesAnEarlierOne();
    void matchNeverClearsItself();
    void foundFlagIsResetBeforeTheManagerIsAsked();
    void removedDeviceResetsTheFoundFlag();
    void laterMatchReplacesTheEarlierOne();
    void deviceNumbersAreThoseOfTheLastAnnouncement();

    void timeFoundAfterFiveSeconds();
    void timeOnlyTheSecondOfTwoDevicesIsVerified();
    void timeDeviceRemovedBeforeFiveSecondsIsNotFound();
    void daemonThatStartsLateIsHeard();
    void daemonThatComesBackIsHeard();
    void anySenderAndPathIsHeard();
    void otherSignalsAreNotHeard();
    void devicesAreNotHeardBeforeConnecting();

private:
    /** Plugs a device in and has it verified at once. */
    void plugIn(const QString &device, int vendor, int product);
    /** Connects to the bus. Returns when the bus knows what the manager wants to hear. */
    void listen();
    bool hasUntouchedState() const;

    std::unique_ptr<FakeHal> hal;
    std::unique_ptr<ModemManager> manager;
    std::unique_ptr<QSignalSpy> found;
    std::unique_ptr<QSignalSpy> statusTexts;
    std::unique_ptr<MessageLog> log;
};

void ModemManagerTest::init()
{
    hal = std::make_unique<FakeHal>();
    log = std::make_unique<MessageLog>();
    manager = std::make_unique<ModemManager>();
    found = std::make_unique<QSignalSpy>(manager.get(), &ModemManager::foundModem);
    statusTexts = std::make_unique<QSignalSpy>(manager.get(), &ModemManager::message);
}

void ModemManagerTest::cleanup()
{
    const int statusCount = statusTexts->count();
    const QStringList warnings = log->warnings();
    statusTexts.reset();
    found.reset();
    manager.reset();
    log.reset();
    hal.reset();
    QCOMPARE(statusCount, 0);
    QCOMPARE(warnings, QStringList());
}

void ModemManagerTest::plugIn(const QString &device, int vendor, int product)
{
    hal->addDevice(device, usbDevice(vendor, product));
    manager->deviceAdded(device);
    manager->timer->stop();
    manager->verifyDevice();
}

void ModemManagerTest::listen()
{
    manager->connectToDBus();
    QDBusConnection::systemBus().interface()->isServiceRegistered("org.freedesktop.Hal"_s);
}

bool ModemManagerTest::hasUntouchedState() const
{
    return !manager->getIsModemFound() && manager->getUDI().isEmpty() && manager->getVendorID() == 0
        && manager->getProductID() == 0 && !manager->timer->isActive();
}

void ModemManagerTest::startsWithNothing()
{
    QVERIFY(hasUntouchedState());
    QCOMPARE(manager->getDriverName(), QString());
    QCOMPARE(manager->getDriverVersion(), QString());
    QCOMPARE(manager->getModemName(), QString());
    QVERIFY(!manager->parent());
}

void ModemManagerTest::declaresSignalsAndSlotsInOrder()
{
    QList<QByteArray> signatures;
    const QMetaObject &meta = ModemManager::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        signatures.append(meta.method(i).methodSignature());
    QCOMPARE(signatures,
             QList<QByteArray>({"message(QString)", "foundModem()", "connectToDBus()",
                                "deviceAdded(QString)", "verifyDevice()"}));
}

void ModemManagerTest::constructionSaysNothingAndAsksNothing()
{
    QCOMPARE(log->texts(), QStringList());
    QVERIFY(hal->calls().isEmpty());
}

void ModemManagerTest::connectingSaysSo()
{
    manager->connectToDBus();
    QCOMPARE(log->debugs(), QStringList("Connecting to DBus..."_s));
    QVERIFY(hal->calls().isEmpty());
}

void ModemManagerTest::recognisesEachDevice_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    for (const KnownDevice &device : knownDevices)
        QTest::addRow("%04X:%04X", device.vendor, device.product)
            << device.row << device.vendor << device.product;
}

void ModemManagerTest::recognisesEachDevice()
{
    QFETCH(int, row);
    QFETCH(int, vendor);
    QFETCH(int, product);
    plugIn(udi, vendor, product);
    QCOMPARE(found->count(), 1);
    QVERIFY(manager->getIsModemFound());
    QCOMPARE(manager->getModemName(), modemNames.at(row));
    QCOMPARE(manager->getDriverName(), driverNames.at(row));
    QCOMPARE(manager->getDriverVersion(), driverVersions.at(row));
    QCOMPARE(manager->getVendorID(), vendor);
    QCOMPARE(manager->getProductID(), product);
    QCOMPARE(manager->getUDI(), udi);
}

void ModemManagerTest::recognisesNoOtherPairOfItsNumbers()
{
    QSet<QPair<int, int>> pairs;
    for (const KnownDevice &vendorOf : knownDevices) {
        for (const KnownDevice &productOf : knownDevices)
            pairs.insert({vendorOf.vendor, productOf.product});
    }
    int matches = 0;
    for (const QPair<int, int> &pair : qAsConst(pairs)) {
        plugIn(udi, pair.first, pair.second);
        QCOMPARE(manager->getIsModemFound(), isKnown(pair.first, pair.second));
        matches += manager->getIsModemFound();
    }
    QCOMPARE(matches, 29);
    QCOMPARE(found->count(), 29);
}

void ModemManagerTest::recognisesNoSwappedNumbers()
{
    for (const KnownDevice &device : knownDevices)
        plugIn(udi, device.product, device.vendor);
    QCOMPARE(found->count(), 0);
}

void ModemManagerTest::recognisesNoNumberInTheGaps_data()
{
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    QTest::newRow("0572:CB03") << 0x0572 << 0xCB03;
    QTest::newRow("1110:9040") << 0x1110 << 0x9040;
    QTest::newRow("1110:9043") << 0x1110 << 0x9043;
    QTest::newRow("1110:0000") << 0x1110 << 0;
    QTest::newRow("0000:0000") << 0 << 0;
    QTest::newRow("1111:9041") << 0x1111 << 0x9041;
}

void ModemManagerTest::recognisesNoNumberInTheGaps()
{
    QFETCH(int, vendor);
    QFETCH(int, product);
    plugIn(udi, vendor, product);
    QCOMPARE(found->count(), 0);
    QVERIFY(!manager->getIsModemFound());
    QCOMPARE(manager->getModemName(), QString());
}

void ModemManagerTest::keepsTheTableInOrder()
{
    QStringList names, drivers, versions;
    QList<int> pairCounts;
    for (const ModemManager::Modem &modem : qAsConst(manager->modems)) {
        names.append(modem.modemName);
        drivers.append(modem.driverName);
        versions.append(modem.driverVersion);
        pairCounts.append(modem.deviceIds.size());
    }
    QCOMPARE(names, modemNames);
    QCOMPARE(drivers, driverNames);
    QCOMPARE(versions, driverVersions);
    QCOMPARE(pairCounts, QList<int>({2, 8, 1, 1, 17}));
}

void ModemManagerTest::announcementSaysExactly()
{
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    manager->deviceAdded(udi);
    QCOMPARE(log->debugs(), QStringList({announcement(udi), "p_id: 36929 v_id: 4368"_s}));
}

void ModemManagerTest::announcementAsksForProductThenVendor()
{
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    manager->deviceAdded(udi);
    const QList<FakeHal::Call> calls = hal->calls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(0).arguments, QVariantList({QLatin1String(productKey)}));
    QCOMPARE(calls.at(1).arguments, QVariantList({QLatin1String(vendorKey)}));
    for (const FakeHal::Call &call : calls) {
        QCOMPARE(call.path, udi);
        QCOMPARE(call.interface, "org.freedesktop.Hal.Device"_s);
        QCOMPARE(call.member, "GetProperty"_s);
    }
}

void ModemManagerTest::announcementStartsSingleShotOfFiveSeconds()
{
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    manager->deviceAdded(udi);
    QVERIFY(manager->timer->isActive());
    QVERIFY(manager->timer->isSingleShot());
    QCOMPARE(manager->timer->interval(), 5000);
    QVERIFY(!manager->getIsModemFound());
    QCOMPARE(found->count(), 0);
}

void ModemManagerTest::verificationAsksTheManager()
{
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    manager->deviceAdded(udi);
    hal->clearCalls();
    manager->verifyDevice();
    QCOMPARE(hal->calls().size(), 1);
    const FakeHal::Call call = hal->calls().constFirst();
    QCOMPARE(call.path, "/org/freedesktop/Hal/Manager"_s);
    QCOMPARE(call.interface, "org.freedesktop.Hal.Manager"_s);
    QCOMPARE(call.member, "DeviceExists"_s);
    QCOMPARE(call.arguments, QVariantList({udi}));
}

void ModemManagerTest::verificationSaysExactly()
{
    plugIn(udi, 0x0483, 0x0138);
    QCOMPARE(log->debugs(),
             QStringList({announcement(udi), idMessage(0x0483, 0x0138)}) + verification(3, true));
}

void ModemManagerTest::verificationOfAnUnknownDeviceSaysExactly()
{
    plugIn(udi, 0x0572, 0xCB03);
    QCOMPARE(log->debugs(),
             QStringList({announcement(udi), idMessage(0x0572, 0xCB03)}) + verification(4, false));
}

void ModemManagerTest::verificationBeforeAnyAnnouncementFindsNothing()
{
    manager->verifyDevice();
    QCOMPARE(log->debugs(), verification(-1, false));
    QVERIFY(hasUntouchedState());
}

void ModemManagerTest::deviceThatIsNotUsbChangesNothing_data()
{
    QTest::addColumn<QVariantMap>("properties");
    const QVariantMap usb = usbDevice(0x06B9, 0x4061);
    QTest::newRow("neither") << QVariantMap({{"info.product"_s, "Disc"_s}});
    QTest::newRow("no vendor") << QVariantMap({{QLatin1String(productKey), 0x4061}});
    QTest::newRow("no product") << QVariantMap({{QLatin1String(vendorKey), 0x06B9}});
}

void ModemManagerTest::deviceThatIsNotUsbChangesNothing()
{
    QFETCH(QVariantMap, properties);
    plugIn(udi, 0x1110, 0x9041);
    hal->addDevice(otherUdi, properties);
    hal->clearCalls();
    log->clear();
    manager->deviceAdded(otherUdi);
    QCOMPARE(log->debugs(), QStringList(announcement(otherUdi)));
    QCOMPARE(hal->calls().size(), 2);
    QVERIFY(!manager->timer->isActive());
    QCOMPARE(manager->getUDI(), udi);
    QCOMPARE(manager->getVendorID(), 0x1110);
    QCOMPARE(manager->getProductID(), 0x9041);
    QVERIFY(manager->getIsModemFound());
}

void ModemManagerTest::deviceThatIsNotUsbLeavesTheTimerAlone()
{
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->addDevice(otherUdi, {{"info.product"_s, "Disc"_s}});
    manager->deviceAdded(udi);
    QTest::qWait(1000);
    manager->deviceAdded(otherUdi);
    QVERIFY(manager->timer->isActive());
    // A coarse timer that was started again would still have 4750 ms and more.
    QVERIFY(manager->timer->remainingTime() <= 4500);
    QCOMPARE(manager->getUDI(), udi);
}

void ModemManagerTest::failedPropertyChangesNothing_data()
{
    QTest::addColumn<FakeHal::Behaviour>("behaviour");
    QTest::addColumn<QString>("property");
    const std::pair<const char *, FakeHal::Behaviour> behaviours[] = {
        {"error", FakeHal::Error},
        {"int in a variant", FakeHal::WrapInVariant},
        {"string", FakeHal::WrongType},
        {"daemon vanishes", FakeHal::Vanish},
    };
    for (const auto &[name, behaviour] : behaviours) {
        for (const char *property : {vendorKey, productKey})
            QTest::addRow("%s for %s", name, property)
                << behaviour << QString::fromLatin1(property);
    }
}

void ModemManagerTest::failedPropertyChangesNothing()
{
    QFETCH(FakeHal::Behaviour, behaviour);
    QFETCH(QString, property);
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->setBehaviour(behaviour, "GetProperty"_s, property);
    manager->deviceAdded(udi);
    QVERIFY(hasUntouchedState());
    QCOMPARE(log->debugs(), QStringList(announcement(udi)));

    hal->resetBehaviour();
    if (behaviour == FakeHal::Vanish)
        hal->start();
    plugIn(udi, 0x1110, 0x9041);
    QCOMPARE(found->count(), 1);
}

void ModemManagerTest::failedExistenceCheckFindsNothing_data()
{
    QTest::addColumn<FakeHal::Behaviour>("behaviour");
    QTest::newRow("error") << FakeHal::Error;
    QTest::newRow("bool in a variant") << FakeHal::WrapInVariant;
    QTest::newRow("string") << FakeHal::WrongType;
    QTest::newRow("daemon vanishes") << FakeHal::Vanish;
}

void ModemManagerTest::failedExistenceCheckFindsNothing()
{
    QFETCH(FakeHal::Behaviour, behaviour);
    hal->setBehaviour(behaviour, "DeviceExists"_s);
    plugIn(udi, 0x1110, 0x9041);
    QCOMPARE(found->count(), 0);
    QVERIFY(!manager->getIsModemFound());
    QCOMPARE(manager->getModemName(), QString());
    QCOMPARE(log->debugs(),
             QStringList({announcement(udi), idMessage(0x1110, 0x9041)}) + verification(-1, false));
}

void ModemManagerTest::identifierThatIsNoObjectPathIsIgnored_data()
{
    QTest::addColumn<QString>("identifier");
    for (const char *identifier :
         {"", "foo", "/a//b", "/a/", "/ä", "//", "/a b", "/a-b", "/a.b", "a/b", "/"})
        QTest::addRow("\"%s\"", identifier) << QString::fromUtf8(identifier);
}

void ModemManagerTest::identifierThatIsNoObjectPathIsIgnored()
{
    QFETCH(QString, identifier);
    manager->deviceAdded(identifier);
    QVERIFY(hasUntouchedState());
    QCOMPARE(log->debugs(), QStringList(announcement(identifier)));
    listen();
    log->clear();
    hal->emitDeviceAdded(identifier);
    QTRY_COMPARE(log->debugs(), QStringList(announcement(identifier)));
    QVERIFY(hasUntouchedState());
}

void ModemManagerTest::gettersAreCompleteWhenTheSignalGoesOut()
{
    QStringList texts;
    QList<int> numbers;
    bool isFound = false;
    QStringList messages;
    connect(manager.get(), &ModemManager::foundModem, this, [&] {
        texts = QStringList({manager->getModemName(), manager->getDriverName(),
                             manager->getDriverVersion(), manager->getUDI()});
        numbers = {manager->getVendorID(), manager->getProductID()};
        isFound = manager->getIsModemFound();
        messages = log->take();
    });
    plugIn(udi, 0x06B9, 0x4061);
    QCOMPARE(texts, QStringList({"Thomson Speedtouch 330"_s, "speedtch"_s, "default"_s, udi}));
    QCOMPARE(numbers, QList<int>({0x06B9, 0x4061}));
    QVERIFY(isFound);
    QCOMPARE(messages.constLast(), "contains"_s);
    QCOMPARE(log->texts(), QStringList());
}

void ModemManagerTest::emptyVersionReplacesAnEarlierOne()
{
    plugIn(udi, 0x0483, 0x0138);
    QCOMPARE(manager->getDriverVersion(), "neo"_s);
    plugIn(otherUdi, 0x1110, 0x9010);
    QCOMPARE(manager->getModemName(), "Sagem F@st 800"_s);
    QCOMPARE(manager->getDriverVersion(), QString());
}

void ModemManagerTest::matchNeverClearsItself()
{
    plugIn(udi, 0x1110, 0x9041);
    plugIn(otherUdi, 0x046D, 0xC016);
    QVERIFY(!manager->getIsModemFound());
    QCOMPARE(manager->getModemName(), "Sagem F@st 800 E4"_s);
    QCOMPARE(manager->getDriverName(), "ueagle-atm"_s);
    QCOMPARE(manager->getDriverVersion(), "default"_s);
    QCOMPARE(found->count(), 1);
}

void ModemManagerTest::foundFlagIsResetBeforeTheManagerIsAsked()
{
    plugIn(udi, 0x1110, 0x9041);
    QVERIFY(manager->getIsModemFound());
    bool duringCall = true;
    // The manager's thread is blocked in its call meanwhile.
    hal->setCallHook([this, &duringCall](const FakeHal::Call &call) {
        if (call.member == "DeviceExists"_s)
            duringCall = manager->isModemFound;
    });
    manager->verifyDevice();
    hal->setCallHook(nullptr);
    QVERIFY(!duringCall);
    QVERIFY(manager->getIsModemFound());
}

void ModemManagerTest::removedDeviceResetsTheFoundFlag()
{
    plugIn(udi, 0x1110, 0x9041);
    hal->removeDevice(udi);
    log->clear();
    manager->verifyDevice();
    QVERIFY(!manager->getIsModemFound());
    QCOMPARE(found->count(), 1);
    QCOMPARE(manager->getModemName(), "Sagem F@st 800 E4"_s);
    QCOMPARE(log->debugs(), verification(-1, false));
}

void ModemManagerTest::laterMatchReplacesTheEarlierOne()
{
    plugIn(udi, 0x1110, 0x9041);
    plugIn(otherUdi, 0x100D, 0xCB01);
    QCOMPARE(found->count(), 2);
    QCOMPARE(manager->getModemName(), "CXACRU modem"_s);
    QCOMPARE(manager->getDriverName(), "cxacru"_s);
    QCOMPARE(manager->getDriverVersion(), "neo"_s);
    QCOMPARE(manager->getUDI(), otherUdi);
}

void ModemManagerTest::deviceNumbersAreThoseOfTheLastAnnouncement()
{
    plugIn(udi, 0x1110, 0x9041);
    hal->addDevice(otherUdi, usbDevice(0x046D, 0xC016));
    manager->deviceAdded(otherUdi);
    QCOMPARE(manager->getUDI(), otherUdi);
    QCOMPARE(manager->getVendorID(), 0x046D);
    QCOMPARE(manager->getProductID(), 0xC016);
    // Only a verification says anything about the modem.
    QVERIFY(manager->getIsModemFound());
    QCOMPARE(manager->getModemName(), "Sagem F@st 800 E4"_s);
}

void ModemManagerTest::timeFoundAfterFiveSeconds()
{
    listen();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    QElapsedTimer timer;
    timer.start();
    hal->emitDeviceAdded(udi);
    QVERIFY(found->wait(8000));
    const qint64 elapsed = timer.elapsed();
    // A coarse timer is off by up to a twentieth.
    QVERIFY2(elapsed >= 4750, QByteArray::number(elapsed).constData());
    QCOMPARE(log->debugs(),
             QStringList({"Connecting to DBus..."_s, announcement(udi), idMessage(0x1110, 0x9041)})
                 + verification(0, true));
    QVERIFY(!manager->timer->isActive());
}

void ModemManagerTest::timeOnlyTheSecondOfTwoDevicesIsVerified()
{
    listen();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->addDevice(otherUdi, usbDevice(0x06B9, 0x4061));
    hal->emitDeviceAdded(udi);
    QTest::qWait(2000);
    QElapsedTimer timer;
    timer.start();
    hal->emitDeviceAdded(otherUdi);
    QVERIFY(found->wait(8000));
    QVERIFY(timer.elapsed() >= 4750);
    QCOMPARE(manager->getModemName(), "Thomson Speedtouch 330"_s);
    QCOMPARE(manager->getUDI(), otherUdi);
    QCOMPARE(hal->calls("DeviceExists"_s).size(), 1);
    QCOMPARE(hal->calls("DeviceExists"_s).constFirst().arguments, QVariantList({otherUdi}));
    QCOMPARE(found->count(), 1);
}

void ModemManagerTest::timeDeviceRemovedBeforeFiveSecondsIsNotFound()
{
    listen();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->emitDeviceAdded(udi);
    QTest::qWait(1000);
    hal->removeDevice(udi);
    hal->emitDeviceRemoved(udi);
    QTRY_COMPARE_WITH_TIMEOUT(hal->calls("DeviceExists"_s).size(), 1, 8000);
    QTest::qWait(100);
    QCOMPARE(found->count(), 0);
    QVERIFY(!manager->getIsModemFound());
    QCOMPARE(manager->getModemName(), QString());
    QCOMPARE(manager->getUDI(), udi);
}

void ModemManagerTest::daemonThatStartsLateIsHeard()
{
    hal->stop();
    listen();
    manager->deviceAdded(udi);
    manager->verifyDevice();
    QVERIFY(hasUntouchedState());
    hal->start();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->emitDeviceAdded(udi);
    QTRY_VERIFY(manager->timer->isActive());
    manager->verifyDevice();
    QCOMPARE(found->count(), 1);
}

void ModemManagerTest::daemonThatComesBackIsHeard()
{
    listen();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->emitDeviceAdded(udi);
    QTRY_COMPARE(manager->getUDI(), udi);
    hal->stop();
    manager->verifyDevice();
    QCOMPARE(found->count(), 0);
    hal->start();
    hal->addDevice(otherUdi, usbDevice(0x06B9, 0x4061));
    hal->emitDeviceAdded(otherUdi);
    QTRY_COMPARE(manager->getUDI(), otherUdi);
    manager->verifyDevice();
    QCOMPARE(found->count(), 1);
}

void ModemManagerTest::anySenderAndPathIsHeard()
{
    listen();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    emitSignal("/some/where/else"_s, "org.freedesktop.Hal.Manager"_s, "DeviceAdded"_s);
    QTRY_COMPARE(manager->getUDI(), udi);
}

void ModemManagerTest::otherSignalsAreNotHeard()
{
    listen();
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    log->clear();
    emitSignal("/org/freedesktop/Hal/Manager"_s, "org.freedesktop.Hal.Device"_s, "DeviceAdded"_s);
    emitSignal("/org/freedesktop/Hal/Manager"_s, "org.freedesktop.Hal.Manager"_s,
               "NewCapability"_s);
    hal->emitDeviceRemoved(udi);
    QTest::qWait(500);
    QCOMPARE(log->texts(), QStringList());
    QVERIFY(hasUntouchedState());
}

void ModemManagerTest::devicesAreNotHeardBeforeConnecting()
{
    hal->addDevice(udi, usbDevice(0x1110, 0x9041));
    hal->emitDeviceAdded(udi);
    QTest::qWait(300);
    listen();
    QTest::qWait(300);
    QCOMPARE(log->debugs(), QStringList("Connecting to DBus..."_s));
    QVERIFY(hasUntouchedState());
    QVERIFY(hal->calls().isEmpty());
}

KESTRA_TEST_MAIN(ModemManagerTest)

#include "modemmanagertest.moc"
