// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "systemfiles.h"
#include "testmain.h"

#include <kestra/connection/dnsmanager.h>

#include <memory>
#include <type_traits>

using namespace KestraTest;

static_assert(std::has_virtual_destructor_v<DNS_Manager>);
static_assert(!std::is_base_of_v<QObject, DNS_Manager>);

namespace {

const QString resolvConf = "/etc/resolv.conf"_s;
const QString backup = "/etc/resolv.conf_kestra"_s;
const QByteArray original = "search example.com\nnameserver 192.0.2.53\n";

const QByteArray constructed = "DNS_Manager::DNS_Manager(): ctor called.\n";
const QByteArray refused =
    "DNS_Manager::setServers(): No (valid) DNS server's addresses were given, aborting!\n";
const QByteArray notRemoved =
    "Kestra::restoreOldDNS(): /etc/resolv.conf was not removed, cannot restore the old one!";
const QByteArray notRestored = "Kestra::restoreOldDNS(): /etc/resolv.conf could not be restored!";
const QByteArray restored = "Kestra::restoreOldDNS(): /etc/resolv.conf restored successfully.";

const QStringList
    backedUp("Kestra::setDNS(): resolv.conf backed up to \"/etc/resolv.conf_kestra\""_s);
const QStringList
    notBackedUp("Kestra::setDNS(): could NOT back up resolv.conf to \"/etc/resolv.conf_kestra\""_s);
const QStringList
    notOpened("Kestra::setDNS(): could not open \"/etc/resolv.conf\" in WriteOnly mode!"_s);

/** What is said of a list, given as the debug stream prints it, that is written. */
QStringList written(const char *list)
{
    const QString text = QString::fromLatin1(list);
    return {"valid addresses: "_s + text,
            "Kestra::setDNS(): The DNS servers "_s + text + " have been written."_s};
}

}

class DnsManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void hasFixedPaths();
    void constructorSaysSoWhileDebugging();
    void expressionsAreExactlyThese();
    void destructorLeavesTheFiles();

    void validAddressIsWritten_data();
    void validAddressIsWritten();
    void invalidAddressIsRemoved_data();
    void invalidAddressIsRemoved();
    void serversKeepTheirOrder();
    void allCopiesOfInvalidAddressesAreRemoved();
    void noValidAddressIsRefused_data();
    void noValidAddressIsRefused();
    void serversAreLoggedAsTheyCome();
    void oldContentIsLost();

    void backupIsMadeOnce();
    void backupThatIsThereIsKept();
    void backupIsTheOldFileByteForByte();
    void missingFileCannotBeBackedUp();
    void unwritableBackupDoesNotStopTheWriting();
    void linkIsWrittenThrough();
    void freshFileIsReadableByAll();
    void modeIsKept();
    void unopenableFileIsRefused();
    void directoryIsRefused();
    void failingWriteLeavesListChanged();

    void restoreNeedsABackup();
    void restorePutsTheBackupBack();
    void restoreKeepsTheBackup();
    void restoreRemovesALink();
    void restoreNeedsNoFile();
    void restoreSaysWhatItCouldNotRemove();
    void restoreSaysWhatItCouldNotCopy();
    void restoreKeepsTheMode();

    void fileIsJudged_data();
    void fileIsJudged();
    void longLinesAreJudgedInPieces_data();
    void longLinesAreJudgedInPieces();
    void zeroByteDoesNotEndTheFile();
    void missingFileIsNotCorrect();
    void unreadableFileIsNotCorrect();
    void ownFileIsCorrect();
    void openFileIsClosedFirst();
    void refusedFileIsClosed();
    void judgingSaysNothing();

    void channelsAreTheRightOnes_data();
    void channelsAreTheRightOnes();

private:
    bool isCorrect(const QByteArray &content)
    {
        writeFile(resolvConf, content);
        return m_manager->isFileCorrect();
    }

    std::unique_ptr<DebugFile> m_debugFile;
    std::unique_ptr<MessageLog> m_log;
    std::unique_ptr<DNS_Manager> m_manager;
};

void DnsManagerTest::init()
{
    remove(resolvConf);
    remove(backup);
    writeFile(resolvConf, original);
    m_debugFile = std::make_unique<DebugFile>();
    m_log = std::make_unique<MessageLog>();
    m_manager = std::make_unique<DNS_Manager>();
}

