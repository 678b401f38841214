// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "fakehal.h"
#include "files.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/foundation/debuglog.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDebug>
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>

#include <memory>

#include <signal.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString modem = "/org/freedesktop/Hal/devices/modem"_s;
const QString disc = "/org/freedesktop/Hal/devices/disc"_s;

QDBusInterface manager()
{
    return QDBusInterface("org.freedesktop.Hal"_s, "/org/freedesktop/Hal/Manager"_s,
                          "org.freedesktop.Hal.Manager"_s, QDBusConnection::systemBus());
}

QDBusMessage ask(const QString &udi, const char *name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        "org.freedesktop.Hal"_s, udi, "org.freedesktop.Hal.Device"_s, "GetProperty"_s);
    call << QString::fromLatin1(name);
    return QDBusConnection::systemBus().call(call, QDBus::Block, 2000);
}

void addDevices(FakeHal &hal)
{
    hal.addDevice(modem, {{"usb.vendor_id"_s, 0x1110}, {"info.product"_s, "Modem"_s}});
    hal.addDevice(
        disc, {{"volume.is_mounted"_s, true}, {"info.capabilities"_s, QStringList({"a"_s, "b"_s})}},
        {"volume.disc"_s});
}

}

/** The sandbox and the stand-ins of the other tests. */
class SupportTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void signalReceived(const QString &udi) { Q_EMIT announced(udi); }

Q_SIGNALS:
    void announced(QString udi);

private Q_SLOTS:
    void sandboxHasScratchDirectories_data();
    void sandboxHasScratchDirectories();
    void sandboxKeepsEtcWritable();
    void sandboxHasItsOwnProcesses();

    void messageLogTellsTypesApart();
    void debugFileResetsTheGlobals();
    void stdoutCaptureTakesAllWriters();
    void filesHaveModesAndTrees();

    void standInRecordsTheCall();
    void standInFollowsItsBehaviours();
    void standInLeavesThePathAsItWas();

    void halRepliesWithBareTypes();
    void halKnowsDevicesInOrder();
    void halReportsUnknownThings();
    void halIsIntrospected();
    void halMisbehaves();
    void halHangs();
    void halVanishesInACall();
    void halEmitsSignals();
};

void SupportTest::sandboxHasScratchDirectories_data()
{
    QTest::addColumn<QString>("path");
    for (const char *path : {"/tmp", "/var/tmp", "/mnt", "/media", "/opt", "/etc", "/lib/modules"})
        QTest::newRow(path) << QString::fromLatin1(path);
}

void SupportTest::sandboxHasScratchDirectories()
{
    QFETCH(QString, path);
    const QString file = path + "/kestra-scratch/file"_s;
    writeFile(file, "x");
    QCOMPARE(readFile(file), QByteArray("x"));
    remove(path + "/kestra-scratch"_s);
    QVERIFY(!exists("/opt/kestra"_s));
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
}

void SupportTest::sandboxKeepsEtcWritable()
{
    const QString file = "/etc/passwd"_s;
    const QByteArray original = readFile(file);
    writeFile(file, "changed\n");
    QCOMPARE(readFile(file), QByteArray("changed\n"));
    writeFile(file, original);
}

void SupportTest::sandboxHasItsOwnProcesses()
{
    QVERIFY(readFile("/proc/1/cmdline"_s).contains("--inside"));
    QVERIFY(getpid() != 1);
}

void SupportTest::messageLogTellsTypesApart()
{
    MessageLog log;
    qDebug() << "text:"
             << "quoted"_s << 7;
    qWarning() << "warned"_s;
    QCOMPARE(log.debugs(), QStringList(QStringLiteral("text: \"quoted\" 7")));
    QCOMPARE(log.warnings(), QStringList(QStringLiteral("\"warned\"")));
    QCOMPARE(log.take().size(), 2);
    QVERIFY(log.texts().isEmpty());
}

void SupportTest::debugFileResetsTheGlobals()
{
    {
        DebugFile file;
        QVERIFY(debug);
        fputs("one\n\ntwo\n", pFile);
        QCOMPARE(file.lines(), QStringList({"one"_s, QString(), "two"_s}));
        QCOMPARE(file.text(), QByteArray("one\n\ntwo\n"));
    }
    QVERIFY(!debug);
    QVERIFY(!debugToFile);
    QVERIFY(!pFile);
}

void SupportTest::stdoutCaptureTakesAllWriters()
{
    QByteArray first, second;
    {
        StdoutCapture capture;
        printf("from printf");
        first = capture.take();
        QProcess::execute("/bin/echo"_s, {"from a child"_s});
        second = capture.take();
    }
    QCOMPARE(first, QByteArray("from printf"));
    QCOMPARE(second, QByteArray("from a child\n"));
}

