// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QByteArray originalResolver = "# mine\nnameserver 198.51.100.1\n";
const QStringList withData = {"--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY)};
const QStringList withService = {"--providers"_s, Machine::directory + "/services.xml"_s,
                                 "--country"_s,   "Freedonia"_s,
                                 "--service"_s,   "Example PPPoA"_s};
const QStringList withLogin = {"--user"_s, "me@example.net"_s, "--password-file"_s,
                               Machine::directory + "/password"_s};
const QStringList connects =
    QStringList {"connect"_s, "--driver"_s, "ueagle-atm"_s, "--unattended"_s} + withData
    + withService + withLogin;
const QStringList builds = QStringList {"driver"_s,
                                        "build"_s,
                                        "--driver"_s,
                                        "ueagle-atm"_s,
                                        "--unattended"_s,
                                        "--driver-bundle"_s,
                                        Machine::directory + "/driver.tar.gz"_s,
                                        "--driver-tree"_s,
                                        Machine::directory + "/src/ueagle-atm"_s,
                                        "--extraction-path"_s,
                                        Machine::directory + "/src"_s,
                                        "--kernel-headers"_s,
                                        Machine::directory + "/kernel"_s}
    + withData;

SetupResult setup(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments);
    return Machine::finish(process);
}

QJsonObject json(const SetupResult &result)
{
    return QJsonDocument::fromJson(result.output).object();
}

QStringList titles(const QJsonObject &answer)
{
    QStringList titles;
    for (const QJsonValue &stage : answer["stages"_s].toArray())
        titles.append(stage["title"_s].toString() + ": "_s + stage["outcome"_s].toString());
    return titles;
}

/** A name server on an address of its own that knows where the names begin. */
class NameServer
{
public:
    static inline const QByteArray address = "127.0.83.1";

    NameServer() : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in own = {};
        own.sin_family = AF_INET;
        own.sin_port = htons(53);
        ::inet_pton(AF_INET, address.constData(), &own.sin_addr);
        m_isBound = ::bind(m_socket, reinterpret_cast<sockaddr *>(&own), sizeof own) == 0;
        m_thread = std::thread([this] { serve(); });
    }

    ~NameServer()
    {
        ::shutdown(m_socket, SHUT_RDWR);
        m_thread.join();
        ::close(m_socket);
    }

    bool isBound() const { return m_isBound; }

private:
    void serve() const
    {
        char text[512];
        sockaddr_in caller = {};
        for (;;) {
            socklen_t size = sizeof caller;
            const ssize_t length = ::recvfrom(m_socket, text, sizeof text, 0,
                                              reinterpret_cast<sockaddr *>(&caller), &size);
            if (length <= 0)
                return;
            QByteArray answer(text, 17); // the header and the question of the root
            answer[2] = char(0x81); // an answer
            answer[3] = char(0x80);
            answer[7] = 1; // one record
            answer[11] = 0; // nothing additional
            answer += QByteArray::fromHex("00 0002 0001 00000000 0001 00");
            ::sendto(m_socket, answer.constData(), std::size_t(answer.size()), 0,
                     reinterpret_cast<sockaddr *>(&caller), size);
        }
    }

    int m_socket;
    bool m_isBound = false;
    std::thread m_thread;
};

}

/** Commands that go through some of the stages. */
class StagedTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void connectWritesTheConnectionAndTheInitScript();
    void connectAnswersAProgram();
    void aFailureAnswersAProgram();
    void questionsAreNotAskedByJson();
    void theConnectionIsStarted();
    void aConnectionThatDoesNotComeUp();

    void bootNeedsAConnection();
    void bootIsEnabledAndDisabled();

    void driverIsBuiltWithoutAModem();
    void aDriverThatNobodyKnows();

    void nameServersAreSetAndBroughtBack();
    void nameServersOfTheProvider();
    void nameServersThatAreNone_data();
    void nameServersThatAreNone();
    void nameServersAreChecked();
    void noNameServers();
    void resolverOfAnother();
    void resolverOfAnotherIsAskedFor_data();
    void resolverOfAnotherIsAskedFor();

private:
    Machine m_machine;
};

