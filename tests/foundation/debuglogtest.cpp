// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/connection/scriptmanager.h>
#include <kestra/foundation/debuglog.h>
#include <kestra/foundation/lockfile.h>
#include <kestra/foundation/systeminfo.h>
#include <kestra/packages/packagemanager.h>

#include <QThread>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString logFile = "/tmp/debuglog/file.log"_s;
const QString unopenableFile = "/tmp/debuglog/absent/file.log"_s;

/** Lets the library write a debug line that needs nothing else. */
void writeDebugLine() { unlockFile(-1); }

const QByteArray firstDebugLine = "unlockFile(): unlocking fd: -1\n";

/** What is written to each of the channels while it exists. */
struct Channels
{
    StdoutCapture output;
    StdoutCapture error {stderr};
    MessageLog log;
};

}

/** The switch, the stream and the four ways of writing a message. */
class DebugLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void guardedMessageWritesNothingWhileThereIsNoStream();
    void emptyNameMeansStandardError();
    void fileIsOpenedAndTruncated();
    void unopenableFileMeansStandardError_data();
    void unopenableFileMeansStandardError();
    void disabledStillOpensTheFile();
    void disabledWithEmptyNameStillSetsTheStream();
    void nameIsConvertedToLatin1();
    void setDebugWritesNothing_data();
    void setDebugWritesNothing();
    void secondCallDropsTheStreamWithoutClosingIt();
    void linesHaveNoPrefix();
    void linesFollowTheSwitchAtOnce();
    void streamIsNotFlushed();
    void qtDebugStreamIsNotGuarded();
    void qtWarningStreamIsNotGuarded();
    void standardOutputIsNotGuarded();
};

void DebugLogTest::initTestCase()
{
    // As the library was loaded.
    QCOMPARE(debug, false);
    QCOMPARE(debugToFile, false);
    QVERIFY(pFile == nullptr);
}

void DebugLogTest::init() { makeDirectory("/tmp/debuglog"_s); }

void DebugLogTest::cleanup()
{
    if (debugToFile)
        fclose(pFile);
    debug = debugToFile = false;
    pFile = nullptr;
    remove("/tmp/debuglog"_s);
}

void DebugLogTest::guardedMessageWritesNothingWhileThereIsNoStream()
{
    Channels channels;
    writeDebugLine();
    QCOMPARE(channels.output.take(), QByteArray());
    QCOMPARE(channels.error.take(), QByteArray());
    QCOMPARE(channels.log.texts(), QStringList());
}

void DebugLogTest::emptyNameMeansStandardError()
{
    debugToFile = true; // left over from a file
    setDebug(true, QString());
    QVERIFY(pFile == stderr);
    QCOMPARE(debugToFile, false);
    QCOMPARE(debug, true);

    QByteArray written;
    {
        StdoutCapture error(stderr);
        writeDebugLine();
        written = error.take();
    }
    QVERIFY(written.startsWith(firstDebugLine));
}

void DebugLogTest::fileIsOpenedAndTruncated()
{
    writeFile(logFile, "left over from the run before\n");
    setDebug(true, logFile);
    QVERIFY(pFile != nullptr && pFile != stderr);
    QCOMPARE(debugToFile, true);
    QCOMPARE(debug, true);
    QCOMPARE(readFile(logFile), QByteArray());

    writeDebugLine();
    fflush(pFile);
    QVERIFY(readFile(logFile).startsWith(firstDebugLine));
}

void DebugLogTest::unopenableFileMeansStandardError_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::newRow("enabled") << true;
    QTest::newRow("disabled") << false;
}

void DebugLogTest::unopenableFileMeansStandardError()
{
    QFETCH(bool, enabled);
    debugToFile = true;
    debug = !enabled;
    setDebug(enabled, unopenableFile);
    QVERIFY(pFile == stderr);
    QCOMPARE(debugToFile, false);
    QCOMPARE(debug, enabled);
    QVERIFY(!exists(unopenableFile));
}

void DebugLogTest::disabledStillOpensTheFile()
{
    writeFile(logFile, "left over\n");
    setDebug(false, logFile);
    QCOMPARE(debugToFile, true);
    QCOMPARE(debug, false);
    QCOMPARE(readFile(logFile), QByteArray());

    writeDebugLine();
    fflush(pFile);
    QCOMPARE(readFile(logFile), QByteArray());

    fclose(pFile);
    remove(logFile);
    setDebug(false, logFile);
    QVERIFY(exists(logFile));
}

