// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "driverfixture.h"
#include "messagelog.h"
#include "testmain.h"

#include <kestra/media/filemanager.h>

#include <QFile>
#include <QFileInfo>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString usbAtm = "kernel/drivers/usb/atm"_s;

/** All messages in order, but for what the file manager says that the library may drop or keep. */
QStringList streamed(const MessageLog &log)
{
    QStringList result;
    for (const MessageLog::Message &message : log.messages()) {
        if (message.text != "~FileManager()"_s)
            result.append((message.type == QtWarningMsg ? "warning: "_s : "debug: "_s)
                          + message.text);
    }
    return result;
}

}

/** Moving installed modules to the backup and back, in a module tree of the sandbox. */
class CompilerBackupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void backupMovesTheModule();
    void backupMovesEveryCopyInIndexOrder();
    void backupOfATopLevelModule();
    void backupKeepsContentOfAnySize();
    void backupWithoutModuleNameWarns();
    void backupOfNothingLeavesEverything();
    void backupWithoutModuleTreeCreatesItsDirectory();
    void backupMatchesAnyPartOfThePath_data();
    void backupMatchesAnyPartOfThePath();
    void backupRemovesEveryOccurrenceOfTheTreeFromThePath();
    void backupLeavesTreesOfOtherReleases();
    void backupSeesHiddenFilesAndDirectories();
    void backupLeavesSymbolicLinks();
    void backupWritesNothingButFiles();

    void existingDirectoryLosesItsTopLevelFiles();
    void existingDirectoryKeepsLinksDirectoriesAndHiddenFiles();
    void filesThatAppearBetweenTwoBackupsAreDeleted();
    void directoryThatAppearsAfterTheConstructionIsCleared();
    void directoryThatDisappearsIsCreatedAgain();
    void deeperBackupOfTheSameNameKeepsTheInstalledFile();
    void repeatedBackupKeepsTheFirstCopy();
    void backupPathThatCannotBeCreatedSaysSo_data();
    void backupPathThatCannotBeCreatedSaysSo();
    void backupDirectoryOfSomebodyElseIsRefused_data();
    void backupDirectoryOfSomebodyElseIsRefused();
    void targetDirectoryThatCannotBeCreatedKeepsTheInstalledFile();

    void restoreCopiesBackAndSaysSo();
    void restoreDoesNotOverwrite();
    void restoreWithoutTargetDirectoryFails();
    void restoreGoesOnAfterAFailure();
    void restoreSkipsLostBackups();
    void restoreKeepsTheBackupsAndForgetsThem();
    void restoreForgetsAfterAFailure();
    void restoreWithoutBackupDoesNothing();
    void restoreKnowsOnlyItsOwnBackups();

    void removeDriverHasNoEffect();

private:
    QString installed(const QString &name) const { return moduleTree + QLatin1Char('/') + name; }
    QString backup(const QString &name) const { return backupTree + QLatin1Char('/') + name; }
    void install(const QString &name, const QByteArray &content = "stock") const
    {
        writeFile(installed(name), content);
    }
    std::unique_ptr<Compiler> compilerFor(const QString &module) const;

    const QString release = Kestra::SystemInfo::getKernelRelease();
    const QString moduleTree = "/lib/modules/"_s + release;
    const QString backupTree = "/tmp/kestra_drv_backup/"_s + release;
    const QString stock = usbAtm + "/ueagle-atm.ko"_s;
    std::unique_ptr<DriverFixture> fixture;
};

void CompilerBackupTest::init()
{
    fixture = std::make_unique<DriverFixture>();
    makeDirectory(moduleTree);
}

void CompilerBackupTest::cleanup()
{
    fixture.reset();
    remove(moduleTree);
    remove("/tmp/kestra_drv_backup"_s);
    remove("/opt/kestra"_s);
}

std::unique_ptr<Compiler> CompilerBackupTest::compilerFor(const QString &module) const
{
    Compiler::ModemDriver driver = fixture->driver;
    driver.compiledDriverName = module;
    return std::make_unique<Compiler>(driver, nullptr);
}

void CompilerBackupTest::backupMovesTheModule()
{
    install(stock);
    install(usbAtm + "/usbatm.ko"_s);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(readFile(backup("kernel/drivers/usb/atm/ueagle-atm.ko"_s)), QByteArray("stock"));
    QCOMPARE(compiler.backedUpFiles, QStringList(backup(stock)));
    QVERIFY(!exists(installed(stock)));
    QCOMPARE(listDirectory(installed(usbAtm)), QStringList("usbatm.ko"_s));
    QCOMPARE(listTree(backupTree),
             QStringList({"kernel/"_s, "kernel/drivers/"_s, "kernel/drivers/usb/"_s,
                          "kernel/drivers/usb/atm/"_s, "kernel/drivers/usb/atm/ueagle-atm.ko"_s}));
}

