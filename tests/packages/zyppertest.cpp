// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/foundation/myprocess.h>
#include <kestra/packages/zypper.h>

#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QThread>

#include <memory>

using namespace KestraTest;

namespace {

const QString exitedWith = "Zypper::install(): m_installProcess exited with code: %1"_s;

/** A table in the form that the library understands. */
const QByteArray table = "# | Enabled | Refresh | Type  | Alias    | Name\n"
                         "--+---------+---------+-------+----------+-----------\n"
                         "1 | Yes     | No      | yast2 | disc     | The disc\n"
                         "2 | No      | Yes     | NONE  | net-oss  | Net (oss)\n";

QString letters(int count) { return QString(count, QLatin1Char('x')); }

/** All processes of a Zypper, those of its base included. */
QList<QProcess *> processesOf(const Zypper &zypper)
{
    return {zypper.m_askProcess,     zypper.m_installProcess,    zypper.m_reposProcess,
            zypper.m_addRepoProcess, zypper.m_modifyRepoProcess, zypper.m_showProcess};
}

/** The columns of a row, for comparison. */
QStringList columns(const ZypperRepo &repo)
{
    return {QString::number(repo.number),
            repo.enabled ? "enabled"_s : "disabled"_s,
            repo.refresh ? "refresh"_s : "keep"_s,
            repo.type,
            repo.alias,
            repo.name};
}

QList<QStringList> columns(const QList<ZypperRepo> &repos)
{
    QList<QStringList> result;
    for (const ZypperRepo &repo : repos)
        result.append(columns(repo));
    return result;
}

const QList<QStringList> tableColumns = {
    {"1"_s, "enabled"_s, "keep"_s, "yast2"_s, "disc"_s, "The disc"_s},
    {"2"_s, "disabled"_s, "refresh"_s, "NONE"_s, "net-oss"_s, "Net (oss"_s}};

/** Makes /media/disc a repository with one package, of which zypper knows nothing yet. */
void makeRepository()
{
    const QTemporaryDir directory;
    const QString package = makeRpm(directory.path(), "kestra-probe"_s);
    makeDirectory("/media/disc"_s);
    QVERIFY(QFile::copy(package, "/media/disc/kestra-probe.rpm"_s));
    runTool("createrepo_c"_s, {"/media/disc"_s});
}

}

/** The Zypper class, against stand-ins for the tools and against zypper itself. */
class ZypperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void constructorIsSilent();
    void threadIsParentAndGetsTheProcesses();
    void withoutThreadNothingMoves();
    void threadDeletesItsZypper();
    void destructorDeletesTheProcesses();
    void metaObjectHasTwoSlotsAndNoSignal();
    void nothingGoesToStandardOutputOrTheDebugFile();

    void reposAreListed();
    void reposAccumulateOverCalls();
    void reposOnStandardErrorCountToo();
    void exitCodeOfReposDoesNotMatter();
    void missingZypperListsNothing();
    void rowsAreRecognised_data();
    void rowsAreRecognised();
    void otherLinesAreIgnored_data();
    void otherLinesAreIgnored();
    void columnsEndAtTheLastWordBoundary();
    void longNameIsCutAndKeepsItsBlank();
    void rowIsReadUpToANulByte();

    void addRepoRunsZypper_data();
    void addRepoRunsZypper();
    void addRepoPassesTheExitCodeThrough_data();
    void addRepoPassesTheExitCodeThrough();
    void addRepoWithoutZypper();

    void enableRepoRunsZypper();
    void enableRepoNeedsItsConfirmation_data();
    void enableRepoNeedsItsConfirmation();
    void confirmationIsComparedInTheLocalEncoding();
    void confirmationOnStandardErrorDoesNotCount();
    void exitCodeOfEnableRepoDoesNotMatter();
    void enableRepoReadsNoEarlierConfirmation();
    void enableRepoWithoutZypper();

    void availabilityAsksAptCache();
    void availabilityNeedsTheText_data();
    void availabilityNeedsTheText();
    void availabilityReadsLinesOfLimitedLength_data();
    void availabilityReadsLinesOfLimitedLength();
    void standardErrorOfAptCacheDoesNotCount();
    void exitCodeOfAptCacheDoesNotMatter();
    void missingAptCacheMakesAllAvailable();
    void availabilityIsForgottenByTheNextQuery();

    void installOfNothingRunsNothing();
    void installRunsZypper_data();
    void installRunsZypper();
    void installPassesTheExitCodeThrough_data();
    void installPassesTheExitCodeThrough();
    void installWithoutZypper();
    void transcriptRunsTogether();
    void transcriptGrowsOverRuns();
    void progressIsFiltered_data();
    void progressIsFiltered();
    void lineWithNulByteIsKeptInTheTranscript();

    void localeIsForced_data();
    void localeIsForced();

    void realZypperAddsRepositories();
    void realZypperEnablesWithoutTheConfirmation();
    void realZypperInstalls();
    void realZypperHasAnotherDatabaseThanDebiansRpm();
    void realAptCacheNeverSaysNotFound();
    void recordedTableHasNoKnownRow();
    void recordedConfirmationsAreNotUnderstood();
    void recordedInstallationIsKeptAsAWhole();
    void recordedAptCacheMakesAllAvailable();
};

