// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include <unistd.h>

using namespace KestraTest;

namespace {

const QString archive = "/tmp/report.tar.gz"_s;
const QString unpacked = "/tmp/unpacked"_s;
const QString workingDirectory = "/tmp/working"_s;
const QString standIns = "/tmp/stand-ins"_s;
const QString buildLog = "/opt/kestra/logs/some.log"_s;
const QString papSecrets = "/etc/ppp/pap-secrets"_s;

const QByteArray mask = "********";

SetupResult run(const QStringList &arguments, const QString &program = Machine::program)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PATH"_s, standIns + ":"_s + environment.value("PATH"_s));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    process.waitForStarted();
    return Machine::finish(process);
}

/** Puts a shell script in the place of a tool. */
void standIn(const QString &name, const QByteArray &commands)
{
    writeFile(standIns + QLatin1Char('/') + name, "#!/bin/sh\n" + commands + '\n', 0755);
}

/** What the unpacked report has at @p path, below its only directory. */
QString inReport(const QString &path)
{
    return unpacked + QLatin1Char('/') + listDirectory(unpacked).value(0) + QLatin1Char('/') + path;
}

QByteArray member(const QString &path)
{
    return exists(inReport(path)) ? readFile(inReport(path)) : QByteArray();
}

QStringList members()
{
    QStringList files = listTree(inReport(QString()));
    files.erase(std::remove_if(files.begin(), files.end(),
                               [](const QString &path) { return path.endsWith(QLatin1Char('/')); }),
                files.end());
    return files;
}

/** The names in the report and what is in it. */
QByteArray everything()
{
    QByteArray text;
    for (const QString &path : members())
        text += path.toUtf8() + '\n' + member(path) + '\n';
    return text;
}

void unpack(const QString &path)
{
    remove(unpacked);
    makeDirectory(unpacked);
    QCOMPARE(QProcess::execute("tar"_s, {"-xzf"_s, path, "-C"_s, unpacked}), 0);
    QCOMPARE(listDirectory(unpacked).size(), 1);
}

}

/** What a person sends to whoever helps. */
class ReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void holdsWhatAHelperNeeds();
    void hasANameOfItsOwn();
    void answersInJson();
    void setUpLeavesNoSecretInIt();
    void noEncodingOfASecretGetsIn_data();
    void noEncodingOfASecretGetsIn();
    void earlierSecretsDoNotGetIn_data();
    void earlierSecretsDoNotGetIn();
    void shortSecretsAreMaskedWhereTheyStandAlone();
    void filesNamedAfterTheUserAreRenamed();
    void optionsAreShownWithoutLogin();
    void nothingIsOverwritten();
    void linkIsNotFollowed();
    void placeThatCannotBeWrittenIsSaid();
    void missingTarIsSaid();
    void withoutRootSomeIsLeftOut();
    void secretsThatCannotBeReadKeepLogsOut();
    void bigLogEndsInWholeLines();
    void linkAmongTheLogsIsLeftOut();
    void toolsAreBounded();
    void kernelMessagesAreAboutTheModem();
    void driverIsDescribed();

private:
    void report(const QStringList &arguments = {});
    QByteArray leftOut() { return member("README.txt"_s); }

    Machine machine;
};

void ReportTest::init()
{
    machine.reset();
    for (const QString &path : {archive, unpacked, workingDirectory, standIns, "/var/log/kestra"_s})
        remove(path);
    makeDirectory(workingDirectory);
    makeDirectory(standIns);
}

void ReportTest::report(const QStringList &arguments)
{
    remove(archive);
    const SetupResult result = run(QStringList {"report"_s, "--output"_s, archive} + arguments);
    QVERIFY2(result.code == 0, result.everything().constData());
    unpack(archive);
}

