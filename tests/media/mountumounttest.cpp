// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "fakehal.h"
#include "files.h"
#include "loopdevice.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/media/mediamanager.h>

#include <QDir>
#include <QProcess>

#include <algorithm>
#include <optional>

#include <signal.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString disc = "/org/freedesktop/Hal/devices/disc"_s;
const QString unknown = "/org/freedesktop/Hal/devices/unknown"_s;

QString exitCodeLine(const char *method, int code)
{
    return "MediaManager::%1(): exit code: %2"_s.arg(QLatin1String(method)).arg(code);
}

const QString emptyMountPointOfMount =
    "MediaManager::mountVolume(): empty mount point, aborting (returning -1)!"_s;
const QString emptyMountPointOfUnmount =
    "MediaManager::unmountVolume(): empty mount point, aborting (returning -1)!"_s;
const QString noMountPoint =
    "MediaManager::getVolumeMountPoint(): dbus reply is invalid. Returning empty string!"_s;
const QString mountPointError = "MediaManager::getVolumeMountPoint(): dbus reply error: "_s;
const QString noFlag =
    "MediaManager::getVolumeIsMounted(): dbus reply is invalid. Returning false!"_s;
const QString flagError = "MediaManager::getVolumeIsMounted(): dbus reply error: "_s;
const QString unknownDevice = "QDBusError(\"org.freedesktop.Hal.NoSuchDevice\", \"on purpose\")"_s;

QString returningMountPoint(const QString &mountPoint)
{
    return "MediaManager::getVolumeMountPoint(): Returning mount point: \"%1\""_s.arg(mountPoint);
}

StandInTool::Behaviour ending(int exitCode, const QByteArray &output = {},
                              const QByteArray &errorOutput = {})
{
    StandInTool::Behaviour behaviour;
    behaviour.output = output;
    behaviour.errorOutput = errorOutput;
    behaviour.exitCode = exitCode;
    return behaviour;
}

/** Sets a variable of the environment, or removes it, until the end of the scope. */
class ScopedVariable
{
public:
    ScopedVariable(const char *name, const QByteArray &value)
        : m_name(name), m_previous(qgetenv(name))
    {
        set(value);
    }
    ~ScopedVariable() { set(m_previous); }
    Q_DISABLE_COPY(ScopedVariable)

private:
    void set(const QByteArray &value)
    {
        if (value.isNull())
            qunsetenv(m_name);
        else
            qputenv(m_name, value);
    }

    const char *const m_name;
    const QByteArray m_previous;
};

}

/** Mounting, unmounting and ejecting, with stand-ins and with the tools themselves. */
class MountUmountTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void mountWithEmptyMountPoint();
    void mountOfUnknownVolume_data();
    void mountOfUnknownVolume();
    void mountOfVolumeWithUnreadableDevice_data();
    void mountOfVolumeWithUnreadableDevice();
    void mountCreatesThePath();
    void mountCreatesARelativePathOnce();
    void mountUsesAnExistingDirectory_data();
    void mountUsesAnExistingDirectory();
    void mountPointIsInsertedUnchanged();
    void mountWithoutMountPath_data();
    void mountWithoutMountPath();
    void mountPassesAnEmptyDeviceOn();
    void mountDoesNotAskWhetherItIsMounted();
    void mountReturnsTheExitCode();
    void mountThatIsKilled();
    void mountThatCannotBeStarted();

    void unmountWithEmptyMountPoint();
    void unmountPassesArguments_data();
    void unmountPassesArguments();
    void unmountReturnsTheExitCode();
    void unmountThatCannotBeStarted();

    void ejectUnmountsFirst();
    void ejectOfAVolumeThatIsNotMounted();
    void ejectOfUnknownVolumeHasNoArguments();
    void ejectWithoutDeviceHasNoArguments();
    void ejectGoesOnWhenUnmountingFails();
    void ejectReportsOtherExitCodes();
    void ejectThatIsKilled();
    void ejectThatCannotBeStarted();

    void mountPointOfVolume_data();
    void mountPointOfVolume();
    void mountPointThatCannotBeRead_data();
    void mountPointThatCannotBeRead();
    void isMounted_data();
    void isMounted();
    void isMountedThatCannotBeRead_data();
    void isMountedThatCannotBeRead();

    void toolsInheritTheEnvironment_data();
    void toolsInheritTheEnvironment();
    void toolsInheritTheWorkingDirectory();
    void outputOfToolsIsNotRead();
    void toolsGetAnOpenInput();
    void eachActionHasItsProcess();
    void busyProcessIsWaitedFor_data();
    void busyProcessIsWaitedFor();
    void daemonVanishesInAQuestion();
    void nothingGoesToStandardOutput();

    void realImageIsMountedAndUnmounted();
    void realMountFails();
    void realUnmountOfABusyVolume();
    void realEjectOfALoopDeviceFails();

