// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "../packages/packagetesting.h"
#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <csignal>

using namespace KestraTest;

namespace {

const QString repository = "/media/repository"_s; // one that apt's own user can read
const QString lock = "/var/lib/dpkg/lock-frontend"_s;
const QString zypperLock = "/run/zypp.pid"_s;
const QString ownData = "/tmp/data"_s;

const QStringList withData = {"--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY)};

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

/** Asks for these packages, of apt unless another manager is named. */
QStringList check(const QString &packages, const QString &manager = "apt"_s)
{
    return {"packages"_s,          "check"_s, "--json"_s,         "--packages"_s, packages,
            "--package-manager"_s, manager,   "--lock-timeout"_s, "1"_s};
}

QStringList install(const QString &packages, const QString &manager = "apt"_s)
{
    return {"packages"_s,          "install"_s, "--packages"_s,     packages,
            "--package-manager"_s, manager,     "--lock-timeout"_s, "1"_s};
}

QStringList unattended(const QStringList &arguments)
{
    return arguments + QStringList("--unattended"_s);
}

/** The packages of an answer as "NAME STATE". */
QStringList states(const QJsonObject &answer)
{
    QStringList result;
    for (const QJsonValue &package : answer["packages"_s].toArray())
        result.append(package["name"_s].toString() + QLatin1Char(' ')
                      + package["state"_s].toString());
    return result;
}

/** The packages of an answer as "NAME (PURPOSE)". */
QStringList purposes(const QJsonObject &answer)
{
    QStringList result;
    for (const QJsonValue &package : answer["packages"_s].toArray())
        result.append("%1 (%2)"_s.arg(package["name"_s].toString(), package["for"_s].toString()));
    return result;
}

QString reason(const QJsonObject &answer, int index)
{
    return answer["packages"_s].toArray().at(index).toObject()["reason"_s].toString();
}

QJsonValue error(const QJsonObject &answer, const QString &key)
{
    return answer["error"_s].toObject()[key];
}

/** Lets apt know no other source than this line. */
void useSource(const QByteArray &line)
{
    remove("/etc/apt/sources.list.d"_s);
    makeDirectory("/etc/apt/sources.list.d"_s);
    writeFile("/etc/apt/sources.list"_s, line + '\n');
}

void indexRepository()
{
    writeFile(repository + "/Packages"_s,
              runTool("dpkg-scanpackages"_s, {"-m"_s, "."_s}, repository));
    runTool("apt-get"_s, {"update"_s});
}

void useRepository(const QStringList &packages, const QByteArray &method = "file")
{
    remove(repository);
    makeDirectory(repository);
    for (const QString &package : packages)
        makeDeb(repository, package);
    useSource("deb [trusted=yes] " + method + ":" + repository.toLatin1() + " ./");
    indexRepository();
}

bool isInstalledByDpkg(const QString &name)
{
    QProcess dpkg;
    dpkg.start("dpkg-query"_s, {"-W"_s, "-f"_s, "${db:Status-Status}"_s, name});
    dpkg.waitForFinished();
    return dpkg.readAllStandardOutput() == "installed";
}

void installByDpkg(const QString &name)
{
    const QTemporaryDir directory;
    runTool("dpkg"_s, {"-i"_s, makeDeb(directory.path(), name)});
}

/** Makes /media/disc a repository of zypper's with these packages, the only one. */
void useZypperRepository(const QStringList &packages)
{
    for (const char *path : {"/media/disc", "/etc/zypp/repos.d", "/var/cache/zypp", "/var/lib/rpm"})
        remove(QString::fromLatin1(path));
    makeDirectory("/var/lib/rpm"_s); // or zypper would take rpm's own database
    makeDirectory("/media/disc"_s);
    const QTemporaryDir directory;
    for (const QString &package : packages)
        QFile::copy(makeRpm(directory.path(), package), "/media/disc/%1.rpm"_s.arg(package));
    runTool("createrepo_c"_s, {"/media/disc"_s});
    runTool("zypper"_s, {"ar"_s, "/media/disc"_s, "disc"_s});
}

/** A process that keeps the lock of dpkg. */
class LockHolder
{
public:
    LockHolder()
    {
        m_process.start(helperProgram("lockholder"), {lock});
        m_process.waitForReadyRead();
    }

    QByteArray name() const
    {
        return "lockholder (process " + QByteArray::number(m_process.processId()) + ")";
    }

    void release()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
};

}

/** The commands for packages, with the real package tools where they are to succeed. */
class PackageCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { m_machine.reset(); }

