// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString disc = "/tmp/disc"_s;
const QString place = "/lib/firmware"_s;
const QString one = place + "/cxacru-fw.bin"_s;
const QByteArray content = "what the modem runs\n";

SetupResult run(QStringList arguments)
{
    QProcess process;
    arguments << "--data-dir"_s << QStringLiteral(KESTRA_DATA_DIRECTORY);
    Machine::start(process, arguments);
    return Machine::finish(process, {}, 20000);
}

SetupResult install(const QString &driver, const QStringList &sources)
{
    return run(QStringList {"firmware"_s, "install"_s, "--driver"_s, driver} + sources);
}

void giveAway(const QString &path)
{
    if (::lchown(QFile::encodeName(path).constData(), 65534, 65534) != 0)
        QSKIP("there is no other user in this user namespace");
}

}

/** Firmware comes from anywhere, and lands where the kernel looks for it. */
class FirmwareTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void statusChangesNothing_data();
    void statusChangesNothing();
    void installsFromADirectory();
    void namesOfDiscs();
    void revisionsOfTheModem();
    void theLikestNameIsTaken();
    void installsFromAFile();
    void installsFromAnArchive();
    void takesTheModemThatIsPluggedIn();
    void noModem();
    void whatWasThereComesBack();
    void whatIsThereAlreadyStays();
    void aLinkInThePlaceIsReplaced();
    void isFoundWhereTheKernelLooks_data();
    void isFoundWhereTheKernelLooks();
    void whatIsNotTaken_data();
    void whatIsNotTaken();
    void linksToDirectoriesAreNotFollowed();
    void aDiskThatIsFull();
    void aPlaceThatIsOpenToOthers();
    void unusableSources_data();
    void unusableSources();
    void aDriverWithoutFirmware();
    void answersInJson();
    void needsRoot();
};

void FirmwareTest::init()
{
    for (const QString &path : {disc, place, "/var/lib/kestra"_s, "/tmp/stray"_s})
        remove(path);
    makeDirectory(disc);
    makeDirectory(place);
}

void FirmwareTest::statusChangesNothing_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("check") << "check"_s;
    QTest::newRow("install from nowhere") << "install"_s;
}

void FirmwareTest::statusChangesNothing()
{
    QFETCH(QString, command);
    writeFile(one, "x");
    const SetupResult result = run({"firmware"_s, command, "--driver"_s, "cxacru"_s});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             QByteArray("cxacru, in /lib/firmware:\n  cxacru-fw.bin: there already\n"
                        "  cxacru-bp.bin: not found\n"
                        "Only some modems need cxacru-bp.bin. Debian has no package of it; it is "
                        "in the driver package on the manufacturer's disc.\n"));
    QCOMPARE(listTree(place), QStringList("cxacru-fw.bin"_s));
    QVERIFY(!exists("/var/lib/kestra"_s));
}

void FirmwareTest::installsFromADirectory()
{
    writeFile(disc + "/some/where/ueagle-atm/eagleIV.fw"_s, content, 0600);
    writeFile(disc + "/DSPep.bin"_s, "dsp", 0777);
    giveAway(disc + "/DSPep.bin"_s);
    const SetupResult result = install("ueagle-atm"_s, {disc});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains("\n  ueagle-atm/eagleIV.fw: installed from "
                                    "/tmp/disc/some/where/ueagle-atm/eagleIV.fw\n"),
             result.output.constData());
    QVERIFY(result.output.contains("\n  ueagle-atm/adi930.fw: not found\n"));
    QVERIFY(result.output.contains("Debian's package firmware-misc-nonfree"));
    QVERIFY(result.output.endsWith("when it is plugged in anew.\n"));
    QCOMPARE(listTree(place),
             QStringList({"ueagle-atm/"_s, "ueagle-atm/DSPep.bin"_s, "ueagle-atm/eagleIV.fw"_s}));
    for (const char *name : {"/ueagle-atm/DSPep.bin", "/ueagle-atm/eagleIV.fw"}) {
        struct stat status = {};
        QCOMPARE(::stat(qPrintable(place + QLatin1String(name)), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), 0644);
        QCOMPARE(int(status.st_uid), 0);
        QCOMPARE(int(status.st_gid), 0);
    }
    QCOMPARE(readFile(place + "/ueagle-atm/eagleIV.fw"_s), content);
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(listTree(place), QStringList());
}

