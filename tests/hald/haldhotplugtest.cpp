// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stage.h"
#include "testmain.h"

#include <algorithm>
#include <optional>

using namespace KestraTest;

namespace {

const QString modem = "usb_device_1110_9041_noserial"_s;

/** Three devices of which two are the same, and the third has their name with a number. */
struct Plugged
{
    QByteArray place;
    QByteArray serial;
};

const Plugged devices[] = {{"1-1", "x"}, {"1-2", "x"}, {"1-3", "x_0"}};

/** The first name that is free of this one, this one with "_0", with "_1" and so on. */
QString freeName(const QString &name, const QStringList &taken)
{
    QString result = name;
    for (int number = 0; taken.contains(result); ++number)
        result = "%1_%2"_s.arg(name).arg(number);
    return result;
}

}

/** Devices that come and go, in any order and in the middle of things. */
class HaldHotplugTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void everyOrder_data();
    void everyOrder();
    void everyOrderAtOnce_data();
    void everyOrderAtOnce();
    void freedNumberIsUsedAgain();
    void nameWithANumberIsNotShared();
    void sameNumberElsewhere();

    void oneDeviceAsOften();
    void repeatedEventsChangeNothing_data();
    void repeatedEventsChangeNothing();
    void removalWithoutArrival();
    void arrivalByAnyEvent_data();
    void arrivalByAnyEvent();
    void changeIsTaken();
    void anotherDeviceHasTakenThePlace_data();
    void anotherDeviceHasTakenThePlace();

    void deviceHasGoneBeforeItIsRead();
    void deviceIsTakenAwayBeforeItIsRead();
    void deviceIsReplacedBeforeItIsRead();
    void deviceGoesWhileItIsAsked();
    void devicesComeAtTheStart();

private:
    std::optional<Stage> m_stage;
};

void HaldHotplugTest::init()
{
    m_stage.emplace();
    QVERIFY(m_stage->daemon.start());
}

void HaldHotplugTest::cleanup()
{
    const bool isAlive = m_stage->daemon.isRunning();
    const QStringList lies = m_stage->witness.lies();
    m_stage.reset();
    QVERIFY(isAlive);
    QCOMPARE(lies, QStringList());
}

/** Each order of six events in which a device comes before it goes: there are 90. */
void HaldHotplugTest::everyOrder_data()
{
    QTest::addColumn<QByteArray>("order"); // "0" is the device's arrival first, its departure then
    QByteArray order = "001122";
    int count = 0;
    do {
        QTest::newRow(order.constData()) << order;
        ++count;
    } while (std::next_permutation(order.begin(), order.end()));
    QCOMPARE(count, 90);
}

void HaldHotplugTest::everyOrder()
{
    QFETCH(QByteArray, order);
    QMap<QByteArray, QString> names;
    QStringList present;
    for (const char digit : std::as_const(order)) {
        const Plugged &device = devices[digit - '0'];
        if (names.contains(device.place)) {
            m_stage->machine.unplug(device.place);
            const QString name = names.value(device.place);
            QCOMPARE(m_stage->takeEvents(), QStringList("-"_s + name));
            present.removeAll(name);
        } else {
            m_stage->machine.plug(usbDevice(device.place, 1, 1, device.serial));
            const QString name =
                freeName("usb_device_1_1_"_s + QString::fromLatin1(device.serial), present);
            QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + name));
            names.insert(device.place, name);
            present.append(name);
        }
        QCOMPARE(m_stage->client.devices(), present);
        for (const QString &name : std::as_const(present))
            QCOMPARE(m_stage->client.property(udiOf(name), "info.udi"_s), QVariant(udiOf(name)));
    }
    QCOMPARE(present, QStringList());
}

void HaldHotplugTest::everyOrderAtOnce_data() { everyOrder_data(); }

