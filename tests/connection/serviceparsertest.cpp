// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "systemfiles.h"
#include "testmain.h"

#include <kestra/connection/serviceparser.h>

#include <QDebug>
#include <QMetaMethod>
#include <QProcess>
#include <QSignalSpy>

using namespace KestraTest;

namespace {

const QString fileName = "/tmp/services.xml"_s;
const QString usingFile = "Using external file: \"/tmp/services.xml\""_s;

const QByteArray workedExample = R"(<?xml version="1.0" encoding="UTF-8"?>
<services>
  <country code="Freedonia">
    <service name="Example Broadband PPPoA">
      <vpi>8</vpi> <vci>35</vci> <protocol>pppoa</protocol>
      <dns_server_1>192.0.2.1</dns_server_1> <dns_server_2>192.0.2.2</dns_server_2>
    </service>
    <service name="Example Net PPPoE">
      <vpi>0</vpi> <vci>38</vci> <protocol>pppoe</protocol> <dns_server_1/> <dns_server_2/>
    </service>
  </country>
</services>
)";

using Names = QMap<int, QString>;

QString joined(const Names &names)
{
    QStringList items;
    for (auto it = names.begin(); it != names.end(); ++it)
        items.append("%1=%2"_s.arg(it.key()).arg(it.value()));
    return items.join(QLatin1Char(' '));
}

/** A parser whose signals become messages too, so that one log tells the order of everything. */
class LoudParser : public ServiceParser
{
public:
    explicit LoudParser(const QByteArray &content) : ServiceParser(save(content))
    {
        connect(this, &ServiceParser::foundCountry,
                [](const QString &code) { say(code, "country"); });
        connect(this, &ServiceParser::foundService,
                [](const QString &name) { say(name, "service"); });
        connect(this, &ServiceParser::countriesMap,
                [](const Names &names) { say(joined(names), "countries"); });
        connect(this, &ServiceParser::servicesMap,
                [](const Names &names) { say(joined(names), "services"); });
        connect(this, &ServiceParser::sendServiceData,
                [](int vpi, int vci, const QString &protocol, const QStringList &servers) {
                    say("%1.%2 %3 [%4]"_s.arg(vpi).arg(vci).arg(protocol,
                                                                servers.join(QLatin1Char(','))),
                        "data");
                });
    }

private:
    static QString save(const QByteArray &content)
    {
        writeFile(fileName, content);
        return fileName;
    }

    static void say(const QString &text, const char *signal)
    {
        qInfo().noquote().nospace() << signal << ": " << text;
    }
};

/** A file with one service "S" in the country "C". */
QByteArray oneService(const QByteArray &children)
{
    return "<r><country code='C'><service name='S'>" + children + "</service></country></r>";
}

QByteArray namedCountries(int count)
{
    QByteArray result = "<services>";
    for (int i = 1; i <= count; ++i)
        result += "<country code=\"C" + QByteArray::number(i) + "\"/>";
    return result;
}

/** Returns what a file has to say about the service "S" of the country "C", all else left out. */
QStringList dataOf(const QByteArray &content)
{
    MessageLog log;
    LoudParser parser(content);
    parser.getServicesForCountry("C"_s);
    parser.requestServiceData("S"_s);
    return log.texts().filter(QRegularExpression("^data: "_s));
}

}

class ServiceParserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // moc registers no template with two arguments; spies and queued connections need it.
    void initTestCase() { qRegisterMetaType<Names>(); }
    void cleanup() { remove(fileName); }

    void hasItsInterface();
    void readsTheWorkedExample();
    void announcesInSignalsThatSpiesUnderstand();
    void writesToTheQtDebugStreamOnly();

    void missingFileHasNoCountries();
    void malformedFileHasNoCountries_data();
    void malformedFileHasNoCountries();
    void fileWithoutCountriesHasNone();
    void fileIsReadOnce();
    void fileIsClosed();

    void rootMayHaveAnyName_data();
    void rootMayHaveAnyName();
    void rootNamedCountryIsNoCountry();
    void countriesAreFoundAtAnyDepth();
    void namesAreMatchedExactly();
    void prefixedElementsMatchByLocalName();
    void anyEncodingIsRead_data();
    void anyEncodingIsRead();
    void everythingElseIsIgnored();

    void keysCountFromOneInDocumentOrder();
    void missingAttributesAreEmpty();
    void nestedServicesAreFound();
    void nestedCountriesShareTheirServices();
    void duplicateCountriesOverwriteTheKeys();
    void duplicateCountriesSendTwice();
    void duplicateServicesSendTheFirst();
    void unknownCountryHasAnEmptyMap();

    void nothingIsSelectedAtFirst();
    void countryWithoutCodeIsSelectedAtFirst();
    void selectionPersists();
    void unknownCountryIsSelectedToo();
    void unknownServiceSendsAndLogsNothing();
    void lastMatchIsKept();

    void numbersAreSixteenBitsDecimal_data();
    void numbersAreSixteenBitsDecimal();
    void missingNumbersAreZero();
    void protocolIsPassedOnUnchanged_data();
    void protocolIsPassedOnUnchanged();
    void serversAreTaken_data();
    void serversAreTaken();
    void serversAreForgotten();
    void firstChildOfEachNameCounts();
    void onlyDirectChildrenCount();

    void shippedDatabaseIsUnderstood();
};

