// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driverfixture.h"
#include "standintool.h"
#include "testmain.h"

#include <QElapsedTimer>
#include <QThread>

#include <functional>
#include <memory>

#include <signal.h>

using namespace KestraTest;

namespace {

/** A stage that outran its time, in a thread of its own, and what was there right after it. */
struct Run
{
    DriverFixture fixture;
    qint64 elapsed = 0;
    int exitCode = -2;
    QByteArray log;
    bool treeExists = false;
    bool toolRuns = false;
    bool toolOutlivesTheCompiler = false;
};

}

Q_DECLARE_METATYPE(const Run *)

namespace {

std::unique_ptr<QThread> inThread(const std::function<void()> &function)
{
    std::unique_ptr<QThread> thread(QThread::create(function));
    thread->start();
    return thread;
}

/** Returns the process that was started with this argument, 0 if there is none. */
pid_t pidOf(const StandInTool &tool, const QString &argument)
{
    for (const StandInTool::Call &call : tool.calls()) {
        if (call.arguments.contains(argument))
            return static_cast<pid_t>(call.pid);
    }
    return 0;
}

bool isRunning(pid_t pid) { return pid != 0 && kill(pid, 0) == 0; }

/** Runs a stage, and then ends the compiler with the tool still running. */
void measure(Run &run, const StandInTool &tool, const QString &argument,
             const std::function<int(Compiler &)> &stage)
{
    {
        Compiler compiler(run.fixture.driver, nullptr);
        QElapsedTimer timer;
        timer.start();
        run.exitCode = stage(compiler);
        run.elapsed = timer.elapsed();
        run.log = compiler.compilerLog;
        run.treeExists = exists(run.fixture.tree());
        run.toolRuns = isRunning(pidOf(tool, argument));
    }
    run.toolOutlivesTheCompiler = isRunning(pidOf(tool, argument));
}

}

/** Tools that take longer than the library waits for them; the stages wait side by side. */
class CompilerTimeoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void slowToolIsLeftRunning_data();
    void slowToolIsLeftRunning();
    void exitCodeIsReadWhileTheToolRuns_data() { addRuns(); }
    void exitCodeIsReadWhileTheToolRuns();
    void onlyMakeCleanOutlivesTheCompiler_data();
    void onlyMakeCleanOutlivesTheCompiler();
    void installRemovesTheTreeUnderTheRunningMake();
    void otherStagesLeaveTheTree();
    void extractMakesNoTreeForASlowTar();

private:
    void addRuns() const;

    Run compile, install, clean, extract;
    std::unique_ptr<StandInTool> make, tar;
};

void CompilerTimeoutTest::initTestCase()
{
    make = std::make_unique<StandInTool>("make");
    tar = std::make_unique<StandInTool>("tar");
    StandInTool::Behaviour slow;
    slow.output = "line\nunfinished";
    slow.waitAfter = 90000;
    slow.exitCode = 9;
    make->setBehaviourFor("slowcompile", slow);
    make->setBehaviourFor("slowinstall", slow);
    make->setBehaviour(slow);
    tar->setBehaviour(slow);

    compile.fixture.driver.driverName = "compile"_s;
    compile.fixture.driver.compileArguments = "slowcompile"_s;
    install.fixture.driver.driverName = "install"_s;
    install.fixture.driver.installArguments = "slowinstall"_s;
    clean.fixture.driver.driverName = "clean"_s;
    extract.fixture.driver.driverName = "extract"_s;
    for (const Run *run : {&compile, &install, &clean})
        run->fixture.writeTree("");
    writeFile(extract.fixture.driver.driverBundlePath, "");

    const std::unique_ptr<QThread> threads[] = {
        inThread([this] {
            measure(compile, *make, "slowcompile"_s, std::mem_fn(&Compiler::compileDriver));
        }),
        inThread([this] {
            measure(install, *make, "slowinstall"_s, std::mem_fn(&Compiler::installDriver));
        }),
        inThread([this] { measure(clean, *make, "clean"_s, std::mem_fn(&Compiler::cleanDriver)); }),
        inThread([this] {
            measure(extract, *tar, "-xf"_s, [](Compiler &compiler) {
                compiler.extractDriver();
                return 0;
            });
        }),
    };
    for (const std::unique_ptr<QThread> &thread : threads)
        QVERIFY(thread->wait(60000));
}

void CompilerTimeoutTest::cleanupTestCase()
{
    for (const StandInTool *tool : {make.get(), tar.get()}) {
        for (const StandInTool::Call &call : tool->calls())
            kill(static_cast<pid_t>(call.pid), SIGKILL);
    }
    make.reset();
    tar.reset();
}

void CompilerTimeoutTest::addRuns() const
{
    QTest::addColumn<const Run *>("run");
    QTest::addColumn<QByteArray>("title");
    QTest::newRow("compile") << &compile << QByteArray("Compilation");
    QTest::newRow("install") << &install << QByteArray("Installation");
    QTest::newRow("clean") << &clean << QByteArray("Cleaning");
    QTest::newRow("extract") << &extract << QByteArray("Extraction");
}

void CompilerTimeoutTest::slowToolIsLeftRunning_data() { addRuns(); }

void CompilerTimeoutTest::slowToolIsLeftRunning()
{
    QFETCH(const Run *, run);
    QVERIFY2(run->elapsed >= 30000 && run->elapsed < 35000,
             QByteArray::number(run->elapsed).constData());
    QVERIFY(run->toolRuns);
}

void CompilerTimeoutTest::exitCodeIsReadWhileTheToolRuns()
{
    QFETCH(const Run *, run);
    QFETCH(QByteArray, title);
    QCOMPARE(run->exitCode, 0);
    QCOMPARE(run->log, logBlock(title.constData(), "line\n", 0));
}

void CompilerTimeoutTest::onlyMakeCleanOutlivesTheCompiler_data() { addRuns(); }

void CompilerTimeoutTest::onlyMakeCleanOutlivesTheCompiler()
{
    QFETCH(const Run *, run);
    QCOMPARE(run->toolOutlivesTheCompiler, run == &clean);
}

void CompilerTimeoutTest::installRemovesTheTreeUnderTheRunningMake()
{
    QVERIFY(install.toolRuns);
    QVERIFY(!install.treeExists);
}

void CompilerTimeoutTest::otherStagesLeaveTheTree()
{
    QVERIFY(compile.treeExists);
    QVERIFY(clean.treeExists);
}

void CompilerTimeoutTest::extractMakesNoTreeForASlowTar()
{
    // The tree is not there yet, and nobody but tar makes it.
    QVERIFY(!extract.treeExists);
    QVERIFY(!extract.log.contains("Cleaning"));
}

KESTRA_TEST_MAIN(CompilerTimeoutTest)

#include "compilertimeouttest.moc"