void ZypperTest::init()
{
    if (QByteArray(QTest::currentTestFunction()).startsWith("realZypper")) {
        const QByteArray reason = obstacle({"zypper", "rpm", "rpmbuild", "createrepo_c"});
        if (!reason.isEmpty())
            QSKIP(reason.constData());
        // Without its directory zypper would take rpm's own database.
        for (const char *path :
             {"/media/disc", "/etc/zypp/repos.d", "/var/cache/zypp", "/var/lib/rpm"})
            remove(QString::fromLatin1(path));
        makeDirectory("/var/lib/rpm"_s);
    }
}

// Construction and destruction

void ZypperTest::constructorIsSilent()
{
    const DebugFile debugFile;
    MessageLog messages;
    const Zypper zypper(nullptr);
    QCOMPARE(messages.texts(), QStringList());
    QCOMPARE(debugFile.text(), QByteArray());
}

void ZypperTest::threadIsParentAndGetsTheProcesses()
{
    QThread thread;
    const Zypper zypper(&thread);
    QCOMPARE(zypper.parent(), static_cast<QObject *>(&thread));
    QCOMPARE(zypper.thread(), QThread::currentThread());
    for (const QProcess *process : processesOf(zypper)) {
        QCOMPARE(process->thread(), &thread);
        QVERIFY(!process->parent());
    }
}

void ZypperTest::withoutThreadNothingMoves()
{
    const Zypper zypper(nullptr);
    QVERIFY(!zypper.parent());
    for (const QProcess *process : processesOf(zypper)) {
        QCOMPARE(process->thread(), QThread::currentThread());
        QVERIFY(!process->parent());
    }
}

void ZypperTest::threadDeletesItsZypper()
{
    auto thread = std::make_unique<QThread>();
    const QPointer<Zypper> zypper = new Zypper(thread.get());
    thread.reset();
    QVERIFY(!zypper);
}

void ZypperTest::destructorDeletesTheProcesses()
{
    auto zypper = std::make_unique<Zypper>(nullptr);
    QList<QPointer<QProcess>> processes;
    for (QProcess *process : processesOf(*zypper))
        processes.append(process);
    zypper.reset();
    for (const QPointer<QProcess> &process : processes)
        QVERIFY(!process);
}