void ServiceParserTest::hasItsInterface()
{
    const QMetaObject &meta = ServiceParser::staticMetaObject;
    QList<QByteArray> emitted, slotted;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.access(), QMetaMethod::Public);
        if (method.methodType() == QMetaMethod::Signal)
            emitted += method.methodSignature() + ' ' + method.parameterNames().join(',');
        else
            slotted += method.methodSignature();
    }
    QCOMPARE(emitted,
             (QList<QByteArray> {"countriesMap(QMap<int,QString>) cMap",
                                 "servicesMap(QMap<int,QString>) sMap", "foundCountry(QString) str",
                                 "foundService(QString) str",
                                 ("sendServiceData(int,int,QString,QStringList) "
                                  "VPI,VCI,protocol,dnsServers")}));
    QCOMPARE(slotted,
             (QList<QByteArray> {"getServicesForCountry(QString)", "requestServiceData(QString)"}));

    const ServiceParser parser(fileName);
    QVERIFY(!parser.parent());
}

void ServiceParserTest::readsTheWorkedExample()
{
    MessageLog log;
    LoudParser parser(workedExample);
    QCOMPARE(log.take(), QStringList(usingFile));

    parser.getCountries();
    QCOMPARE(log.take(),
             QStringList({"Found \"country\" tags (n): 1"_s, "country: Freedonia"_s,
                          "countries: 1=Freedonia"_s}));

    parser.getServicesForCountry("Freedonia"_s);
    QCOMPARE(log.take(),
             QStringList({"service: Example Broadband PPPoA"_s, "service: Example Net PPPoE"_s,
                          "services: 1=Example Broadband PPPoA 2=Example Net PPPoE"_s}));

    parser.requestServiceData("Example Net PPPoE"_s);
    QCOMPARE(log.take(),
             QStringList({"DNS Server 1 is empty!"_s, "DNS Server 2 is empty!"_s,
                          "VPI: 0 VCI: 38 PROTOCOL: \"pppoe\" \nDNS Servers: ()"_s,
                          "data: 0.38 pppoe []"_s}));

    parser.requestServiceData("Example Broadband PPPoA"_s);
    QCOMPARE(log.take(),
             QStringList({"VPI: 8 VCI: 35 PROTOCOL: \"pppoa\" \nDNS Servers: (\"192.0.2.1\", "
                          "\"192.0.2.2\")"_s,
                          "data: 8.35 pppoa [192.0.2.1,192.0.2.2]"_s}));
}

void ServiceParserTest::announcesInSignalsThatSpiesUnderstand()
{
    writeFile(fileName, workedExample);
    const MessageLog log;
    ServiceParser parser(fileName);
    QSignalSpy countries(&parser, SIGNAL(countriesMap(QMap<int, QString>)));
    QSignalSpy services(&parser, SIGNAL(servicesMap(QMap<int, QString>)));
    QSignalSpy country(&parser, SIGNAL(foundCountry(QString)));
    QSignalSpy service(&parser, SIGNAL(foundService(QString)));
    QSignalSpy data(&parser, SIGNAL(sendServiceData(int, int, QString, QStringList)));

    parser.getCountries();
    QVERIFY(
        QMetaObject::invokeMethod(&parser, "getServicesForCountry", Q_ARG(QString, "Freedonia"_s)));
    QVERIFY(QMetaObject::invokeMethod(&parser, "requestServiceData",
                                      Q_ARG(QString, "Example Broadband PPPoA"_s)));

    QCOMPARE(countries.size(), 1);
    QCOMPARE(countries[0][0].value<Names>(), (Names {{1, "Freedonia"_s}}));
    QCOMPARE(services.size(), 1);
    QCOMPARE(services[0][0].value<Names>(),
             (Names {{1, "Example Broadband PPPoA"_s}, {2, "Example Net PPPoE"_s}}));
    QCOMPARE(country.size(), 1);
    QCOMPARE(service.size(), 2);
    QCOMPARE(data.size(), 1);
    QCOMPARE(data[0],
             QVariantList({8, 35, "pppoa"_s, QStringList({"192.0.2.1"_s, "192.0.2.2"_s})}));
}

