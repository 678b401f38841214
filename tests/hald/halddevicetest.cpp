// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "stage.h"
#include "testmain.h"

#include <QDBusArgument>
#include <QXmlStreamReader>

#include <optional>

using namespace KestraTest;

namespace {

const QString invalidArgs = "org.freedesktop.DBus.Error.InvalidArgs"_s;
const QString unknownMethod = "org.freedesktop.DBus.Error.UnknownMethod"_s;
const QString unknownInterface = "org.freedesktop.DBus.Error.UnknownInterface"_s;
const QString unknownObject = "org.freedesktop.DBus.Error.UnknownObject"_s;
const QString noSuchDevice = "org.freedesktop.Hal.NoSuchDevice"_s;
const QString noSuchProperty = "org.freedesktop.Hal.NoSuchProperty"_s;

const QString modem = udiOf("usb_device_1110_9041_noserial"_s);

/** A value with its type, for comparisons. */
QString shown(const QVariant &value)
{
    const QString text = value.userType() == QMetaType::QStringList
        ? value.toStringList().join(QLatin1Char(' '))
        : value.toString();
    return QString::fromLatin1(value.typeName()) + QLatin1Char(' ') + text;
}

QString shown(const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage)
        return reply.errorName() + ": "_s + reply.errorMessage();
    return reply.signature() + QLatin1Char(' ') + shown(reply.arguments().value(0));
}

QMap<QString, QString> shown(const QVariantMap &properties)
{
    QMap<QString, QString> result;
    for (auto i = properties.begin(); i != properties.end(); ++i)
        result.insert(i.key(), shown(i.value()));
    return result;
}

QString withoutSpaces(const QString &text)
{
    QString result;
    for (const QChar character : text) {
        if (!character.isSpace())
            result += character;
    }
    return result;
}

/** The elements below one in a document, with their attributes in order and without the rest. */
QStringList elementsBelow(const QByteArray &document, const QString &name)
{
    QStringList result;
    QXmlStreamReader reader(document);
    bool isInside = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isEndElement() && reader.attributes().isEmpty() && isInside)
            result.append("/"_s + reader.name().toString());
        const bool isThis = reader.name() == QStringLiteral("interface")
            && (reader.isEndElement() || reader.attributes().value("name"_s) == name);
        if (isThis)
            isInside = reader.isStartElement();
        if (!isInside || !reader.isStartElement())
            continue;
        QString line = reader.name().toString();
        const QXmlStreamAttributes attributes = reader.attributes();
        for (const QXmlStreamAttribute &attribute : attributes)
            line += " %1=%2"_s.arg(attribute.name().toString(), attribute.value().toString());
        result.append(line);
    }
    return result;
}

}

/** What the service tells of the devices that are there. */
class HaldDeviceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void propertiesAreExact_data();
    void propertiesAreExact();
    void textsAreTaken_data();
    void textsAreTaken();
    void textsOfUdevStandIn();
    void numbersAreTaken_data();
    void numbersAreTaken();
    void othersAreNoDevices_data();
    void othersAreNoDevices();

    void capabilitiesAreQueried();
    void devicesAreFoundByCapability();
    void devicesAreFoundByString_data();
    void devicesAreFoundByString();
    void devicesStandInTheOrderOfTheirArrival();
    void existenceIsTold();

    void errorsAreExact_data();
    void errorsAreExact();
    void interfaceMayBeMissing_data();
    void interfaceMayBeMissing();
    void callWithoutReplyIsTaken();
    void introspectionIsTheInstalledDescription_data();
    void introspectionIsTheInstalledDescription();
    void introspectionListsTheDevices();

    void presentDevicesAreNotAnnounced();
    void presentDeviceThatUdevWorksOnIsAnnounced();
    void reannouncementGoesToTheCallerAlone();
    void reannouncementIsBeforeTheReply();

private:
    /** Starts the service with one device. */
    void startWith(const MachineDevice &device);
    QVariantMap properties(const QString &udi) const;

    std::optional<Stage> m_stage;
};

void HaldDeviceTest::init() { m_stage.emplace(); }

void HaldDeviceTest::cleanup()
{
    const QStringList lies = m_stage->witness.lies();
    m_stage.reset();
    QCOMPARE(lies, QStringList());
}

