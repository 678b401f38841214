// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "../packages/packagetesting.h"
#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace KestraTest;

namespace {

const QString mountPoint = "/media/cdrom"_s;
const QString sources = "/etc/apt/sources.list"_s;
const QString content = "/tmp/content"_s; ///< of the discs that are made
const QByteArray oldSources = "# mine\n";

SetupResult run(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments);
    return Machine::finish(process);
}

QJsonObject json(const SetupResult &result)
{
    return QJsonDocument::fromJson(result.output).object();
}

QJsonObject discAt(const SetupResult &result, int index)
{
    return json(result)["discs"_s].toArray().at(index).toObject();
}

QByteArray message(const SetupResult &result)
{
    return json(result)["error"_s].toObject()["message"_s].toString().toUtf8();
}

QString udiOf(const QString &name) { return "/org/freedesktop/Hal/devices/"_s + name; }

QString imageOf(const QString &name) { return "/tmp/discs/%1.img"_s.arg(name); }

/** Makes an image of the content; mount(8) finds a loop device for it by itself. */
void makeImage(const QString &name)
{
    makeDirectory("/tmp/discs"_s);
    runTool("mke2fs"_s, {"-q"_s, "-F"_s, "-d"_s, content, imageOf(name), "4M"_s});
}

void makeDebianDisc(const QString &name)
{
    remove(content);
    makeDirectory(content + "/pool"_s);
    makeDeb(content + "/pool"_s, "kestra-disc"_s);
    writeFile(content + "/.disk/info"_s, "Kestra disc 1\n");
    const QByteArray index = runTool("dpkg-scanpackages"_s, {"-m"_s, "pool"_s}, content);
    const QString architecture =
        QString::fromLatin1(runTool("dpkg"_s, {"--print-architecture"_s}).trimmed());
    for (const QString &kind : {"all"_s, architecture})
        writeFile(content + "/dists/stable/main/binary-%1/Packages"_s.arg(kind), index);
    makeImage(name);
}

void makeSuseDisc(const QString &name, const QByteArray &products)
{
    remove(content);
    makeDirectory(content);
    const QString package = makeRpm("/tmp/rpm"_s, "kestra-probe"_s);
    QFile::copy(package, content + "/kestra-probe.rpm"_s);
    runTool("createrepo_c"_s, {content});
    if (!products.isEmpty())
        writeFile(content + "/media.1/products"_s, products);
    makeImage(name);
}

void makeOtherDisc(const QString &name)
{
    remove(content);
    writeFile(content + "/music.txt"_s, "la la la\n");
    makeImage(name);
}

bool isInstalledByDpkg(const QString &name)
{
    QProcess dpkg;
    dpkg.start("dpkg-query"_s, {"-W"_s, "-f"_s, "${db:Status-Status}"_s, name});
    dpkg.waitForFinished();
    return dpkg.readAllStandardOutput() == "installed";
}

bool isMounted() { return QProcess::execute("mountpoint"_s, {"-q"_s, mountPoint}) == 0; }

/** What tells apt and zypper of their sources. */
QByteArray sourcesState()
{
    return runTool("sh"_s,
                   {"-c"_s,
                    "find /etc/apt /etc/zypp/repos.d /var/lib/apt/lists -type f -printf '%p %m\\n' "
                    "| sort; cat /etc/apt/sources.list "
                    "/etc/zypp/repos.d/*.repo 2>/dev/null || true"_s});
}

}

/** Installation discs; the hardware service is a stand-in, the discs are images. */
class DiscTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void lists();
    void listsForAPerson();
    void listOfNobodysService();
    void noDisc();
    void looksIntoNothingWithoutRoot();

    void addsForApt();
    void undoLeavesEditedSourcesAlone();
    void addsTwice();
    void addsForZypper_data();
    void addsForZypper();
    void enablesForZypper();
    void refuses_data();
    void refuses();
    void cannotBeMounted();
    void anotherIsMounted();
    void theLockIsHeeded();

    void ejects();
    void isNotEjected();

    void offeredWhenPackagesCannotBeHad();
    void offerIsDeclined_data();
    void offerIsDeclined();
    void uselessDiscIsOfferedAgain();
    void unattendedIsOfferedNone();

private:
    void insert(const QString &name, const QString &label = "Kestra disc"_s);

    Machine m_machine;
    QStringList m_inserted;
};