void ServiceParserTest::writesToTheQtDebugStreamOnly()
{
    writeFile(fileName, workedExample);
    for (const bool enabled : {true, false}) {
        const DebugFile debugFile(enabled);
        const MessageLog log;
        QByteArray output;
        {
            StdoutCapture capture;
            ServiceParser parser(fileName);
            parser.getCountries();
            parser.getServicesForCountry("Freedonia"_s);
            parser.requestServiceData("Example Net PPPoE"_s);
            output = capture.take();
        }
        QCOMPARE(output, QByteArray());
        QCOMPARE(debugFile.text(), QByteArray());
        QCOMPARE(log.debugs().size(), 5);
        QCOMPARE(log.texts(), log.debugs());
    }
}

void ServiceParserTest::missingFileHasNoCountries()
{
    MessageLog log;
    ServiceParser parser("/tmp/absent.xml"_s);
    QCOMPARE(log.take(), QStringList());

    QSignalSpy countries(&parser, &ServiceParser::countriesMap);
    QSignalSpy country(&parser, &ServiceParser::foundCountry);
    parser.getCountries();
    QCOMPARE(log.take(), QStringList("Found \"country\" tags (n): 0"_s));
    QCOMPARE(countries.size(), 1);
    QCOMPARE(countries[0][0].userType(), qMetaTypeId<Names>());
    QVERIFY(countries[0][0].value<Names>().isEmpty());
    QCOMPARE(country.size(), 0);
    QVERIFY(!exists("/tmp/absent.xml"_s));
}

void ServiceParserTest::malformedFileHasNoCountries_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("nothing in it") << QByteArray();
    QTest::newRow("no XML") << QByteArray("Freedonia 8.35\n");
    QTest::newRow("cut off after complete countries") << namedCountries(3);
    QTest::newRow("wrong end tag") << namedCountries(2) + "</other>";
    QTest::newRow("second root") << namedCountries(2) + "</services><more/>";
    QTest::newRow("text behind the root") << namedCountries(2) + "</services> more";
    QTest::newRow("bare attribute") << namedCountries(2) + "<country code=C3/></services>";
    QTest::newRow("service never closed")
        << namedCountries(1) + "<country code='C'><service name='S'></country></services>";
}

void ServiceParserTest::malformedFileHasNoCountries()
{
    QFETCH(QByteArray, content);
    MessageLog log;
    LoudParser parser(content);
    parser.getCountries();
    parser.getServicesForCountry("C1"_s);
    QCOMPARE(log.take(),
             QStringList(
                 {usingFile, "Found \"country\" tags (n): 0"_s, "countries: "_s, "services: "_s}));
}

void ServiceParserTest::fileWithoutCountriesHasNone()
{
    MessageLog log;
    LoudParser parser("<services><service name='S'/></services>");
    parser.getCountries();
    parser.getServicesForCountry(QString());
    parser.requestServiceData("S"_s);
    QCOMPARE(log.take(),
             QStringList(
                 {usingFile, "Found \"country\" tags (n): 0"_s, "countries: "_s, "services: "_s}));
}

void ServiceParserTest::fileIsReadOnce()
{
    MessageLog log;
    LoudParser parser(workedExample);
    remove(fileName);
    log.clear();
    parser.getCountries();
    parser.getCountries();
    QCOMPARE(log.take().filter("countries: "_s),
             QStringList({"countries: 1=Freedonia"_s, "countries: 1=Freedonia"_s}));
    QVERIFY(!exists(fileName));
}

void ServiceParserTest::fileIsClosed()
{
    const MessageLog log;
    const int before = openFileCount();
    const LoudParser parser(workedExample);
    const LoudParser malformed("<r>");
    QCOMPARE(openFileCount(), before);
}