void StagedTest::init()
{
    m_machine.reset();
    remove("/etc/resolv.conf"_s);
    writeFile("/etc/resolv.conf"_s, originalResolver);
}

void StagedTest::connectWritesTheConnectionAndTheInitScript()
{
    const QStringList links = listDirectory("/etc/rc2.d"_s);
    const SetupResult result = setup(connects);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QVERIFY(readFile("/etc/ppp/peers/kestra"_s).contains("plugin pppoatm.so 8.35\n"));
    QVERIFY(readFile("/etc/ppp/pap-secrets"_s).contains("me@example.net"));
    QVERIFY(readFile("/etc/kestra/connection.conf"_s).contains("\nMODULE=ueagle-atm\n"));
    QVERIFY(QFileInfo("/etc/init.d/kestrad"_s).isExecutable());
    QCOMPARE(listDirectory("/etc/rc2.d"_s), links);
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    QCOMPARE(setup({"undo"_s}).code, 0);
    QVERIFY(!exists("/etc/kestra/connection.conf"_s));
    QVERIFY(!exists("/etc/init.d/kestrad"_s));
}

void StagedTest::connectAnswersAProgram()
{
    const SetupResult result = setup(connects + QStringList {"--json"_s});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    const QJsonObject answer = json(result);
    QCOMPARE(titles(answer),
             QStringList({"check what the set-up needs: done"_s, "choose the provider: done"_s,
                          "take user name and password: done"_s, "find the modem: done"_s,
                          "write the connection: done"_s}));
    QStringList paths;
    for (const QJsonValue &change : answer["changes"_s].toArray())
        paths.append(change["path"_s].toString());
    QVERIFY(paths.contains("/etc/ppp/peers/kestra"_s));
    QVERIFY(paths.contains("/etc/kestra/connection.conf"_s));
    QVERIFY(!answer.contains("error"_s));
    QVERIFY(!result.output.contains(Machine::password));
}

void StagedTest::aFailureAnswersAProgram()
{
    const SetupResult result =
        setup(connects + QStringList {"--json"_s, "--service"_s, "No such service"_s});
    QCOMPARE(result.code, 17);
    const QJsonObject answer = json(result);
    QCOMPARE(answer["error"_s]["code"_s].toInt(), 17);
    QVERIFY(answer["error"_s]["message"_s].toString().contains("No such service"_s));
    QCOMPARE(titles(answer).last(), "choose the provider: failed"_s);
    QCOMPARE(answer["changes"_s].toArray().size(), 0);
}

void StagedTest::questionsAreNotAskedByJson()
{
    const SetupResult result = setup({"connect"_s, "--json"_s});
    QCOMPARE(result.code, 2);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: --country is needed with --json. See kestra-setup "
                        "--help.\n"));
}

void StagedTest::theConnectionIsStarted()
{
    makeDirectory(Machine::directory + "/data"_s);
    QVERIFY(QFile::link(QStringLiteral(KESTRA_DATA_DIRECTORY) + "/drivers"_s,
                        Machine::directory + "/data/drivers"_s));
    writeFile(Machine::directory + "/data/kestrad"_s,
              "#!/bin/sh\necho \"called with $*\"\n"
              "[ \"$1\" = start ] && echo started >/run/kestra-started\n");
    const SetupResult result = setup(
        connects
        + QStringList {"--start"_s, "--verbose"_s, "--data-dir"_s, Machine::directory + "/data"_s});
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains("called with start"), result.output.constData());
    QCOMPARE(readFile("/run/kestra-started"_s), QByteArray("started\n"));
    QVERIFY2(result.output.endsWith("\nThe connection is set up.\nIt is up.\n"),
             result.output.constData());
    remove("/run/kestra-started"_s);
}

void StagedTest::aConnectionThatDoesNotComeUp()
{
    makeDirectory(Machine::directory + "/data"_s);
    QVERIFY(QFile::link(QStringLiteral(KESTRA_DATA_DIRECTORY) + "/drivers"_s,
                        Machine::directory + "/data/drivers"_s));
    writeFile(Machine::directory + "/data/kestrad"_s, "#!/bin/sh\necho 'no carrier' >&2\nexit 1\n");
    const SetupResult result =
        setup(connects + QStringList {"--start"_s, "--data-dir"_s, Machine::directory + "/data"_s});
    QCOMPARE(result.code, 24);
    QVERIFY2(result.errors.contains("The connection did not come up (/etc/init.d/kestrad start: "
                                    "code 1). "),
             result.errors.constData());
    QVERIFY2(result.errors.contains("    | no carrier\n"), result.errors.constData());
}