/** The same without waiting, so that the service has several events to handle at a time. */
void HaldHotplugTest::everyOrderAtOnce()
{
    QFETCH(QByteArray, order);
    QMap<QByteArray, QString> names;
    QStringList present;
    QStringList events;
    for (const char digit : std::as_const(order)) {
        const Plugged &device = devices[digit - '0'];
        if (names.contains(device.place)) {
            m_stage->machine.unplug(device.place);
            const QString name = names.value(device.place);
            events.append("-"_s + name);
            present.removeAll(name);
        } else {
            m_stage->machine.plug(usbDevice(device.place, 1, 1, device.serial));
            // Its serial number cannot be read in sysfs any more when it has left by then.
            const QString name =
                freeName("usb_device_1_1_"_s + QString::fromLatin1(device.serial), present);
            events.append("+"_s + name);
            names.insert(device.place, name);
            present.append(name);
        }
    }
    const QStringList found = m_stage->takeEvents();
    m_stage->witness.takeLies(); // the witness comes too late
    QCOMPARE(found.size(), events.size());
    // Each name is taken by one device at a time.
    QStringList taken;
    for (const QString &event : found) {
        const QString name = event.mid(1);
        QCOMPARE(taken.contains(name), event.startsWith(QLatin1Char('-')));
        if (!taken.removeOne(name))
            taken.append(name);
    }
    QCOMPARE(taken, QStringList());
    QCOMPARE(m_stage->client.devices(), QStringList());
}

void HaldHotplugTest::freedNumberIsUsedAgain()
{
    const auto place = [](int number) { return "1-" + QByteArray::number(number); };
    const auto plug = [&](int number) {
        m_stage->machine.plug(usbDevice(place(number), 0x1110, 0x9041));
        return m_stage->takeEvents();
    };
    const auto unplug = [&](int number) {
        m_stage->machine.unplug(place(number));
        return m_stage->takeEvents();
    };
    QCOMPARE(plug(1), QStringList("+"_s + modem));
    QCOMPARE(plug(2), QStringList("+%1_0"_s.arg(modem)));
    QCOMPARE(plug(3), QStringList("+%1_1"_s.arg(modem)));
    QCOMPARE(plug(4), QStringList("+%1_2"_s.arg(modem)));
    QCOMPARE(unplug(3), QStringList("-%1_1"_s.arg(modem)));
    QCOMPARE(unplug(2), QStringList("-%1_0"_s.arg(modem)));
    QCOMPARE(plug(5), QStringList("+%1_0"_s.arg(modem)));
    QCOMPARE(unplug(1), QStringList("-"_s + modem));
    QCOMPARE(plug(6), QStringList("+"_s + modem));
    QCOMPARE(plug(7), QStringList("+%1_1"_s.arg(modem)));
    QCOMPARE(plug(8), QStringList("+%1_3"_s.arg(modem)));
}

void HaldHotplugTest::nameWithANumberIsNotShared()
{
    m_stage->machine.plug(usbDevice("1-1", 1, 1, "x_0"));
    m_stage->machine.plug(usbDevice("1-2", 1, 1, "x"));
    m_stage->machine.plug(usbDevice("1-3", 1, 1, "x"));
    m_stage->machine.plug(usbDevice("1-4", 1, 1, "x_0"));
    m_stage->machine.plug(usbDevice("1-5", 1, 1, "x_0_0"));
    QCOMPARE(m_stage->takeEvents(),
             QStringList({"+usb_device_1_1_x_0"_s, "+usb_device_1_1_x"_s, "+usb_device_1_1_x_1"_s,
                          "+usb_device_1_1_x_0_0"_s, "+usb_device_1_1_x_0_0_0"_s}));
    const QPair<QString, QString> owners[] = {
        {"x_0"_s, "1-1"_s},   {"x"_s, "1-2"_s},       {"x_1"_s, "1-3"_s},
        {"x_0_0"_s, "1-4"_s}, {"x_0_0_0"_s, "1-5"_s},
    };
    for (const auto &owner : owners)
        QCOMPARE(m_stage->client.property(udiOf("usb_device_1_1_"_s + owner.first),
                                          "linux.sysfs_path"_s),
                 QVariant("/sys/devices/"_s + owner.second));
}

/** What is not the same has the same name when only characters differ that a path cannot hold. */
void HaldHotplugTest::sameNumberElsewhere()
{
    m_stage->machine.plug(usbDevice("1-1", 1, 1, "a-b"));
    m_stage->machine.plug(usbDevice("1-2", 1, 1, "a b"));
    m_stage->machine.plug(usbDevice("1-3", 1, 0x11, "a_b"));
    QCOMPARE(m_stage->takeEvents(),
             QStringList(
                 {"+usb_device_1_1_a_b"_s, "+usb_device_1_1_a_b_0"_s, "+usb_device_1_11_a_b"_s}));
}