void HaldDeviceTest::startWith(const MachineDevice &device)
{
    m_stage->machine.plug(device);
    QVERIFY(m_stage->daemon.start());
}

QVariantMap HaldDeviceTest::properties(const QString &udi) const
{
    const QDBusMessage reply = m_stage->client.callDevice(udi, "GetAllProperties"_s);
    return qdbus_cast<QVariantMap>(reply.arguments().value(0));
}

void HaldDeviceTest::propertiesAreExact_data()
{
    using Map = QMap<QString, QString>;
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("hasTexts");
    QTest::addColumn<Map>("expected");
    const Map everyDevice = {
        {"info.capabilities"_s, "QStringList usb_device"_s},
        {"info.subsystem"_s, "QString usb_device"_s},
        {"usb_device.vendor_id"_s, "int 4368"_s},
        {"usb_device.product_id"_s, "int 36929"_s},
        {"usb_device.bus_number"_s, "int 1"_s},
    };
    const auto with = [&](const Map &more) {
        Map result = everyDevice;
        for (auto i = more.begin(); i != more.end(); ++i)
            result.insert(i.key(), i.value());
        return result;
    };
    QTest::newRow("bare") << QByteArray("1-4") << false
                          << with({{"info.udi"_s, "QString "_s + modem},
                                   {"linux.sysfs_path"_s, "QString /sys/devices/1-4"_s},
                                   {"usb_device.port_number"_s, "int 4"_s}});
    QTest::newRow("with texts") << QByteArray("1-4") << true
                                << with({{"info.udi"_s,
                                          "QString "_s + udiOf("usb_device_1110_9041_00_1f"_s)},
                                         {"linux.sysfs_path"_s, "QString /sys/devices/1-4"_s},
                                         {"usb_device.port_number"_s, "int 4"_s},
                                         {"usb_device.vendor"_s, "QString Analog Devices"_s},
                                         {"usb_device.product"_s, "QString ADSL USB MODEM"_s},
                                         {"usb_device.serial"_s, "QString 00-1f"_s}});
    QTest::newRow("behind hubs") << QByteArray("1-4.2.13") << false
                                 << with({{"info.udi"_s, "QString "_s + modem},
                                          {"linux.sysfs_path"_s, "QString /sys/devices/1-4.2.13"_s},
                                          {"usb_device.port_number"_s, "int 13"_s}});
    QTest::newRow("root hub") << QByteArray("usb7") << false
                              << with({{"info.udi"_s, "QString "_s + modem},
                                       {"linux.sysfs_path"_s, "QString /sys/devices/usb7"_s},
                                       {"usb_device.port_number"_s, "int 0"_s}});
}

void HaldDeviceTest::propertiesAreExact()
{
    using Map = QMap<QString, QString>;
    QFETCH(QByteArray, name);
    QFETCH(bool, hasTexts);
    QFETCH(Map, expected);
    MachineDevice device = usbDevice(name, 0x1110, 0x9041);
    if (hasTexts) {
        device.attributes.insert("manufacturer", "Analog Devices");
        device.attributes.insert("product", "ADSL USB MODEM");
        device.attributes.insert("serial", "00-1f");
    }
    startWith(device);
    const QString udi =
        m_stage->client.callManager("GetAllDevices"_s).arguments().value(0).toStringList().value(0);
    QCOMPARE(shown(properties(udi)), expected);
    QCOMPARE(m_stage->client.callDevice(udi, "GetAllProperties"_s).signature(), "a{sv}"_s);

    const QMap<QString, QString> signatures = {
        {"int"_s, "i"_s}, {"QString"_s, "s"_s}, {"QStringList"_s, "as"_s}};
    for (auto i = expected.begin(); i != expected.end(); ++i) {
        const QString type = i.value().section(QLatin1Char(' '), 0, 0);
        QCOMPARE(shown(m_stage->client.callDevice(udi, "GetProperty"_s, {i.key()})),
                 signatures.value(type) + QLatin1Char(' ') + i.value());
        QCOMPARE(shown(m_stage->client.callDevice(udi, "PropertyExists"_s, {i.key()})),
                 "b bool true"_s);
    }
    for (const QString &key :
         {"usb_device.vendor"_s, "usb_device.product"_s, "usb_device.serial"_s, ""_s, "x"_s}) {
        QCOMPARE(shown(m_stage->client.callDevice(udi, "PropertyExists"_s, {key})),
                 expected.contains(key) ? "b bool true"_s : "b bool false"_s);
    }
}

