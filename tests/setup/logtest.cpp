// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QRegularExpression>

#include <unistd.h>

using namespace KestraTest;

namespace {

const QString directory = "/var/log/kestra"_s;
const QString logFile = directory + "/setup.log"_s;

SetupResult run(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments);
    return Machine::finish(process);
}

QByteArray log() { return exists(logFile) ? readFile(logFile) : QByteArray(); }

/** What the lines of the log say after time and process. */
QByteArrayList entries()
{
    QByteArrayList lines = log().split('\n');
    lines.removeLast();
    for (QByteArray &line : lines)
        line = line.mid(line.indexOf("] ") + 2);
    return lines;
}

bool holds(const QByteArray &pattern)
{
    const QRegularExpression expression(QString::fromUtf8(pattern));
    const QByteArrayList lines = entries();
    return std::any_of(lines.cbegin(), lines.cend(), [&expression](const QByteArray &line) {
        return expression.match(QString::fromUtf8(line)).hasMatch();
    });
}

}

/** Everything that changes the system is written down. */
class LogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void setUpIsWrittenDown();
    void linesHaveTimeAndProcess();
    void isForRootAlone();
    void failureIsWrittenDown();
    void commandsAreWrittenDown();
    void lookingIsNotWrittenDown();
    void loginIsMasked();
    void earlierLoginIsMasked();
    void typedLoginIsMasked();
    void controlCharactersAreNot();
    void bigLogIsRotated();
    void smallLogIsContinued();
    void refusedRunDoesNotRotate();
    void linkIsNotFollowed();
    void directoryOfOthersIsNotUsed();
    void fullDiskIsNoReasonToStop();
    void whoIsNotRootHasNone();

private:
    /** The driver's build prints @p text. */
    void letBuildPrint(const QByteArray &text);

    Machine machine;
};

void LogTest::init()
{
    machine.reset();
    remove(directory);
}

void LogTest::cleanup() { QProcess::execute("umount"_s, {"-q"_s, directory}); }

void LogTest::letBuildPrint(const QByteArray &text)
{
    writeFile(Machine::directory + "/printed"_s, text + "\n");
    machine.writeBundle(Machine::makefile("@cat /tmp/machine/printed\ncp source.c ueagle-atm.ko",
                                          Machine::usualInstallation()));
}

void LogTest::setUpIsWrittenDown()
{
    QCOMPARE(machine.run().code, 0);
    const QByteArrayList lines = entries();
    QVERIFY2(lines.first().startsWith("start: kestra-setup 1."), lines.first().constData());
    QVERIFY(lines.first().contains(" --country Freedonia "));
    QVERIFY(lines.first().contains(" --user ********"));
    QVERIFY(holds("^stage 1/[0-9]+, check what the set-up needs$"));
    QVERIFY(holds("^stage 1/[0-9]+, check what the set-up needs: done after [0-9]+\\.[0-9] s$"));
    QVERIFY(holds("^note: Waiting for a modem to be plugged in"));
    QVERIFY(holds("^tool: building for /tmp/machine/kernel$"));
    QVERIFY(holds("^library: "));
    QVERIFY(holds("^stage [0-9]+/[0-9]+, set the name servers: done .*192.0.2.1, 192.0.2.2"));
    QVERIFY(holds("^changed: /etc/ppp/peers/kestra "));
    QCOMPARE(lines.last(), QByteArray("end: exit code 0"));
}

