// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QScopeGuard>

#include <csignal>
#include <unistd.h>

using namespace KestraTest;

using Changes = QMap<QString, QString>;

namespace {

const QString backup =
    "/tmp/kestra_drv_backup/%1/kernel/drivers/usb/atm/ueagle-atm.ko"_s.arg(Machine::release);
const QString tree = Machine::directory + "/src/ueagle-atm"_s;
const QString buildLog = "/opt/kestra/logs/ueagle-atm-default_compiler.log"_s;
/** Leaves all but the driver alone. */
const Changes driverOnly = {
    {"--no-boot"_s, "-"_s}, {"--no-dns"_s, "-"_s}, {"--driver"_s, "ueagle-atm"_s}};
const QByteArray oldContent = "the old driver\n";

/** The first screens of a run are the same in all tests; this is what comes after. */
QByteArray stage(const SetupResult &result, const char *title)
{
    QByteArray lines;
    for (const QByteArray &line : result.output.split('\n')) {
        if (line.contains(title))
            lines += line + '\n';
    }
    return lines;
}

bool isUntouchedBeyondTheDriver()
{
    return !exists("/etc/kestra"_s) && !exists("/etc/init.d/kestrad"_s)
        && !exists("/etc/resolv.conf_kestra"_s) && !exists("/etc/ppp/peers/kestra"_s);
}

}

/** A disk of its own, with these options of tmpfs. */
struct SmallDisk
{
    const QString path = Machine::directory + "/disk"_s;

    explicit SmallDisk(const QString &options)
    {
        makeDirectory(path);
        if (QProcess::execute("mount"_s,
                              {"-t"_s, "tmpfs"_s, "-o"_s, options + ",mode=755"_s, "tmpfs"_s, path})
            != 0)
            qFatal("no small disk can be mounted");
    }

    ~SmallDisk() { QProcess::execute("umount"_s, {"-l"_s, path}); }

    Q_DISABLE_COPY(SmallDisk)
};

/** The stages that build and install the driver, with real tar, patch and make. */
class DriverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine.reset(); }

    void installs();
    void appliesThePatchItself();
    void aDriverWithoutVersionIsDefault();
    void aPatchOfTheBundlesOwner();
    void patchThatDoesNotApply();
    void patchThatIsNone();
    void aDiskThatIsFull();
    void aDiskThatIsTooSmall();
    void aDiskThatMakeFills();
    void aCompilerThatIsMissing();
    void makeThatIsKilled();
    void aShippedFileThatIsCleanedUp();
    void buildThatFails();
    void buildWithoutProduct();
    void installationThatFails();
    void installationThatFailsWithoutAnEarlierDriver();
    void installationThatReplacesOtherModules();
    void installationThatChangesMore();
    void installationThatPretends();
    void installationThatBringsTheOldDriverOnly();
    void backupThatIsLost();
    void backupDirectoryThatIsExchanged();
    void aSecondRunKeepsTheFirstBackup();
    void backupsAreRemovedWhenAllIsBack();
    void aBackupOfMoreStays();
    void whatWasInTheTreesPlaceComesBack();
    void whatTheBundlePutsBesideTheTreeIsUndone();
    void takesTheBundleOfTheCatalogue();
    void extractionPathBelowAnOpenPlace_data();
    void extractionPathBelowAnOpenPlace();
    void otherNamesAndArguments();
    void toolLinesComeAsTheyArePrinted();
    void interruptedWhileCompiling();
    void interruptedWhileBackingUp();

private:
    void undoes(const QByteArray &before);

    Machine m_machine;
};

/** Nothing is left but the log, and undo says so. */
void DriverTest::undoes(const QByteArray &before)
{
    QProcess undo;
    Machine::start(undo, {"undo"_s});
    const SetupResult result = Machine::finish(undo);
    QVERIFY2(result.code == 0, result.everything().constData());
    QVERIFY(result.output.contains("The logs in /opt/kestra/logs stay, for a report.\n"));
    remove("/opt/kestra"_s);
    QCOMPARE(Machine::state(), before);
}