void HaldDeviceTest::textsAreTaken_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("value"); // null if there is none
    QTest::addColumn<QString>("nameEnd");
    QTest::newRow("empty") << QByteArray("") << QString() << "noserial"_s;
    QTest::newRow("line end") << QByteArray("ab12\n") << "ab12"_s
                              << "ab12"_s;
    QTest::newRow("blanks") << QByteArray("a b  c") << "a b  c"_s
                            << "a_b__c"_s;
    QTest::newRow("no path characters") << QByteArray("A/b.c:d-é") << "A/b.c:d-é"_s
                                        << "A_b_c_d__"_s;
    QTest::newRow("Chinese") << QByteArray("猫 1") << "猫 1"_s
                             << "__1"_s;
    QTest::newRow("outside the basic plane") << QByteArray("x😀y") << "x😀y"_s
                                             << "x_y"_s;
    QTest::newRow("control characters")
        << QByteArray("a\x01\x1b[31m\tb\x7f") << "a\x01\x1b[31m\tb\x7f"_s
        << "a___31m_b_"_s;
    QTest::newRow("invalid UTF-8") << QByteArray("a\xff\xfe"
                                                 "b")
                                   << "a\xef\xbf\xbd\xef\xbf\xbd"
                                      "b"_s
                                   << "a__b"_s;
    QTest::newRow("cut-off UTF-8") << QByteArray("ab\xc3") << "ab\xef\xbf\xbd"_s
                                   << "ab_"_s;
    QTest::newRow("surrogate") << QByteArray("a\xed\xa0\x80z") << QString() << QString();
    QTest::newRow("long") << QByteArray(2000, 'x') << QString(2000, QLatin1Char('x'))
                          << QString(2000, QLatin1Char('x'));
}

void HaldDeviceTest::textsAreTaken()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, value);
    QFETCH(QString, nameEnd);
    MachineDevice device = usbDevice("1-1", 0x6b9, 0x4061);
    for (const char *attribute : {"manufacturer", "product", "serial"})
        device.attributes.insert(attribute, text);
    startWith(device);
    QCOMPARE(m_stage->client.devices().size(), 1);
    const QString udi = udiOf(m_stage->client.devices().constFirst());
    if (!nameEnd.isNull())
        QCOMPARE(udi, udiOf("usb_device_6b9_4061_"_s + nameEnd));
    for (const QString &key :
         {"usb_device.vendor"_s, "usb_device.product"_s, "usb_device.serial"_s}) {
        const QVariant found = m_stage->client.property(udi, key);
        if (nameEnd.isNull())
            QVERIFY(found.isValid()); // whatever it is made of
        else if (value.isNull())
            QVERIFY(!found.isValid());
        else
            QCOMPARE(found, QVariant(value));
    }
    QVERIFY(m_stage->daemon.isRunning());
}

void HaldDeviceTest::textsOfUdevStandIn()
{
    MachineDevice device = usbDevice("1-1", 0x6b9, 0x4061);
    device.properties.insert("ID_VENDOR_FROM_DATABASE", "Thomson");
    device.properties.insert("ID_MODEL_FROM_DATABASE", "SpeedTouch ISDN");
    startWith(device);
    const QString udi = udiOf("usb_device_6b9_4061_noserial"_s);
    QCOMPARE(m_stage->client.property(udi, "usb_device.vendor"_s), QVariant("Thomson"_s));
    QCOMPARE(m_stage->client.property(udi, "usb_device.product"_s), QVariant("SpeedTouch ISDN"_s));
    QVERIFY(!m_stage->client.property(udi, "usb_device.serial"_s).isValid());
}

