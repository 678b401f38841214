// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString lockFile = "/run/kestra-setup.lock"_s;

SetupResult run(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments);
    return Machine::finish(process);
}

/** What a set-up leaves, and undo takes away again. */
bool isSetUp()
{
    return exists(Machine::newModule) && exists("/etc/ppp/peers/kestra"_s)
        && exists("/etc/rc5.d/S20kestrad"_s);
}

bool isUndone()
{
    return readFile(Machine::oldModule) == "the old driver\n" && !exists(Machine::newModule)
        && !exists("/etc/ppp/peers/kestra"_s) && !exists("/etc/rc5.d/S20kestrad"_s);
}

/** Another program that holds the lock. */
class Holder
{
public:
    Holder()
    {
        writeFile(lockFile, "");
        m_process.start(helperProgram("lockholder"), {lockFile});
        m_process.waitForReadyRead();
        m_isHolding = m_process.readAllStandardOutput() == "locked\n";
    }
    ~Holder()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    bool isHolding() const { return m_isHolding; }
    QByteArray description() const
    {
        return "lockholder (process " + QByteArray::number(m_process.processId()) + ")";
    }

private:
    QProcess m_process;
    bool m_isHolding = false;
};

}

/** Only one process at a time changes the system. */
class LockTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void secondRunIsRefused();
    void everyCommandThatChangesIsRefused_data();
    void everyCommandThatChangesIsRefused();
    void lookingIsNotRefused_data();
    void lookingIsNotRefused();
    void refusalIsTheSameInJson();
    void runThatEndsLetsTheNextOneIn_data();
    void runThatEndsLetsTheNextOneIn();
    void runThatFailsLetsTheNextOneIn();
    void fileLeftBehindMeansNothing();
    void toolsDoNotKeepTheLock();
    void somethingElseInItsPlaceIsSaid();
    void linkOfOthersIsNotFollowed();
    void needOfRootComesFirst();

private:
    /** Starts a set-up that waits for its modem. */
    void startWaiting(QProcess &process, QByteArray &output);

    Machine machine;
};

void LockTest::init()
{
    machine.reset();
    remove(lockFile);
}

void LockTest::startWaiting(QProcess &process, QByteArray &output)
{
    Machine::start(process, Machine::arguments());
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem to be plugged in"));
}

/** It says whom it waits for, and neither changes anything nor spoils the other's notes. */
void LockTest::secondRunIsRefused()
{
    QProcess first;
    QByteArray output;
    startWaiting(first, output);

    const SetupResult second = run(Machine::arguments());
    QCOMPARE(second.code, 23);
    const QByteArray sentence = "Another set-up is running: kestra-setup (process "
        + QByteArray::number(first.processId()) + "). Wait until it has ended, then start again.\n";
    QVERIFY2(second.errors.contains(sentence), second.errors.constData());
    QVERIFY2(!second.output.contains("[ 1/"), second.output.constData());

    machine.plugIn();
    const SetupResult result = Machine::finish(first, output);
    QVERIFY2(result.code == 0, result.everything().constData());
    QVERIFY(isSetUp());
    QCOMPARE(run({"undo"_s}).code, 0);
    QVERIFY(isUndone());
}

void LockTest::everyCommandThatChangesIsRefused_data()
{
    QTest::addColumn<QStringList>("command");

    QTest::newRow("undo") << QStringList {"undo"_s, "--force"_s};
    QTest::newRow("dns set") << QStringList {"dns"_s, "set"_s, "--unattended"_s, "--servers"_s,
                                             "192.0.2.7"_s};
    QTest::newRow("driver restore") << QStringList {"driver"_s, "restore"_s};
    QTest::newRow("boot disable") << QStringList {"boot"_s, "disable"_s};
    QTest::newRow("dns restore") << QStringList {"dns"_s, "restore"_s};
}

void LockTest::everyCommandThatChangesIsRefused()
{
    QFETCH(QStringList, command);
    QCOMPARE(machine.run().code, 0);
    const QByteArray before = Machine::state();
    {
        const Holder holder;
        QVERIFY(holder.isHolding());
        const SetupResult result = run(command);
        QCOMPARE(result.code, 23);
        QVERIFY2(result.errors.contains("Another set-up is running: " + holder.description()
                                        + ". Wait until it has ended, then start again.\n"),
                 result.errors.constData());
        QCOMPARE(Machine::state(), before);
    }
    QCOMPARE(run(command).code, 0);
    QVERIFY(Machine::state() != before);
}