void ZypperTest::metaObjectHasTwoSlotsAndNoSignal()
{
    const QMetaObject &meta = Zypper::staticMetaObject;
    QCOMPARE(meta.superClass(), &Rpm::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    const QMetaMethod first = meta.method(meta.methodOffset());
    const QMetaMethod second = meta.method(meta.methodOffset() + 1);
    QCOMPARE(first.methodSignature(), QByteArray("debugProcess(QByteArray)"));
    QCOMPARE(first.methodType(), QMetaMethod::Slot);
    QCOMPARE(second.methodSignature(), QByteArray("debugZyppRepos(QByteArray)"));
    QCOMPARE(second.methodType(), QMetaMethod::Slot);
}

void ZypperTest::nothingGoesToStandardOutputOrTheDebugFile()
{
    StandInTool zypperTool("zypper"), aptCache("apt-cache");
    zypperTool.setBehaviour(says("line\n" + table, "", 3));
    const DebugFile debugFile;
    MessageLog messages;
    QByteArray output;
    {
        Zypper zypper(nullptr);
        StdoutCapture capture;
        zypper.getRepos();
        zypper.addRepo("/media/disc"_s, "disc"_s);
        zypper.enableRepo("disc"_s, true);
        zypper.getArePackagesAvailable({"foo"_s});
        QCOMPARE(messages.take(), QStringList());
        zypper.install({"foo"_s});
        output = capture.take();
    }
    QCOMPARE(output, QByteArray());
    QCOMPARE(debugFile.text(), QByteArray());
}

// getRepos()

void ZypperTest::reposAreListed()
{
    StandInTool tool("zypper");
    tool.setBehaviour(says(table));
    Zypper zypper(nullptr);
    MessageLog messages;
    QCOMPARE(columns(zypper.getRepos()), tableColumns);
    QCOMPARE(tool.argumentsOfCalls(), QList<QStringList>({{"repos"_s}}));
    QCOMPARE(messages.texts(), QStringList());
    QCOMPARE(zypper.m_log, QByteArray());
}

void ZypperTest::reposAccumulateOverCalls()
{
    StandInTool tool("zypper");
    tool.addBehaviour(says(table));
    tool.addBehaviour(says("7 | Yes | Yes | rpm-md | seven | Seven\n"));
    tool.addBehaviour(says(table));
    Zypper zypper(nullptr);
    const QStringList seven = {"7"_s, "enabled"_s, "refresh"_s, "rpm-md"_s, "seven"_s, "Seven"_s};
    QCOMPARE(columns(zypper.getRepos()), tableColumns);
    QCOMPARE(columns(zypper.getRepos()), tableColumns + QList<QStringList>({seven}));
    // Each row comes once per listing, so the slot is not connected any more times than that.
    QCOMPARE(columns(zypper.getRepos()), tableColumns + QList<QStringList>({seven}) + tableColumns);
    QCOMPARE(tool.argumentsOfCalls(),
             QList<QStringList>({{"repos"_s},
                                 {"repos"_s, "zypper"_s, "repos"_s},
                                 {"repos"_s, "zypper"_s, "repos"_s, "zypper"_s, "repos"_s}}));
    QCOMPARE(tool.calls().constLast().program.endsWith("/zypper"), true);
}

void ZypperTest::reposOnStandardErrorCountToo()
{
    StandInTool tool("zypper");
    tool.setBehaviour(says("", table));
    Zypper zypper(nullptr);
    QCOMPARE(columns(zypper.getRepos()), tableColumns);
}

void ZypperTest::exitCodeOfReposDoesNotMatter()
{
    StandInTool tool("zypper");
    tool.setBehaviour(says(table, "", 6));
    Zypper zypper(nullptr);
    QCOMPARE(columns(zypper.getRepos()), tableColumns);
}

void ZypperTest::missingZypperListsNothing()
{
    Zypper zypper(nullptr);
    const NoTools noTools;
    QVERIFY(zypper.getRepos().isEmpty());
}

void ZypperTest::rowsAreRecognised_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char *title, const QString &line, const QString &expected) {
        QTest::newRow(title) << line << expected.split(QLatin1Char('/'));
    };
    row("both yes", "1 | Yes | Yes | yast2 | alias | name"_s,
        "1/enabled/refresh/yast2/alias/name"_s);
    row("not enabled", "1 | No | Yes | yast2 | alias | name"_s,
        "1/disabled/refresh/yast2/alias/name"_s);
    row("no refresh", "1 | Yes | No | yast2 | alias | name"_s, "1/enabled/keep/yast2/alias/name"_s);
    row("no blanks", "1|No|No|yast2|alias|name"_s, "1/disabled/keep/yast2/alias/name"_s);
    row("wide columns", "  1 \t|  Yes   |   No  |  rpm-md   |  an alias  |   a name  "_s,
        "1/enabled/keep/rpm-md/an alias/a name"_s);
    row("not at the beginning", "row 12 | Yes | No | yast2 | alias | name"_s,
        "12/enabled/keep/yast2/alias/name"_s);
    row("number 0", "0 | Yes | No | yast2 | alias | name"_s, "0/enabled/keep/yast2/alias/name"_s);
    row("number with a leading zero", "08 | Yes | No | yast2 | alias | name"_s,
        "8/enabled/keep/yast2/alias/name"_s);
    row("row 99", "99 | Yes | No | yast2 | alias | name"_s, "99/enabled/keep/yast2/alias/name"_s);
    QTest::newRow("inner punctuation")
        << "1 | Yes | No | rpm-md | http://a.b/c d | x (y) z"_s
        << QStringList({"1"_s, "enabled"_s, "keep"_s, "rpm-md"_s, "http://a.b/c d"_s, "x (y) z"_s});
    QTest::newRow("longest columns")
        << "1 | Yes | No | %1 | %2 | %2"_s.arg(letters(10), letters(40))
        << QStringList({"1"_s, "enabled"_s, "keep"_s, letters(10), letters(40), letters(40)});
}

void ZypperTest::rowsAreRecognised()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    Zypper zypper(nullptr);
    MessageLog messages;
    zypper.debugZyppRepos(line.toLatin1());
    QCOMPARE(columns(zypper.m_repos), QList<QStringList>({expected}));
    QCOMPARE(messages.texts(), QStringList());
}

void ZypperTest::otherLinesAreIgnored_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("empty") << QString();
    QTest::newRow("heading") << "# | Enabled | Refresh | Type  | Alias    | Name"_s;
    QTest::newRow("separator") << "--+---------+---------+-------+----------+-----------"_s;
    QTest::newRow("row 100") << "100 | Yes | No | yast2 | alias | name"_s;
    QTest::newRow("no number") << "x | Yes | No | yast2 | alias | name"_s;
    QTest::newRow("number in a word") << "x1 | Yes | No | yast2 | alias | name"_s;
    QTest::newRow("small yes") << "1 | yes | No | yast2 | alias | name"_s;
    QTest::newRow("small no") << "1 | Yes | no | yast2 | alias | name"_s;
    QTest::newRow("longer than yes") << "1 | Yesterday | No | yast2 | alias | name"_s;
    QTest::newRow("longer than no") << "1 | Yes | Nope | yast2 | alias | name"_s;
    QTest::newRow("five columns") << "1 | Yes | No | yast2 | alias"_s;
    QTest::newRow("empty type") << "1 | Yes | No |       | alias | name"_s;
    QTest::newRow("empty name") << "1 | Yes | No | yast2 | alias |  "_s;
    QTest::newRow("long type") << "1 | Yes | No | %1 | alias | name"_s.arg(letters(11));
    QTest::newRow("long alias") << "1 | Yes | No | yast2 | %1 | name"_s.arg(letters(41));
    QTest::newRow("long word for a name") << "1 | Yes | No | yast2 | alias | "_s + letters(41);
    QTest::newRow("alias ends in punctuation") << "1 | Yes | No | yast2 | alias) | name"_s;
    QTest::newRow("name begins with punctuation") << "1 | Yes | No | yast2 | alias | (name)"_s;
    QTest::newRow("other separators") << "1 ; Yes ; No ; yast2 ; alias ; name"_s;
}