private:
    std::optional<DebugFile> m_debugFile;
    std::optional<MessageLog> m_log;
    std::optional<FakeHal> m_hal;
    std::optional<MediaManager> m_manager;
};

void MountUmountTest::init()
{
    m_debugFile.emplace();
    m_log.emplace();
    m_hal.emplace();
    m_hal->addDevice(disc, {{"block.device"_s, "/dev/sr7"_s}, {"volume.mount_point"_s, QString()}});
    m_manager.emplace(nullptr);
}

void MountUmountTest::cleanup()
{
    m_manager.reset();
    m_hal.reset();
    m_log.reset();
    QCOMPARE(m_debugFile->text(), QByteArray());
    m_debugFile.reset();
    remove("/mnt/kestra-test"_s);
}

void MountUmountTest::mountWithEmptyMountPoint()
{
    const StandInTool mount("mount");
    QCOMPARE(m_manager->mountVolume(disc, QString()), -1);
    QCOMPARE(m_manager->mountVolume(unknown, ""_s), -1);
    QCOMPARE(m_log->debugs(), QStringList({emptyMountPointOfMount, emptyMountPointOfMount}));
    QCOMPARE(m_log->texts().size(), 2);
    QVERIFY(m_hal->calls().isEmpty());
    QVERIFY(mount.calls().isEmpty());
}

void MountUmountTest::mountOfUnknownVolume_data()
{
    QTest::addColumn<QString>("udi");
    QTest::newRow("unknown") << unknown;
    QTest::newRow("empty") << QString();
    QTest::newRow("no object path") << "x"_s;
    QTest::newRow("double slash") << "/a//b"_s;
}

void MountUmountTest::mountOfUnknownVolume()
{
    QFETCH(QString, udi);
    const StandInTool mount("mount");
    QCOMPARE(m_manager->mountVolume(udi, "/mnt/kestra-test"_s), -2);
    QCOMPARE(
        m_log->debugs(),
        QStringList("MediaManager::mountVolume(): reply is invalid, aborting (returning -2)"_s));
    QVERIFY(mount.calls().isEmpty());
    QVERIFY(!exists("/mnt/kestra-test"_s));
}

void MountUmountTest::mountOfVolumeWithUnreadableDevice_data()
{
    QTest::addColumn<int>("behaviour");
    QTest::newRow("error") << int(FakeHal::Error);
    QTest::newRow("variant") << int(FakeHal::WrapInVariant);
    QTest::newRow("number") << int(FakeHal::WrongType);
    QTest::newRow("vanishes") << int(FakeHal::Vanish);
}

void MountUmountTest::mountOfVolumeWithUnreadableDevice()
{
    QFETCH(int, behaviour);
    const StandInTool mount("mount");
    m_hal->setBehaviour(FakeHal::Behaviour(behaviour), "GetProperty"_s, "block.device"_s);
    QCOMPARE(m_manager->mountVolume(disc, "/mnt/kestra-test"_s), -2);
    QCOMPARE(
        m_log->debugs(),
        QStringList("MediaManager::mountVolume(): reply is invalid, aborting (returning -2)"_s));
    QVERIFY(mount.calls().isEmpty());
    QVERIFY(!exists("/mnt/kestra-test"_s));
}

void MountUmountTest::mountCreatesThePath()
{
    const StandInTool mount("mount");
    QCOMPARE(m_manager->mountVolume(disc, "/mnt/kestra-test/a/b"_s), 0);
    QVERIFY(QDir("/mnt/kestra-test/a/b"_s).exists());
    QCOMPARE(mount.argumentsOfCalls(),
             QList<QStringList>({{"/dev/sr7"_s, "/mnt/kestra-test/a/b"_s}}));
    // The first text is one QString, which Qt puts in quotes and whose own quotes it escapes.
    QCOMPARE(m_log->debugs(),
             QStringList({"\"MediaManager::mountVolume(): mount path \\\"/mnt/kestra-test/a/b\\\""
                          " successfully created.\""_s,
                          exitCodeLine("mountVolume", 0)}));
    QCOMPARE(m_log->texts().size(), 2);
}

void MountUmountTest::mountCreatesARelativePathOnce()
{
    const StandInTool mount("mount");
    makeDirectory("/mnt/kestra-test"_s);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent("/mnt/kestra-test"_s));
    const int code = m_manager->mountVolume(disc, "relative"_s);
    QDir::setCurrent(before);
    QCOMPARE(code, 0);
    QCOMPARE(listTree("/mnt/kestra-test"_s), QStringList("relative/"_s));
}

