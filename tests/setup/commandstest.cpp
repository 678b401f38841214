// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fakehal.h"
#include "files.h"
#include "testmain.h"

#include <kestra/modem/modemmanager.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace KestraTest;

namespace {

const QString providers = "/tmp/services.xml"_s;
const QString ownData = "/tmp/data"_s;

const QByteArray database =
    "<services><country code=\"Freedonia\">"
    "<service name=\"Net One\"><vpi>8</vpi><vci>35</vci><protocol>pppoa</protocol>"
    "<dns_server_1>192.0.2.1</dns_server_1><dns_server_2>192.0.2.2</dns_server_2></service>"
    "<service name=\"Net&#x9b; Two\"><vpi>0</vpi><vci>38</vci><protocol>pppoe</protocol>"
    "<encapsulation>vc</encapsulation><dns_server_1/><dns_server_2/></service>"
    "</country><country code=\"Sylvania\"><service name=\"Only\"><vpi>1</vpi><vci>32</vci>"
    "<protocol>pppoe</protocol><dns_server_1/><dns_server_2/></service></country></services>";

struct Result
{
    int code;
    QString output;
    QString errors;

    QJsonObject json() const { return QJsonDocument::fromJson(output.toUtf8()).object(); }
};

Result run(const QStringList &arguments)
{
    QProcess program;
    program.start(QStringLiteral(KESTRA_SETUP_PROGRAM), arguments);
    program.waitForFinished();
    return {program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1,
            QString::fromLocal8Bit(program.readAllStandardOutput()),
            QString::fromLocal8Bit(program.readAllStandardError())};
}

const QStringList withData = {"--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY)};
const QStringList withProviders = {"--providers"_s, providers};

}

class CommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void driversOfTheModemTableAreKnown();
    void driversAreListedForAPerson();
    void driverWithoutSourceSaysSo();
    void missingCatalogueIsSaid();
    void faultyCatalogueIsSaid_data();
    void faultyCatalogueIsSaid();
    void commasNeedNoQuotes();

    void countriesAreListed();
    void servicesAreListed();
    void countryIsFoundWhateverTheCase();
    void unknownCountryIsSaid();
    void unusableDatabaseIsSaid_data();
    void unusableDatabaseIsSaid();
    void validationSaysYes();
    void validationNamesThePlaces();
    void validationOfNoFile();

    void modemsAreDetected();
    void noModemIsSaid();
    void noServiceIsSaid();
    void statusOfABareMachine();
    void statusOfALink();

    void jsonIsAllThatIsPrinted_data();
    void jsonIsAllThatIsPrinted();
    void refusesWithOneSentence_data();
    void refusesWithOneSentence();
    void helpOfEachCommand();
    void needsNoRootAndNoBus();
};

void CommandsTest::init()
{
    writeFile(providers, database);
    QDir(ownData).removeRecursively();
    makeDirectory(ownData + "/drivers"_s);
}

void CommandsTest::driversOfTheModemTableAreKnown()
{
    const Result result = run(QStringList {"drivers"_s, "--json"_s} + withData);
    QCOMPARE(result.code, 0);
    QSet<QString> known;
    for (const QJsonValue &driver : result.json().value("drivers"_s).toArray())
        known.insert(driver["name"_s].toString() + QLatin1Char(' ')
                     + driver["version"_s].toString());
    ModemManager manager;
    for (const ModemManager::Modem &modem : std::as_const(manager.modems)) {
        const QString version = modem.driverVersion.isEmpty() ? "default"_s : modem.driverVersion;
        QVERIFY2(known.contains(modem.driverName + QLatin1Char(' ') + version),
                 qPrintable(modem.driverName));
    }
    QCOMPARE(known.size(), 4);
}

void CommandsTest::driversAreListedForAPerson()
{
    const Result result = run(QStringList {"drivers"_s} + withData);
    QCOMPARE(result.code, 0);
    QCOMPARE(result.errors, QString());
    QVERIFY2(result.output.contains("speedtch, version default\n"
                                    "  modems    Thomson Speedtouch 330\n"
                                    "  bundle    speedtch-default.tar.gz\n"_s),
             qPrintable(result.output));
}