void DebugLogTest::disabledWithEmptyNameStillSetsTheStream()
{
    setDebug(false, QString());
    QVERIFY(pFile == stderr);
    StdoutCapture error(stderr);
    writeDebugLine();
    QCOMPARE(error.take(), QByteArray());
}

void DebugLogTest::nameIsConvertedToLatin1()
{
    setDebug(true, QString::fromUtf8("/tmp/debuglog/\303\251"));
    QCOMPARE(debugToFile, true);
    QCOMPARE(access("/tmp/debuglog/\351", F_OK), 0);
    QVERIFY(access("/tmp/debuglog/\303\251", F_OK) != 0);

    fclose(pFile);
    setDebug(true, QString(QStringLiteral("/tmp/debuglog/")) + QChar(0x20ac));
    QCOMPARE(access("/tmp/debuglog/?", F_OK), 0);
}

void DebugLogTest::setDebugWritesNothing_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::newRow("no file") << QString();
    QTest::newRow("file") << logFile;
    QTest::newRow("file that cannot be opened") << unopenableFile;
}

void DebugLogTest::setDebugWritesNothing()
{
    QFETCH(QString, fileName);
    Channels channels;
    setDebug(true, fileName);
    fflush(pFile);
    QCOMPARE(channels.output.take(), QByteArray());
    QCOMPARE(channels.error.take(), QByteArray());
    QCOMPARE(channels.log.texts(), QStringList());
    if (debugToFile)
        QCOMPARE(readFile(fileName), QByteArray());
}

void DebugLogTest::secondCallDropsTheStreamWithoutClosingIt()
{
    setDebug(true, logFile);
    FILE *const first = pFile;
    const int firstFd = fileno(first);
    setDebug(true, "/tmp/debuglog/second.log"_s);
    QVERIFY(pFile != first);
    QVERIFY(fcntl(firstFd, F_GETFD) != -1);
    QVERIFY(fputs("still open\n", first) >= 0);
    QCOMPARE(fclose(first), 0);
    QCOMPARE(readFile(logFile), QByteArray("still open\n"));

    writeDebugLine();
    fflush(pFile);
    QCOMPARE(readFile(logFile), QByteArray("still open\n"));
    QVERIFY(readFile("/tmp/debuglog/second.log"_s).startsWith(firstDebugLine));
}

void DebugLogTest::linesHaveNoPrefix()
{
    DebugFile file;
    writeDebugLine();
    const QByteArray reason = strerror(EBADF);
    QCOMPARE(file.text(),
             firstDebugLine + "unlockFile(): fcntl unlock failed on fd -1: " + reason
                 + "\nunlockFile(): lock file close failed on fd -1: " + reason + '\n');
}

void DebugLogTest::linesFollowTheSwitchAtOnce()
{
    DebugFile file;
    debug = false;
    writeDebugLine();
    QCOMPARE(file.text(), QByteArray());
    debug = true;
    writeDebugLine();
    QCOMPARE(file.lines().size(), 3);
}

void DebugLogTest::streamIsNotFlushed()
{
    setDebug(true, logFile);
    writeDebugLine();
    QCOMPARE(readFile(logFile), QByteArray());
    fflush(pFile);
    QVERIFY(!readFile(logFile).isEmpty());
}

void DebugLogTest::qtDebugStreamIsNotGuarded()
{
    remove("/etc/debian_version"_s);
    remove("/etc/lsb-release"_s);
    MessageLog log;
    QVERIFY(!debug && !pFile);
    Kestra::SystemInfo::getDistributionName();
    QCOMPARE(log.debugs().size(), 1);
    QCOMPARE(log.texts().size(), 1);

    // Nor do these messages go where debug lines go.
    DebugFile file;
    Kestra::SystemInfo::getDistributionName();
    QCOMPARE(log.debugs().size(), 2);
    QCOMPARE(file.text(), QByteArray());
}

void DebugLogTest::qtWarningStreamIsNotGuarded()
{
    MessageLog log;
    DebugFile file(false);
    ScriptManager().replaceInFile("/tmp/debuglog/absent"_s, "a"_s, "b"_s);
    QCOMPARE(log.warnings().size(), 1);
    QCOMPARE(file.text(), QByteArray());
}

void DebugLogTest::standardOutputIsNotGuarded()
{
    DebugFile file(false);
    MessageLog log;
    QThread owner;
    QByteArray written;
    {
        StdoutCapture output;
        new PackageManager("apt"_s, &owner);
        written = output.take();
    }
    QCOMPARE(written, QByteArray("z:1\nz:2\n"));
    QCOMPARE(file.text(), QByteArray());
}

KESTRA_TEST_MAIN(DebugLogTest)

#include "debuglogtest.moc"
