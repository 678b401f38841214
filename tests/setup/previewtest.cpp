// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "standintool.h"
#include "testmain.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace KestraTest;

using Changes = QMap<QString, QString>;

namespace {

const QString resolver = "/etc/resolv.conf"_s;
const QString chapSecrets = "/etc/ppp/chap-secrets"_s;
const QString repository = "/tmp/machine/repository"_s;
const QString package = "kestra-preview-tools"_s;
const QString yard = "/srv/kestra-preview-test"_s; ///< where differences of all kinds are made

SetupResult run(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments);
    return Machine::finish(process);
}

QByteArray outputOf(const QString &command)
{
    QProcess process;
    process.start("sh"_s, {"-c"_s, command});
    process.waitForFinished(-1);
    return process.readAllStandardOutput();
}

/** Where somebody builds, below the directories of the system. */
QString placesOfWork()
{
    return "-path "_s + QString::fromLocal8Bit(KESTRA_SOURCE_DIRECTORY) + " -o -path "_s
        + QString::fromLocal8Bit(KESTRA_BINARY_DIRECTORY);
}

/**
 * Everything of the system: kinds, modes, owners, links and times, of every change, too; and what
 * is in the files where a set-up writes. The homes and the directories that a person or a build
 * service has made in / are theirs: what they do there meanwhile, such as the log of these tests,
 * shows through.
 */
QByteArray everything()
{
    // Whoever installs a package outside of the sandbox meanwhile touches the places of apt, and
    // whatever runs there has its log in that of the system.
    static const QString all =
        "find / -maxdepth 1 -printf '%p %y %m %U %G %l\\n';"
        " find /bin /boot /etc /lib* /media /mnt /opt /run /sbin /srv /tmp /usr /var '(' "_s
        + placesOfWork()
        + " ')' -prune"
          " -o '(' -path '/var/lib/apt*' -o -path '/var/cache/apt*' ')'"
          " -printf '%p %y %m %U %G %n %s %T@ %l\\n'"
          " -o -path '/var/log/*' ! -path '/var/log/kestra*' -printf '%p %y %m %U %G %l\\n'"
          " -o -printf '%p %y %m %U %G %n %s %T@ %C@ %l\\n' 2>/dev/null"_s;
    static const QString contents =
        "find /etc /opt /srv /tmp/machine /tmp/kestra_drv_backup /var/lib/dpkg/status"
        " /var/lib/kestra /usr/src/kestra "_s
        + Machine::modules + "/ -type f -exec sha256sum {} + 2>/dev/null"_s;
    return outputOf(all + "; "_s + contents);
}

/** The names of all processes. */
QByteArrayList processes()
{
    QByteArrayList names;
    for (const QString &entry : QDir("/proc"_s).entryList(QDir::Dirs)) {
        QFile name("/proc/"_s + entry + "/comm"_s);
        if (entry.toInt() > 0 && name.open(QIODevice::ReadOnly))
            names.append(name.readAll().trimmed());
    }
    std::sort(names.begin(), names.end());
    return names;
}

QByteArrayList differences(const QByteArray &before, const QByteArray &after)
{
    if (before == after)
        return {};
    const QByteArrayList old = before.split('\n');
    const QByteArrayList now = after.split('\n');
    const QSet<QByteArray> oldSet(old.begin(), old.end());
    const QSet<QByteArray> nowSet(now.begin(), now.end());
    QByteArrayList result;
    for (const QByteArray &line : oldSet - nowSet)
        result.append("- " + line);
    for (const QByteArray &line : nowSet - oldSet)
        result.append("+ " + line);
    return result;
}

/** Hears of programs that no file system holds back. */
class Listener
{
public:
    Listener() : m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path + 1, name, sizeof name - 1);
        m_isBound = ::bind(m_socket, reinterpret_cast<sockaddr *>(&address),
                           socklen_t(offsetof(sockaddr_un, sun_path) + sizeof name))
            == 0;
    }
    ~Listener() { ::close(m_socket); }

    bool isBound() const { return m_isBound; }

    QByteArrayList heard()
    {
        QByteArrayList words;
        char word[100];
        ssize_t length = 0;
        while ((length = ::recv(m_socket, word, sizeof word, 0)) >= 0)
            words.append(QByteArray(word, int(length)));
        std::sort(words.begin(), words.end());
        return words;
    }

    /** A program that says its name outside whatever it is run in. */
    static QByteArray program()
    {
        return "#!/usr/bin/python3\n"
               "import os, socket, sys\n"
               "name = os.path.basename(sys.argv[0])\n"
               "socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM).sendto(name.encode(), b'\\0"
            + QByteArray(name) + "')\n";
    }