void FirmwareTest::namesOfDiscs()
{
    writeFile(disc + "/DRIVER/CXACRU-FW.BIN"_s, content);
    QCOMPARE(install("cxacru"_s, {"--from"_s, disc}).code, 0);
    QCOMPARE(readFile(one), content);
    QCOMPARE(listTree(place), QStringList("cxacru-fw.bin"_s));
}

void FirmwareTest::revisionsOfTheModem()
{
    writeFile(disc + "/speedtch-1.bin.4.02"_s, content);
    writeFile(disc + "/speedtch-2.bin.0"_s, content);
    writeFile(disc + "/speedtch-2.bin.bak"_s, content);
    QCOMPARE(install("speedtch"_s, {disc}).code, 0);
    QCOMPARE(listTree(place), QStringList({"speedtch-1.bin.4.02"_s, "speedtch-2.bin.0"_s}));
}

void FirmwareTest::theLikestNameIsTaken()
{
    writeFile(disc + "/a/ADI930.FW"_s, "another case");
    writeFile(disc + "/b/adi930.fw"_s, "another directory");
    writeFile(disc + "/c/ueagle-atm/adi930.fw"_s, content);
    writeFile(disc + "/d/adi930.fw"_s, "another directory");
    QCOMPARE(install("ueagle-atm"_s, {disc}).code, 0);
    QCOMPARE(readFile(place + "/ueagle-atm/adi930.fw"_s), content);
}

void FirmwareTest::installsFromAFile()
{
    writeFile(disc + "/cxacru-fw.bin"_s, content);
    writeFile(disc + "/cxacru-bp.bin"_s, "bp");
    writeFile(disc + "/other/CXACRU-BP.BIN"_s, "other");
    QCOMPARE(install("cxacru"_s, {disc + "/cxacru-fw.bin"_s}).code, 0);
    QCOMPARE(listTree(place), QStringList("cxacru-fw.bin"_s));
    QCOMPARE(install("cxacru"_s, {disc + "/cxacru-fw.bin"_s, disc + "/other"_s}).code, 0);
    QCOMPARE(readFile(place + "/cxacru-bp.bin"_s), QByteArray("other"));
}

void FirmwareTest::installsFromAnArchive()
{
    writeFile(disc + "/in/CXACRU-FW.BIN"_s, content);
    QCOMPARE(QProcess::execute("tar"_s, {"-C"_s, disc, "-czf"_s, disc + "/all.tar.gz"_s, "in"_s}),
             0);
    const SetupResult result = install("cxacru"_s, {disc + "/all.tar.gz"_s});
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(
                 "  cxacru-fw.bin: installed from /tmp/disc/all.tar.gz/in/CXACRU-FW.BIN\n"),
             result.output.constData());
    QCOMPARE(readFile(one), content);
}

void FirmwareTest::takesTheModemThatIsPluggedIn()
{
    FakeHal hal;
    hal.addDevice("/org/freedesktop/Hal/devices/modem"_s,
                  {{"usb_device.vendor_id"_s, 0x6b9}, {"usb_device.product_id"_s, 0x4061}},
                  {"usb_device"_s});
    const SetupResult result = run({"firmware"_s, "check"_s});
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.startsWith("speedtch, in /lib/firmware:\n  speedtch-1.bin: not found\n"),
             result.output.constData());
}

void FirmwareTest::noModem()
{
    FakeHal hal;
    const SetupResult result = run({"firmware"_s, "install"_s, disc});
    QCOMPARE(result.code, 4);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: No supported modem is plugged in. Plug it in, or name its "
                        "driver with --driver; kestra-setup drivers lists them.\n"));
}