void HaldDeviceTest::numbersAreTaken_data()
{
    using Numbers = QPair<int, int>;
    QTest::addColumn<QByteArray>("product"); // of the event; null for none
    QTest::addColumn<QByteArray>("idVendor"); // in sysfs
    QTest::addColumn<QByteArray>("idProduct");
    QTest::addColumn<QString>("name");
    QTest::addColumn<Numbers>("numbers");
    const QByteArray none;
    QTest::newRow("both") << QByteArray("483/138/100") << QByteArray("0483") << QByteArray("0138")
                          << "usb_device_483_138_noserial"_s << Numbers(0x483, 0x138);
    QTest::newRow("sysfs alone") << none << QByteArray("0586") << QByteArray("330A\n")
                                 << "usb_device_586_330a_noserial"_s << Numbers(0x586, 0x330a);
    QTest::newRow("event alone") << QByteArray("8e3/100/0") << none << none
                                 << "usb_device_8e3_100_noserial"_s << Numbers(0x8e3, 0x100);
    QTest::newRow("unusable event")
        << QByteArray("x/y/z") << QByteArray("0eb0") << QByteArray("3457")
        << "usb_device_eb0_3457_noserial"_s << Numbers(0xeb0, 0x3457);
    QTest::newRow("zero") << QByteArray("0/0/0") << QByteArray("0000") << QByteArray("0000")
                          << "usb_device_0_0_noserial"_s << Numbers(0, 0);
    QTest::newRow("all ones") << QByteArray("ffff/ffff/ffff") << none << none
                              << "usb_device_ffff_ffff_noserial"_s << Numbers(0xffff, 0xffff);
}

void HaldDeviceTest::numbersAreTaken()
{
    using Numbers = QPair<int, int>;
    QFETCH(QByteArray, product);
    QFETCH(QByteArray, idVendor);
    QFETCH(QByteArray, idProduct);
    QFETCH(QString, name);
    QFETCH(Numbers, numbers);
    MachineDevice device = {"1-1", "usb", {}, {{"DEVTYPE", "usb_device"}}};
    if (!product.isNull())
        device.properties.insert("PRODUCT", product);
    if (!idVendor.isNull())
        device.attributes = {{"idVendor", idVendor}, {"idProduct", idProduct}};
    startWith(device);
    QCOMPARE(m_stage->client.devices(), QStringList(name));
    QCOMPARE(m_stage->client.property(udiOf(name), "usb_device.vendor_id"_s),
             QVariant(numbers.first));
    QCOMPARE(m_stage->client.property(udiOf(name), "usb_device.product_id"_s),
             QVariant(numbers.second));
}

void HaldDeviceTest::othersAreNoDevices_data()
{
    QTest::addColumn<QByteArray>("subsystem");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("product");
    const QByteArray ids("1110/9041/0");
    QTest::newRow("interface") << QByteArray("usb") << QByteArray("usb_interface") << ids;
    QTest::newRow("other subsystem") << QByteArray("net") << QByteArray("usb_device") << ids;
    QTest::newRow("no numbers") << QByteArray("usb") << QByteArray("usb_device") << QByteArray();
    QTest::newRow("empty numbers")
        << QByteArray("usb") << QByteArray("usb_device") << QByteArray("//");
    QTest::newRow("half the numbers")
        << QByteArray("usb") << QByteArray("usb_device") << QByteArray("1110");
    QTest::newRow("hard disk") << QByteArray("block") << QByteArray("disk") << ids;
}

void HaldDeviceTest::othersAreNoDevices()
{
    QFETCH(QByteArray, subsystem);
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, product);
    const MachineDevice device = {"1-1", subsystem, {}, {{"DEVTYPE", type}, {"PRODUCT", product}}};
    startWith(device);
    QCOMPARE(m_stage->client.devices(), QStringList());
    m_stage->machine.announce("1-1", "change");
    m_stage->machine.unplug("1-1");
    m_stage->machine.plug(device);
    m_stage->machine.announce("1-1", "bind");
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_stage->client.devices(), QStringList());
}

void HaldDeviceTest::capabilitiesAreQueried()
{
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    const QPair<QString, QString> answers[] = {
        {"usb_device"_s, "b bool true"_s},   {"volume"_s, "b bool false"_s},
        {"usb_devic"_s, "b bool false"_s},   {"USB_DEVICE"_s, "b bool false"_s},
        {"usb_device "_s, "b bool false"_s}, {""_s, "b bool false"_s},
    };
    for (const auto &answer : answers)
        QCOMPARE(shown(m_stage->client.callDevice(modem, "QueryCapability"_s, {answer.first})),
                 answer.second);
}