void ReportTest::holdsWhatAHelperNeeds()
{
    standIn("lsmod"_s, "echo Module Size");
    standIn("dmesg"_s, "echo usb 1-1: new device");
    standIn("modinfo"_s, "echo filename: $1");
    QCOMPARE(machine.run().code, 0);
    report();
    const QStringList names = members();
    for (const char *name :
         {"README.txt", "versions.txt", "status.json", "detect.json", "module.txt", "modules.txt",
          "boot-links.txt", "kernel-messages.txt", "stored-paths.txt", "files/etc/os-release",
          "files/etc/resolv.conf", "files/etc/kestra/connection.conf", "files/etc/ppp/options",
          "files/etc/ppp/peers/kestra", "files/var/log/kestra/setup.log",
          "files/opt/kestra/logs/ueagle-atm-default_compiler.log"})
        QVERIFY2(names.contains(QLatin1String(name)), name);
    QVERIFY(names.filter("secrets"_s).isEmpty());
    QCOMPARE(fileMode(archive), 0600);

    const QByteArray versions = member("versions.txt"_s);
    for (const char *text :
         {"kestra-setup 1.", "libkestra.so.1", "package manager: apt", "$ uname -srvm\nLinux",
          "$ make --version\nGNU Make", "$ pppd --version\n", "$ gcc --version\n"})
        QVERIFY2(versions.contains(text), versions.constData());
    QVERIFY(member("stored-paths.txt"_s).contains("/etc/ppp/pap-secrets\n"));
    QVERIFY(member("boot-links.txt"_s).contains("/etc/rc5.d/S20kestrad -> /etc/init.d/kestrad\n"));
    const QJsonObject status = QJsonDocument::fromJson(member("status.json"_s)).object();
    QCOMPARE(status["boot_links"_s].toArray().size(), 7);
    QVERIFY(member("files/etc/kestra/connection.conf"_s).contains("MODULE=ueagle-atm\n"));
}

void ReportTest::hasANameOfItsOwn()
{
    const SetupResult result = run({"report"_s});
    QCOMPARE(result.code, 0);
    const QStringList names = listDirectory(workingDirectory);
    QCOMPARE(names.size(), 1);
    QVERIFY2(QRegularExpression("^kestra-report-\\d{8}-\\d{6}\\.tar\\.gz$"_s)
                 .match(names.first())
                 .hasMatch(),
             qPrintable(names.first()));
    const QString path = workingDirectory + QLatin1Char('/') + names.first();
    QCOMPARE(fileMode(path), 0600);
    QVERIFY(result.output.startsWith("The report is in " + path.toUtf8() + "; it holds:\n"));
    QVERIFY(result.output.contains("\n  versions.txt\n"));
    QVERIFY(result.output.contains("\n  /opt/kestra/logs: it does not exist\n"));
    unpack(path);
    QCOMPARE(listDirectory(unpacked).first() + ".tar.gz"_s, names.first());
}

void ReportTest::answersInJson()
{
    const SetupResult result = run({"report"_s, "--json"_s, "--output"_s, "relative.tgz"_s});
    QCOMPARE(result.code, 0);
    const QJsonObject json = QJsonDocument::fromJson(result.output).object();
    QCOMPARE(json["file"_s].toString(), workingDirectory + "/relative.tgz"_s);
    unpack(json["file"_s].toString());
    QCOMPARE(json["members"_s].toArray(), QJsonArray::fromStringList(members()));
    QVERIFY(json["left_out"_s].toArray().contains("/opt/kestra/logs: it does not exist"_s));
}

/** The road of a person: a set-up whose tools print all, also to the library's log, and a report.
 */
void ReportTest::setUpLeavesNoSecretInIt()
{
    writeFile(Machine::directory + "/printed"_s,
              "login me@example.net with \"" + Machine::password + "\"\n");
    machine.writeBundle(Machine::makefile("@cat /tmp/machine/printed\ncp source.c ueagle-atm.ko",
                                          Machine::usualInstallation()));
    QCOMPARE(machine.run().code, 0);
    QVERIFY(readFile(papSecrets).contains(Machine::password));
    report();
    const QByteArray all = everything();
    QVERIFY(!all.contains("me@example.net"));
    QVERIFY(!all.contains(Machine::password));
    QVERIFY(member("files/opt/kestra/logs/ueagle-atm-default_compiler.log"_s)
                .contains("login " + mask + " with \"" + mask + "\"\n"));
    QVERIFY(member("files/etc/ppp/peers/kestra"_s).contains("user " + mask + "\n"));
}