void ZypperTest::otherLinesAreIgnored()
{
    QFETCH(QString, line);
    Zypper zypper(nullptr);
    MessageLog messages;
    zypper.debugZyppRepos(line.toLatin1());
    QCOMPARE(columns(zypper.m_repos), QList<QStringList>());
    QCOMPARE(messages.texts(), QStringList());
}

void ZypperTest::columnsEndAtTheLastWordBoundary()
{
    Zypper zypper(nullptr);
    zypper.debugZyppRepos("1 | Yes | No | yast2 | alias | The name (x86)   ");
    QCOMPARE(zypper.m_repos.constFirst().name, "The name (x86"_s);
}

// Texts are kept as the pattern captures them: after forty characters it may stop at a blank.
void ZypperTest::longNameIsCutAndKeepsItsBlank()
{
    Zypper zypper(nullptr);
    const QString name = letters(39) + QLatin1Char(' ');
    zypper.debugZyppRepos(("1 | Yes | No | yast2 | alias | "_s + name + "rest"_s).toLatin1());
    QCOMPARE(zypper.m_repos.constFirst().name, name);
}

void ZypperTest::rowIsReadUpToANulByte()
{
    Zypper zypper(nullptr);
    zypper.debugZyppRepos(QByteArray("1 | Yes | No\0 | yast2 | alias | name", 36));
    QVERIFY(zypper.m_repos.isEmpty());
    zypper.debugZyppRepos(QByteArray("1 | Yes | No | yast2 | alias | name\0 more", 40));
    QCOMPARE(columns(zypper.m_repos),
             QList<QStringList>({{"1"_s, "enabled"_s, "keep"_s, "yast2"_s, "alias"_s, "name"_s}}));
}

// addRepo()

void ZypperTest::addRepoRunsZypper_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "/media/disc"_s
                           << "disc"_s;
    QTest::newRow("blanks") << "/media/a disc"_s
                            << "Kestra added CD/DVD"_s;
    QTest::newRow("empty url") << QString() << "disc"_s;
    QTest::newRow("empty name") << "/media/disc"_s << QString();
    QTest::newRow("dash") << "-f"_s
                          << "--help"_s;
}

void ZypperTest::addRepoRunsZypper()
{
    QFETCH(QString, url);
    QFETCH(QString, name);
    StandInTool tool("zypper");
    Zypper zypper(nullptr);
    QCOMPARE(zypper.addRepo(url, name), 0);
    QCOMPARE(zypper.addRepo(url, name), 0);
    const QStringList command = {"ar"_s, url, name};
    QCOMPARE(tool.argumentsOfCalls(), QList<QStringList>({command, command}));
}

void ZypperTest::addRepoPassesTheExitCodeThrough_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 1, 4, 104, 255})
        QTest::addRow("%d", code) << code;
}

void ZypperTest::addRepoPassesTheExitCodeThrough()
{
    QFETCH(int, code);
    StandInTool tool("zypper");
    tool.setBehaviour(says("Repository added\n", "", code));
    Zypper zypper(nullptr);
    MessageLog messages;
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), code);
    QCOMPARE(messages.texts(), QStringList());
    QCOMPARE(zypper.m_log, QByteArray());
}

void ZypperTest::addRepoWithoutZypper()
{
    Zypper zypper(nullptr);
    const NoTools noTools;
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), 255);
}

// enableRepo()

void ZypperTest::enableRepoRunsZypper()
{
    StandInTool tool("zypper");
    Zypper zypper(nullptr);
    MessageLog messages;
    zypper.enableRepo("the disc"_s, true);
    zypper.enableRepo("the disc"_s, false);
    zypper.enableRepo(QString(), true);
    QCOMPARE(tool.argumentsOfCalls(),
             QList<QStringList>({{"mr"_s, "-e"_s, "the disc"_s},
                                 {"mr"_s, "-d"_s, "the disc"_s},
                                 {"mr"_s, "-e"_s, QString()}}));
    QCOMPARE(messages.texts(), QStringList());
}

void ZypperTest::enableRepoNeedsItsConfirmation_data()
{
    QTest::addColumn<QString>("alias");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<bool>("confirmed");
    const auto row = [](const char *title, const char *output, bool confirmed) {
        QTest::newRow(title) << "disc"_s << QByteArray(output) << confirmed;
    };
    row("with its one c", "Repository disc has been sucessfully modified.\n", true);
    row("without newline", "Repository disc has been sucessfully modified.", true);
    row("in the middle", "x\nyRepository disc has been sucessfully modified. z", true);
    row("spelled correctly", "Repository disc has been successfully modified.\n", false);
    row("quoted", "Repository 'disc' has been sucessfully modified.\n", false);
    row("another word", "Repository disc has been sucessfully enabled.\n", false);
    row("no full stop", "Repository disc has been sucessfully modified\n", false);
    row("small letter", "repository disc has been sucessfully modified.\n", false);
    row("another language", "Repository disc wurde erfolgreich ge\xc3\xa4ndert.\n", false);
    row("another alias", "Repository disc2 has been sucessfully modified.\n", false);
    row("broken line", "Repository disc has been\nsucessfully modified.\n", false);
    row("nothing", "", false);
    QTest::newRow("after a NUL byte")
        << "disc"_s << QByteArray("x\0Repository disc has been sucessfully modified.\n", 49)
        << true;
    QTest::newRow("empty alias") << QString()
                                 << QByteArray("Repository  has been sucessfully modified.\n")
                                 << true;
    QTest::newRow("percent sign") << "%1"_s
                                  << QByteArray("Repository %1 has been sucessfully modified.\n")
                                  << true;
}