void DiscTest::initTestCase()
{
    const QByteArray reason =
        obstacle({"apt-get", "apt-cdrom", "dpkg-scanpackages", "mke2fs", "zypper", "createrepo_c"});
    if (!reason.isEmpty())
        QSKIP(reason.constData());
    makeOtherDisc("probe"_s);
    makeDirectory("/mnt/probe"_s);
    if (QProcess::execute("mount"_s, {imageOf("probe"_s), "/mnt/probe"_s}) != 0)
        QSKIP("no loop device");
    runTool("umount"_s, {"/mnt/probe"_s});
    writeFile("/root/.rpmmacros"_s, "%_dbpath /var/lib/rpm\n");
    qputenv("HOME", "/root");
}

void DiscTest::init()
{
    m_machine.reset();
    for (const char *path : {"/etc/apt/sources.list.d", "/etc/zypp/repos.d", "/var/cache/zypp",
                             "/var/lib/rpm", "/tmp/discs", "/var/lib/apt/cdroms.list"})
        remove(QString::fromLatin1(path));
    makeDirectory("/etc/apt/sources.list.d"_s);
    makeDirectory("/etc/zypp/repos.d"_s);
    makeDirectory("/var/lib/rpm"_s);
    writeFile(sources, oldSources);
}

void DiscTest::cleanup()
{
    for (const QString &name : std::as_const(m_inserted))
        m_machine.hal.removeDevice(udiOf(name));
    m_inserted.clear();
    if (isMounted())
        runTool("umount"_s, {mountPoint});
    if (isInstalledByDpkg("kestra-disc"_s))
        runTool("dpkg"_s, {"-P"_s, "kestra-disc"_s});
}

void DiscTest::insert(const QString &name, const QString &label)
{
    m_machine.hal.addDevice(udiOf(name),
                            {{"block.device"_s, imageOf(name)},
                             {"volume.label"_s, label},
                             {"volume.is_disc"_s, true},
                             {"volume.is_mounted"_s, false},
                             {"volume.mount_point"_s, QString()}},
                            {"volume.disc"_s});
    m_inserted.append(name);
}

void DiscTest::lists()
{
    makeDebianDisc("debian"_s);
    makeOtherDisc("music"_s);
    insert("debian"_s);
    insert("music"_s, QString());
    const SetupResult result =
        run({"disc"_s, "list"_s, "--json"_s, "--package-manager"_s, "apt"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.errors, QByteArray());
    const QJsonObject expected = {{"label"_s, "Kestra disc"_s}, {"device"_s, imageOf("debian"_s)},
                                  {"udi"_s, udiOf("debian"_s)}, {"mounted"_s, false},
                                  {"mount_point"_s, QString()}, {"holds_packages"_s, true}};
    QCOMPARE(discAt(result, 0), expected);
    QCOMPARE(discAt(result, 1)["holds_packages"_s], QJsonValue(false));
    // What is one distribution's is not the other's.
    QCOMPARE(discAt(run({"disc"_s, "list"_s, "--json"_s, "--package-manager"_s, "zypper"_s}),
                    0)["holds_packages"_s],
             QJsonValue(false));
    QVERIFY(!readFile("/proc/self/mounts"_s).contains("/run/kestra-setup"));
}

void DiscTest::listsForAPerson()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s, "Kestra\x1b[31m disc"_s);
    makeDirectory(mountPoint);
    runTool("mount"_s, {imageOf("debian"_s), mountPoint});
    m_machine.hal.setProperty(udiOf("debian"_s), "volume.mount_point"_s, mountPoint);
    const SetupResult result = run({"disc"_s, "list"_s, "--package-manager"_s, "apt"_s});
    QCOMPARE(result.output,
             QByteArray("/tmp/discs/debian.img  Kestra disc  (mounted at /media/cdrom, holds "
                        "packages)\n"));
}

void DiscTest::listOfNobodysService()
{
    m_machine.hal.stop();
    const SetupResult result = run({"disc"_s, "list"_s});
    m_machine.hal.start();
    QCOMPARE(result.code, 5);
    QVERIFY2(result.errors.startsWith("kestra-setup: The hardware service "),
             result.errors.constData());
}