void ReportTest::noEncodingOfASecretGetsIn_data()
{
    QTest::addColumn<QByteArray>("user");
    QTest::addColumn<QByteArray>("password");

    QTest::newRow("Latin-1") << QByteArray("j\xf6rg@net") << QByteArray("p\xe4ss w%rd");
    QTest::newRow("UTF-8") << QByteArray("j\xc3\xb6rg@net") << QByteArray("p\xc3\xa4ss w%rd");
    QTest::newRow("quoted") << QByteArray("\"j\xf6rg@net\"") << QByteArray("\"p\xe4ss w%rd\"");
    QTest::newRow("quoted, UTF-8")
        << QByteArray("\"j\xc3\xb6rg@net\"") << QByteArray("\"p\xc3\xa4ss w%rd\"");
    QTest::newRow("backslash") << QByteArray("j\xf6rg@net") << QByteArray("p\xe4ss\\ w%rd");
    QTest::newRow("octal") << QByteArray("j\\366rg@net") << QByteArray("p\\344ss w%rd");
    QTest::newRow("octal, UTF-8") << QByteArray("j\\303\\266rg@net")
                                  << QByteArray("p\\303\\244ss w%rd");
    QTest::newRow("JSON") << QByteArray("j\\u00f6rg@net") << QByteArray("p\\u00e4ss w%rd");
}

/** In no file, wherever it stands, whichever spelling our own files have. */
void ReportTest::noEncodingOfASecretGetsIn()
{
    QFETCH(QByteArray, user);
    QFETCH(QByteArray, password);
    writeFile(papSecrets, "\"j\xf6rg@net\" * \"p\xe4ss w%rd\" *\n", 0600);
    const QByteArray line = "before " + user + " between " + password + " after\n";
    writeFile(buildLog, line);
    writeFile("/var/log/kestra/setup.log"_s, line, 0600);
    writeFile("/etc/kestra/connection.conf"_s, line);
    writeFile("/etc/resolv.conf"_s, line);
    writeFile("/etc/ppp/options"_s, "user " + user + "\npassword " + password + "\n");
    writeFile("/etc/ppp/peers/mine"_s, "user " + user + "\npassword " + password + "\n# " + line);
    standIn("dmesg"_s, "cat /opt/kestra/logs/some.log | sed 's/^/usb /'");
    standIn("lsmod"_s, "cat /opt/kestra/logs/some.log");
    report();
    for (const QString &name : members()) {
        for (const char *part : {"rg@net", "rg\\@net", "w%rd"})
            QVERIFY2(!member(name).contains(part), qPrintable(name));
    }
    for (const char *name :
         {"files/opt/kestra/logs/some.log", "files/var/log/kestra/setup.log", "modules.txt",
          "kernel-messages.txt", "files/etc/resolv.conf", "files/etc/kestra/connection.conf"})
        QVERIFY2(member(QLatin1String(name)).contains(mask), name);
}

void ReportTest::earlierSecretsDoNotGetIn_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("content");

    const QByteArray entry = "\"old@net\" * \"0ldsecret\" *\n";
    QTest::newRow("before the set-up") << papSecrets << entry;
    QTest::newRow("for the other protocol") << "/etc/ppp/chap-secrets"_s << entry;
    QTest::newRow("saved copy") << "/etc/ppp/pap-secrets.old"_s << entry;
    QTest::newRow("editor's copy") << "/etc/ppp/chap-secrets~"_s << entry;
    QTest::newRow("out of use") << "/etc/ppp/pap-secrets.old"_s
                                << "# " + entry;
    QTest::newRow("peer") << "/etc/ppp/peers/old"_s
                          << QByteArray("user old@net\npassword 0ldsecret\n");
    QTest::newRow("options") << "/etc/ppp/options"_s
                             << QByteArray("name old@net\npassword '0ldsecret'\n");
}

void ReportTest::earlierSecretsDoNotGetIn()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, content);
    writeFile(path, content, 0600);
    QCOMPARE(machine.run().code, 0);
    writeFile(buildLog, "old@net 0ldsecret me@example.net\n");
    report();
    const QByteArray all = everything();
    QVERIFY(!all.contains("old@net"));
    QVERIFY(!all.contains("0ldsecret"));
    QCOMPARE(member("files/opt/kestra/logs/some.log"_s), mask + ' ' + mask + ' ' + mask + '\n');
}