void CommandsTest::driverWithoutSourceSaysSo()
{
    const Result result = run(QStringList {"drivers"_s} + withData);
    const QString unicorn = result.output.section("unicorn, version neo"_s, 1);
    QVERIFY2(unicorn.contains("No distribution carries the source of this driver"_s),
             qPrintable(result.output));
    QVERIFY(!unicorn.contains("  bundle "_s));
}

void CommandsTest::missingCatalogueIsSaid()
{
    const Result result = run({"drivers"_s, "--data-dir"_s, "/tmp/nowhere"_s});
    QCOMPARE(result.code, 6);
    QCOMPARE(result.output, QString());
    QCOMPARE(result.errors,
             "kestra-setup: There is no driver catalogue in /tmp/nowhere/drivers. Install "
             "kestra-setup completely, or give --data-dir.\n"_s);
}

void CommandsTest::faultyCatalogueIsSaid_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("fault");

    QTest::newRow("empty") << QByteArray() << "has no Name"_s;
    QTest::newRow("another section") << QByteArray("[Other]\nName=x\n") << "has no Name"_s;
    QTest::newRow("not to be built")
        << QByteArray("[Driver]\nName=x\nVersion=1\nModems=m\nBundleSource=s\nBundle=b\n")
        << "has no Tree"_s;
    QTest::newRow("no list") << QByteArray("[Driver\nName\n") << "is no list of keys and values"_s;
}

void CommandsTest::faultyCatalogueIsSaid()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, fault);
    writeFile(ownData + "/drivers/x.conf"_s, content);
    const Result result = run({"drivers"_s, "--data-dir"_s, ownData});
    QCOMPARE(result.code, 6);
    QVERIFY2(result.errors.contains("/tmp/data/drivers/x.conf "_s + fault),
             qPrintable(result.errors));
}

void CommandsTest::commasNeedNoQuotes()
{
    writeFile(ownData + "/drivers/x.conf"_s,
              "[Driver]\nName=x\nVersion=1\nModems=a, b\nBundleSource=\"c, d\"\n");
    const QJsonValue driver = run({"drivers"_s, "--json"_s, "--data-dir"_s, ownData})
                                  .json()
                                  .value("drivers"_s)
                                  .toArray()
                                  .first();
    QCOMPARE(driver["modems"_s].toString(), "a, b"_s);
    QCOMPARE(driver["bundle_source"_s].toString(), "c, d"_s);
}

void CommandsTest::countriesAreListed()
{
    const Result result = run(QStringList {"providers"_s} + withProviders);
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output, "Freedonia (2)\nSylvania (1)\n"_s);
    const QJsonArray countries = run(QStringList {"providers"_s, "--json"_s} + withProviders)
                                     .json()
                                     .value("countries"_s)
                                     .toArray();
    QCOMPARE(countries.size(), 2);
    QCOMPARE(countries[0]["name"_s].toString(), "Freedonia"_s);
    QCOMPARE(countries[0]["services"_s].toInt(), 2);
}

void CommandsTest::servicesAreListed()
{
    const Result result = run(QStringList {"providers"_s, "Freedonia"_s} + withProviders);
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output, // a file from elsewhere must not control the terminal
             "Net One: 8.35, pppoa, vc, DNS 192.0.2.1 and 192.0.2.2\n"
             "Net? Two: 0.38, pppoe, vc\n"_s);
    const QJsonArray services =
        run(QStringList {"providers"_s, "Sylvania"_s, "--json"_s} + withProviders)
            .json()
            .value("services"_s)
            .toArray();
    const QJsonObject only = {{"name"_s, "Only"_s},
                              {"vpi"_s, 1},
                              {"vci"_s, 32},
                              {"protocol"_s, "pppoe"_s},
                              {"encapsulation"_s, "llc"_s},
                              {"name_servers"_s, QJsonArray()}};
    QCOMPARE(services, QJsonArray {only});
}

void CommandsTest::countryIsFoundWhateverTheCase()
{
    const Result result = run(QStringList {"providers"_s, "sylvania"_s} + withProviders);
    QCOMPARE(result.output, "Only: 1.32, pppoe, llc\n"_s);
}