void LogTest::linesHaveTimeAndProcess()
{
    qputenv("TZ", "Asia/Kolkata");
    QProcess process;
    Machine::start(process, {"undo"_s});
    const QByteArray pid = QByteArray::number(process.processId());
    QCOMPARE(Machine::finish(process).code, 0);
    qunsetenv("TZ");
    const QRegularExpression pattern(
        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\+05:30 \\[(\\d+)\\] ."_s);
    const QStringList lines = QString::fromUtf8(log().trimmed()).split(QLatin1Char('\n'));
    QVERIFY(lines.size() >= 2);
    for (const QString &line : lines)
        QCOMPARE(pattern.match(line).captured(1).toUtf8(), pid);
}

void LogTest::isForRootAlone()
{
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(fileMode(directory), 0700);
    QCOMPARE(fileMode(logFile), 0600);
    writeFile(logFile, "", 0644);
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(fileMode(logFile), 0600);
}

void LogTest::failureIsWrittenDown()
{
    QCOMPARE(machine.run(QMap<QString, QString> {{"--country"_s, "Nowhere"_s}}).code, 17);
    QVERIFY(holds("^stage [0-9]+/[0-9]+, choose the provider: failed after .*Nowhere"));
    QVERIFY2(entries().last().startsWith("end: exit code 17: "), log().constData());
}

void LogTest::commandsAreWrittenDown()
{
    QCOMPARE(machine.run().code, 0);
    remove(logFile);
    writeFile("/etc/resolv.conf"_s, "nameserver 203.0.113.1\n");
    QCOMPARE(run({"dns"_s, "restore"_s}).code, 22);
    QVERIFY(holds("^start: kestra-setup [^ ]+ dns restore$"));
    QVERIFY(holds("^Left alone, as it was changed after the set-up: /etc/resolv.conf$"));
    QVERIFY(holds("^end: exit code 22: Not everything was undone. Use --force"));
    QCOMPARE(run({"undo"_s, "--force"_s}).code, 0);
    QVERIFY(holds("^As before again: /etc/ppp/peers/kestra$"));
    QCOMPARE(entries().last(), QByteArray("end: exit code 0"));
}

void LogTest::lookingIsNotWrittenDown()
{
    QCOMPARE(run({"status"_s}).code, 0);
    QVERIFY(!exists(directory));
}

/** Neither tools nor the command line get them into the log. */
void LogTest::loginIsMasked()
{
    letBuildPrint("user me@example.net, password \"" + Machine::password + "\"");
    QCOMPARE(machine.run().code, 0);
    QVERIFY2(holds("^tool: user \\*{8}, password \"\\*{8}\"$"), log().constData());
    QVERIFY(!log().contains("me@example.net"));
    QVERIFY(!log().contains(Machine::password));
}

/** What was in the files before is nobody's business either. */
void LogTest::earlierLoginIsMasked()
{
    writeFile("/etc/ppp/pap-secrets"_s, "\"old@example.net\" * \"0ldsecret\" *\n", 0600);
    letBuildPrint("old@example.net 0ldsecret");
    QCOMPARE(machine.run().code, 0);
    QVERIFY2(holds("^tool: \\*{8} \\*{8}$"), log().constData());
    // They are in the store only now.
    letBuildPrint("again old@example.net 0ldsecret");
    QCOMPARE(machine.run().code, 0);
    QVERIFY2(holds("^tool: again \\*{8} \\*{8}$"), log().constData());
    QVERIFY(!log().contains("old@example.net"));
    QVERIFY(!log().contains("0ldsecret"));
}

void LogTest::typedLoginIsMasked()
{
    letBuildPrint("typed@example.net typed secret");
    QProcess process;
    QByteArray output;
    Machine::start(process,
                   Machine::arguments({{"--unattended"_s, QString()},
                                       {"--user"_s, QString()},
                                       {"--password-file"_s, QString()}}));
    process.write("typed@example.net\ntyped secret\n");
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem to be plugged in"));
    machine.plugIn();
    QCOMPARE(Machine::finish(process, output).code, 0);
    QVERIFY(holds("^question: User name$"));
    QVERIFY(holds("^question: Password$"));
    QVERIFY2(holds("^tool: \\*{8} \\*{8}$"), log().constData());
    QVERIFY(!log().contains("typed"));
}

void LogTest::controlCharactersAreNot()
{
    letBuildPrint("a\x1b[31mred\x1b[0m\x07 bell\x9b");
    QCOMPARE(machine.run().code, 0);
    QVERIFY2(holds("^tool: ared\\? bell\\?$"), log().constData());
    QCOMPARE(machine.run(QMap<QString, QString> {{"--country"_s, "No\x07where"_s}}).code, 17);
    QVERIFY2(holds("^start: .*No\\?where"), log().constData());
    for (const char byte : log())
        QVERIFY(byte == '\n' || static_cast<unsigned char>(byte) >= ' ');
}

void LogTest::bigLogIsRotated()
{
    const auto older = [](int number) { return logFile + ".%1"_s.arg(number); };
    const QByteArray big((1 << 20) + 1, 'x');
    writeFile(logFile, big, 0600);
    for (int number = 1; number <= 4; ++number)
        writeFile(older(number), QByteArray::number(number), 0600);
    QCOMPARE(run({"undo"_s}).code, 0);
    QVERIFY(log().size() < 1000);
    QCOMPARE(fileMode(logFile), 0600);
    QCOMPARE(readFile(older(1)), big);
    for (int number = 2; number <= 4; ++number)
        QCOMPARE(readFile(older(number)), QByteArray::number(number - 1));
    QCOMPARE(listDirectory(directory).size(), 5);
}

void LogTest::smallLogIsContinued()
{
    writeFile(logFile, "earlier\n", 0600);
    QCOMPARE(run({"undo"_s}).code, 0);
    QVERIFY(log().startsWith("earlier\n"));
    QCOMPARE(listDirectory(directory), QStringList {"setup.log"_s});
}

/** The other process is still writing to the log. */
void LogTest::refusedRunDoesNotRotate()
{
    const QString lock = "/run/kestra-setup.lock"_s;
    writeFile(lock, "");
    writeFile(logFile, QByteArray((1 << 20) + 1, 'x') + '\n', 0600);
    QProcess holder;
    holder.start(helperProgram("lockholder"), {lock});
    QVERIFY(holder.waitForReadyRead());
    QCOMPARE(run({"undo"_s}).code, 23);
    holder.closeWriteChannel();
    QVERIFY(holder.waitForFinished());
    QCOMPARE(listDirectory(directory), QStringList {"setup.log"_s});
    QVERIFY(entries().last().startsWith("end: exit code 23: Another set-up is running: "));
}

void LogTest::linkIsNotFollowed()
{
    const QString target = "/tmp/precious"_s;
    writeFile(target, "precious", 0644);
    makeDirectory(directory);
    QVERIFY(QFile::link(target, logFile));
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(
                 "The log /var/log/kestra/setup.log cannot be written: it is a link.\n"),
             result.output.constData());
    QCOMPARE(readFile(target), QByteArray("precious"));
    QCOMPARE(fileMode(target), 0644);
}

