// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "driverfixture.h"
#include "environment.h"
#include "messagelog.h"
#include "standintool.h"
#include "testmain.h"

#include <kestra/foundation/myprocess.h>

#include <QElapsedTimer>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QThread>

#include <memory>

#include <signal.h>
#include <sys/utsname.h>
#include <unistd.h>

Q_DECLARE_METATYPE(QString Compiler::ModemDriver::*)

using namespace KestraTest;

namespace {

enum Stage { Clean, Compile, Install };

/** What differs between the stages that run make. */
struct StageTraits
{
    const char *method;
    const char *title;
    const char *lineSlot;
    int (Compiler::*run)();
    QStringList arguments; ///< those that the fixture's description leads to
};

const StageTraits stages[] = {
    {"Compiler::cleanDriver()",
     "Cleaning",
     "Compiler::debugDriverCompileProcess()",
     &Compiler::cleanDriver,
     {"clean"_s, "-i"_s}},
    {"Compiler::compileDriver()",
     "Compilation",
     "Compiler::debugDriverCompileProcess()",
     &Compiler::compileDriver,
     {"all"_s}},
    {"Compiler::installDriver()",
     "Installation",
     "Compiler::debugDriverInstallProcess()",
     &Compiler::installDriver,
     {"install"_s}},
};

/** What an installation appends that fails with nothing to report. */
const QByteArray emptyRestoreBlock = "# RESTORING DRIVER\n# END OF RESTORING DRIVER\n";

QByteArray stageBlock(Stage stage, const QByteArray &lines, int exitCode = 0)
{
    const bool reports = stage == Install && exitCode != 0;
    return logBlock(stages[stage].title, lines, exitCode,
                    reports ? emptyRestoreBlock : QByteArray());
}

int run(Compiler &compiler, Stage stage) { return (compiler.*stages[stage].run)(); }

QString text(const char *format, Stage stage)
{
    return QString::fromLatin1(format).arg(QString::fromLatin1(stages[stage].method));
}

void addStages()
{
    QTest::addColumn<int>("stage");
    QTest::newRow("clean") << int(Clean);
    QTest::newRow("compile") << int(Compile);
    QTest::newRow("install") << int(Install);
}

/** All messages in order, with the stream that they went to. */
QStringList streamed(const MessageLog &log)
{
    QStringList result;
    for (const MessageLog::Message &message : log.messages()) {
        const QString stream = message.type == QtDebugMsg ? "debug: "_s
            : message.type == QtWarningMsg                ? "warning: "_s
                                                          : "other: "_s;
        result.append(stream + message.text);
    }
    return result;
}

StandInTool::Behaviour exitsWith(int exitCode)
{
    StandInTool::Behaviour behaviour;
    behaviour.exitCode = exitCode;
    return behaviour;
}

StandInTool::Behaviour prints(const QByteArray &output, int exitCode = 0)
{
    StandInTool::Behaviour behaviour;
    behaviour.output = output;
    behaviour.exitCode = exitCode;
    return behaviour;
}

bool isRunning(qint64 pid) { return kill(static_cast<pid_t>(pid), 0) == 0; }

/** Sets a variable of the environment while it exists. */
class Variable
{
public:
    Variable(const char *name, const QByteArray &value) : m_name(name), m_old(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~Variable()
    {
        if (m_old.isNull())
            qunsetenv(m_name);
        else
            qputenv(m_name, m_old);
    }
    Q_DISABLE_COPY(Variable)

private:
    const char *m_name;
    QByteArray m_old;
};

const QString constructed = "debug: Compiler::Compiler: ctor invoked..."_s;

}

/** The stages of a driver build and its log; backup and restore have a test of their own. */
class CompilerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void constructorSaysSo();
    void constructorReportsANullThread();
    void constructorReportsEmptyVariables_data();
    void constructorReportsEmptyVariables();
    void constructorReportsNullThreadBeforeEmptyVariables();
    void constructorWritesNoDebugLineWhileDebugIsOff();
    void constructorSplitsLists_data();
    void constructorSplitsLists();
    void constructorAsksForTheKernelOnce();
    void constructorTouchesNoFile();
    void processesGoToTheThread();
    void processesStayWithANullThread();
    void declaresSignalAndSlots();

    void extractRefusesEmptyVariables_data();
    void extractRefusesEmptyVariables();
    void extractRefusesAMissingBundle();
    void extractUnpacksAndCleans();
    void extractWritesDebugLines();
    void extractRemovesAnEarlierTree();
    void extractRunsItsToolsExactly();
    void extractRunsTarInTheTreeThatIsStillThere();
    void extractMakesNoTreeThatTheBundleDoesNotHold();
    void extractTakesRelativeNames();
    void extractForcesEnglishOnTarOnly();
    void extractGivesTarTheEnvironmentOfTheConstruction();
    void extractLogsAFailureAndCleansAllTheSame();
    void extractOfAnArchiveThatIsNoneLogsTarsWords();
    void extractWithoutTreePathUnpacks();
    void extractTwiceDoublesTheLines();
    void extractDoesNotReturnItsStatusAnywhereElse();

    void cleanIgnoresErrorsOfMake();
    void cleanAlwaysHasTheSameArguments();
    void stageRefusesAnEmptyTreePath_data() { addStages(); }
    void stageRefusesAnEmptyTreePath();
    void stageRefusesAMissingTree_data() { addStages(); }
    void stageRefusesAMissingTree();
    void stageRefusesAFileInPlaceOfTheTree_data() { addStages(); }
    void stageRefusesAFileInPlaceOfTheTree();
    void stageLogsItsBlock_data() { addStages(); }
    void stageLogsItsBlock();
    void stageWritesDebugLines_data() { addStages(); }
    void stageWritesDebugLines();
    void stageWritesNoMessage_data() { addStages(); }
    void stageWritesNoMessage();
    void stagePassesTheExitCodeOn_data();
    void stagePassesTheExitCodeOn();
    void stageRunsMakeInTheTree_data() { addStages(); }
    void stageRunsMakeInTheTree();
    void stageThatCannotStartMakeHasCode255_data() { addStages(); }
    void stageThatCannotStartMakeHasCode255();
    void stageMergesStandardError_data() { addStages(); }
    void stageMergesStandardError();
    void stageLogsRawBytes_data() { addStages(); }
    void stageLogsRawBytes();
    void stageDropsAnUnfinishedLine_data() { addStages(); }
    void stageDropsAnUnfinishedLine();
    void stageTakesACarriageReturnForALineEnd_data() { addStages(); }
    void stageTakesACarriageReturnForALineEnd();
    void stageRepeatedMultipliesTheLines_data() { addStages(); }
    void stageRepeatedMultipliesTheLines();
    void stagesCountTheirConnectionsApart();
    void stageInAThreadDeliversLinesToTheOwner();

    void makeGetsTheArguments_data();
    void makeGetsTheArguments();
    void emptyArgumentsAreOneEmptyArgument_data();
    void emptyArgumentsAreOneEmptyArgument();
    void emptyArgumentsMakeTheRealMakeFail();
    void noArgumentsRunPlainMake();
    void noInstallArgumentsInstall();
    void makeInheritsTheEnvironment_data() { addStages(); }
    void makeInheritsTheEnvironment();
    void makeGetsTheEntriesOfTheDriver_data() { addStages(); }
    void makeGetsTheEntriesOfTheDriver();
    void entriesOfTheDriverWin_data() { addStages(); }
    void entriesOfTheDriverWin();
    void makeSeesVariablesSetAfterTheConstruction_data() { addStages(); }
    void makeSeesVariablesSetAfterTheConstruction();

