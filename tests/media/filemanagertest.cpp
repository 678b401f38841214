// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "plainwalk.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/media/filemanager.h>

#include <QDir>
#include <QProcess>

#include <memory>
#include <optional>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

QString searching(const QString &directory)
{
    return "Searching in directory: \"%1\""_s.arg(directory);
}

QString foundLine(const QString &name) { return "Found matching file: \"%1\""_s.arg(name); }

const QRegExp anything;

QStringList findFiles(const QString &directory, const QRegExp &pattern = anything)
{
    FileManager manager;
    QStringList result;
    manager.findFiles(directory, pattern, result);
    return result;
}

QString findFile(const QString &directory, const QString &name)
{
    FileManager manager;
    QString result;
    manager.findFile(directory, name, result);
    return result;
}

void makeLink(const QString &target, const QString &path)
{
    if (symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()) != 0)
        qFatal("cannot link %s", qPrintable(path));
}

void makeNode(const QString &path, mode_t kind)
{
    if (mknod(QFile::encodeName(path).constData(), kind | 0666, 0) != 0)
        qFatal("cannot make %s", qPrintable(path));
}

/** Makes a file whose name need not be text. */
void makeRawFile(const QByteArray &path)
{
    const int fd = open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    if (fd < 0)
        qFatal("cannot make %s", path.constData());
    close(fd);
}

/** Grows a tree with everything in it that a walk may meet, but without a way back up. */
class RandomTree
{
public:
    RandomTree(unsigned seed, const QString &path) : m_random(seed)
    {
        m_linkTargets = QStringList({path + "/shared/one"_s, path + "/shared/two"_s});
        for (const QString &target : qAsConst(m_linkTargets))
            fill(QFile::encodeName(target), 8, 1, false);
        fill(QFile::encodeName(path + "/tree"_s), 14, 4, true);
    }

private:
    unsigned pick(unsigned count) { return m_random() % count; }

    QByteArray newName()
    {
        static const QByteArrayList stems = {"a",        "B",    "c c",         "\xc3\xa4",
                                             "z\"q\"",   "n\nl", "\xff raw",    "products",
                                             "x.tar.gz", "%1",   "\xe2\x82\xac"};
        const QByteArray &name = stems.at(int(pick(unsigned(stems.size()))));
        const QByteArray number = pick(2) ? QByteArray() : QByteArray::number(pick(5));
        return (pick(5) ? QByteArray() : QByteArray(".")) + name + number;
    }

    void fill(const QByteArray &directory, unsigned count, int depth, bool links)
    {
        makeDirectory(QFile::decodeName(directory));
        mkdir(directory.constData(), 0755);
        for (unsigned i = 0; i < count; ++i) {
            const QByteArray path = directory + '/' + newName();
            switch (pick(10)) {
            case 0:
            case 1:
            case 2:
                if (depth > 0 && mkdir(path.constData(), 0755) == 0)
                    fill(path, pick(count + 1), depth - 1, links);
                break;
            case 3:
                if (links)
                    (void)!symlink(QFile::encodeName(m_linkTargets.at(int(pick(2)))).constData(),
                                   path.constData());
                break;
            case 4:
                (void)!symlink(pick(2) ? "/etc/passwd" : "nowhere", path.constData());
                break;
            case 5:
                mknod(path.constData(), pick(2) ? S_IFIFO | 0666 : S_IFSOCK | 0666, 0);
                break;
            default:
                close(open(path.constData(), O_CREAT | O_EXCL | O_CLOEXEC, pick(8) ? 0644 : 0000));
            }
        }
    }

    std::mt19937 m_random;
    QStringList m_linkTargets;
};

}

/** Searching, indexing, copying and removing. */
class FileManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void newManagerIsEmptyAndSilent();
    void destructionWritesOneLine();
    void hasNoSignalsNorSlots();
    void spareMembersAreLeftAlone();

    void indexOfNothing_data();
    void indexOfNothing();
    void indexOfWhatHoldsNoFiles_data();
    void indexOfWhatHoldsNoFiles();
    void indexIsDepthFirst();
    void indexHasHiddenFiles();
    void indexHasNoLinks();
    void indexHasNoSpecialFiles();
    void indexGrowsUntilItIsCleared();
    void indexListsTheSameTreeTwice();
    void indexOfPathForms_data();
    void indexOfPathForms();
    void indexKeepsTheNameOfALink();
    void indexHasNoUnreadableFiles();
    void indexOfTheRootDirectory();
    void indexWritesNothing();

    void findFilesInMissingDirectory_data();
    void findFilesInMissingDirectory();
    void findFilesSearchesInNamesOnly();
    void findFilesWithPatterns_data();
    void findFilesWithPatterns();
    void findFilesLeavesHiddenOnesOut();
    void findFilesLeavesLinksAndSpecialFilesOut();
    void findFilesHasTopFilesFirst();
    void findFilesTellsWhereItSearches();
    void findFilesKeepsTheDirectoryAsItWasGiven_data();
    void findFilesKeepsTheDirectoryAsItWasGiven();
    void findFilesMatchesEarlierFilesAgain();
    void findFilesForgetsWhenToldTo();
    void findFilesAppendsToTheResult();
    void findFilesListsEachPathOnce();
    void findFilesTellsSpellingsApart();
    void findFilesLeavesThePatternAlone();
    void findFilesInTheRootDirectory();
    void findFilesMeetsUnreadableDirectories();

    void findFileInMissingDirectory_data();
    void findFileInMissingDirectory();
    void findFileWithoutMatchKeepsTheResult();
    void findFileComparesExactly_data();
    void findFileComparesExactly();
    void findFileTakesTheShallowestOfABranch();
    void findFileTakesTheLastBranch();
    void findFileSearchesOnAfterAMatch();
    void findFileLeavesHiddenOnesOut();
    void findFileTakesPlainFilesOnly();
    void findFileFollowsLinksToDirectories();
    void findFileVisitsADiamondTwice();
    void findFileEndsInACycle();
    void findFileOfPathForms_data();
    void findFileOfPathForms();
    void findFileInTheRootDirectory();
    void findFileMeetsUnreadableDirectories();

    void listingOfThePlainWalkIsThatOfQDir();
    void walksAreThePlainOnes_data();
    void walksAreThePlainOnes();
    void walksAreThePlainOnesForOtherUsers_data();
    void walksAreThePlainOnesForOtherUsers();
    void walksDoNotSort();
    void walksSkipNamesThatAreNoText();
    void walksTakeNamesWithAByteOrderMark();
    void largeTree();
    void largeDirectory();

    void copyIntoAMissingDirectory();
    void copyIntoAnExistingDirectory();
    void copyDoesNotOverwrite();
    void copyOfWhatCannotBeCopied_data();
    void copyOfWhatCannotBeCopied();
    void copyTakesTheNameOfTheSource();
    void copyWithRelativePaths();
    void copyIntoEmptyNameGoesToTheRoot();
    void copyWithoutDestination_data();
    void copyWithoutDestination();
    void copyFilesGoesOnAfterAFailure();
    void copyFilesMakesTheDirectoryForNoFiles();

    void removeOfAFile();
    void removeOfNothing_data();
    void removeOfNothing();
    void removeOfALinkKeepsItsTarget();
    void removeOfADirectoryFails();
    void nothingGoesToStandardOutput();