void LogTest::directoryOfOthersIsNotUsed()
{
    makeDirectory(directory);
    QCOMPARE(::chown("/var/log/kestra", 65534, 65534), 0);
    const SetupResult result = machine.run();
    QVERIFY2(result.code == 0, result.everything().constData());
    QVERIFY2(result.output.contains(
                 "    The log /var/log/kestra/setup.log cannot be written: /var/log/kestra is no "
                 "directory that only root can write to.\n"),
             result.output.constData());
    QCOMPARE(listDirectory(directory), QStringList());
}

void LogTest::fullDiskIsNoReasonToStop()
{
    makeDirectory(directory);
    QCOMPARE(
        QProcess::execute("mount"_s,
                          {"-t"_s, "tmpfs"_s, "-o"_s, "size=4k,mode=700"_s, "tmpfs"_s, directory}),
        0);
    const SetupResult result = machine.run();
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(result.output.count("The log /var/log/kestra/setup.log cannot be written: No space "
                                 "left on device.\n"),
             1);
}

void LogTest::whoIsNotRootHasNone()
{
    QProcess process;
    process.start("setpriv"_s, {"--reuid=65534"_s, "--clear-groups"_s, Machine::program, "undo"_s});
    const SetupResult result = Machine::finish(process);
    QCOMPARE(result.code, 3);
    QVERIFY2(!result.everything().contains("log"), result.everything().constData());
    QVERIFY(!exists(directory));
}

KESTRA_TEST_MAIN(LogTest)

#include "logtest.moc"