void CommandsTest::unknownCountryIsSaid()
{
    const Result result = run(QStringList {"providers"_s, "Fredonia"_s} + withProviders);
    QCOMPARE(result.code, 17);
    QCOMPARE(result.output, QString());
    QCOMPARE(result.errors,
             "kestra-setup: The provider database has no country \"Fredonia\". Near matches: "
             "Freedonia. kestra-setup providers lists all.\n"_s);
}

void CommandsTest::unusableDatabaseIsSaid_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("why");

    QByteArray bomb = "<!DOCTYPE s [<!ENTITY a \"aaaaaaaaaa\">";
    for (char name = 'b'; name < 'k'; ++name) {
        const QByteArray earlier = QByteArray("&") + char(name - 1) + ';';
        bomb += QByteArray("<!ENTITY ") + name + " \"" + earlier.repeated(10) + "\">";
    }
    QTest::newRow("cut off") << database.left(100) << "line 1, column "_s;
    QTest::newRow("entity bomb") << bomb + "]><s>&j;</s>"
                                 << "declares entities"_s;
    QTest::newRow("wrong encoding")
        << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?><s a=\"\xe9\xff\"/>")
        << "incorrectly encoded"_s;
    QTest::newRow("no XML") << QByteArray("\x7f"
                                          "ELF\0\0",
                                          6)
                            << "line 1"_s;
}

void CommandsTest::unusableDatabaseIsSaid()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, why);
    writeFile(providers, content);
    for (const QStringList &arguments : {QStringList {"providers"_s} + withProviders,
                                         QStringList {"providers"_s, "--validate"_s, providers}}) {
        const Result result = run(arguments);
        QCOMPARE(result.code, 16);
    }
    const Result result = run(QStringList {"providers"_s} + withProviders);
    QVERIFY2(result.errors.contains(why, Qt::CaseInsensitive), qPrintable(result.errors));
}

void CommandsTest::validationSaysYes()
{
    const Result result = run({"providers"_s, "--validate"_s, providers});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output, "/tmp/services.xml is a valid provider database.\n"_s);
}

void CommandsTest::validationNamesThePlaces()
{
    writeFile(providers, QByteArray(database).replace("<vci>35", "\n<vci>3"));
    const Result result = run({"providers"_s, "--validate"_s, providers});
    QCOMPARE(result.code, 16);
    QCOMPARE(result.output,
             "/tmp/services.xml:2:6: vci must be a number from 32 to 65535, not \"3\"\n"_s);
    QCOMPARE(result.errors,
             "kestra-setup: /tmp/services.xml is no valid provider database. Mend what is "
             "listed.\n"_s);
    const QJsonValue json = run({"providers"_s, "--json"_s, "--validate"_s, providers}).json();
    QCOMPARE(json["valid"_s].toBool(true), false);
    QCOMPARE(json["faults"_s][0]["line"_s].toInt(), 2);
    QCOMPARE(json["faults"_s][0]["column"_s].toInt(), 6);
    QCOMPARE(json["error"_s]["code"_s].toInt(), 16);
}

void CommandsTest::validationOfNoFile()
{
    const Result result = run({"providers"_s, "--validate"_s, "/tmp/none.xml"_s});
    QCOMPARE(result.code, 16);
    QVERIFY2(result.errors.contains("there is no such file"_s), qPrintable(result.errors));
}

namespace {

void addDevice(FakeHal &hal, const QString &name, int vendor, int product)
{
    hal.addDevice("/org/freedesktop/Hal/devices/"_s + name,
                  {{"usb_device.vendor_id"_s, vendor}, {"usb_device.product_id"_s, product}},
                  {"usb_device"_s});
}

}