void ServiceParserTest::rootMayHaveAnyName_data()
{
    QTest::addColumn<QByteArray>("root");
    for (const char *root : {"services", "x", "service", "vpi"})
        QTest::newRow(root) << QByteArray(root);
}

void ServiceParserTest::rootMayHaveAnyName()
{
    QFETCH(QByteArray, root);
    MessageLog log;
    LoudParser parser(QByteArray(workedExample).replace("services>", root + '>'));
    log.clear();
    parser.getCountries();
    QCOMPARE(log.take().last(), "countries: 1=Freedonia"_s);
}

void ServiceParserTest::rootNamedCountryIsNoCountry()
{
    MessageLog log;
    LoudParser parser("<country code='root'><country code='inner'/><service name='S'/></country>");
    log.clear();
    parser.getCountries();
    parser.getServicesForCountry("root"_s);
    QCOMPARE(log.take(),
             QStringList({"Found \"country\" tags (n): 1"_s, "country: inner"_s,
                          "countries: 1=inner"_s, "services: "_s}));
}

void ServiceParserTest::countriesAreFoundAtAnyDepth()
{
    MessageLog log;
    LoudParser parser("<r><a><b><country code='deep'/></b></a><country code='flat'/></r>");
    log.clear();
    parser.getCountries();
    QCOMPARE(log.take(),
             QStringList({"Found \"country\" tags (n): 2"_s, "country: deep"_s, "country: flat"_s,
                          "countries: 1=deep 2=flat"_s}));
}

void ServiceParserTest::namesAreMatchedExactly()
{
    MessageLog log;
    LoudParser parser("<r><Country code='no'/><countries code='no'/>"
                      "<country code='C'><Service name='no'/>"
                      "<service name='S'><vpi>1</vpi></service></country></r>");
    log.clear();
    parser.getCountries();
    for (const char *code : {"c", "C ", "", "C"})
        parser.getServicesForCountry(QString::fromLatin1(code));
    for (const char *name : {"s", " S", "", "S"})
        parser.requestServiceData(QString::fromLatin1(name));
    QCOMPARE(log.take().filter(QRegularExpression("^[a-z]+: "_s)),
             QStringList({"country: C"_s, "countries: 1=C"_s, "services: "_s, "services: "_s,
                          "services: "_s, "service: S"_s, "services: 1=S"_s, "data: 1.0  []"_s}));
}

void ServiceParserTest::prefixedElementsMatchByLocalName()
{
    MessageLog log;
    LoudParser parser("<k:services xmlns:k='urn:k' xmlns='urn:default'>"
                      "<k:country code='C'><service name='S'>"
                      "<k:vpi>8</k:vpi><vci>35</vci><k:protocol>pppoa</k:protocol>"
                      "<k:dns_server_1>192.0.2.1</k:dns_server_1>"
                      "</service><k:service name='T'/></k:country></k:services>");
    log.clear();
    parser.getCountries();
    parser.getServicesForCountry("C"_s);
    parser.requestServiceData("S"_s);
    QCOMPARE(log.take().filter(QRegularExpression("^[a-z]+: "_s)),
             QStringList({"country: C"_s, "countries: 1=C"_s, "service: S"_s, "service: T"_s,
                          "services: 1=S 2=T"_s, "data: 8.35 pppoa [192.0.2.1]"_s}));
}

void ServiceParserTest::anyEncodingIsRead_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray rest = "<r><country code='M\xe9xico'/></r>";
    const QString text = "<?xml version='1.0' encoding='UTF-16'?>"_s + QString::fromLatin1(rest);
    QTest::newRow("UTF-8 without a declaration") << QString::fromLatin1(rest).toUtf8();
    QTest::newRow("Latin-1") << "<?xml version='1.0' encoding='ISO-8859-1'?>" + rest;
    QTest::newRow("UTF-16") << "\xff\xfe"
            + QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
}

void ServiceParserTest::anyEncodingIsRead()
{
    QFETCH(QByteArray, content);
    const MessageLog log;
    LoudParser parser(content);
    QSignalSpy country(&parser, &ServiceParser::foundCountry);
    parser.getCountries();
    QCOMPARE(country.size(), 1);
    QCOMPARE(country[0][0].toString(), QString::fromLatin1("M\xe9xico"));
}

void ServiceParserTest::everythingElseIsIgnored()
{
    QCOMPARE(dataOf("<r version='2'>text<!-- comment --><other><vpi>9</vpi></other>"
                    "<country name='x' code='C' id='7'>text<city code='D'/>"
                    "<service code='x' name='S' id='8'>text<encapsulation>llc</encapsulation>"
                    "<vpi unit='x'>8</vpi><?instruction?><vci>35</vci></service></country></r>"),
             QStringList("data: 8.35  []"_s));
}