void SupportTest::filesHaveModesAndTrees()
{
    const QString directory = "/tmp/files"_s;
    writeFile(directory + "/.hidden"_s, "1", 0640);
    writeFile(directory + "/sub/file"_s, "2");
    QVERIFY(QFile::link("nowhere"_s, directory + "/link"_s));
    QCOMPARE(fileMode(directory + "/.hidden"_s), 0640);
    QCOMPARE(fileMode(directory + "/absent"_s), -1);
    QCOMPARE(linkTarget(directory + "/link"_s), "nowhere"_s);
    QVERIFY(exists(directory + "/link"_s));
    QCOMPARE(listDirectory(directory), QStringList({".hidden"_s, "link"_s, "sub"_s}));
    QCOMPARE(listTree(directory), QStringList({".hidden"_s, "link"_s, "sub/"_s, "sub/file"_s}));
    remove(directory);
    QVERIFY(!exists(directory));
}

void SupportTest::standInRecordsTheCall()
{
    StandInTool tool("sometool");
    qputenv("KESTRA_PROBE", "a b\nc");
    QProcess process;
    process.setWorkingDirectory("/usr/bin"_s);
    process.start("sometool"_s, {QString(), "two words"_s, "*"_s});
    QVERIFY(process.waitForFinished());
    qunsetenv("KESTRA_PROBE");

    QCOMPARE(tool.calls().size(), 1);
    const StandInTool::Call call = tool.calls().constFirst();
    QCOMPARE(call.arguments, QStringList({QString(), "two words"_s, "*"_s}));
    QCOMPARE(call.program, tool.path().toLocal8Bit());
    QCOMPARE(call.variable("KESTRA_PROBE"), QByteArray("a b\nc"));
    QVERIFY(call.variable("KESTRA_ABSENT").isNull());
    QCOMPARE(call.workingDirectory, "/usr/bin"_s);
}

void SupportTest::standInFollowsItsBehaviours()
{
    StandInTool tool("sometool");
    StandInTool::Behaviour byDefault;
    byDefault.output = QByteArray("out\0put", 7);
    byDefault.errorOutput = "error";
    byDefault.exitCode = 3;
    tool.setBehaviour(byDefault);
    StandInTool::Behaviour killed;
    killed.signal = SIGKILL;
    tool.setBehaviourFor("die", killed);
    StandInTool::Behaviour scripted;
    scripted.script = "echo \"$2\"; exit 5";
    tool.addBehaviour(scripted);

    QProcess process;
    const auto run = [&process](const QStringList &arguments) {
        process.start("sometool"_s, arguments);
        return process.waitForFinished();
    };
    QVERIFY(run({"x"_s, "die"_s}));
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    QVERIFY(run({"a"_s, "b c"_s}));
    QCOMPARE(process.exitCode(), 5);
    QCOMPARE(process.readAllStandardOutput(), QByteArray("b c\n"));
    QVERIFY(run({}));
    QCOMPARE(process.exitCode(), 3);
    QCOMPARE(process.readAllStandardOutput(), QByteArray("out\0put", 7));
    QCOMPARE(process.readAllStandardError(), QByteArray("error"));

    StandInTool::Behaviour slow;
    slow.waitAfter = 300;
    tool.setBehaviour(slow);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(run({}));
    QVERIFY(timer.elapsed() >= 300);
    QCOMPARE(tool.argumentsOfCalls().size(), 4);
}

void SupportTest::standInLeavesThePathAsItWas()
{
    const QByteArray before = qgetenv("PATH");
    {
        StandInTool one("one");
        StandInTool two("two");
        QVERIFY(qgetenv("PATH") != before);
        QCOMPARE(QProcess::execute("one"_s, {}), 0);
        QCOMPARE(QProcess::execute("two"_s, {}), 0);
    }
    QCOMPARE(qgetenv("PATH"), before);
}

void SupportTest::halRepliesWithBareTypes()
{
    FakeHal hal;
    addDevices(hal);
    QCOMPARE(ask(modem, "usb.vendor_id").signature(), "i"_s);
    QCOMPARE(ask(modem, "usb.vendor_id").arguments(), QVariantList({0x1110}));
    QCOMPARE(ask(modem, "info.product").signature(), "s"_s);
    QCOMPARE(ask(disc, "volume.is_mounted").signature(), "b"_s);
    QCOMPARE(ask(disc, "info.capabilities").signature(), "as"_s);
    QCOMPARE(hal.calls("GetProperty"_s).size(), 5);
    QCOMPARE(hal.calls().constFirst().path, modem);
    QCOMPARE(hal.calls().constFirst().interface, "org.freedesktop.Hal.Device"_s);
}

