// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString store = "/var/lib/kestra"_s;
const QString resolver = "/etc/resolv.conf"_s;
const QString chapSecrets = "/etc/ppp/chap-secrets"_s;

SetupResult run(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments);
    return Machine::finish(process);
}

/** Everything below these directories, but for what nobody can take back. */
QByteArray manifest()
{
    QProcess find;
    find.start("sh"_s,
               {"-c"_s,
                "find /etc /lib/modules/ /tmp/machine/src /usr/src/kestra"
                " ! -name 'modules.*'" // depmod's lists
                " '(' -printf '%p %y %m %U %G %l\\n' , -type f -exec sha256sum {} + ')'"
                " 2>/dev/null | LC_ALL=C sort"_s});
    find.waitForFinished();
    return find.readAllStandardOutput();
}

QByteArrayList differences(const QByteArray &before, const QByteArray &after)
{
    const QByteArrayList old = before.split('\n');
    const QByteArrayList now = after.split('\n');
    const QSet<QByteArray> oldSet(old.begin(), old.end());
    const QSet<QByteArray> nowSet(now.begin(), now.end());
    QByteArrayList result;
    for (const QByteArray &line : old) {
        if (!nowSet.contains(line))
            result.append("- " + line);
    }
    for (const QByteArray &line : now) {
        if (!oldSet.contains(line))
            result.append("+ " + line);
    }
    return result;
}

}

/** What a set-up has done is taken back by another process. */
class UndoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void everythingIsAsBefore();
    void linkedResolverIsALinkAgain();
    void danglingResolverIsDanglingAgain();
    void secretsOfOthersComeBack();
    void firstSetUpCounts();
    void twiceIsHarmless();
    void undoOfNothing();
    void editedFileIsLeftAlone();
    void editedFileIsUndoneByForce();
    void removedFileComesBackByForce();
    void editBetweenTwoSetUpsIsNotOurs();
    void partsAreUndoneAlone_data();
    void partsAreUndoneAlone();
    void failedSetUpIsUndone();
    void failedSetUpHasNoClaimOnTheRest();
    void failedInstallationIsUndone();
    void backupOfAFailedInstallationGoes();
    void directoriesOnTheWayAreRemoved();
    void killedSetUpIsUndone();
    void killLinksOfTheDependencyComeBack();
    void storeIsForRootAlone();
    void oldSecretsDoNotStayForever();
    void storeOfOthersIsRefused();
    void storeThatCannotBeWrittenStopsTheSetUp();
    void damagedStoreIsSaid();
    void answersInJson();
    void statusTellsOfFiles();
    void needsRoot();

private:
    void setUp(const QMap<QString, QString> &changes = {});

    Machine machine;
};

void UndoTest::init()
{
    machine.reset();
    remove(resolver);
    writeFile(resolver, "# mine\nnameserver 198.51.100.1\n");
}

void UndoTest::setUp(const QMap<QString, QString> &changes)
{
    const SetupResult result = machine.run(changes);
    QVERIFY2(result.code == 0, result.everything().constData());
}