void ServiceParserTest::keysCountFromOneInDocumentOrder()
{
    MessageLog log;
    LoudParser parser("<r><country code='Z'><service name='z'/><service name='a'/></country>"
                      "<country code='A'/><country code='M'/></r>");
    log.clear();
    parser.getCountries();
    parser.getServicesForCountry("Z"_s);
    QCOMPARE(log.take(),
             QStringList({"Found \"country\" tags (n): 3"_s, "country: Z"_s, "country: A"_s,
                          "country: M"_s, "countries: 1=Z 2=A 3=M"_s, "service: z"_s,
                          "service: a"_s, "services: 1=z 2=a"_s}));
}

void ServiceParserTest::missingAttributesAreEmpty()
{
    MessageLog log;
    LoudParser parser("<r><country/><country code='C'><service/><service name=''/></country></r>");
    log.clear();
    parser.getCountries();
    parser.getServicesForCountry("C"_s);
    QCOMPARE(
        log.take(),
        QStringList({"Found \"country\" tags (n): 2"_s, "country: "_s, "country: C"_s,
                     "countries: 1= 2=C"_s, "service: "_s, "service: "_s, "services: 1= 2="_s}));
}

void ServiceParserTest::nestedServicesAreFound()
{
    MessageLog log;
    LoudParser parser("<r><country code='C'><provider><group><service name='deep'>"
                      "<vpi>3</vpi></service></group></provider>"
                      "<service name='outer'><service name='inner'/></service></country></r>");
    log.clear();
    parser.getServicesForCountry("C"_s);
    QCOMPARE(log.take().last(), "services: 1=deep 2=outer 3=inner"_s);
    parser.requestServiceData("deep"_s);
    QCOMPARE(log.take().last(), "data: 3.0  []"_s);
}

void ServiceParserTest::nestedCountriesShareTheirServices()
{
    MessageLog log;
    LoudParser parser("<r><country code='outer'><country code='inner'>"
                      "<service name='S'/></country></country></r>");
    log.clear();
    parser.getCountries();
    QCOMPARE(log.take().last(), "countries: 1=outer 2=inner"_s);
    parser.getServicesForCountry("outer"_s);
    QCOMPARE(log.take().last(), "services: 1=S"_s);
    parser.getServicesForCountry("inner"_s);
    QCOMPARE(log.take().last(), "services: 1=S"_s);
}

void ServiceParserTest::duplicateCountriesOverwriteTheKeys()
{
    MessageLog log;
    LoudParser parser(
        "<r><country code='C'><service name='1a'/><service name='1b'/><service name='1c'/>"
        "</country><country code='D'><service name='other'/></country>"
        "<country code='C'><service name='2a'/><service name='2b'/></country></r>");
    log.clear();
    parser.getCountries();
    QCOMPARE(log.take(),
             QStringList({"Found \"country\" tags (n): 3"_s, "country: C"_s, "country: D"_s,
                          "country: C"_s, "countries: 1=C 2=D 3=C"_s}));
    parser.getServicesForCountry("C"_s);
    QCOMPARE(log.take(),
             QStringList({"service: 1a"_s, "service: 1b"_s, "service: 1c"_s, "service: 2a"_s,
                          "service: 2b"_s, "services: 1=2a 2=2b 3=1c"_s}));
}

void ServiceParserTest::duplicateCountriesSendTwice()
{
    MessageLog log;
    LoudParser parser("<r><country code='C'><service name='S'><vpi>1</vpi></service></country>"
                      "<country code='D'><service name='S'><vpi>2</vpi></service></country>"
                      "<country code='C'><service name='S'><vpi>3</vpi></service></country></r>");
    parser.getServicesForCountry("C"_s);
    log.clear();
    parser.requestServiceData("S"_s);
    QCOMPARE(log.take(),
             QStringList({"DNS Server 1 is empty!"_s, "DNS Server 2 is empty!"_s,
                          "VPI: 1 VCI: 0 PROTOCOL: \"\" \nDNS Servers: ()"_s, "data: 1.0  []"_s,
                          "DNS Server 1 is empty!"_s, "DNS Server 2 is empty!"_s,
                          "VPI: 3 VCI: 0 PROTOCOL: \"\" \nDNS Servers: ()"_s, "data: 3.0  []"_s}));
}