void SupportTest::halKnowsDevicesInOrder()
{
    FakeHal hal;
    const QStringList capability = {"volume.disc"_s};
    const QStringList udis = {"/z"_s, "/a"_s, "/m"_s};
    for (const QString &udi : udis)
        hal.addDevice(udi, {}, capability);
    hal.addDevice(modem, {});
    QDBusInterface iface = manager();
    QDBusReply<QStringList> found = iface.call("FindDeviceByCapability"_s, capability.constFirst());
    QCOMPARE(found.value(), udis);
    hal.removeDevice("/a"_s);
    QDBusReply<bool> there = iface.call("DeviceExists"_s, "/a"_s);
    QVERIFY(there.isValid() && !there.value());
    there = iface.call("DeviceExists"_s, modem);
    QVERIFY(there.isValid() && there.value());
}

void SupportTest::halReportsUnknownThings()
{
    FakeHal hal;
    addDevices(hal);
    QCOMPARE(ask("/no/such"_s, "x").errorName(), "org.freedesktop.Hal.NoSuchDevice"_s);
    QCOMPARE(ask(modem, "x").errorName(), "org.freedesktop.Hal.NoSuchProperty"_s);
    hal.setProperty(modem, "x"_s, 5);
    QCOMPARE(ask(modem, "x").arguments(), QVariantList({5}));
}

void SupportTest::halIsIntrospected()
{
    FakeHal hal;
    QDBusInterface iface = manager();
    QVERIFY(iface.isValid());
    QVERIFY(iface.metaObject()->indexOfMethod("DeviceExists(QString)") >= 0);
    QVERIFY(hal.calls().isEmpty());
}

void SupportTest::halMisbehaves()
{
    FakeHal hal;
    addDevices(hal);
    hal.setBehaviour(FakeHal::Error, "GetProperty"_s, "info.product"_s);
    QCOMPARE(ask(modem, "info.product").type(), QDBusMessage::ErrorMessage);
    QCOMPARE(ask(modem, "usb.vendor_id").type(), QDBusMessage::ReplyMessage);
    hal.setBehaviour(FakeHal::WrapInVariant);
    QCOMPARE(ask(modem, "info.product").signature(), "v"_s);
    hal.setBehaviour(FakeHal::WrongType, QString(), QString(), modem);
    QCOMPARE(ask(modem, "info.product").signature(), "i"_s);
    QCOMPARE(ask(modem, "usb.vendor_id").signature(), "s"_s);
    hal.resetBehaviour();
    QCOMPARE(ask(modem, "info.product").signature(), "s"_s);
}

void SupportTest::halHangs()
{
    FakeHal hal;
    addDevices(hal);
    hal.setBehaviour(FakeHal::Hang);
    QCOMPARE(ask(modem, "info.product").errorName(), "org.freedesktop.DBus.Error.NoReply"_s);
    hal.resetBehaviour();
    QCOMPARE(ask(modem, "info.product").type(), QDBusMessage::ReplyMessage);
}

void SupportTest::halVanishesInACall()
{
    FakeHal hal;
    addDevices(hal);
    hal.setBehaviour(FakeHal::Vanish, "GetProperty"_s);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(ask(modem, "info.product").errorName(), "org.freedesktop.DBus.Error.NoReply"_s);
    QVERIFY(timer.elapsed() < 1500);
    const QDBusConnectionInterface *const bus = QDBusConnection::systemBus().interface();
    QVERIFY(!bus->isServiceRegistered("org.freedesktop.Hal"_s));
    hal.resetBehaviour();
    hal.start();
    QCOMPARE(ask(modem, "info.product").type(), QDBusMessage::ReplyMessage);
    hal.stop();
    QCOMPARE(ask(modem, "info.product").type(), QDBusMessage::ErrorMessage);
}

void SupportTest::halEmitsSignals()
{
    QVERIFY(QDBusConnection::systemBus().connect(
        "org.freedesktop.Hal"_s, "/org/freedesktop/Hal/Manager"_s, "org.freedesktop.Hal.Manager"_s,
        "DeviceAdded"_s, this, SLOT(signalReceived(QString))));
    FakeHal hal;
    QSignalSpy spy(this, &SupportTest::announced);
    hal.emitDeviceAdded(modem);
    QVERIFY(spy.wait());
    QCOMPARE(spy.constFirst().constFirst().toString(), modem);
}

KESTRA_TEST_MAIN(SupportTest)

#include "supporttest.moc"