    void installRemovesTheTree_data();
    void installRemovesTheTree();
    void installRunsRmExactly();
    void installAfterSuccessFindsNoTree();
    void installFailureReportsRemoveLines();
    void installFailureReportsRemoveLinesEachTime();
    void installSuccessReportsNoRemoveLines();

    void lineSlotsLogTheLine_data();
    void lineSlotsLogTheLine();
    void lineSlotsCutOnlyTheDebugLineAtNul_data();
    void lineSlotsCutOnlyTheDebugLineAtNul();
    void removeSlotCollectsLinesWithTwoColons_data();
    void removeSlotCollectsLinesWithTwoColons();
    void removeSlotIsNotConnected();

    void patchWithoutTreePathSaysSo();
    void patchWithoutPatchFileIsSilent_data();
    void patchWithoutPatchFileIsSilent();
    void patchFollowsALink();
    void patchIsChosenByTheFullRelease_data();
    void patchIsChosenByTheFullRelease();
    void patchRunsExactly();
    void patchOfARelativeBundleIsAbsolute();
    void patchInheritsTheEnvironment();
    void patchSaysItsExitCode_data();
    void patchSaysItsExitCode();
    void patchThatCannotBeStartedHasCode255();
    void patchStartsWithoutATree();
    void patchWithTheRealToolAppliesNothingAndWaits();

    void logHasTheBlocksInOrder();
    void logOfNoStageIsEmpty();
    void logDirectoryIsCreatedWithAMessage();
    void logReplacesTheEarlierOne();
    void logIsReadableByAll();
    void logKeepsRawBytes();
    void logThatCannotBeOpenedIsSilent_data();
    void logThatCannotBeOpenedIsSilent();
    void logOfADriverWithoutNames();

    void destructorKillsAllButMakeClean_data();
    void destructorKillsAllButMakeClean();
    void fatalErrorIsNeverEmitted();

private:
    QString release() const { return Kestra::SystemInfo::getKernelRelease(); }

    std::unique_ptr<DriverFixture> fixture;
};

void CompilerTest::initTestCase()
{
    // What an outer make leaves for an inner one changes what that prints.
    for (const char *variable : {"MAKEFLAGS", "MAKELEVEL", "MFLAGS", "GNUMAKEFLAGS"})
        qunsetenv(variable);
    for (const char *variable : {"LC_ALL", "LANGUAGE", "LANG", "LC_MESSAGES"})
        qunsetenv(variable);
}

void CompilerTest::init() { fixture = std::make_unique<DriverFixture>(); }

void CompilerTest::cleanup()
{
    QDir::setCurrent("/"_s);
    fixture.reset();
    remove("/opt/kestra"_s);
    remove("/tmp/kestra_drv_backup"_s);
}

void CompilerTest::constructorSaysSo()
{
    DebugFile file;
    MessageLog log;
    QThread thread;
    Compiler compiler(fixture->driver, &thread);
    QCOMPARE(streamed(log), QStringList(constructed));
    QCOMPARE(file.text(), QByteArray());
}

void CompilerTest::constructorReportsANullThread()
{
    DebugFile file;
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(file.text(), QByteArray("Compiler::Compiler(): parent is null!\n"));
}

void CompilerTest::constructorReportsEmptyVariables_data()
{
    QTest::addColumn<QString Compiler::ModemDriver::*>("field");
    QTest::addColumn<bool>("needed");
    using Driver = Compiler::ModemDriver;
    QTest::newRow("driverName") << &Driver::driverName << true;
    QTest::newRow("driverVersion") << &Driver::driverVersion << true;
    QTest::newRow("extractedDriverPath") << &Driver::extractedDriverPath << true;
    QTest::newRow("compiledDriverName") << &Driver::compiledDriverName << true;
    QTest::newRow("driverBundlePath") << &Driver::driverBundlePath << true;
    QTest::newRow("extractionPath") << &Driver::extractionPath << false;
    QTest::newRow("compileArguments") << &Driver::compileArguments << false;
    QTest::newRow("installArguments") << &Driver::installArguments << false;
    QTest::newRow("makeEnvironment") << &Driver::makeEnvironment << false;
}

void CompilerTest::constructorReportsEmptyVariables()
{
    QFETCH(QString Compiler::ModemDriver::*, field);
    QFETCH(bool, needed);
    fixture->driver.*field = QString();
    DebugFile file;
    MessageLog log;
    QThread thread;
    Compiler compiler(fixture->driver, &thread);
    QCOMPARE(file.text(),
             needed ? QByteArray("Compiler::Compiler(): needed variables are empty!\n")
                    : QByteArray());
    QCOMPARE(streamed(log), QStringList(constructed));
}

void CompilerTest::constructorReportsNullThreadBeforeEmptyVariables()
{
    DebugFile file;
    Compiler compiler({}, nullptr);
    QCOMPARE(file.lines(),
             QStringList({"Compiler::Compiler(): parent is null!"_s,
                          "Compiler::Compiler(): needed variables are empty!"_s}));
}

void CompilerTest::constructorWritesNoDebugLineWhileDebugIsOff()
{
    DebugFile file(false);
    {
        Compiler compiler({}, nullptr);
        compiler.debugDriverCompileProcess("line");
    }
    QCOMPARE(file.text(), QByteArray());
}

void CompilerTest::constructorSplitsLists_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QStringList>("list");
    QTest::newRow("empty") << QString() << QStringList(QString());
    QTest::newRow("one") << "all"_s << QStringList("all"_s);
    QTest::newRow("two") << "install, DESTDIR=/x"_s << QStringList({"install"_s, "DESTDIR=/x"_s});
    QTest::newRow("no blank") << "a,b"_s << QStringList("a,b"_s);
    QTest::newRow("separator only") << ", "_s << QStringList({QString(), QString()});
    QTest::newRow("empty in the middle") << "a, , b"_s << QStringList({"a"_s, QString(), "b"_s});
    QTest::newRow("empty at the end") << "a, "_s << QStringList({"a"_s, QString()});
    QTest::newRow("two blanks") << "a,  b"_s << QStringList({"a"_s, " b"_s});
}

void CompilerTest::constructorSplitsLists()
{
    QFETCH(QString, field);
    QFETCH(QStringList, list);
    Compiler::ModemDriver driver = fixture->driver;
    driver.compileArguments = driver.installArguments = driver.makeEnvironment = field;
    Compiler compiler(driver, nullptr);
    QCOMPARE(compiler.compileArguments, list);
    QCOMPARE(compiler.installArguments, list);
    QCOMPARE(compiler.makeEnvironment, list);
}

void CompilerTest::constructorAsksForTheKernelOnce()
{
    utsname names;
    QCOMPARE(uname(&names), 0);
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.kernelRelease, QString::fromLatin1(names.release));
    QCOMPARE(compiler.backupPath, "/tmp/kestra_drv_backup/"_s + QString::fromLatin1(names.release));
    QCOMPARE(compiler.backupDir->path(), compiler.backupPath);
    QVERIFY(compiler.compilerLog.isEmpty());
    QVERIFY(compiler.removeLines.isEmpty());
    QVERIFY(compiler.backedUpFiles.isEmpty());
}