void ServiceParserTest::duplicateServicesSendTheFirst()
{
    QCOMPARE(dataOf("<r><country code='C'><service name='T'><vpi>9</vpi></service>"
                    "<service name='S'><vpi>1</vpi></service>"
                    "<service name='S'><vpi>2</vpi></service></country></r>"),
             QStringList("data: 1.0  []"_s));
}

void ServiceParserTest::unknownCountryHasAnEmptyMap()
{
    MessageLog log;
    LoudParser parser(workedExample);
    log.clear();
    parser.getServicesForCountry("Sylvania"_s);
    QCOMPARE(log.take(), QStringList("services: "_s));
}

void ServiceParserTest::nothingIsSelectedAtFirst()
{
    MessageLog log;
    LoudParser parser(workedExample);
    parser.getCountries();
    log.clear();
    parser.requestServiceData("Example Net PPPoE"_s);
    QCOMPARE(log.take(), QStringList());
}

void ServiceParserTest::countryWithoutCodeIsSelectedAtFirst()
{
    MessageLog log;
    LoudParser parser("<r><country><service name='S'><vpi>1</vpi></service></country>"
                      "<country code='C'><service name='S'><vpi>2</vpi></service></country>"
                      "<country code=''><service name='S'><vpi>3</vpi></service></country></r>");
    parser.requestServiceData("S"_s);
    QCOMPARE(log.take().filter("data: "_s), QStringList({"data: 1.0  []"_s, "data: 3.0  []"_s}));
}

void ServiceParserTest::selectionPersists()
{
    MessageLog log;
    LoudParser parser(workedExample);
    parser.getServicesForCountry("Freedonia"_s);
    parser.getCountries();
    parser.requestServiceData("Example Net PPPoE"_s);
    parser.requestServiceData("Example Net PPPoE"_s);
    QCOMPARE(log.take().filter("data: "_s).size(), 2);
}

void ServiceParserTest::unknownCountryIsSelectedToo()
{
    MessageLog log;
    LoudParser parser(workedExample);
    parser.getServicesForCountry("Freedonia"_s);
    parser.getServicesForCountry("Sylvania"_s);
    log.clear();
    parser.requestServiceData("Example Net PPPoE"_s);
    QCOMPARE(log.take(), QStringList());
}

void ServiceParserTest::unknownServiceSendsAndLogsNothing()
{
    MessageLog log;
    LoudParser parser(workedExample);
    parser.getServicesForCountry("Freedonia"_s);
    log.clear();
    for (const char *name : {"Example", "example net pppoe", "Example Net PPPoE ", ""})
        parser.requestServiceData(QString::fromLatin1(name));
    QCOMPARE(log.take(), QStringList());
}

void ServiceParserTest::lastMatchIsKept()
{
    const MessageLog log;
    LoudParser parser(workedExample);
    QCOMPARE(parser.m_vpi, 0);
    QCOMPARE(parser.m_vci, 0);
    parser.getServicesForCountry("Freedonia"_s);
    parser.requestServiceData("Example Broadband PPPoA"_s);
    parser.requestServiceData("unknown"_s);
    parser.getServicesForCountry("unknown"_s);
    QCOMPARE(parser.m_vpi, 8);
    QCOMPARE(parser.m_vci, 35);
    QCOMPARE(parser.m_protocol, "pppoa"_s);
    QCOMPARE(parser.m_dnsServers, QStringList({"192.0.2.1"_s, "192.0.2.2"_s}));
}

void ServiceParserTest::numbersAreSixteenBitsDecimal_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("value");
    const struct
    {
        const char *text;
        int value;
    } rows[] = {
        {"0", 0},
        {"8", 8},
        {"255", 255},
        {"256", 256},
        {"32767", 32767},
        {"32768", 32768},
        {"65535", 65535},
        {"65536", 0},
        {"70000", 0},
        {"4294967304", 0},
        {"99999999999999999999", 0},
        {"-1", 0},
        {"-65535", 0},
        {"010", 10},
        {"0010", 10},
        {"0x10", 0},
        {"0b1", 0},
        {"10h", 0},
        {"ff", 0},
        {"8.0", 0},
        {"8,0", 0},
        {"1,024", 0},
        {"1e2", 0},
        {"8 35", 0},
        {"eight", 0},
        {"", 0},
        {" ", 0},
        {"8<!-- -->8", 88},
        {"<b>8</b>", 8},
        {"<![CDATA[8]]>", 8},
        {"&#56;", 8},
    };
    for (const auto &row : rows)
        QTest::addRow("\"%s\"", row.text) << QByteArray(row.text) << row.value;
}