private:
    QString path(const QString &name) const { return m_directory->filePath(name); }
    /** Makes files of that names; a name that ends in "/" is a directory. */
    void make(const QStringList &names) const;
    /** Prefixes each name with the scratch directory. */
    QStringList paths(const QStringList &names) const;
    QStringList take() { return m_log->take(); }

    std::optional<DebugFile> m_debugFile;
    std::optional<MessageLog> m_log;
    std::optional<QTemporaryDir> m_directory;
    QString m_previousDirectory;
};

void FileManagerTest::init()
{
    m_debugFile.emplace();
    m_log.emplace();
    m_directory.emplace();
    chmod(QFile::encodeName(m_directory->path()).constData(), 0755);
    m_previousDirectory = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_directory->path()));
}

void FileManagerTest::cleanup()
{
    QVERIFY(QDir::setCurrent(m_previousDirectory));
    m_log.reset();
    QCOMPARE(m_debugFile->text(), QByteArray());
    m_debugFile.reset();
    // Names that are no text are beyond what QDir can remove.
    QCOMPARE(QProcess::execute("rm"_s, {"-rf"_s, m_directory->path()}), 0);
    m_directory.reset();
}

void FileManagerTest::make(const QStringList &names) const
{
    for (const QString &name : names) {
        if (name.endsWith(QLatin1Char('/')))
            makeDirectory(path(name));
        else
            writeFile(path(name), "content of " + name.toUtf8());
    }
}

QStringList FileManagerTest::paths(const QStringList &names) const
{
    QStringList result;
    for (const QString &name : names)
        result.append(path(name));
    return result;
}

void FileManagerTest::newManagerIsEmptyAndSilent()
{
    const FileManager manager;
    QVERIFY(manager.getIndex().isEmpty());
    QVERIFY(manager.m_foundFiles.isEmpty());
    QVERIFY(!manager.parent());
    QCOMPARE(take(), QStringList());
}

void FileManagerTest::destructionWritesOneLine()
{
    make({"a"_s});
    {
        FileManager manager;
        manager.indexFiles(m_directory->path());
    }
    QCOMPARE(m_log->debugs(), QStringList("~FileManager()"_s));
    QCOMPARE(m_log->texts().size(), 1);
    QVERIFY(exists(path("a"_s)));
}

void FileManagerTest::hasNoSignalsNorSlots()
{
    QCOMPARE(FileManager::staticMetaObject.className(), "FileManager");
    QCOMPARE(FileManager::staticMetaObject.methodCount(), QObject::staticMetaObject.methodCount());
}

void FileManagerTest::spareMembersAreLeftAlone()
{
    make({"a"_s, "dir/b"_s});
    FileManager manager;
    QCOMPARE(manager.m_spareCounter, 0);
    QStringList result;
    manager.indexFiles(m_directory->path());
    manager.findFiles(m_directory->path(), anything, result);
    QVERIFY(manager.m_spareList.isEmpty());
    QCOMPARE(manager.m_spareCounter, 0);
    QVERIFY(&manager.m_foundFiles < &manager.m_index && &manager.m_index < &manager.m_spareList);
    QVERIFY(static_cast<void *>(&manager.m_spareList)
            < static_cast<void *>(&manager.m_spareCounter));
}

void FileManagerTest::indexOfNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << "missing"_s;
    QTest::newRow("missing, absolute") << "/no/such/directory"_s;
    QTest::newRow("dangling link") << "dangling"_s;
    QTest::newRow("below a file") << "file/x"_s;
    QTest::newRow("empty") << QString();
}

void FileManagerTest::indexOfNothing()
{
    QFETCH(QString, name);
    make({"file"_s, "dir/a"_s});
    makeLink("nowhere"_s, "dangling"_s);
    FileManager manager;
    QVERIFY(!manager.indexFiles(name));
    QVERIFY(manager.getIndex().isEmpty());
    QVERIFY(manager.indexFiles("dir"_s));
    QVERIFY(!manager.indexFiles(name));
    QCOMPARE(manager.getIndex(), paths({"dir/a"_s}));
}

void FileManagerTest::indexOfWhatHoldsNoFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty directory") << "dir"_s;
    QTest::newRow("empty directories") << "nest"_s;
    QTest::newRow("file") << "file"_s;
    QTest::newRow("link to a file") << "link"_s;
    QTest::newRow("fifo") << "fifo"_s;
}

void FileManagerTest::indexOfWhatHoldsNoFiles()
{
    QFETCH(QString, name);
    make({"dir/"_s, "nest/a/b/"_s, "nest/c/"_s, "file"_s});
    makeLink("file"_s, "link"_s);
    makeNode("fifo"_s, S_IFIFO);
    FileManager manager;
    QVERIFY(manager.indexFiles(name));
    QCOMPARE(manager.getIndex(), QStringList());
    QCOMPARE(take(), QStringList());
}

void FileManagerTest::indexIsDepthFirst()
{
    make({"m"_s, "sub/y"_s, "sub/deep/z"_s, "sub/a"_s, "b"_s});
    QStringList expected;
    for (const QString &top : PlainWalk::list("."_s, PlainWalk::Files | PlainWalk::Directories)) {
        if (top != "sub"_s) {
            expected.append(path(top));
            continue;
        }
        for (const QString &name :
             PlainWalk::list("sub"_s, PlainWalk::Files | PlainWalk::Directories))
            expected.append(path("sub/"_s + (name == "deep"_s ? "deep/z"_s : name)));
    }
    QCOMPARE(expected.size(), 5);
    FileManager manager;
    QVERIFY(manager.indexFiles(m_directory->path()));
    QCOMPARE(manager.getIndex(), expected);
}

void FileManagerTest::indexHasHiddenFiles()
{
    make({".hidden"_s, ".dir/file"_s, ".dir/.file"_s, "..."_s, "..x"_s});
    FileManager manager;
    QVERIFY(manager.indexFiles(m_directory->path()));
    QStringList index = manager.getIndex();
    index.sort();
    QCOMPARE(index, paths({"..."_s, "..x"_s, ".dir/.file"_s, ".dir/file"_s, ".hidden"_s}));
}

