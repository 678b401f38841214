// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "standintool.h"
#include "testmain.h"

#include <kestra/modem/firmware.h>

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <memory>

#include <signal.h>

using namespace KestraTest;

/** A tar that takes longer than the library waits for it. */
class FirmwareTimeoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slowTarIsLeftRunningAndItsExitCodeReadsZero();
};

void FirmwareTimeoutTest::slowTarIsLeftRunningAndItsExitCodeReadsZero()
{
    StandInTool tar("tar");
    StandInTool::Behaviour slow;
    slow.waitBefore = 60000;
    slow.exitCode = 2;
    tar.setBehaviour(slow);
    QTemporaryDir scratch;
    const QString archive = scratch.filePath("fw.tar"_s);
    writeFile(archive, "");

    Firmware firmware(nullptr);
    QElapsedTimer timer;
    timer.start();
    const bool success = firmware.installFirmware(archive, scratch.filePath("target"_s));
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 30000 && elapsed < 35000, QByteArray::number(elapsed).constData());
    QVERIFY(success);
    QCOMPARE(tar.calls().size(), 1);
    QCOMPARE(kill(static_cast<pid_t>(tar.calls().constFirst().pid), 0), 0);
}

KESTRA_TEST_MAIN(FirmwareTimeoutTest)

#include "firmwaretimeouttest.moc"