void DnsManagerTest::cleanup()
{
    m_manager.reset();
    m_log.reset();
    m_debugFile.reset();
    for (const QString &name : listDirectory("/etc"_s).filter(QRegularExpression("^qt_temp"_s)))
        QFAIL(qPrintable("left behind: "_s + name));
}

void DnsManagerTest::hasFixedPaths()
{
    QCOMPARE(m_manager->m_resolvFile.fileName(), resolvConf);
    QCOMPARE(m_manager->m_backupFile.fileName(), backup);
    QVERIFY(!m_manager->m_resolvFile.isOpen());
    QVERIFY(!m_manager->m_backupFile.isOpen());
}

void DnsManagerTest::constructorSaysSoWhileDebugging()
{
    QCOMPARE(m_debugFile->text(), constructed);
    QCOMPARE(m_log->texts(), QStringList());
    m_debugFile.reset();
    const DebugFile silent(false);
    const DNS_Manager manager;
    QCOMPARE(silent.text(), QByteArray());
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::expressionsAreExactlyThese()
{
    const QString octet =
        "(([0-9]{1,2})|(1{1}[0-9]{2})|(2{1}[5]{1}[0-5]{1})|(2{1}[0-4]{1}[0-9]{1}))"_s;
    const QString quad = octet + "\\."_s + octet + "\\."_s + octet + "\\."_s + octet;
    const QRegExp &address = m_manager->m_addressRegExp;
    const QRegExp &line = m_manager->m_nameserverRegExp;
    QCOMPARE(address.pattern(), "^"_s + quad + "$"_s);
    QCOMPARE(line.pattern(), "^nameserver "_s + quad + "\\s*$"_s);
    for (const QRegExp *expression : {&address, &line}) {
        QCOMPARE(expression->caseSensitivity(), Qt::CaseSensitive);
        QCOMPARE(expression->patternSyntax(), QRegExp::RegExp);
        QVERIFY(!expression->isMinimal());
    }
}

void DnsManagerTest::destructorLeavesTheFiles()
{
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    const QByteArray said = m_debugFile->text();
    m_log->clear();
    m_manager.reset();
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
    QCOMPARE(readFile(backup), original);
    QCOMPARE(m_debugFile->text(), said);
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::validAddressIsWritten_data()
{
    QTest::addColumn<QString>("address");
    for (const char *address :
         {"0.0.0.0", "09.0.0.1", "1.2.3.4", "01.2.3.4", "00.00.00.00", "9.10.99.100",
          "199.200.249.250", "255.255.255.255", "127.0.0.1", "192.0.2.53"})
        QTest::newRow(address) << QString::fromLatin1(address);
}

void DnsManagerTest::validAddressIsWritten()
{
    QFETCH(QString, address);
    QStringList servers(address);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(servers, QStringList(address));
    QCOMPARE(readFile(resolvConf), "nameserver " + address.toLatin1() + '\n');
    QVERIFY(m_manager->isFileCorrect());
}

void DnsManagerTest::invalidAddressIsRemoved_data()
{
    QTest::addColumn<QString>("address");
    for (const char *address : {"",
                                " ",
                                "256.1.1.1",
                                "1.256.1.1",
                                "1.1.256.1",
                                "1.1.1.256",
                                "260.1.1.1",
                                "300.1.1.1",
                                "999.1.1.1",
                                "1.2.3",
                                "1.2.3.",
                                ".1.2.3",
                                "1..2.3",
                                "1.2.3.4.5",
                                "1.2.3.4.",
                                "01.2.3.4 ",
                                " 1.2.3.4",
                                "1.2.3.4\n",
                                "\n1.2.3.4",
                                "1.2.3.4\t",
                                "1. 2.3.4",
                                "001.2.3.4",
                                "1.2.3.004",
                                "1000.2.3.4",
                                "1,2,3,4",
                                "1.2.3.a",
                                "0x1.2.3.4",
                                "-1.2.3.4",
                                "+1.2.3.4",
                                "1.2.3.4/24",
                                "1.2.3.4:53",
                                "::1",
                                "::ffff:1.2.3.4",
                                "localhost",
                                "16909060",
                                "1.2.3.4 5.6.7.8",
                                "1.2.3.4\nsearch x",
                                "nameserver 1.2.3.4",
                                "1a2a3a4"})
        QTest::newRow(QByteArray(address).replace('\n', "\\n").constData())
            << QString::fromLatin1(address);
    QTest::newRow("full-width digits") << QString::fromUtf8("\uff11.\uff12.\uff13.\uff14");
    QTest::newRow("null") << QString();
    QTest::newRow("zero character") << "1.2.3.4"_s + QChar();
}

void DnsManagerTest::invalidAddressIsRemoved()
{
    QFETCH(QString, address);
    QStringList servers = {address, "192.0.2.1"_s};
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(servers, QStringList("192.0.2.1"_s));
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));

    servers = QStringList(address);
    QVERIFY(!m_manager->setServers(servers));
    QCOMPARE(servers, QStringList());
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
}