    void checkTellsOfEachPackage();
    void checkForAPerson();
    void checkSucceedsWhenAllIsThere();
    void aNameIsNotTheBeginningOfAnother();
    void aPatternIsNoName();
    void aVirtualPackageIsNone();
    void packagesThatExcludeEachOther();
    void needsOfDriverAndProtocol();
    void needsOfTheModemThatIsPluggedIn();
    void needsOfTheConnection();
    void needsOfZypper();
    void ownBridgeNeedsNoOther();
    void unknownDriver();
    void dataAtFault_data();
    void dataAtFault();

    void installsAndUndoes();
    void undoOfNothingTellsOfPackages();
    void fullDisk();
    void noNetwork();
    void licence();
    void brokenTool_data();
    void brokenTool();
    void listingThatIsNotTold();

    void lockIsAskedFor_data();
    void lockIsAskedFor();
    void lockIsWaitedForByChoice();
    void lockIsTriedAgainByChoice();
    void nobodyAnswersAboutTheLock();
    void checkNeedsNoLockOfApt();

    void zypperTellsOfEachPackage();
    void zypperInstallsAndUndoes();
    void zypperIsBusy();

    void needsRoot();

private:
    Machine m_machine;
};

void PackageCommandsTest::initTestCase()
{
    const QByteArray reason = obstacle(
        {"dpkg", "apt-get", "dpkg-scanpackages", "zypper", "rpm", "rpmbuild", "createrepo_c"});
    if (!reason.isEmpty())
        QSKIP(reason.constData());
    writeFile("/root/.rpmmacros"_s, "%_dbpath /var/lib/rpm\n");
    qputenv("HOME", "/root");
}

void PackageCommandsTest::checkTellsOfEachPackage()
{
    useRepository({"kestra-repo"_s});
    installByDpkg("kestra-there"_s);
    const SetupResult result = run(check("kestra-there,kestra-repo,kestra-nothing"_s));
    QCOMPARE(result.code, 14);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(states(json(result)),
             QStringList({"kestra-there installed"_s, "kestra-repo available"_s,
                          "kestra-nothing unavailable"_s}));
    const QJsonObject answer = json(result);
    QCOMPARE(answer["package_manager"_s].toString(), "apt"_s);
    QCOMPARE(reason(answer, 2), "The package sources do not know a package that is needed."_s);
    QCOMPARE(error(answer, "code"_s).toInt(), 14);
    QCOMPARE(error(answer, "message"_s).toString(),
             "Not installed: kestra-repo, kestra-nothing. Cannot be had: kestra-nothing."_s);
    QVERIFY(error(answer, "next_step"_s).toString().startsWith("Refresh the package lists"_s));
    QVERIFY(!isInstalledByDpkg("kestra-repo"_s));
    QVERIFY(!exists("/var/lib/kestra"_s));
}

void PackageCommandsTest::checkForAPerson()
{
    useRepository({"kestra-repo"_s});
    QStringList arguments = check("kestra-repo"_s);
    arguments.removeAll("--json"_s);
    const SetupResult result = run(arguments);
    QCOMPARE(result.code, 14);
    QCOMPARE(result.output,
             QByteArray("kestra-repo               can be installed (for --packages)\n"));
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: Not installed: kestra-repo. kestra-setup packages install "
                        "installs them.\n"));
}