void ZypperTest::enableRepoNeedsItsConfirmation()
{
    QFETCH(QString, alias);
    QFETCH(QByteArray, output);
    QFETCH(bool, confirmed);
    StandInTool tool("zypper");
    tool.setBehaviour(says(output));
    Zypper zypper(nullptr);
    QCOMPARE(zypper.enableRepo(alias, true), confirmed);
    QCOMPARE(zypper.enableRepo(alias, false), confirmed);
}

void ZypperTest::confirmationIsComparedInTheLocalEncoding()
{
    QTextCodec *const previous = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    StandInTool tool("zypper");
    tool.addBehaviour(says("Repository caf\xc3\xa9 has been sucessfully modified.\n"));
    tool.addBehaviour(says("Repository caf\xe9 has been sucessfully modified.\n"));
    Zypper zypper(nullptr);
    const QString alias = QString::fromUtf8("caf\xc3\xa9");
    const bool asUtf8 = zypper.enableRepo(alias, true);
    const bool asLatin1 = zypper.enableRepo(alias, true);
    QTextCodec::setCodecForLocale(previous);
    QVERIFY(asUtf8);
    QVERIFY(!asLatin1);
}

void ZypperTest::confirmationOnStandardErrorDoesNotCount()
{
    StandInTool tool("zypper");
    tool.setBehaviour(says("", "Repository disc has been sucessfully modified.\n"));
    Zypper zypper(nullptr);
    QVERIFY(!zypper.enableRepo("disc"_s, true));
}

void ZypperTest::exitCodeOfEnableRepoDoesNotMatter()
{
    StandInTool tool("zypper");
    tool.addBehaviour(says("Repository disc has been sucessfully modified.\n", "", 3));
    tool.addBehaviour(says("Fine.\n"));
    Zypper zypper(nullptr);
    QVERIFY(zypper.enableRepo("disc"_s, true));
    QVERIFY(!zypper.enableRepo("disc"_s, true));
}

void ZypperTest::enableRepoReadsNoEarlierConfirmation()
{
    StandInTool tool("zypper");
    tool.addBehaviour(says("Repository disc has been sucessfully modified.\n"));
    tool.addBehaviour(says(""));
    Zypper zypper(nullptr);
    QVERIFY(zypper.enableRepo("disc"_s, true));
    QVERIFY(!zypper.enableRepo("disc"_s, true));
}

void ZypperTest::enableRepoWithoutZypper()
{
    Zypper zypper(nullptr);
    const NoTools noTools;
    QVERIFY(!zypper.enableRepo("disc"_s, true));
}

// getArePackagesAvailable()

void ZypperTest::availabilityAsksAptCache()
{
    StandInTool aptCache("apt-cache"), zypperTool("zypper");
    Zypper zypper(nullptr);
    MessageLog messages;
    QVERIFY(zypper.getArePackagesAvailable({"foo"_s, QString(), "b c"_s}));
    QVERIFY(zypper.getArePackagesAvailable({}));
    QCOMPARE(aptCache.argumentsOfCalls(),
             QList<QStringList>({{"show"_s, "foo"_s, QString(), "b c"_s}, {"show"_s}}));
    QVERIFY(zypperTool.calls().isEmpty());
    QCOMPARE(messages.texts(), QStringList());
}

void ZypperTest::availabilityNeedsTheText_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<bool>("available");
    QTest::newRow("not found") << QByteArray("package foo not found\n") << false;
    QTest::newRow("without newline") << QByteArray("package foo not found") << false;
    QTest::newRow("within a line") << QByteArray("the package foo not found!\n") << false;
    QTest::newRow("on a later line") << QByteArray("\n\nfoo\npackage foo not found\n") << false;
    QTest::newRow("after a NUL byte") << QByteArray("x\0package foo not found\n", 24) << false;
    QTest::newRow("several words") << QByteArray("package a b c not found\n") << false;
    QTest::newRow("longest name") << "package " + QByteArray(100, 'x') + " not found\n" << false;
    QTest::newRow("too long a name") << "package " + QByteArray(101, 'x') + " not found\n" << true;
    QTest::newRow("no name") << QByteArray("package  not found\n") << true;
    QTest::newRow("capitals") << QByteArray("Package foo not found\n") << true;
    QTest::newRow("over two lines") << QByteArray("package foo\nbar not found\n") << true;
    QTest::newRow("found") << QByteArray("Package: foo\nVersion: 1\n\n") << true;
    QTest::newRow("nothing") << QByteArray() << true;
}