void DnsManagerTest::serversKeepTheirOrder()
{
    QStringList servers = {"192.0.2.9"_s, "192.0.2.1"_s, "192.0.2.9"_s, "192.0.2.5"_s};
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(servers.size(), 4);
    QCOMPARE(readFile(resolvConf),
             QByteArray("nameserver 192.0.2.9\nnameserver 192.0.2.1\nnameserver 192.0.2.9\n"
                        "nameserver 192.0.2.5\n"));
}

void DnsManagerTest::allCopiesOfInvalidAddressesAreRemoved()
{
    QStringList servers = {"x"_s, "192.0.2.2"_s, "x"_s, "x"_s, "256.0.0.1"_s, "192.0.2.1"_s, "x"_s};
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(servers, QStringList({"192.0.2.2"_s, "192.0.2.1"_s}));
    QCOMPARE(m_debugFile->text(),
             constructed
                 + "DNS_Manager::setServers(): x, 192.0.2.2, x, x, 256.0.0.1, 192.0.2.1, x\n");
    QCOMPARE(m_log->debugs(), backedUp + written("(\"192.0.2.2\", \"192.0.2.1\")"));
    QCOMPARE(m_log->texts(), m_log->debugs());
}

void DnsManagerTest::noValidAddressIsRefused_data()
{
    QTest::addColumn<QStringList>("servers");
    QTest::addColumn<QByteArray>("listed");
    QTest::newRow("no address") << QStringList() << QByteArray();
    QTest::newRow("an empty one") << QStringList(QString()) << QByteArray();
    QTest::newRow("invalid ones") << QStringList({"256.1.1.1"_s, "1.2.3"_s})
                                  << QByteArray("256.1.1.1, 1.2.3");
}