void CompilerBackupTest::backupMovesEveryCopyInIndexOrder()
{
    const QStringList names = {stock, "updates/ueagle-atm.ko"_s, "extra/deep/ueagle-atm.ko"_s,
                               "ueagle-atm.ko"_s, "extra/ueagle-atm.ko"_s};
    for (const QString &name : names)
        install(name, name.toLatin1());
    FileManager files;
    QVERIFY(files.indexFiles(moduleTree));
    QStringList expected;
    for (const QString &path : files.getIndex())
        expected.append(backupTree + path.mid(moduleTree.size()));
    QCOMPARE(expected.size(), names.size());

    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(compiler.backedUpFiles, expected);
    for (const QString &name : names) {
        QCOMPARE(readFile(backup(name)), name.toLatin1());
        QVERIFY(!exists(installed(name)));
    }
}

void CompilerBackupTest::backupOfATopLevelModule()
{
    install("ueagle-atm.ko"_s);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(compiler.backedUpFiles, QStringList(backup("ueagle-atm.ko"_s)));
    compiler.restoreDriver();
    QCOMPARE(readFile(installed("ueagle-atm.ko"_s)), QByteArray("stock"));
}

void CompilerBackupTest::backupKeepsContentOfAnySize()
{
    QByteArray content(3 * 1024 * 1024 + 7, '\0');
    for (int i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7);
    install(stock, content);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QVERIFY(readFile(backup(stock)) == content);
    compiler.restoreDriver();
    QVERIFY(readFile(installed(stock)) == content);
}

void CompilerBackupTest::backupWithoutModuleNameWarns()
{
    install(stock);
    const auto compiler = compilerFor(QString());
    MessageLog log;
    compiler->backupDriver();
    QCOMPARE(log.texts(),
             QStringList("Compiler::backupDriver(): \"compiledDriverName\" is empty or NULL, "
                         "aborting!"_s));
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
    QVERIFY(exists(installed(stock)));
    QCOMPARE(compiler->backedUpFiles, QStringList());
}

void CompilerBackupTest::backupOfNothingLeavesEverything()
{
    install(stock);
    const auto compiler = compilerFor("other.ko"_s);
    MessageLog log;
    compiler->backupDriver();
    compiler->restoreDriver();
    QCOMPARE(streamed(log), QStringList());
    QCOMPARE(compiler->backedUpFiles, QStringList());
    QVERIFY(exists(installed(stock)));
    QCOMPARE(listTree(backupTree), QStringList());
}

void CompilerBackupTest::backupWithoutModuleTreeCreatesItsDirectory()
{
    remove(moduleTree);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.backupDriver();
    QCOMPARE(streamed(log), QStringList());
    QVERIFY(QDir(backupTree).exists());
    QCOMPARE(compiler.backedUpFiles, QStringList());
}

void CompilerBackupTest::backupMatchesAnyPartOfThePath_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("moved");
    QTest::newRow("exact name") << "kernel/x.ko"_s << true;
    QTest::newRow("compressed module") << "kernel/x.ko.xz"_s << true;
    QTest::newRow("directory of that name") << "kernel/x.ko/other.ko"_s << true;
    QTest::newRow("directory that starts so") << "kernel/x.ko.d/deep/readme"_s << true;
    QTest::newRow("other start") << "kernel/max.ko"_s << false;
    QTest::newRow("other case") << "kernel/X.KO"_s << false;
    QTest::newRow("name is not a pattern") << "kernel/xxko"_s << false;
}

void CompilerBackupTest::backupMatchesAnyPartOfThePath()
{
    QFETCH(QString, name);
    QFETCH(bool, moved);
    install(name);
    const auto compiler = compilerFor("x.ko"_s);
    compiler->backupDriver();
    QCOMPARE(exists(installed(name)), !moved);
    QCOMPARE(exists(backup(name)), moved);
    QCOMPARE(compiler->backedUpFiles, moved ? QStringList(backup(name)) : QStringList());
}

void CompilerBackupTest::backupRemovesEveryOccurrenceOfTheTreeFromThePath()
{
    const QString nested = installed("extra"_s + moduleTree + "/deep/ueagle-atm.ko"_s);
    writeFile(nested, "nested");
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(compiler.backedUpFiles, QStringList(backup("extra/deep/ueagle-atm.ko"_s)));
    QCOMPARE(readFile(backup("extra/deep/ueagle-atm.ko"_s)), QByteArray("nested"));
    QVERIFY(!exists(nested));
}