void DriverTest::installs()
{
    const SetupResult result = m_machine.run();
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile(Machine::newModule), Machine::source);
    QVERIFY(!exists(Machine::oldModule));
    QCOMPARE(readFile(backup), oldContent);
    QVERIFY(!exists(tree));
    QCOMPARE(fileMode("/tmp/kestra_drv_backup"_s), 0700);
    QVERIFY(readFile(buildLog).contains("\nbuilding for "_s.toLatin1()
                                        + (Machine::directory + "/kernel\n"_s).toLatin1()));
    QVERIFY(readFile(buildLog).contains("# Begin Of Installation\ninstall -D -m 644"));
    QVERIFY2(result.output.contains("/13] patch the driver ... skipped: there is no patch for "),
             result.output.constData());
}

void DriverTest::appliesThePatchItself()
{
    const QString patch =
        Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release);
    writeFile(patch, "--- source.c\n+++ source.c\n@@ -1 +1 @@\n-the driver\n+the patched driver\n");
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile(Machine::newModule), QByteArray("the patched driver\n"));
    QVERIFY2(
        stage(result, "patch the driver").contains(": kestra-setup applied " + patch.toLatin1()),
        result.output.constData());
}

void DriverTest::aDriverWithoutVersionIsDefault()
{
    m_machine.product = 0x9010;
    const QString patch =
        Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release);
    writeFile(patch, "--- source.c\n+++ source.c\n@@ -1 +1 @@\n-the driver\n+the patched driver\n");
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(": Sagem F@st 800, driver ueagle-atm, version default\n"),
             result.output.constData());
    QCOMPARE(readFile(Machine::newModule), QByteArray("the patched driver\n"));
    QVERIFY(exists(buildLog));
}

void DriverTest::aPatchOfTheBundlesOwner()
{
    const QString patch =
        Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release);
    writeFile(patch, "--- source.c\n+++ source.c\n@@ -1 +1 @@\n-the driver\n+the patched driver\n");
    for (const QString &path : {patch, Machine::directory + "/driver.tar.gz"_s}) {
        if (::chown(QFile::encodeName(path).constData(), 65534, 65534) != 0)
            QSKIP("there is no other user in this user namespace");
    }
    QCOMPARE(m_machine.run().code, 0);
    QCOMPARE(readFile(Machine::newModule), QByteArray("the patched driver\n"));
}

void DriverTest::patchThatDoesNotApply()
{
    const QString patch =
        Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release);
    writeFile(patch, "--- source.c\n+++ source.c\n@@ -1 +1 @@\n-another driver\n+a driver\n");
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 9);
    QVERIFY2(result.errors.startsWith("\nThe patch " + patch.toLatin1()
                                      + " does not apply to the driver. Get the patch that belongs "
                                        "to this bundle, or remove it.\n"),
             result.errors.constData());
    QVERIFY2(result.errors.contains("    | Hunk #1 FAILED at 1.\n"), result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY(isUntouchedBeyondTheDriver());
}

void DriverTest::patchThatIsNone()
{
    const QString patch =
        Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release);
    writeFile(patch, "this is no patch\n");
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 9);
    QVERIFY2(result.errors.startsWith("\nThe program patch could not do its work (code 2). See "
                                      "whether the disk is full and "
                                      + patch.toLatin1() + " is a patch.\n"),
             result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
}

void DriverTest::aDiskThatIsFull()
{
    // There is room for what is in the files, but not for so many of them.
    for (int i = 0; i < 4; ++i)
        writeFile(Machine::directory + "/bundle/ueagle-atm/%1.bin"_s.arg(i), "firmware");
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(), Machine::usualInstallation()));
    const QByteArray before = Machine::state();
    const SmallDisk small("size=1m,nr_inodes=4"_s);
    const QString disk = small.path;
    const SetupResult result = m_machine.run(Changes {{"--extraction-path"_s, disk}});
    QCOMPARE(result.code, 8);
    QVERIFY2(result.errors.startsWith("\nUnpacking did not complete: ueagle-atm/"),
             result.errors.constData());
    QVERIFY2(result.errors.contains(" is not whole. See whether the disk is full. The whole output "
                                    "is in "
                                    + buildLog.toLatin1() + ".\n"),
             result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    undoes(before);
    QCOMPARE(listDirectory(disk), QStringList());
}