private:
    static constexpr char name[] = "kestra-preview-test";
    int m_socket;
    bool m_isBound = false;
};

QByteArray installationThat(const QByteArray &does)
{
    return Machine::usualInstallation() + '\n' + does;
}

}

/** A command shows what it would change, and changes nothing. */
class PreviewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void wholeSetUp();
    void passwordsAreMasked();
    void newPasswordIsToldWithoutIt();
    void longRunsOfLinesAreShortened();
    void everyKindOfDifference();
    void directoryThatIsMoved();
    void whatOnlyRootReadsIsNotShown();
    void undoing_data();
    void undoing();
    void heldBackAndRun();
    void wayToTheBusIsOnlyForQuestions();
    void waysOutAreClosed();
    void packages();
    void exitCodeIsThatOfTheCommand();
    void questionsAreAsked();
    void passwordFromInput();
    void answersInJson();
    void jsonOfACommand();
    void nothingIsLeftWhenItIsKilled();
    void needsRoot();
    void needsLayers();
    void needsProxy();
    void belongsToWhatChangesSomething();

private:
    void setUp();
    /** Previews a set-up; it must succeed. */
    QByteArray preview(const Changes &changes = {});
    void buildPackage(const QByteArray &postinst);

    Machine m_machine;
};

void PreviewTest::initTestCase()
{
    const SetupResult result = run({"undo"_s, "--preview"_s});
    if (result.errors.contains("layer"))
        QSKIP("no further layer can be put over the file systems of this sandbox");
}

void PreviewTest::init()
{
    m_machine.reset();
    remove(yard);
    remove(resolver);
    writeFile(resolver, "# mine\nnameserver 198.51.100.1\n");
}

void PreviewTest::cleanup()
{
    remove(yard);
    qunsetenv("APT_CONFIG");
}

void PreviewTest::setUp()
{
    const SetupResult result =
        run(Machine::arguments({{"--modem-timeout"_s, QString()}, {"--driver"_s, "ueagle-atm"_s}}));
    QVERIFY2(result.code == 0, result.everything().constData());
}

QByteArray PreviewTest::preview(const Changes &changes)
{
    Changes all = changes;
    all["--modem-timeout"_s] = QString();
    all["--driver"_s] = "ueagle-atm"_s; // so that no modem has to settle
    const SetupResult result = run(Machine::arguments(all) << "--preview"_s);
    if (result.code != 0)
        qWarning("%s", result.everything().constData());
    return result.code == 0 ? result.output : QByteArray();
}

void PreviewTest::wholeSetUp()
{
    writeFile("/etc/init.d/kestrad"_s, "#!/bin/sh\n# an earlier one\n", 0700);
    const QByteArray before = everything();
    const QByteArray modules = outputOf("cat /proc/modules"_s);
    const QByteArrayList running = processes();
    QVERIFY(before.contains("/tmp/machine/password f 600 "));

    const SetupResult result = m_machine.run(Machine::arguments() << "--preview"_s);
    m_machine.hal.removeDevice("/org/freedesktop/Hal/devices/modem"_s);
    QVERIFY2(result.code == 0, result.everything().constData());
    const QByteArray output = result.output;
    QCOMPARE(differences(before, everything()).join('\n'), QByteArray());
    QCOMPARE(outputOf("cat /proc/modules"_s), modules);
    QCOMPARE(processes(), running);

    QVERIFY(output.startsWith("This is a preview. "));
    QVERIFY(output.endsWith("\nThis was a preview: nothing was changed.\n"));
    for (const QByteArray &part : {
             QByteArray("changed  /etc/resolv.conf\n--- /etc/resolv.conf\n+++ /etc/resolv.conf\n"
                        "@@ -1,2 +1,2 @@\n-# mine\n-nameserver 198.51.100.1\n"
                        "+nameserver 192.0.2.1\n+nameserver 192.0.2.2\n"),
             QByteArray("\nadded    /etc/ppp/peers/kestra (mode 0444"),
             QByteArray("\n--- /dev/null\n+++ /etc/ppp/peers/kestra\n"),
             QByteArray("\n+plugin pppoatm.so 8.35\n"),
             QByteArray("\nadded    /etc/rc2.d/S20kestrad (link, to /etc/init.d/kestrad)\n"),
             QByteArray("\nchanged  /etc/init.d/kestrad (mode 0700 -> 0751)\n"),
             QByteArray("\n-# an earlier one\n"),
             "\nadded    /usr" + Machine::newModule.toLatin1() + " (mode 0644)\n",
             "\nremoved  /usr" + Machine::oldModule.toLatin1(),
             QByteArray("\nadded    /tmp/kestra_drv_backup (directory, mode 0700)\n"),
             QByteArray(" of the store for undo\n"),
             QByteArray("\nrun      make install"),
         })
        QVERIFY2(output.contains(part), (part + "\nis not in\n" + output).constData());
    QVERIFY(!output.contains("\nnot run  "));

    const int changes = output.indexOf("What this would change:");
    QByteArrayList paths;
    for (const QByteArray &line : output.mid(changes).split('\n')) {
        if (line.startsWith("added    ") || line.startsWith("changed  ")
            || line.startsWith("removed  "))
            paths.append(line.mid(9).split(' ').first());
    }
    QByteArrayList sorted = paths;
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(paths, sorted);
}