void ReportTest::shortSecretsAreMaskedWhereTheyStandAlone()
{
    writeFile(papSecrets, "\"ab\" * \"x\" *\n", 0600);
    writeFile(buildLog, "user=\"ab\" password=x, boxes about x11 'x' ab@net\nx\n");
    report();
    QCOMPARE(member("files/opt/kestra/logs/some.log"_s),
             "user=\"" + mask + "\" password=" + mask + ", boxes about x11 '" + mask + "' " + mask
                 + "@net\n" + mask + '\n');
    QVERIFY(member("versions.txt"_s).contains("Linux"));
    QVERIFY(QJsonDocument::fromJson(member("status.json"_s)).isObject());
}

void ReportTest::filesNamedAfterTheUserAreRenamed()
{
    writeFile(papSecrets, "jane1@net * secret7 *\njane2@net * secret8 *\n", 0600);
    for (const char *name : {"jane1@net", "jane2@net"})
        writeFile("/etc/ppp/peers/"_s + QLatin1String(name), "noauth\n");
    const SetupResult result = run({"report"_s, "--output"_s, archive});
    QVERIFY(!result.everything().contains("jane"));
    unpack(archive);
    QVERIFY(!everything().contains("jane"));
    QVERIFY(exists(inReport("files/etc/ppp/peers/********"_s)));
    QVERIFY(exists(inReport("files/etc/ppp/peers/********-2"_s)));
}

void ReportTest::optionsAreShownWithoutLogin()
{
    writeFile("/etc/ppp/peers/mine"_s,
              "plugin x.so\nuser m\\e@net\nconnect \"chat ogin: me word: secret7\"\nmtu 1492\n");
    report();
    QCOMPARE(member("files/etc/ppp/peers/mine"_s),
             "plugin x.so\nuser " + mask + "\nconnect " + mask + "\nmtu 1492\n");
}

void ReportTest::nothingIsOverwritten()
{
    writeFile(archive, "precious");
    const SetupResult result = run({"report"_s, "--output"_s, archive});
    QCOMPARE(result.code, 25);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: /tmp/report.tar.gz exists already. Give another name with "
                        "--output.\n"));
    QCOMPARE(readFile(archive), QByteArray("precious"));
}

void ReportTest::linkIsNotFollowed()
{
    const QString target = "/tmp/target"_s;
    remove(target);
    QVERIFY(QFile::link(target, archive));
    QCOMPARE(run({"report"_s, "--output"_s, archive}).code, 25);
    QVERIFY(!exists(target));
}

void ReportTest::placeThatCannotBeWrittenIsSaid()
{
    const SetupResult result = run({"report"_s, "--output"_s, "/nowhere/report.tgz"_s});
    QCOMPARE(result.code, 25);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: The report /nowhere/report.tgz cannot be written: No such "
                        "file or directory. Give another place with --output.\n"));
}

void ReportTest::missingTarIsSaid()
{
    standIn("tar"_s, "echo tar: out of order >&2; exit 2");
    const SetupResult result = run({"report"_s, "--output"_s, archive});
    QCOMPARE(result.code, 25);
    QVERIFY2(result.errors.contains("tar could not pack the report: tar: out of order."),
             result.errors.constData());
    QVERIFY(!exists(archive));
}

/** Who may not read the secrets cannot have them masked. */
void ReportTest::withoutRootSomeIsLeftOut()
{
    writeFile(papSecrets, "me@net * secret7 *\n", 0600);
    writeFile(buildLog, "secret7\n", 0644);
    QCOMPARE(::chown("/tmp/working", 65534, 65534), 0);
    const SetupResult result =
        run({"--reuid=65534"_s, "--clear-groups"_s, Machine::program, "report"_s}, "setpriv"_s);
    QVERIFY2(result.code == 0, result.everything().constData());
    unpack(workingDirectory + QLatin1Char('/') + listDirectory(workingDirectory).first());
    QVERIFY(!everything().contains("secret7"));
    QVERIFY(members().contains("versions.txt"_s));
    QVERIFY(members().filter("logs"_s).isEmpty());
    QVERIFY2(leftOut().contains("/opt/kestra/logs: user names and passwords could not be masked"),
             leftOut().constData());
    QVERIFY(leftOut().contains("status.json: This program must run as root."));
}