void HaldHotplugTest::oneDeviceAsOften()
{
    for (int i = 0; i < 20; ++i) {
        m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
        QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + modem));
        m_stage->machine.unplug("1-4");
        QCOMPARE(m_stage->takeEvents(), QStringList("-"_s + modem));
    }
}

void HaldHotplugTest::repeatedEventsChangeNothing_data()
{
    QTest::addColumn<QByteArray>("action");
    for (const char *action : {"add", "bind", "unbind", "change", "move", "online", "unheard-of"})
        QTest::newRow(action) << QByteArray(action);
}

void HaldHotplugTest::repeatedEventsChangeNothing()
{
    QFETCH(QByteArray, action);
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    for (int i = 0; i < 3; ++i)
        m_stage->machine.announce("1-4", action);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + modem));
    QCOMPARE(m_stage->client.devices(), QStringList(modem));
    m_stage->machine.unplug("1-4");
    QCOMPARE(m_stage->takeEvents(), QStringList("-"_s + modem));
    QCOMPARE(m_stage->client.devices(), QStringList());
}

void HaldHotplugTest::removalWithoutArrival()
{
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(m_stage->settle());
    for (int i = 0; i < 3; ++i)
        m_stage->machine.announce("1-4", "remove");
    QCOMPARE(m_stage->takeEvents(), QStringList({"+"_s + modem, "-"_s + modem}));
    QCOMPARE(m_stage->client.devices(), QStringList());
}

void HaldHotplugTest::arrivalByAnyEvent_data()
{
    QTest::addColumn<QByteArray>("action");
    for (const char *action : {"add", "bind", "change"})
        QTest::newRow(action) << QByteArray(action);
}

void HaldHotplugTest::arrivalByAnyEvent()
{
    QFETCH(QByteArray, action);
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(m_stage->settle());
    m_stage->machine.announce("1-4", "remove");
    QCOMPARE(m_stage->takeEvents(), QStringList({"+"_s + modem, "-"_s + modem}));
    m_stage->machine.announce("1-4", action);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + modem));
}

void HaldHotplugTest::changeIsTaken()
{
    MachineDevice device = usbDevice("1-4", 0x1110, 0x9041);
    device.attributes = {};
    m_stage->machine.plug(device);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + modem));
    QVERIFY(!m_stage->client.property(udiOf(modem), "usb_device.product"_s).isValid());
    device.properties.insert("ID_MODEL_FROM_DATABASE", "F@ST 800");
    m_stage->machine.setProperties("1-4", device.properties);
    m_stage->machine.announce("1-4", "change");
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_stage->client.property(udiOf(modem), "usb_device.product"_s),
             QVariant("F@ST 800"_s));
    QCOMPARE(m_stage->client.property(udiOf(modem), "info.udi"_s), QVariant(udiOf(modem)));
}

void HaldHotplugTest::anotherDeviceHasTakenThePlace_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("name");
    QTest::newRow("other numbers")
        << QByteArray("PRODUCT") << QByteArray("6b9/4061/0") << "usb_device_6b9_4061_noserial"_s;
    QTest::newRow("same numbers, counted anew")
        << QByteArray("DEVNUM") << QByteArray("003") << modem;
    QTest::newRow("same numbers, dated anew")
        << QByteArray("USEC_INITIALIZED") << QByteArray("2000000") << modem;
}

/** Without a word of the first one's departure. */
void HaldHotplugTest::anotherDeviceHasTakenThePlace()
{
    QFETCH(QByteArray, property);
    QFETCH(QByteArray, value);
    QFETCH(QString, name);
    MachineDevice device = usbDevice("1-4", 0x1110, 0x9041);
    m_stage->machine.plug(device);
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + modem));
    device.properties.insert(property, value);
    m_stage->machine.setProperties("1-4", device.properties);
    m_stage->machine.announce("1-4", "add");
    QCOMPARE(m_stage->takeEvents(), QStringList({"-"_s + modem, "+"_s + name}));
    QCOMPARE(m_stage->client.devices(), QStringList(name));
    m_stage->witness.takeLies(); // one of the same name is there already
}