void PreviewTest::passwordsAreMasked()
{
    writeFile(chapSecrets,
              "other * formerly1 *\n#other * evenbefore *\n"
              "# words of one who explains it all\n",
              0600);
    writeFile("/etc/ppp/peers/other"_s, "password \"of others\"\n");
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(),
                          installationThat("cat /tmp/machine/password >/srv/kestra-preview-leak\n"
                                           "echo another >>/etc/ppp/peers/other")));
    const SetupResult result = m_machine.run(Machine::arguments() << "--preview"_s);
    QCOMPARE(result.code, 0);
    const QByteArray all = result.everything();
    QVERIFY2(all.contains("-other * ******** *\n"), all.constData());
    QVERIFY(all.contains("-#other * ******** *\n-# words of one who explains it all\n"));
    QVERIFY(all.contains("\n+\"me@example.net\" * \"********\" *\n"));
    QVERIFY(all.contains("\n password \"********\"\n+another\n"));
    QVERIFY(all.contains("+++ /srv/kestra-preview-leak\n@@ -0,0 +1 @@\n+********\n"));
    for (const char *secret : {"s3cr%1t", "formerly1", "evenbefore", "of others"})
        QVERIFY2(!all.contains(secret), all.constData());
}

void PreviewTest::newPasswordIsToldWithoutIt()
{
    const QStringList connect = {"connect"_s,         "--unattended"_s,
                                 "--data-dir"_s,      QStringLiteral(KESTRA_DATA_DIRECTORY),
                                 "--providers"_s,     "/tmp/machine/services.xml"_s,
                                 "--driver"_s,        "ueagle-atm"_s,
                                 "--country"_s,       "Freedonia"_s,
                                 "--service"_s,       "Example PPPoA"_s,
                                 "--user"_s,          "me@example.net"_s,
                                 "--password-file"_s, "/tmp/machine/password"_s};
    QCOMPARE(run(connect).code, 0);
    writeFile("/tmp/machine/password"_s, "another1\n", 0600);
    const SetupResult result = run(connect + QStringList {"--preview"_s});
    QVERIFY2(
        result.output.contains("\nchanged  /etc/ppp/chap-secrets (only the password changes)\n"),
        result.everything().constData());
    QVERIFY(!result.everything().contains("another1"));
}

void PreviewTest::longRunsOfLinesAreShortened()
{
    QByteArray lines;
    for (int i = 0; i < 100; ++i)
        lines += "line " + QByteArray::number(i) + '\n';
    writeFile(yard + "/long"_s, lines);
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(), installationThat("echo new >/srv/kestra-preview-test/long")));
    const QByteArray output = preview();
    QVERIFY2(output.contains("\n@@ -1,100 +1 @@\n-line 0\n"), output.constData());
    QVERIFY(output.contains("\n-line 11\n-... 88 more lines\n+new\n"));
}