void CompilerTest::constructorTouchesNoFile()
{
    Compiler compiler(fixture->driver, nullptr);
    QVERIFY(!exists("/opt/kestra"_s));
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
    QVERIFY(!exists(fixture->tree()));
}

void CompilerTest::processesGoToTheThread()
{
    QThread thread;
    Compiler compiler(fixture->driver, &thread);
    QCOMPARE(compiler.parent(), &thread);
    QCOMPARE(compiler.thread(), QThread::currentThread());
    const QProcess *const processes[] = {compiler.compileProcess, compiler.cleanProcess,
                                         compiler.installProcess, compiler.extractProcess,
                                         compiler.patchProcess};
    for (const QProcess *process : processes) {
        QCOMPARE(process->thread(), &thread);
        QVERIFY(!process->parent());
    }
}

void CompilerTest::processesStayWithANullThread()
{
    Compiler compiler(fixture->driver, nullptr);
    QVERIFY(!compiler.parent());
    QCOMPARE(compiler.compileProcess->thread(), QThread::currentThread());
    QCOMPARE(compiler.patchProcess->thread(), QThread::currentThread());
}

void CompilerTest::declaresSignalAndSlots()
{
    QList<QByteArray> signatures;
    const QMetaObject &meta = Compiler::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        signatures.append(meta.method(i).methodSignature());
    QCOMPARE(signatures,
             QList<QByteArray>({"fatalError(QString)", "debugDriverCompileProcess(QByteArray)",
                                "debugDriverRemoveProcess(QByteArray)",
                                "debugDriverInstallProcess(QByteArray)"}));
}

void CompilerTest::extractRefusesEmptyVariables_data()
{
    QTest::addColumn<QString Compiler::ModemDriver::*>("field");
    using Driver = Compiler::ModemDriver;
    QTest::newRow("driverName") << &Driver::driverName;
    QTest::newRow("driverVersion") << &Driver::driverVersion;
    QTest::newRow("extractionPath") << &Driver::extractionPath;
    QTest::newRow("driverBundlePath") << &Driver::driverBundlePath;
}

void CompilerTest::extractRefusesEmptyVariables()
{
    QFETCH(QString Compiler::ModemDriver::*, field);
    fixture->writeBundle("clean:\n");
    fixture->writeTree("old");
    fixture->driver.*field = QString();
    StandInTool tar("tar"), rm("rm"), make("make");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.extractDriver();
    QCOMPARE(streamed(log),
             QStringList("warning: Compiler::extractDriver(): \"driverName\" and/or "
                         "\"driverVersion\" and/or \"extractionPath\" and/or "
                         "\"driverBundlePath\" is empty or NULL, aborting!"_s));
    QVERIFY(tar.calls().isEmpty());
    QVERIFY(rm.calls().isEmpty());
    QVERIFY(make.calls().isEmpty());
    QCOMPARE(readFile(fixture->inTree("Makefile"_s)), QByteArray("old"));
    QCOMPARE(compiler.compilerLog, QByteArray());
}

void CompilerTest::extractRefusesAMissingBundle()
{
    fixture->writeTree("old");
    StandInTool tar("tar"), rm("rm"), make("make");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.extractDriver();
    QCOMPARE(streamed(log),
             QStringList("warning: Compiler::extractDriver(): driverBundlePath: file does not "
                         "exist, aborting!"_s));
    QVERIFY(tar.calls().isEmpty());
    QVERIFY(rm.calls().isEmpty());
    QVERIFY(make.calls().isEmpty());
    QCOMPARE(readFile(fixture->inTree("Makefile"_s)), QByteArray("old"));
    QCOMPARE(compiler.compilerLog, QByteArray());
}

void CompilerTest::extractUnpacksAndCleans()
{
    fixture->writeBundle("clean:\n\t@echo cleaned\n");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.extractDriver();
    QCOMPARE(compiler.compilerLog,
             logBlock("Extraction", "driver/\ndriver/Makefile\n")
                 + logBlock("Cleaning", "cleaned\n"));
    QCOMPARE(readFile(fixture->inTree("Makefile"_s)), QByteArray("clean:\n\t@echo cleaned\n"));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerTest::extractWritesDebugLines()
{
    fixture->writeBundle("clean:\n\t@echo cleaned\n");
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    compiler.extractDriver();
    QCOMPARE(file.text(),
             QByteArray("Compiler::debugDriverCompileProcess(): driver/\n"
                        "Compiler::debugDriverCompileProcess(): driver/Makefile\n"
                        "Compiler::cleanDriver(): starting the process.\n"
                        "Compiler::debugDriverCompileProcess(): cleaned\n"
                        "Compiler::cleanDriver(): the process exited with code 0.\n"));
}

void CompilerTest::extractRemovesAnEarlierTree()
{
    fixture->writeBundle("clean:\n");
    writeFile(fixture->inTree("sub/old.o"_s), "stale");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(listTree(fixture->tree()), QStringList("Makefile"_s));
}

void CompilerTest::extractRunsItsToolsExactly()
{
    writeFile(fixture->driver.driverBundlePath, "");
    fixture->writeTree("old");
    StandInTool tar("tar"), rm("rm"), make("make");
    StandInTool::Behaviour removes;
    removes.script = "exec /bin/rm \"$@\"";
    rm.setBehaviour(removes);
    StandInTool::Behaviour unpacks;
    unpacks.script = "mkdir " + QFile::encodeName(fixture->tree());
    tar.setBehaviour(unpacks);
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(rm.argumentsOfCalls(), QList<QStringList>({{"-rf"_s, fixture->tree()}}));
    QCOMPARE(tar.argumentsOfCalls(),
             QList<QStringList>({{"-v"_s, "-C"_s, fixture->driver.extractionPath, "-xf"_s,
                                  fixture->driver.driverBundlePath}}));
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({{"clean"_s, "-i"_s}}));
    // The script's mkdir fails unless rm came before it.
    QVERIFY(compiler.compilerLog.startsWith(logBlock("Extraction", "")));
}

void CompilerTest::extractRunsTarInTheTreeThatIsStillThere()
{
    fixture->writeBundle("clean:\n");
    fixture->writeTree("clean:\n");
    StandInTool rm("rm"), tar("tar");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(tar.calls().size(), 1);
    QCOMPARE(tar.calls().constFirst().workingDirectory, fixture->tree());
}

void CompilerTest::extractMakesNoTreeThatTheBundleDoesNotHold()
{
    writeFile(fixture->path("build/driver/file"_s), "");
    fixture->packTree();
    fixture->driver.extractedDriverPath = fixture->path("build/other"_s);
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.extractDriver();
    QVERIFY(!exists(fixture->path("build/other"_s)));
    QVERIFY(exists(fixture->path("build/driver/file"_s)));
    QCOMPARE(streamed(log),
             QStringList("warning: Compiler::cleanDriver(): extractedDriverPath: directory does "
                         "not exist, aborting!"_s));
    QVERIFY(make.calls().isEmpty());
    QCOMPARE(compiler.compilerLog, logBlock("Extraction", "driver/\ndriver/file\n"));
}

