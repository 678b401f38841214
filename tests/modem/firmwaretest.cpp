// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "environment.h"
#include "files.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/modem/firmware.h>

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <memory>

using namespace KestraTest;

/** Firmware archives, mostly with the real tar. */
class FirmwareTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void unpacksKindsOfArchives_data();
    void unpacksKindsOfArchives();
    void createsDestinationWithParents();
    void reusesAnExistingDestination();
    void missingArchiveCreatesNothing();
    void missingArchiveDoesNotRunTar();
    void corruptArchiveFails_data();
    void corruptArchiveFails();
    void directoryInPlaceOfTheArchiveFailsInTar();
    void relativeNamesAreRelativeToTheCurrentDirectory();
    void destinationThatCannotBeCreatedFails();
    void destinationThatCannotBeCreatedDoesNotStopTar();
    void objectIsReusable();

    void tarGetsExactlyTheseArguments();
    void tarInheritsTheEnvironment();
    void tarInheritsTheWorkingDirectory();
    void onlyExitCodeZeroIsSuccess_data();
    void onlyExitCodeZeroIsSuccess();
    void tarThatCannotBeStartedFails();
    void outputIsNotReadAndDoesNotBlock();
    void writesNoMessage();
    void processGoesToTheThread();
    void threadMayBeNull();
    void unpacksInAThreadOfItsOwn();

private:
    QString path(const QString &name) const { return scratch->filePath(name); }
    /** Packs "fw/a.bin" and "b.bin". */
    void pack(const QString &archive, const QString &compression = QString()) const;

    std::unique_ptr<QTemporaryDir> scratch;
    std::unique_ptr<Firmware> firmware;
};

void FirmwareTest::init()
{
    scratch = std::make_unique<QTemporaryDir>();
    firmware = std::make_unique<Firmware>(nullptr);
}

void FirmwareTest::cleanup()
{
    QDir::setCurrent("/"_s);
    firmware.reset();
    scratch.reset();
}

void FirmwareTest::pack(const QString &archive, const QString &compression) const
{
    const QString source = path("source"_s);
    writeFile(source + "/fw/a.bin"_s, "AAA");
    writeFile(source + "/b.bin"_s, "BBB");
    QStringList arguments = {"-C"_s, source, "-cf"_s, archive, "fw"_s, "b.bin"_s};
    if (!compression.isEmpty())
        arguments.prepend(compression);
    QCOMPARE(QProcess::execute("tar"_s, arguments), 0);
}

void FirmwareTest::unpacksKindsOfArchives_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("compression");
    QTest::newRow("plain") << "fw.tar"_s << QString();
    QTest::newRow("gzip") << "fw.tar.gz"_s
                          << "--gzip"_s;
    QTest::newRow("xz") << "fw.tar.xz"_s
                        << "--xz"_s;
    QTest::newRow("bzip2 without a telling name") << "firmware"_s
                                                  << "--bzip2"_s;
}

void FirmwareTest::unpacksKindsOfArchives()
{
    QFETCH(QString, name);
    QFETCH(QString, compression);
    pack(path(name), compression);
    const QString destination = path("target"_s);
    QVERIFY(firmware->installFirmware(path(name), destination));
    QCOMPARE(listTree(destination), QStringList({"b.bin"_s, "fw/"_s, "fw/a.bin"_s}));
    QCOMPARE(readFile(destination + "/fw/a.bin"_s), QByteArray("AAA"));
}

void FirmwareTest::createsDestinationWithParents()
{
    pack(path("fw.tar"_s));
    const QString destination = path("lib/firmware/deep"_s);
    QVERIFY(firmware->installFirmware(path("fw.tar"_s), destination));
    QCOMPARE(readFile(destination + "/b.bin"_s), QByteArray("BBB"));
}

void FirmwareTest::reusesAnExistingDestination()
{
    pack(path("fw.tar"_s));
    const QString destination = path("target"_s);
    writeFile(destination + "/b.bin"_s, "a longer old content");
    writeFile(destination + "/other"_s, "stays");
    QVERIFY(firmware->installFirmware(path("fw.tar"_s), destination));
    QCOMPARE(readFile(destination + "/b.bin"_s), QByteArray("BBB"));
    QCOMPARE(readFile(destination + "/other"_s), QByteArray("stays"));
}