void PreviewTest::everyKindOfDifference()
{
    writeFile(yard + "/text"_s, "one\ntwo\n");
    writeFile(yard + "/gone"_s, "was here\n");
    writeFile(yard + "/same"_s, "same\n");
    writeFile(yard + "/mode"_s, "mode\n", 0644);
    writeFile(yard + "/owner"_s, "owner\n");
    writeFile(yard + "/binary"_s, QByteArray("a\0b", 3));
    writeFile(yard + "/exchanged/file"_s, "old\n");
    writeFile(yard + "/exchanged/both"_s, "both\n");
    writeFile(yard + "/tree/inner/file"_s, "deep\n");
    QVERIFY(QFile::link("here"_s, yard + "/link"_s));
    writeFile(yard + "/becomes"_s, "a directory\n");
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(),
        installationThat("cd /srv/kestra-preview-test; echo three >>text; rm gone; touch same;"
                         " chmod 4755 mode; chown 7:8 owner; printf 'a\\0cd' >binary;"
                         " rm -r exchanged; mkdir exchanged; echo new >exchanged/new;"
                         " echo both >exchanged/both;"
                         " rm -r tree; ln -sfn there link; rm becomes; mkdir becomes;"
                         " : >empty; mkfifo pipe; printf 'control \\033[1m\\n' >odd")));
    const QByteArray before = everything();
    const QByteArray output = preview();
    QCOMPARE(differences(before, everything()).join('\n'), QByteArray());
    const QByteArray place = "/srv/kestra-preview-test/";
    const int begin = output.indexOf("changed  " + place);
    const int end = output.lastIndexOf(place);
    const QByteArray found = output.mid(begin, output.indexOf("\nadded    /tmp/", end) - begin);
    QByteArray expected = "changed  ~becomes (file -> directory, mode 0644 -> 0755)\n"
                          "--- ~becomes\n+++ /dev/null\n@@ -1 +0,0 @@\n-a directory\n"
                          "changed  ~binary (3 -> 4 bytes)\n"
                          "added    ~empty (mode 0644, empty)\n"
                          "removed  ~exchanged/file\n--- ~exchanged/file\n+++ /dev/null\n"
                          "@@ -1 +0,0 @@\n-old\n"
                          "added    ~exchanged/new (mode 0644)\n--- /dev/null\n"
                          "+++ ~exchanged/new\n@@ -0,0 +1 @@\n+new\n"
                          "removed  ~gone\n--- ~gone\n+++ /dev/null\n@@ -1 +0,0 @@\n-was here\n"
                          "changed  ~link (link, to here -> there)\n"
                          "changed  ~mode (mode 0644 -> 4755)\n"
                          "added    ~odd (mode 0644)\n--- /dev/null\n+++ ~odd\n@@ -0,0 +1 @@\n"
                          "+control \n"
                          "changed  ~owner (owner 0:0 -> 7:8)\n"
                          "added    ~pipe (special file, mode 0644)\n"
                          "changed  ~text\n--- ~text\n+++ ~text\n@@ -1,2 +1,3 @@\n one\n two\n"
                          "+three\n"
                          "removed  ~tree (directory)\n"
                          "removed  ~tree/inner (directory)\n"
                          "removed  ~tree/inner/file\n--- ~tree/inner/file\n+++ /dev/null\n"
                          "@@ -1 +0,0 @@\n-deep";
    QCOMPARE(found, expected.replace("~", place));
}

void PreviewTest::directoryThatIsMoved()
{
    writeFile(yard + "/old/deep/file"_s, "moved\n");
    writeFile(yard + "/old/deep/edited"_s, "one\n");
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(),
                          installationThat("cd /srv/kestra-preview-test;"
                                           " python3 -c 'import os; os.rename(\"old\", \"new\")';"
                                           " echo two >>new/deep/edited")));
    const QByteArray output = preview();
    for (const QByteArray part :
         {"\nremoved  /srv/kestra-preview-test/old (directory)\n",
          "\nremoved  /srv/kestra-preview-test/old/deep/file\n",
          "\nadded    /srv/kestra-preview-test/new (directory, mode 0755)\n",
          "+++ /srv/kestra-preview-test/new/deep/edited\n@@ -0,0 +1,2 @@\n+one\n+two\n",
          "+++ /srv/kestra-preview-test/new/deep/file\n@@ -0,0 +1 @@\n+moved\n"})
        QVERIFY2(output.contains(part), (part + "\nis not in\n" + output).constData());
}

void PreviewTest::whatOnlyRootReadsIsNotShown()
{
    writeFile(yard + "/private"_s, "PRIVATE 1\n", 0640);
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(),
                          installationThat("cd /srv/kestra-preview-test; echo PRIVATE 2 >>private;"
                                           " umask 077; echo PRIVATE 3 >key")));
    const QByteArray output = preview();
    QVERIFY2(output.contains("\nadded    /srv/kestra-preview-test/key (mode 0600, 10 bytes)\n"
                             "changed  /srv/kestra-preview-test/private (10 -> 20 bytes)\n"),
             output.constData());
    QVERIFY(!output.contains("PRIVATE"));
}

void PreviewTest::undoing_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QByteArray>("shown");

    QTest::newRow("everything") << QStringList {"undo"_s}
                                << QByteArray("\nremoved  /etc/ppp/peers/kestra\n");
    QTest::newRow("driver") << QStringList {"driver"_s, "restore"_s}
                            << "\nremoved  /usr" + Machine::newModule.toLatin1() + '\n';
    QTest::newRow("boot") << QStringList {"boot"_s, "disable"_s}
                          << QByteArray("\nremoved  /etc/rc2.d/S20kestrad (link, to "
                                        "/etc/init.d/kestrad)\n");
    QTest::newRow("dns") << QStringList {"dns"_s, "restore"_s}
                         << QByteArray("\n-nameserver 192.0.2.2\n+# mine\n");
}