void FirmwareTest::whatWasThereComesBack()
{
    writeFile(one, "of the distribution", 0640);
    QCOMPARE(::chown(qPrintable(one), 7, 8), 0);
    writeFile(disc + "/cxacru-fw.bin"_s, content);
    const SetupResult result = install("cxacru"_s, {disc});
    QCOMPARE(result.code, 0);
    QVERIFY(result.output.contains("  cxacru-fw.bin: replaced by /tmp/disc/cxacru-fw.bin\n"));
    QCOMPARE(fileMode(one), 0644);
    QCOMPARE(run({"driver"_s, "restore"_s}).code, 0);
    QCOMPARE(readFile(one), QByteArray("of the distribution"));
    struct stat status = {};
    QCOMPARE(::stat(qPrintable(one), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0640);
    QCOMPARE(int(status.st_uid), 7);
    QCOMPARE(int(status.st_gid), 8);
}

void FirmwareTest::whatIsThereAlreadyStays()
{
    writeFile(one, content, 0640);
    writeFile(disc + "/cxacru-fw.bin"_s, content);
    const SetupResult result = install("cxacru"_s, {disc});
    QCOMPARE(result.code, 0);
    QVERIFY(result.output.contains("  cxacru-fw.bin: there already\n"));
    QCOMPARE(fileMode(one), 0640);
    QVERIFY(run({"undo"_s}).output.contains("There is nothing to undo.\n"));
}

void FirmwareTest::aLinkInThePlaceIsReplaced()
{
    writeFile("/tmp/stray"_s, "of somebody");
    QVERIFY(QFile::link("/tmp/stray"_s, one));
    writeFile(disc + "/cxacru-fw.bin"_s, content);
    QCOMPARE(install("cxacru"_s, {disc}).code, 0);
    QCOMPARE(readFile("/tmp/stray"_s), QByteArray("of somebody"));
    QVERIFY(linkTarget(one).isEmpty());
    QCOMPARE(readFile(one), content);
    QCOMPARE(run({"driver"_s, "restore"_s}).code, 0);
    QCOMPARE(linkTarget(one), "/tmp/stray"_s);
}

void FirmwareTest::isFoundWhereTheKernelLooks_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("compressed") << "cxacru-fw.bin.xz"_s;
    QTest::newRow("updates") << "updates/cxacru-fw.bin"_s;
    QTest::newRow("of the kernel") << Machine::release + "/cxacru-fw.bin.zst"_s;
}

void FirmwareTest::isFoundWhereTheKernelLooks()
{
    QFETCH(QString, name);
    writeFile(place + "/"_s + name, "");
    QVERIFY(run({"firmware"_s, "check"_s, "--driver"_s, "cxacru"_s})
                .output.contains("  cxacru-fw.bin: there already\n"));
}

void FirmwareTest::whatIsNotTaken_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QByteArray>("fault");
    QTest::newRow("link") << "ln -s /etc/shadow cxacru-fw.bin"_s
                          << QByteArray("is a link or cannot be read");
    QTest::newRow("pipe") << "mkfifo cxacru-fw.bin"_s << QByteArray("is no regular file");
    QTest::newRow("empty") << "touch cxacru-fw.bin"_s << QByteArray("is empty");
    QTest::newRow("large") << "truncate -s 16777217 cxacru-fw.bin"_s
                           << QByteArray("is larger than 16 MiB");
    QTest::newRow("another's file")
        << "echo secret >/tmp/stray; ln /tmp/stray cxacru-fw.bin; chown 65534 ."_s
        << QByteArray("is another name for a file of somebody else");
}

void FirmwareTest::whatIsNotTaken()
{
    QFETCH(QString, script);
    QFETCH(QByteArray, fault);
    QCOMPARE(QProcess::execute("sh"_s, {"-c"_s, "cd /tmp/disc; "_s + script}), 0);
    const SetupResult result = install("cxacru"_s, {disc});
    QCOMPARE(result.code, 27);
    QVERIFY2(result.output.contains("Not taken: /tmp/disc/cxacru-fw.bin " + fault + ".\n"),
             result.output.constData());
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: There is no firmware of the modem in /tmp/disc. See above "
                        "which files are needed, and where they come from.\n"));
    QCOMPARE(listTree(place), QStringList());
}

void FirmwareTest::linksToDirectoriesAreNotFollowed()
{
    writeFile("/tmp/stray/cxacru-fw.bin"_s, content);
    QVERIFY(QFile::link("/tmp/stray"_s, disc + "/link"_s));
    QCOMPARE(install("cxacru"_s, {disc}).code, 27);
    QCOMPARE(listTree(place), QStringList());
    // What the user names is meant.
    QCOMPARE(install("cxacru"_s, {disc + "/link"_s}).code, 0);
}

void FirmwareTest::aDiskThatIsFull()
{
    writeFile(disc + "/cxacru-fw.bin"_s, QByteArray(100000, 'f'));
    QCOMPARE(QProcess::execute(
                 "mount"_s, {"-t"_s, "tmpfs"_s, "-o"_s, "size=16k,mode=755"_s, "tmpfs"_s, place}),
             0);
    writeFile(one, "of the distribution");
    const SetupResult result = install("cxacru"_s, {disc});
    const QStringList left = listTree(place);
    const QByteArray now = readFile(one);
    const SetupResult undo = run({"undo"_s});
    QCOMPARE(QProcess::execute("umount"_s, {"-l"_s, place}), 0);
    QCOMPARE(result.code, 27);
    QVERIFY2(result.output.contains("  cxacru-fw.bin: not installed. /lib/firmware/cxacru-fw.bin "
                                    "could not be written: "),
             result.output.constData());
    QCOMPARE(left, QStringList("cxacru-fw.bin"_s));
    QCOMPARE(now, QByteArray("of the distribution"));
    QCOMPARE(undo.code, 0);
}

