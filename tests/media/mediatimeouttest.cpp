// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fakehal.h"
#include "messagelog.h"
#include "standintool.h"
#include "testmain.h"

#include <kestra/media/mediamanager.h>

#include <QElapsedTimer>
#include <QProcess>

#include <signal.h>

using namespace KestraTest;

namespace {

const QString disc = "/org/freedesktop/Hal/devices/disc"_s;

/** A tool that goes on for two seconds after its time is over. */
StandInTool::Behaviour slowBehaviour(int timeout, int exitCode)
{
    StandInTool::Behaviour slow;
    slow.waitAfter = timeout + 2000;
    slow.exitCode = exitCode;
    return slow;
}

bool isRunning(const StandInTool &tool)
{
    return tool.calls().size() == 1 && kill(pid_t(tool.calls().constFirst().pid), 0) == 0;
}

const QStringList refusal = {QStringLiteral("QProcess::start: Process is already running")};

}

/** Tools that outrun their time are left running; the next call of the action waits for them. */
class MediaTimeoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_hal.addDevice(disc,
                        {{"block.device"_s, "/dev/sr7"_s}, {"volume.mount_point"_s, "/mnt"_s}},
                        {"volume.disc"_s});
        m_timer.start();
    }

    void mountHasThirtySeconds();
    void unmountHasTenSeconds();
    void ejectHasTenSecondsAfterThoseOfUnmount();
    void hangingDaemonIsGivenUp();

private:
    bool tookSeconds(int seconds, int early = 50) const
    {
        const qint64 elapsed = m_timer.elapsed();
        return elapsed >= seconds * 1000 - early && elapsed < seconds * 1000 + 5000;
    }

    FakeHal m_hal;
    QElapsedTimer m_timer;
};

void MediaTimeoutTest::mountHasThirtySeconds()
{
    StandInTool mount("mount");
    mount.setBehaviour(slowBehaviour(30000, 5));
    MessageLog log;
    MediaManager manager(nullptr);
    QCOMPARE(manager.mountVolume(disc, "/mnt"_s), -4);
    QVERIFY(tookSeconds(30));
    QCOMPARE(log.take(),
             QStringList("MediaManager::mountVolume(): couldn't mount volume, returning -4!"_s));
    QVERIFY(isRunning(mount));

    QCOMPARE(manager.mountVolume(disc, "/mnt"_s), 5);
    QCOMPARE(mount.calls().size(), 1);
    QCOMPARE(log.take(), refusal + QStringList("MediaManager::mountVolume(): exit code: 5"_s));
    QVERIFY(!isRunning(mount));
}

void MediaTimeoutTest::unmountHasTenSeconds()
{
    StandInTool umount("umount");
    umount.setBehaviour(slowBehaviour(10000, 6));
    MessageLog log;
    MediaManager manager(nullptr);
    QCOMPARE(manager.unmountVolume("/mnt"_s, false), -2);
    QVERIFY(tookSeconds(10));
    QCOMPARE(log.take(),
             QStringList("MediaManager::unmountVolume(): couldn't umount volume, returning -2!"_s));
    QVERIFY(isRunning(umount));

    QCOMPARE(manager.unmountVolume("/mnt"_s, true), 6);
    QCOMPARE(umount.argumentsOfCalls(), QList<QStringList>({{"/mnt"_s}}));
    QCOMPARE(log.take(), refusal + QStringList("MediaManager::unmountVolume(): exit code: 6"_s));
}

void MediaTimeoutTest::ejectHasTenSecondsAfterThoseOfUnmount()
{
    StandInTool umount("umount"), eject("eject");
    umount.setBehaviour(slowBehaviour(10000, 0));
    eject.setBehaviour(slowBehaviour(10000, 0));
    MessageLog log;
    MediaManager manager(nullptr);
    QVERIFY(!manager.ejectVolume(disc));
    QVERIFY(tookSeconds(20));
    const QString mountPoint =
        "MediaManager::getVolumeMountPoint(): Returning mount point: \"/mnt\""_s;
    QCOMPARE(
        log.take(),
        QStringList({mountPoint,
                     "MediaManager::unmountVolume(): couldn't umount volume, returning -2!"_s,
                     "MediaManager::unmountVolume(): couldn't eject volume, returning false!"_s}));
    QVERIFY(isRunning(eject));

    QVERIFY(manager.ejectVolume(disc)); // the old eject ends with 0
    QCOMPARE(eject.calls().size(), 1);
    // The umount has ended by now as well, but its process object has had no chance to notice.
    QCOMPARE(umount.calls().size(), 1);
    QCOMPARE(log.warnings(), refusal + refusal);
}

void MediaTimeoutTest::hangingDaemonIsGivenUp()
{
    m_hal.setBehaviour(FakeHal::Hang, "FindDeviceByCapability"_s);
    MediaManager manager(nullptr);
    QCOMPARE(manager.getVolumesCount(), 0);
    // What Qt gives a call that says nothing else, kept with one of its coarse timers: these are
    // off by a twentieth at most.
    QVERIFY(tookSeconds(25, 1300));
    m_hal.resetBehaviour();
    QCOMPARE(manager.getVolumesCount(), 1);
}

KESTRA_TEST_MAIN(MediaTimeoutTest)

#include "mediatimeouttest.moc"