void PreviewTest::undoing()
{
    QFETCH(QStringList, command);
    QFETCH(QByteArray, shown);
    setUp();
    const QByteArray before = Machine::state();
    const SetupResult result = run(command + QStringList {"--preview"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(differences(before, Machine::state()).join('\n'), QByteArray());
    QVERIFY2(result.output.contains(shown), result.output.constData());
    QVERIFY(!result.everything().contains(Machine::password));
    QCOMPARE(run(command).code, 0);
    QVERIFY(!differences(before, Machine::state()).isEmpty());
}

void PreviewTest::heldBackAndRun()
{
    Listener listener;
    QVERIFY(listener.isBound());
    // Found by name, and by their fixed paths.
    const QString front = Machine::directory + "/bin"_s;
    const QByteArrayList held = {"modprobe", "eject",    "systemctl",
                                 "pppd",     "ifconfig", "invoke-rc.d"};
    for (const QByteArray &name : held + QByteArrayList {"depmod", "insserv"})
        writeFile(front + "/"_s + QString::fromLatin1(name), Listener::program(), 0755);
    const QString fixed = "/usr/sbin/rmmod"_s;
    const QString saved = Machine::directory + "/rmmod"_s;
    QCOMPARE(QProcess::execute("mv"_s, {fixed, saved}), 0);
    writeFile(fixed, Listener::program(), 0755);

    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(),
        installationThat("modprobe -r 'a b'\n/sbin/rmmod ueagle-atm\neject\n"
                         "/tmp/machine/bin/systemctl start it\nsystemctl enable it\n"
                         "pppd call kestra\nifconfig ppp0 up\ninvoke-rc.d it start\n"
                         "modprobe -n it\ninsserv it\n"
                         "/usr/sbin/policy-rc.d it start; test $$? = 101")));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", front.toLocal8Bit() + ':' + path);
    const QByteArray output = preview();
    qputenv("PATH", path);
    QCOMPARE(QProcess::execute("mv"_s, {saved, fixed}), 0);

    QVERIFY(!output.isEmpty());
    // The two that may be asked, and one that works on files.
    QCOMPARE(listener.heard(), QByteArrayList({"insserv", "modprobe", "systemctl"}));
    const QByteArrayList lines = output.split('\n');
    for (const char *line :
         {"not run  modprobe -r 'a b'", "not run  rmmod ueagle-atm", "not run  eject",
          "not run  systemctl start it", "not run  pppd call kestra", "not run  ifconfig ppp0 up",
          "not run  invoke-rc.d it start"})
        QVERIFY2(lines.contains(line), (line + ("\nis not in\n" + output)).constData());
    const auto isRun = [&lines](const QByteArray &start) {
        return std::any_of(lines.cbegin(), lines.cend(), [&start](const QByteArray &line) {
            return line.startsWith("run      " + start);
        });
    };
    QVERIFY(isRun("tar "));
    QVERIFY(isRun("make install"));
    QVERIFY(!isRun("insserv")); // make's business
}

void PreviewTest::wayToTheBusIsOnlyForQuestions()
{
    writeFile(Machine::directory + "/call"_s,
              "import dbus, sys\n"
              "hal = dbus.SystemBus().get_object('org.freedesktop.Hal',"
              " '/org/freedesktop/Hal/Manager', introspect=False)\n"
              "hal.FindDeviceByCapability('asked',"
              " dbus_interface='org.freedesktop.Hal.Manager')\n"
              "try:\n"
              "    hal.NewDevice('told', dbus_interface='org.freedesktop.Hal.Manager')\n"
              "except dbus.DBusException as error:\n"
              "    print(error.get_dbus_name())\n"
              "    open('/srv/kestra-preview-denied', 'w').write(error.get_dbus_name())\n");
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(), installationThat("/usr/bin/python3 /tmp/machine/call")));
    m_machine.hal.clearCalls();
    const QByteArray output = preview();
    QVERIFY2(output.contains("\n+org.freedesktop.DBus.Error."), output.constData());
    QStringList first;
    for (const FakeHal::Call &call : m_machine.hal.calls())
        first.append(call.arguments.value(0).toString());
    QVERIFY(first.contains("asked"_s));
    QVERIFY(!first.contains("told"_s));
    QVERIFY(m_machine.hal.calls("NewDevice"_s).isEmpty());
}

