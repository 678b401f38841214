// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "knownmodems.h"
#include "messagelog.h"
#include "stage.h"
#include "testmain.h"

#include <kestra/modem/modemmanager.h>

#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>

#include <memory>
#include <optional>

using namespace KestraTest;

namespace {

constexpr int settleTime = 5000; // ms, from a device's announcement to its recognition

struct Family
{
    const char *modem;
    const char *driver;
    const char *version;
};

constexpr Family families[] = {
    {"Sagem F@st 800 E4", "ueagle-atm", "default"},
    {"Sagem F@st 800", "ueagle-atm", ""},
    {"Thomson Speedtouch 330", "speedtch", "default"},
    {"ZTE ZXDSL 852", "unicorn", "neo"},
    {"CXACRU modem", "cxacru", "neo"},
};

}

/** The library recognises modems on a machine whose devices the service announces. */
class HaldModemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void everyModemIsRecognised_data();
    void everyModemIsRecognised();
    void otherDevicesAreNotRecognised_data();
    void otherDevicesAreNotRecognised();
    void discsAreNoModems();
    void modemThatIsPresentIsNotAnnounced();
    void modemThatIsPresentIsFoundByReannouncement();
    void modemIsFoundAfterTheServiceHasComeBack();

    void timeEachFamilyIsFound_data();
    void timeEachFamilyIsFound();
    void timeUnpluggedModemIsNotFound();

private:
    /** Has the manager listen. Returns when the bus knows. */
    void listen();
    /** Waits for the announcement of a device of which the numbers can be read. */
    bool hears(const QString &udi);

    std::optional<Stage> m_stage;
    std::unique_ptr<MessageLog> m_log;
    std::unique_ptr<ModemManager> m_manager;
    std::unique_ptr<QSignalSpy> m_found;
};

void HaldModemTest::init()
{
    m_stage.emplace();
    m_log = std::make_unique<MessageLog>();
    m_manager = std::make_unique<ModemManager>();
    m_found = std::make_unique<QSignalSpy>(m_manager.get(), &ModemManager::foundModem);
}

void HaldModemTest::cleanup()
{
    const QStringList warnings = m_log->warnings();
    const QStringList lies = m_stage->witness.lies();
    m_found.reset();
    m_manager.reset();
    m_log.reset();
    m_stage.reset();
    QCOMPARE(warnings, QStringList());
    QCOMPARE(lies, QStringList());
}

void HaldModemTest::listen()
{
    m_manager->connectToDBus();
    QDBusConnection::systemBus().interface()->isServiceRegistered("org.freedesktop.Hal"_s);
}

bool HaldModemTest::hears(const QString &udi)
{
    return waitUntil([&] { return m_manager->getUDI() == udi && m_manager->timer->isActive(); });
}

void HaldModemTest::everyModemIsRecognised_data()
{
    QTest::addColumn<int>("family");
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    for (const KnownDevice &modem : knownDevices)
        QTest::addRow("%04X:%04X", modem.vendor, modem.product)
            << modem.row << modem.vendor << modem.product;
}

/** As soon as it is announced; the wait that follows is the tests' whose names begin with time. */
void HaldModemTest::everyModemIsRecognised()
{
    QFETCH(int, family);
    QFETCH(int, vendor);
    QFETCH(int, product);
    QVERIFY(m_stage->daemon.start());
    listen();
    m_stage->machine.plug(usbDevice("1-4", vendor, product));
    QVERIFY(hears(udiOf("usb_device_%1_%2_noserial"_s.arg(vendor, 0, 16).arg(product, 0, 16))));
    m_manager->timer->stop();
    m_manager->verifyDevice();
    QCOMPARE(m_found->count(), 1);
    QCOMPARE(m_manager->getModemName(), QString::fromLatin1(families[family].modem));
    QCOMPARE(m_manager->getDriverName(), QString::fromLatin1(families[family].driver));
    QCOMPARE(m_manager->getDriverVersion(), QString::fromLatin1(families[family].version));
    QCOMPARE(m_manager->getVendorID(), vendor);
    QCOMPARE(m_manager->getProductID(), product);
}

void HaldModemTest::otherDevicesAreNotRecognised_data()
{
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    QTest::newRow("gap in the table") << 0x0572 << 0xCB03;
    QTest::newRow("swapped") << 0x9041 << 0x1110;
    QTest::newRow("root hub") << 0x1d6b << 0x0002;
    QTest::newRow("zero") << 0 << 0;
}

void HaldModemTest::otherDevicesAreNotRecognised()
{
    QFETCH(int, vendor);
    QFETCH(int, product);
    QVERIFY(m_stage->daemon.start());
    listen();
    m_stage->machine.plug(usbDevice("1-4", vendor, product));
    QVERIFY(hears(udiOf("usb_device_%1_%2_noserial"_s.arg(vendor, 0, 16).arg(product, 0, 16))));
    m_manager->timer->stop();
    m_manager->verifyDevice();
    QCOMPARE(m_found->count(), 0);
    QVERIFY(!m_manager->getIsModemFound());
}