void FileManagerTest::indexHasNoLinks()
{
    make({"file"_s, "dir/inside"_s, "tree/real"_s});
    makeLink(path("file"_s), "tree/to-file"_s);
    makeLink(path("dir"_s), "tree/to-dir"_s);
    makeLink("nowhere"_s, "tree/dangling"_s);
    makeLink(".."_s, "tree/up"_s);
    makeLink("self"_s, "tree/self"_s);
    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QCOMPARE(manager.getIndex(), paths({"tree/real"_s}));
}

void FileManagerTest::indexHasNoSpecialFiles()
{
    make({"tree/real"_s});
    makeNode("tree/fifo"_s, S_IFIFO);
    makeNode("tree/socket"_s, S_IFSOCK);
    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QCOMPARE(manager.getIndex(), paths({"tree/real"_s}));
}

void FileManagerTest::indexGrowsUntilItIsCleared()
{
    make({"one/a"_s, "two/b"_s});
    FileManager manager;
    QVERIFY(manager.indexFiles("one"_s));
    QVERIFY(manager.indexFiles("two"_s));
    QStringList copy = manager.getIndex();
    QCOMPARE(copy, paths({"one/a"_s, "two/b"_s}));
    copy.clear();
    QCOMPARE(manager.getIndex().size(), 2);
    manager.clearIndex();
    QVERIFY(manager.getIndex().isEmpty());
    QVERIFY(manager.indexFiles("two"_s));
    QCOMPARE(manager.getIndex(), paths({"two/b"_s}));
}

void FileManagerTest::indexListsTheSameTreeTwice()
{
    make({"tree/a"_s});
    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QVERIFY(manager.indexFiles("tree"_s));
    manager.clearFoundFilesList();
    QCOMPARE(manager.getIndex(), paths({"tree/a"_s, "tree/a"_s}));
}

void FileManagerTest::indexOfPathForms_data()
{
    QTest::addColumn<QString>("form");
    for (const char *form : {"tree", "tree/", "./tree", "tree/.", "tree/sub/..", "tree//",
                             "../%1/tree", "%2/tree", "%2//tree/", "%2/tree/../tree"})
        QTest::newRow(form) << QString::fromLatin1(form);
}

void FileManagerTest::indexOfPathForms()
{
    QFETCH(QString, form);
    make({"tree/a"_s, "tree/sub/b"_s});
    form.replace("%1"_s, QDir(m_directory->path()).dirName());
    form.replace("%2"_s, m_directory->path());
    FileManager manager;
    QVERIFY(manager.indexFiles(form));
    QStringList index = manager.getIndex();
    index.sort();
    QCOMPARE(index, paths({"tree/a"_s, "tree/sub/b"_s}));

    manager.clearIndex();
    QVERIFY(QDir::setCurrent(path("tree"_s)));
    QVERIFY(manager.indexFiles("."_s));
    QCOMPARE(manager.getIndex().size(), 2);
    QVERIFY(manager.getIndex().contains(path("tree/a"_s)));
    manager.clearIndex();
    QVERIFY(QDir::setCurrent(path("tree/sub"_s)));
    QVERIFY(manager.indexFiles(".."_s));
    QCOMPARE(manager.getIndex().size(), 2);
    QVERIFY(manager.getIndex().contains(path("tree/sub/b"_s)));
}

void FileManagerTest::indexKeepsTheNameOfALink()
{
    make({"tree/a"_s});
    makeLink("tree"_s, "link"_s);
    FileManager manager;
    QVERIFY(manager.indexFiles("link"_s));
    QCOMPARE(manager.getIndex(), paths({"link/a"_s}));
}

namespace {

/** What filemanagerprobe writes; empty if it cannot become another user or change its root. */
QStringList probe(const char *walker, unsigned user, const QString &root,
                  const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(FILEMANAGER_PROBE),
                  QStringList({QString::number(user), root, QString::fromLatin1(walker)})
                      + arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return {};
    QStringList lines;
    for (const QByteArray &line : process.readAllStandardOutput().split('\0'))
        lines.append(QFile::decodeName(line));
    lines.removeLast();
    return lines;
}

const unsigned nobody = 65534;

}

#define NEEDS_ROOT                                                                                 \
    if (geteuid() != 0 || !readFile("/proc/self/uid_map"_s).contains("4294967295"))                \
    QSKIP("only root can change its user and its root directory")

void FileManagerTest::indexHasNoUnreadableFiles()
{
    NEEDS_ROOT;
    make({"tree/readable"_s, "tree/secret"_s, "tree/closed/inside"_s, "tree/listed/inside"_s,
          "tree/entered/inside"_s});
    chmod("tree/secret", 0600);
    chmod("tree/closed", 0700);
    chmod("tree/listed", 0744); // its names can be read, nothing else
    chmod("tree/entered", 0711); // the other way round
    QCOMPARE(probe("library", nobody, "/"_s, {"index"_s, path("tree"_s)}),
             QStringList({"returned true"_s, "result "_s + path("tree/readable"_s)}));
    QCOMPARE(probe("library", nobody, "/"_s, {"index"_s, path("tree/closed"_s)}),
             QStringList("returned true"_s));
    FileManager manager;
    manager.indexFiles("tree"_s);
    QCOMPARE(manager.getIndex().size(), 5); // root reads everything
}

void FileManagerTest::indexOfTheRootDirectory()
{
    NEEDS_ROOT;
    make({"sub/file"_s, "top"_s});
    QStringList lines = probe("library", 0, m_directory->path(), {"index"_s, "/"_s});
    lines.sort();
    QCOMPARE(lines, QStringList({"result /sub/file"_s, "result /top"_s, "returned true"_s}));
    QCOMPARE(probe("library", 0, m_directory->path(), {"index"_s, "/.."_s}).size(), 3);
}

void FileManagerTest::indexWritesNothing()
{
    make({"tree/a"_s, "tree/sub/b"_s});
    FileManager manager;
    manager.indexFiles("tree"_s);
    manager.indexFiles("missing"_s);
    manager.getIndex();
    manager.clearIndex();
    manager.clearFoundFilesList();
    QCOMPARE(take(), QStringList());
}

void FileManagerTest::findFilesInMissingDirectory_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << "missing"_s;
    QTest::newRow("file") << "file"_s;
    QTest::newRow("dangling link") << "dangling"_s;
}

void FileManagerTest::findFilesInMissingDirectory()
{
    QFETCH(QString, name);
    make({"file"_s, "dir/file"_s});
    makeLink("nowhere"_s, "dangling"_s);
    FileManager manager;
    QStringList result = {"kept"_s};
    manager.findFiles(name, anything, result);
    QCOMPARE(result, QStringList("kept"_s));
    QCOMPARE(take(), QStringList());
    // Not even files met earlier are matched then.
    QStringList other;
    manager.findFiles("dir"_s, anything, other);
    manager.findFiles(name, anything, result);
    QCOMPARE(result, QStringList("kept"_s));
}