void PreviewTest::waysOutAreClosed()
{
    const QByteArray socket =
        qgetenv("DBUS_SYSTEM_BUS_ADDRESS").split('=').value(1).split(',').value(0);
    QVERIFY(QFileInfo::exists(QString::fromLocal8Bit(socket)));
    QVERIFY(::kill(::getpid(), 0) == 0);
    const QByteArray self = QByteArray::number(qint64(::getpid()));
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(),
        installationThat("cd /srv; { test -e " + socket + " && echo bus; /usr/bin/env kill -0 "
                         + self
                         + " && echo process;"
                           " touch /sys/kernel/kestra && echo sys;"
                           " echo 1 >/proc/sys/kernel/printk && echo kernel;"
                           " /usr/sbin/ip link set lo up && echo network;"
                           " grep CapBnd /proc/self/status; } >kestra-preview-out 2>&1; true")));
    // The program itself, under a name that is not held back.
    const QByteArray output = preview();
    const int at = output.indexOf("+++ /srv/kestra-preview-out");
    QVERIFY2(at > 0, output.constData());
    const QByteArray out = output.mid(at, output.indexOf("\nadded ", at) - at);
    for (const char *word : {"+bus", "+sys\n", "+kernel"})
        QVERIFY2(!out.contains(word), out.constData());
    bool isNumber = false;
    const qulonglong capabilities = out.mid(out.indexOf("CapBnd:") + 7)
                                        .trimmed()
                                        .split('\n')
                                        .first()
                                        .toULongLong(&isNumber, 16);
    QVERIFY(isNumber);
    for (const int capability : {12, 16, 17, 22, 25}) // network, modules, raw access, boot, clock
        QVERIFY2(!(capabilities >> capability & 1), out.constData());
}

void PreviewTest::buildPackage(const QByteArray &postinst)
{
    const QString tree = Machine::directory + "/package"_s;
    writeFile(tree + "/DEBIAN/control"_s,
              "Package: kestra-preview-tools\nVersion: 1.0\nArchitecture: all\n"
              "Maintainer: The libkestra developers <kestra@example.net>\n"
              "Description: a package to be installed in a preview\n");
    writeFile(tree + "/DEBIAN/postinst"_s, "#!/bin/sh\nset -e\n" + postinst, 0755);
    writeFile(tree + "/opt/kestra-preview-tools/note"_s, "a file of the package\n");
    writeFile(tree + "/etc/kestra-preview-tools.conf"_s, "setting = 1\n");
    makeDirectory(repository);
    const QByteArray output =
        outputOf("cd /tmp/machine && dpkg-deb --build --root-owner-group package repository 2>&1 &&"
                 " cd repository && dpkg-scanpackages . >Packages 2>/dev/null && echo built"_s);
    QVERIFY2(output.endsWith("built\n"), output.constData());
    writeFile(Machine::directory + "/sources.list"_s,
              "deb [trusted=yes] file:" + repository.toLatin1() + " ./\n");
    writeFile(Machine::directory + "/apt.conf"_s,
              "Dir::Etc::sourcelist \"/tmp/machine/sources.list\";\n"
              "Dir::Etc::sourceparts \"/dev/null\";\n"
              "Dir::State::lists \"/tmp/machine/lists\";\n"
              "APT::Sandbox::User \"root\";\n");
    makeDirectory(Machine::directory + "/lists"_s);
    qputenv("APT_CONFIG", "/tmp/machine/apt.conf");
    QCOMPARE(QProcess::execute("apt-get"_s, {"-qq"_s, "update"_s}), 0);
}

void PreviewTest::packages()
{
    if (!QFileInfo("/var/lib/dpkg/status"_s).isWritable())
        QSKIP("the package system is read-only in this sandbox");
    Listener listener;
    writeFile(Machine::directory + "/bin/kestra-daemon"_s, Listener::program(), 0755);
    buildPackage("echo made >/srv/kestra-preview-made\nsystemctl restart it\n"
                 "if /usr/sbin/policy-rc.d it start; then /tmp/machine/bin/kestra-daemon; fi\n"
                 "sleep 1000 >/dev/null 2>&1 &\n");
    const QByteArray before = everything();
    const QByteArrayList running = processes();
    const QByteArray output = preview({{"--no-driver"_s, "-"_s},
                                       {"--driver-bundle"_s, QString()},
                                       {"--no-packages"_s, QString()},
                                       {"--packages"_s, package},
                                       {"--package-manager"_s, "apt"_s},
                                       {"--no-boot"_s, "-"_s}});
    for (const char *part :
         {"\npackage  kestra-preview-tools: none -> 1.0\n", "\n+setting = 1\n", "\n+made\n",
          " of these packages\n", " of the package database and caches\n",
          "\nrun      apt-get install ", "\nnot run  systemctl restart it\n"})
        QVERIFY2(output.contains(part), (part + ("\nis not in\n" + output)).constData());
    QVERIFY(!output.contains("a file of the package"));
    QCOMPARE(listener.heard(), QByteArrayList());
    QCOMPARE(differences(before, everything()).join('\n'), QByteArray());
    QCOMPARE(processes(), running);
}