void CompilerBackupTest::backupLeavesTreesOfOtherReleases()
{
    const QString other = "/lib/modules/"_s + release + "-other/"_s + stock;
    writeFile(other, "other");
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(readFile(other), QByteArray("other"));
    QCOMPARE(compiler.backedUpFiles, QStringList());
    remove("/lib/modules/"_s + release + "-other"_s);
}

void CompilerBackupTest::backupSeesHiddenFilesAndDirectories()
{
    install(".hidden/ueagle-atm.ko"_s);
    install(".ueagle-atm.ko"_s);
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.backupDriver();
        QCOMPARE(compiler.backedUpFiles, QStringList(backup(".hidden/ueagle-atm.ko"_s)));
        QVERIFY(exists(installed(".ueagle-atm.ko"_s)));
    }
    const auto compiler = compilerFor(".ueagle-atm.ko"_s);
    compiler->backupDriver();
    QCOMPARE(compiler->backedUpFiles, QStringList(backup(".ueagle-atm.ko"_s)));
    QVERIFY(!exists(installed(".ueagle-atm.ko"_s)));
}

void CompilerBackupTest::backupLeavesSymbolicLinks()
{
    const QString outside = fixture->path("outside"_s);
    writeFile(outside + "/ueagle-atm.ko"_s, "outside");
    QVERIFY(QFile::link(outside + "/ueagle-atm.ko"_s, installed("ueagle-atm.ko"_s)));
    QVERIFY(QFile::link(outside, installed("linked"_s)));
    makeDirectory(installed("sub"_s));
    QVERIFY(QFile::link("nowhere"_s, installed("sub/ueagle-atm.ko"_s)));
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(compiler.backedUpFiles, QStringList());
    QCOMPARE(readFile(outside + "/ueagle-atm.ko"_s), QByteArray("outside"));
    QCOMPARE(listTree(moduleTree),
             QStringList({"linked"_s, "sub/"_s, "sub/ueagle-atm.ko"_s, "ueagle-atm.ko"_s}));
    QCOMPARE(listTree(backupTree), QStringList());
}

void CompilerBackupTest::backupWritesNothingButFiles()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    DebugFile file;
    MessageLog log;
    compiler.backupDriver();
    compiler.backupDriver();
    QCOMPARE(streamed(log), QStringList());
    compiler.restoreDriver();
    QCOMPARE(file.text(), QByteArray());
    QCOMPARE(compiler.compilerLog, QByteArray());
}