void FileManagerTest::findFilesSearchesInNamesOnly()
{
    make({"tree/match/other"_s, "tree/my-match"_s, "tree/match-not"_s, "tree/none"_s});
    QStringList result = findFiles("tree"_s, QRegExp("match"_s));
    result.sort();
    QCOMPARE(result, QStringList({"tree/match-not"_s, "tree/my-match"_s}));
}

void FileManagerTest::findFilesWithPatterns_data()
{
    QTest::addColumn<QRegExp>("pattern");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("part") << QRegExp("ab"_s) << QStringList({"abc"_s, "xab"_s});
    QTest::newRow("start") << QRegExp("^ab"_s) << QStringList({"abc"_s});
    QTest::newRow("end") << QRegExp("ab$"_s) << QStringList({"xab"_s});
    QTest::newRow("whole") << QRegExp("^abc$"_s) << QStringList({"abc"_s});
    QTest::newRow("slash") << QRegExp("/"_s) << QStringList();
    QTest::newRow("ignoring case")
        << QRegExp("ABC"_s, Qt::CaseInsensitive) << QStringList({"abc"_s});
    QTest::newRow("wildcard") << QRegExp("*.t?t"_s, Qt::CaseSensitive, QRegExp::Wildcard)
                              << QStringList({"n.txt"_s});
    QTest::newRow("fixed") << QRegExp("."_s, Qt::CaseSensitive, QRegExp::FixedString)
                           << QStringList({"n.txt"_s});
    QTest::newRow("empty") << QRegExp(QString()) << QStringList({"abc"_s, "n.txt"_s, "xab"_s});
    QTest::newRow("nothing") << QRegExp("q"_s) << QStringList();
}

void FileManagerTest::findFilesWithPatterns()
{
    QFETCH(QRegExp, pattern);
    QFETCH(QStringList, names);
    make({"abc"_s, "n.txt"_s, "xab"_s});
    QStringList result = findFiles(m_directory->path(), pattern);
    result.sort();
    QCOMPARE(result, paths(names));
}

void FileManagerTest::findFilesLeavesHiddenOnesOut()
{
    make({".hidden"_s, ".dir/file"_s, "dir/.file"_s, "dir/file"_s});
    QCOMPARE(findFiles(m_directory->path()), paths({"dir/file"_s}));
    QCOMPARE(take().mid(0, 2),
             QStringList({searching(m_directory->path()), searching(path("dir"_s))}));
}

void FileManagerTest::findFilesLeavesLinksAndSpecialFilesOut()
{
    make({"tree/real"_s, "dir/inside"_s});
    makeLink("real"_s, "tree/link"_s);
    makeLink(path("dir"_s), "tree/to-dir"_s);
    makeLink("nowhere"_s, "tree/dangling"_s);
    makeNode("tree/fifo"_s, S_IFIFO);
    makeNode("tree/socket"_s, S_IFSOCK);
    QCOMPARE(findFiles("tree"_s), QStringList("tree/real"_s));
    makeLink("tree"_s, "start"_s);
    QCOMPARE(findFiles("start"_s), QStringList("start/real"_s));
}

void FileManagerTest::findFilesHasTopFilesFirst()
{
    make({"m"_s, "sub/y"_s, "sub/deep/z"_s, "b"_s, "sub/a"_s});
    const auto files = [](const QString &directory) {
        return PlainWalk::list(directory, PlainWalk::Files);
    };
    QStringList expected;
    for (const QString &name : files("."_s))
        expected.append(path(name));
    for (const QString &name : files("sub"_s))
        expected.append(path("sub/"_s + name));
    expected.append(path("sub/deep/z"_s));
    QCOMPARE(expected.size(), 5);
    QCOMPARE(findFiles(m_directory->path()), expected);
}

void FileManagerTest::findFilesTellsWhereItSearches()
{
    make({"tree/file"_s, "tree/empty/"_s, "tree/empty/below/"_s});
    FileManager manager;
    QStringList result;
    manager.findFiles("tree"_s, anything, result);
    QCOMPARE(m_log->debugs(),
             QStringList({searching("tree"_s), searching(path("tree/empty"_s)),
                          searching(path("tree/empty/below"_s))}));
    QCOMPARE(m_log->texts().size(), 3);
}

void FileManagerTest::findFilesKeepsTheDirectoryAsItWasGiven_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("top");
    QTest::newRow("relative") << "tree"_s
                              << "tree/a"_s;
    QTest::newRow("trailing slash") << "tree/"_s
                                    << "tree//a"_s;
    QTest::newRow("detour") << "tree/sub/.."_s
                            << "tree/sub/../a"_s;
    QTest::newRow("dots") << "./tree/."_s
                          << "./tree/./a"_s;
    QTest::newRow("current directory") << "."_s
                                       << "./a"_s;
    QTest::newRow("parent directory") << ".."_s
                                      << "../a"_s;
    // The name of no directory is that of the current one, to which a slash is added.
    QTest::newRow("empty") << QString() << "/a"_s;
}

void FileManagerTest::findFilesKeepsTheDirectoryAsItWasGiven()
{
    QFETCH(QString, directory);
    QFETCH(QString, top);
    make({"tree/a"_s, "tree/sub/b"_s});
    if (directory == "."_s || directory.isEmpty())
        QVERIFY(QDir::setCurrent(path("tree"_s)));
    else if (directory == ".."_s)
        QVERIFY(QDir::setCurrent(path("tree/sub"_s)));
    // Files further down carry absolute paths.
    QCOMPARE(findFiles(directory), QStringList({top, path("tree/sub/b"_s)}));
    QCOMPARE(take().mid(0, 2), QStringList({searching(directory), searching(path("tree/sub"_s))}));
}

void FileManagerTest::findFilesMatchesEarlierFilesAgain()
{
    make({"one/a.txt"_s, "one/b.dat"_s, "two/c.txt"_s, "two/d.dat"_s});
    FileManager manager;
    QStringList first;
    manager.findFiles("one"_s, QRegExp("txt"_s), first);
    QCOMPARE(first, QStringList("one/a.txt"_s));
    QStringList second;
    manager.findFiles("two"_s, QRegExp("dat"_s), second);
    QCOMPARE(second, QStringList({"one/b.dat"_s, "two/d.dat"_s}));
    QFile::remove("one/a.txt"_s); // what is gone is still known
    QStringList third;
    manager.findFiles("two"_s, QRegExp("txt"_s), third);
    QCOMPARE(third, QStringList({"one/a.txt"_s, "two/c.txt"_s}));
}

void FileManagerTest::findFilesForgetsWhenToldTo()
{
    make({"one/a"_s, "two/b"_s});
    FileManager manager;
    QStringList result;
    manager.findFiles("one"_s, anything, result);
    manager.clearIndex();
    QCOMPARE(manager.m_foundFiles.size(), 1);
    manager.clearFoundFilesList();
    result.clear();
    manager.findFiles("two"_s, anything, result);
    QCOMPARE(result, QStringList("two/b"_s));
}