void ZypperTest::availabilityNeedsTheText()
{
    QFETCH(QByteArray, output);
    QFETCH(bool, available);
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says(output));
    Zypper zypper(nullptr);
    QCOMPARE(zypper.getArePackagesAvailable({"foo"_s}), available);
}

void ZypperTest::availabilityReadsLinesOfLimitedLength_data()
{
    QTest::addColumn<int>("textEnd");
    QTest::addColumn<bool>("available");
    // A read of 200 bytes brings 199 and keeps one for the terminating zero.
    QTest::newRow("up to the limit") << 199 << false;
    QTest::newRow("over the limit") << 200 << true;
    QTest::newRow("starts before the limit") << 219 << true;
    QTest::newRow("starts after the limit") << 220 << false;
    QTest::newRow("up to the second limit") << 398 << false;
    QTest::newRow("over the second limit") << 399 << true;
}

void ZypperTest::availabilityReadsLinesOfLimitedLength()
{
    QFETCH(int, textEnd);
    QFETCH(bool, available);
    const QByteArray text = "package foo not found";
    QCOMPARE(text.size(), 21);
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says(QByteArray(textEnd - text.size(), '.') + text + '\n'));
    Zypper zypper(nullptr);
    QCOMPARE(zypper.getArePackagesAvailable({"foo"_s}), available);
}

void ZypperTest::standardErrorOfAptCacheDoesNotCount()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", "package foo not found\n"));
    Zypper zypper(nullptr);
    QVERIFY(zypper.getArePackagesAvailable({"foo"_s}));
}

void ZypperTest::exitCodeOfAptCacheDoesNotMatter()
{
    StandInTool aptCache("apt-cache");
    aptCache.addBehaviour(says("", "E: No packages found\n", 100));
    aptCache.addBehaviour(says("package foo not found\n"));
    Zypper zypper(nullptr);
    QVERIFY(zypper.getArePackagesAvailable({"foo"_s}));
    QVERIFY(!zypper.getArePackagesAvailable({"foo"_s}));
}

void ZypperTest::missingAptCacheMakesAllAvailable()
{
    Zypper zypper(nullptr);
    const NoTools noTools;
    QVERIFY(zypper.getArePackagesAvailable({"foo"_s}));
}

void ZypperTest::availabilityIsForgottenByTheNextQuery()
{
    StandInTool aptCache("apt-cache");
    aptCache.addBehaviour(says("package foo not found\npackage bar not found\n"));
    aptCache.addBehaviour(says(""));
    Zypper zypper(nullptr);
    QVERIFY(!zypper.getArePackagesAvailable({"foo"_s}));
    QVERIFY(zypper.getArePackagesAvailable({"foo"_s}));
}

// install()

void ZypperTest::installOfNothingRunsNothing()
{
    StandInTool tool("zypper");
    Zypper zypper(nullptr);
    MessageLog messages;
    QCOMPARE(zypper.install({}), 0);
    QVERIFY(tool.calls().isEmpty());
    QCOMPARE(zypper.m_log, QByteArray());
    QCOMPARE(messages.texts(), QStringList());
}

void ZypperTest::installRunsZypper_data()
{
    QTest::addColumn<QStringList>("packages");
    QTest::newRow("one") << QStringList("foo"_s);
    QTest::newRow("odd names") << QStringList(
        {"z"_s, QString(), "two words"_s, "-o"_s, "a"_s, "z"_s});
}

void ZypperTest::installRunsZypper()
{
    QFETCH(QStringList, packages);
    StandInTool tool("zypper");
    Zypper zypper(nullptr);
    // Twice, since the process is used again.
    QCOMPARE(zypper.install(packages), 0);
    QCOMPARE(zypper.install(packages), 0);
    const QStringList command =
        QStringList({"--non-interactive"_s, "--no-gpg-checks"_s, "install"_s}) + packages;
    QCOMPARE(tool.argumentsOfCalls(), QList<QStringList>({command, command}));
}

void ZypperTest::installPassesTheExitCodeThrough_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 1, 104, 255})
        QTest::addRow("%d", code) << code;
}

void ZypperTest::installPassesTheExitCodeThrough()
{
    QFETCH(int, code);
    StandInTool tool("zypper");
    tool.setBehaviour(says("", "", code));
    Zypper zypper(nullptr);
    MessageLog messages;
    QCOMPARE(zypper.install({"foo"_s}), code);
    QCOMPARE(messages.texts(), QStringList(exitedWith.arg(code)));
    QCOMPARE(messages.debugs(), QStringList(exitedWith.arg(code)));
    QCOMPARE(zypper.m_log, QByteArray("Zypper::install(): begin.Zypper::install(): end."));
}

void ZypperTest::installWithoutZypper()
{
    Zypper zypper(nullptr);
    MessageLog messages;
    const NoTools noTools;
    QCOMPARE(zypper.install({"foo"_s}), 255);
    QCOMPARE(messages.texts(), QStringList(exitedWith.arg(255)));
    QCOMPARE(zypper.m_log, QByteArray("Zypper::install(): begin.Zypper::install(): end."));
}