void FirmwareTest::missingArchiveCreatesNothing()
{
    QVERIFY(!firmware->installFirmware(path("absent.tar"_s), path("target/deep"_s)));
    QCOMPARE(listTree(scratch->path()), QStringList());
}

void FirmwareTest::missingArchiveDoesNotRunTar()
{
    StandInTool tar("tar");
    QVERIFY(!firmware->installFirmware(path("absent.tar"_s), path("target"_s)));
    QVERIFY(!firmware->installFirmware(QString(), path("target"_s)));
    QVERIFY(tar.calls().isEmpty());
}

void FirmwareTest::corruptArchiveFails_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("text") << QByteArray("this is no archive");
    QTest::newRow("broken gzip") << QByteArray("\x1f\x8b\x08 and then nothing useful");
}

void FirmwareTest::corruptArchiveFails()
{
    QFETCH(QByteArray, content);
    writeFile(path("fw.tar"_s), content);
    QVERIFY(!firmware->installFirmware(path("fw.tar"_s), path("target"_s)));
    QVERIFY(QDir(path("target"_s)).exists());
}

void FirmwareTest::directoryInPlaceOfTheArchiveFailsInTar()
{
    makeDirectory(path("archive"_s));
    QVERIFY(!firmware->installFirmware(path("archive"_s), path("target"_s)));
    QVERIFY(QDir(path("target"_s)).exists());
}

void FirmwareTest::relativeNamesAreRelativeToTheCurrentDirectory()
{
    pack(path("fw.tar"_s));
    makeDirectory(path("here"_s));
    QVERIFY(QDir::setCurrent(path("here"_s)));
    QVERIFY(firmware->installFirmware("../fw.tar"_s, "below/deep"_s));
    QCOMPARE(readFile(path("here/below/deep/b.bin"_s)), QByteArray("BBB"));
}

void FirmwareTest::destinationThatCannotBeCreatedFails()
{
    pack(path("fw.tar"_s));
    writeFile(path("file"_s), "in the way");
    QVERIFY(!firmware->installFirmware(path("fw.tar"_s), path("file/target"_s)));
    QCOMPARE(readFile(path("file"_s)), QByteArray("in the way"));
}

void FirmwareTest::destinationThatCannotBeCreatedDoesNotStopTar()
{
    StandInTool tar("tar");
    writeFile(path("fw.tar"_s), "");
    writeFile(path("file"_s), "in the way");
    QVERIFY(firmware->installFirmware(path("fw.tar"_s), path("file/target"_s)));
    QCOMPARE(tar.calls().size(), 1);
}

void FirmwareTest::objectIsReusable()
{
    pack(path("good.tar"_s));
    writeFile(path("bad.tar"_s), "this is no archive");
    QVERIFY(!firmware->installFirmware(path("bad.tar"_s), path("target"_s)));
    QVERIFY(firmware->installFirmware(path("good.tar"_s), path("target"_s)));
    QVERIFY(!firmware->installFirmware(path("bad.tar"_s), path("target"_s)));
}

void FirmwareTest::tarGetsExactlyTheseArguments()
{
    StandInTool tar("tar");
    writeFile(path("fw.tar"_s), "");
    QVERIFY(firmware->installFirmware(path("fw.tar"_s), path("target"_s)));
    QCOMPARE(tar.argumentsOfCalls(),
             QList<QStringList>({{"-C"_s, path("target"_s), "-xf"_s, path("fw.tar"_s)}}));
}

void FirmwareTest::tarInheritsTheEnvironment()
{
    StandInTool tar("tar");
    writeFile(path("fw.tar"_s), "");
    qputenv("LC_ALL", "de_DE.UTF-8");
    const bool success = firmware->installFirmware(path("fw.tar"_s), path("target"_s));
    const QByteArrayList expected = ownEnvironment();
    qunsetenv("LC_ALL");
    QVERIFY(success);
    QCOMPARE(comparable(tar.calls().constFirst().environment), expected);
    QCOMPARE(tar.calls().constFirst().variable("LC_ALL"), QByteArray("de_DE.UTF-8"));
}