void PreviewTest::exitCodeIsThatOfTheCommand()
{
    const QByteArray untouched = Machine::state();
    SetupResult result = m_machine.run(
        Machine::arguments({{"--service"_s, "Example Bad Servers"_s}}) << "--preview"_s);
    QCOMPARE(result.code, 21);
    QVERIFY(result.output.contains("\nadded    /etc/ppp/peers/kestra "));
    QCOMPARE(differences(untouched, Machine::state()).join('\n'), QByteArray());
    m_machine.hal.removeDevice("/org/freedesktop/Hal/devices/modem"_s);

    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    result = run({"undo"_s, "--preview"_s});
    QCOMPARE(result.code, 22);
    QVERIFY(result.errors.contains("Use --force"));
}

/** On a terminal. */
void PreviewTest::questionsAreAsked()
{
    const QList<QByteArray> words = {Machine::program.toLocal8Bit(),
                                     "connect",
                                     "--preview",
                                     "--data-dir",
                                     KESTRA_DATA_DIRECTORY,
                                     "--providers",
                                     "/tmp/machine/services.xml",
                                     "--driver",
                                     "ueagle-atm",
                                     "--country",
                                     "Freedonia",
                                     "--service",
                                     "Example PPPoA"};
    int terminal = -1;
    const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        QVector<char *> pointers;
        for (const QByteArray &word : words)
            pointers.append(const_cast<char *>(word.constData()));
        pointers.append(nullptr);
        ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }
    QByteArray screen;
    const auto read = [&] {
        char piece[1000];
        pollfd waiting = {terminal, POLLIN, 0};
        const ssize_t length =
            ::poll(&waiting, 1, 20000) == 1 ? ::read(terminal, piece, sizeof piece) : 0;
        if (length > 0)
            screen.append(piece, int(length));
        return length > 0;
    };
    const QList<QPair<QByteArray, QByteArray>> dialogue = {
        {"User name", "me@example.net\n"}, {"Password", "typed1\n"}, {"Go on", "yes\n"}};
    for (const auto &exchange : dialogue) {
        while (!screen.contains(exchange.first) && read()) { }
        QTest::qWait(300); // until what is typed is hidden
        QCOMPARE(
            ::write(terminal, exchange.second.constData(), std::size_t(exchange.second.size())),
            ssize_t(exchange.second.size()));
    }
    while (read()) { }
    ::kill(pid, SIGKILL); // if it still waits
    int status = 0;
    QCOMPARE(::waitpid(pid, &status, 0), pid);
    ::close(terminal);
    QVERIFY2(WIFEXITED(status) && WEXITSTATUS(status) == 0, screen.constData());
    QVERIFY2(screen.contains("+\"me@example.net\" * \"********\" *"), screen.constData());
    QVERIFY(!screen.contains("typed1"));
    QVERIFY(!exists("/etc/ppp/peers/kestra"_s));
}

void PreviewTest::passwordFromInput()
{
    QProcess process;
    Machine::start(process,
                   {"connect"_s, "--preview"_s, "--unattended"_s, "--data-dir"_s,
                    QStringLiteral(KESTRA_DATA_DIRECTORY), "--providers"_s,
                    "/tmp/machine/services.xml"_s, "--driver"_s, "ueagle-atm"_s, "--country"_s,
                    "Freedonia"_s, "--service"_s, "Example PPPoA"_s, "--user"_s, "me@example.net"_s,
                    "--password-stdin"_s});
    process.write("from-input\n");
    process.closeWriteChannel();
    const SetupResult result = Machine::finish(process);
    QVERIFY2(result.code == 0, result.everything().constData());
    QVERIFY(result.output.contains("\n+\"me@example.net\" * \"********\" *\n"));
    QVERIFY(!result.everything().contains("from-input"));
}