void DriverTest::aDiskThatIsTooSmall()
{
    writeFile(Machine::directory + "/bundle/ueagle-atm/firmware.bin"_s, QByteArray(300000, 'f'));
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(), Machine::usualInstallation()));
    const QByteArray before = Machine::state();
    const SmallDisk disk("size=100k"_s);
    const SetupResult result =
        m_machine.run(Changes {{"--extraction-path"_s, disk.path + "/src"_s}});
    QCOMPARE(result.code, 8);
    const QRegularExpression sentence(
        "^\nThere is not enough room in %1: the driver takes 3[0-9][0-9] KiB, and 100 KiB are "
        "left\\. Make room, or give another directory with --extraction-path\\.\n$"_s.arg(
            disk.path));
    QVERIFY2(sentence.match(QString::fromLatin1(result.errors)).hasMatch(),
             result.errors.constData());
    QCOMPARE(Machine::state(), before);
    QVERIFY(!exists("/var/lib/kestra/before.json"_s));
}

void DriverTest::aDiskThatMakeFills()
{
    m_machine.writeBundle(Machine::makefile("head -c 2000000 /dev/zero >ueagle-atm.ko",
                                            Machine::usualInstallation()));
    const QByteArray before = Machine::state();
    const SmallDisk disk("size=1m"_s);
    const SetupResult result = m_machine.run(Changes {{"--extraction-path"_s, disk.path}});
    QCOMPARE(result.code, 10);
    QVERIFY2(result.errors.startsWith("\nThe driver did not compile, and there is no room left in "
                                      + disk.path.toLatin1() + "/ueagle-atm. Make room, "),
             result.errors.constData());
    undoes(before);
    QCOMPARE(listDirectory(disk.path), QStringList());
}

void DriverTest::aCompilerThatIsMissing()
{
    m_machine.writeBundle(Machine::makefile("nogcc-12 -c source.c", Machine::usualInstallation()));
    const QByteArray before = Machine::state();
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 10);
    QVERIFY2(result.errors.startsWith("\nThe driver did not compile, as the compiler nogcc-12 is "
                                      "not installed. Install the package that has it. "),
             result.errors.constData());
    undoes(before);
}

void DriverTest::makeThatIsKilled()
{
    m_machine.writeBundle(
        Machine::makefile("touch left\nkill -KILL $$PPID", Machine::usualInstallation()));
    const QByteArray before = Machine::state();
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 10);
    QVERIFY2(result.errors.startsWith("\nThe driver did not compile (make ended with code 9). "),
             result.errors.constData());
    QVERIFY(exists(tree + "/left"_s));
    undoes(before);
}

/** What the bundle has, but not the tree, need not be a sign of a full disk. */
void DriverTest::aShippedFileThatIsCleanedUp()
{
    writeFile(Machine::directory + "/bundle/ueagle-atm/ueagle-atm.ko"_s, "a stale one\n");
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(), Machine::usualInstallation()));
    QCOMPARE(m_machine.run().code, 0);
    QCOMPARE(readFile(Machine::newModule), Machine::source);
}

void DriverTest::buildThatFails()
{
    m_machine.writeBundle(Machine::makefile("@echo error: the header is missing\n@false",
                                            Machine::usualInstallation()));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 10);
    QVERIFY2(result.errors.startsWith(
                 "\nThe driver did not compile (make ended with code 2). See whether the kernel "
                 "headers and the driver fit together. The whole output is in "
                 + buildLog.toLatin1() + ".\n"),
             result.errors.constData());
    QVERIFY(exists(tree));
    QVERIFY2(result.errors.contains("\n    | error: the header is missing\n    | make: *** "),
             result.errors.constData());
    QVERIFY2(result.output.contains("\nWhat was written until then:\n  " + buildLog.toLatin1()),
             result.output.constData());
    QVERIFY(result.output.contains("  " + tree.toLatin1() + "  (the unpacked driver)\n"));
    QVERIFY(exists(buildLog));
    QVERIFY(exists(tree));
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
    QVERIFY(isUntouchedBeyondTheDriver());
}

void DriverTest::buildWithoutProduct()
{
    m_machine.writeBundle(Machine::makefile("@echo nothing to do", Machine::usualInstallation()));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 10);
    QVERIFY2(result.errors.startsWith("\nThe compiler run left no ueagle-atm.ko. "),
             result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
}