void FirmwareTest::tarInheritsTheWorkingDirectory()
{
    StandInTool tar("tar");
    writeFile(path("fw.tar"_s), "");
    QDir::setCurrent("/usr/lib"_s);
    QVERIFY(firmware->installFirmware(path("fw.tar"_s), path("target"_s)));
    QCOMPARE(tar.calls().constFirst().workingDirectory, QDir::currentPath());
}

void FirmwareTest::onlyExitCodeZeroIsSuccess_data()
{
    QTest::addColumn<int>("exitCode");
    for (int exitCode : {0, 1, 2, 255})
        QTest::addRow("%d", exitCode) << exitCode;
}

void FirmwareTest::onlyExitCodeZeroIsSuccess()
{
    QFETCH(int, exitCode);
    StandInTool tar("tar");
    StandInTool::Behaviour behaviour;
    behaviour.exitCode = exitCode;
    tar.setBehaviour(behaviour);
    writeFile(path("fw.tar"_s), "");
    QCOMPARE(firmware->installFirmware(path("fw.tar"_s), path("target"_s)), exitCode == 0);
}

void FirmwareTest::tarThatCannotBeStartedFails()
{
    pack(path("fw.tar"_s));
    const QByteArray searchPath = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(scratch->path()));
    const bool success = firmware->installFirmware(path("fw.tar"_s), path("target"_s));
    qputenv("PATH", searchPath);
    QVERIFY(!success);
}

void FirmwareTest::outputIsNotReadAndDoesNotBlock()
{
    StandInTool tar("tar");
    StandInTool::Behaviour chatty;
    chatty.output = QByteArray(300000, 'o');
    chatty.errorOutput = QByteArray(300000, 'e');
    tar.setBehaviour(chatty);
    writeFile(path("fw.tar"_s), "");
    QByteArray output;
    bool success = false;
    {
        StdoutCapture capture;
        success = firmware->installFirmware(path("fw.tar"_s), path("target"_s));
        output = capture.take();
    }
    QVERIFY(success);
    QCOMPARE(output, QByteArray());
}

void FirmwareTest::writesNoMessage()
{
    pack(path("fw.tar"_s));
    QByteArray output;
    QStringList messages;
    {
        StdoutCapture capture;
        MessageLog log;
        Firmware other(nullptr);
        other.installFirmware(path("fw.tar"_s), path("target"_s));
        other.installFirmware(path("absent"_s), path("target"_s));
        other.installFirmware(path("fw.tar"_s), "/dev/null/target"_s);
        messages = log.texts();
        output = capture.take();
    }
    QCOMPARE(messages, QStringList());
    QCOMPARE(output, QByteArray());
}

void FirmwareTest::processGoesToTheThread()
{
    QThread thread;
    Firmware *const owned = new Firmware(&thread);
    QCOMPARE(owned->parent(), &thread);
    QCOMPARE(owned->thread(), QThread::currentThread());
    QCOMPARE(owned->m_process->thread(), &thread);
    QVERIFY(!owned->m_process->parent());
    delete owned;
}

void FirmwareTest::threadMayBeNull()
{
    QVERIFY(!firmware->parent());
    QCOMPARE(firmware->m_process->thread(), QThread::currentThread());
}

void FirmwareTest::unpacksInAThreadOfItsOwn()
{
    pack(path("fw.tar"_s));
    QThread thread;
    QObject inThread;
    inThread.moveToThread(&thread);
    Firmware owned(&thread);
    thread.start();
    bool success = false;
    QMetaObject::invokeMethod(
        &inThread, [&] { success = owned.installFirmware(path("fw.tar"_s), path("target"_s)); },
        Qt::BlockingQueuedConnection);
    thread.quit();
    QVERIFY(thread.wait());
    QVERIFY(success);
    QCOMPARE(readFile(path("target/b.bin"_s)), QByteArray("BBB"));
}

KESTRA_TEST_MAIN(FirmwareTest)

#include "firmwaretest.moc"