void HaldDeviceTest::devicesAreFoundByCapability()
{
    const MachineDevice cdrom = drive();
    m_stage->machine.plug(cdrom);
    m_stage->machine.insertDisc(cdrom, {{"ID_FS_LABEL", "debian"}});
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    const QString disc = udiOf("volume_label_debian"_s);
    const QPair<QString, QString> answers[] = {
        {"usb_device"_s, modem}, {"volume.disc"_s, disc}, {"volume"_s, disc},
        {"block"_s, disc},       {""_s, QString()},       {"usb"_s, QString()},
    };
    for (const auto &answer : answers)
        QCOMPARE(shown(m_stage->client.callManager("FindDeviceByCapability"_s, {answer.first})),
                 "as QStringList "_s + answer.second);
}

void HaldDeviceTest::devicesAreFoundByString_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QStringList>("names");
    const QString a = "usb_device_1_1_noserial"_s;
    const QString b = "usb_device_1_1_ab"_s;
    QTest::newRow("all") << "info.subsystem"_s
                         << "usb_device"_s << QStringList({a, b});
    QTest::newRow("one") << "usb_device.serial"_s
                         << "ab"_s << QStringList({b});
    QTest::newRow("case counts") << "usb_device.serial"_s
                                 << "AB"_s << QStringList();
    QTest::newRow("a part") << "usb_device.serial"_s
                            << "a"_s << QStringList();
    QTest::newRow("missing is not empty") << "usb_device.serial"_s
                                          << ""_s << QStringList();
    QTest::newRow("a number is no string") << "usb_device.vendor_id"_s
                                           << "1"_s << QStringList();
    QTest::newRow("a list is no string") << "info.capabilities"_s
                                         << "usb_device"_s << QStringList();
    QTest::newRow("unknown key") << "x"_s
                                 << "x"_s << QStringList();
}

void HaldDeviceTest::devicesAreFoundByString()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QStringList, names);
    QVERIFY(m_stage->daemon.start());
    m_stage->machine.plug(usbDevice("1-1", 1, 1));
    m_stage->machine.plug(usbDevice("1-2", 1, 1, "ab"));
    QVERIFY(m_stage->settle());
    QStringList udis;
    for (const QString &name : std::as_const(names))
        udis.append(udiOf(name));
    QCOMPARE(shown(m_stage->client.callManager("FindDeviceStringMatch"_s, {key, value})),
             "as QStringList "_s + udis.join(QLatin1Char(' ')));
}

void HaldDeviceTest::devicesStandInTheOrderOfTheirArrival()
{
    QVERIFY(m_stage->daemon.start());
    QCOMPARE(shown(m_stage->client.callManager("GetAllDevices"_s)), "as QStringList "_s);
    QStringList names;
    for (const int number : {7, 3, 9, 1}) {
        m_stage->machine.plug(usbDevice("1-" + QByteArray::number(number), number, 1));
        names.append("usb_device_%1_1_noserial"_s.arg(number));
    }
    QVERIFY(m_stage->settle());
    QCOMPARE(m_stage->client.devices(), names);
    m_stage->machine.unplug("1-3");
    QVERIFY(m_stage->settle());
    m_stage->machine.plug(usbDevice("1-3", 3, 1));
    QVERIFY(m_stage->settle());
    names.append(names.takeAt(1));
    QCOMPARE(m_stage->client.devices(), names);
}

void HaldDeviceTest::existenceIsTold()
{
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    const QPair<QString, QString> answers[] = {
        {modem, "b bool true"_s},           {modem + "_0"_s, "b bool false"_s},
        {"/"_s, "b bool false"_s},          {""_s, "b bool false"_s},
        {"not a path"_s, "b bool false"_s}, {udiOf(QString()), "b bool false"_s},
    };
    for (const auto &answer : answers)
        QCOMPARE(shown(m_stage->client.callManager("DeviceExists"_s, {answer.first})),
                 answer.second);
}

