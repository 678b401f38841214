// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/store.h"
#include "files.h"
#include "options.h"
#include "testmain.h"

#include <QDir>
#include <QProcess>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;
using Setup::FileState;
using Setup::Part;
using Setup::Store;

namespace {

const QString place = "/tmp/place"_s;
const QString file = place + "/file"_s;

struct stat statusOf(const QString &path)
{
    struct stat status = {};
    ::lstat(qPrintable(path), &status);
    return status;
}

}

class StoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void stateOf_data();
    void stateOf();
    void statesSurviveJson();
    void differencesAreSeen();
    void restoresAFileWithEverything();
    void restoresALinkInPlaceOfAFile();
    void restoresNothing();
    void keepsADirectoryThatIsInUse();
    void replacesWithoutGap();
    void keepsTheBytesOfALink();
    void linksOfOthersAreNotFollowed_data();
    void linksOfOthersAreNotFollowed();
    void placeOfAnotherUserIsRestored();

    void undoesAcrossProcesses();
    void lastChangeIsUndoneFirst();
    void firstWordCounts();
    void entriesOfADirectory();
    void entriesAfterACutOff();
    void newFilesAreRemoved();
    void addedNamesAreRemoved();
    void timeComesBackWithTheContent();
    void timeOfTheNextCenturyComesBack();
    void packagesAreRemembered();
    void contentIsKeptOnce();
    void unchangedIsForgottenAtTheEnd();
    void cutOffIsNotForgotten();
    void missingParentsAreRemembered();
    void fullDiskLosesNothing();
    void packagesThatOthersNeedStay();
    void cutOffSetUpIsKnown();
    void packagesThatWereNeverThereAreForgotten();

    void treeIsRemovedWithAllThatIsInIt();
    void treeOfOthersComesBack();
    void treeThatSomebodyHasEditedStays();
    void treeOfACutOffRunIsRemoved();
    void treesDoNotReachThroughLinks();
};

void StoreTest::init()
{
    QDir(place).removeRecursively();
    QDir(Store::directory()).removeRecursively();
    makeDirectory(place);
}

void StoreTest::stateOf_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("kind");
    QTest::newRow("nothing") << "true"_s << int(FileState::Nothing);
    QTest::newRow("file") << "echo x > file"_s << int(FileState::File);
    QTest::newRow("link") << "ln -s a/b file"_s << int(FileState::Link);
    QTest::newRow("dangling link to itself") << "ln -s file file"_s << int(FileState::Link);
    QTest::newRow("directory") << "mkdir file"_s << int(FileState::Directory);
}

void StoreTest::stateOf()
{
    QFETCH(QString, command);
    QFETCH(int, kind);
    QCOMPARE(QProcess::execute("sh"_s, {"-c"_s, "cd /tmp/place; "_s + command}), 0);
    const FileState state = FileState::of(file);
    QCOMPARE(int(state.kind), kind);
    QCOMPARE(state.checksum.size(), kind == FileState::File ? 64 : 0);
}

void StoreTest::statesSurviveJson()
{
    writeFile(file, "x", 0751);
    QCOMPARE(::chown(qPrintable(file), 4000000000U, 5), 0);
    const FileState state = FileState::of(file);
    const FileState read = FileState::fromJson(state.toJson());
    QVERIFY(read.isSameAs(state));
    QCOMPARE(read.owner, 4000000000U);
    QCOMPARE(read.mode, 0751U);
    QCOMPARE(read.seconds, state.seconds);
    QCOMPARE(read.nanoseconds, state.nanoseconds);
}

void StoreTest::differencesAreSeen()
{
    writeFile(file, "x", 0644);
    const FileState state = FileState::of(file);
    writeFile(file, "y", 0644);
    QVERIFY(!state.isSameAs(FileState::of(file)));
    writeFile(file, "x", 0600);
    QVERIFY(!state.isSameAs(FileState::of(file)));
    writeFile(file, "x", 0644);
    QVERIFY(state.isSameAs(FileState::of(file)));
    QCOMPARE(::chown(qPrintable(file), 1, 0), 0);
    QVERIFY(!state.isSameAs(FileState::of(file)));
}