void DiscTest::noDisc()
{
    for (const char *command : {"list", "add", "eject"}) {
        const SetupResult result = run({"disc"_s, QString::fromLatin1(command)});
        QCOMPARE(result.code, 26);
        QCOMPARE(result.errors,
                 QByteArray("kestra-setup: There is no disc in a drive. Insert one, then start "
                            "again.\n"));
    }
}

void DiscTest::looksIntoNothingWithoutRoot()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    const auto asNobody = [](const QStringList &arguments) {
        QProcess process;
        process.start("setpriv"_s,
                      QStringList {"--reuid=65534"_s, "--clear-groups"_s, Machine::program}
                          + arguments);
        return Machine::finish(process);
    };
    const SetupResult result = asNobody({"disc"_s, "list"_s, "--json"_s});
    QCOMPARE(result.code, 0);
    QVERIFY(discAt(result, 0)["holds_packages"_s].isNull());
    QCOMPARE(asNobody({"disc"_s, "add"_s}).code, 3);
    QCOMPARE(asNobody({"disc"_s, "eject"_s}).code, 3);
}

void DiscTest::addsForApt()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    const QByteArray before = sourcesState();
    const SetupResult result =
        run({"disc"_s, "add"_s, udiOf("debian"_s), "--json"_s, "--package-manager"_s, "apt"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(json(result)["disc"_s].toObject()["label"_s].toString(), "Kestra disc"_s);
    QVERIFY(readFile(sources).contains("deb cdrom:[Kestra disc 1]/ stable main"));
    QVERIFY(sourcesState().contains("binary-all_Packages"));

    const SetupResult installed = run({"packages"_s, "install"_s, "--unattended"_s, "--packages"_s,
                                       "kestra-disc"_s, "--package-manager"_s, "apt"_s});
    QVERIFY2(installed.code == 0, installed.everything().constData());
    QVERIFY(isInstalledByDpkg("kestra-disc"_s));

    const SetupResult undone = run({"undo"_s, "--packages"_s});
    QVERIFY2(undone.code == 0, undone.everything().constData());
    QCOMPARE(sourcesState(), before);
    QVERIFY(!exists("/var/lib/apt/cdroms.list"_s));
    QVERIFY(!isInstalledByDpkg("kestra-disc"_s));
}

void DiscTest::undoLeavesEditedSourcesAlone()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    QCOMPARE(run({"disc"_s, "add"_s, "--package-manager"_s, "apt"_s}).code, 0);
    const QByteArray edited = readFile(sources) + "# and mine\n";
    writeFile(sources, edited);
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 22);
    QVERIFY(result.output.contains("changed after the set-up: /etc/apt/sources.list\n"));
    QCOMPARE(readFile(sources), edited);
    QCOMPARE(run({"undo"_s, "--force"_s}).code, 0);
    QCOMPARE(readFile(sources), oldSources);
}

void DiscTest::addsTwice()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    QCOMPARE(run({"disc"_s, "add"_s, "--package-manager"_s, "apt"_s}).code, 0);
    m_machine.hal.setProperty(udiOf("debian"_s), "volume.mount_point"_s, mountPoint);
    const SetupResult again = run({"disc"_s, "add"_s, "--package-manager"_s, "apt"_s});
    QVERIFY2(again.code == 0, again.everything().constData());
    QCOMPARE(readFile(sources).count("deb cdrom:"), 1);
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(readFile(sources), oldSources);
}

void DiscTest::addsForZypper_data()
{
    QTest::addColumn<QByteArray>("products");
    QTest::addColumn<QByteArray>("alias");
    QTest::newRow("list of products")
        << QByteArray("/ Kestra Linux 1\n") << QByteArray("[Kestra Linux 1]\n");
    QTest::newRow("without a list") << QByteArray() << QByteArray("[Kestra disc]\n");
}