void DnsManagerTest::noValidAddressIsRefused()
{
    QFETCH(QStringList, servers);
    QFETCH(QByteArray, listed);
    QVERIFY(!m_manager->setServers(servers));
    QCOMPARE(servers, QStringList());
    QCOMPARE(readFile(resolvConf), original);
    QVERIFY(!exists(backup));
    QCOMPARE(m_debugFile->text(),
             constructed + "DNS_Manager::setServers(): " + listed + '\n' + refused);
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::serversAreLoggedAsTheyCome()
{
    QStringList servers = {"192.0.2.1"_s, "bad"_s};
    QVERIFY(m_manager->setServers(servers));
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(m_debugFile->text(),
             constructed
                 + "DNS_Manager::setServers(): 192.0.2.1, bad\n"
                   "DNS_Manager::setServers(): 192.0.2.1\n");
}

void DnsManagerTest::oldContentIsLost()
{
    writeFile(resolvConf, QByteArray("options rotate\n").repeated(1000));
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
}

void DnsManagerTest::backupIsMadeOnce()
{
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(m_log->take(), backedUp + written("(\"192.0.2.1\")"));
    QCOMPARE(readFile(backup), original);

    servers = QStringList("192.0.2.2"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(m_log->take(), written("(\"192.0.2.2\")"));
    QCOMPARE(readFile(backup), original);
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.2\n"));
}

void DnsManagerTest::backupThatIsThereIsKept()
{
    writeFile(backup, "older\n");
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(readFile(backup), QByteArray("older\n"));
    QCOMPARE(m_log->texts(), written("(\"192.0.2.1\")"));
}

void DnsManagerTest::backupIsTheOldFileByteForByte()
{
    QByteArray content;
    for (int byte = 0; byte < 256; ++byte)
        content += static_cast<char>(byte);
    content = content.repeated(1000);
    writeFile(resolvConf, content);
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(readFile(backup), content);
}

void DnsManagerTest::missingFileCannotBeBackedUp()
{
    remove(resolvConf);
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QVERIFY(!exists(backup));
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
    QCOMPARE(m_log->debugs(), notBackedUp + written("(\"192.0.2.1\")"));
    QCOMPARE(m_log->texts(), m_log->debugs());

    // What the first call could not keep is not what the second one keeps: that is its own.
    m_log->clear();
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(readFile(backup), QByteArray("nameserver 192.0.2.1\n"));
    QCOMPARE(m_log->texts(), backedUp + written("(\"192.0.2.1\")"));
}

void DnsManagerTest::unwritableBackupDoesNotStopTheWriting()
{
    writeFile("/tmp/resolv.conf"_s, original);
    bool done;
    QByteArray content;
    {
        const ReadOnlyMount directory("/etc"_s);
        QCOMPARE(mount("/tmp/resolv.conf", "/etc/resolv.conf", "", MS_BIND, nullptr), 0);
        QStringList servers("192.0.2.1"_s);
        done = m_manager->setServers(servers);
        content = readFile(resolvConf);
    }
    QVERIFY(done);
    QCOMPARE(content, QByteArray("nameserver 192.0.2.1\n"));
    QVERIFY(!exists(backup));
    QCOMPARE(m_log->texts(), notBackedUp + written("(\"192.0.2.1\")"));
}

void DnsManagerTest::linkIsWrittenThrough()
{
    const QString target = "/run/resolv.conf"_s;
    writeFile(target, "managed\n");
    remove(resolvConf);
    QVERIFY(QFile::link(target, resolvConf));
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(linkTarget(resolvConf), target);
    QCOMPARE(readFile(target), QByteArray("nameserver 192.0.2.1\n"));
    QVERIFY(linkTarget(backup).isEmpty());
    QCOMPARE(readFile(backup), QByteArray("managed\n"));
}

void DnsManagerTest::freshFileIsReadableByAll()
{
    remove(resolvConf);
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(fileMode(resolvConf), 0644);
}

void DnsManagerTest::modeIsKept()
{
    writeFile(resolvConf, original, 0664);
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(fileMode(resolvConf), 0664);
    QCOMPARE(fileMode(backup), 0664);
}

void DnsManagerTest::unopenableFileIsRefused()
{
    QStringList servers = {"192.0.2.1"_s, "bad"_s};
    {
        const ReadOnlyMount mount(resolvConf);
        QVERIFY(!m_manager->setServers(servers));
    }
    QCOMPARE(servers, QStringList("192.0.2.1"_s)); // changed even so
    QCOMPARE(readFile(resolvConf), original);
    QCOMPARE(readFile(backup), original);
    QCOMPARE(m_log->debugs(), backedUp + notOpened);
    QCOMPARE(m_log->take(), backedUp + notOpened);
    QCOMPARE(m_debugFile->text(), constructed + "DNS_Manager::setServers(): 192.0.2.1, bad\n");

    QVERIFY(m_manager->setServers(servers)); // the object is as good as new
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
}

void DnsManagerTest::directoryIsRefused()
{
    remove(resolvConf);
    makeDirectory(resolvConf);
    QStringList servers("192.0.2.1"_s);
    QVERIFY(!m_manager->setServers(servers));
    QVERIFY(!exists(backup));
    QCOMPARE(m_log->texts(), notBackedUp + notOpened);
}

void DnsManagerTest::failingWriteLeavesListChanged()
{
    remove(resolvConf);
    makeDirectory(resolvConf);
    QStringList servers = {"bad"_s, "192.0.2.1"_s, "192.0.2.2"_s, "bad"_s};
    QVERIFY(!m_manager->setServers(servers));
    QCOMPARE(servers, QStringList({"192.0.2.1"_s, "192.0.2.2"_s}));
}

void DnsManagerTest::restoreNeedsABackup()
{
    QVERIFY(!m_manager->restore());
    QCOMPARE(readFile(resolvConf), original);
    QCOMPARE(m_debugFile->text(), constructed);
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::restorePutsTheBackupBack()
{
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    const QByteArray before = m_debugFile->text();
    m_log->clear();
    QVERIFY(m_manager->restore());
    QCOMPARE(readFile(resolvConf), original);
    QCOMPARE(m_debugFile->text(), before + restored); // no line end
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::restoreKeepsTheBackup()
{
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QVERIFY(m_manager->restore());
    QCOMPARE(readFile(backup), original);

    writeFile(resolvConf, "changed\n");
    m_log->clear();
    QVERIFY(m_manager->setServers(servers));
    QCOMPARE(m_log->texts(), written("(\"192.0.2.1\")"));
    QCOMPARE(readFile(backup), original);
    QVERIFY(m_manager->restore());
    QVERIFY(m_manager->restore());
    QCOMPARE(readFile(resolvConf), original);
}

void DnsManagerTest::restoreRemovesALink()
{
    const QString target = "/run/resolv.conf"_s;
    writeFile(target, "managed\n");
    remove(resolvConf);
    QVERIFY(QFile::link(target, resolvConf));
    writeFile(backup, original);
    QVERIFY(m_manager->restore());
    QVERIFY(linkTarget(resolvConf).isEmpty());
    QCOMPARE(readFile(resolvConf), original);
    QCOMPARE(readFile(target), QByteArray("managed\n"));
}

void DnsManagerTest::restoreNeedsNoFile()
{
    remove(resolvConf);
    writeFile(backup, "older\n");
    QVERIFY(m_manager->restore());
    QCOMPARE(readFile(resolvConf), QByteArray("older\n"));
    QCOMPARE(m_debugFile->text(), constructed + restored);
}

void DnsManagerTest::restoreSaysWhatItCouldNotRemove()
{
    writeFile(backup, "older\n");
    {
        const ReadOnlyMount mount(resolvConf);
        QVERIFY(!m_manager->restore());
    }
    QCOMPARE(readFile(resolvConf), original);
    QCOMPARE(m_debugFile->text(), constructed + notRemoved + notRestored);
    QCOMPARE(m_log->texts(), QStringList());
    QVERIFY(m_manager->restore());
}

void DnsManagerTest::restoreSaysWhatItCouldNotCopy()
{
    makeDirectory(backup);
    QVERIFY(!m_manager->restore());
    QVERIFY(!exists(resolvConf)); // it was removed before
    QCOMPARE(m_debugFile->text(), constructed + notRestored);
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::restoreKeepsTheMode()
{
    writeFile(backup, "older\n", 0640);
    QVERIFY(m_manager->restore());
    QCOMPARE(fileMode(resolvConf), 0640);
}

void DnsManagerTest::fileIsJudged_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("correct");
    const auto add = [](const char *name, const QByteArray &content, bool correct) {
        QTest::newRow(name) << content << correct;
    };
    const QByteArray server = "nameserver 192.0.2.1\n";
    add("empty", "", true);
    add("server", server, true);
    add("servers", server + "nameserver 255.255.255.255\nnameserver 09.0.0.1\n", true);
    add("no newline at the end", "nameserver 192.0.2.1", true);
    add("carriage returns", "nameserver 192.0.2.1\r\n\r\n# comment\r\n", true);
    add("white space behind", "nameserver 192.0.2.1 \t \n", true);
    add("blank lines", "\n \n\t \t\n\v\f\r\n" + server + '\n', true);
    add("comment", "# comment\n" + server + "#\n##\n#nameserver\n", true);
    add("comment without a newline", "# comment", true);
    add("8-bit comment", "# m\xfcller \xff\n", true);
    add("comment with a search line", "#search example.com\n", true);
    add("two blanks", "nameserver  192.0.2.1\n", false);
    add("tab", "nameserver\t192.0.2.1\n", false);
    add("blank before", " nameserver 192.0.2.1\n", false);
    add("other case", "Nameserver 192.0.2.1\n", false);
    add("two addresses", "nameserver 192.0.2.1 192.0.2.2\n", false);
    add("comment behind", "nameserver 192.0.2.1 # comment\n", false);
    add("no address", "nameserver\n", false);
    add("blank for an address", "nameserver \n", false);
    add("invalid address", "nameserver 192.0.2.256\n", false);
    add("three octets", "nameserver 192.0.2\n", false);
    add("IPv6", "nameserver ::1\n", false);
    add("glued", "nameserver192.0.2.1\n", false);
    add("search", server + "search example.com\n", false);
    add("search first", "search example.com\n" + server, false);
    add("domain", "domain example.com\n" + server, false);
    add("options", server + "options rotate\n", false);
    add("last line", server + "x", false);
    add("semicolon comment", "; comment\n", false);
    add("indented comment", " # comment\n", false);
    add("comment after a tab", "\t# comment\n", false);
    add("marker", "# Modified_by:  NetworkManager\n" + server, false);
    add("marker alone", "# Modified_by:  NetworkManager", false);
    add("marker with more", "# Modified_by:  NetworkManager 0.6\n", false);
    add("marker glued to more", "# Modified_by:  NetworkManagers\n", false);
    add("marker last", server + "# comment\n# Modified_by:  NetworkManager\n", false);
    add("marker with one blank", "# Modified_by: NetworkManager\n" + server, true);
    add("marker with three blanks", "# Modified_by:   NetworkManager\n" + server, true);
    add("marker without a blank", "#Modified_by:  NetworkManager\n", true);
    add("marker in other case", "# modified_by:  networkmanager\n", true);
    add("marker in a comment", "## Modified_by:  NetworkManager\n", true);
    add("marker cut short", "# Modified_by:  NetworkManage\n", true);
    add("other marker", "# Generated by NetworkManager\n", true);
    add("indented marker", " # Modified_by:  NetworkManager\n", false);
}

void DnsManagerTest::fileIsJudged()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, correct);
    QCOMPARE(isCorrect(content), correct);
    QCOMPARE(readFile(resolvConf), content);
    QVERIFY(!exists(backup));
}

void DnsManagerTest::longLinesAreJudgedInPieces_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("correct");
    const auto add = [](const char *name, const QByteArray &content, bool correct) {
        QTest::newRow(name) << content << correct;
    };
    // The sizes include the newline.
    const auto comment = [](int size) { return '#' + QByteArray(size - 2, 'x') + '\n'; };
    add("98 bytes", comment(98), true);
    add("99 bytes", comment(99), true);
    add("100 bytes leave a newline", comment(100), true);
    add("101 bytes leave a letter", comment(101), false);
    add("100 bytes, no newline at the end", comment(101).chopped(1), false);
    add("99 bytes, no newline at the end", comment(100).chopped(1), true);
    const QByteArray piece = comment(100).chopped(1); // as much as is read at once
    add("server is the second piece", piece + "nameserver 192.0.2.1\n", true);
    add("comment is the second piece", piece + "# more\n", true);
    add("blanks are the second piece", piece + "   \t\n", true);
    add("search is the second piece", piece + "search x\n", false);
    add("marker is the second piece", piece + "# Modified_by:  NetworkManager\n", false);
    add("marker is the third piece", piece + piece + "# Modified_by:  NetworkManager\n", false);
    add("marker one byte before the border", piece.chopped(1) + "# Modified_by:  NetworkManager\n",
        false); // " Modified..."
    add("number signs only", QByteArray(1000, '#') + '\n', true);
    add("blanks only", QByteArray(1000, ' ') + '\n', true);
    const QByteArray server = "nameserver 192.0.2.1";
    add("server and 78 blanks", server + QByteArray(78, ' ') + '\n', true);
    add("server and 79 blanks", server + QByteArray(79, ' ') + '\n', true);
    add("server and 1000 blanks", server + QByteArray(1000, ' ') + '\n', true);
    add("server cut in two", QByteArray(98, ' ') + server + '\n', false);
    add("server at the border", QByteArray(99, ' ') + server + '\n', true);
    add("server after the border", QByteArray(100, ' ') + server + '\n', false);
}

void DnsManagerTest::longLinesAreJudgedInPieces()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, correct);
    QCOMPARE(isCorrect(content), correct);
}