void StoreTest::restoresAFileWithEverything()
{
    writeFile(file, "old", 0440);
    QCOMPARE(::chown(qPrintable(file), 3, 4), 0);
    const struct timespec times[] = {{1, 2}, {1000000000, 123456789}};
    QCOMPARE(::utimensat(AT_FDCWD, qPrintable(file), times, 0), 0);
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    remove(file);
    writeFile(file, "new");
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::Connection}, false).restored, QStringList {file});
    const struct stat status = statusOf(file);
    QCOMPARE(readFile(file), QByteArray("old"));
    QCOMPARE(int(status.st_mode & 07777), 0440);
    QCOMPARE(int(status.st_uid), 3);
    QCOMPARE(int(status.st_gid), 4);
    QCOMPARE(qint64(status.st_mtim.tv_sec), qint64(1000000000));
    QCOMPARE(qint64(status.st_mtim.tv_nsec), qint64(123456789));
    QCOMPARE(listDirectory(place), QStringList {"file"_s});
}

void StoreTest::restoresALinkInPlaceOfAFile()
{
    QVERIFY(QFile::link("to/somewhere"_s, file));
    QCOMPARE(::lchown(qPrintable(file), 3, 4), 0);
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    remove(file);
    writeFile(file, "new");
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::Connection}, false).restored, QStringList {file});
    QCOMPARE(linkTarget(file), "to/somewhere"_s);
    QCOMPARE(int(statusOf(file).st_uid), 3);
    QCOMPARE(listDirectory(place), QStringList {"file"_s});
}

void StoreTest::restoresNothing()
{
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    writeFile(file, "new");
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::Connection}, false).restored, QStringList {file});
    QVERIFY(!exists(file));
}

void StoreTest::keepsADirectoryThatIsInUse()
{
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    makeDirectory(file);
    QVERIFY(store.seal());
    writeFile(file + "/of-others"_s, "x");
    QCOMPARE(Store().undo({Part::Connection}, true).failed, QStringList {file});
    QVERIFY(exists(file + "/of-others"_s));
    remove(file + "/of-others"_s);
    QCOMPARE(Store().undo({Part::Connection}, false).restored, QStringList {file});
    QVERIFY(!exists(file));
}

/** Whoever has the new file open goes on seeing it whole: it is replaced, not rewritten. */
void StoreTest::replacesWithoutGap()
{
    writeFile(file, "old");
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    writeFile(file, "new");
    QVERIFY(store.seal());
    QFile open(file);
    QVERIFY(open.open(QIODevice::ReadOnly));
    store.undo({Part::Connection}, false);
    QCOMPARE(open.readAll(), QByteArray("new"));
    QCOMPARE(readFile(file), QByteArray("old"));
}

void StoreTest::keepsTheBytesOfALink()
{
    QCOMPARE(::symlink("\xe4\xff/\xc3\xa4", qPrintable(file)), 0);
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    remove(file);
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::Connection}, true).restored, QStringList {file});
    char target[16] = "";
    QCOMPARE(int(::readlink(qPrintable(file), target, sizeof target - 1)), 5);
    QCOMPARE(QByteArray(target), QByteArray("\xe4\xff/\xc3\xa4"));
}

void StoreTest::linksOfOthersAreNotFollowed_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("nothing") << "true"_s;
    QTest::newRow("file") << "echo old > file"_s;
    QTest::newRow("link") << "ln -s old file"_s;
    QTest::newRow("directory") << "mkdir -m 777 file"_s;
}

/** The owner of a directory on the way has put a link to one of root's in its place. */
void StoreTest::linksOfOthersAreNotFollowed()
{
    QFETCH(QString, command);
    const QString theirs = place + "/theirs"_s;
    makeDirectory(theirs + "/d"_s);
    makeDirectory(place + "/roots"_s);
    QCOMPARE(::chown(qPrintable(theirs), 65534, 65534), 0);
    QCOMPARE(QProcess::execute("sh"_s, {"-c"_s, "cd /tmp/place/theirs/d; "_s + command}), 0);
    const QString path = theirs + "/d/file"_s;
    Store store;
    QVERIFY(store.remember(Part::Connection, path));
    remove(theirs + "/d"_s);
    QVERIFY(QFile::link(place + "/roots"_s, theirs + "/d"_s));
    writeFile(place + "/roots/file"_s, "of root", 0600);
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::Connection}, true).failed, QStringList {path});
    QCOMPARE(readFile(place + "/roots/file"_s), QByteArray("of root"));
    QCOMPARE(listDirectory(place + "/roots"_s), QStringList {"file"_s});
}