void CompilerTest::extractTakesRelativeNames()
{
    fixture->writeBundle("clean:\n\t@echo cleaned\n");
    fixture->writeTree("old");
    QVERIFY(QDir::setCurrent(fixture->path("build"_s)));
    fixture->driver.extractionPath = "."_s;
    fixture->driver.driverBundlePath = "../bundle.tar"_s;
    fixture->driver.extractedDriverPath = "driver"_s;
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(compiler.compilerLog,
             logBlock("Extraction", "driver/\ndriver/Makefile\n")
                 + logBlock("Cleaning", "cleaned\n"));
    QCOMPARE(listTree(fixture->tree()), QStringList("Makefile"_s));
}

void CompilerTest::extractForcesEnglishOnTarOnly()
{
    fixture->writeBundle("clean:\n");
    fixture->writeTree("clean:\n");
    StandInTool tar("tar"), make("make"), rm("rm");
    const Variable locale("LC_ALL", "de_DE.UTF-8");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(tar.calls().constFirst().variable("LC_ALL"), QByteArray("C"));
    QCOMPARE(tar.calls().constFirst().environment.count("LC_ALL=C"), 1);
    QCOMPARE(make.calls().constFirst().variable("LC_ALL"), QByteArray("de_DE.UTF-8"));
    QCOMPARE(rm.calls().constFirst().variable("LC_ALL"), QByteArray("de_DE.UTF-8"));
}

void CompilerTest::extractGivesTarTheEnvironmentOfTheConstruction()
{
    fixture->writeBundle("clean:\n");
    fixture->driver.makeEnvironment = "KESTRA_DRIVER=1"_s;
    StandInTool tar("tar");
    QByteArrayList expected = ownEnvironment();
    expected.append("LC_ALL=C");
    Compiler compiler(fixture->driver, nullptr);
    const Variable late("KESTRA_LATE", "1");
    compiler.extractDriver();
    QCOMPARE(comparable(tar.calls().constFirst().environment), comparable(expected));
}

void CompilerTest::extractLogsAFailureAndCleansAllTheSame()
{
    writeFile(fixture->driver.driverBundlePath, "");
    fixture->writeTree("clean:\n");
    StandInTool rm("rm"), tar("tar"), make("make");
    tar.setBehaviour(prints("tar: broken\n", 2));
    make.setBehaviour(prints("cleaned\n", 1));
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.extractDriver();
    QCOMPARE(compiler.compilerLog,
             logBlock("Extraction", "tar: broken\n", 2) + logBlock("Cleaning", "cleaned\n", 1));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerTest::extractOfAnArchiveThatIsNoneLogsTarsWords()
{
    writeFile(fixture->driver.driverBundlePath, "this is no archive");
    const Variable locale("LC_ALL", "de_DE.UTF-8");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QVERIFY(compiler.compilerLog.contains("tar: This does not look like a tar archive\n"));
    QVERIFY(compiler.compilerLog.endsWith(
        "\n\n# Process exited with status: 2.\n# End Of Extraction\n\n\n\n"));
}

void CompilerTest::extractWithoutTreePathUnpacks()
{
    fixture->writeBundle("clean:\n");
    fixture->driver.extractedDriverPath.clear();
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.extractDriver();
    QVERIFY(exists(fixture->inTree("Makefile"_s)));
    QVERIFY(make.calls().isEmpty());
    QCOMPARE(streamed(log),
             QStringList("warning: Compiler::cleanDriver(): \"extractedDriverPath\" is empty or "
                         "NULL, aborting!"_s));
    QCOMPARE(compiler.compilerLog, logBlock("Extraction", "driver/\ndriver/Makefile\n"));
}

void CompilerTest::extractTwiceDoublesTheLines()
{
    fixture->writeBundle("clean:\n\t@echo cleaned\n");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    compiler.compilerLog.clear();
    compiler.extractDriver();
    QCOMPARE(compiler.compilerLog,
             logBlock("Extraction", "driver/\ndriver/\ndriver/Makefile\ndriver/Makefile\n")
                 + logBlock("Cleaning", "cleaned\ncleaned\n"));
}

void CompilerTest::extractDoesNotReturnItsStatusAnywhereElse()
{
    writeFile(fixture->driver.driverBundlePath, "");
    StandInTool tar("tar");
    tar.setBehaviour(exitsWith(2));
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    compiler.extractDriver();
    QCOMPARE(file.text(), QByteArray());
}

void CompilerTest::cleanIgnoresErrorsOfMake()
{
    fixture->writeTree("clean:\n\t@false\n\t@echo after\n");
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.cleanDriver(), 0);
    QVERIFY(compiler.compilerLog.contains("\nafter\n"));
    QVERIFY(exists(fixture->tree()));
}

void CompilerTest::cleanAlwaysHasTheSameArguments()
{
    fixture->writeTree("");
    fixture->driver.compileArguments = "one"_s;
    fixture->driver.installArguments = "two"_s;
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    compiler.cleanDriver();
    compiler.cleanDriver();
    const QStringList arguments = {"clean"_s, "-i"_s};
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({arguments, arguments}));
}

void CompilerTest::stageRefusesAnEmptyTreePath()
{
    QFETCH(int, stage);
    fixture->driver.extractedDriverPath.clear();
    StandInTool make("make"), rm("rm");
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    MessageLog log;
    QCOMPARE(run(compiler, Stage(stage)), -1);
    QCOMPARE(streamed(log),
             QStringList(text("warning: %1: \"extractedDriverPath\" is empty or NULL, aborting!",
                              Stage(stage))));
    QCOMPARE(compiler.compilerLog, QByteArray());
    QCOMPARE(file.text(), QByteArray());
    QVERIFY(make.calls().isEmpty());
    QVERIFY(rm.calls().isEmpty());
}

void CompilerTest::stageRefusesAMissingTree()
{
    QFETCH(int, stage);
    StandInTool make("make"), rm("rm");
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    MessageLog log;
    QCOMPARE(run(compiler, Stage(stage)), -1);
    QCOMPARE(streamed(log),
             QStringList(text("warning: %1: extractedDriverPath: directory does not exist, "
                              "aborting!",
                              Stage(stage))));
    QCOMPARE(compiler.compilerLog, QByteArray());
    QCOMPARE(file.text(), QByteArray());
    QVERIFY(make.calls().isEmpty());
    QVERIFY(rm.calls().isEmpty());
    QVERIFY(!exists(fixture->tree()));
}

void CompilerTest::stageRefusesAFileInPlaceOfTheTree()
{
    QFETCH(int, stage);
    writeFile(fixture->tree(), "file");
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(run(compiler, Stage(stage)), -1);
    QVERIFY(make.calls().isEmpty());
    QCOMPARE(readFile(fixture->tree()), QByteArray("file"));
}

void CompilerTest::stageLogsItsBlock()
{
    QFETCH(int, stage);
    fixture->writeTree("all clean install:\n\t@echo one\n\t@echo\n\t@echo two\n");
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(run(compiler, Stage(stage)), 0);
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), "one\n\ntwo\n"));
}

void CompilerTest::stageWritesDebugLines()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints("one\n%s\n", 4));
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    run(compiler, Stage(stage));
    const QString slot = QString::fromLatin1(stages[stage].lineSlot);
    QCOMPARE(
        file.lines(),
        QStringList({text("%1: starting the process.", Stage(stage)), slot + ": one"_s,
                     slot + ": %s"_s, text("%1: the process exited with code 4.", Stage(stage))}));
}