void PackageCommandsTest::checkSucceedsWhenAllIsThere()
{
    installByDpkg("kestra-there"_s);
    const SetupResult result = run(check("kestra-there"_s));
    QCOMPARE(result.code, 0);
    QCOMPARE(states(json(result)), QStringList("kestra-there installed"_s));
    QVERIFY(!json(result).contains("error"_s));
}

void PackageCommandsTest::aNameIsNotTheBeginningOfAnother()
{
    useRepository({"kestra-the"_s});
    installByDpkg("kestra-there"_s);
    QCOMPARE(states(json(run(check("kestra-the"_s)))), QStringList("kestra-the available"_s));
}

void PackageCommandsTest::aPatternIsNoName()
{
    useRepository({"kestra-repo"_s});
    const SetupResult result = run(check("kestra.repo"_s));
    QCOMPARE(states(json(result)), QStringList("kestra.repo unavailable"_s));
    QCOMPARE(reason(json(result), 0), "The package sources do not know kestra.repo."_s);
    QCOMPARE(run(unattended(install("kestra.repo"_s))).code, 14);
    QVERIFY(!isInstalledByDpkg("kestra-repo"_s));
}

void PackageCommandsTest::aVirtualPackageIsNone()
{
    remove(repository);
    makeDirectory(repository);
    makeDeb(repository, "kestra-real"_s, QString(), "Provides: kestra-virtual\n");
    useSource("deb [trusted=yes] file:" + repository.toLatin1() + " ./");
    indexRepository();
    QCOMPARE(states(json(run(check("kestra-virtual"_s)))),
             QStringList("kestra-virtual unavailable"_s));
}

void PackageCommandsTest::packagesThatExcludeEachOther()
{
    useRepository({"kestra-one"_s});
    makeDeb(repository, "kestra-two"_s, QString(), "Conflicts: kestra-one\n");
    indexRepository();
    const SetupResult result = run(check("kestra-one,kestra-two"_s));
    QCOMPARE(result.code, 14);
    QCOMPARE(states(json(result)),
             QStringList({"kestra-one available"_s, "kestra-two available"_s}));
    QVERIFY2(error(json(result), "message"_s)
                 .toString()
                 .contains("They cannot be had together: A package needs others"_s),
             result.output.constData());
}

void PackageCommandsTest::needsOfDriverAndProtocol()
{
    const SetupResult result =
        run(QStringList {"packages"_s, "check"_s, "--json"_s, "--driver"_s, "speedtch"_s,
                         "--protocol"_s, "pppoe"_s, "--package-manager"_s, "apt"_s}
            + withData);
    const QString driver = " (driver speedtch)"_s;
    QCOMPARE(purposes(json(result)),
             QStringList({"make"_s + driver, "gcc"_s + driver, "patch"_s + driver,
                          "kmod"_s + driver, "linux-headers-"_s + Machine::release + driver,
                          "ppp (pppoe)"_s, "br2684ctl (pppoe)"_s}));
    QCOMPARE(json(result)["driver"_s].toString(), "speedtch"_s);
    QCOMPARE(json(result)["protocols"_s].toArray(), QJsonArray({"pppoe"_s}));
    QCOMPARE(result.errors, QByteArray());
}

void PackageCommandsTest::needsOfTheModemThatIsPluggedIn()
{
    const QStringList arguments =
        QStringList {"packages"_s, "check"_s, "--json"_s, "--package-manager"_s, "apt"_s}
        + withData;
    const SetupResult without = run(arguments);
    QCOMPARE(purposes(json(without)), QStringList({"ppp (pppoa)"_s, "br2684ctl (pppoe)"_s}));
    QCOMPARE(without.errors,
             QByteArray("No supported modem is plugged in. With --driver, what builds its driver "
                        "is looked at, too.\n"));
    m_machine.hal.addDevice(
        "/org/freedesktop/Hal/devices/modem"_s,
        {{"usb_device.vendor_id"_s, 0x1110}, {"usb_device.product_id"_s, 0x9041}},
        {"usb_device"_s});
    const SetupResult with = run(arguments);
    m_machine.hal.removeDevice("/org/freedesktop/Hal/devices/modem"_s);
    QCOMPARE(json(with)["driver"_s].toString(), "ueagle-atm"_s);
    QVERIFY(purposes(json(with)).contains("make (driver ueagle-atm)"_s));
}