void HaldDeviceTest::errorsAreExact_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("interface");
    QTest::addColumn<QString>("member");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text"); // null for any: Qt's own words
    const QString manager = QLatin1String(managerPath);
    const QString ofManager = QLatin1String(managerInterface);
    const QString ofDevice = QLatin1String(deviceInterface);
    const QString own = QLatin1String(ownInterface);
    const QString gone = udiOf("usb_device_dead_beef_noserial"_s);
    const QVariantList one = {"x"_s};
    const QString wrong = "%1 takes arguments of the signature \"%2\", not \"%3\"."_s;

    QTest::newRow("unknown property")
        << modem << ofDevice << "GetProperty"_s << one << noSuchProperty
        << "No property x on device with id "_s + modem;
    QTest::newRow("odd property") << modem << ofDevice << "GetProperty"_s
                                  << QVariantList {"a\x01%1é"_s} << noSuchProperty
                                  << "No property a\x01%1é on device with id "_s + modem;
    QTest::newRow("mount property of a modem")
        << modem << ofDevice << "GetProperty"_s << QVariantList {"volume.is_mounted"_s}
        << noSuchProperty << "No property volume.is_mounted on device with id "_s + modem;
    for (const char *member : {"GetProperty", "PropertyExists", "QueryCapability"})
        QTest::addRow("unknown device, %s", member)
            << gone << ofDevice << QString::fromLatin1(member) << one << noSuchDevice
            << "No device with id "_s + gone;
    QTest::newRow("unknown device, GetAllProperties")
        << gone << ofDevice << "GetAllProperties"_s << QVariantList() << noSuchDevice
        << "No device with id "_s + gone;
    QTest::newRow("below a device") << modem + "/x"_s << ofDevice << "GetProperty"_s << one
                                    << noSuchDevice << "No device with id %1/x"_s.arg(modem);
    QTest::newRow("above the devices")
        << "/org/freedesktop/Hal/devices"_s << ofDevice << "GetProperty"_s << one << noSuchDevice
        << "No device with id /org/freedesktop/Hal/devices"_s;

    QTest::newRow("no argument") << modem << ofDevice << "GetProperty"_s << QVariantList()
                                 << invalidArgs << wrong.arg("GetProperty"_s, "s"_s, ""_s);
    QTest::newRow("a number") << modem << ofDevice << "GetProperty"_s << QVariantList {1}
                              << invalidArgs << wrong.arg("GetProperty"_s, "s"_s, "i"_s);
    QTest::newRow("a variant") << modem << ofDevice << "GetProperty"_s
                               << QVariantList {QVariant::fromValue(QDBusVariant("x"_s))}
                               << invalidArgs << wrong.arg("GetProperty"_s, "s"_s, "v"_s);
    QTest::newRow("too many arguments")
        << modem << ofDevice << "GetProperty"_s << QVariantList {"x"_s, "x"_s} << invalidArgs
        << wrong.arg("GetProperty"_s, "s"_s, "ss"_s);
    QTest::newRow("an argument for nothing")
        << modem << ofDevice << "GetAllProperties"_s << one << invalidArgs
        << wrong.arg("GetAllProperties"_s, ""_s, "s"_s);
    QTest::newRow("too few arguments")
        << manager << ofManager << "FindDeviceStringMatch"_s << one << invalidArgs
        << wrong.arg("FindDeviceStringMatch"_s, "ss"_s, "s"_s);
    QTest::newRow("wrong argument of the manager")
        << manager << ofManager << "DeviceExists"_s << QVariantList {true} << invalidArgs
        << wrong.arg("DeviceExists"_s, "s"_s, "b"_s);
    QTest::newRow("wrong argument of our own")
        << manager << own << "Reannounce"_s << QVariantList() << invalidArgs
        << wrong.arg("Reannounce"_s, "s"_s, ""_s);

    QTest::newRow("unknown method of a device")
        << modem << ofDevice << "SetProperty"_s << one << unknownMethod
        << "org.freedesktop.Hal.Device has no method SetProperty."_s;
    QTest::newRow("unknown method of the manager")
        << manager << ofManager << "Acquire"_s << one << unknownMethod
        << "org.freedesktop.Hal.Manager has no method Acquire."_s;
    QTest::newRow("method of another interface")
        << manager << ofManager << "Reannounce"_s << one << unknownMethod
        << "org.freedesktop.Hal.Manager has no method Reannounce."_s;
    QTest::newRow("case of a method counts")
        << modem << ofDevice << "getProperty"_s << one << unknownMethod
        << "org.freedesktop.Hal.Device has no method getProperty."_s;
    QTest::newRow("interface of the other object")
        << manager << ofDevice << "GetProperty"_s << one << unknownInterface
        << manager + " has no interface org.freedesktop.Hal.Device."_s;
    QTest::newRow("unknown interface") << modem << "org.example.X"_s
                                       << "GetProperty"_s << one << unknownInterface
                                       << modem + " has no interface org.example.X."_s;
    QTest::newRow("unknown method without an interface")
        << modem << QString() << "SetProperty"_s << one << unknownMethod
        << modem + " has no method SetProperty."_s;
    QTest::newRow("no properties in D-Bus's own sense")
        << modem << "org.freedesktop.DBus.Properties"_s
        << "Get"_s << QVariantList {ofDevice, "info.udi"_s} << unknownInterface << QString();
    QTest::newRow("unknown path") << "/org/example"_s << ofManager << "GetAllDevices"_s
                                  << QVariantList() << unknownObject << QString();
    QTest::newRow("below the manager") << manager + "/x"_s << ofManager << "GetAllDevices"_s
                                       << QVariantList() << unknownObject << QString();
}