void CompilerTest::stageWritesNoMessage()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints("one\n", 4));
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    run(compiler, Stage(stage));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerTest::stagePassesTheExitCodeOn_data()
{
    QTest::addColumn<int>("stage");
    QTest::addColumn<int>("exitCode");
    for (Stage stage : {Clean, Compile, Install}) {
        for (int exitCode : {0, 1, 2, 255})
            QTest::addRow("%s %d", stages[stage].method, exitCode) << int(stage) << exitCode;
    }
}

void CompilerTest::stagePassesTheExitCodeOn()
{
    QFETCH(int, stage);
    QFETCH(int, exitCode);
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(exitsWith(exitCode));
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(run(compiler, Stage(stage)), exitCode);
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), "", exitCode));
}

void CompilerTest::stageRunsMakeInTheTree()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({stages[stage].arguments}));
    QCOMPARE(make.calls().constFirst().workingDirectory, fixture->tree());
}

void CompilerTest::stageThatCannotStartMakeHasCode255()
{
    if (underMemcheck())
        QSKIP("the exit code of a child that cannot be started is memcheck's");
    QFETCH(int, stage);
    fixture->writeTree("");
    Compiler compiler(fixture->driver, nullptr);
    const Variable nowhere("PATH", "/nowhere");
    QCOMPARE(run(compiler, Stage(stage)), 255);
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), "", 255));
}

void CompilerTest::stageMergesStandardError()
{
    QFETCH(int, stage);
    fixture->writeTree("all clean install:\n\t@echo one\n\t@echo two >&2\n\t@echo three\n");
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), "one\ntwo\nthree\n"));
}

void CompilerTest::stageLogsRawBytes()
{
    QFETCH(int, stage);
    const QByteArray output("a\0b\n\xe4\xff\n\xc3\xa4\n", 10);
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints(output));
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), output));
}

void CompilerTest::stageDropsAnUnfinishedLine()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints("one\ntwo"));
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), "one\n"));
}

void CompilerTest::stageTakesACarriageReturnForALineEnd()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints("10%\r20%\rdone\r\n"));
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(compiler.compilerLog, stageBlock(Stage(stage), "10%\n20%\ndone\n\n"));
}

void CompilerTest::stageRepeatedMultipliesTheLines()
{
    QFETCH(int, stage);
    StandInTool make("make");
    make.setBehaviour(prints("a\nb\n"));
    Compiler compiler(fixture->driver, nullptr);
    for (int i = 0; i < 3; ++i) {
        fixture->writeTree("");
        run(compiler, Stage(stage));
    }
    QCOMPARE(compiler.compilerLog,
             stageBlock(Stage(stage), "a\nb\n") + stageBlock(Stage(stage), "a\na\nb\nb\n")
                 + stageBlock(Stage(stage), "a\na\na\nb\nb\nb\n"));
}

void CompilerTest::stagesCountTheirConnectionsApart()
{
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints("a\n"));
    Compiler compiler(fixture->driver, nullptr);
    compiler.cleanDriver();
    compiler.cleanDriver();
    compiler.compilerLog.clear();
    compiler.compileDriver();
    compiler.installDriver();
    QCOMPARE(compiler.compilerLog, stageBlock(Compile, "a\n") + stageBlock(Install, "a\n"));
}

void CompilerTest::stageInAThreadDeliversLinesToTheOwner()
{
    fixture->writeTree("all:\n\t@echo line\n");
    QThread thread;
    QObject inThread;
    inThread.moveToThread(&thread);
    Compiler compiler(fixture->driver, &thread);
    thread.start();
    int exitCode = -1;
    QMetaObject::invokeMethod(
        &inThread, [&] { exitCode = compiler.compileDriver(); }, Qt::BlockingQueuedConnection);
    QCOMPARE(exitCode, 0);
    const QByteArray duringTheRun = compiler.compilerLog;
    QCoreApplication::processEvents();
    const QByteArray afterwards = compiler.compilerLog;
    thread.quit();
    QVERIFY(thread.wait());
    // The slots run in the thread of the object, which was blocked.
    QCOMPARE(duringTheRun, stageBlock(Compile, ""));
    QCOMPARE(afterwards, stageBlock(Compile, "") + "line\n");
}

void CompilerTest::makeGetsTheArguments_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("one") << "modules"_s << QStringList("modules"_s);
    QTest::newRow("two") << "install, DESTDIR=/x"_s << QStringList({"install"_s, "DESTDIR=/x"_s});
    QTest::newRow("blanks inside") << "CFLAGS=-O1 -g"_s << QStringList("CFLAGS=-O1 -g"_s);
    QTest::newRow("empty in the middle") << "a, , b"_s << QStringList({"a"_s, QString(), "b"_s});
    QTest::newRow("empty at the end") << "a, "_s << QStringList({"a"_s, QString()});
}

void CompilerTest::makeGetsTheArguments()
{
    QFETCH(QString, field);
    QFETCH(QStringList, arguments);
    fixture->writeTree("");
    StandInTool make("make");
    fixture->driver.compileArguments = field;
    fixture->driver.installArguments = field;
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.compileDriver();
    compiler.installDriver();
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({arguments, arguments}));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerTest::emptyArgumentsAreOneEmptyArgument_data()
{
    QTest::addColumn<int>("stage");
    QTest::newRow("compile") << int(Compile);
    QTest::newRow("install") << int(Install);
}

void CompilerTest::emptyArgumentsAreOneEmptyArgument()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    fixture->driver.compileArguments.clear();
    fixture->driver.installArguments.clear();
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    run(compiler, Stage(stage));
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({QStringList(QString())}));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerTest::emptyArgumentsMakeTheRealMakeFail()
{
    fixture->writeTree("all:\n\t@echo built\n");
    fixture->driver.compileArguments.clear();
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.compileDriver(), 2);
    QVERIFY(!compiler.compilerLog.contains("built"));
}

void CompilerTest::noArgumentsRunPlainMake()
{
    fixture->writeTree("");
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    compiler.compileArguments.clear();
    MessageLog log;
    compiler.compileDriver();
    QCOMPARE(streamed(log),
             QStringList("debug: Compiler::compileDriver(): no arguments for \"make\""_s));
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({QStringList()}));
}

void CompilerTest::noInstallArgumentsInstall()
{
    fixture->writeTree("");
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    compiler.installArguments.clear();
    MessageLog log;
    compiler.installDriver();
    QCOMPARE(streamed(log),
             QStringList("debug: Compiler::installDriver(): no arguments for \"make\", using "
                         "default."_s));
    QCOMPARE(make.argumentsOfCalls(), QList<QStringList>({{"install"_s}}));
}

void CompilerTest::makeInheritsTheEnvironment()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.makeEnvironment, QStringList(QString()));
    run(compiler, Stage(stage));
    QCOMPARE(comparable(make.calls().constFirst().environment), ownEnvironment());
}

void CompilerTest::makeGetsTheEntriesOfTheDriver()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    fixture->driver.makeEnvironment = "KESTRA_ONE=1, , KESTRA_TWO=two words=3"_s;
    StandInTool make("make");
    QByteArrayList expected = ownEnvironment();
    expected.append({"KESTRA_ONE=1", "KESTRA_TWO=two words=3"});
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(comparable(make.calls().constFirst().environment), comparable(expected));
}