void PackageCommandsTest::needsOfTheConnection()
{
    writeFile("/etc/kestra/connection.conf"_s, "DRIVER=cxacru\nPROTOCOL=pppoa\nVPI=8\n");
    const QStringList arguments =
        QStringList {"packages"_s, "check"_s, "--json"_s, "--package-manager"_s, "apt"_s}
        + withData;
    QCOMPARE(json(run(arguments))["protocols"_s].toArray(), QJsonArray({"pppoa"_s}));
    QCOMPARE(
        json(run(arguments + QStringList {"--protocol"_s, "pppoe"_s}))["protocols"_s].toArray(),
        QJsonArray({"pppoe"_s}));
}

void PackageCommandsTest::needsOfZypper()
{
    useZypperRepository({});
    const SetupResult result = run(QStringList {"packages"_s, "check"_s, "--json"_s, "--driver"_s,
                                                "cxacru"_s, "--package-manager"_s, "zypper"_s}
                                   + withData);
    QVERIFY(purposes(json(result)).contains("kernel-default-devel (driver cxacru)"_s));
    QVERIFY(purposes(json(result)).contains("linux-atm (pppoe)"_s));
}

void PackageCommandsTest::ownBridgeNeedsNoOther()
{
    const SetupResult result =
        run(QStringList {"packages"_s, "check"_s, "--json"_s, "--driver"_s, "unicorn"_s,
                         "--protocol"_s, "pppoe"_s, "--package-manager"_s, "apt"_s}
            + withData);
    QVERIFY(purposes(json(result)).contains("ppp (pppoa)"_s));
    QVERIFY(!result.output.contains("br2684ctl"));
}

void PackageCommandsTest::unknownDriver()
{
    const SetupResult result =
        run(QStringList {"packages"_s, "check"_s, "--driver"_s, "neutrino"_s} + withData);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: The driver catalogue has no driver \"neutrino\". It has "
                        "cxacru, speedtch, ueagle-atm, unicorn.\n"));
}

void PackageCommandsTest::dataAtFault_data()
{
    QTest::addColumn<QByteArray>("table");
    QTest::addColumn<QByteArray>("sentence");
    QTest::newRow("no table") << QByteArray()
                              << QByteArray("There is no table of packages in "
                                            "/tmp/data/packages.conf.");
    QTest::newRow("no section") << QByteArray("[pppoa]\nPackagesApt=ppp\n")
                                << QByteArray("/tmp/data/packages.conf has no PackagesApt in its "
                                              "section pppoe.");
    QTest::newRow("an option")
        << QByteArray("[pppoa]\nPackagesApt=-oDir=/tmp\n[pppoe]\nPackagesApt=ppp\n")
        << QByteArray("The data of kestra-setup has a package \"-oDir=/tmp\", which is no name of "
                      "a package.");
}

void PackageCommandsTest::dataAtFault()
{
    QFETCH(QByteArray, table);
    QFETCH(QByteArray, sentence);
    remove(ownData);
    makeDirectory(ownData);
    if (!table.isEmpty())
        writeFile(ownData + "/packages.conf"_s, table);
    for (const char *command : {"check", "install"}) {
        const SetupResult result = run({"packages"_s, QString::fromLatin1(command), "--data-dir"_s,
                                        ownData, "--package-manager"_s, "apt"_s});
        QCOMPARE(result.code, 6);
        QVERIFY2(result.errors.contains(sentence), result.errors.constData());
    }
}

