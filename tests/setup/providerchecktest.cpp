// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "engine/providercheck.h"
#include "files.h"
#include "literals.h"

#include <QBuffer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using namespace KestraTest;

namespace {

const QString head = "<services>\n<country code=\"C\">\n"_s;
const QString service = "<service name=\"S\"><vpi>8</vpi><vci>35</vci><protocol>pppoa</protocol>"
                        "<encapsulation>vc</encapsulation><dns_server_1>192.0.2.1</dns_server_1>"
                        "<dns_server_2/></service>\n"_s;
const QString tail = "</country>\n</services>\n"_s;

QStringList faults(const QString &document)
{
    QByteArray bytes = document.toUtf8();
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QStringList result;
    for (const Setup::ProviderFault &fault : Setup::checkProviders(buffer))
        result.append("%1:%2: %3"_s.arg(fault.line).arg(fault.column).arg(fault.message));
    return result;
}

/** A document with one service in which something is replaced. */
QString with(const QString &before, const QString &after)
{
    QString changed = service;
    changed.replace(before, after);
    return head + changed + tail;
}

}

class ProviderCheckTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void acceptsWhatIsRight_data();
    void acceptsWhatIsRight();
    void namesThePlace_data();
    void namesThePlace();
    void endsAtHundredFaults();
    void reportsAllFaultsOfAService();

private:
    /** What an independent checker says of the schema that is shipped. */
    bool fitsSchema(const QString &document);
};

bool ProviderCheckTest::fitsSchema(const QString &document)
{
    QTemporaryDir directory;
    const QString path = directory.filePath("services.xml"_s);
    writeFile(path, document.toUtf8());
    QProcess xmllint;
    xmllint.start("xmllint"_s, {"--noout"_s, "--relaxng"_s, QStringLiteral(KESTRA_SCHEMA), path});
    xmllint.waitForFinished();
    return xmllint.exitStatus() == QProcess::NormalExit && xmllint.exitCode() == 0;
}

void ProviderCheckTest::acceptsWhatIsRight_data()
{
    QTest::addColumn<QString>("document");

    QTest::newRow("whole") << head + service + tail;
    QTest::newRow("no encapsulation") << with("<encapsulation>vc</encapsulation>"_s, QString());
    QTest::newRow("lowest numbers") << with("8</vpi><vci>35"_s, "0</vpi><vci>32"_s);
    QTest::newRow("highest numbers") << with("8</vpi><vci>35"_s, "255</vpi><vci>65535"_s);
    QTest::newRow("non-Latin name") << with("\"S\""_s, QStringLiteral("\"Провайдер №1\""));
    QTest::newRow("comments") << with("<vci>"_s, "<!-- here --><vci>"_s);
    QTest::newRow("same service in two countries")
        << head + service + "</country><country code=\"D\">"_s + service + tail;
}

void ProviderCheckTest::acceptsWhatIsRight()
{
    QFETCH(QString, document);
    QCOMPARE(faults(document), QStringList());
    QVERIFY(fitsSchema(document));
}

void ProviderCheckTest::namesThePlace_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("isInSchema");

    const auto row = [](const char *name, const QString &document, const QString &fault,
                        bool isInSchema = true) {
        QTest::newRow(name) << document << fault << isInSchema;
    };
    row("empty file", QString(), "1:1: Premature end of document."_s);
    row("other root", "<isps><country code=\"C\">"_s + service + "</country></isps>"_s,
        "1:3: the outermost element must be services"_s);
    row("no country", "<services/>"_s, "1:12: there is no country"_s);
    row("no service", "<services><country code=\"C\"/></services>"_s,
        "1:30: there is no service"_s);
    row("country without code", "<services><country>"_s + service + tail,
        "1:11: country needs a code that does not begin or end with a blank"_s);
    row("blank before a name", with("\"S\""_s, "\" S\""_s),
        "3:1: service needs a name that does not begin or end with a blank"_s);
    row("high vpi", with("8<"_s, "256<"_s),
        "3:24: vpi must be a number from 0 to 255, not \"256\""_s);
    row("negative vpi", with("8<"_s, "-1<"_s),
        "3:24: vpi must be a number from 0 to 255, not \"-1\""_s);
    row("empty vpi", with("8<"_s, "<"_s), "3:24: vpi must be a number from 0 to 255, not \"\""_s);
    row("vci of ATM's own", with("35"_s, "31"_s),
        "3:36: vci must be a number from 32 to 65535, not \"31\""_s);
    row("high vci", with("35"_s, "65536"_s),
        "3:36: vci must be a number from 32 to 65535, not \"65536\""_s);
    row("very high vci", with("35"_s, "99999999999"_s),
        "3:36: vci must be a number from 32 to 65535, not \"99999999999\""_s);
    row("protocol", with("pppoa"_s, "PPPoA"_s),
        "3:54: protocol must be pppoe or pppoa, not \"PPPoA\""_s);
    row("encapsulation", with(">vc<"_s, ">mux<"_s),
        "3:85: encapsulation must be llc or vc, not \"mux\""_s);
    row("address", with("192.0.2.1"_s, "192.0.2.256"_s),
        "3:117: dns_server_1 must be an IPv4 address or empty, not \"192.0.2.256\""_s);
    row("name for an address", with("192.0.2.1"_s, "dns.example"_s),
        "3:117: dns_server_1 must be an IPv4 address or empty, not \"dns.example\""_s);
    row("missing element", with("<vci>35</vci>"_s, QString()), "3:31: vci is missing"_s);
    row("missing last element", with("<dns_server_2/>"_s, QString()),
        "3:141: dns_server_2 is missing"_s);
    row("unknown element", with("<vci>"_s, "<mtu>1492</mtu><vci>"_s),
        "3:31: mtu has no place here"_s);
    row("element between services", head + "<note>n</note>"_s + service + tail,
        "3:1: note has no place here"_s);
    row("text between elements", with("<vci>"_s, "x<vci>"_s), "3:31: there must be no text here"_s);
    row("same service twice", head + service + service + tail,
        "4:1: there is a service \"S\" already"_s, false);
    row("same country twice", head + service + "</country><country code=\"C\">"_s + service + tail,
        "4:11: there is a country \"C\" already"_s, false);
    row("cut off", (head + service).chopped(30), "3:137: Premature end of document."_s);
    row("element in a value", with("8<"_s, "<b>8</b><"_s), "3:27: Expected character data."_s);
}

void ProviderCheckTest::namesThePlace()
{
    QFETCH(QString, document);
    QFETCH(QString, fault);
    QFETCH(bool, isInSchema);
    QCOMPARE(faults(document), QStringList {fault});
    QCOMPARE(fitsSchema(document), !isInSchema);
}

void ProviderCheckTest::endsAtHundredFaults()
{
    QString document = head;
    for (int i = 0; i < 150; ++i)
        document += "<service name=\"%1\"/>\n"_s.arg(i);
    QCOMPARE(faults(document + tail).size(), 100);
}

void ProviderCheckTest::reportsAllFaultsOfAService()
{
    const QStringList found = faults(head + "<service name=\"S\"><vpi>x</vpi></service>"_s + tail);
    QCOMPARE(found.size(), 5);
    QCOMPARE(found.first(), "3:24: vpi must be a number from 0 to 255, not \"x\""_s);
    QCOMPARE(found.last(), "3:31: dns_server_2 is missing"_s);
}

QTEST_GUILESS_MAIN(ProviderCheckTest)

#include "providerchecktest.moc"