void CompilerBackupTest::existingDirectoryLosesItsTopLevelFiles()
{
    writeFile(backup("old.ko"_s), "old");
    writeFile(backup("ueagle-atm.ko"_s), "old");
    writeFile(backup("read only"_s), "old", 0400);
    install("ueagle-atm.ko"_s, "new");
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.backupDriver();
    QCOMPARE(listTree(backupTree), QStringList("ueagle-atm.ko"_s));
    QCOMPARE(readFile(backup("ueagle-atm.ko"_s)), QByteArray("new"));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerBackupTest::existingDirectoryKeepsLinksDirectoriesAndHiddenFiles()
{
    writeFile(backup("sub/old.ko"_s), "old");
    writeFile(backup("sub/.hidden/old.ko"_s), "old");
    makeDirectory(backup("empty"_s));
    writeFile(backup(".hidden"_s), "old");
    writeFile(fixture->path("target"_s), "target");
    QVERIFY(QFile::link(fixture->path("target"_s), backup("link"_s)));
    QVERIFY(QFile::link("nowhere"_s, backup("dangling"_s)));
    const QStringList before = listTree(backupTree);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(listTree(backupTree), before);
    QCOMPARE(readFile(fixture->path("target"_s)), QByteArray("target"));
}

void CompilerBackupTest::filesThatAppearBetweenTwoBackupsAreDeleted()
{
    writeFile(backup("first"_s), "old");
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    QCOMPARE(listTree(backupTree), QStringList());
    writeFile(backup("second"_s), "old");
    install("ueagle-atm.ko"_s);
    compiler.backupDriver();
    QCOMPARE(listTree(backupTree), QStringList("ueagle-atm.ko"_s));
    QCOMPARE(compiler.backedUpFiles, QStringList(backup("ueagle-atm.ko"_s)));
}

void CompilerBackupTest::directoryThatAppearsAfterTheConstructionIsCleared()
{
    Compiler compiler(fixture->driver, nullptr);
    writeFile(backup("old"_s), "old");
    compiler.backupDriver();
    QCOMPARE(listTree(backupTree), QStringList());
}

void CompilerBackupTest::directoryThatDisappearsIsCreatedAgain()
{
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    remove("/tmp/kestra_drv_backup"_s);
    install(stock);
    compiler.backupDriver();
    QCOMPARE(readFile(backup(stock)), QByteArray("stock"));
}

void CompilerBackupTest::deeperBackupOfTheSameNameKeepsTheInstalledFile()
{
    writeFile(backup(stock), "earlier");
    install(stock, "newer");
    install("extra/ueagle-atm.ko"_s);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.backupDriver();
    QCOMPARE(readFile(backup(stock)), QByteArray("earlier"));
    QCOMPARE(readFile(installed(stock)), QByteArray("newer"));
    QCOMPARE(compiler.backedUpFiles, QStringList(backup("extra/ueagle-atm.ko"_s)));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerBackupTest::repeatedBackupKeepsTheFirstCopy()
{
    install(stock, "first");
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    install(stock, "second");
    compiler.backupDriver();
    QCOMPARE(readFile(backup(stock)), QByteArray("first"));
    QCOMPARE(readFile(installed(stock)), QByteArray("second"));
    QCOMPARE(compiler.backedUpFiles, QStringList(backup(stock)));
}

void CompilerBackupTest::backupPathThatCannotBeCreatedSaysSo_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("parent is a file") << "/tmp/kestra_drv_backup"_s;
    QTest::newRow("is a file") << backupTree;
}

void CompilerBackupTest::backupPathThatCannotBeCreatedSaysSo()
{
    QFETCH(QString, obstacle);
    writeFile(obstacle, "in the way");
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.backupDriver();
    // One string, hence the quotes around all of it.
    QCOMPARE(log.texts(),
             QStringList("\"Compiler::backupDriver(): could not create backup path (%1), "
                         "aborting!\""_s.arg(backupTree)));
    QCOMPARE(log.debugs().size(), 1);
    QCOMPARE(readFile(installed(stock)), QByteArray("stock"));
    QCOMPARE(readFile(obstacle), QByteArray("in the way"));
    QCOMPARE(compiler.backedUpFiles, QStringList());
}

void CompilerBackupTest::backupDirectoryOfSomebodyElseIsRefused_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("way");
    for (const QString &directory : {"/tmp/kestra_drv_backup"_s, backupTree}) {
        for (const QString &way : {"owned"_s, "link"_s, "writable"_s})
            QTest::addRow("%s: %s", qPrintable(directory), qPrintable(way)) << directory << way;
    }
}

/** What a local user could put in the place of the backup, to have root delete or restore files. */
void CompilerBackupTest::backupDirectoryOfSomebodyElseIsRefused()
{
    QFETCH(QString, directory);
    QFETCH(QString, way);
    const QString victim = fixture->path("victim"_s);
    const QString precious = victim + "/precious"_s;
    writeFile(precious, "precious");
    makeDirectory(QFileInfo(directory).path());
    if (way == "link"_s) {
        QVERIFY(QFile::link(victim, directory));
    } else {
        writeFile(directory + "/precious"_s, "precious");
        const QByteArray path = QFile::encodeName(directory);
        if (way == "writable"_s)
            QCOMPARE(chmod(path.constData(), 01777), 0);
        else if (chown(path.constData(), 12345, 12345) != 0)
            QSKIP("only root can give a directory away");
    }
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.backupDriver();
    QCOMPARE(log.texts(),
             QStringList("\"Compiler::backupDriver(): could not create backup path (%1), "
                         "aborting!\""_s.arg(backupTree)));
    QCOMPARE(readFile(installed(stock)), QByteArray("stock"));
    QCOMPARE(readFile(precious), QByteArray("precious"));
    QCOMPARE(exists(directory + "/precious"_s), true);
    QCOMPARE(compiler.backedUpFiles, QStringList());
}

void CompilerBackupTest::targetDirectoryThatCannotBeCreatedKeepsTheInstalledFile()
{
    writeFile(backup("kernel/drivers"_s), "in the way");
    install(stock);
    install("extra/ueagle-atm.ko"_s);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.backupDriver();
    QCOMPARE(readFile(installed(stock)), QByteArray("stock"));
    QCOMPARE(compiler.backedUpFiles, QStringList(backup("extra/ueagle-atm.ko"_s)));
    QCOMPARE(streamed(log), QStringList());
}