void DiscTest::addsForZypper()
{
    QFETCH(QByteArray, products);
    QFETCH(QByteArray, alias);
    makeSuseDisc("suse"_s, products);
    insert("suse"_s);
    const QByteArray before = sourcesState();
    const SetupResult result =
        run({"disc"_s, "add"_s, imageOf("suse"_s), "--package-manager"_s, "zypper"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(result.output,
             QByteArray("A source of packages now: the disc \"Kestra disc\" in "
                        "/tmp/discs/suse.img\n"));
    QVERIFY2(sourcesState().contains(alias), sourcesState().constData());
    const SetupResult installed = run({"packages"_s, "install"_s, "--unattended"_s, "--packages"_s,
                                       "kestra-probe"_s, "--package-manager"_s, "zypper"_s});
    QVERIFY2(installed.code == 0, installed.everything().constData());
    const SetupResult undone = run({"undo"_s, "--packages"_s});
    QVERIFY2(undone.code == 0, undone.everything().constData());
    QCOMPARE(sourcesState(), before);
}

void DiscTest::enablesForZypper()
{
    makeSuseDisc("suse"_s, "/ Kestra Linux 1\n");
    insert("suse"_s);
    const QString file = "/etc/zypp/repos.d/mine.repo"_s;
    writeFile(file, "[Kestra Linux 1]\nenabled=0\nautorefresh=0\nbaseurl=dir:/media/cdrom\n");
    QCOMPARE(run({"disc"_s, "add"_s, "--package-manager"_s, "zypper"_s}).code, 0);
    QVERIFY2(readFile(file).contains("enabled=1"), readFile(file).constData());
    QCOMPARE(run({"undo"_s}).code, 0);
    QVERIFY(readFile(file).contains("enabled=0"));
}

void DiscTest::refuses_data()
{
    QTest::addColumn<QStringList>("discs");
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("sentence");
    QTest::newRow("no packages") << QStringList("music"_s) << QString() << 26
                                 << QByteArray("There are no packages for apt on the disc \"Kestra "
                                               "disc\" in /tmp/discs/music.img.");
    QTest::newRow("which one") << QStringList({"music"_s, "debian"_s}) << QString() << 2
                               << QByteArray("There is more than one disc: in "
                                             "/tmp/discs/music.img, /tmp/discs/debian.img.");
    QTest::newRow("not there") << QStringList("music"_s) << "/dev/sr\x1b[31m7"_s << 26
                               << QByteArray("There is no disc in /dev/sr7.");
}

void DiscTest::refuses()
{
    QFETCH(QStringList, discs);
    QFETCH(QString, wanted);
    QFETCH(int, code);
    QFETCH(QByteArray, sentence);
    makeOtherDisc("music"_s);
    for (const QString &disc : std::as_const(discs))
        insert(disc);
    QStringList arguments = {"disc"_s, "add"_s, "--json"_s, "--package-manager"_s, "apt"_s};
    if (!wanted.isEmpty())
        arguments.append(wanted);
    const SetupResult result = run(arguments);
    QCOMPARE(result.code, code);
    QCOMPARE(message(result), sentence);
    QCOMPARE(readFile(sources), oldSources);
    QVERIFY(!isMounted());
    QVERIFY(!exists("/var/lib/kestra/before.json"_s));
}

void DiscTest::cannotBeMounted()
{
    makeDirectory("/tmp/discs"_s);
    writeFile(imageOf("scratched"_s), QByteArray(65536, 'x'));
    insert("scratched"_s);
    const SetupResult result = run({"disc"_s, "add"_s, "--json"_s, "--package-manager"_s, "apt"_s});
    QCOMPARE(result.code, 26);
    QCOMPARE(message(result),
             QByteArray("The disc \"Kestra disc\" in /tmp/discs/scratched.img could not be mounted "
                        "at /media/cdrom."));
    const SetupResult list = run({"disc"_s, "list"_s, "--json"_s, "--package-manager"_s, "apt"_s});
    QCOMPARE(list.code, 0);
    QVERIFY(discAt(list, 0)["holds_packages"_s].isNull());
}

void DiscTest::anotherIsMounted()
{
    makeDebianDisc("debian"_s);
    makeOtherDisc("music"_s);
    makeDirectory(mountPoint);
    runTool("mount"_s, {imageOf("music"_s), mountPoint});
    insert("debian"_s);
    const SetupResult result = run({"disc"_s, "add"_s, "--json"_s, "--package-manager"_s, "apt"_s});
    QCOMPARE(result.code, 26);
    QCOMPARE(message(result), QByteArray("Another disc is mounted at /media/cdrom."));
    QVERIFY(isMounted());
}

void DiscTest::theLockIsHeeded()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    QProcess holder;
    holder.start(helperProgram("lockholder"), {"/var/lib/dpkg/lock-frontend"_s});
    holder.waitForReadyRead();
    const SetupResult result =
        run({"disc"_s, "add"_s, "--package-manager"_s, "apt"_s, "--lock-timeout"_s, "1"_s});
    holder.closeWriteChannel();
    holder.waitForFinished();
    QCOMPARE(result.code, 15);
    QVERIFY(!isMounted());
}

void DiscTest::ejects()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    makeDirectory(mountPoint);
    runTool("mount"_s, {imageOf("debian"_s), mountPoint});
    m_machine.hal.setProperty(udiOf("debian"_s), "volume.mount_point"_s, mountPoint);
    StandInTool tool("eject");
    const SetupResult result = run({"disc"_s, "eject"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             QByteArray("Ejected: the disc \"Kestra disc\" in /tmp/discs/debian.img\n"));
    QCOMPARE(tool.argumentsOfCalls(), QList<QStringList>({{imageOf("debian"_s)}}));
    QVERIFY(!isMounted());
}

/** The real tool knows that this is no drive. */
void DiscTest::isNotEjected()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    const SetupResult result = run({"disc"_s, "eject"_s, "--json"_s});
    QCOMPARE(result.code, 26);
    QCOMPARE(message(result),
             QByteArray("The disc \"Kestra disc\" in /tmp/discs/debian.img could not be ejected."));
}