void HaldDeviceTest::errorsAreExact()
{
    QFETCH(QString, path);
    QFETCH(QString, interface);
    QFETCH(QString, member);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, name);
    QFETCH(QString, text);
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    const QDBusMessage reply = m_stage->client.call(path, interface, member, arguments);
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(reply.errorName(), name);
    if (!text.isNull())
        QCOMPARE(reply.errorMessage(), text);
    QCOMPARE(shown(m_stage->client.callManager("DeviceExists"_s, {modem})), "b bool true"_s);
}

void HaldDeviceTest::interfaceMayBeMissing_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("member");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("answer");
    const QString manager = QLatin1String(managerPath);
    QTest::newRow("of a device") << modem << "GetProperty"_s
                                 << QVariantList {"usb_device.vendor_id"_s} << "i int 4368"_s;
    QTest::newRow("of the manager")
        << manager << "DeviceExists"_s << QVariantList {modem} << "b bool true"_s;
    QTest::newRow("of our own") << manager << "Reannounce"_s << QVariantList {"x"_s} << "  "_s;
}

void HaldDeviceTest::interfaceMayBeMissing()
{
    QFETCH(QString, path);
    QFETCH(QString, member);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, answer);
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    QCOMPARE(shown(m_stage->client.call(path, QString(), member, arguments)), answer);
}

void HaldDeviceTest::callWithoutReplyIsTaken()
{
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    QDBusMessage message = QDBusMessage::createMethodCall(
        QLatin1String(halService), modem, QLatin1String(deviceInterface), "GetProperty"_s);
    message << "info.udi"_s;
    QVERIFY(m_stage->client.connection().send(message)); // wants no reply
    QCOMPARE(m_stage->client.property(modem, "info.udi"_s), QVariant(modem));
}

void HaldDeviceTest::introspectionIsTheInstalledDescription_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("interface");
    QTest::newRow("manager") << QString(QLatin1String(managerPath))
                             << QString(QLatin1String(managerInterface));
    QTest::newRow("our own") << QString(QLatin1String(managerPath))
                             << QString(QLatin1String(ownInterface));
    QTest::newRow("device") << modem << QString(QLatin1String(deviceInterface));
}

void HaldDeviceTest::introspectionIsTheInstalledDescription()
{
    QFETCH(QString, path);
    QFETCH(QString, interface);
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    const QDBusMessage reply =
        m_stage->client.call(path, "org.freedesktop.DBus.Introspectable"_s, "Introspect"_s);
    QCOMPARE(reply.signature(), "s"_s);
    const QByteArray document = reply.arguments().value(0).toString().toUtf8();
    const QByteArray installed =
        readFile(QString::fromLocal8Bit(HALD_INTERFACES) + QLatin1Char('/') + interface + ".xml"_s);
    const QStringList expected = elementsBelow(installed, interface);
    QVERIFY(expected.size() >= 3);
    QCOMPARE(elementsBelow(document, interface), expected);
}