void ZypperTest::transcriptRunsTogether()
{
    StandInTool tool("zypper");
    StandInTool::Behaviour behaviour;
    behaviour.script = "echo one; echo two >&2; echo '* Installing: foo-1 [50%]'; echo;"
                       "printf 'three\\r\\n\\351\\nrest'";
    tool.setBehaviour(behaviour);
    Zypper zypper(nullptr);
    MessageLog messages;
    QCOMPARE(zypper.install({"foo"_s}), 0);
    QCOMPARE(zypper.m_log,
             QByteArray("Zypper::install(): begin.onetwothree\xe9Zypper::install(): end."));
    const QStringList texts = messages.texts();
    QCOMPARE(texts.mid(0, 5),
             QStringList({"Zypper::debugProcess(): \"one\""_s, "Zypper::debugProcess(): \"two\""_s,
                          "Zypper::debugProcess(): \"\""_s, "Zypper::debugProcess(): \"three\""_s,
                          "Zypper::debugProcess(): \"\""_s}));
    QCOMPARE(texts.constLast(), exitedWith.arg(0));
    QCOMPARE(texts.size(), 7);
}

void ZypperTest::transcriptGrowsOverRuns()
{
    StandInTool tool("zypper");
    tool.setBehaviour(says("one\n"));
    Zypper zypper(nullptr);
    zypper.install({"foo"_s});
    zypper.install({"foo"_s});
    const QByteArray run = "Zypper::install(): begin.oneZypper::install(): end.";
    QCOMPARE(zypper.m_log, run + run);
}

void ZypperTest::progressIsFiltered_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("isProgress");
    QTest::newRow("installing") << "* Installing: foo-1.2-3"_s << true;
    QTest::newRow("installing nothing") << "* Installing: "_s << true;
    QTest::newRow("reading repository") << "* Reading repository 'disc' cache [50%]"_s << true;
    QTest::newRow("another bullet") << "- Reading repository 'disc' cache"_s << true;
    QTest::newRow("reading packages") << "| Reading installed packages [done]"_s << true;
    QTest::newRow("longest repository")
        << "* Reading repository %1 cache"_s.arg(letters(100)) << true;
    QTest::newRow("too long a repository")
        << "* Reading repository %1 cache"_s.arg(letters(101)) << false;
    QTest::newRow("no repository") << "* Reading repository  cache"_s << false;
    QTest::newRow("no cache") << "* Reading repository 'disc'"_s << false;
    QTest::newRow("not at the beginning") << "x* Installing: foo"_s << false;
    QTest::newRow("blank before") << " * Installing: foo"_s << false;
    QTest::newRow("no colon") << "* Installing foo"_s << false;
    QTest::newRow("no blank after the colon") << "* Installing:foo"_s << false;
    QTest::newRow("installing with another bullet") << "- Installing: foo"_s << false;
    QTest::newRow("counted") << "(1/1) Installing: foo"_s << false;
    QTest::newRow("no bullet") << "Reading installed packages..."_s << false;
    QTest::newRow("two characters before") << "** Reading installed packages"_s << false;
    QTest::newRow("small letter") << "* installing: foo"_s << false;
    QTest::newRow("text") << "foo is installed"_s << false;
    QTest::newRow("empty") << QString() << false;
}

void ZypperTest::progressIsFiltered()
{
    QFETCH(QString, line);
    QFETCH(bool, isProgress);
    Zypper zypper(nullptr);
    MessageLog messages;
    zypper.debugProcess(line.toLatin1());
    QCOMPARE(zypper.m_log, isProgress ? QByteArray() : line.toLatin1());
    const QString message = "Zypper::debugProcess(): \"%1\""_s.arg(line);
    QCOMPARE(messages.texts(), isProgress ? QStringList() : QStringList(message));
    QCOMPARE(messages.debugs().size(), isProgress ? 0 : 1);
}

void ZypperTest::lineWithNulByteIsKeptInTheTranscript()
{
    Zypper zypper(nullptr);
    const QByteArray line("a\0b", 3);
    zypper.debugProcess(line);
    QCOMPARE(zypper.m_log, line);
}

// Environment

void ZypperTest::localeIsForced_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::newRow("not set") << QByteArray();
    QTest::newRow("set already") << QByteArray("de_DE.UTF-8");
}

void ZypperTest::localeIsForced()
{
    QFETCH(QByteArray, locale);
    const EnvironmentVariable variable("LC_ALL", locale);
    if (locale.isNull())
        qunsetenv("LC_ALL");
    StandInTool tool("zypper"), aptCache("apt-cache");
    Zypper zypper(nullptr);
    zypper.getRepos();
    zypper.addRepo("/media/disc"_s, "disc"_s);
    zypper.enableRepo("disc"_s, true);
    zypper.install({"foo"_s});
    zypper.getArePackagesAvailable({"foo"_s});
    const QList<StandInTool::Call> calls = tool.calls() + aptCache.calls();
    QCOMPARE(calls.size(), 5);
    for (const StandInTool::Call &call : calls)
        QCOMPARE(sorted(call.environment), englishEnvironment());
}

// The real tools, and what they print today