void FileManagerTest::findFilesAppendsToTheResult()
{
    make({"tree/a"_s});
    FileManager manager;
    QStringList result = {"before"_s, "tree/a/not"_s, "before"_s};
    manager.findFiles("tree"_s, anything, result);
    QCOMPARE(result, QStringList({"before"_s, "tree/a/not"_s, "before"_s, "tree/a"_s}));
}

void FileManagerTest::findFilesListsEachPathOnce()
{
    make({"tree/a"_s, "tree/sub/b"_s});
    FileManager manager;
    QStringList result = {path("tree/sub/b"_s), "tree/a"_s, "tree/A"_s};
    manager.findFiles("tree"_s, anything, result);
    manager.findFiles("tree"_s, anything, result);
    QCOMPARE(result, QStringList({path("tree/sub/b"_s), "tree/a"_s, "tree/A"_s}));
    QCOMPARE(manager.m_foundFiles, QStringList({"tree/a"_s, path("tree/sub/b"_s)}));
}

void FileManagerTest::findFilesTellsSpellingsApart()
{
    make({"tree/a"_s});
    FileManager manager;
    QStringList result;
    manager.findFiles("tree"_s, anything, result);
    manager.findFiles("./tree"_s, anything, result);
    QCOMPARE(result, QStringList({"tree/a"_s, "./tree/a"_s}));
}

void FileManagerTest::findFilesLeavesThePatternAlone()
{
    make({"tree/abc"_s});
    const QRegExp pattern("(b)"_s);
    pattern.indexIn("xxb"_s);
    findFiles("tree"_s, pattern);
    QCOMPARE(pattern, QRegExp("(b)"_s));
}

void FileManagerTest::findFilesInTheRootDirectory()
{
    NEEDS_ROOT;
    make({"sub/file"_s, "top"_s});
    QCOMPARE(probe("library", 0, m_directory->path(), {"files"_s, "/"_s}),
             QStringList({"message "_s + searching("/"_s), "message "_s + searching("//sub"_s),
                          "result //top"_s, "result //sub/file"_s}));
}

void FileManagerTest::findFilesMeetsUnreadableDirectories()
{
    NEEDS_ROOT;
    make({"tree/secret"_s, "tree/closed/inside"_s});
    chmod("tree/secret", 0000);
    chmod("tree/closed", 0700);
    // Files need not be readable to be found; a closed directory is as an empty one.
    QCOMPARE(probe("library", nobody, "/"_s, {"files"_s, path("tree"_s)}),
             QStringList({"message "_s + searching(path("tree"_s)),
                          "message "_s + searching(path("tree/closed"_s)),
                          "result "_s + path("tree/secret"_s)}));
}

void FileManagerTest::findFileInMissingDirectory_data() { findFilesInMissingDirectory_data(); }

void FileManagerTest::findFileInMissingDirectory()
{
    QFETCH(QString, name);
    make({"file"_s});
    makeLink("nowhere"_s, "dangling"_s);
    FileManager manager;
    QString result = "kept"_s;
    manager.findFile(name, "file"_s, result);
    QCOMPARE(result, "kept"_s);
    QCOMPARE(take(), QStringList());
}

void FileManagerTest::findFileWithoutMatchKeepsTheResult()
{
    make({"tree/a"_s, "tree/sub/b"_s});
    FileManager manager;
    QString result = "kept"_s;
    manager.findFile("tree"_s, "c"_s, result);
    manager.findFile("tree"_s, QString(), result);
    QCOMPARE(result, "kept"_s);
    QCOMPARE(take(), QStringList());
    manager.findFile("tree"_s, "b"_s, result);
    QCOMPARE(result, path("tree/sub/b"_s));
}

void FileManagerTest::findFileComparesExactly_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("exact") << "products"_s << true;
    QTest::newRow("other case") << "Products"_s << false;
    QTest::newRow("part") << "product"_s << false;
    QTest::newRow("pattern") << "prod*"_s << false;
    QTest::newRow("with directory") << "sub/products"_s << false;
}

void FileManagerTest::findFileComparesExactly()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    make({"tree/sub/products"_s});
    FileManager manager;
    QString result;
    manager.findFile("tree"_s, name, result);
    QCOMPARE(result, found ? path("tree/sub/products"_s) : QString());
    QCOMPARE(m_log->debugs(), found ? QStringList(foundLine(name)) : QStringList());
    QCOMPARE(m_log->texts().size(), found ? 1 : 0);
}

void FileManagerTest::findFileTakesTheShallowestOfABranch()
{
    make({"tree/x"_s, "tree/sub/x"_s, "other/a/x"_s, "other/a/b/x"_s});
    QCOMPARE(findFile("tree"_s, "x"_s), path("tree/x"_s));
    QCOMPARE(take(), QStringList({foundLine("x"_s), "~FileManager()"_s})); // nothing below counts
    QCOMPARE(findFile("other"_s, "x"_s), path("other/a/x"_s));
}

void FileManagerTest::findFileTakesTheLastBranch()
{
    make({"one/x"_s, "two/x"_s, "three/deep/x"_s, "four/other"_s});
    QStringList branches = PlainWalk::list("."_s, PlainWalk::Directories);
    branches.removeOne("four"_s);
    QCOMPARE(branches.size(), 3);
    const QString last = branches.constLast();
    QCOMPARE(findFile("."_s, "x"_s), path(last + (last == "three"_s ? "/deep/x"_s : "/x"_s)));
}

void FileManagerTest::findFileSearchesOnAfterAMatch()
{
    make({"one/x"_s, "two/x"_s, "three/x"_s});
    findFile("."_s, "x"_s);
    QCOMPARE(
        take(),
        QStringList({foundLine("x"_s), foundLine("x"_s), foundLine("x"_s), "~FileManager()"_s}));
}

void FileManagerTest::findFileLeavesHiddenOnesOut()
{
    make({"tree/.x"_s, "tree/.dir/x"_s});
    QCOMPARE(findFile("tree"_s, ".x"_s), QString());
    QCOMPARE(findFile("tree"_s, "x"_s), QString());
    QCOMPARE(findFile("tree/.dir"_s, "x"_s), path("tree/.dir/x"_s));
}

void FileManagerTest::findFileTakesPlainFilesOnly()
{
    make({"file"_s, "tree/sub/"_s});
    makeLink(path("file"_s), "tree/link"_s);
    makeLink("nowhere"_s, "tree/dangling"_s);
    makeNode("tree/fifo"_s, S_IFIFO);
    for (const char *name : {"sub", "link", "dangling", "fifo", ".", ".."})
        QCOMPARE(findFile("tree"_s, QString::fromLatin1(name)), QString());
}