void HaldModemTest::discsAreNoModems()
{
    QVERIFY(m_stage->daemon.start());
    listen();
    const MachineDevice cdrom = drive();
    m_stage->machine.plug(cdrom);
    m_stage->machine.insertDisc(cdrom, {{"ID_FS_LABEL", "debian"}});
    const QString udi = udiOf("volume_label_debian"_s);
    QVERIFY(waitUntil([&] { return m_log->debugs().contains("New device: \"%1\""_s.arg(udi)); }));
    QCOMPARE(m_manager->getUDI(), QString());
    QVERIFY(!m_manager->timer->isActive());
}

void HaldModemTest::modemThatIsPresentIsNotAnnounced()
{
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(m_stage->daemon.start());
    listen();
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QVERIFY(waitUntil([this] { return !m_log->debugs().filter("New device"_s).isEmpty(); }));
    QCOMPARE(m_log->debugs().filter("9041"_s), QStringList()); // but the device of settling alone
}

void HaldModemTest::modemThatIsPresentIsFoundByReannouncement()
{
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(m_stage->daemon.start());
    listen();
    QDBusMessage call =
        QDBusMessage::createMethodCall(QLatin1String(halService), QLatin1String(managerPath),
                                       QLatin1String(ownInterface), "Reannounce"_s);
    call << "usb_device"_s;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(QDBusConnection::systemBus().send(call)); // the manager's connection
    QVERIFY(hears(udiOf("usb_device_1110_9041_noserial"_s)));
    QVERIFY(waitUntil([this] { return m_found->count() == 1; }, 2 * settleTime));
    QVERIFY(timer.elapsed() >= settleTime * 95 / 100); // the timer is a coarse one
    QCOMPARE(m_manager->getModemName(), "Sagem F@st 800 E4"_s);
    QCOMPARE(m_stage->takeEvents(), QStringList()); // for others
}

void HaldModemTest::modemIsFoundAfterTheServiceHasComeBack()
{
    QVERIFY(m_stage->daemon.start());
    listen();
    QCOMPARE(m_stage->daemon.stop(), 0);
    m_stage->machine.forgetListeners();
    QVERIFY(m_stage->daemon.start());
    m_stage->machine.plug(usbDevice("1-4", 0x6b9, 0x4061));
    QVERIFY(hears(udiOf("usb_device_6b9_4061_noserial"_s)));
    m_manager->verifyDevice();
    QCOMPARE(m_manager->getModemName(), "Thomson Speedtouch 330"_s);
}

void HaldModemTest::timeEachFamilyIsFound_data()
{
    QTest::addColumn<int>("family");
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    int family = -1;
    for (const KnownDevice &modem : knownDevices) {
        if (modem.row == family)
            continue;
        family = modem.row;
        QTest::addRow("%s", families[family].modem) << family << modem.vendor << modem.product;
    }
    QCOMPARE(family, 4);
}

void HaldModemTest::timeEachFamilyIsFound()
{
    QFETCH(int, family);
    QFETCH(int, vendor);
    QFETCH(int, product);
    QVERIFY(m_stage->daemon.start());
    listen();
    QElapsedTimer timer;
    timer.start();
    m_stage->machine.plug(usbDevice("1-4", vendor, product));
    QVERIFY(waitUntil([this] { return m_found->count() > 0; }, 2 * settleTime));
    QVERIFY(timer.elapsed() >= settleTime * 95 / 100); // the timer is a coarse one
    QCOMPARE(m_found->count(), 1);
    QVERIFY(m_manager->getIsModemFound());
    QCOMPARE(m_manager->getModemName(), QString::fromLatin1(families[family].modem));
    QCOMPARE(m_manager->getDriverName(), QString::fromLatin1(families[family].driver));
    QCOMPARE(m_manager->getDriverVersion(), QString::fromLatin1(families[family].version));
}

void HaldModemTest::timeUnpluggedModemIsNotFound()
{
    QVERIFY(m_stage->daemon.start());
    listen();
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(hears(udiOf("usb_device_1110_9041_noserial"_s)));
    QTest::qWait(settleTime - 1000);
    m_stage->machine.unplug("1-4");
    const QString line = "ModemManager::verifyDevice()"_s;
    QVERIFY(!m_log->debugs().contains(line));
    QVERIFY(waitUntil([&] { return m_log->debugs().contains(line); }));
    QCOMPARE(m_found->count(), 0);
    QVERIFY(!m_manager->getIsModemFound());
}

KESTRA_TEST_MAIN(HaldModemTest)
#include "haldmodemtest.moc"