void UndoTest::everythingIsAsBefore()
{
    writeFile(chapSecrets, "other * secret *\n", 0640);
    const QByteArray before = manifest();
    setUp();
    QVERIFY(!differences(before, manifest()).isEmpty());

    const SetupResult result = run({"undo"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
    QVERIFY(result.output.contains("As before again: /etc/ppp/chap-secrets\n"));
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    QVERIFY(!exists(Machine::newModule));
}

void UndoTest::linkedResolverIsALinkAgain()
{
    const QString target = "/run/resolver/resolv.conf"_s;
    makeDirectory("/run/resolver"_s);
    writeFile(target, "nameserver 198.51.100.2\n");
    remove(resolver);
    QVERIFY(QFile::link(target, resolver));
    setUp();
    QCOMPARE(readFile(target), QByteArray("nameserver 192.0.2.1\nnameserver 192.0.2.2\n"));
    QCOMPARE(run({"dns"_s, "restore"_s}).code, 0);
    QCOMPARE(linkTarget(resolver), target);
    QCOMPARE(readFile(target), QByteArray("nameserver 198.51.100.2\n"));
    QVERIFY(!exists("/etc/resolv.conf_kestra"_s));
}

void UndoTest::danglingResolverIsDanglingAgain()
{
    const QString target = "/run/resolver-to-be"_s;
    remove(resolver);
    remove(target);
    QVERIFY(QFile::link(target, resolver));
    const SetupResult result = machine.run();
    QVERIFY2(result.code == 0 || result.code == 21, result.everything().constData());
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(linkTarget(resolver), target);
    QVERIFY(!exists(target));
}

void UndoTest::secretsOfOthersComeBack()
{
    writeFile(chapSecrets, "other * secret *\n", 0640);
    QCOMPARE(::chown("/etc/ppp/chap-secrets", 7, 8), 0);
    setUp();
    QVERIFY(!readFile(chapSecrets).contains("other"));
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(readFile(chapSecrets), QByteArray("other * secret *\n"));
    struct stat status = {};
    QCOMPARE(::stat("/etc/ppp/chap-secrets", &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0640);
    QCOMPARE(int(status.st_uid), 7);
    QCOMPARE(int(status.st_gid), 8);
}

void UndoTest::firstSetUpCounts()
{
    const QByteArray before = manifest();
    setUp();
    setUp({{"--service"_s, "Example PPPoE"_s}, {"--sequence"_s, "33"_s}});
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
}

void UndoTest::twiceIsHarmless()
{
    setUp();
    QCOMPARE(run({"undo"_s}).code, 0);
    const QByteArray once = manifest();
    const SetupResult again = run({"undo"_s});
    QCOMPARE(again.code, 0);
    QCOMPARE(again.output, QByteArray("There is nothing to undo.\n"));
    QCOMPARE(differences(once, manifest()).join('\n'), QByteArray());
}

void UndoTest::undoOfNothing()
{
    const QByteArray before = manifest();
    QCOMPARE(run({"undo"_s}).output, QByteArray("There is nothing to undo.\n"));
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
    QVERIFY(!exists(store));
}

void UndoTest::editedFileIsLeftAlone()
{
    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 22);
    QVERIFY(result.output.contains(
        "Left alone, as it was changed after the set-up: /etc/resolv.conf\n"));
    QVERIFY(result.errors.contains("Use --force"));
    QCOMPARE(readFile(resolver), QByteArray("nameserver 203.0.113.1\n"));
    QVERIFY(!exists("/etc/ppp/peers/kestra"_s));
}

void UndoTest::editedFileIsUndoneByForce()
{
    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    QCOMPARE(run({"undo"_s}).code, 22);
    QCOMPARE(run({"undo"_s, "--force"_s}).code, 0);
    QCOMPARE(readFile(resolver), QByteArray("# mine\nnameserver 198.51.100.1\n"));
}

void UndoTest::removedFileComesBackByForce()
{
    setUp();
    remove(resolver);
    QCOMPARE(run({"undo"_s}).code, 22);
    QVERIFY(!exists(resolver));
    QCOMPARE(run({"undo"_s, "--force"_s}).code, 0);
    QCOMPARE(readFile(resolver), QByteArray("# mine\nnameserver 198.51.100.1\n"));
}

void UndoTest::editBetweenTwoSetUpsIsNotOurs()
{
    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    setUp({{"--no-dns"_s, "-"_s}});
    QCOMPARE(run({"undo"_s}).code, 22);
    QCOMPARE(readFile(resolver), QByteArray("nameserver 203.0.113.1\n"));
}

void UndoTest::partsAreUndoneAlone_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QString>("touched");

    QTest::newRow("driver") << QStringList {"driver"_s, "restore"_s}
                            << "^. .*/(lib/modules/|machine/src).*"_s;
    QTest::newRow("boot") << QStringList {"boot"_s, "disable"_s} << "^. .*/etc/rc[0-6].d/.*"_s;
    QTest::newRow("dns") << QStringList {"dns"_s, "restore"_s}
                         << "^. .*/etc/resolv.conf(_kestra)?( .*)?$"_s;
}

void UndoTest::partsAreUndoneAlone()
{
    QFETCH(QStringList, command);
    QFETCH(QString, touched);
    const QByteArray before = manifest();
    setUp();
    const QByteArray after = manifest();
    QCOMPARE(run(command).code, 0);
    const QRegularExpression pattern(touched);
    const QByteArrayList changes = differences(after, manifest());
    QVERIFY(!changes.isEmpty());
    for (const QByteArray &change : changes)
        QVERIFY2(pattern.match(QString::fromUtf8(change)).hasMatch(), change.constData());
    for (const QByteArray &change : differences(before, manifest()))
        QVERIFY2(!pattern.match(QString::fromUtf8(change)).hasMatch(), change.constData());
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
}

void UndoTest::failedSetUpIsUndone()
{
    const QByteArray before = manifest();
    const SetupResult result =
        machine.run(QMap<QString, QString> {{"--service"_s, "Example Bad Servers"_s}});
    QCOMPARE(result.code, 21);
    QVERIFY2(result.errors.contains("kestra-setup undo makes everything as it was before."),
             result.errors.constData());
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
}

/** What it did not come to is nobody's but the user's. */
void UndoTest::failedSetUpHasNoClaimOnTheRest()
{
    QCOMPARE(machine.run(QMap<QString, QString> {{"--service"_s, "Example Bad Servers"_s}}).code,
             21);
    writeFile(resolver, "nameserver 203.0.113.1\n");
    QCOMPARE(run({"undo"_s, "--force"_s}).code, 0);
    QCOMPARE(readFile(resolver), QByteArray("nameserver 203.0.113.1\n"));
}

void UndoTest::failedInstallationIsUndone()
{
    machine.writeBundle(Machine::makefile(
        Machine::usualBuild(),
        "install -D -m 644 source.c " + Machine::modules.toLatin1() + "/extra/more/left\nfalse"));
    const QByteArray before = manifest();
    const timespec then[2] = {{1000000000, 0}, {1000000000, 0}};
    const QByteArray oldModule = QFile::encodeName(Machine::oldModule);
    QCOMPARE(::utimensat(AT_FDCWD, oldModule.constData(), then, 0), 0);
    QCOMPARE(machine.run().code, 12);
    QVERIFY(exists(Machine::modules + "/extra/more/left"_s));
    const SetupResult result = run({"undo"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
    QCOMPARE(QFileInfo(Machine::oldModule).lastModified().toSecsSinceEpoch(), 1000000000);
}

/** All else has been put back by the set-up itself. */
void UndoTest::backupOfAFailedInstallationGoes()
{
    machine.writeBundle(Machine::makefile(Machine::usualBuild(), "false"));
    makeDirectory(Machine::directory + "/src"_s);
    QCOMPARE(machine.run().code, 12);
    QVERIFY(exists("/tmp/kestra_drv_backup"_s));
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output, QByteArray("Removed the backup /tmp/kestra_drv_backup.\n"));
    QVERIFY(!exists("/tmp/kestra_drv_backup"_s));
}

void UndoTest::directoriesOnTheWayAreRemoved()
{
    const QString outermost = Machine::directory + "/a"_s;
    setUp({{"--extraction-path"_s, outermost + "/b/c"_s}});
    QVERIFY(exists(outermost));
    QCOMPARE(run({"undo"_s}).code, 0);
    QVERIFY(!exists(outermost));
}

/** The process ends without a last word while the driver is being installed. */
void UndoTest::killedSetUpIsUndone()
{
    machine.writeBundle(Machine::makefile(Machine::usualBuild(),
                                          Machine::usualInstallation()
                                              + "\nkill -KILL $$(ps -o ppid= -p $$PPID); sleep 1"));
    const QByteArray before = manifest();
    QCOMPARE(machine.run().code, -1);
    QVERIFY(!exists(Machine::oldModule));
    const SetupResult result = run({"undo"_s});
    QVERIFY2(!exists("/tmp/machine/src"_s) || result.code == 22, result.everything().constData());
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    // Nobody was left to remove the unpacked driver.
    for (const QByteArray &change : differences(before, manifest()))
        QVERIFY2(change.contains("/machine/src"), change.constData());
    QVERIFY(!exists(Machine::modules + "/extra"_s));
}

void UndoTest::killLinksOfTheDependencyComeBack()
{
    writeFile("/etc/init.d/dbus"_s, "#!/bin/sh\n", 0755);
    for (int level = 0; level <= 6; ++level)
        makeDirectory("/etc/rc%1.d"_s.arg(level));
    remove("/etc/rc1.d/K05dbus"_s);
    QVERIFY(QFile::link("../init.d/dbus"_s, "/etc/rc1.d/K05dbus"_s));
    const QByteArray before = manifest();
    setUp();
    QVERIFY(linkTarget("/etc/rc1.d/K05dbus"_s).isEmpty());
    QCOMPARE(run({"boot"_s, "disable"_s}).code, 0);
    QCOMPARE(linkTarget("/etc/rc1.d/K05dbus"_s), "../init.d/dbus"_s);
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
}

void UndoTest::storeIsForRootAlone()
{
    writeFile(chapSecrets, "other * secret *\n", 0600);
    setUp();
    QCOMPARE(fileMode(store), 0700);
    QCOMPARE(fileMode(store + "/before"_s), 0700);
    QCOMPARE(fileMode(store + "/before.json"_s), 0600);
    const QStringList kept = listDirectory(store + "/before"_s);
    QVERIFY(!kept.isEmpty());
    for (const QString &name : kept)
        QCOMPARE(fileMode(store + "/before/"_s + name), 0600);
    // The new password is in the secrets only.
    QVERIFY(!readFile(store + "/before.json"_s).contains(Machine::password));
}

void UndoTest::oldSecretsDoNotStayForever()
{
    writeFile(chapSecrets, "other * secret *\n", 0600);
    setUp();
    QCOMPARE(run({"undo"_s}).code, 0);
    QCOMPARE(listDirectory(store + "/before"_s), QStringList());
}

void UndoTest::storeOfOthersIsRefused()
{
    setUp();
    QCOMPARE(::chown("/var/lib/kestra", 65534, 65534), 0);
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 6);
    QVERIFY2(result.errors.contains("is no directory that only root can write to"),
             result.errors.constData());
    QVERIFY(exists(Machine::newModule));
    QCOMPARE(machine.run().code, 6);
}

void UndoTest::storeThatCannotBeWrittenStopsTheSetUp()
{
    writeFile(store, "in the way");
    const QByteArray before = manifest();
    const SetupResult result = machine.run();
    QCOMPARE(result.code, 6);
    QVERIFY2(result.errors.contains("could not be kept in /var/lib/kestra"),
             result.errors.constData());
    QCOMPARE(differences(before, manifest()).join('\n'), QByteArray());
}

void UndoTest::damagedStoreIsSaid()
{
    setUp();
    writeFile(store + "/before.json"_s, "{\"version\": 1, \"items");
    const SetupResult result = run({"undo"_s});
    QCOMPARE(result.code, 6);
    QVERIFY(result.errors.contains("/var/lib/kestra/before.json cannot be read"));
}

void UndoTest::answersInJson()
{
    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    const SetupResult result = run({"undo"_s, "--json"_s});
    QCOMPARE(result.code, 22);
    const QJsonValue json = QJsonDocument::fromJson(result.output).object();
    QVERIFY(json["restored"_s].toArray().contains(Machine::newModule));
    QCOMPARE(json["edited"_s].toArray(), QJsonArray {resolver});
    QCOMPARE(json["failed"_s].toArray(), QJsonArray());
    QCOMPARE(json["error"_s]["code"_s].toInt(), 22);
}

void UndoTest::statusTellsOfFiles()
{
    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    remove(chapSecrets);
    const QByteArray status = run({"status"_s}).output;
    QVERIFY2(status.contains("driver:       ueagle-atm, installed, not loaded\n"),
             status.constData());
    QVERIFY(status.contains("boot:         the connection is started at boot\n"));
    QVERIFY(status.contains("  /etc/ppp/pap-secrets: unchanged\n"));
    QVERIFY(status.contains("  /etc/resolv.conf: edited since\n"));
    QVERIFY(status.contains("  /etc/ppp/chap-secrets: missing\n"));
    const QJsonValue json = QJsonDocument::fromJson(run({"status"_s, "--json"_s}).output).object();
    QCOMPARE(json["boot_links"_s].toArray().size(), 7);
    QCOMPARE(json["driver"_s]["files"_s].toArray(), QJsonArray {Machine::newModule});
    QVERIFY(json["files"_s].toArray().contains(
        QJsonObject {{"path"_s, resolver}, {"condition"_s, "edited"_s}}));
}

void UndoTest::needsRoot()
{
    setUp();
    QProcess process;
    process.start("setpriv"_s, {"--reuid=65534"_s, "--clear-groups"_s, Machine::program, "undo"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
    QVERIFY(exists(Machine::newModule));
}

KESTRA_TEST_MAIN(UndoTest)

#include "undotest.moc"