void DriverTest::installationThatFails()
{
    // Also half-way: the new module is there already, at the old one's place and at another.
    const QByteArray install = "install -D -m 644 ueagle-atm.ko " + Machine::oldModule.toLatin1()
        + "\n" + Machine::usualInstallation() + "\n@echo error: depmod has failed\n@exit 3";
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(), install));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 12);
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY(!exists(Machine::newModule));
    QCOMPARE(readFile(backup), oldContent);
    QVERIFY2(result.errors.startsWith(
                 "\nThe driver could not be installed (make ended with code 2). The earlier driver "
                 "is installed again. The whole output is in "
                 + buildLog.toLatin1() + ".\n"),
             result.errors.constData());
    QVERIFY2(result.errors.contains("\n    | error: depmod has failed\n"),
             result.errors.constData());
    QVERIFY2(result.output.contains("\n    The earlier driver is back, byte for byte: "
                                    + Machine::oldModule.toLatin1() + "\n"),
             result.output.constData());
    QVERIFY2(result.output.contains("\n    Removed " + Machine::newModule.toLatin1()
                                    + ", which the failed installation left.\n"),
             result.output.constData());
    QVERIFY(isUntouchedBeyondTheDriver());
}

void DriverTest::installationThatFailsWithoutAnEarlierDriver()
{
    remove(Machine::oldModule);
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(), Machine::usualInstallation() + "\n@false"));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 12);
    QVERIFY(!exists(Machine::newModule));
    QVERIFY2(result.errors.contains("No driver was installed before."), result.errors.constData());
    QVERIFY2(stage(result, "back up the installed driver")
                 .contains("... skipped: no ueagle-atm.ko is installed\n"),
             result.output.constData());
}

void DriverTest::installationThatReplacesOtherModules()
{
    // The tree builds a helper, too, and the installation brings that and lets depmod run.
    const QString helper = Machine::modules + "/kernel/drivers/usb/atm/usbatm.ko"_s;
    const QString newHelper = Machine::modules + "/extra/usbatm.ko"_s;
    const QString list = Machine::modules + "/modules.dep"_s;
    writeFile(helper, "the old helper\n", 0640);
    writeFile(list, "the old list\n");
    QByteArray install = Machine::usualInstallation();
    for (const QString &place : {helper, newHelper})
        install += "\ninstall -D -m 644 usbatm.ko " + place.toLatin1();
    install += "\nrm " + list.toLatin1() + "\n@false";
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild() + "\necho the new helper >usbatm.ko", install));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 12);
    QCOMPARE(readFile(helper), QByteArray("the old helper\n"));
    QCOMPARE(fileMode(helper), 0640);
    QCOMPARE(readFile(list), QByteArray("the old list\n"));
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY(!exists(newHelper));
    QVERIFY(!exists(Machine::newModule));
    for (const QString &path : {helper, list})
        QVERIFY2(result.output.contains(
                     "\n    The earlier file is back, byte for byte: " + path.toLatin1() + "\n"),
                 result.output.constData());
    QVERIFY2(result.output.contains("\n    Removed " + newHelper.toLatin1()
                                    + ", which the failed installation left.\n"),
             result.output.constData());
    QVERIFY(!result.output.contains("which no backup was made of"));
}

void DriverTest::installationThatChangesMore()
{
    // No backup is made of what is not the driver, so what happened to it must be told.
    const QByteArray other = Machine::modules.toLatin1() + "/kernel/usbatm.ko";
    writeFile(QString::fromLatin1(other), "the old helper\n");
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(), "echo the new one of another size >" + other + "\n@false"));
    const SetupResult failed = m_machine.run();
    QCOMPARE(failed.code, 13);
    QVERIFY2(failed.errors.contains(" The earlier driver is installed again, but there was no "
                                    "backup of what else has changed: "
                                    + other + ". Install the package again "),
             failed.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY2(failed.output.contains("\n    The failed installation changed " + other
                                    + ", which no backup was made of.\n"),
             failed.output.constData());
    QVERIFY(!failed.output.contains("changed " + Machine::oldModule.toLatin1()));

    m_machine.reset();
    writeFile(QString::fromLatin1(other), "the old helper\n");
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(), "rm " + other + "\n@false"));
    QCOMPARE(m_machine.run().code, 13);

    m_machine.reset();
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(),
                                            Machine::usualInstallation()
                                                + "\necho the new one of another size >" + other));
    const SetupResult succeeded = m_machine.run();
    QCOMPARE(succeeded.code, 0);
    QVERIFY2(succeeded.output.contains("\n  " + other + "  (installed with the driver)\n"),
             succeeded.output.constData());
}