void DiscTest::offeredWhenPackagesCannotBeHad()
{
    makeDebianDisc("debian"_s);
    QProcess process;
    QByteArray output;
    Machine::start(process,
                   {"packages"_s, "install"_s, "--packages"_s, "kestra-disc"_s,
                    "--package-manager"_s, "apt"_s});
    QVERIFY2(Machine::waitForOutput(process, output, "Insert the installation disc. What now"),
             output.constData());
    insert("debian"_s);
    process.write("again\n");
    QVERIFY2(Machine::waitForOutput(process, output, "Which disc is the installation disc"),
             output.constData());
    process.write("1\n");
    const SetupResult result = Machine::finish(process, output);
    QVERIFY2(result.code == 0, result.everything().constData());
    QVERIFY(isInstalledByDpkg("kestra-disc"_s));
    QVERIFY2(result.output.contains("An installation disc may have them."),
             result.output.constData());
    QVERIFY2(result.output.contains("/etc/apt/sources.list  (source of packages: the disc "
                                    "\"Kestra disc\" in /tmp/discs/debian.img)"),
             result.output.constData());
    QCOMPARE(run({"undo"_s, "--packages"_s}).code, 0);
    QCOMPARE(readFile(sources), oldSources);
}

void DiscTest::offerIsDeclined_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("given up") << QByteArray("give up\n");
    QTest::newRow("end of input") << QByteArray();
}

void DiscTest::offerIsDeclined()
{
    QFETCH(QByteArray, answer);
    QProcess process;
    QByteArray output;
    Machine::start(process,
                   {"packages"_s, "install"_s, "--packages"_s, "kestra-disc"_s,
                    "--package-manager"_s, "apt"_s});
    QVERIFY(Machine::waitForOutput(process, output, "What now"));
    process.write(answer);
    process.closeWriteChannel();
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 14);
    QVERIFY2(result.errors.contains("The package sources do not know a package that is needed."),
             result.errors.constData());
}

void DiscTest::uselessDiscIsOfferedAgain()
{
    makeOtherDisc("music"_s);
    insert("music"_s, "Music"_s);
    QProcess process;
    QByteArray output;
    Machine::start(process,
                   {"packages"_s, "install"_s, "--packages"_s, "kestra-disc"_s,
                    "--package-manager"_s, "apt"_s});
    QVERIFY(Machine::waitForOutput(process, output, "Which disc is the installation disc"));
    process.write("Music\n");
    QVERIFY2(Machine::waitForOutput(process, output, "There are no packages for apt on the disc"),
             output.constData());
    process.write("give up\n");
    QCOMPARE(Machine::finish(process, output).code, 14);
    QVERIFY(!isMounted());
}

void DiscTest::unattendedIsOfferedNone()
{
    makeDebianDisc("debian"_s);
    insert("debian"_s);
    const SetupResult result = run({"packages"_s, "install"_s, "--unattended"_s, "--packages"_s,
                                    "kestra-disc"_s, "--package-manager"_s, "apt"_s});
    QCOMPARE(result.code, 14);
    QVERIFY(!isMounted());
}

KESTRA_TEST_MAIN(DiscTest)
#include "disctest.moc"