/** The directory of a resolver's file belongs to the resolver. */
void StoreTest::placeOfAnotherUserIsRestored()
{
    writeFile(file, "old");
    QCOMPARE(::chown(qPrintable(place), 65534, 65534), 0);
    Store store;
    QVERIFY(store.remember(Part::NameServers, file));
    writeFile(file, "new");
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::NameServers}, false).restored, QStringList {file});
    QCOMPARE(readFile(file), QByteArray("old"));
}

void StoreTest::undoesAcrossProcesses()
{
    QVERIFY(!Store().has({Part::Connection}));
    {
        Store store;
        QVERIFY(store.remember(Part::Connection, file));
    }
    writeFile(file, "made after the end");
    Store store;
    QVERIFY(store.has({Part::Connection}));
    QVERIFY(!store.has({Part::Boot}));
    // Nobody has said that this is ours.
    QCOMPARE(store.undo({Part::Connection}, false).edited, QStringList {file});
    QCOMPARE(store.undo({Part::Connection}, true).restored, QStringList {file});
}

void StoreTest::lastChangeIsUndoneFirst()
{
    const QString directory = place + "/d"_s;
    Store store;
    QVERIFY(store.remember(Part::Connection, directory));
    QVERIFY(store.remember(Part::Connection, directory + "/f"_s));
    writeFile(directory + "/f"_s, "x");
    QVERIFY(store.seal());
    const QStringList expected = {directory + "/f"_s, directory};
    QCOMPARE(store.undo({Part::Connection}, false).restored, expected);
    QVERIFY(!exists(directory));
}

void StoreTest::firstWordCounts()
{
    writeFile(file, "first");
    QVERIFY(Store().remember(Part::Connection, file));
    writeFile(file, "second");
    QVERIFY(Store().remember(Part::Connection, file));
    Store().undo({Part::Connection}, true);
    QCOMPARE(readFile(file), QByteArray("first"));
}

void StoreTest::entriesOfADirectory()
{
    writeFile(place + "/stays"_s, "x");
    writeFile(place + "/goes"_s, "y", 0640);
    QVERIFY(QFile::link("there"_s, place + "/moves"_s));
    Store store;
    QVERIFY(store.rememberEntries(Part::Boot, place));
    remove(place + "/goes"_s);
    remove(place + "/moves"_s);
    QVERIFY(QFile::link("elsewhere"_s, place + "/moves"_s));
    QVERIFY(QFile::link("new"_s, place + "/new"_s));
    QVERIFY(store.seal());
    QCOMPARE(store.items().size(), 3);
    QCOMPARE(Store().undo({Part::Boot}, false).restored.size(), 3);
    const QStringList before = {"goes"_s, "moves"_s, "stays"_s};
    QCOMPARE(listDirectory(place), before);
    QCOMPARE(linkTarget(place + "/moves"_s), "there"_s);
    QCOMPARE(fileMode(place + "/goes"_s), 0640);
}

void StoreTest::entriesAfterACutOff()
{
    writeFile(place + "/goes"_s, "y");
    QVERIFY(Store().rememberEntries(Part::Boot, place));
    remove(place + "/goes"_s);
    QCOMPARE(Store().undo({Part::Boot}, false).restored, QStringList {place + "/goes"_s});
    QCOMPARE(readFile(place + "/goes"_s), QByteArray("y"));
}

void StoreTest::newFilesAreRemoved()
{
    writeFile(file, "made by a tool");
    Store store;
    store.rememberNew(Part::Driver, {file});
    QVERIFY(store.seal());
    QCOMPARE(Store().undo({Part::Driver}, false).restored, QStringList {file});
    QVERIFY(!exists(file));
}