void DriverTest::installationThatPretends()
{
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild(), "@echo all is well"));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 12);
    QVERIFY2(result.errors.startsWith("\nmake ended well, but the new ueagle-atm.ko is not in "
                                      "/lib/modules/"),
             result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
}

void DriverTest::installationThatBringsTheOldDriverOnly()
{
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(), "cp " + backup.toLatin1() + " " + Machine::oldModule.toLatin1()));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 12);
    QCOMPARE(readFile(Machine::oldModule), oldContent);
}

void DriverTest::backupThatIsLost()
{
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(), "rm " + backup.toLatin1() + "\n@false"));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 13);
    QVERIFY2(result.errors.startsWith(
                 "\nThe driver could not be installed (make ended with code 2). The earlier driver "
                 "is not back. Copy it by hand: cp "
                 + backup.toLatin1() + " " + Machine::oldModule.toLatin1() + "\n"),
             result.errors.constData());
}

void DriverTest::backupDirectoryThatIsExchanged()
{
    // All was well when it was looked at first.
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild() + "\nmkdir -m 777 /tmp/kestra_drv_backup", "@false"));
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 11);
    QVERIFY2(result.errors.startsWith(
                 "\nSomebody else has put something in the place of /tmp/kestra_drv_backup, where "
                 "the installed driver was to be saved. See who made it, move it away, then start "
                 "again.\n"),
             result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY(listDirectory("/tmp/kestra_drv_backup"_s).isEmpty());
}

void DriverTest::aSecondRunKeepsTheFirstBackup()
{
    QCOMPARE(m_machine.run().code, 0);
    writeFile(Machine::oldModule, "another old driver\n");
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile(Machine::newModule), Machine::source);
    QVERIFY(!exists(Machine::oldModule));
    const QString first = QString(backup).replace(Machine::release, Machine::release + ".1"_s);
    QCOMPARE(readFile(first), oldContent);
    QCOMPARE(readFile(backup), QByteArray("another old driver\n"));
    QVERIFY2(result.output.contains("  /tmp/kestra_drv_backup/" + Machine::release.toLatin1()
                                    + ".1  (backup of an earlier run, renamed)\n"),
             result.output.constData());
}

void DriverTest::backupsAreRemovedWhenAllIsBack()
{
    const QByteArray before = Machine::state();
    QCOMPARE(m_machine.run(driverOnly).code, 0);
    QCOMPARE(m_machine.run(driverOnly).code, 0); // keeps the first one's driver, too
    QCOMPARE(listDirectory("/tmp/kestra_drv_backup"_s).size(), 2);
    undoes(before);
}

void DriverTest::aBackupOfMoreStays()
{
    const QString other = "/tmp/kestra_drv_backup/%1/extra/other.ko"_s.arg(Machine::release);
    QCOMPARE(m_machine.run(driverOnly).code, 0);
    writeFile(other, "is nowhere else");
    QProcess undo;
    Machine::start(undo, {"driver"_s, "restore"_s});
    const SetupResult result = Machine::finish(undo);
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains("The backup /tmp/kestra_drv_backup/"
                                    + Machine::release.toLatin1()
                                    + " stays: not all of it is back.\n"),
             result.output.constData());
    QVERIFY(exists(other));
}

void DriverTest::whatWasInTheTreesPlaceComesBack()
{
    writeFile(tree + "/notes"_s, "mine", 0600);
    const QByteArray before = Machine::state();
    QCOMPARE(m_machine.run(driverOnly).code, 0);
    QVERIFY(!exists(tree));
    undoes(before);
}

void DriverTest::whatTheBundlePutsBesideTheTreeIsUndone()
{
    const QString bundle = Machine::directory + "/bundle"_s;
    writeFile(bundle + "/README"_s, "new");
    writeFile(bundle + "/doc/more"_s, "new");
    writeFile(Machine::directory + "/src/README"_s, "old");
    QCOMPARE(QProcess::execute("tar"_s,
                               {"-C"_s, bundle, "-czf"_s, Machine::directory + "/driver.tar.gz"_s,
                                "ueagle-atm"_s, "README"_s, "doc"_s}),
             0);
    const QByteArray before = Machine::state();
    QCOMPARE(m_machine.run(driverOnly).code, 0);
    QCOMPARE(readFile(Machine::directory + "/src/README"_s), QByteArray("new"));
    undoes(before);
}