void CompilerBackupTest::restoreCopiesBackAndSaysSo()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(
        streamed(log),
        QStringList("debug: Compiler::restoreDriver(): "
                    "\"/tmp/kestra_drv_backup/%1/kernel/drivers/usb/atm/ueagle-atm.ko\" "
                    "restored to "
                    "\"/lib/modules/%1//kernel/drivers/usb/atm/ueagle-atm.ko\""_s.arg(release)));
    QCOMPARE(readFile(installed(stock)), QByteArray("stock"));
}

void CompilerBackupTest::restoreDoesNotOverwrite()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    install(stock, "built");
    MessageLog log;
    compiler.restoreDriver();
    // The text starts with a blank of its own.
    QCOMPARE(
        streamed(log),
        QStringList("debug: Compiler::restoreDriver(): "
                    "\"/tmp/kestra_drv_backup/%1/kernel/drivers/usb/atm/ueagle-atm.ko\" "
                    " could not be restored to "
                    "\"/lib/modules/%1//kernel/drivers/usb/atm/ueagle-atm.ko\""_s.arg(release)));
    QCOMPARE(readFile(installed(stock)), QByteArray("built"));
    QCOMPARE(readFile(backup(stock)), QByteArray("stock"));
}

void CompilerBackupTest::restoreWithoutTargetDirectoryFails()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    remove(installed("kernel"_s));
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(streamed(log).size(), 1);
    QVERIFY(streamed(log).constFirst().contains("  could not be restored to "_s));
    QVERIFY(!exists(installed("kernel"_s)));
}

void CompilerBackupTest::restoreGoesOnAfterAFailure()
{
    const QStringList names = {"a/ueagle-atm.ko"_s, "b/ueagle-atm.ko"_s, "c/ueagle-atm.ko"_s};
    for (const QString &name : names)
        install(name, name.toLatin1());
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    const QStringList order = compiler.backedUpFiles;
    QCOMPARE(order.size(), 3);
    const QString blocked = order.constFirst().mid(backupTree.size() + 1);
    install(blocked, "built");
    QStringList expected;
    for (const QString &path : order)
        expected.append("debug: Compiler::restoreDriver(): \"%1\" %2 \"%3/%4\""_s.arg(
            path, path == order.constFirst() ? " could not be restored to"_s : "restored to"_s,
            moduleTree, path.mid(backupTree.size())));
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(streamed(log), expected);
    for (const QString &name : names)
        QCOMPARE(readFile(installed(name)),
                 name == blocked ? QByteArray("built") : name.toLatin1());
}

void CompilerBackupTest::restoreSkipsLostBackups()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    remove(backup(stock));
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(streamed(log), QStringList());
    QVERIFY(!exists(installed(stock)));
    QCOMPARE(compiler.backedUpFiles, QStringList());
}

void CompilerBackupTest::restoreKeepsTheBackupsAndForgetsThem()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    compiler.restoreDriver();
    QCOMPARE(readFile(backup(stock)), QByteArray("stock"));
    QCOMPARE(compiler.backedUpFiles, QStringList());
    remove(installed(stock));
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(streamed(log), QStringList());
    QVERIFY(!exists(installed(stock)));
}

void CompilerBackupTest::restoreForgetsAfterAFailure()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    install(stock, "built");
    compiler.restoreDriver();
    QCOMPARE(compiler.backedUpFiles, QStringList());
}

void CompilerBackupTest::restoreWithoutBackupDoesNothing()
{
    install(stock);
    Compiler compiler(fixture->driver, nullptr);
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(streamed(log), QStringList());
    QCOMPARE(readFile(installed(stock)), QByteArray("stock"));
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
}

void CompilerBackupTest::restoreKnowsOnlyItsOwnBackups()
{
    install(stock);
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.backupDriver();
    }
    Compiler compiler(fixture->driver, nullptr);
    compiler.restoreDriver();
    QVERIFY(!exists(installed(stock)));
    QVERIFY(exists(backup(stock)));
}

void CompilerBackupTest::removeDriverHasNoEffect()
{
    install(stock);
    fixture->writeTree("");
    Compiler compiler(fixture->driver, nullptr);
    compiler.backupDriver();
    install(stock, "built");
    const QStringList backedUp = compiler.backedUpFiles;
    DebugFile file;
    MessageLog log;
    compiler.removeDriver();
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(file.text(), QByteArray());
    QCOMPARE(compiler.compilerLog, QByteArray());
    QCOMPARE(compiler.backedUpFiles, backedUp);
    QCOMPARE(readFile(installed(stock)), QByteArray("built"));
    QCOMPARE(readFile(backup(stock)), QByteArray("stock"));
    QVERIFY(exists(fixture->tree()));
}

KESTRA_TEST_MAIN(CompilerBackupTest)

#include "compilerbackuptest.moc"