void CompilerTest::entriesOfTheDriverWin()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    fixture->driver.makeEnvironment = "KESTRA_ONE=driver, LC_ALL=fr_FR"_s;
    StandInTool make("make");
    const Variable set("KESTRA_ONE", "system");
    const Variable locale("LC_ALL", "de_DE.UTF-8");
    Compiler compiler(fixture->driver, nullptr);
    run(compiler, Stage(stage));
    QCOMPARE(make.calls().constFirst().variable("KESTRA_ONE"), QByteArray("driver"));
    QCOMPARE(make.calls().constFirst().variable("LC_ALL"), QByteArray("fr_FR"));
}

void CompilerTest::makeSeesVariablesSetAfterTheConstruction()
{
    QFETCH(int, stage);
    fixture->writeTree("");
    StandInTool make("make");
    Compiler compiler(fixture->driver, nullptr);
    const Variable late("KESTRA_LATE", "1");
    run(compiler, Stage(stage));
    QCOMPARE(make.calls().constFirst().variable("KESTRA_LATE"), QByteArray("1"));
}

void CompilerTest::installRemovesTheTree_data()
{
    QTest::addColumn<QByteArray>("makefile");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("success") << QByteArray("install:\n\t@echo installed\n") << 0;
    QTest::newRow("failure") << QByteArray("install:\n\t@exit 3\n") << 2;
    QTest::newRow("no such target") << QByteArray("all:\n") << 2;
}

void CompilerTest::installRemovesTheTree()
{
    QFETCH(QByteArray, makefile);
    QFETCH(int, exitCode);
    fixture->writeTree(makefile);
    writeFile(fixture->inTree("sub/.hidden"_s), "x", 0400);
    writeFile(fixture->path("build/beside"_s), "stays");
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.installDriver(), exitCode);
    QCOMPARE(listTree(fixture->path("build"_s)), QStringList("beside"_s));
}

void CompilerTest::installRunsRmExactly()
{
    fixture->writeTree("");
    StandInTool make("make"), rm("rm");
    rm.setBehaviour(exitsWith(1));
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.installDriver(), 0);
    QCOMPARE(rm.argumentsOfCalls(), QList<QStringList>({{"-rf"_s, fixture->tree()}}));
}

void CompilerTest::installAfterSuccessFindsNoTree()
{
    fixture->writeTree("install:\n");
    Compiler compiler(fixture->driver, nullptr);
    QCOMPARE(compiler.installDriver(), 0);
    MessageLog log;
    QCOMPARE(compiler.installDriver(), -1);
    QCOMPARE(streamed(log),
             QStringList("warning: Compiler::installDriver(): extractedDriverPath: directory does "
                         "not exist, aborting!"_s));
}

void CompilerTest::installFailureReportsRemoveLines()
{
    fixture->writeTree("");
    StandInTool make("make");
    make.setBehaviour(prints("failing\n", 2));
    Compiler compiler(fixture->driver, nullptr);
    compiler.debugDriverRemoveProcess("removed: x y :/lib/x.ko");
    compiler.debugDriverRemoveProcess("::");
    compiler.compilerLog.clear();
    MessageLog log;
    QCOMPARE(compiler.installDriver(), 2);
    QCOMPARE(
        streamed(log),
        QStringList({"debug: \"removed\" \" x y \" \"/lib/x.ko\""_s, "debug: \"\" \"\" \"\""_s}));
    QCOMPARE(compiler.compilerLog,
             QByteArray("# Begin Of Installation\nfailing\n\n# Process exited with status: 2.\n"
                        "# RESTORING DRIVER\n# END OF RESTORING DRIVER\n"
                        "# End Of Installation\n\n\n\n"));
}

void CompilerTest::installFailureReportsRemoveLinesEachTime()
{
    StandInTool make("make");
    make.setBehaviour(exitsWith(2));
    Compiler compiler(fixture->driver, nullptr);
    compiler.debugDriverRemoveProcess("a:b:c");
    MessageLog log;
    for (int i = 0; i < 2; ++i) {
        fixture->writeTree("");
        compiler.installDriver();
    }
    const QString line = "debug: \"a\" \"b\" \"c\""_s;
    QCOMPARE(streamed(log), QStringList({line, line}));
}

void CompilerTest::installSuccessReportsNoRemoveLines()
{
    fixture->writeTree("install:\n");
    Compiler compiler(fixture->driver, nullptr);
    compiler.debugDriverRemoveProcess("a:b:c");
    compiler.compilerLog.clear();
    MessageLog log;
    QCOMPARE(compiler.installDriver(), 0);
    QCOMPARE(streamed(log), QStringList());
    QVERIFY(!compiler.compilerLog.contains("RESTORING"));
}

void CompilerTest::lineSlotsLogTheLine_data()
{
    QTest::addColumn<QByteArray>("slot");
    for (const char *slot :
         {"debugDriverCompileProcess", "debugDriverRemoveProcess", "debugDriverInstallProcess"})
        QTest::newRow(slot) << QByteArray(slot);
}

void CompilerTest::lineSlotsLogTheLine()
{
    QFETCH(QByteArray, slot);
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    for (const char *line : {"line", "", "%i %s"})
        QVERIFY(QMetaObject::invokeMethod(&compiler, slot.constData(),
                                          Q_ARG(QByteArray, QByteArray(line))));
    QCOMPARE(compiler.compilerLog, QByteArray("line\n\n%i %s\n"));
    const QByteArray prefix = "Compiler::" + slot + "(): ";
    QCOMPARE(file.text(), prefix + "line\n" + prefix + '\n' + prefix + "%i %s\n");
}

void CompilerTest::lineSlotsCutOnlyTheDebugLineAtNul_data() { lineSlotsLogTheLine_data(); }

void CompilerTest::lineSlotsCutOnlyTheDebugLineAtNul()
{
    QFETCH(QByteArray, slot);
    const QByteArray line("\xe4\0b", 3);
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    QVERIFY(QMetaObject::invokeMethod(&compiler, slot.constData(), Q_ARG(QByteArray, line)));
    QCOMPARE(compiler.compilerLog, line + '\n');
    QCOMPARE(file.text(), "Compiler::" + slot + "(): \xe4\n");
}

void CompilerTest::removeSlotCollectsLinesWithTwoColons_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QStringList>("collected");
    QTest::newRow("none") << QByteArray("abc") << QStringList();
    QTest::newRow("one") << QByteArray("a:b") << QStringList();
    QTest::newRow("two") << QByteArray("a:b:c") << QStringList("a:b:c"_s);
    QTest::newRow("three") << QByteArray("a:b:c:d") << QStringList();
    QTest::newRow("only two") << QByteArray("::") << QStringList("::"_s);
    QTest::newRow("8-bit") << QByteArray("\xe4:b:c") << QStringList("ä:b:c"_s);
}

void CompilerTest::removeSlotCollectsLinesWithTwoColons()
{
    QFETCH(QByteArray, line);
    QFETCH(QStringList, collected);
    Compiler compiler(fixture->driver, nullptr);
    compiler.debugDriverRemoveProcess(line);
    QCOMPARE(compiler.removeLines, collected);
    QCOMPARE(compiler.compilerLog, line + '\n');
}

void CompilerTest::removeSlotIsNotConnected()
{
    fixture->writeBundle("all clean install:\n\t@echo a:b:c\n");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    compiler.compileDriver();
    compiler.installDriver();
    QCOMPARE(compiler.removeLines, QStringList());
    QCOMPARE(compiler.compilerLog.count("a:b:c\n"), 3);
}