/** Nobody was left to tell what has been added. */
void StoreTest::addedNamesAreRemoved()
{
    writeFile(place + "/stays"_s, "x");
    QVERIFY(Store().rememberNames(Part::Driver, place, place + "/index."_s));
    writeFile(place + "/stays"_s, "y");
    writeFile(place + "/a/b/new"_s, "z");
    writeFile(place + "/index.of"_s, "others");
    QCOMPARE(Store().undo({Part::Driver}, false).restored,
             (QStringList {place + "/a/b/new"_s, place + "/a/b"_s, place + "/a"_s}));
    QVERIFY(!exists(place + "/a"_s));
    QCOMPARE(readFile(place + "/stays"_s), QByteArray("y"));
    QVERIFY(exists(place + "/index.of"_s));
}

void StoreTest::timeComesBackWithTheContent()
{
    writeFile(file, "x");
    const FileState before = FileState::of(file);
    Store store;
    QVERIFY(store.remember(Part::Driver, file));
    remove(file);
    writeFile(file, "x");
    QVERIFY(!FileState::of(file).hasTimeOf(before));
    QVERIFY(store.finish());
    QVERIFY(FileState::of(file).hasTimeOf(before));
    QVERIFY(Store().items().isEmpty());
}

void StoreTest::timeOfTheNextCenturyComesBack()
{
    writeFile(file, "x");
    const qint64 seconds = 4102444800;
    const timespec times[2] = {{0, UTIME_OMIT}, {time_t(seconds), 5}};
    QCOMPARE(::utimensat(AT_FDCWD, qPrintable(file), times, 0), 0);
    QCOMPARE(int(FileState::of(file).kind), int(FileState::File));
    QVERIFY(Store().remember(Part::Driver, file));
    remove(file);
    QCOMPARE(Store().undo({Part::Driver}, true).restored, QStringList(file));
    QCOMPARE(readFile(file), QByteArray("x"));
    QCOMPARE(qint64(statusOf(file).st_mtim.tv_sec), seconds);
    QCOMPARE(qint64(statusOf(file).st_mtim.tv_nsec), qint64(5));
}

void StoreTest::packagesAreRemembered()
{
    QVERIFY(Store().rememberPackages("apt"_s, {"a"_s, "b"_s}));
    QVERIFY(Store().rememberPackages("apt"_s, {"b"_s, "c"_s}));
    const QStringList all = {"a"_s, "b"_s, "c"_s};
    QCOMPARE(Store().packages(), all);
    QCOMPARE(Store().packageManager(), "apt"_s);
    QVERIFY(Store().forgetPackages());
    QCOMPARE(Store().packages(), QStringList());
}

void StoreTest::contentIsKeptOnce()
{
    writeFile(place + "/a"_s, "same");
    writeFile(place + "/b"_s, "same");
    Store store;
    QVERIFY(store.remember(Part::Driver, place + "/a"_s));
    QVERIFY(store.remember(Part::Boot, place + "/b"_s));
    QCOMPARE(listDirectory(Store::directory() + "/before"_s).size(), 1);
    store.undo({Part::Driver}, false);
    QCOMPARE(listDirectory(Store::directory() + "/before"_s).size(), 1);
    store.undo({Part::Boot}, false);
    QCOMPARE(listDirectory(Store::directory() + "/before"_s).size(), 0);
}

/** What somebody writes after a set-up that did not is none of ours. */
void StoreTest::unchangedIsForgottenAtTheEnd()
{
    writeFile(file, "old secret");
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    QVERIFY(store.finish());
    QCOMPARE(listDirectory(Store::directory() + "/before"_s), QStringList());
    writeFile(file, "edited");
    QVERIFY(!Store().has({Part::Connection}));
    Store next;
    QVERIFY(next.remember(Part::Connection, file));
    writeFile(file, "written");
    QVERIFY(next.finish());
    QCOMPARE(Store().undo({Part::Connection}, false).restored, QStringList {file});
    QCOMPARE(readFile(file), QByteArray("edited"));
}

void StoreTest::cutOffIsNotForgotten()
{
    writeFile(file, "old");
    QVERIFY(Store().remember(Part::Connection, file));
    writeFile(file, "written before the cut");
    QVERIFY(Store().finish()); // of another set-up
    QCOMPARE(Store().undo({Part::Connection}, true).restored, QStringList {file});
    QCOMPARE(readFile(file), QByteArray("old"));
}