void CommandsTest::modemsAreDetected()
{
    FakeHal hal;
    addDevice(hal, "mouse"_s, 0x46d, 0xc077);
    addDevice(hal, "first"_s, 0x6b9, 0x4061);
    addDevice(hal, "second"_s, 0x1110, 0x9010);
    const Result result = run({"detect"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             "Thomson Speedtouch 330 (06b9:4061), driver speedtch\n"
             "Sagem F@st 800 (1110:9010), driver ueagle-atm\n"_s);
    const QJsonObject modem =
        run({"detect"_s, "--json"_s}).json()["modems"_s].toArray()[0].toObject();
    const QJsonObject expected = {{"name"_s, "Thomson Speedtouch 330"_s},
                                  {"vendor_id"_s, 0x6b9},
                                  {"product_id"_s, 0x4061},
                                  {"driver"_s, "speedtch"_s},
                                  {"driver_version"_s, "default"_s},
                                  {"udi"_s, "/org/freedesktop/Hal/devices/first"_s}};
    QCOMPARE(modem, expected);
}

void CommandsTest::noModemIsSaid()
{
    FakeHal hal;
    addDevice(hal, "mouse"_s, 0x46d, 0xc077);
    const Result result = run({"detect"_s});
    QCOMPARE(result.code, 4);
    QCOMPARE(result.errors,
             "kestra-setup: No supported modem is plugged in. kestra-setup drivers lists the "
             "modems that are supported.\n"_s);
}

void CommandsTest::noServiceIsSaid()
{
    const Result result = run({"detect"_s});
    QCOMPARE(result.code, 5);
    QVERIFY2(result.errors.contains("package kestra-hald"_s), qPrintable(result.errors));
    QVERIFY(result.errors.endsWith(".\n"_s));
}

void CommandsTest::statusOfABareMachine()
{
    remove("/etc/resolv.conf"_s);
    writeFile("/etc/resolv.conf"_s,
              "# nobody\nnameserver 198.51.100.1\n\tnameserver  2001:db8::1\n");
    FakeHal hal;
    const Result result = run({"status"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             "modem:        none is plugged in\n"
             "driver:       none is set up\n"
             "boot:         the connection is not started at boot\n"
             "name servers: 198.51.100.1, 2001:db8::1\n"
             "link:         down\n"
             "files that a set-up has changed:\n"
             "  none\n"_s);
}

/** The loopback interface of a network of our own, in place of one of pppd's. */
void CommandsTest::statusOfALink()
{
    writeFile("/run/ppp-kestra.pid"_s,
              QByteArray::number(QCoreApplication::applicationPid()) + "\nlo\n");
    const auto link = [] { return run({"status"_s, "--json"_s}).json()["link"_s].toObject(); };
    QCOMPARE(link()["up"_s].toBool(true), false);
    QCOMPARE(QProcess::execute("ip"_s, {"addr"_s, "add"_s, "192.0.2.7/32"_s, "dev"_s, "lo"_s}), 0);
    QCOMPARE(link()["up"_s].toBool(), true);
    QCOMPARE(link()["addresses"_s].toArray(), QJsonArray {"192.0.2.7"_s});
    QVERIFY(run({"status"_s}).output.contains("link:         up, lo has 192.0.2.7\n"_s));
    writeFile("/run/ppp-kestra.pid"_s, "4194304\nlo\n"); // no process has this number
    QCOMPARE(link()["up"_s].toBool(true), false);
    QCOMPARE(link()["trouble"_s].toString("none"_s), QString());
    QVERIFY(run({"status"_s}).output.contains("link:         down\n"_s));

    // With a connection, its init script says more.
    writeFile("/etc/kestra/connection.conf"_s, "");
    writeFile("/etc/init.d/kestrad"_s,
              "#!/bin/sh\necho \"kestrad: pppd is running, but not connected: $1? no line\"\n",
              0755);
    QCOMPARE(link()["trouble"_s].toString(), "status? no line"_s);
    QVERIFY(run({"status"_s}).output.contains("link:         down: status? no line\n"_s));
    writeFile("/run/ppp-kestra.pid"_s,
              QByteArray::number(QCoreApplication::applicationPid()) + "\nlo\n");
    QCOMPARE(link()["up"_s].toBool(true), false);
    QCOMPARE(link()["addresses"_s].toArray(), QJsonArray {"192.0.2.7"_s});
    QVERIFY(
        run({"status"_s})
            .output.contains("link:         pppd runs, but is not connected: status? no line\n"_s));
    writeFile("/etc/init.d/kestrad"_s, "#!/bin/sh\necho 'kestrad: not running: refused'\n", 0755);
    QCOMPARE(link()["trouble"_s].toString(), "refused"_s);
    writeFile("/etc/init.d/kestrad"_s, "#!/bin/sh\necho 'kestrad: not running'\n", 0755);
    QCOMPARE(link()["trouble"_s].toString("none"_s), QString());
}

void CommandsTest::jsonIsAllThatIsPrinted_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");

    QTest::newRow("drivers") << QStringList {"drivers"_s} + withData << 0;
    QTest::newRow("no drivers") << QStringList {"drivers"_s, "--data-dir"_s, "/tmp/no"_s} << 6;
    QTest::newRow("no service") << QStringList {"detect"_s} << 5;
    QTest::newRow("status") << QStringList {"status"_s} << 0;
    QTest::newRow("countries") << QStringList {"providers"_s} + withProviders << 0;
    QTest::newRow("services") << QStringList {"providers"_s, "Sylvania"_s} + withProviders << 0;
    QTest::newRow("unknown") << QStringList {"providers"_s, "X"_s} + withProviders << 17;
    QTest::newRow("no database") << QStringList {"providers"_s, "--providers"_s, "/tmp/no"_s} << 16;
}

void CommandsTest::jsonIsAllThatIsPrinted()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    const Result result = run(arguments + QStringList {"--json"_s, "--verbose"_s});
    QCOMPARE(result.code, code);
    QJsonParseError error;
    QJsonDocument::fromJson(result.output.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(QJsonValue(result.json())["error"_s]["code"_s].toInt(), code);
}

void CommandsTest::refusesWithOneSentence_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("sentence");

    QTest::newRow("no such command")
        << QStringList {"start"_s} << "The argument \"start\" is not understood."_s;
    QTest::newRow("half a command")
        << QStringList {"disc"_s}
        << "\"disc\" needs one of these words after it: list, add, eject."_s;
    QTest::newRow("half a command and more")
        << QStringList {"boot"_s, "x"_s}
        << "\"boot\" needs one of these words after it: enable, disable."_s;
    QTest::newRow("command of two words after an option")
        << QStringList {"--verbose"_s, "disc"_s, "list"_s}
        << "The command \"disc\" must come before all options."_s;
    QTest::newRow("command after an option")
        << QStringList {"--verbose"_s, "status"_s}
        << "The command \"status\" must come before all options."_s;
    QTest::newRow("operand too many")
        << QStringList {"providers"_s, "A"_s, "B"_s} << "The argument \"B\" is not understood."_s;
    QTest::newRow("operand for none")
        << QStringList {"drivers"_s, "x"_s} << "The argument \"x\" is not understood."_s;
    QTest::newRow("option of another command")
        << QStringList {"drivers"_s, "--country"_s, "x"_s} << "Unknown option 'country'."_s;
    QTest::newRow("JSON without answers")
        << QStringList {"--json"_s} << "--country is needed with --json."_s;
}