void HaldHotplugTest::deviceHasGoneBeforeItIsRead()
{
    MachineDevice device = usbDevice("1-4", 0x1110, 0x9041, "12");
    device.attributes.insert("manufacturer", "in sysfs");
    device.properties.insert("ID_MODEL_ENC", "as\\x20udev\\x20has\\x20it");
    device.properties.insert("ID_SERIAL_SHORT", "34");
    m_stage->daemon.pause();
    m_stage->machine.plug(device);
    m_stage->machine.erase("1-4");
    m_stage->daemon.resume();
    const QString name = "usb_device_1110_9041_34"_s;
    QCOMPARE(m_stage->takeEvents(), QStringList("+"_s + name));
    const QString udi = udiOf(name);
    QCOMPARE(m_stage->client.property(udi, "usb_device.product_id"_s), QVariant(0x9041));
    QCOMPARE(m_stage->client.property(udi, "usb_device.product"_s), QVariant("as udev has it"_s));
    QVERIFY(!m_stage->client.property(udi, "usb_device.vendor"_s).isValid());
}

void HaldHotplugTest::deviceIsTakenAwayBeforeItIsRead()
{
    for (int i = 0; i < 10; ++i) {
        m_stage->daemon.pause();
        m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
        m_stage->machine.unplug("1-4");
        m_stage->daemon.resume();
        QCOMPARE(m_stage->takeEvents(), QStringList({"+"_s + modem, "-"_s + modem}));
        QCOMPARE(m_stage->client.devices(), QStringList());
    }
    m_stage->witness.takeLies(); // it was gone when the witness looked
}

void HaldHotplugTest::deviceIsReplacedBeforeItIsRead()
{
    m_stage->daemon.pause();
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041, "first"));
    m_stage->machine.unplug("1-4");
    MachineDevice second = usbDevice("1-4", 0x6b9, 0x4061, "second");
    second.attributes.insert("product", "SpeedTouch");
    m_stage->machine.plug(second);
    m_stage->daemon.resume();
    // The first one has nothing of what is in its place by now.
    QCOMPARE(m_stage->takeEvents(),
             QStringList({"+"_s + modem, "-"_s + modem, "+usb_device_6b9_4061_second"_s}));
    m_stage->witness.takeLies();
    QCOMPARE(
        m_stage->client.property(udiOf("usb_device_6b9_4061_second"_s), "usb_device.product"_s),
        QVariant("SpeedTouch"_s));
}

void HaldHotplugTest::deviceGoesWhileItIsAsked()
{
    const QStringList keys = {"usb_device.vendor_id"_s, "linux.sysfs_path"_s};
    for (int i = 0; i < 50; ++i) {
        m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
        m_stage->machine.unplug("1-4");
        for (const QString &key : keys) {
            const QDBusMessage reply =
                m_stage->client.callDevice(udiOf(modem), "GetProperty"_s, {key});
            QVERIFY(reply.type() == QDBusMessage::ReplyMessage
                    || reply.errorName() == "org.freedesktop.Hal.NoSuchDevice"_s);
        }
    }
    QVERIFY(m_stage->settle());
    m_stage->witness.takeLies();
    QCOMPARE(m_stage->client.devices(), QStringList());
}

/** Each of them is known in the end, and none twice, whether it was found or announced. */
void HaldHotplugTest::devicesComeAtTheStart()
{
    constexpr int deviceCount = 300;
    QCOMPARE(m_stage->daemon.stop(), 0);
    m_stage->machine.forgetListeners();
    m_stage->daemon.launch();
    QStringList names;
    for (int i = 1; i <= deviceCount; ++i) {
        m_stage->machine.plug(usbDevice("1-" + QByteArray::number(i), i, 1));
        names.append("usb_device_%1_1_noserial"_s.arg(i, 0, 16));
    }
    QVERIFY(waitUntil([&] { return m_stage->client.ownerProcess() == m_stage->daemon.id(); }));
    QVERIFY(m_stage->settle());
    QStringList found = m_stage->client.devices();
    names.sort();
    found.sort();
    QCOMPARE(found, names);
    const QStringList events = m_stage->witness.events();
    QCOMPARE(QSet<QString>(events.begin(), events.end()).size(), events.size());
}

KESTRA_TEST_MAIN(HaldHotplugTest)
#include "haldhotplugtest.moc"