void MountUmountTest::mountUsesAnExistingDirectory_data()
{
    QTest::addColumn<QString>("mountPoint");
    QTest::newRow("directory") << "/mnt/kestra-test/dir"_s;
    QTest::newRow("trailing slash") << "/mnt/kestra-test/dir/"_s;
    QTest::newRow("link to a directory") << "/mnt/kestra-test/link"_s;
    QTest::newRow("relative") << "dir"_s;
    QTest::newRow("like an option") << "-l"_s;
}

void MountUmountTest::mountUsesAnExistingDirectory()
{
    QFETCH(QString, mountPoint);
    makeDirectory("/mnt/kestra-test/dir"_s);
    makeDirectory("/mnt/kestra-test/-l"_s);
    QVERIFY(QFile::link("dir"_s, "/mnt/kestra-test/link"_s));
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent("/mnt/kestra-test"_s));
    const StandInTool mount("mount");
    const int code = m_manager->mountVolume(disc, mountPoint);
    QVERIFY(QDir::setCurrent(previous));
    QCOMPARE(code, 0);
    QCOMPARE(mount.argumentsOfCalls(), QList<QStringList>({{"/dev/sr7"_s, mountPoint}}));
    QCOMPARE(m_log->texts(), QStringList(exitCodeLine("mountVolume", 0)));
}

void MountUmountTest::mountPointIsInsertedUnchanged()
{
    const StandInTool mount("mount");
    const QString mountPoint = "/mnt/kestra-test/100%1 %2 sure"_s;
    QCOMPARE(m_manager->mountVolume(disc, mountPoint), 0);
    QVERIFY(QDir(mountPoint).exists());
    QCOMPARE(m_log->texts().constFirst(),
             "\"MediaManager::mountVolume(): mount path \\\"/mnt/kestra-test/100%1 %2 sure\\\""
             " successfully created.\""_s);
    QCOMPARE(mount.argumentsOfCalls().constFirst().constLast(), mountPoint);
}

void MountUmountTest::mountWithoutMountPath_data()
{
    QTest::addColumn<QString>("mountPoint");
    QTest::newRow("below a file") << "/mnt/kestra-test/file/a/b"_s;
    QTest::newRow("a file") << "/mnt/kestra-test/file"_s;
}

void MountUmountTest::mountWithoutMountPath()
{
    QFETCH(QString, mountPoint);
    writeFile("/mnt/kestra-test/file"_s, "x");
    const StandInTool mount("mount");
    QCOMPARE(m_manager->mountVolume(disc, mountPoint), -3);
    QCOMPARE(m_log->debugs(),
             QStringList("\"MediaManager::mountVolume(): could not create mount "
                         "path (%1), aborting (returning -3)\""_s.arg(mountPoint)));
    QCOMPARE(m_log->texts().size(), 1);
    QVERIFY(mount.calls().isEmpty());
}

void MountUmountTest::mountPassesAnEmptyDeviceOn()
{
    const StandInTool mount("mount");
    m_hal->setProperty(disc, "block.device"_s, QString());
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 0);
    QCOMPARE(mount.argumentsOfCalls(), QList<QStringList>({{QString(), "/mnt"_s}}));
}

void MountUmountTest::mountDoesNotAskWhetherItIsMounted()
{
    const StandInTool mount("mount");
    m_hal->setProperty(disc, "volume.is_mounted"_s, true);
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 0);
    QCOMPARE(m_hal->calls().size(), 1);
    QCOMPARE(m_hal->calls().constFirst().path, disc);
    QCOMPARE(m_hal->calls().constFirst().arguments, QVariantList({"block.device"_s}));
}

void MountUmountTest::mountReturnsTheExitCode()
{
    StandInTool mount("mount");
    mount.setBehaviour(ending(32));
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 32);
    mount.setBehaviour(ending(255));
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 255);
    QCOMPARE(m_log->debugs(),
             QStringList({exitCodeLine("mountVolume", 32), exitCodeLine("mountVolume", 255)}));
}

void MountUmountTest::mountThatIsKilled()
{
    StandInTool mount("mount");
    StandInTool::Behaviour killed;
    killed.signal = SIGKILL;
    mount.setBehaviour(killed);
    const int code = m_manager->mountVolume(disc, "/mnt"_s);
    QCOMPARE(m_manager->m_mountProcess->exitStatus(), QProcess::CrashExit);
    QCOMPARE(code, m_manager->m_mountProcess->exitCode());
    QCOMPARE(m_log->debugs(), QStringList(exitCodeLine("mountVolume", code)));
}

void MountUmountTest::mountThatCannotBeStarted()
{
    const ScopedVariable path("PATH", "/nowhere");
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), -4);
    QCOMPARE(m_log->debugs(),
             QStringList("MediaManager::mountVolume(): couldn't mount volume, returning -4!"_s));
    QCOMPARE(m_log->texts().size(), 1);
}