void PackageCommandsTest::installsAndUndoes()
{
    useRepository({"kestra-repo"_s, "kestra-other"_s});
    installByDpkg("kestra-there"_s);
    const SetupResult result = run(unattended(install("kestra-there,kestra-repo,kestra-other"_s)));
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QVERIFY(isInstalledByDpkg("kestra-repo"_s) && isInstalledByDpkg("kestra-other"_s));
    QCOMPARE(run(check("kestra-repo,kestra-other"_s)).code, 0);

    QCOMPARE(run({"undo"_s, "--packages"_s}).code, 0);
    QVERIFY(!isInstalledByDpkg("kestra-repo"_s) && !isInstalledByDpkg("kestra-other"_s));
    QVERIFY(isInstalledByDpkg("kestra-there"_s));
}

void PackageCommandsTest::undoOfNothingTellsOfPackages()
{
    useRepository({"kestra-repo"_s});
    QCOMPARE(run(unattended(install("kestra-repo"_s))).code, 0);
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output,
             QByteArray("There is nothing to undo.\nThe packages kestra-repo stay; undo --packages "
                        "removes them.\n"));
    QCOMPARE(run({"undo"_s, "--packages"_s}).code, 0);
}

void PackageCommandsTest::fullDisk()
{
    useRepository({"kestra-repo"_s}, "copy");
    const QString cache = "/var/cache/apt/archives"_s;
    runTool("mount"_s, {"-t"_s, "tmpfs"_s, "-o"_s, "size=4k"_s, "tmpfs"_s, cache});
    QProcess::execute("sh"_s, {"-c"_s, "head -c 4096 /dev/zero >"_s + cache + "/filler"_s});
    const SetupResult result = run(unattended(install("kestra-repo"_s)));
    runTool("umount"_s, {cache});
    QCOMPARE(result.code, 14);
    QVERIFY2(result.errors.startsWith("\nThe disk is full. Free some space, then start again.\n"),
             result.everything().constData());
    QVERIFY(!isInstalledByDpkg("kestra-repo"_s));
    QVERIFY(!exists("/var/lib/kestra/before.json"_s));
}

/** The lists know the package; who has it is not there. */
void PackageCommandsTest::noNetwork()
{
    useRepository({"kestra-repo"_s});
    useSource("deb [trusted=yes] http://127.0.0.1:9/ ./");
    writeFile("/var/lib/apt/lists/127.0.0.1:9_._Packages"_s, readFile(repository + "/Packages"_s));
    QCOMPARE(states(json(run(check("kestra-repo"_s)))), QStringList("kestra-repo available"_s));
    const SetupResult result = run(unattended(install("kestra-repo"_s)));
    QCOMPARE(result.code, 14);
    QVERIFY2(result.errors.startsWith("\nThe packages could not be downloaded. Connect to the "
                                      "network in another way, or add an installation disc with "
                                      "kestra-setup disc add.\n"),
             result.everything().constData());
}

void PackageCommandsTest::licence()
{
    const QTemporaryDir directory;
    const QString tree = directory.filePath("tree"_s);
    remove(repository);
    makeDirectory(repository);
    writeFile(tree + "/DEBIAN/control"_s,
              "Package: kestra-eula\nVersion: 1\nArchitecture: all\n"
              "Maintainer: The libkestra developers <kestra@example.org>\n"
              "Description: Package for tests\n");
    writeFile(tree + "/DEBIAN/preinst"_s,
              "#!/bin/sh\n[ \"$DEBIAN_FRONTEND\" != noninteractive ] && exit 0\n"
              "echo 'You did not accept the licence of kestra-eula' >&2\nexit 2\n",
              0755);
    runTool("dpkg-deb"_s, {"--root-owner-group"_s, "-b"_s, tree, repository + "/eula.deb"_s});
    useSource("deb [trusted=yes] file:" + repository.toLatin1() + " ./");
    indexRepository();
    const SetupResult result = run(unattended(install("kestra-eula"_s)));
    QCOMPARE(result.code, 14);
    QVERIFY2(result.errors.startsWith("\nA package asks for consent to its licence, which only you "
                                      "can give. Install it by hand, then start again.\n"),
             result.everything().constData());
    QVERIFY(!isInstalledByDpkg("kestra-eula"_s));
}