void CommandsTest::refusesWithOneSentence()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, sentence);
    const Result result = run(arguments);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.output, QString());
    QCOMPARE(result.errors, "kestra-setup: %1 See kestra-setup --help.\n"_s.arg(sentence));
}

void CommandsTest::helpOfEachCommand()
{
    const QString whole = run({"--help"_s}).output;
    for (const QString &command : {"drivers"_s, "providers [COUNTRY]"_s}) {
        QVERIFY2(whole.contains("\n  "_s + command), qPrintable(whole));
        const Result result = run({command.section(QLatin1Char(' '), 0, 0), "--help"_s});
        QCOMPARE(result.code, 0);
        QVERIFY(result.output.startsWith("Usage: kestra-setup "_s
                                         + command.section(QLatin1Char(' '), 0, 0)));
        QVERIFY(result.output.contains("--json"_s));
        QVERIFY(!result.output.contains("--unattended"_s));
    }
}

void CommandsTest::needsNoRootAndNoBus()
{
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, "unix:path=/nowhere"_s);
    program.setProcessEnvironment(environment);
    program.start("setpriv"_s,
                  QStringList {"--reuid=65534"_s, "--clear-groups"_s,
                               QStringLiteral(KESTRA_SETUP_PROGRAM), "providers"_s}
                      + withProviders);
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
}

KESTRA_TEST_MAIN(CommandsTest)

#include "commandstest.moc"