void MountUmountTest::unmountWithEmptyMountPoint()
{
    const StandInTool umount("umount");
    QCOMPARE(m_manager->unmountVolume(QString(), false), -1);
    QCOMPARE(m_manager->unmountVolume(""_s, true), -1);
    QCOMPARE(m_log->debugs(), QStringList({emptyMountPointOfUnmount, emptyMountPointOfUnmount}));
    QCOMPARE(m_log->texts().size(), 2);
    QVERIFY(umount.calls().isEmpty());
}

void MountUmountTest::unmountPassesArguments_data()
{
    QTest::addColumn<QString>("mountPoint");
    QTest::addColumn<bool>("lazy");
    QTest::addColumn<QStringList>("arguments");
    const QString missing = "/no/such directory"_s;
    QTest::newRow("lazy") << "/mnt"_s << true << QStringList({"-l"_s, "/mnt"_s});
    QTest::newRow("not lazy") << "/mnt"_s << false << QStringList("/mnt"_s);
    QTest::newRow("missing directory") << missing << false << QStringList(missing);
}

void MountUmountTest::unmountPassesArguments()
{
    QFETCH(QString, mountPoint);
    QFETCH(bool, lazy);
    QFETCH(QStringList, arguments);
    const StandInTool umount("umount");
    QCOMPARE(m_manager->unmountVolume(mountPoint, lazy), 0);
    QCOMPARE(umount.argumentsOfCalls(), QList<QStringList>({arguments}));
    QCOMPARE(m_log->debugs(), QStringList(exitCodeLine("unmountVolume", 0)));
    QCOMPARE(m_log->texts().size(), 1);
    QVERIFY(m_hal->calls().isEmpty());
    QVERIFY(!exists("/no"_s));
}

void MountUmountTest::unmountReturnsTheExitCode()
{
    StandInTool umount("umount");
    umount.setBehaviour(ending(32));
    QCOMPARE(m_manager->unmountVolume("/mnt"_s, false), 32);
    QCOMPARE(m_log->debugs(), QStringList(exitCodeLine("unmountVolume", 32)));
}

void MountUmountTest::unmountThatCannotBeStarted()
{
    const ScopedVariable path("PATH", "/nowhere");
    QCOMPARE(m_manager->unmountVolume("/mnt"_s, true), -2);
    QCOMPARE(m_log->debugs(),
             QStringList("MediaManager::unmountVolume(): couldn't umount volume, returning -2!"_s));
    QCOMPARE(m_log->texts().size(), 1);
}

void MountUmountTest::ejectUnmountsFirst()
{
    StandInTool umount("umount");
    umount.setBehaviour(ending(3));
    const StandInTool eject("eject");
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt/disc"_s);
    int unmountedBefore = -1;
    m_hal->setCallHook([&](const FakeHal::Call &call) {
        if (call.arguments.value(0) == "block.device"_s)
            unmountedBefore = umount.calls().size();
    });
    QVERIFY(m_manager->ejectVolume(disc));
    QCOMPARE(umount.argumentsOfCalls(), QList<QStringList>({{"/mnt/disc"_s}}));
    QCOMPARE(eject.argumentsOfCalls(), QList<QStringList>({{"/dev/sr7"_s}}));
    QCOMPARE(m_hal->calls().size(), 2);
    QCOMPARE(unmountedBefore, 1);
    // Both exit codes are reported under the name of unmountVolume.
    QCOMPARE(m_log->debugs(),
             QStringList({returningMountPoint("/mnt/disc"_s), exitCodeLine("unmountVolume", 3),
                          exitCodeLine("unmountVolume", 0)}));
    QCOMPARE(m_log->texts().size(), 3);
}

void MountUmountTest::ejectOfAVolumeThatIsNotMounted()
{
    const StandInTool umount("umount");
    const StandInTool eject("eject");
    QVERIFY(m_manager->ejectVolume(disc));
    QVERIFY(umount.calls().isEmpty());
    QCOMPARE(eject.argumentsOfCalls(), QList<QStringList>({{"/dev/sr7"_s}}));
    QCOMPARE(m_log->debugs(),
             QStringList({returningMountPoint(QString()), emptyMountPointOfUnmount,
                          exitCodeLine("unmountVolume", 0)}));
}

void MountUmountTest::ejectOfUnknownVolumeHasNoArguments()
{
    const StandInTool umount("umount");
    const StandInTool eject("eject");
    QVERIFY(m_manager->ejectVolume(unknown));
    QVERIFY(umount.calls().isEmpty());
    QCOMPARE(eject.argumentsOfCalls(), QList<QStringList>({QStringList()}));
    QCOMPARE(m_log->debugs(),
             QStringList({noMountPoint, mountPointError + unknownDevice, emptyMountPointOfUnmount,
                          exitCodeLine("unmountVolume", 0)}));
    for (const char *udi : {"", "x", "/a//b"})
        QVERIFY(m_manager->ejectVolume(QString::fromLatin1(udi)));
    QCOMPARE(eject.argumentsOfCalls().constLast(), QStringList());
    QCOMPARE(eject.calls().size(), 4);
}