void PackageCommandsTest::brokenTool_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<int>("signal");
    QTest::addColumn<QByteArray>("sentence");
    QTest::newRow("killed at once")
        << QByteArray() << SIGKILL << QByteArray("apt-get gives no answer, or was stopped.");
    QTest::newRow("killed in between")
        << QByteArray("echo Reading package lists...") << SIGKILL
        << QByteArray("These packages cannot be had: kestra-repo (the package tools ended with "
                      "code 9).");
}

void PackageCommandsTest::brokenTool()
{
    QFETCH(QByteArray, script);
    QFETCH(int, signal);
    QFETCH(QByteArray, sentence);
    StandInTool aptGet("apt-get");
    StandInTool::Behaviour behaviour;
    behaviour.script = script;
    behaviour.signal = signal;
    aptGet.setBehaviour(behaviour);
    const SetupResult result = run(unattended(install("kestra-repo"_s)));
    QCOMPARE(result.code, 14);
    QVERIFY2(result.errors.startsWith('\n' + sentence), result.everything().constData());
    QCOMPARE(aptGet.calls().size(), 1);
    const SetupResult checked = run(check("kestra-repo"_s));
    QCOMPARE(checked.code, 14);
    QCOMPARE(states(json(checked)), QStringList("kestra-repo unavailable"_s));
}

void PackageCommandsTest::listingThatIsNotTold()
{
    StandInTool dpkg("dpkg");
    StandInTool aptGet("apt-get");
    StandInTool::Behaviour behaviour;
    behaviour.signal = SIGKILL;
    dpkg.setBehaviour(behaviour);
    for (const QStringList &arguments :
         {check("kestra-repo"_s), unattended(install("kestra-repo"_s))}) {
        const SetupResult result = run(arguments);
        QCOMPARE(result.code, 14);
        QVERIFY2(result.everything().contains("dpkg does not tell which packages are installed."),
                 result.everything().constData());
    }
    QVERIFY(aptGet.calls().isEmpty());
}

void PackageCommandsTest::lockIsAskedFor_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("give up") << QByteArray("give up\n");
    QTest::newRow("by number") << QByteArray("3\n");
    QTest::newRow("tried in vain") << QByteArray("try again\ngive up\n");
    QTest::newRow("waited in vain") << QByteArray("wait\ngive up\n");
}

void PackageCommandsTest::lockIsAskedFor()
{
    QFETCH(QByteArray, answer);
    useRepository({"kestra-repo"_s});
    LockHolder holder;
    QProcess process;
    QByteArray output;
    Machine::start(process, install("kestra-repo"_s));
    QVERIFY2(
        Machine::waitForOutput(process, output,
                               "The package system is locked by " + holder.name() + ". What now"),
        output.constData());
    process.write(answer);
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 15);
    QCOMPARE(result.errors,
             "\nThe package system is locked by " + holder.name()
                 + ". Let it end or stop it, then start again.\n");
    QVERIFY(!isInstalledByDpkg("kestra-repo"_s));
}

void PackageCommandsTest::lockIsWaitedForByChoice()
{
    useRepository({"kestra-repo"_s});
    LockHolder holder;
    QProcess process;
    QByteArray output;
    QStringList arguments = install("kestra-repo"_s);
    arguments.last() = "60"_s;
    Machine::start(process, arguments);
    QVERIFY(Machine::waitForOutput(process, output, "What now"));
    process.write("wait\n");
    QVERIFY(Machine::waitForOutput(
        process, output, "Waiting for the package system, which is locked by " + holder.name()));
    QTest::qWait(1500);
    QVERIFY(!isInstalledByDpkg("kestra-repo"_s));
    holder.release();
    QCOMPARE(Machine::finish(process, output).code, 0);
    QVERIFY(isInstalledByDpkg("kestra-repo"_s));
    QCOMPARE(run({"undo"_s, "--packages"_s}).code, 0);
}