void FirmwareTest::aPlaceThatIsOpenToOthers()
{
    makeDirectory(place + "/ueagle-atm"_s);
    QCOMPARE(QProcess::execute("chmod"_s, {"0777"_s, place + "/ueagle-atm"_s}), 0);
    writeFile(disc + "/adi930.fw"_s, content);
    const SetupResult result = install("ueagle-atm"_s, {disc});
    QCOMPARE(result.code, 27);
    QVERIFY2(result.output.contains("  ueagle-atm/adi930.fw: not installed. Others than root can "
                                    "write to /lib/firmware/ueagle-atm.\n"),
             result.output.constData());
    QCOMPARE(listTree(place), QStringList("ueagle-atm/"_s));
}

void FirmwareTest::unusableSources_data()
{
    QTest::addColumn<QString>("script"); ///< makes "source"
    QTest::addColumn<QByteArray>("fault");
    QTest::newRow("missing") << "true"_s << QByteArray("does not exist or cannot be read");
    QTest::newRow("pipe") << "mkfifo source"_s << QByteArray("is neither a file nor a directory");
    QTest::newRow("no archive")
        << "echo x >source"_s
        << QByteArray("has not the name of a firmware file, and as an archive it is no tar archive "
                      "that can be read to its end");
    QTest::newRow("hostile archive")
        << "ln -s /etc l; tar -cf source l"_s
        << QByteArray("has not the name of a firmware file, and as an archive it has a link that "
                      "leads outside its directory (l to /etc)");
}

void FirmwareTest::unusableSources()
{
    QFETCH(QString, script);
    QFETCH(QByteArray, fault);
    QCOMPARE(QProcess::execute("sh"_s, {"-c"_s, "cd /tmp/disc; "_s + script}), 0);
    const SetupResult result = install("cxacru"_s, {disc + "/source"_s});
    QCOMPARE(result.code, 27);
    QCOMPARE(result.errors,
             "kestra-setup: /tmp/disc/source " + fault
                 + ". Give the directory or the disc that has the firmware, one of its files or an "
                   "archive of them.\n");
    QCOMPARE(listTree(place), QStringList());
}

void FirmwareTest::aDriverWithoutFirmware()
{
    const SetupResult result = run({"firmware"_s, "check"_s, "--driver"_s, "unicorn"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             QByteArray("unicorn: kestra-setup knows of no firmware that this driver loads.\n"));
    QCOMPARE(install("nonsense"_s, {disc}).code, 2);
}

void FirmwareTest::answersInJson()
{
    writeFile(disc + "/cxacru-fw.bin"_s, content);
    const SetupResult result = install("cxacru"_s, {disc, "--json"_s});
    const QJsonValue driver =
        QJsonDocument::fromJson(result.output).object()["drivers"_s].toArray().first();
    QCOMPARE(driver["driver"_s].toString(), "cxacru"_s);
    const QJsonArray expected = {QJsonObject {{"name"_s, "cxacru-fw.bin"_s},
                                              {"state"_s, "installed"_s},
                                              {"source"_s, "/tmp/disc/cxacru-fw.bin"_s}},
                                 QJsonObject {{"name"_s, "cxacru-bp.bin"_s},
                                              {"state"_s, "missing"_s},
                                              {"source"_s, QString()}}};
    QCOMPARE(driver["files"_s].toArray(), expected);
    QVERIFY(driver["firmware_source"_s].toString().startsWith("Debian has no package"_s));
}

void FirmwareTest::needsRoot()
{
    QProcess process;
    process.start("setpriv"_s,
                  {"--reuid=65534"_s, "--clear-groups"_s, Machine::program, "firmware"_s,
                   "install"_s, "--driver"_s, "cxacru"_s, "--data-dir"_s,
                   QStringLiteral(KESTRA_DATA_DIRECTORY), disc});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
}

KESTRA_TEST_MAIN(FirmwareTest)

#include "firmwaretest.moc"