void CompilerTest::patchWithoutTreePathSaysSo()
{
    fixture->driver.extractedDriverPath.clear();
    writeFile(fixture->patchPath(release()), "");
    StandInTool patch("patch");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.patchDriver();
    QCOMPARE(streamed(log),
             QStringList("debug: Compiler::patchDriver(): extractedDriverPath is empty, "
                         "returning!"_s));
    QVERIFY(patch.calls().isEmpty());
}

void CompilerTest::patchWithoutPatchFileIsSilent_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("nothing") << QString();
    QTest::newRow("directory") << "directory"_s;
    QTest::newRow("dangling link") << "link"_s;
    QTest::newRow("device") << "device"_s;
    QTest::newRow("patch for another release") << "other"_s;
}

void CompilerTest::patchWithoutPatchFileIsSilent()
{
    QFETCH(QString, obstacle);
    fixture->writeTree("");
    const QString wanted = fixture->patchPath("2.6.24-16-generic"_s);
    if (obstacle == "directory"_s)
        makeDirectory(wanted);
    else if (obstacle == "link"_s)
        QVERIFY(QFile::link("nowhere"_s, wanted));
    else if (obstacle == "device"_s)
        QVERIFY(QFile::link("/dev/null"_s, wanted));
    else if (obstacle == "other"_s)
        writeFile(fixture->patchPath("2.6.24"_s), "");
    StandInTool patch("patch");
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    compiler.kernelRelease = "2.6.24-16-generic"_s;
    MessageLog log;
    compiler.patchDriver();
    QCOMPARE(streamed(log), QStringList());
    QCOMPARE(file.text(), QByteArray());
    QVERIFY(patch.calls().isEmpty());
    QCOMPARE(compiler.compilerLog, QByteArray());
}

void CompilerTest::patchFollowsALink()
{
    fixture->writeTree("");
    writeFile(fixture->path("real.patch"_s), "");
    QVERIFY(QFile::link("real.patch"_s, fixture->patchPath(release())));
    StandInTool patch("patch");
    Compiler compiler(fixture->driver, nullptr);
    compiler.patchDriver();
    QCOMPARE(patch.argumentsOfCalls(),
             QList<QStringList>({{"-p0"_s, fixture->patchPath(release())}}));
}

void CompilerTest::patchIsChosenByTheFullRelease_data()
{
    QTest::addColumn<QString>("kernel");
    QTest::newRow("distribution kernel") << "2.6.24-16-generic"_s;
    QTest::newRow("plain kernel") << "2.6.24"_s;
    QTest::newRow("long numbers") << "6.18.144"_s;
    QTest::newRow("no number at all") << "custom"_s;
    QTest::newRow("empty") << QString();
}

void CompilerTest::patchIsChosenByTheFullRelease()
{
    QFETCH(QString, kernel);
    fixture->writeTree("");
    for (const QString &decoy : {"2.6.24-16"_s, "2.6"_s, "2624"_s, "2.6.24-16-generic-x"_s})
        writeFile(fixture->patchPath(decoy), "");
    const QString expected = fixture->patchPath(kernel);
    writeFile(expected, "");
    StandInTool patch("patch");
    Compiler compiler(fixture->driver, nullptr);
    compiler.kernelRelease = kernel;
    MessageLog log;
    compiler.patchDriver();
    QCOMPARE(patch.argumentsOfCalls(), QList<QStringList>({{"-p0"_s, expected}}));
    QCOMPARE(streamed(log),
             QStringList({"debug: Compiler::patchDriver(): Patching \"ueagle-atm\" by \"%1\""_s.arg(
                              expected),
                          "debug: Compiler::patchDriver(): patch process exited with code: 0"_s}));
}

void CompilerTest::patchRunsExactly()
{
    fixture->writeTree("");
    writeFile(fixture->patchPath(release()), "");
    StandInTool patch("patch");
    patch.setBehaviour(prints("patching file x\n"));
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    compiler.patchDriver();
    QCOMPARE(patch.calls().size(), 1);
    QCOMPARE(patch.calls().constFirst().arguments,
             QStringList({"-p0"_s, fixture->patchPath(release())}));
    QCOMPARE(patch.calls().constFirst().workingDirectory, fixture->tree());
    QCOMPARE(compiler.compilerLog, QByteArray());
    QCOMPARE(file.text(), QByteArray());
}

void CompilerTest::patchOfARelativeBundleIsAbsolute()
{
    fixture->writeTree("");
    writeFile(fixture->patchPath(release()), "");
    QVERIFY(QDir::setCurrent(fixture->path("build"_s)));
    fixture->driver.driverBundlePath = "../bundle.tar"_s;
    StandInTool patch("patch");
    Compiler compiler(fixture->driver, nullptr);
    compiler.patchDriver();
    QCOMPARE(patch.argumentsOfCalls().size(), 1);
    const QString given = patch.argumentsOfCalls().constFirst().constLast();
    QVERIFY(QDir::isAbsolutePath(given));
    QCOMPARE(QDir::cleanPath(given), fixture->patchPath(release()));
}

void CompilerTest::patchInheritsTheEnvironment()
{
    fixture->writeTree("");
    writeFile(fixture->patchPath(release()), "");
    fixture->driver.makeEnvironment = "KESTRA_DRIVER=1"_s;
    StandInTool patch("patch");
    const Variable locale("LC_ALL", "de_DE.UTF-8");
    Compiler compiler(fixture->driver, nullptr);
    compiler.patchDriver();
    QCOMPARE(comparable(patch.calls().constFirst().environment), ownEnvironment());
}

void CompilerTest::patchSaysItsExitCode_data()
{
    QTest::addColumn<int>("exitCode");
    for (int exitCode : {0, 1, 2})
        QTest::addRow("%d", exitCode) << exitCode;
}

void CompilerTest::patchSaysItsExitCode()
{
    QFETCH(int, exitCode);
    fixture->writeTree("");
    writeFile(fixture->patchPath(release()), "");
    StandInTool patch("patch");
    patch.setBehaviour(exitsWith(exitCode));
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.patchDriver();
    QCOMPARE(streamed(log).constLast(),
             "debug: Compiler::patchDriver(): patch process exited with code: %1"_s.arg(exitCode));
}

void CompilerTest::patchThatCannotBeStartedHasCode255()
{
    if (underMemcheck())
        QSKIP("the exit code of a child that cannot be started is memcheck's");
    fixture->writeTree("");
    writeFile(fixture->patchPath(release()), "");
    Compiler compiler(fixture->driver, nullptr);
    const Variable nowhere("PATH", "/nowhere");
    MessageLog log;
    compiler.patchDriver();
    QCOMPARE(streamed(log).constLast(),
             "debug: Compiler::patchDriver(): patch process exited with code: 255"_s);
}

void CompilerTest::patchStartsWithoutATree()
{
    writeFile(fixture->patchPath(release()), "");
    StandInTool patch("patch");
    patch.setBehaviour(exitsWith(3));
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.patchDriver();
    QCOMPARE(patch.argumentsOfCalls(),
             QList<QStringList>({{"-p0"_s, fixture->patchPath(release())}}));
    QCOMPARE(streamed(log).constLast(),
             "debug: Compiler::patchDriver(): patch process exited with code: 3"_s);
    QVERIFY(!exists(fixture->tree()));
}