void MountUmountTest::ejectWithoutDeviceHasNoArguments()
{
    const StandInTool umount("umount");
    const StandInTool eject("eject");
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt/disc"_s);
    m_hal->setBehaviour(FakeHal::WrapInVariant, "GetProperty"_s, "block.device"_s);
    QVERIFY(m_manager->ejectVolume(disc));
    QCOMPARE(umount.calls().size(), 1);
    QCOMPARE(eject.argumentsOfCalls(), QList<QStringList>({QStringList()}));
}

void MountUmountTest::ejectGoesOnWhenUnmountingFails()
{
    const StandInTool eject("eject");
    const QString directory = QFileInfo(eject.path()).path();
    const ScopedVariable path("PATH", QFile::encodeName(directory)); // there is no umount
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt/disc"_s);
    QVERIFY(m_manager->ejectVolume(disc));
    QCOMPARE(m_log->debugs(),
             QStringList({returningMountPoint("/mnt/disc"_s),
                          "MediaManager::unmountVolume(): couldn't umount volume, returning -2!"_s,
                          exitCodeLine("unmountVolume", 0)}));
}

void MountUmountTest::ejectReportsOtherExitCodes()
{
    StandInTool eject("eject");
    for (const int code : {1, 2, 255}) {
        eject.setBehaviour(ending(code));
        QVERIFY(!m_manager->ejectVolume(disc));
        QCOMPARE(m_log->take().constLast(), exitCodeLine("unmountVolume", code));
    }
}

void MountUmountTest::ejectThatIsKilled()
{
    StandInTool eject("eject");
    StandInTool::Behaviour killed;
    killed.signal = SIGKILL;
    eject.setBehaviour(killed);
    QVERIFY(!m_manager->ejectVolume(disc));
    QCOMPARE(m_manager->m_ejectProcess->exitStatus(), QProcess::CrashExit);
}

void MountUmountTest::ejectThatCannotBeStarted()
{
    const ScopedVariable path("PATH", "/nowhere");
    QVERIFY(!m_manager->ejectVolume(disc));
    QCOMPARE(m_log->debugs().constLast(),
             "MediaManager::unmountVolume(): couldn't eject volume, returning false!"_s);
    QCOMPARE(m_log->texts().size(), 3);
}

void MountUmountTest::mountPointOfVolume_data()
{
    QTest::addColumn<QString>("mountPoint");
    QTest::newRow("mounted") << "/media/cdrom"_s;
    QTest::newRow("not mounted") << QString();
    QTest::newRow("with a blank") << "/media/my disc"_s;
}

void MountUmountTest::mountPointOfVolume()
{
    QFETCH(QString, mountPoint);
    m_hal->setProperty(disc, "volume.mount_point"_s, mountPoint);
    QCOMPARE(m_manager->getVolumeMountPoint(disc), mountPoint);
    QCOMPARE(m_log->debugs(), QStringList(returningMountPoint(mountPoint)));
    QCOMPARE(m_log->texts().size(), 1);
    QCOMPARE(m_hal->calls().size(), 1);
    QCOMPARE(m_hal->calls().constFirst().arguments, QVariantList({"volume.mount_point"_s}));
}

void MountUmountTest::mountPointThatCannotBeRead_data()
{
    QTest::addColumn<QString>("udi");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("behaviour");
    QTest::addColumn<QString>("error");
    const QString signature = "QDBusError(\"org.freedesktop.DBus.Error.InvalidSignature\""_s;
    QTest::newRow("unknown volume")
        << unknown << QVariant() << int(FakeHal::Normal) << unknownDevice;
    QTest::newRow("error")
        << disc << QVariant() << int(FakeHal::Error)
        << "QDBusError(\"org.freedesktop.Hal.PermissionDenied\", \"on purpose\")"_s;
    QTest::newRow("number") << disc << QVariant(7) << int(FakeHal::Normal) << signature;
    QTest::newRow("variant") << disc << QVariant("/media"_s) << int(FakeHal::WrapInVariant)
                             << signature;
    QTest::newRow("empty udi") << QString() << QVariant() << int(FakeHal::Normal)
                               << "QDBusError("_s;
}

