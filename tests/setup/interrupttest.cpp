// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <csignal>

using namespace KestraTest;

namespace {

const QString mark = Machine::directory + "/now"_s;

}

/** Ctrl-C while a tool is at work, twice, as on a terminal: to all processes of the group. */
class InterruptTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine.reset(); }

    void atATool_data();
    void atATool();

private:
    Machine m_machine;
};

void InterruptTest::atATool_data()
{
    QTest::addColumn<QByteArray>("makefile");
    QTest::addColumn<QByteArray>("stage"); // that ends as if nothing had been
    QTest::addColumn<QStringList>("left");
    const QByteArray pause = "@touch " + mark.toLatin1() + "\n@sleep 3\n";
    const QString log = "/opt/kestra/logs/ueagle-atm-default_compiler.log"_s;
    const QString tree = Machine::directory + "/src/ueagle-atm"_s;

    QByteArray clean = Machine::makefile(Machine::usualBuild(), Machine::usualInstallation());
    clean.replace("clean:\n", "clean:\n\t" + QByteArray(pause).replace("\n@", "\n\t@"));
    QTest::newRow("unpacking") << clean << QByteArray("unpack the driver")
                               << QStringList {log, tree};
    QTest::newRow("compiling") << Machine::makefile(pause + Machine::usualBuild(),
                                                    Machine::usualInstallation())
                               << QByteArray("compile the driver") << QStringList {log, tree};
    QTest::newRow("installing") << Machine::makefile(Machine::usualBuild(),
                                                     pause + Machine::usualInstallation())
                                << QByteArray("install the driver")
                                << QStringList {log, Machine::newModule};
}

void InterruptTest::atATool()
{
    QFETCH(QByteArray, makefile);
    QFETCH(QByteArray, stage);
    QFETCH(QStringList, left);
    m_machine.writeBundle(makefile);
    QProcess process;
    QByteArray output;
    process.start("setsid"_s, QStringList(Machine::program) + Machine::arguments());
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QTRY_VERIFY_WITH_TIMEOUT(exists(mark), 20000);
    QCOMPARE(::kill(-pid_t(process.processId()), SIGINT), 0);
    // At once, and not when the tool has ended.
    QVERIFY(Machine::waitForOutput(process, output,
                                   "\n    Interrupted: stopping as soon as make (process ", 1000));
    QCOMPARE(::kill(-pid_t(process.processId()), SIGINT), 0);
    QVERIFY(
        Machine::waitForOutput(process, output, "\n    Interrupted again: make (process ", 1000));
    QCOMPARE(process.state(), QProcess::Running);

    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 130);
    QVERIFY2(result.output.contains("] " + stage + " ... done ("), result.output.constData());
    const QByteArray list =
        result.output.mid(result.output.indexOf("\nWhat was written until then:"));
    for (const QString &path : qAsConst(left)) {
        QVERIFY2(list.contains("\n  " + path.toLatin1() + "  ("), result.output.constData());
        QVERIFY2(exists(path), qPrintable(path));
    }
    QVERIFY2(result.errors.endsWith("\nkestra-setup undo makes everything as it was before.\n"),
             result.errors.constData());
}

KESTRA_TEST_MAIN(InterruptTest)
#include "interrupttest.moc"