void DriverTest::takesTheBundleOfTheCatalogue()
{
    const QString data = Machine::directory + "/data"_s;
    writeFile(data + "/drivers/x.conf"_s,
              "[Driver]\nName=ueagle-atm\nVersion=default\nModems=x\nBundle=b.tgz\n"
              "BundleSource=x\nTree=sub/tree\nModule=x.ko\n"
              "CompileArguments=\"build, K=@KERNEL_HEADERS@\"\nInstallArguments=put\n"
              "MakeEnvironment=\"WHERE=there, K2=@KERNEL_HEADERS@\"\n");
    const QString bundle = Machine::directory + "/bundle"_s;
    writeFile(bundle + "/sub/other/file"_s, "");
    writeFile(bundle + "/sub/tree/Makefile"_s,
              "build:\n\techo $(K) $$K2 >x.ko\nclean:\nput:\n\tinstall -D x.ko "
                  + Machine::modules.toLatin1() + "/$(WHERE)/x.ko\n");
    makeDirectory(data + "/bundles"_s);
    QCOMPARE(
        QProcess::execute("tar"_s, {"-C"_s, bundle, "-czf"_s, data + "/bundles/b.tgz"_s, "sub"_s}),
        0);
    Changes changes = driverOnly;
    changes["--driver-bundle"_s] = QString();
    changes["--data-dir"_s] = data;
    const SetupResult result = m_machine.run(changes);
    QCOMPARE(result.errors, QByteArray());
    QVERIFY2(
        result.output.contains("\n    Taking the bundle " + data.toLatin1() + "/bundles/b.tgz\n"),
        result.output.constData());
    const QByteArray headers = (Machine::directory + "/kernel"_s).toLatin1();
    QCOMPARE(readFile(Machine::modules + "/there/x.ko"_s), headers + " " + headers + "\n");

    // An option says more than the catalogue.
    changes["--module"_s] = "y.ko"_s;
    changes["--compile-arguments"_s] = "build, K=k"_s;
    const SetupResult other = m_machine.run(changes);
    QCOMPARE(other.code, 10);
    QVERIFY2(other.errors.startsWith("\nThe compiler run left no y.ko. "),
             other.errors.constData());
    QVERIFY(readFile(buildLog).contains("echo k $K2 >x.ko"));
}

void DriverTest::extractionPathBelowAnOpenPlace_data()
{
    QTest::addColumn<QString>("path");
    const QString place = Machine::directory + "/place"_s;
    QTest::newRow("sticky, as /tmp") << place + "/src"_s;
    QTest::newRow("through a link of our own") << Machine::directory + "/link/src"_s;
}

/** Others may put something there, but cannot take away what is ours. */
void DriverTest::extractionPathBelowAnOpenPlace()
{
    QFETCH(QString, path);
    const QString place = Machine::directory + "/place"_s;
    makeDirectory(place);
    QCOMPARE(QProcess::execute("chmod"_s, {"1777"_s, place}), 0);
    QVERIFY(QFile::link(place, Machine::directory + "/link"_s));
    const SetupResult result = m_machine.run(Changes {{"--extraction-path"_s, path}});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QVERIFY(exists(place + "/src"_s));
}

void DriverTest::otherNamesAndArguments()
{
    const QString place = Machine::directory + "/elsewhere"_s;
    m_machine.writeBundle("build:\n\tcp source.c $(NAME)\nclean:\nput:\n\tinstall -D $(NAME) "
                          + Machine::modules.toLatin1() + "/$(PLACE)/$(NAME)\n");
    const SetupResult result = m_machine.run(Changes {
        {"--extraction-path"_s, place},
        {"--driver-tree"_s, place + "/ueagle-atm"_s},
        {"--module"_s, "other.ko"_s},
        {"--kernel-headers"_s, QString()},
        {"--compile-arguments"_s, "build, NAME=other.ko"_s},
        {"--install-arguments"_s, "put, NAME=other.ko, PLACE=misc"_s},
    });
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile(Machine::modules + "/misc/other.ko"_s), Machine::source);
    QVERIFY(exists(Machine::oldModule)); // is no other.ko
    QVERIFY(readFile("/etc/kestra/connection.conf"_s).contains("\nMODULE=other\n"));
}