void MountUmountTest::mountPointThatCannotBeRead()
{
    QFETCH(QString, udi);
    QFETCH(QVariant, value);
    QFETCH(int, behaviour);
    QFETCH(QString, error);
    m_hal->setProperty(disc, "volume.mount_point"_s, value);
    m_hal->setBehaviour(FakeHal::Behaviour(behaviour));
    QVERIFY(m_manager->getVolumeMountPoint(udi).isNull());
    const QStringList debugs = m_log->debugs();
    QCOMPARE(debugs.size(), 2);
    QCOMPARE(debugs.constFirst(), noMountPoint);
    QVERIFY2(debugs.constLast().startsWith(mountPointError + error),
             qPrintable(debugs.constLast()));
    QCOMPARE(m_log->texts().size(), 2);
}

void MountUmountTest::isMounted_data()
{
    QTest::addColumn<bool>("value");
    QTest::newRow("true") << true;
    QTest::newRow("false") << false;
}

void MountUmountTest::isMounted()
{
    QFETCH(bool, value);
    m_hal->setProperty(disc, "volume.is_mounted"_s, value);
    QCOMPARE(m_manager->getVolumeIsMounted(disc), value);
    // The text speaks of a mount point although a flag follows.
    QCOMPARE(m_log->debugs(),
             QStringList("MediaManager::getVolumeIsMounted(): Returning mount point: "_s
                         + QLatin1String(value ? "true" : "false")));
    QCOMPARE(m_log->texts().size(), 1);
    QCOMPARE(m_hal->calls().size(), 1);
    QCOMPARE(m_hal->calls().constFirst().arguments, QVariantList({"volume.is_mounted"_s}));
}

void MountUmountTest::isMountedThatCannotBeRead_data()
{
    QTest::addColumn<QString>("udi");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("behaviour");
    QTest::addColumn<QString>("error");
    const QString signature = "QDBusError(\"org.freedesktop.DBus.Error.InvalidSignature\""_s;
    QTest::newRow("unknown volume")
        << unknown << QVariant(true) << int(FakeHal::Normal) << unknownDevice;
    QTest::newRow("number") << disc << QVariant(1) << int(FakeHal::Normal) << signature;
    QTest::newRow("text") << disc << QVariant("true"_s) << int(FakeHal::Normal) << signature;
    QTest::newRow("variant") << disc << QVariant(true) << int(FakeHal::WrapInVariant) << signature;
    QTest::newRow("empty udi") << QString() << QVariant() << int(FakeHal::Normal)
                               << "QDBusError("_s;
}

void MountUmountTest::isMountedThatCannotBeRead()
{
    QFETCH(QString, udi);
    QFETCH(QVariant, value);
    QFETCH(int, behaviour);
    QFETCH(QString, error);
    m_hal->setProperty(disc, "volume.is_mounted"_s, value);
    m_hal->setBehaviour(FakeHal::Behaviour(behaviour));
    QVERIFY(!m_manager->getVolumeIsMounted(udi));
    const QStringList debugs = m_log->debugs();
    QCOMPARE(debugs.size(), 2);
    QCOMPARE(debugs.constFirst(), noFlag);
    QVERIFY2(debugs.constLast().startsWith(flagError + error), qPrintable(debugs.constLast()));
    QCOMPARE(m_log->texts().size(), 2);
}

void MountUmountTest::toolsInheritTheEnvironment_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::newRow("locale set") << QByteArray("de_DE.UTF-8");
    QTest::newRow("no locale") << QByteArray();
}

namespace {

/** Sorts variables, and leaves those out that valgrind keeps from children. */
QByteArrayList comparable(QByteArrayList variables)
{
    const auto isOfTheLoader = [](const QByteArray &entry) {
        return entry.startsWith("LD_") || entry.startsWith("GLIBC");
    };
    variables.erase(std::remove_if(variables.begin(), variables.end(), isOfTheLoader),
                    variables.end());
    std::sort(variables.begin(), variables.end());
    return variables;
}

}

void MountUmountTest::toolsInheritTheEnvironment()
{
    QFETCH(QByteArray, locale);
    const StandInTool mount("mount"), umount("umount"), eject("eject");
    const ScopedVariable lcAll("LC_ALL", locale), other("KESTRA_TEST", "a b");
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt"_s);
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 0);
    QVERIFY(m_manager->ejectVolume(disc));
    QByteArrayList own;
    for (char **entry = environ; *entry; ++entry)
        own.append(*entry);
    for (const StandInTool *const tool : {&mount, &umount, &eject}) {
        QCOMPARE(tool->calls().size(), 1);
        QCOMPARE(comparable(tool->calls().constFirst().environment), comparable(own));
        QCOMPARE(tool->calls().constFirst().variable("LC_ALL"), locale);
    }
}