void FileManagerTest::findFileFollowsLinksToDirectories()
{
    make({"outside/deep/x"_s, "tree/"_s});
    makeLink(path("outside"_s), "tree/link"_s);
    QCOMPARE(findFile("tree"_s, "x"_s), path("tree/link/deep/x"_s));
    makeLink("tree"_s, "start"_s);
    QCOMPARE(findFile("start"_s, "x"_s), path("start/link/deep/x"_s));
}

void FileManagerTest::findFileVisitsADiamondTwice()
{
    make({"tree/real/x"_s});
    makeLink("real"_s, "tree/one"_s);
    makeLink("real"_s, "tree/two"_s);
    makeLink("."_s, "tree/real/loop"_s);
    const QString last = PlainWalk::list("tree"_s, PlainWalk::Directories).constLast();
    QCOMPARE(findFile("tree"_s, "x"_s), path("tree/"_s + last + "/x"_s));
    QCOMPARE(
        take(),
        QStringList({foundLine("x"_s), foundLine("x"_s), foundLine("x"_s), "~FileManager()"_s}));
    make({"twice/real/deep/y"_s});
    makeLink("real"_s, "twice/link"_s);
    findFile("twice"_s, "y"_s);
    QCOMPARE(take(), QStringList({foundLine("y"_s), foundLine("y"_s), "~FileManager()"_s}));
}

void FileManagerTest::findFileEndsInACycle()
{
    make({"tree/sub/x"_s, "tree/sub/deep/y"_s});
    makeLink(".."_s, "tree/sub/deep/up"_s);
    makeLink(path("tree"_s), "tree/sub/deep/top"_s);
    makeLink("loop"_s, "tree/loop"_s);
    QCOMPARE(QFileInfo(findFile("tree"_s, "y"_s)).canonicalFilePath(), path("tree/sub/deep/y"_s));
    QCOMPARE(findFile("tree"_s, "z"_s), QString());
    QCOMPARE(QFileInfo(findFile("tree"_s, "x"_s)).canonicalFilePath(), path("tree/sub/x"_s));
}

void FileManagerTest::findFileOfPathForms_data()
{
    QTest::addColumn<QString>("directory");
    for (const char *form : {"", ".", "./", "sub/..", "../%1", "%2", "%2/", "%2//sub/.."})
        QTest::newRow(form) << QString::fromLatin1(form);
}

void FileManagerTest::findFileOfPathForms()
{
    QFETCH(QString, directory);
    make({"x"_s, "sub/y"_s});
    directory.replace("%1"_s, QDir(m_directory->path()).dirName());
    directory.replace("%2"_s, m_directory->path());
    QCOMPARE(findFile(directory, "x"_s), path("x"_s));
    QCOMPARE(findFile(directory, "y"_s), path("sub/y"_s));
}

void FileManagerTest::findFileInTheRootDirectory()
{
    NEEDS_ROOT;
    make({"sub/x"_s, "top"_s});
    QCOMPARE(probe("library", 0, m_directory->path(), {"file"_s, "/"_s, "top"_s}),
             QStringList({"message "_s + foundLine("top"_s), "result //top"_s}));
    QCOMPARE(probe("library", 0, m_directory->path(), {"file"_s, "/"_s, "x"_s}),
             QStringList({"message "_s + foundLine("x"_s), "result /sub/x"_s}));
}

void FileManagerTest::findFileMeetsUnreadableDirectories()
{
    NEEDS_ROOT;
    make({"tree/closed/x"_s, "tree/open/x"_s});
    chmod("tree/closed", 0700);
    chmod("tree/open/x", 0600);
    QCOMPARE(probe("library", nobody, "/"_s, {"file"_s, path("tree"_s), "x"_s}),
             QStringList({"message "_s + foundLine("x"_s), "result "_s + path("tree/open/x"_s)}));
}

void FileManagerTest::listingOfThePlainWalkIsThatOfQDir()
{
    RandomTree(7, m_directory->path());
    makeRawFile("tree/\xef\xbb\xbfmark");
    const QList<QPair<int, QDir::Filters>> filters = {
        {PlainWalk::Files | PlainWalk::Directories | PlainWalk::Hidden | PlainWalk::Readable
             | PlainWalk::NoLinks,
         QDir::Files | QDir::AllDirs | QDir::Hidden | QDir::Readable | QDir::NoSymLinks
             | QDir::NoDotAndDotDot},
        {PlainWalk::Files | PlainWalk::NoLinks, QDir::Files | QDir::NoSymLinks},
        {PlainWalk::Directories | PlainWalk::NoLinks,
         QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot},
        {PlainWalk::Directories, QDir::Dirs | QDir::NoDotAndDotDot}};
    for (const auto &[plain, qdir] : filters) {
        const QStringList names = PlainWalk::list("tree"_s, plain);
        QVERIFY(!names.isEmpty());
        QCOMPARE(names, QDir("tree"_s).entryList(qdir, QDir::Unsorted));
    }
}

void FileManagerTest::walksAreThePlainOnes_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= 12; ++seed)
        QTest::addRow("tree %u", seed) << seed;
}

void FileManagerTest::walksAreThePlainOnes()
{
    QFETCH(unsigned, seed);
    RandomTree(seed, m_directory->path());

    FileManager manager;
    PlainWalk plain;
    for (const QString &start : {"tree"_s, "shared"_s, path("tree/"_s), "."_s}) {
        QCOMPARE(manager.indexFiles(start), plain.indexFiles(start));
        QCOMPARE(manager.getIndex(), plain.index);

        for (const char *pattern : {"", "a|B", "^[a-z]", "\\d$"}) {
            const QRegExp expression(QString::fromLatin1(pattern));
            QStringList result = plain.foundFiles.mid(3, 4);
            QStringList expected = result;
            take();
            manager.findFiles(start, expression, result);
            const QStringList messages = take();
            plain.findFiles(start, expression, expected);
            QCOMPARE(messages, take());
            QCOMPARE(result, expected);
            QCOMPARE(manager.m_foundFiles, plain.foundFiles);
        }
        for (const char *name : {"a", "B", "B2", "c c", "\xc3\xa4", "products", "%1", "missing"}) {
            QString result = "kept"_s;
            QString expected = result;
            take();
            manager.findFile(start, QString::fromUtf8(name), result);
            const QStringList messages = take();
            plain.findFile(start, QString::fromUtf8(name), expected);
            QCOMPARE(messages, take());
            QCOMPARE(result, expected);
        }
    }
    QVERIFY(plain.index.size() > 20 && plain.foundFiles.size() > 10);
}

void FileManagerTest::walksAreThePlainOnesForOtherUsers_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("index") << QStringList({"index"_s, "tree"_s});
    QTest::newRow("files") << QStringList({"files"_s, "tree"_s, "a"_s});
    QTest::newRow("file") << QStringList({"file"_s, "tree"_s, "products"_s});
}