void DnsManagerTest::zeroByteDoesNotEndTheFile()
{
    const QByteArray zero(1, '\0');
    QVERIFY(isCorrect("# a" + zero + "b\nnameserver 192.0.2.1\n"));
    QVERIFY(!isCorrect("# a" + zero + "b\nsearch x\n"));
    QVERIFY(!isCorrect("# a" + zero + "b\n# Modified_by:  NetworkManager\n"));
    QVERIFY(!isCorrect("search" + zero + "\n"));
}

void DnsManagerTest::missingFileIsNotCorrect()
{
    remove(resolvConf);
    QVERIFY(!m_manager->isFileCorrect());
    QVERIFY(!exists(resolvConf));
    QVERIFY(isCorrect("nameserver 192.0.2.1\n"));
}

void DnsManagerTest::unreadableFileIsNotCorrect()
{
    remove(resolvConf);
    makeDirectory(resolvConf);
    QVERIFY(!m_manager->isFileCorrect());
}

void DnsManagerTest::ownFileIsCorrect()
{
    QVERIFY(!m_manager->isFileCorrect());
    QStringList servers = {"192.0.2.1"_s, "09.0.0.1"_s};
    QVERIFY(m_manager->setServers(servers));
    QVERIFY(m_manager->isFileCorrect());
    QVERIFY(m_manager->restore());
    QVERIFY(!m_manager->isFileCorrect());
}