void DriverTest::toolLinesComeAsTheyArePrinted()
{
    m_machine.writeBundle(Machine::makefile("@echo first of two\n@sleep 3\n@echo second of two\n"
                                                + Machine::usualBuild(),
                                            Machine::usualInstallation()));
    QProcess process;
    QByteArray output;
    const QString log = Machine::directory + "/log"_s;
    Machine::start(process, Machine::arguments({{"--verbose"_s, "-"_s}, {"--log"_s, log}}));
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QVERIFY(Machine::waitForOutput(process, output, "\n    | first of two\n"));
    QElapsedTimer time;
    time.start();
    QVERIFY(Machine::waitForOutput(process, output, "\n    | second of two\n"));
    QVERIFY2(time.elapsed() > 1500, qPrintable(QString::number(time.elapsed())));
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 0);

    // The log holds the same, with times, for root alone, and neither of them the password.
    const QByteArray logged = readFile(log);
    QVERIFY(QRegularExpression("^\\d\\d:\\d\\d:\\d\\d     \\| second of two$"_s,
                               QRegularExpression::MultilineOption)
                .match(QString::fromLatin1(logged))
                .hasMatch());
    QVERIFY(logged.contains("compile the driver ... done ("));
    QCOMPARE(fileMode(log), 0600);
    QVERIFY(!logged.contains(Machine::password));
    QVERIFY(!result.everything().contains(Machine::password));
    // The library's own messages are shown, too, each on a line of its own.
    QVERIFY(result.output.contains("\n    - Compiler::compileDriver(): starting the process.\n"));
}

void DriverTest::interruptedWhileCompiling()
{
    m_machine.writeBundle(Machine::makefile("@echo building\n@sleep 2\n" + Machine::usualBuild(),
                                            Machine::usualInstallation()));
    // As a terminal does: the signal goes to every process of the group.
    QProcess process;
    QByteArray output;
    process.start("setsid"_s,
                  QStringList(Machine::program) + Machine::arguments({{"--verbose"_s, "-"_s}}));
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QVERIFY(Machine::waitForOutput(process, output, "\n    | building\n"));
    QCOMPARE(::kill(-pid_t(process.processId()), SIGINT), 0);
    const SetupResult result = Machine::finish(process, output);
    QVERIFY2(result.output.contains("\n    Interrupted: stopping as soon as make (process "),
             result.output.constData());
    QVERIFY2(result.output.contains("] compile the driver ... done ("), result.output.constData());
    QVERIFY2(result.errors.contains("The set-up was interrupted."), result.errors.constData());
    QCOMPARE(result.code, 130);
    QCOMPARE(readFile(tree + "/ueagle-atm.ko"_s), Machine::source);
    QCOMPARE(readFile(Machine::oldModule), oldContent);
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
    QVERIFY(isUntouchedBeyondTheDriver());
}

/** The earlier driver has been taken away by then: the machine must not be left without any. */
void DriverTest::interruptedWhileBackingUp()
{
    QFile module(Machine::oldModule);
    QVERIFY(module.resize(qint64(256) << 20)); // so that the stage takes its time
    QProcess process;
    QByteArray output;
    Machine::start(process, Machine::arguments());
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QTRY_VERIFY_WITH_TIMEOUT(exists(backup), 60000); // it writes a quarter of a gigabyte
    QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
    const SetupResult result = Machine::finish(process, output);
    QVERIFY2(result.output.contains("] back up the installed driver ... done ("),
             result.output.constData());
    QVERIFY2(result.output.contains("\n    Interrupted: stopping after this stage, or there would "
                                    "be no driver.\n"),
             result.output.constData());
    QCOMPARE(result.code, 130);
    QCOMPARE(readFile(Machine::newModule), Machine::source);
    QCOMPARE(QFileInfo(backup).size(), qint64(256) << 20);
    QVERIFY(isUntouchedBeyondTheDriver());
}

KESTRA_TEST_MAIN(DriverTest)
#include "drivertest.moc"