void FileManagerTest::walksAreThePlainOnesForOtherUsers()
{
    NEEDS_ROOT;
    QFETCH(QStringList, arguments);
    const int filter = PlainWalk::Directories | PlainWalk::NoLinks | PlainWalk::Hidden;
    unsigned directories = 0;
    for (unsigned seed = 20; seed < 26; ++seed) {
        const QString home = path(QString::number(seed));
        RandomTree(seed, home);
        arguments[1] = home + "/tree"_s;
        for (const QString &name : PlainWalk::list(arguments.at(1), filter)) {
            const QString directory = arguments.at(1) + "/"_s + name;
            chmod(QFile::encodeName(directory).constData(), 0700 | directories++ % 8);
        }
        QCOMPARE(probe("library", nobody, "/"_s, arguments),
                 probe("plain", nobody, "/"_s, arguments));
    }
    QVERIFY(directories > 8);
}

void FileManagerTest::walksDoNotSort()
{
    for (int i = 0; i < 40; ++i)
        make({"%1"_s.arg(i * 7919 % 1000)});
    const QStringList order = paths(PlainWalk::list("."_s, PlainWalk::Files));
    QStringList sorted = order;
    sorted.sort();
    QVERIFY(order != sorted);
    FileManager manager;
    manager.indexFiles(m_directory->path());
    QCOMPARE(manager.getIndex(), order);
    QCOMPARE(findFiles(m_directory->path()), order);
}

void FileManagerTest::walksSkipNamesThatAreNoText()
{
    make({"tree/text"_s, "tree/\u00e4"_s});
    makeRawFile("tree/\xff\xfe");
    makeRawFile("tree/\xc3"); // half a character
    makeRawFile("tree/\xed\xa0\x80"); // half a surrogate pair
    QCOMPARE(mkdir("tree/dir\xff", 0755), 0);
    makeRawFile("tree/dir\xff/inside");
    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QStringList index = manager.getIndex();
    index.sort();
    QCOMPARE(index, paths({"tree/text"_s, "tree/\u00e4"_s}));
    QCOMPARE(findFiles("tree"_s).size(), 2);
    QCOMPARE(findFile("tree"_s, "inside"_s), QString());
}

void FileManagerTest::walksTakeNamesWithAByteOrderMark()
{
    make({"tree/"_s});
    makeRawFile("tree/\xef\xbb\xbfmark");
    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QCOMPARE(manager.getIndex(), QStringList(path("tree/"_s) + QChar(0xfeff) + "mark"_s));
    QCOMPARE(findFiles("tree"_s), QStringList("tree/"_s + QChar(0xfeff) + "mark"_s));
}

namespace {

/** A name from which the order of creation cannot be told. */
QByteArray scrambledName(int number)
{
    return QByteArray::number(number * 7919LL % 1000003) + (number % 10 ? ".txt" : ".dat");
}

void makeFiles(const QByteArray &directory, int count)
{
    for (int i = 0; i < count; ++i)
        makeRawFile(directory + '/' + scrambledName(i));
}

}

/** 200 directories of many files; walks that are not linear do not come to an end here. */
void FileManagerTest::largeTree()
{
    const int directories = 200;
    const int files = KESTRA_FILE_COUNT / directories;
    for (int i = 0; i < directories; ++i) {
        const QByteArray directory = "tree/d" + QByteArray::number(i * 37 % directories);
        make({QString::fromLatin1(directory) + "/"_s});
        makeFiles(directory, files);
    }
    QStringList all, matching, messages = {searching("tree"_s)};
    for (const QString &directory : PlainWalk::list("tree"_s, PlainWalk::Directories)) {
        messages.append(searching(path("tree/"_s + directory)));
        for (const QString &name : PlainWalk::list("tree/"_s + directory, PlainWalk::Files)) {
            all.append(path("tree/"_s + directory + "/"_s + name));
            if (name.endsWith(".dat"_s))
                matching.append(all.constLast());
        }
    }
    QCOMPARE(all.size(), directories * files);

    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QVERIFY(manager.getIndex() == all);

    const QRegExp pattern("\\.dat$"_s);
    QStringList result;
    manager.findFiles("tree"_s, pattern, result);
    QCOMPARE(take(), messages);
    QVERIFY(result == matching);
    QVERIFY(manager.m_foundFiles == all);
    manager.findFiles("tree"_s, pattern, result); // all of them are known and listed already
    QVERIFY(result == matching);
    QVERIFY(manager.m_foundFiles == all);
}

void FileManagerTest::largeDirectory()
{
    make({"tree/"_s});
    makeFiles("tree", KESTRA_FILE_COUNT);
    QStringList all;
    for (const QString &name : PlainWalk::list("tree"_s, PlainWalk::Files))
        all.append(path("tree/"_s + name));
    FileManager manager;
    QVERIFY(manager.indexFiles("tree"_s));
    QVERIFY(manager.getIndex() == all);
    QStringList result = all.mid(1000);
    manager.findFiles(path("tree"_s), anything, result);
    QVERIFY(result == all.mid(1000) + all.mid(0, 1000));
}

void FileManagerTest::copyIntoAMissingDirectory()
{
    make({"source"_s});
    FileManager manager;
    manager.copyFile("source"_s, "new/deep/dir"_s);
    QCOMPARE(readFile("new/deep/dir/source"_s), QByteArray("content of source"));
    QVERIFY(exists("source"_s));
    QCOMPARE(m_log->debugs(), QStringList("\"source\" copied."_s));
    QCOMPARE(m_log->texts().size(), 1);

    manager.copyFile("source"_s, "new/deep/dir"_s);
    QCOMPARE(m_log->debugs().constLast(), "could not copy \"source\" to \"new/deep/dir/source\""_s);
}

void FileManagerTest::copyIntoAnExistingDirectory()
{
    make({"from/source"_s, "dir/"_s});
    chmod("from/source", 0640);
    FileManager manager;
    manager.copyFile(path("from/source"_s), path("dir"_s));
    QCOMPARE(listTree(path("dir"_s)), QStringList("source"_s));
    QCOMPARE(fileMode("dir/source"_s), 0640);
    QCOMPARE(take(), QStringList("\"%1\" copied."_s.arg(path("from/source"_s))));
}

void FileManagerTest::copyDoesNotOverwrite()
{
    make({"source"_s});
    writeFile("dir/source"_s, "old");
    FileManager manager;
    manager.copyFile("source"_s, "dir"_s);
    QCOMPARE(readFile("dir/source"_s), QByteArray("old"));
    QCOMPARE(m_log->debugs(), QStringList("could not copy \"source\" to \"dir/source\""_s));
    QCOMPARE(m_log->texts().size(), 1);
}

void FileManagerTest::copyOfWhatCannotBeCopied_data()
{
    QTest::addColumn<QString>("source");
    QTest::newRow("missing") << "missing"_s;
    QTest::newRow("directory") << "folder"_s;
    QTest::newRow("dangling link") << "dangling"_s;
}