void LockTest::lookingIsNotRefused_data()
{
    QTest::addColumn<QStringList>("command");

    QTest::newRow("status") << QStringList {"status"_s};
    QTest::newRow("drivers") << QStringList {"drivers"_s, "--data-dir"_s,
                                             QStringLiteral(KESTRA_DATA_DIRECTORY)};
}

void LockTest::lookingIsNotRefused()
{
    QFETCH(QStringList, command);
    const Holder holder;
    QVERIFY(holder.isHolding());
    QCOMPARE(run(command).code, 0);
}

void LockTest::refusalIsTheSameInJson()
{
    const Holder holder;
    QVERIFY(holder.isHolding());
    const SetupResult result = run({"undo"_s, "--json"_s});
    QCOMPARE(result.code, 23);
    const QJsonValue error = QJsonDocument::fromJson(result.output).object()["error"_s];
    QCOMPARE(error["code"_s].toInt(), 23);
    QVERIFY(error["message"_s].toString().contains(QString::fromLatin1(holder.description())));
}

void LockTest::runThatEndsLetsTheNextOneIn_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("code");

    QTest::newRow("interrupted") << SIGINT << 130;
    QTest::newRow("terminated") << SIGTERM << 130;
    QTest::newRow("killed") << SIGKILL << -1;
}

/** A lock is never left for a person to remove, however the process ends. */
void LockTest::runThatEndsLetsTheNextOneIn()
{
    QFETCH(int, signal);
    QFETCH(int, code);
    QProcess first;
    QByteArray output;
    startWaiting(first, output);
    QCOMPARE(run({"undo"_s}).code, 23);
    QCOMPARE(::kill(pid_t(first.processId()), signal), 0);
    QCOMPARE(Machine::finish(first, output).code, code);

    const SetupResult next = machine.run();
    QVERIFY2(next.code == 0, next.everything().constData());
    QVERIFY(isSetUp());
    QCOMPARE(run({"undo"_s}).code, 0);
    QVERIFY(isUndone());
}

void LockTest::runThatFailsLetsTheNextOneIn()
{
    QCOMPARE(machine.run(QMap<QString, QString> {{"--country"_s, "Nowhere"_s}}).code, 17);
    QCOMPARE(machine.run().code, 0);
}

void LockTest::fileLeftBehindMeansNothing()
{
    writeFile(lockFile, "1\n", 0600);
    QCOMPARE(machine.run().code, 0);
    QVERIFY(exists(lockFile));
    QCOMPARE(run({"undo"_s}).code, 0);
}

/** A tool that outlives a killed set-up locks nobody out. */
void LockTest::toolsDoNotKeepTheLock()
{
    machine.writeBundle(
        Machine::makefile("@echo building\nexec sleep 20", Machine::usualInstallation()));
    QProcess first;
    QByteArray output;
    Machine::start(first, Machine::arguments({{"--verbose"_s, "-"_s}}));
    QVERIFY(Machine::waitForOutput(first, output, "Waiting for a modem to be plugged in"));
    machine.plugIn();
    QVERIFY(Machine::waitForOutput(first, output, "| building"));
    QCOMPARE(run({"undo"_s}).code, 23);
    QCOMPARE(::kill(pid_t(first.processId()), SIGKILL), 0);
    QVERIFY(first.waitForFinished());

    machine.writeBundle(Machine::makefile(Machine::usualBuild(), Machine::usualInstallation()));
    QCOMPARE(machine.run().code, 0);
}

void LockTest::somethingElseInItsPlaceIsSaid()
{
    makeDirectory(lockFile);
    const QByteArray before = Machine::state();
    const SetupResult result = run(Machine::arguments());
    QCOMPARE(result.code, 6);
    QVERIFY2(result.errors.contains("The lock file /run/kestra-setup.lock cannot be opened."),
             result.errors.constData());
    QCOMPARE(Machine::state(), before);
}

void LockTest::linkOfOthersIsNotFollowed()
{
    const QString target = "/tmp/precious"_s;
    writeFile(target, "precious");
    QVERIFY(QFile::link(target, lockFile));
    QCOMPARE(::lchown("/run/kestra-setup.lock", 65534, 65534), 0);
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 6);
    QVERIFY2(result.errors.contains("/run/kestra-setup.lock can be changed by others than root"),
             result.errors.constData());
    QCOMPARE(readFile(target), QByteArray("precious"));
}

void LockTest::needOfRootComesFirst()
{
    const Holder holder;
    QProcess process;
    process.start("setpriv"_s, {"--reuid=65534"_s, "--clear-groups"_s, Machine::program, "undo"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
}

KESTRA_TEST_MAIN(LockTest)

#include "locktest.moc"