void StagedTest::bootNeedsAConnection()
{
    const QStringList links = listDirectory("/etc/rc2.d"_s);
    const SetupResult result = setup(QStringList {"boot"_s, "enable"_s} + withData);
    QCOMPARE(result.code, 6);
    QVERIFY2(result.errors.contains("No connection is set up: there is no "
                                    "/etc/kestra/connection.conf. Set one up with kestra-setup "
                                    "connect.\n"),
             result.errors.constData());
    QCOMPARE(listDirectory("/etc/rc2.d"_s), links);
    QVERIFY(!exists("/etc/init.d/kestrad"_s));
}

void StagedTest::bootIsEnabledAndDisabled()
{
    QCOMPARE(setup(connects).code, 0);
    remove("/etc/init.d/kestrad"_s); // somebody has tidied up
    const QByteArray before = Machine::state();
    QCOMPARE(setup(QStringList {"boot"_s, "enable"_s, "--sequence"_s, "31"_s} + withData).code, 0);
    QCOMPARE(linkTarget("/etc/rc2.d/S31kestrad"_s), "/etc/init.d/kestrad"_s);
    QCOMPARE(linkTarget("/etc/rc6.d/K31kestrad"_s), "/etc/init.d/kestrad"_s);
    QVERIFY(QFileInfo("/etc/init.d/kestrad"_s).isExecutable());
    QCOMPARE(setup({"boot"_s, "disable"_s}).code, 0);
    remove("/etc/init.d/kestrad"_s);
    QCOMPARE(Machine::state().split('\n'), before.split('\n'));
}

void StagedTest::driverIsBuiltWithoutAModem()
{
    const SetupResult result = setup(builds + QStringList {"--json"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(readFile(Machine::newModule), Machine::source);
    QVERIFY(titles(json(result)).contains("install the driver: done"_s));
    QCOMPARE(json(result)["achieved"_s].toArray(), QJsonArray({"The driver is installed."_s}));
    QVERIFY(!exists("/etc/ppp/peers/kestra"_s));
    const QJsonObject status = json(setup(QStringList {"status"_s, "--json"_s} + withData));
    QCOMPARE(status["driver"_s]["module"_s].toString(), "ueagle-atm"_s);
    QCOMPARE(setup({"driver"_s, "restore"_s}).code, 0);
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    QVERIFY(!exists(Machine::newModule));
}

void StagedTest::aDriverThatNobodyKnows()
{
    const SetupResult result = setup(connects + QStringList {"--driver"_s, "abc"_s});
    QCOMPARE(result.code, 2);
    QVERIFY2(result.errors.contains("The driver catalogue has no driver \"abc\". It has cxacru, "
                                    "speedtch, ueagle-atm, unicorn.\n"),
             result.errors.constData());
}

void StagedTest::nameServersAreSetAndBroughtBack()
{
    const SetupResult result =
        setup({"dns"_s, "set"_s, "--unattended"_s, "--servers"_s, "192.0.2.1, 192.0.2.2"_s});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile("/etc/resolv.conf"_s),
             QByteArray("nameserver 192.0.2.1\nnameserver 192.0.2.2\n"));
    QCOMPARE(setup({"dns"_s, "restore"_s}).code, 0);
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
}

void StagedTest::nameServersOfTheProvider()
{
    QCOMPARE(setup(QStringList {"dns"_s, "set"_s, "--unattended"_s} + withService).code, 0);
    QCOMPARE(readFile("/etc/resolv.conf"_s),
             QByteArray("nameserver 192.0.2.1\nnameserver 192.0.2.2\n"));
}

void StagedTest::nameServersThatAreNone_data()
{
    QTest::addColumn<QString>("servers");
    QTest::newRow("a name") << "ns.example.net"_s;
    QTest::newRow("too large") << "192.0.2.256"_s;
    QTest::newRow("IPv6") << "2001:db8::1"_s;
    QTest::newRow("one of two") << "192.0.2.1,x"_s;
    QTest::newRow("only a comma") << ","_s;
}

void StagedTest::nameServersThatAreNone()
{
    QFETCH(QString, servers);
    const SetupResult result = setup({"dns"_s, "set"_s, "--unattended"_s, "--servers"_s, servers});
    QCOMPARE(result.code, 2);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: --servers must be IPv4 addresses like 192.0.2.1, separated "
                        "by commas. See kestra-setup --help.\n"));
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
}