void ServiceParserTest::numbersAreSixteenBitsDecimal()
{
    QFETCH(QByteArray, text);
    QFETCH(int, value);
    QCOMPARE(dataOf(oneService("<vpi>" + text + "</vpi><vci>1</vci>")),
             QStringList("data: %1.1  []"_s.arg(value)));
    QCOMPARE(dataOf(oneService("<vpi>1</vpi><vci>" + text + "</vci>")),
             QStringList("data: 1.%1  []"_s.arg(value)));
}

void ServiceParserTest::missingNumbersAreZero()
{
    QCOMPARE(dataOf(oneService("<protocol>pppoe</protocol>")), QStringList("data: 0.0 pppoe []"_s));
    QCOMPARE(dataOf(oneService("<vpi/><vci/>")), QStringList("data: 0.0  []"_s));
}

void ServiceParserTest::protocolIsPassedOnUnchanged_data()
{
    QTest::addColumn<QByteArray>("element");
    QTest::addColumn<QString>("protocol");
    QTest::newRow("pppoe") << QByteArray("<protocol>pppoe</protocol>") << "pppoe"_s;
    QTest::newRow("capitals") << QByteArray("<protocol>PPPoA</protocol>") << "PPPoA"_s;
    QTest::newRow("blanks") << QByteArray("<protocol> pppoe\n</protocol>") << " pppoe\n"_s;
    QTest::newRow("anything") << QByteArray("<protocol>a &lt;\"%1\"&gt;</protocol>")
                              << "a <\"%1\">"_s;
    QTest::newRow("empty") << QByteArray("<protocol/>") << QString();
    QTest::newRow("missing") << QByteArray() << QString();
}

void ServiceParserTest::protocolIsPassedOnUnchanged()
{
    QFETCH(QByteArray, element);
    QFETCH(QString, protocol);
    const MessageLog log;
    LoudParser parser(oneService(element));
    QSignalSpy data(&parser, &ServiceParser::sendServiceData);
    parser.getServicesForCountry("C"_s);
    parser.requestServiceData("S"_s);
    QCOMPARE(data.size(), 1);
    QCOMPARE(data[0][2].toString(), protocol);
}

void ServiceParserTest::serversAreTaken_data()
{
    QTest::addColumn<QByteArray>("elements");
    QTest::addColumn<QStringList>("messages");
    const QString start = "VPI: 0 VCI: 0 PROTOCOL: \"\" \nDNS Servers: "_s;
    const QString empty1 = "DNS Server 1 is empty!"_s;
    const QString empty2 = "DNS Server 2 is empty!"_s;
    const QByteArray first = "<dns_server_1>192.0.2.1</dns_server_1>";
    const QByteArray second = "<dns_server_2>192.0.2.2</dns_server_2>";
    const QStringList none = {empty1, empty2, start + "()"_s, "data: 0.0  []"_s};
    QTest::newRow("both") << first + second
                          << QStringList {start + "(\"192.0.2.1\", \"192.0.2.2\")"_s,
                                          "data: 0.0  [192.0.2.1,192.0.2.2]"_s};
    QTest::newRow("both, the other way round")
        << second + first
        << QStringList {start + "(\"192.0.2.1\", \"192.0.2.2\")"_s,
                        "data: 0.0  [192.0.2.1,192.0.2.2]"_s};
    QTest::newRow("first only") << first
                                << QStringList {empty2, start + "(\"192.0.2.1\")"_s,
                                                "data: 0.0  [192.0.2.1]"_s};
    QTest::newRow("second only") << second
                                 << QStringList {empty1, start + "(\"192.0.2.2\")"_s,
                                                 "data: 0.0  [192.0.2.2]"_s};
    QTest::newRow("first empty") << "<dns_server_1></dns_server_1>" + second
                                 << QStringList {empty1, start + "(\"192.0.2.2\")"_s,
                                                 "data: 0.0  [192.0.2.2]"_s};
    QTest::newRow("none") << QByteArray() << none;
    QTest::newRow("both empty") << QByteArray("<dns_server_1/><dns_server_2></dns_server_2>")
                                << none;
    QTest::newRow("a third is ignored")
        << QByteArray("<dns_server_3>192.0.2.3</dns_server_3>") << none;
    QTest::newRow("not checked") << QByteArray("<dns_server_1>no address</dns_server_1>")
                                 << QStringList {empty2, start + "(\"no address\")"_s,
                                                 "data: 0.0  [no address]"_s};
}