void CompilerTest::patchWithTheRealToolAppliesNothingAndWaits()
{
    fixture->writeTree("");
    writeFile(fixture->inTree("file"_s), "old\n");
    const QByteArray content = "--- file\n+++ file\n@@ -1 +1 @@\n-old\n+new\n";
    writeFile(fixture->patchPath(release()), content);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    QElapsedTimer timer;
    timer.start();
    compiler.patchDriver();
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 5000 && elapsed < 10000, QByteArray::number(elapsed).constData());
    QCOMPARE(streamed(log),
             QStringList({"debug: Compiler::patchDriver(): Patching \"ueagle-atm\" by \"%1\""_s.arg(
                              fixture->patchPath(release())),
                          "debug: Compiler::patchDriver(): patch process exited with code: 0"_s}));
    QVERIFY(isRunning(compiler.patchProcess->processId()));
    QCOMPARE(readFile(fixture->inTree("file"_s)), QByteArray("old\n"));
    QCOMPARE(readFile(fixture->patchPath(release())), content);
    QCOMPARE(compiler.compilerLog, QByteArray());
}

void CompilerTest::logHasTheBlocksInOrder()
{
    fixture->writeBundle("all:\n\t@echo built\nclean:\n\t@echo cleaned\n"
                         "install:\n\t@echo installed\n");
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.extractDriver();
        compiler.patchDriver();
        compiler.compileDriver();
        compiler.backupDriver();
        compiler.installDriver();
        compiler.restoreDriver();
        QVERIFY(!exists(fixture->logPath()));
    }
    QCOMPARE(readFile("/opt/kestra/logs/ueagle-atm-default_compiler.log"_s),
             QByteArray("# Begin Of Extraction\ndriver/\ndriver/Makefile\n"
                        "\n# Process exited with status: 0.\n# End Of Extraction\n\n\n\n"
                        "# Begin Of Cleaning\ncleaned\n"
                        "\n# Process exited with status: 0.\n# End Of Cleaning\n\n\n\n"
                        "# Begin Of Compilation\nbuilt\n"
                        "\n# Process exited with status: 0.\n# End Of Compilation\n\n\n\n"
                        "# Begin Of Installation\ninstalled\n"
                        "\n# Process exited with status: 0.\n# End Of Installation\n\n\n\n"));
}

void CompilerTest::logOfNoStageIsEmpty()
{
    {
        Compiler compiler(fixture->driver, nullptr);
    }
    QVERIFY(exists(fixture->logPath()));
    QCOMPARE(readFile(fixture->logPath()), QByteArray());
}

void CompilerTest::logDirectoryIsCreatedWithAMessage()
{
    QThread thread;
    const QByteArray first = "Compiler::~Compiler(): dtor called\n";
    {
        DebugFile file;
        MessageLog log;
        {
            Compiler compiler(fixture->driver, &thread);
        }
        QCOMPARE(file.text(),
                 first + "Compiler::~Compiler(): logs' dir does not exist, creating a ne one.\n");
        QCOMPARE(streamed(log), QStringList(constructed));
    }
    DebugFile file;
    {
        Compiler compiler(fixture->driver, &thread);
    }
    QCOMPARE(file.text(), first);
}

void CompilerTest::logReplacesTheEarlierOne()
{
    writeFile(fixture->logPath(), QByteArray(1000, 'x'));
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.debugDriverCompileProcess("short");
    }
    QCOMPARE(readFile(fixture->logPath()), QByteArray("short\n"));
}

void CompilerTest::logIsReadableByAll()
{
    {
        Compiler compiler(fixture->driver, nullptr);
    }
    QCOMPARE(fileMode(fixture->logPath()), 0644);
}

void CompilerTest::logKeepsRawBytes()
{
    const QByteArray line("\xe4\0\xff\r", 4);
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.debugDriverInstallProcess(line);
    }
    QCOMPARE(readFile(fixture->logPath()), line + '\n');
}

void CompilerTest::logThatCannotBeOpenedIsSilent_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<bool>("isFile");
    QTest::newRow("directory of its name")
        << "/opt/kestra/logs/ueagle-atm-default_compiler.log"_s << false;
    QTest::newRow("file for the directory") << "/opt/kestra/logs"_s << true;
    QTest::newRow("file for the parent") << "/opt/kestra"_s << true;
}

void CompilerTest::logThatCannotBeOpenedIsSilent()
{
    QFETCH(QString, obstacle);
    QFETCH(bool, isFile);
    if (isFile)
        writeFile(obstacle, "in the way");
    else
        makeDirectory(obstacle);
    MessageLog log;
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.debugDriverCompileProcess("line");
    }
    QCOMPARE(streamed(log), QStringList(constructed));
    if (isFile)
        QCOMPARE(readFile(obstacle), QByteArray("in the way"));
    else
        QCOMPARE(listDirectory(obstacle), QStringList());
}

void CompilerTest::logOfADriverWithoutNames()
{
    {
        Compiler compiler({}, nullptr);
    }
    QCOMPARE(listTree("/opt/kestra"_s), QStringList({"logs/"_s, "logs/-_compiler.log"_s}));
}

void CompilerTest::destructorKillsAllButMakeClean_data()
{
    QTest::addColumn<QByteArray>("process");
    QTest::addColumn<bool>("survives");
    QTest::newRow("compile") << QByteArray("compile") << false;
    QTest::newRow("install") << QByteArray("install") << false;
    QTest::newRow("extract") << QByteArray("extract") << false;
    QTest::newRow("patch") << QByteArray("patch") << false;
    QTest::newRow("clean") << QByteArray("clean") << true;
}

void CompilerTest::destructorKillsAllButMakeClean()
{
    QFETCH(QByteArray, process);
    QFETCH(bool, survives);
    qint64 pid = 0;
    QPointer<QProcess> object;
    {
        MessageLog log; // QProcess complains about being destroyed
        Compiler compiler(fixture->driver, nullptr);
        QProcess *const child = process == "compile" ? compiler.compileProcess
            : process == "install"                   ? compiler.installProcess
            : process == "extract"                   ? compiler.extractProcess
            : process == "clean"                     ? compiler.cleanProcess
                                                     : compiler.patchProcess;
        child->start("sh"_s, {"-c"_s, "echo line; exec sleep 60"_s});
        QVERIFY(child->waitForStarted());
        pid = child->processId();
        object = child;
        QVERIFY(isRunning(pid));
    }
    QCOMPARE(isRunning(pid), survives);
    if (survives)
        kill(static_cast<pid_t>(pid), SIGTERM);
    QTRY_VERIFY(!object);
    QVERIFY(!isRunning(pid));
}

void CompilerTest::fatalErrorIsNeverEmitted()
{
    writeFile(fixture->driver.driverBundlePath, "this is no archive");
    Compiler compiler(fixture->driver, nullptr);
    QSignalSpy spy(&compiler, &Compiler::fatalError);
    MessageLog log;
    compiler.extractDriver();
    compiler.patchDriver();
    compiler.compileDriver();
    compiler.backupDriver();
    compiler.installDriver();
    fixture->writeTree("all install:\n\t@false\n");
    QCOMPARE(compiler.compileDriver(), 2);
    QCOMPARE(compiler.installDriver(), 2);
    compiler.restoreDriver();
    compiler.removeDriver();
    QCOMPARE(spy.count(), 0);
}

KESTRA_TEST_MAIN(CompilerTest)

#include "compilertest.moc"