void FileManagerTest::copyOfWhatCannotBeCopied()
{
    QFETCH(QString, source);
    make({"folder/"_s, "dir/"_s});
    makeLink("nowhere"_s, "dangling"_s);
    FileManager manager;
    manager.copyFile(source, "dir"_s);
    QCOMPARE(m_log->debugs().constLast(), "could not copy \"%1\" to \"dir/%1\""_s.arg(source));
    QVERIFY(listTree(path("dir"_s)).isEmpty());
}

void FileManagerTest::copyTakesTheNameOfTheSource()
{
    make({"a \"b\" %1"_s});
    writeFile("dir/old"_s, "old");
    FileManager manager;
    manager.copyFile("./a \"b\" %1"_s, "dir/"_s);
    QCOMPARE(listTree(path("dir"_s)), QStringList({"a \"b\" %1"_s, "old"_s}));
    manager.copyFile("./a \"b\" %1"_s, "dir/"_s);
    QCOMPARE(take(),
             QStringList({"\"./a \\\"b\\\" %1\" copied."_s,
                          "could not copy \"./a \\\"b\\\" %1\" to \"dir//a \\\"b\\\" %1\""_s}));
}

void FileManagerTest::copyWithRelativePaths()
{
    make({"one/source"_s, "two/"_s});
    QVERIFY(QDir::setCurrent(path("two"_s)));
    FileManager manager;
    manager.copyFile("../one/source"_s, "new"_s);
    QVERIFY(exists(path("two/new/source"_s)));
    manager.copyFile("../one/source"_s, "."_s);
    QVERIFY(exists(path("two/source"_s)));
}

void FileManagerTest::copyIntoEmptyNameGoesToTheRoot()
{
    make({"kestra-test-source"_s});
    FileManager manager;
    manager.copyFile("kestra-test-source"_s, QString());
    QVERIFY(!m_log->texts().isEmpty());
    if (geteuid() == 0 && exists("/kestra-test-source"_s))
        QVERIFY(QFile::remove("/kestra-test-source"_s));
    else
        QCOMPARE(take(),
                 QStringList("could not copy \"kestra-test-source\" to "
                             "\"/kestra-test-source\""_s));
}

void FileManagerTest::copyWithoutDestination_data()
{
    QTest::addColumn<QString>("destination");
    QTest::addColumn<bool>("several");
    for (const char *destination : {"file", "file/below"}) {
        QTest::addRow("copyFile to %s", destination) << QString::fromLatin1(destination) << false;
        QTest::addRow("copyFiles to %s", destination) << QString::fromLatin1(destination) << true;
    }
}

void FileManagerTest::copyWithoutDestination()
{
    QFETCH(QString, destination);
    QFETCH(bool, several);
    make({"a"_s, "b"_s, "file"_s});
    FileManager manager;
    if (several)
        manager.copyFiles({"a"_s, "b"_s}, destination);
    else
        manager.copyFile("a"_s, destination);
    // copyFile speaks of copyFiles, too.
    QCOMPARE(m_log->warnings(),
             QStringList("FileManager::copyFiles(): Destination directory does not exist and can "
                         "not be created, aborting!"_s));
    QCOMPARE(m_log->texts().size(), 1);
    QCOMPARE(listTree(m_directory->path()), QStringList({"a"_s, "b"_s, "file"_s}));
}

void FileManagerTest::copyFilesGoesOnAfterAFailure()
{
    make({"c"_s, "a"_s, "sub/c"_s});
    FileManager manager;
    manager.copyFiles({"c"_s, "missing"_s, "sub/c"_s, "a"_s}, "new/dir"_s);
    QCOMPARE(m_log->debugs(),
             QStringList({"\"c\" copied."_s, "could not copy \"missing\" to \"new/dir/missing\""_s,
                          "could not copy \"sub/c\" to \"new/dir/c\""_s, "\"a\" copied."_s}));
    QCOMPARE(m_log->texts().size(), 4);
    QCOMPARE(listTree(path("new/dir"_s)), QStringList({"a"_s, "c"_s}));
    QCOMPARE(readFile("new/dir/c"_s), QByteArray("content of c"));
}

void FileManagerTest::copyFilesMakesTheDirectoryForNoFiles()
{
    FileManager manager;
    manager.copyFiles({}, "new"_s);
    QVERIFY(QDir("new"_s).exists());
    QCOMPARE(take(), QStringList());
}

void FileManagerTest::removeOfAFile()
{
    make({"file"_s});
    FileManager manager;
    manager.removeFile("file"_s);
    QVERIFY(!exists("file"_s));
    QCOMPARE(m_log->debugs(), QStringList("\"file\" removed."_s));
    QCOMPARE(m_log->texts().size(), 1);
}

void FileManagerTest::removeOfNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << "missing"_s;
    QTest::newRow("dangling link") << "dangling"_s;
    QTest::newRow("below a file") << "file/x"_s;
    QTest::newRow("empty") << QString();
}

void FileManagerTest::removeOfNothing()
{
    QFETCH(QString, name);
    make({"file"_s});
    makeLink("nowhere"_s, "dangling"_s);
    FileManager manager;
    manager.removeFile(name);
    QCOMPARE(m_log->debugs(), QStringList("\"%1\" does not exist, skipping."_s.arg(name)));
    QCOMPARE(m_log->texts().size(), 1);
    QVERIFY(exists("dangling"_s));
    QVERIFY(exists("file"_s));
}

void FileManagerTest::removeOfALinkKeepsItsTarget()
{
    make({"file"_s});
    makeLink("file"_s, "link"_s);
    FileManager manager;
    manager.removeFile("link"_s);
    QVERIFY(!exists("link"_s));
    QVERIFY(exists("file"_s));
    QCOMPARE(take(), QStringList("\"link\" removed."_s));
}

void FileManagerTest::removeOfADirectoryFails()
{
    make({"dir/"_s});
    FileManager manager;
    manager.removeFile("dir"_s);
    QVERIFY(exists("dir"_s));
    QCOMPARE(m_log->debugs(), QStringList("\"dir\" could not be removed!"_s));
    QCOMPARE(m_log->texts().size(), 1);
}

void FileManagerTest::nothingGoesToStandardOutput()
{
    make({"tree/a"_s, "file"_s});
    QByteArray output;
    {
        StdoutCapture capture;
        FileManager manager;
        QStringList results;
        QString result;
        manager.indexFiles("tree"_s);
        manager.findFiles("tree"_s, anything, results);
        manager.findFile("tree"_s, "a"_s, result);
        manager.copyFile("file"_s, "tree"_s);
        manager.copyFile("file"_s, "file/x"_s);
        manager.removeFile("file"_s);
        output = capture.take();
    }
    QCOMPARE(m_log->texts().size(), 6);
    QCOMPARE(output, QByteArray());
}

KESTRA_TEST_MAIN(FileManagerTest)

#include "filemanagertest.moc"