void ServiceParserTest::serversAreTaken()
{
    QFETCH(QByteArray, elements);
    QFETCH(QStringList, messages);
    MessageLog log;
    LoudParser parser(oneService(elements));
    parser.getServicesForCountry("C"_s);
    log.clear();
    parser.requestServiceData("S"_s);
    QCOMPARE(log.take(), messages);
}

void ServiceParserTest::serversAreForgotten()
{
    MessageLog log;
    LoudParser parser(workedExample);
    parser.getServicesForCountry("Freedonia"_s);
    for (int i = 0; i < 2; ++i) {
        parser.requestServiceData("Example Broadband PPPoA"_s);
        QCOMPARE(log.take().last(), "data: 8.35 pppoa [192.0.2.1,192.0.2.2]"_s);
        parser.requestServiceData("Example Net PPPoE"_s);
        QCOMPARE(log.take().last(), "data: 0.38 pppoe []"_s);
    }
}

void ServiceParserTest::firstChildOfEachNameCounts()
{
    QCOMPARE(dataOf(oneService("<vpi>1</vpi><vpi>2</vpi><vci>3</vci><vci>4</vci>"
                               "<protocol>5</protocol><protocol>6</protocol>"
                               "<dns_server_1>7</dns_server_1><dns_server_1>8</dns_server_1>"
                               "<dns_server_2/><dns_server_2>9</dns_server_2>")),
             QStringList("data: 1.3 5 [7]"_s));
}

void ServiceParserTest::onlyDirectChildrenCount()
{
    const QByteArray line = "<line><vpi>1</vpi><vci>2</vci><protocol>pppoe</protocol>"
                            "<dns_server_1>3</dns_server_1><dns_server_2>4</dns_server_2></line>";
    QCOMPARE(dataOf(oneService(line)), QStringList("data: 0.0  []"_s));
    QCOMPARE(dataOf(oneService(line
                               + "<vpi>8</vpi><vci>35</vci><protocol>pppoa</protocol>"
                                 "<dns_server_1>5</dns_server_1><dns_server_2>6</dns_server_2>")),
             QStringList("data: 8.35 pppoa [5,6]"_s));
}

void ServiceParserTest::shippedDatabaseIsUnderstood()
{
    const QString generator = QFINDTESTDATA("../../scripts/make-provider-database");
    const QString table = QFINDTESTDATA("../../data/isp-lines.tsv");
    QCOMPARE(QProcess::execute(generator, {table, fileName}), 0);

    QStringList expected; // country, line and servers; the generator makes the services' names
    const QList<QByteArray> lines = readFile(table).split('\n').mid(1);
    for (const QByteArray &line : lines) {
        const QStringList row = QString::fromUtf8(line).split(QLatin1Char('\t'));
        if (row.size() < 10)
            continue;
        const QStringList servers = row.mid(8, 2);
        expected += QStringList({row[1], row[4], row[5], row[6]}).join(QLatin1Char('|'))
            + QLatin1Char('|')
            + QStringList(servers.filter(QRegularExpression("."_s))).join(QLatin1Char('|'));
    }
    QVERIFY(expected.size() > 100);

    QStringList found;
    const MessageLog log;
    ServiceParser parser(fileName);
    QSignalSpy country(&parser, &ServiceParser::foundCountry);
    parser.getCountries();
    for (const QVariantList &code : qAsConst(country)) {
        QSignalSpy service(&parser, &ServiceParser::foundService);
        parser.getServicesForCountry(code[0].toString());
        for (const QVariantList &name : qAsConst(service)) {
            QSignalSpy data(&parser, &ServiceParser::sendServiceData);
            parser.requestServiceData(name[0].toString());
            QCOMPARE(data.size(), 1);
            found += QStringList({code[0].toString(), data[0][0].toString(), data[0][1].toString(),
                                  data[0][2].toString(),
                                  data[0][3].toStringList().join(QLatin1Char('|'))})
                         .join(QLatin1Char('|'));
        }
    }
    expected.sort();
    found.sort();
    QCOMPARE(found, expected);
}

KESTRA_TEST_MAIN(ServiceParserTest)

#include "serviceparsertest.moc"