void StoreTest::missingParentsAreRemembered()
{
    Store store;
    QVERIFY(store.remember(Part::Driver, place + "/a/b/c"_s));
    makeDirectory(place + "/a/b/c"_s);
    QVERIFY(store.finish());
    const QStringList all = {place + "/a/b/c"_s, place + "/a/b"_s, place + "/a"_s};
    QCOMPARE(Store().undo({Part::Driver}, false).restored, all);
    QCOMPARE(listDirectory(place), QStringList());
}

void StoreTest::fullDiskLosesNothing()
{
    writeFile(file, "old");
    Store store;
    QVERIFY(store.remember(Part::Connection, file));
    writeFile(file, "new");
    QVERIFY(store.finish());
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit usual = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const struct rlimit room = {4, usual.rlim_max}; // for the file, not for the store
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &room), 0);
    const Setup::Undone undone = store.undo({Part::Connection}, false);
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &usual), 0);
    QCOMPARE(undone.restored, QStringList {file});
    QVERIFY(!undone.isNoted);
    writeFile(file, "edited");
    QCOMPARE(Store().undo({Part::Connection}, true).restored, QStringList {file});
    QCOMPARE(readFile(file), QByteArray("old"));
}

namespace {

void installPackage(const QByteArray &name, const QByteArray &dependsOn)
{
    const QString tree = place + QLatin1Char('/') + QString::fromLatin1(name);
    writeFile(tree + "/DEBIAN/control"_s,
              "Package: " + name + "\nVersion: 1\nArchitecture: all\nDepends: " + dependsOn
                  + "\nMaintainer: nobody <nobody@example.net>\nDescription: none\n");
    QCOMPARE(QProcess::execute("dpkg-deb"_s, {"--build"_s, tree, tree + ".deb"_s}), 0);
    QCOMPARE(QProcess::execute("dpkg"_s, {"--install"_s, tree + ".deb"_s}), 0);
}

bool isInstalled(const QString &name)
{
    QProcess query;
    query.start("dpkg-query"_s, {"-W"_s, "-f"_s, "${db:Status-Status}"_s, name});
    query.waitForFinished();
    return query.readAllStandardOutput() == "installed";
}

}

void StoreTest::packagesThatOthersNeedStay()
{
    installPackage("kestra-test-ours", "dpkg");
    installPackage("kestra-test-later", "kestra-test-ours");
    QVERIFY(Store().rememberPackages("apt"_s, {"kestra-test-ours"_s}));
    Setup::Options options;
    QVERIFY(!Setup::undoAll(options).lines.isEmpty());
    QVERIFY(isInstalled("kestra-test-ours"_s)); // nobody has asked for that

    options.removePackages = true;
    const Setup::Answer refused = Setup::undoAll(options);
    QCOMPARE(refused.outcome.code, Setup::ExitCode::Undo);
    QVERIFY(refused.lines.join(QLatin1Char('\n')).contains("kestra-test-later depends on"_s));
    QVERIFY(isInstalled("kestra-test-ours"_s));
    QVERIFY(isInstalled("kestra-test-later"_s));

    QCOMPARE(QProcess::execute("dpkg"_s, {"--remove"_s, "kestra-test-later"_s}), 0);
    QCOMPARE(Setup::undoAll(options).outcome.code, Setup::ExitCode::Success);
    QVERIFY(!isInstalled("kestra-test-ours"_s));
    QCOMPARE(Store().packages(), QStringList());
}

namespace {

const QString tree = place + "/a/tree"_s;

void fillTree()
{
    writeFile(tree + "/Makefile"_s, "all:\n");
    writeFile(tree + "/deep/er/.hidden"_s, "x", 0400);
    QVERIFY(QFile::link("/nowhere"_s, tree + "/link"_s));
}

}

void StoreTest::treeIsRemovedWithAllThatIsInIt()
{
    {
        Store store;
        QVERIFY(store.rememberTree(Part::Driver, tree));
        fillTree();
        QVERIFY(store.finish());
    }
    Store store;
    const Setup::Undone undone = store.undo({Part::Driver}, false);
    QCOMPARE(undone.failed + undone.edited, QStringList());
    QCOMPARE(undone.restored, QStringList({tree, place + "/a"_s}));
    QVERIFY(!exists(place + "/a"_s));
}