void HaldDeviceTest::introspectionListsTheDevices()
{
    m_stage->machine.plug(usbDevice("1-1", 1, 1));
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    const QString text = m_stage->client
                             .call("/org/freedesktop/Hal/devices"_s,
                                   "org.freedesktop.DBus.Introspectable"_s, "Introspect"_s)
                             .arguments()
                             .value(0)
                             .toString();
    for (const QString &name : m_stage->client.devices())
        QVERIFY(withoutSpaces(text).contains("<nodename=\"%1\"/>"_s.arg(name)));
}

void HaldDeviceTest::presentDevicesAreNotAnnounced()
{
    const MachineDevice device = usbDevice("1-4", 0x1110, 0x9041);
    m_stage->machine.complete(device);
    startWith(device);
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_stage->client.devices(), QStringList("usb_device_1110_9041_noserial"_s));
    for (const char *action : {"add", "bind", "change"})
        m_stage->machine.announce("1-4", action);
    QCOMPARE(m_stage->takeEvents(), QStringList());
    m_stage->machine.unplug("1-4");
    QCOMPARE(m_stage->takeEvents(), QStringList("-usb_device_1110_9041_noserial"_s));
}

/** A device whose event is still to come when the service finds it already. */
void HaldDeviceTest::presentDeviceThatUdevWorksOnIsAnnounced()
{
    startWith(usbDevice("1-4", 0x1110, 0x9041));
    QCOMPARE(m_stage->takeEvents(), QStringList());
    m_stage->machine.announce("1-4", "add");
    QCOMPARE(m_stage->takeEvents(), QStringList("+usb_device_1110_9041_noserial"_s));
    m_stage->machine.announce("1-4", "add");
    QCOMPARE(m_stage->takeEvents(), QStringList());
}

void HaldDeviceTest::reannouncementGoesToTheCallerAlone()
{
    const MachineDevice cdrom = drive();
    m_stage->machine.plug(cdrom);
    m_stage->machine.insertDisc(cdrom, {{"ID_FS_LABEL", "debian"}});
    m_stage->machine.plug(usbDevice("1-1", 1, 1));
    startWith(usbDevice("1-2", 1, 1, "ab"));
    QVERIFY(m_stage->client.devices().size() == 3);

    const Witness other;
    Witness caller;
    const auto reannounce = [&](const QString &capability) {
        const QDBusMessage reply = caller.m_ear.call(
            QLatin1String(managerPath), QLatin1String(ownInterface), "Reannounce"_s, {capability});
        return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().isEmpty();
    };
    QStringList all;
    QStringList modems;
    for (const QString &name : m_stage->client.devices()) {
        all.append("+"_s + name);
        if (name.startsWith("usb"_s))
            modems.append("+"_s + name);
    }
    QVERIFY(reannounce("usb_device"_s));
    QVERIFY(waitUntil([&] { return caller.count() == 2; }));
    QCOMPARE(caller.takeEvents(), modems);
    QVERIFY(reannounce(QString()));
    QVERIFY(waitUntil([&] { return caller.count() == 3; }));
    QCOMPARE(caller.takeEvents(), all);
    QVERIFY(reannounce("no such"_s));
    QCOMPARE(caller.takeLies(), QStringList());
    QCOMPARE(m_stage->takeEvents(), QStringList());
    // By now they have heard the same as everybody.
    QVERIFY(waitUntil([&] { return caller.count() == 2 && other.count() == 2; }));
    QCOMPARE(Stage::withoutSettling(caller.events()), QStringList());
    QCOMPARE(Stage::withoutSettling(other.events()), QStringList());
}

void HaldDeviceTest::reannouncementIsBeforeTheReply()
{
    constexpr int deviceCount = 50;
    for (int i = 0; i < deviceCount; ++i)
        m_stage->machine.plug(usbDevice("1-" + QByteArray::number(i + 1), 1, i + 1));
    QVERIFY(m_stage->daemon.start());
    Witness caller(Witness::Believes);
    const QDBusMessage reply = caller.m_ear.call(
        QLatin1String(managerPath), QLatin1String(ownInterface), "Reannounce"_s, {QString()});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    // What has come before the reply waits in the thread at the most.
    QMetaObject::invokeMethod(
        &caller, [] {}, Qt::BlockingQueuedConnection);
    QCOMPARE(caller.count(), deviceCount);
}

KESTRA_TEST_MAIN(HaldDeviceTest)
#include "halddevicetest.moc"