void MountUmountTest::toolsInheritTheWorkingDirectory()
{
    const StandInTool mount("mount"), umount("umount"), eject("eject");
    const QString previous = QDir::currentPath();
    makeDirectory("/mnt/kestra-test"_s);
    QVERIFY(QDir::setCurrent("/mnt/kestra-test"_s));
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt"_s);
    m_manager->mountVolume(disc, "/mnt"_s);
    m_manager->ejectVolume(disc);
    QVERIFY(QDir::setCurrent(previous));
    for (const StandInTool *const tool : {&mount, &umount, &eject})
        QCOMPARE(tool->calls().constFirst().workingDirectory, "/mnt/kestra-test"_s);
}

void MountUmountTest::outputOfToolsIsNotRead()
{
    StandInTool mount("mount");
    const QByteArray output(1000000, 'o');
    mount.setBehaviour(ending(0, output, "error"));
    QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 0);
    QCOMPARE(m_manager->m_mountProcess->readAllStandardOutput(), output);
    QCOMPARE(m_manager->m_mountProcess->readAllStandardError(), QByteArray("error"));
    QCOMPARE(m_log->texts(), QStringList(exitCodeLine("mountVolume", 0)));
}

void MountUmountTest::toolsGetAnOpenInput()
{
    StandInTool umount("umount");
    StandInTool::Behaviour readsItsInput;
    readsItsInput.script = "readlink /proc/self/fd/0; timeout 0.3 cat; echo $?";
    umount.setBehaviour(readsItsInput);
    QCOMPARE(m_manager->unmountVolume("/mnt"_s, false), 0);
    const QByteArray output = m_manager->m_unmountProcess->readAllStandardOutput();
    QVERIFY2(output.startsWith("pipe:"), output.constData());
    QVERIFY2(output.endsWith("\n124\n"), output.constData()); // cat has waited in vain
}

void MountUmountTest::eachActionHasItsProcess()
{
    StandInTool mount("mount"), umount("umount"), eject("eject");
    mount.setBehaviour(ending(1, "mount"));
    umount.setBehaviour(ending(2, "umount"));
    eject.setBehaviour(ending(3, "eject"));
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt"_s);
    for (int i = 0; i < 2; ++i) { // the processes are used again
        QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 1);
        QVERIFY(!m_manager->ejectVolume(disc));
        QCOMPARE(m_manager->m_mountProcess->readAllStandardOutput(), QByteArray("mount"));
        QCOMPARE(m_manager->m_unmountProcess->readAllStandardOutput(), QByteArray("umount"));
        QCOMPARE(m_manager->m_ejectProcess->readAllStandardOutput(), QByteArray("eject"));
        QCOMPARE(m_manager->m_mountProcess->exitCode(), 1);
        QCOMPARE(m_manager->m_unmountProcess->exitCode(), 2);
        QCOMPARE(m_manager->m_ejectProcess->exitCode(), 3);
    }
}

void MountUmountTest::busyProcessIsWaitedFor_data()
{
    QTest::addColumn<QByteArray>("action");
    for (const char *action : {"mount", "umount", "eject"})
        QTest::newRow(action) << QByteArray(action);
}

void MountUmountTest::busyProcessIsWaitedFor()
{
    QFETCH(QByteArray, action);
    StandInTool tool(action.constData());
    QProcess *const process = action == "mount" ? m_manager->m_mountProcess
        : action == "umount"                    ? m_manager->m_unmountProcess
                                                : m_manager->m_ejectProcess;
    process->start(helperProgram("processhelper"), {"wait"_s, "300"_s, "exit"_s, "42"_s});
    QVERIFY(process->waitForStarted());
    if (action == "mount")
        QCOMPARE(m_manager->mountVolume(disc, "/mnt"_s), 42);
    else if (action == "umount")
        QCOMPARE(m_manager->unmountVolume("/mnt"_s, false), 42);
    else
        QVERIFY(!m_manager->ejectVolume(disc));
    QVERIFY(tool.calls().isEmpty());
    QCOMPARE(m_log->warnings(), QStringList("QProcess::start: Process is already running"_s));
    QCOMPARE(m_log->debugs().constLast(),
             exitCodeLine(action == "mount" ? "mountVolume" : "unmountVolume", 42));
}

void MountUmountTest::daemonVanishesInAQuestion()
{
    const StandInTool eject("eject");
    m_hal->setBehaviour(FakeHal::Vanish, "GetProperty"_s);
    QVERIFY(m_manager->getVolumeMountPoint(disc).isNull());
    QVERIFY(!m_manager->getVolumeIsMounted(disc));
    QVERIFY(m_manager->ejectVolume(disc));
    QCOMPARE(m_log->debugs().size(), 2 + 2 + 4);
    QCOMPARE(eject.argumentsOfCalls(), QList<QStringList>({QStringList()}));
    m_hal->resetBehaviour();
    m_hal->start();
    m_log->clear();
    m_manager->getVolumeMountPoint(disc);
    QCOMPARE(m_log->debugs(), QStringList(returningMountPoint(QString())));
}