void StoreTest::treeOfOthersComesBack()
{
    writeFile(tree + "/notes"_s, "mine", 0640);
    writeFile(tree + "/sub/Makefile"_s, "my own");
    makeDirectory(tree + "/empty"_s);
    const QStringList before = listTree(place);
    {
        Store store;
        QVERIFY(store.rememberTree(Part::Driver, tree));
        remove(tree);
        fillTree();
        QVERIFY(store.finish());
    }
    Store store;
    const Setup::Undone undone = store.undo({Part::Driver}, false);
    QCOMPARE(undone.failed + undone.edited, QStringList());
    QCOMPARE(listTree(place), before);
    QCOMPARE(readFile(tree + "/notes"_s), QByteArray("mine"));
    QCOMPARE(fileMode(tree + "/notes"_s), 0640);
    QCOMPARE(readFile(tree + "/sub/Makefile"_s), QByteArray("my own"));
}

void StoreTest::treeThatSomebodyHasEditedStays()
{
    {
        Store store;
        QVERIFY(store.rememberTree(Part::Driver, tree));
        fillTree();
        QVERIFY(store.finish());
    }
    writeFile(tree + "/deep/er/.hidden"_s, "y", 0400);
    {
        Store store;
        QCOMPARE(store.undo({Part::Driver}, false).edited.value(0), tree);
        QVERIFY(exists(tree + "/Makefile"_s));
    }
    {
        // A second run fills it anew.
        Store store;
        QVERIFY(store.rememberTree(Part::Driver, tree));
        QVERIFY(store.finish());
    }
    Store store;
    QVERIFY(store.undo({Part::Driver}, false).restored.contains(tree));
    QVERIFY(!exists(tree));
}

/** What tools did when nobody looked is not taken for somebody's work. */
void StoreTest::treeOfACutOffRunIsRemoved()
{
    writeFile(tree + "/notes"_s, "mine");
    {
        Store store;
        QVERIFY(store.rememberTree(Part::Driver, tree));
        remove(tree);
        fillTree();
        QVERIFY(store.seal());
        writeFile(tree + "/deep/later"_s, "");
    }
    Store store;
    const Setup::Undone undone = store.undo({Part::Driver}, false);
    QCOMPARE(undone.failed + undone.edited, QStringList());
    QCOMPARE(listTree(tree), QStringList("notes"_s));
}

void StoreTest::treesDoNotReachThroughLinks()
{
    const QString other = place + "/other"_s;
    writeFile(other + "/file"_s, "");
    Store store;
    QVERIFY(store.rememberTree(Part::Driver, tree));
    makeDirectory(tree);
    QVERIFY(QFile::link(other, tree + "/link"_s));
    QVERIFY(store.finish());
    QVERIFY(store.undo({Part::Driver}, false).restored.contains(tree));
    QVERIFY(exists(other + "/file"_s));
}

void StoreTest::cutOffSetUpIsKnown()
{
    writeFile(file, "before");
    {
        Store store;
        QVERIFY(!store.wasCutOff());
        QVERIFY(store.remember(Part::Connection, file));
        writeFile(file, "half");
    } // and is killed
    Store next;
    QVERIFY(next.wasCutOff());
    QCOMPARE(next.undo({Part::Connection}, false).edited, QStringList {file});
    QVERIFY(Store().wasCutOff());
    QCOMPARE(Store().undo({Part::Connection}, true).restored, QStringList {file});
    QVERIFY(!Store().wasCutOff());
    {
        Store store;
        QVERIFY(store.remember(Part::Connection, file));
        writeFile(file, "whole");
        QVERIFY(store.seal());
        QVERIFY(store.finish());
    }
    QVERIFY(!Store().wasCutOff());
}

void StoreTest::packagesThatWereNeverThereAreForgotten()
{
    QVERIFY(Store().rememberPackages("apt"_s, {"one"_s, "two"_s}));
    Store store;
    QVERIFY(store.forgetPackages({"two"_s}));
    QCOMPARE(Store().packages(), QStringList("one"_s));
    QVERIFY(Store().forgetPackages());
}

KESTRA_TEST_MAIN(StoreTest)

#include "storetest.moc"