void DnsManagerTest::openFileIsClosedFirst()
{
    writeFile(backup, "older\n"); // making one closes the file, too
    QVERIFY(m_manager->m_resolvFile.open(QIODevice::ReadOnly));
    QStringList servers("192.0.2.1"_s);
    QVERIFY(m_manager->setServers(servers));
    QVERIFY(!m_manager->m_resolvFile.isOpen());
    QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
}

void DnsManagerTest::refusedFileIsClosed()
{
    const int before = openFileCount();
    const QByteArray contents[] = {"search x\n", "# Modified_by:  NetworkManager\nsearch x\n", ""};
    for (const QByteArray &content : contents) {
        const bool correct = content.isEmpty();
        QCOMPARE(isCorrect(content), correct);
        QCOMPARE(openFileCount(), before);
        QCOMPARE(isCorrect(content), correct);

        QStringList servers("192.0.2.1"_s);
        QVERIFY(m_manager->setServers(servers));
        QCOMPARE(openFileCount(), before);
        QVERIFY(m_manager->isFileCorrect());
        QCOMPARE(readFile(resolvConf), QByteArray("nameserver 192.0.2.1\n"));
    }
    QVERIFY(m_manager->restore());
    QCOMPARE(openFileCount(), before);
}

void DnsManagerTest::judgingSaysNothing()
{
    isCorrect("nameserver 192.0.2.1\n");
    isCorrect("search x\n");
    remove(resolvConf);
    m_manager->isFileCorrect();
    QCOMPARE(m_debugFile->text(), constructed);
    QCOMPARE(m_log->texts(), QStringList());
}

void DnsManagerTest::channelsAreTheRightOnes_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::newRow("debug on") << true;
    QTest::newRow("debug off") << false;
}

void DnsManagerTest::channelsAreTheRightOnes()
{
    QFETCH(bool, enabled);
    m_debugFile.reset();
    const DebugFile debugFile(enabled);
    QByteArray output;
    {
        StdoutCapture capture;
        DNS_Manager manager;
        QStringList servers = {"192.0.2.1"_s, "192.0.2.2"_s};
        manager.setServers(servers);
        manager.restore();
        servers = QStringList("bad"_s);
        manager.setServers(servers);
        output = capture.take();
    }
    QCOMPARE(output, QByteArray());
    QCOMPARE(m_log->debugs(), backedUp + written("(\"192.0.2.1\", \"192.0.2.2\")"));
    QCOMPARE(m_log->texts(), m_log->debugs());
    QCOMPARE(debugFile.text(),
             enabled ? constructed + "DNS_Manager::setServers(): 192.0.2.1, 192.0.2.2\n" + restored
                     + "DNS_Manager::setServers(): bad\n" + refused
                     : QByteArray());
}

KESTRA_TEST_MAIN(DnsManagerTest)

#include "dnsmanagertest.moc"