void MountUmountTest::nothingGoesToStandardOutput()
{
    StandInTool mount("mount"), umount("umount"), eject("eject");
    for (StandInTool *const tool : {&mount, &umount, &eject})
        tool->setBehaviour(ending(0, "output\n"));
    m_hal->setProperty(disc, "volume.mount_point"_s, "/mnt"_s);
    QByteArray output;
    {
        StdoutCapture capture;
        m_manager->mountVolume(disc, "/mnt/kestra-test"_s);
        m_manager->ejectVolume(disc);
        m_manager->getVolumeIsMounted(disc);
        output = capture.take();
    }
    QCOMPARE(mount.calls().size() + umount.calls().size() + eject.calls().size(), 3);
    QCOMPARE(output, QByteArray());
}

namespace {

const QString realMountPoint = "/media/kestra-disc"_s;

/** Makes an image of a small file system. */
void makeImage(const QString &path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(1 << 20));
    QCOMPARE(QProcess::execute("mkfs.ext2"_s, {"-q"_s, "-F"_s, path}), 0);
}

}

// NOLINTBEGIN(bugprone-macro-parentheses): the argument is the name that is declared
#define REAL_DISC(device)                                                                          \
    const QTemporaryDir imageDirectory;                                                            \
    makeImage(imageDirectory.filePath("disc.img"_s));                                              \
    const LoopDevice device(imageDirectory.filePath("disc.img"_s));                                \
    if (device.path().isEmpty())                                                                   \
        QSKIP("no loop device: needs root");                                                       \
    m_hal->setProperty(disc, "block.device"_s, device.path())
// NOLINTEND(bugprone-macro-parentheses)

void MountUmountTest::realImageIsMountedAndUnmounted()
{
    REAL_DISC(device);
    QCOMPARE(m_manager->mountVolume(disc, realMountPoint), 0);
    QVERIFY(exists(realMountPoint + "/lost+found"_s));
    QCOMPARE(m_manager->unmountVolume(realMountPoint, false), 0);
    QVERIFY(!exists(realMountPoint + "/lost+found"_s));
    QVERIFY(exists(realMountPoint)); // what was created is not removed
    QCOMPARE(m_manager->unmountVolume(realMountPoint, false), 32);
    QCOMPARE(m_log->debugs(),
             QStringList({"\"MediaManager::mountVolume(): mount path \\\"/media/kestra-disc\\\""
                          " successfully created.\""_s,
                          exitCodeLine("mountVolume", 0), exitCodeLine("unmountVolume", 0),
                          exitCodeLine("unmountVolume", 32)}));
    remove(realMountPoint);
}

void MountUmountTest::realMountFails()
{
    REAL_DISC(device);
    QCOMPARE(m_manager->mountVolume(disc, realMountPoint), 0);
    QCOMPARE(m_manager->mountVolume(disc, realMountPoint), 32);
    QCOMPARE(m_manager->unmountVolume(realMountPoint, false), 0);
    m_hal->setProperty(disc, "block.device"_s, "/dev/kestra-no-such-device"_s);
    QCOMPARE(m_manager->mountVolume(disc, realMountPoint), 32);
    remove(realMountPoint);
}

void MountUmountTest::realUnmountOfABusyVolume()
{
    REAL_DISC(device);
    QCOMPARE(m_manager->mountVolume(disc, realMountPoint), 0);
    QFile file(realMountPoint + "/open"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(m_manager->unmountVolume(realMountPoint, false), 32);
    QVERIFY(exists(file.fileName()));
    QCOMPARE(m_manager->unmountVolume(realMountPoint, true), 0);
    QVERIFY(!exists(file.fileName()));
    file.close();
    remove(realMountPoint);
}

void MountUmountTest::realEjectOfALoopDeviceFails()
{
    if (QStandardPaths::findExecutable("eject"_s).isEmpty())
        QSKIP("eject is not installed");
    REAL_DISC(device);
    QCOMPARE(m_manager->mountVolume(disc, realMountPoint), 0);
    m_hal->setProperty(disc, "volume.mount_point"_s, realMountPoint);
    m_log->clear();
    QVERIFY(!m_manager->ejectVolume(disc));
    QVERIFY(!exists(realMountPoint + "/lost+found"_s));
    QCOMPARE(m_log->debugs(),
             QStringList({returningMountPoint(realMountPoint), exitCodeLine("unmountVolume", 0),
                          exitCodeLine("unmountVolume", 1)}));
    remove(realMountPoint);
}

KESTRA_TEST_MAIN(MountUmountTest)

#include "mountumounttest.moc"