void StagedTest::nameServersAreChecked()
{
    const NameServer server;
    QVERIFY(server.isBound());
    writeFile("/etc/resolv.conf"_s,
              "nameserver 127.0.83.2\nnameserver " + NameServer::address
                  + "\nnameserver 2001:db8::1\n");
    const SetupResult result = setup({"dns"_s, "check"_s});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             QByteArray("/etc/resolv.conf holds more than name servers, or is the file of another "
                        "program.\n"
                        "127.0.83.2 does not answer.\n"
                        "127.0.83.1 answers.\n"
                        "2001:db8::1 does not answer.\n"));
}

void StagedTest::noNameServers()
{
    writeFile("/etc/resolv.conf"_s, "nameserver 127.0.83.2\n");
    const SetupResult result = setup({"dns"_s, "check"_s, "--json"_s});
    QCOMPARE(result.code, 21);
    const QJsonObject answer = json(result);
    QCOMPARE(answer["servers"_s].toArray().size(), 1);
    QCOMPARE(answer["servers"_s].toArray().at(0)["answers"_s].toBool(true), false);
    QCOMPARE(answer["holds_only_name_servers"_s].toBool(), true);
    QCOMPARE(answer["error"_s]["message"_s].toString(), "No name server answers."_s);
    remove("/etc/resolv.conf"_s);
    const QJsonObject none = json(setup({"dns"_s, "check"_s, "--json"_s}));
    QCOMPARE(none["error"_s]["message"_s].toString(), "/etc/resolv.conf names no name server."_s);
}

void StagedTest::resolverOfAnother()
{
    remove("/etc/resolv.conf"_s);
    writeFile("/run/other/resolv.conf"_s, "nameserver 127.0.83.2\n");
    QVERIFY(QFile::link("/run/other/resolv.conf"_s, "/etc/resolv.conf"_s));
    const SetupResult result = setup({"dns"_s, "check"_s});
    QCOMPARE(result.code, 21);
    QVERIFY2(result.output.startsWith("/etc/resolv.conf is a link to /run/other/resolv.conf.\n"),
             result.output.constData());
}

void StagedTest::resolverOfAnotherIsAskedFor_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("isWritten");
    QTest::newRow("yes") << QByteArray("yes\n") << 0 << true;
    QTest::newRow("no") << QByteArray("n\n") << 0 << false;
    QTest::newRow("at last no") << QByteArray("perhaps\nno\n") << 0 << false;
    QTest::newRow("nobody there") << QByteArray() << 2 << false;
}

void StagedTest::resolverOfAnotherIsAskedFor()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, code);
    QFETCH(bool, isWritten);
    const QByteArray before = "# Generated by NetworkManager\nnameserver 192.0.2.9\n";
    writeFile("/etc/resolv.conf"_s, before);
    QProcess process;
    Machine::start(process, {"dns"_s, "set"_s, "--servers"_s, "192.0.2.1"_s});
    process.write(answer);
    process.closeWriteChannel();
    const SetupResult result = Machine::finish(process);
    QVERIFY2(result.output.contains("/etc/resolv.conf is the file of NetworkManager, which may "
                                    "write it again.\n"),
             result.output.constData());
    QVERIFY2(result.output.contains("Write the name servers there all the same (yes or no)"),
             result.output.constData());
    QCOMPARE(result.code, code);
    QCOMPARE(result.output.contains("The name servers are set."), isWritten);
    QCOMPARE(readFile("/etc/resolv.conf"_s),
             isWritten ? QByteArray("nameserver 192.0.2.1\n") : before);
}

KESTRA_TEST_MAIN(StagedTest)

#include "stagedtest.moc"