void ReportTest::secretsThatCannotBeReadKeepLogsOut()
{
    writeFile(papSecrets, QByteArray(2 << 20, '\n') + "me@net * secret7 *\n", 0600);
    writeFile(buildLog, "secret7\n", 0644);
    report();
    QVERIFY(!everything().contains("secret7"));
    QVERIFY(leftOut().contains("as /etc/ppp/pap-secrets cannot be read"));
}

/** Half a secret would not be recognised. */
void ReportTest::bigLogEndsInWholeLines()
{
    writeFile(papSecrets, "me@net * a-very-long-secret-to-be-cut *\n", 0600);
    QByteArray log;
    for (int number = 0; log.size() < 3000000; ++number)
        log += QByteArray::number(number) + " a-very-long-secret-to-be-cut\n";
    writeFile(buildLog, log + "the end\n");
    report();
    const QByteArray shown = member("files/opt/kestra/logs/some.log"_s);
    QVERIFY(shown.size() > 100000 && shown.size() <= 1 << 20);
    QVERIFY(shown.endsWith(mask + "\nthe end\n"));
    const QByteArray first = shown.left(shown.indexOf('\n'));
    QVERIFY2(QRegularExpression("^\\d+ \\*{8}$"_s).match(QString::fromUtf8(first)).hasMatch(),
             first.constData());
    QVERIFY(!shown.contains("secret"));
    QVERIFY(leftOut().contains("/opt/kestra/logs/some.log: all but its last "));
}

void ReportTest::linkAmongTheLogsIsLeftOut()
{
    writeFile("/tmp/precious"_s, "precious\n", 0600);
    makeDirectory("/opt/kestra/logs"_s);
    QVERIFY(QFile::link("/tmp/precious"_s, buildLog));
    QCOMPARE(QProcess::execute("mkfifo"_s, {"/opt/kestra/logs/pipe"_s}), 0);
    report();
    QVERIFY(!everything().contains("precious\n"));
    QVERIFY(leftOut().contains("/opt/kestra/logs/some.log: it is a link\n"));
    QVERIFY(leftOut().contains("/opt/kestra/logs/pipe: it is no regular file\n"));
}

void ReportTest::toolsAreBounded()
{
    writeFile(papSecrets, "me@net * a-very-long-secret-to-be-cut *\n", 0600);
    standIn("ip"_s, "yes a-very-long-secret-to-be-cut");
    standIn("lsmod"_s, "echo all; printf a-very-long-secret; exec sleep 60");
    QElapsedTimer time;
    time.start();
    report();
    QVERIFY(time.elapsed() < 30000);
    QCOMPARE(member("modules.txt"_s), QByteArray("all\n"));
    const QByteArray addresses = member("addresses.txt"_s);
    QVERIFY(addresses.size() <= 4 << 20);
    QVERIFY(!addresses.contains("secret"));
    QVERIFY(leftOut().contains("modules.txt: it was stopped after 10 seconds\n"));
    QVERIFY(leftOut().contains("addresses.txt: all but its first "));
}

void ReportTest::kernelMessagesAreAboutTheModem()
{
    standIn("dmesg"_s, "echo '[1] usb 1-1: new'; echo '[2] sda: disc'; echo '[3] PPP driver'");
    report();
    QCOMPARE(member("kernel-messages.txt"_s), QByteArray("[1] usb 1-1: new\n[3] PPP driver\n"));
    standIn("dmesg"_s, "echo not allowed; exit 1");
    report();
    QVERIFY(leftOut().contains("kernel-messages.txt: dmesg failed: not allowed\n"));
}

void ReportTest::driverIsDescribed()
{
    writeFile("/etc/kestra/connection.conf"_s, "MODULE=ueagle-atm\n");
    standIn("modinfo"_s, "echo described: $1");
    report();
    QCOMPARE(member("module.txt"_s), QByteArray("described: ueagle-atm\n"));
    remove("/etc/kestra/connection.conf"_s);
    report();
    QVERIFY(leftOut().contains("module.txt: no driver is known to be set up\n"));
}

KESTRA_TEST_MAIN(ReportTest)

#include "reporttest.moc"