void ZypperTest::realZypperAddsRepositories()
{
    makeRepository();
    Zypper zypper(nullptr);
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), 0);
    QVERIFY(readFile("/etc/zypp/repos.d/disc.repo"_s).contains("baseurl=dir:/media/disc"));
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), 4);
    // Today's table has other columns.
    QVERIFY(zypper.getRepos().isEmpty());
}

void ZypperTest::realZypperEnablesWithoutTheConfirmation()
{
    makeRepository();
    Zypper zypper(nullptr);
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), 0);
    const QString file = "/etc/zypp/repos.d/disc.repo"_s;
    QVERIFY(!zypper.enableRepo("disc"_s, false));
    QVERIFY(readFile(file).contains("enabled=0"));
    QVERIFY(!zypper.enableRepo("disc"_s, true));
    QVERIFY(readFile(file).contains("enabled=1"));
    QVERIFY(!zypper.enableRepo("unknown"_s, true));
}

void ZypperTest::realZypperInstalls()
{
    makeRepository();
    MessageLog messages;
    Zypper zypper(nullptr);
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), 0);
    QCOMPARE(zypper.install({"kestra-nothing"_s}), 104);
    QCOMPARE(zypper.install({"kestra-probe"_s}), 0);
    QVERIFY(zypper.m_log.contains("(1/1) Installing: kestra-probe-1.2-3.noarch"));
    QCOMPARE(runTool("rpm"_s, {"--dbpath"_s, "/var/lib/rpm"_s, "-qa"_s, "kestra-probe"_s}),
             QByteArray("kestra-probe-1.2-3.noarch\n"));
}

void ZypperTest::realZypperHasAnotherDatabaseThanDebiansRpm()
{
    const QTemporaryDir home;
    const EnvironmentVariable variable("HOME", QFile::encodeName(home.path()));
    const QByteArray database = runTool("rpm"_s, {"--eval"_s, "%_dbpath"_s}).trimmed();
    if (database == "/var/lib/rpm")
        QSKIP("this rpm has the same database as zypper");
    makeRepository();
    MessageLog messages;
    Zypper zypper(nullptr);
    QCOMPARE(zypper.addRepo("/media/disc"_s, "disc"_s), 0);
    QCOMPARE(zypper.install({"kestra-probe"_s}), 0);
    QCOMPARE(zypper.queryDB(), 0);
    QCOMPARE(zypper.getNotInstalled({"kestra-probe"_s}), QStringList("kestra-probe"_s));
    writeFile(home.filePath(".rpmmacros"_s), "%_dbpath /var/lib/rpm\n");
    QCOMPARE(zypper.queryDB(), 0);
    QCOMPARE(zypper.getNotInstalled({"kestra-probe"_s}), QStringList());
}

void ZypperTest::realAptCacheNeverSaysNotFound()
{
    if (!isInstalled("apt-cache"))
        QSKIP("apt-cache is not installed");
    Zypper zypper(nullptr);
    QVERIFY(zypper.getArePackagesAvailable({"kestra-nothing"_s}));
}

void ZypperTest::recordedTableHasNoKnownRow()
{
    const QByteArray repos = recording("zypper-1.14.42/repos.txt");
    QVERIFY(repos.contains("\n1 | Kestra disc | Kestra disc | Yes     | ( p) Yes  | No\n"));
    StandInTool tool("zypper");
    tool.addBehaviour(says(repos));
    tool.addBehaviour(says(recording("zypper-1.14.42/repos-repeated.txt"), "", 3));
    tool.addBehaviour(says(recording("zypper-1.14.42/repos-none.txt"), "", 6));
    Zypper zypper(nullptr);
    QVERIFY(zypper.getRepos().isEmpty());
    QVERIFY(zypper.getRepos().isEmpty());
    QVERIFY(zypper.getRepos().isEmpty());
}

void ZypperTest::recordedConfirmationsAreNotUnderstood()
{
    StandInTool tool("zypper");
    tool.addBehaviour(says(recording("zypper-1.14.42/mr-enable.txt")));
    tool.addBehaviour(says(recording("zypper-1.14.42/mr-disable.txt")));
    Zypper zypper(nullptr);
    QVERIFY(!zypper.enableRepo("other"_s, true));
    QVERIFY(!zypper.enableRepo("other"_s, false));
}

// Today's progress lines have no bullet, so none of them is filtered.
void ZypperTest::recordedInstallationIsKeptAsAWhole()
{
    QByteArray output = recording("zypper-1.14.42/install.txt");
    StandInTool tool("zypper");
    tool.setBehaviour(says(output));
    Zypper zypper(nullptr);
    MessageLog messages;
    QCOMPARE(zypper.install({"kestra-probe"_s}), 0);
    const int lines = output.count('\n');
    QCOMPARE(zypper.m_log,
             "Zypper::install(): begin." + output.replace("\n", "") + "Zypper::install(): end.");
    QCOMPARE(messages.texts().size(), lines + 1);
}

void ZypperTest::recordedAptCacheMakesAllAvailable()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", recording("apt-2.6.2/show-unknown.txt"), 100));
    Zypper zypper(nullptr);
    QVERIFY(zypper.getArePackagesAvailable({"kestra-nothing"_s}));
}

KESTRA_TEST_MAIN(ZypperTest)

#include "zyppertest.moc"