void PreviewTest::answersInJson()
{
    m_machine.hal.addDevice(
        "/org/freedesktop/Hal/devices/modem"_s,
        {{"usb_device.vendor_id"_s, 0x1110}, {"usb_device.product_id"_s, 0x9041}},
        {"usb_device"_s});
    const QByteArray before = everything();
    const SetupResult result = run(Machine::arguments() << "--preview"_s
                                                        << "--json"_s);
    m_machine.hal.removeDevice("/org/freedesktop/Hal/devices/modem"_s);
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(differences(before, everything()).join('\n'), QByteArray());
    QVERIFY(!result.everything().contains(Machine::password));
    const QJsonObject json = QJsonDocument::fromJson(result.output).object();
    QCOMPARE(json["exit_code"_s].toInt(-1), 0);
    QVERIFY(!json["answer"_s].toObject()["stages"_s].toArray().isEmpty());
    bool found = false;
    for (const QJsonValue &change : json["changes"_s].toArray()) {
        if (change["path"_s] != resolver)
            continue;
        found = true;
        QCOMPARE(change["kind"_s].toString(), "changed"_s);
        QVERIFY(change["diff"_s].toString().startsWith("--- /etc/resolv.conf\n"_s));
    }
    QVERIFY(found);
    const QJsonArray commands = json["commands"_s].toArray();
    QVERIFY(std::any_of(commands.begin(), commands.end(), [](const QJsonValue &command) {
        return command["line"_s].toString().startsWith("make install"_s)
            && command["run"_s].toBool();
    }));
}

void PreviewTest::jsonOfACommand()
{
    setUp();
    writeFile(resolver, "nameserver 203.0.113.1\n");
    const SetupResult result = run({"undo"_s, "--preview"_s, "--json"_s});
    QCOMPARE(result.code, 22);
    const QJsonObject json = QJsonDocument::fromJson(result.output).object();
    QCOMPARE(json["exit_code"_s].toInt(), 22);
    QCOMPARE(json["answer"_s].toObject()["edited"_s].toArray(), QJsonArray {resolver});
    QCOMPARE(json["answer"_s].toObject()["error"_s].toObject()["code"_s].toInt(), 22);
    QVERIFY(!json["changes"_s].toArray().isEmpty());
}

void PreviewTest::nothingIsLeftWhenItIsKilled()
{
    const QByteArray before = everything();
    const QByteArrayList running = processes();
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(), installationThat("echo at work; sleep 1000")));
    const QByteArray prepared = everything();
    QProcess process;
    QByteArray output;
    Machine::start(process,
                   Machine::arguments() << "--preview"_s
                                        << "--verbose"_s);
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QVERIFY2(Machine::waitForOutput(process, output, "at work"), output.constData());
    process.kill();
    QVERIFY(process.waitForFinished());
    QTRY_COMPARE(processes(), running);
    QCOMPARE(differences(prepared, everything()).join('\n'), QByteArray());
    m_machine.hal.removeDevice("/org/freedesktop/Hal/devices/modem"_s);
}

void PreviewTest::needsRoot()
{
    QProcess process;
    process.start(
        "setpriv"_s,
        {"--reuid=65534"_s, "--clear-groups"_s, Machine::program, "undo"_s, "--preview"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
    QVERIFY(process.readAllStandardError().contains("must run as root"));
}

void PreviewTest::needsLayers()
{
    QProcess process;
    process.start("setpriv"_s,
                  {"--bounding-set=-sys_admin"_s, Machine::program, "undo"_s, "--preview"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 6);
    QCOMPARE(
        process.readAllStandardError(),
        QByteArray("kestra-setup: A preview puts layers over the file systems, which cannot be "
                   "done here, as in most containers. Use it on the machine itself.\n"));
}

void PreviewTest::needsProxy()
{
    QProcess process;
    process.start("env"_s, {"PATH=/nowhere"_s, Machine::program, "undo"_s, "--preview"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 6);
    QVERIFY(process.readAllStandardError().contains("Install the package xdg-dbus-proxy."));
}

void PreviewTest::belongsToWhatChangesSomething()
{
    for (const char *command : {"status", "detect", "drivers", "providers"}) {
        const SetupResult result = run({QString::fromLatin1(command), "--preview"_s});
        QCOMPARE(result.code, 2);
        QVERIFY(!run({QString::fromLatin1(command), "--help"_s}).output.contains("--preview"));
    }
    for (const char *command : {"undo", "connect"})
        QVERIFY(run({QString::fromLatin1(command), "--help"_s}).output.contains("--preview"));
    const SetupResult result = run({"--preview"_s, "--log"_s, "/tmp/log"_s});
    QCOMPARE(result.code, 2);
    QVERIFY(result.errors.contains("--preview writes no file, and so excludes --log."));
}

KESTRA_TEST_MAIN(PreviewTest)
#include "previewtest.moc"