void PackageCommandsTest::lockIsTriedAgainByChoice()
{
    useRepository({"kestra-repo"_s});
    LockHolder holder;
    QProcess process;
    QByteArray output;
    Machine::start(process, install("kestra-repo"_s));
    QVERIFY(Machine::waitForOutput(process, output, "What now"));
    holder.release();
    process.write("try again\n");
    QCOMPARE(Machine::finish(process, output).code, 0);
    QVERIFY(isInstalledByDpkg("kestra-repo"_s));
    QCOMPARE(run({"undo"_s, "--packages"_s}).code, 0);
}

void PackageCommandsTest::nobodyAnswersAboutTheLock()
{
    useRepository({"kestra-repo"_s});
    const LockHolder holder;
    QProcess process;
    Machine::start(process, install("kestra-repo"_s));
    process.closeWriteChannel();
    QCOMPARE(Machine::finish(process).code, 15);
}

void PackageCommandsTest::checkNeedsNoLockOfApt()
{
    useRepository({"kestra-repo"_s});
    const LockHolder holder;
    QCOMPARE(states(json(run(check("kestra-repo"_s)))), QStringList("kestra-repo available"_s));
}

void PackageCommandsTest::zypperTellsOfEachPackage()
{
    useZypperRepository({"kestra-probe"_s, "kestra-two"_s});
    runTool("zypper"_s, {"--non-interactive"_s, "--no-gpg-checks"_s, "install"_s, "kestra-two"_s});
    const SetupResult result = run(check("kestra-two,kestra-probe,kestra-nothing"_s, "zypper"_s));
    QCOMPARE(result.code, 14);
    QCOMPARE(states(json(result)),
             QStringList({"kestra-two installed"_s, "kestra-probe available"_s,
                          "kestra-nothing unavailable"_s}));
    QCOMPARE(reason(json(result), 2),
             "The package sources do not know a package that is needed."_s);
}

void PackageCommandsTest::zypperInstallsAndUndoes()
{
    useZypperRepository({"kestra-probe"_s});
    const SetupResult result = run(unattended(install("kestra-probe"_s, "zypper"_s)));
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(run(check("kestra-probe"_s, "zypper"_s)).code, 0);
    QCOMPARE(run(unattended(install("kestra-nothing"_s, "zypper"_s))).code, 14);
    QCOMPARE(run({"undo"_s, "--packages"_s}).code, 0);
    QCOMPARE(run(check("kestra-probe"_s, "zypper"_s)).code, 14);
}

void PackageCommandsTest::zypperIsBusy()
{
    useZypperRepository({"kestra-probe"_s});
    QProcess holder;
    holder.start("sleep"_s, {"1000"_s});
    holder.waitForStarted();
    writeFile(zypperLock, QByteArray::number(holder.processId()));
    const SetupResult installed = run(unattended(install("kestra-probe"_s, "zypper"_s)));
    const SetupResult checked = run(check("kestra-probe"_s, "zypper"_s));
    holder.kill();
    holder.waitForFinished();
    remove(zypperLock);
    const QByteArray sentence =
        "The package system is locked by sleep (process " + QByteArray::number(holder.processId());
    QCOMPARE(installed.code, 15);
    QCOMPARE(checked.code, 15);
    QVERIFY(installed.errors.contains("The package system is locked by sleep (process "));
    QVERIFY(checked.output.contains("The package system is locked by sleep (process "));
}

void PackageCommandsTest::needsRoot()
{
    useRepository({"kestra-repo"_s});
    const auto asNobody = [](const QStringList &arguments) {
        QProcess process;
        process.start("setpriv"_s,
                      QStringList {"--reuid=65534"_s, "--clear-groups"_s, Machine::program}
                          + arguments);
        process.waitForFinished();
        return process.exitCode();
    };
    QCOMPARE(asNobody(unattended(install("kestra-repo"_s))), 3);
    QCOMPARE(asNobody(check("kestra-repo"_s)), 14); // looking is for everybody
}

KESTRA_TEST_MAIN(PackageCommandsTest)
#include "packagecommandstest.moc"
