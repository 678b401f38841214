// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QDir>
#include <QRegularExpression>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;

using Changes = QMap<QString, QString>;
Q_DECLARE_METATYPE(Changes)

namespace {

const QString scratch = Machine::directory + "/scratch"_s;

QByteArray latin1(const QString &text) { return text.toLatin1(); }

}

/** Everything that is refused before the first change. */
class RefusalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("LC_ALL", "C.UTF-8"); }
    void init();

    void wrongOptions();
    void helpAndVersion();
    void nobodyReadsTheHelp();
    void wishesOnly_data();
    void wishesOnly();
    void password_data();
    void password();
    void passwordFromStandardInput_data();
    void passwordFromStandardInput();
    void notRoot();
    void noBus();
    void theBusGoesAway();
    void missingTool_data();
    void missingTool();
    void unsafeBackupDirectory_data();
    void unsafeBackupDirectory();
    void unsafeExtractionPath_data();
    void unsafeExtractionPath();
    void unsafePatch_data();
    void unsafePatch();
    void missingRunLevel();
    void missingRunLevelDoesNotMatterWithoutBoot();
    void damagedDatabase();
    void sentencesAboutTheDatabase();
    void noModemInTime();
    void interruptedWhileWaitingForTheModem_data();
    void interruptedWhileWaitingForTheModem();
    void aDeviceThatIsNoModem();
    void bundle_data();
    void bundle();
    void hostileBundle_data();
    void hostileBundle();
    void noBundleAtHand_data();
    void noBundleAtHand();
    void aCompilerIsNeeded();
    void patchToolIsNeededForAPatch();
    void unwritableLog();
    void aLogThatIsNoFile_data();
    void aLogThatIsNoFile();

private:
    void refuses(const SetupResult &result, int code, const QByteArray &cause,
                 const QByteArray &nextStep);

    Machine m_machine;
    QByteArray m_stateBefore;
};

void RefusalTest::init()
{
    m_machine.reset();
    makeDirectory(scratch);
    m_stateBefore = Machine::state();
}

/** The code, one sentence with the cause and the next step, and nothing changed. */
void RefusalTest::refuses(const SetupResult &result, int code, const QByteArray &cause,
                          const QByteArray &nextStep)
{
    QCOMPARE(result.errors, "\n" + cause + " " + nextStep + "\n");
    QCOMPARE(result.code, code);
    QVERIFY2(result.output.contains(code == 130 ? " interrupted (" : " FAILED ("),
             result.output.constData());
    QVERIFY2(!result.output.contains("What was written"), result.output.constData());
    QCOMPARE(Machine::state(), m_stateBefore);
    QVERIFY(!result.everything().contains(Machine::password));
}

void RefusalTest::wrongOptions()
{
    const SetupResult result = m_machine.run(Changes {{"--sequence"_s, "100"_s}});
    QCOMPARE(result.code, 2);
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: --sequence must be a number from 10 to 99, not \"100\". See "
                        "kestra-setup --help.\n"));

    const SetupResult missing = m_machine.run(Changes {{"--country"_s, QString()}});
    QCOMPARE(missing.code, 2);
    QCOMPARE(missing.errors,
             QByteArray("kestra-setup: --country is needed with --unattended. See kestra-setup "
                        "--help.\n"));
}

void RefusalTest::helpAndVersion()
{
    const SetupResult help = m_machine.run(QStringList("--help"_s));
    QCOMPARE(help.code, 0);
    QVERIFY(help.output.contains("\nExit codes:\n    0  every stage succeeded\n"));
    const SetupResult version = m_machine.run(QStringList("--version"_s));
    QCOMPARE(version.code, 0);
    QVERIFY(QRegularExpression("^kestra-setup [0-9]+\\.[0-9]+\\.[0-9]+\n$"_s)
                .match(QString::fromLatin1(version.output))
                .hasMatch());
}

void RefusalTest::nobodyReadsTheHelp()
{
    QProcess process;
    process.start(
        "bash"_s,
        {"-c"_s, "set -o pipefail; { sleep 0.5; exec \"$0\" --help; } | :"_s, Machine::program});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
}

void RefusalTest::wishesOnly_data()
{
    QTest::addColumn<Changes>("changes");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("cause");
    QTest::addColumn<QByteArray>("nextStep");

    QTest::newRow("no bundle") << Changes {{"--driver-bundle"_s, scratch + "/none"_s}} << 7
                               << latin1("The driver bundle %1/none does not exist or is not a "
                                         "readable file."_s.arg(scratch))
                               << QByteArray("Give its path with --driver-bundle.");
    QTest::newRow("a directory for a bundle")
        << Changes {{"--driver-bundle"_s, scratch}} << 7
        << latin1("The driver bundle %1 does not exist or is not a readable file."_s.arg(scratch))
        << QByteArray("Give its path with --driver-bundle.");
    QTest::newRow("a pipe for a bundle")
        << Changes {{"--driver-bundle"_s, scratch + "/pipe"_s}} << 7
        << latin1(
               "The driver bundle %1/pipe does not exist or is not a readable file."_s.arg(scratch))
        << QByteArray("Give its path with --driver-bundle.");
    QTest::newRow("no kernel headers")
        << Changes {{"--kernel-headers"_s, scratch}} << 6
        << latin1("The headers of the kernel are not in %1."_s.arg(scratch))
        << latin1("Install the package linux-headers-%1, or give the directory with "
                  "--kernel-headers."_s.arg(Machine::release));
    QTest::newRow("no headers of the running kernel")
        << Changes {{"--kernel-headers"_s, QString()}} << 6
        << latin1("The headers of the kernel are not in /lib/modules/%1/build."_s.arg(
               Machine::release))
        << latin1("Install the package linux-headers-%1, or give the directory with "
                  "--kernel-headers."_s.arg(Machine::release));
    QTest::newRow("no init script")
        << Changes {{"--data-dir"_s, scratch}} << 6
        << latin1("The init script %1/kestrad is missing."_s.arg(scratch))
        << QByteArray("Install kestra-setup completely, or give --data-dir.");

    QTest::newRow("no database") << Changes {{"--providers"_s, scratch + "/none"_s}} << 16
                                 << latin1("The provider database %1/none cannot be used: there is "
                                           "no such file."_s.arg(scratch))
                                 << QByteArray("Install kestra-setup completely, or give another "
                                               "file with --providers.");
    QTest::newRow("unknown country")
        << Changes {{"--country"_s, "Atlantis"_s}} << 17
        << QByteArray("The provider database has no country \"Atlantis\".")
        << QByteArray("Give another name with --country.");
    QTest::newRow("misspelt country")
        << Changes {{"--country"_s, "Fredonia"_s}} << 17
        << QByteArray("The provider database has no country \"Fredonia\".")
        << QByteArray("Near matches: Freedonia. Give another name with --country.");
    QTest::newRow("unknown service")
        << Changes {{"--service"_s, "Example"_s}} << 17
        << QByteArray("The provider database has no service \"Example\".")
        << QByteArray(
               "Near matches: Example PPPoA, Example PPPoE, Example Bad Protocol, Example No "
               "Circuit, Example Bad Encapsulation. Give another name with --service.");
    QTest::newRow("service of another country")
        << Changes {{"--service"_s, "Sylvanian Telecom"_s}} << 17
        << QByteArray("The provider database has no service \"Sylvanian Telecom\".")
        << QByteArray("Give another name with --service.");
    const QByteArray mend = "Mend the database, or choose another service.";
    QTest::newRow("unknown protocol")
        << Changes {{"--service"_s, "Example Bad Protocol"_s}} << 17
        << QByteArray("The provider database has the unknown protocol \"pppox\" for \"Example Bad "
                      "Protocol\".")
        << mend;
    QTest::newRow("no circuit") << Changes {{"--service"_s, "Example No Circuit"_s}} << 17
                                << QByteArray("The provider database has no valid VPI and VCI for "
                                              "\"Example No Circuit\".")
                                << mend;
    QTest::newRow("unknown encapsulation")
        << Changes {{"--service"_s, "Example Bad Encapsulation"_s}} << 17
        << QByteArray("The provider database has the unknown encapsulation \"x\" for \"Example Bad "
                      "Encapsulation\".")
        << mend;

    const QByteArray letter = "Check the spelling in the provider's letter.";
    const QPair<const char *, QString> users[] = {
        {"has a double quote in it", "a\"b"_s},
        {"has a backslash in it", "a\\b"_s},
        {"has a line break in it", "a\nb"_s},
        {"has a control character in it", "a\x7f"_s},
        {"has a character in it that is not in Latin-1", QString(QChar(0x20ac))},
        {"is longer than 255 characters", QString(256, QLatin1Char('u'))},
    };
    for (const auto &user : users)
        QTest::addRow("user %s", user.first)
            << Changes {{"--user"_s, user.second}} << 18
            << "The user name cannot be used with pppd: it " + QByteArray(user.first) + "."
            << letter;
}

void RefusalTest::wishesOnly()
{
    QFETCH(Changes, changes);
    QFETCH(int, code);
    QFETCH(QByteArray, cause);
    QFETCH(QByteArray, nextStep);
    QCOMPARE(::mkfifo(qPrintable(scratch + "/pipe"_s), 0600), 0);
    refuses(m_machine.run(changes), code, cause, nextStep);
}

void RefusalTest::password_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("cause");
    QTest::addColumn<QByteArray>("nextStep");

    const QString path = scratch + "/pw"_s;
    const QByteArray open =
        latin1("The password file %1 is open to others than its owner."_s.arg(path));
    const QByteArray close = latin1("Run: chmod 600 %1"_s.arg(path));
    QTest::newRow("readable by others") << QByteArray("x") << 0604 << open << close;
    QTest::newRow("readable by the group") << QByteArray("x") << 0640 << open << close;
    QTest::newRow("writable by others") << QByteArray("x") << 0602 << open << close;
    QTest::newRow("missing") << QByteArray() << -1
                             << latin1("The password file %1 cannot be opened: No such file or "
                                       "directory."_s.arg(path))
                             << QByteArray("Give a file that root can read with --password-file.");

    const QByteArray another = "Ask the provider for another password.";
    const QByteArray file =
        latin1("Write the password and nothing else to the file %1."_s.arg(path));
    const struct
    {
        const char *fault;
        QByteArray content;
        QByteArray nextStep;
    } rows[] = {
        {"is empty", "", file},
        {"has a double quote in it", "a\"b", another},
        {"has a backslash in it", "a\\b", another},
        {"has a line break in it", "a\nb\n", file},
        {"has a control character in it", QByteArray("a\0b", 3), file},
        {"has a character in it that is not in Latin-1", "\xe2\x82\xac", another},
        {"is longer than 255 characters", QByteArray(256, 'p'), another},
        {"begins with @/, which pppd takes for the name of a file", "@/etc/shadow", another},
    };
    for (const auto &row : rows)
        QTest::newRow(row.fault) << row.content << 0600
                                 << "The password cannot be used with pppd: it "
                + QByteArray(row.fault) + "."
                                 << row.nextStep;
}

void RefusalTest::password()
{
    QFETCH(QByteArray, content);
    QFETCH(int, mode);
    QFETCH(QByteArray, cause);
    QFETCH(QByteArray, nextStep);
    const QString path = scratch + "/pw"_s;
    if (mode >= 0)
        writeFile(path, content, mode);
    const SetupResult result = m_machine.run(Changes {{"--password-file"_s, path}});
    refuses(result, 18, cause, nextStep);
    if (content.size() > 1)
        QVERIFY(!result.everything().contains(content.trimmed()));
}

void RefusalTest::passwordFromStandardInput_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QByteArray>("nextStep");
    QTest::newRow("quotes") << QByteArray("with \"quotes\"\n")
                            << QByteArray("has a double quote in it")
                            << QByteArray("Ask the provider for another password.");
    QTest::newRow("nothing") << QByteArray() << QByteArray("is empty")
                             << QByteArray("Pass the password and nothing else on standard input.");
}

void RefusalTest::passwordFromStandardInput()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, fault);
    QFETCH(QByteArray, nextStep);
    QProcess process;
    Machine::start(
        process,
        Machine::arguments({{"--password-file"_s, QString()}, {"--password-stdin"_s, "-"_s}}));
    process.write(input);
    process.closeWriteChannel();
    refuses(Machine::finish(process), 18,
            "The password cannot be used with pppd: it " + fault + ".", nextStep);
}

void RefusalTest::notRoot()
{
    // Nobody is root in a user namespace without a map.
    if (QProcess::execute("unshare"_s, {"--user"_s, "true"_s}) != 0)
        QSKIP("no user namespace can be made here");
    QProcess process;
    process.start("unshare"_s, QStringList {"--user"_s, Machine::program} + Machine::arguments());
    refuses(Machine::finish(process), 3, "This program must run as root.",
            "Start it with sudo, or from a root shell.");
}

void RefusalTest::noBus()
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, "unix:path=/nowhere"_s);
    process.setProcessEnvironment(environment);
    Machine::start(process, Machine::arguments());
    const SetupResult result = Machine::finish(process);
    QCOMPARE(result.code, 5);
    QVERIFY2(result.errors.startsWith("\nThe system message bus cannot be reached: "),
             result.errors.constData());
    QCOMPARE(Machine::state(), m_stateBefore);
}

void RefusalTest::theBusGoesAway()
{
    QProcess bus;
    bus.start("dbus-daemon"_s, {"--session"_s, "--nofork"_s, "--print-address"_s});
    QVERIFY(bus.waitForReadyRead());
    QProcess process;
    QByteArray output;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s,
                       QString::fromLatin1(bus.readAllStandardOutput().trimmed()));
    process.setProcessEnvironment(environment);
    Machine::start(process, Machine::arguments());
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem to be plugged in"));
    bus.kill();
    QVERIFY(bus.waitForFinished());
    refuses(Machine::finish(process, output, 5000), 5, "The system message bus has gone away.",
            "Start the service dbus, then start again.");
}

void RefusalTest::missingTool_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("manager");
    QTest::newRow("tar") << "tar"_s
                         << "tar"_s
                         << "apt"_s;
    QTest::newRow("make") << "make"_s
                          << "make"_s
                          << "apt"_s;
    QTest::newRow("dpkg") << "dpkg"_s
                          << "dpkg"_s
                          << "apt"_s;
    QTest::newRow("apt-get") << "apt-get"_s
                             << "apt"_s
                             << "apt"_s;
    QTest::newRow("zypper") << "zypper"_s
                            << "zypper"_s
                            << "zypper"_s;
}

/** A PATH on which there is every program but one. */
static void hideTool(QProcess &process, const QString &hidden)
{
    const QString directory = scratch + "/bin"_s;
    for (const char *tool :
         {"tar", "make", "rm", "gcc", "dpkg", "apt-get", "apt-cache", "zypper", "rpm"}) {
        const QString name = QString::fromLatin1(tool);
        if (name != hidden)
            writeFile(directory + "/"_s + name, "#!/bin/sh\n", 0755);
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PATH"_s, directory);
    process.setProcessEnvironment(environment);
}

void RefusalTest::missingTool()
{
    QFETCH(QString, tool);
    QFETCH(QString, package);
    QFETCH(QString, manager);
    QProcess process;
    hideTool(process, tool);
    Machine::start(
        process,
        Machine::arguments({{"--no-packages"_s, QString()}, {"--package-manager"_s, manager}}));
    refuses(Machine::finish(process), 6, latin1("The program %1 is not installed."_s.arg(tool)),
            latin1("Install the package %1."_s.arg(package)));
}

void RefusalTest::unsafeBackupDirectory_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("path");
    const QString root = "/tmp/kestra_drv_backup"_s;
    QTest::newRow("link") << "link"_s << root;
    QTest::newRow("foreign") << "foreign"_s << root;
    QTest::newRow("open") << "open"_s << root;
    QTest::newRow("file") << "file"_s << root;
    QTest::newRow("link below") << "link"_s << root + "/"_s + Machine::release;
}

void RefusalTest::unsafeBackupDirectory()
{
    QFETCH(QString, kind);
    QFETCH(QString, path);
    const QByteArray name = QFile::encodeName(path);
    makeDirectory(QFileInfo(path).path());
    if (kind == "link"_s)
        QVERIFY(QFile::link("/var/tmp"_s, path));
    else if (kind == "file"_s)
        writeFile(path, "");
    else
        makeDirectory(path);
    if (kind == "foreign"_s && ::chown(name.constData(), 65534, 65534) != 0)
        QSKIP("there is no other user in this user namespace");
    if (kind == "open"_s)
        QCOMPARE(QProcess::execute("chmod"_s, {"0777"_s, path}), 0);
    m_stateBefore = Machine::state();
    refuses(m_machine.run(), 6,
            name
                + " is no directory that only root can write to, so the backup of the driver would "
                  "not be safe there.",
            "See who made it, then move it away.");
}

/** Lets a path be another user's. Fails in a user namespace without one. */
static bool giveAway(const QString &path)
{
    return ::lchown(QFile::encodeName(path).constData(), 65534, 65534) == 0;
}

static void setMode(const QString &path, const QString &mode)
{
    QCOMPARE(QProcess::execute("chmod"_s, {mode, path}), 0);
}

void RefusalTest::unsafeExtractionPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("part"); ///< of the path, which others can change
    QTest::addColumn<QString>("mode"); ///< of the part; none when it is another user's
    QTest::addColumn<QString>("link"); ///< what the part links to, if it does
    const QString place = scratch + "/place"_s;
    const QString below = place + "/some/where"_s;
    QTest::newRow("foreign") << place << place << QString() << QString();
    QTest::newRow("for everybody") << place << place << "0777"_s << QString();
    QTest::newRow("for everybody, sticky") << place << place << "1777"_s << QString();
    QTest::newRow("for the group") << place << place << "0775"_s << QString();
    QTest::newRow("below a foreign one") << below << place << QString() << QString();
    QTest::newRow("below one for everybody") << below << place << "0777"_s << QString();
    QTest::newRow("below a foreign link") << below << place << QString() << scratch + "/target"_s;
}

void RefusalTest::unsafeExtractionPath()
{
    QFETCH(QString, path);
    QFETCH(QString, part);
    QFETCH(QString, mode);
    QFETCH(QString, link);
    makeDirectory(scratch + "/target"_s);
    if (link.isEmpty())
        makeDirectory(part);
    else
        QVERIFY(QFile::link(link, part));
    if (!mode.isEmpty())
        setMode(part, mode);
    else if (!giveAway(part))
        QSKIP("there is no other user in this user namespace");
    refuses(m_machine.run(Changes {{"--extraction-path"_s, path}}), 6,
            latin1("Others than root can write to %1, so the driver would not be safe in %2."_s.arg(
                part, path)),
            "Close it to them, or give another directory with --extraction-path.");
    QVERIFY(!exists(path + "/ueagle-atm"_s));
}

void RefusalTest::unsafePatch_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<bool>("isForeign");
    QTest::addColumn<bool>("isForeignLink");
    QTest::newRow("foreign") << "0644"_s << true << false;
    QTest::newRow("for everybody") << "0666"_s << false << false;
    QTest::newRow("for the group") << "0664"_s << false << false;
    QTest::newRow("foreign link") << "0644"_s << false << true;
}

void RefusalTest::unsafePatch()
{
    QFETCH(QString, mode);
    QFETCH(bool, isForeign);
    QFETCH(bool, isForeignLink);
    const QString path =
        Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release);
    const QString file = isForeignLink ? scratch + "/patch"_s : path;
    writeFile(file, "--- source.c\n+++ source.c\n@@ -1 +1 @@\n-the driver\n+another driver\n");
    if (isForeignLink)
        QVERIFY(QFile::link(file, path));
    setMode(file, mode);
    if ((isForeign || isForeignLink) && !giveAway(path))
        QSKIP("there is no other user in this user namespace");
    const QByteArray cause = latin1("The patch %1 belongs neither to root nor to the owner of the "
                                    "driver bundle, or others can write to it."_s.arg(path));
    refuses(m_machine.run(), 6, cause,
            "See who put it there and what it does, then take it over with chown and chmod go-w, "
            "or remove it.");
}

void RefusalTest::missingRunLevel()
{
    remove("/etc/rc4.d"_s);
    m_stateBefore = Machine::state();
    refuses(m_machine.run(), 6, "The run-level directory /etc/rc4.d does not exist.",
            "Install the distribution's support for init scripts, or use --no-boot.");
}

void RefusalTest::missingRunLevelDoesNotMatterWithoutBoot()
{
    remove("/etc/rc4.d"_s);
    m_stateBefore = Machine::state();
    refuses(m_machine.run(Changes {{"--no-boot"_s, "-"_s}, {"--country"_s, "X"_s}}), 17,
            "The provider database has no country \"X\".", "Give another name with --country.");
}

void RefusalTest::damagedDatabase()
{
    const QString path = scratch + "/services.xml"_s;
    const Changes changes = {{"--providers"_s, path}};
    const QByteArray nextStep =
        "Install kestra-setup completely, or give another file with --providers.";

    writeFile(path, "<services>\n <country code=\"A\">\n </services>\n");
    const SetupResult malformed = m_machine.run(changes);
    QCOMPARE(malformed.code, 16);
    QVERIFY2(malformed.errors.contains("services.xml cannot be used: line 3, column "),
             malformed.errors.constData());

    writeFile(path, "<services/>\n");
    refuses(m_machine.run(changes), 16,
            latin1("The provider database %1 cannot be used: it has no countries."_s.arg(path)),
            nextStep);
}

void RefusalTest::sentencesAboutTheDatabase()
{
    const QString path = Machine::directory + "/services.xml"_s;
    m_machine.writeDatabase("<country code=\"Sylvania\"><service name=\"A1.net Telekom\"/>"
                            "</country>");
    const Changes changes {{"--country"_s, "Sylvania"_s}, {"--service"_s, "A1.net"_s}};
    refuses(m_machine.run(changes), 17, "The provider database has no service \"A1.net\".",
            "Near matches: A1.net Telekom. Give another name with --service.");

    writeFile(path, "<services></country>");
    const SetupResult result = m_machine.run();
    QCOMPARE(result.code, 16);
    QVERIFY2(result.errors.contains(". Install kestra-setup completely")
                 && !result.errors.contains(".. "),
             result.errors.constData());
}

void RefusalTest::noModemInTime()
{
    QProcess process;
    Machine::start(process, Machine::arguments({{"--modem-timeout"_s, "6"_s}}));
    refuses(Machine::finish(process), 4, "No supported modem was plugged in within 6 seconds.",
            "Plug it in, then start again.");
}

void RefusalTest::interruptedWhileWaitingForTheModem_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("interrupt") << SIGINT;
    QTest::newRow("terminate") << SIGTERM;
    QTest::newRow("hang up") << SIGHUP;
    QTest::newRow("quit") << SIGQUIT;
}

void RefusalTest::interruptedWhileWaitingForTheModem()
{
    QFETCH(int, signal);
    QProcess process;
    QByteArray output;
    Machine::start(process, Machine::arguments());
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem to be plugged in"));
    ::kill(pid_t(process.processId()), signal);
    refuses(Machine::finish(process, output, 3000), 130, "The set-up was interrupted.",
            "Start it again to go on; every stage may be repeated.\nNothing was changed.");
}

void RefusalTest::aDeviceThatIsNoModem()
{
    m_machine.product = 0x1234;
    refuses(m_machine.run(Changes {{"--modem-timeout"_s, "7"_s}}), 4,
            "No supported modem was plugged in within 7 seconds.", "Plug it in, then start again.");
}

void RefusalTest::bundle_data()
{
    QTest::addColumn<QStringList>("tar"); ///< how the bundle is made, none for no archive
    QTest::addColumn<Changes>("changes");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("cause");
    QTest::addColumn<QString>("nextStep");

    QTest::newRow("no archive") << QStringList() << Changes() << 7
                                << "The driver bundle %1 is no tar archive that can be read to its "
                                   "end."_s
                                << "Make or download it again."_s;
    QTest::newRow("leaves its directory")
        << QStringList {"--transform=s,ueagle-atm/source.c,../source.c,"_s, "ueagle-atm"_s}
        << Changes() << 7
        << "The driver bundle %1 would put files outside its directory (../source.c)."_s
        << "Get it from a source that you trust."_s;
    QTest::newRow("absolute names")
        << QStringList {"-P"_s, "--transform=s,^,/,"_s, "ueagle-atm"_s} << Changes() << 7
        << "The driver bundle %1 would put files outside its directory (/ueagle-atm/)."_s
        << "Get it from a source that you trust."_s;
    QTest::newRow("other tree") << QStringList(
        "ueagle-atm"_s) << Changes {{"--driver-tree"_s, Machine::directory + "/src/other"_s}}
                                << 7
                                << "The driver bundle %1 does not hold the driver tree other."_s
                                << "Name the directory that it unpacks into with --driver-tree."_s;
    const QString mend = "Mend --driver-tree or --extraction-path."_s;
    QTest::newRow("tree outside") << QStringList("ueagle-atm"_s)
                                  << Changes {{"--driver-tree"_s, "/usr"_s}} << 2
                                  << "The driver tree /usr is not below the directory "
                                     "/tmp/machine/src in which the bundle is "
                                     "unpacked."_s
                                  << mend;
    QTest::newRow("tree outside by a detour")
        << QStringList("ueagle-atm"_s)
        << Changes {{"--driver-tree"_s, Machine::directory + "/src/../../lib"_s}} << 2
        << "The driver tree /tmp/lib is not below the directory /tmp/machine/src in which the "
           "bundle "
           "is unpacked."_s
        << mend;
    QTest::newRow("root for a place to unpack in")
        << QStringList("ueagle-atm"_s) << Changes {{"--extraction-path"_s, "/"_s}} << 2
        << "The driver tree /ueagle-atm is not below the directory / in which the bundle is "
           "unpacked."_s
        << mend;
}

void RefusalTest::bundle()
{
    QFETCH(QStringList, tar);
    QFETCH(Changes, changes);
    QFETCH(int, code);
    QFETCH(QString, cause);
    QFETCH(QString, nextStep);
    const QString path = scratch + "/b.tar"_s;
    writeFile(path, "this is no archive, however long it may become\n");
    if (!tar.isEmpty())
        QCOMPARE(QProcess::execute(
                     "tar"_s,
                     QStringList {"-C"_s, Machine::directory + "/bundle"_s, "-cf"_s, path} + tar),
                 0);
    changes["--driver-bundle"_s] = path;
    refuses(m_machine.run(changes), code, latin1(cause.contains("%1"_s) ? cause.arg(path) : cause),
            latin1(nextStep));
}

void RefusalTest::hostileBundle_data()
{
    QTest::addColumn<QString>("script"); ///< makes b.tar
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("isBroken"); ///< or somebody means harm
    const QString outside = "has a link that leads outside its directory (%1)"_s;
    const QString through = "would write through a link of its own (%1)"_s;
    const QString pack = "; tar -cf b.tar ueagle-atm"_s;
    QTest::newRow("link to an absolute name")
        << "ln -s /etc ueagle-atm/l"_s + pack << outside.arg("ueagle-atm/l to /etc"_s) << false;
    QTest::newRow("link upwards") << "ln -s ../../x ueagle-atm/l"_s + pack
                                  << outside.arg("ueagle-atm/l to ../../x"_s) << false;
    QTest::newRow("link down and upwards")
        << "ln -s a/../../../x ueagle-atm/l"_s + pack
        << outside.arg("ueagle-atm/l to a/../../../x"_s) << false;
    QTest::newRow("link and what goes through it")
        << "mkdir ueagle-atm/d; ln -s d ueagle-atm/l"_s + pack
            + "; rm ueagle-atm/l; mkdir ueagle-atm/l; touch ueagle-atm/l/f;"
              " tar -rf b.tar ueagle-atm/l/f"_s
        << through.arg("ueagle-atm/l/f"_s) << false;
    QTest::newRow("directory and a link in its place")
        << "mkdir ueagle-atm/l; touch ueagle-atm/l/f"_s + pack
            + "; rm -r ueagle-atm/l; ln -s . ueagle-atm/l; tar -rf b.tar ueagle-atm/l"_s
        << through.arg("ueagle-atm/l"_s) << false;
    QTest::newRow("a link for a tree") << "rm -r ueagle-atm; ln -s /etc ueagle-atm"_s + pack
            + "; rm ueagle-atm; mkdir ueagle-atm; touch ueagle-atm/f;"
              " tar -rf b.tar ueagle-atm/f"_s
                                       << outside.arg("ueagle-atm to /etc"_s) << false;
    QTest::newRow("hard link outside")
        << "ln ueagle-atm/Makefile ueagle-atm/h;"
           " tar -P --transform='flags=h;s,.*,/etc/passwd,' -cf b.tar ueagle-atm/Makefile"
           " ueagle-atm/h"_s
        << outside.arg("ueagle-atm/h to /etc/passwd"_s) << false;
    QTest::newRow("hard link to a link")
        << "mkdir ueagle-atm/d; ln -s ../.. ueagle-atm/d/l; ln -P ueagle-atm/d/l h;"
           " tar -cf b.tar ueagle-atm h"_s
        << outside.arg("h to ueagle-atm/d/l"_s) << false;
    QTest::newRow("pipe in it") << "mkfifo ueagle-atm/p"_s
            + pack << "holds something that is neither file nor directory nor link (ueagle-atm/p)"_s
                                << false;
    QTest::newRow("name with a line break and an escape sequence")
        << "ln -s /x \"ueagle-atm/$(printf 'a\\nb\\033[1mc')\""_s + pack
        << outside.arg("ueagle-atm/a?bc to /x"_s) << false;
    QTest::newRow("empty file") << "touch b.tar"_s
                                << "is empty"_s << true;
    QTest::newRow("no members") << "tar -cf b.tar -T /dev/null"_s
                                << "holds no files"_s << true;
    QTest::newRow("truncated")
        << "head -c 200000 /dev/urandom >ueagle-atm/r; tar -cz ueagle-atm | head -c 5000 >b.tar"_s
        << "is no tar archive that can be read to its end"_s << true;
    QTest::newRow("too large") << "truncate -s 2G b.tar"_s
                               << "is larger than 256 MiB"_s << true;
    QTest::newRow("too large when unpacked")
        << "truncate -s 2G ueagle-atm/z; tar -Sczf b.tar ueagle-atm"_s
        << "holds more than 1024 MiB"_s << true;
    QTest::newRow("too many members")
        << "yes ueagle-atm/Makefile | head -n 50001 | tar -czf b.tar -T -"_s
        << "holds more than 50000 files"_s << true;
}

void RefusalTest::hostileBundle()
{
    QFETCH(QString, script);
    QFETCH(QString, fault);
    QFETCH(bool, isBroken);
    QCOMPARE(QProcess::execute(
                 "sh"_s,
                 {"-c"_s,
                  "cd %1; mkdir ueagle-atm; touch ueagle-atm/Makefile; "_s.arg(scratch) + script}),
             0);
    const QString path = scratch + "/b.tar"_s;
    refuses(m_machine.run(Changes {{"--driver-bundle"_s, path}}), 7,
            "The driver bundle " + latin1(path + " "_s + fault) + ".",
            isBroken ? "Make or download it again." : "Get it from a source that you trust.");
}

void RefusalTest::noBundleAtHand_data()
{
    QTest::addColumn<QString>("driver");
    QTest::addColumn<QByteArray>("sentences");
    QTest::newRow("none there")
        << "cxacru"_s
        << QByteArray("The driver bundle cxacru-neo.tar.gz is not in " KESTRA_DATA_DIRECTORY
                      "/bundles or /usr/share/kestra/bundles. kestra-driver-bundle cxacru "
                      "cuts it out of Debian's package linux-source-6.1.");
    QTest::newRow("no source anywhere")
        << "unicorn"_s
        << QByteArray("No bundle of the driver unicorn is at hand. No distribution carries the "
                      "source of this driver, and kestra-setup cannot make a bundle of it.");
}

void RefusalTest::noBundleAtHand()
{
    QFETCH(QString, driver);
    QFETCH(QByteArray, sentences);
    const SetupResult result =
        m_machine.run(Changes {{"--driver-bundle"_s, QString()}, {"--driver"_s, driver}});
    QCOMPARE(result.code, 7);
    QVERIFY2(result.errors.startsWith("\n" + sentences), result.errors.constData());
    QVERIFY2(result.errors.contains(" --driver-bundle"), result.errors.constData());
    QCOMPARE(Machine::state(), m_stateBefore);
}

/** A PATH on which there is every program but the compilers. */
void RefusalTest::aCompilerIsNeeded()
{
    QProcess process;
    hideTool(process, "gcc"_s);
    remove(scratch + "/bin/tar"_s);
    QVERIFY(QFile::link("/bin/tar"_s, scratch + "/bin/tar"_s));
    QVERIFY(QFile::link("/bin/gzip"_s, scratch + "/bin/gzip"_s));
    QMap<QString, QString> changes = {{"--driver"_s, "ueagle-atm"_s}};
    Machine::start(process, Machine::arguments(changes));
    refuses(Machine::finish(process), 6, "No C compiler is installed.", "Install the package gcc.");

    // Who names one knows better.
    changes.insert("--make-environment"_s, "CC=/opt/cc"_s);
    changes.insert("--driver-tree"_s, "/tmp/outside"_s);
    Machine::start(process, Machine::arguments(changes));
    QCOMPARE(Machine::finish(process).code, 2);
}

void RefusalTest::patchToolIsNeededForAPatch()
{
    writeFile(Machine::directory + "/ueagle-atm-default_%1.patch"_s.arg(Machine::release), "");
    QProcess process;
    QByteArray output;
    hideTool(process, "patch"_s);
    remove(scratch + "/bin/tar"_s);
    QVERIFY(QFile::link("/bin/tar"_s, scratch + "/bin/tar"_s));
    QVERIFY(QFile::link("/bin/gzip"_s, scratch + "/bin/gzip"_s));
    Machine::start(process, Machine::arguments());
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    refuses(Machine::finish(process, output), 6, "The program patch is not installed.",
            "Install the package patch.");
}

void RefusalTest::unwritableLog()
{
    const SetupResult result = m_machine.run(Changes {{"--log"_s, scratch + "/none/log"_s}});
    QCOMPARE(result.code, 2);
    QCOMPARE(result.errors,
             latin1("kestra-setup: The log %1/none/log cannot be written: No such file or "
                    "directory. See kestra-setup --help.\n"_s.arg(scratch)));
}

void RefusalTest::aLogThatIsNoFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("device") << "/dev/null"_s;
    QTest::newRow("pipe") << scratch + "/pipe"_s;
    QTest::newRow("pipe that is read") << scratch + "/open"_s;
}

void RefusalTest::aLogThatIsNoFile()
{
    QFETCH(QString, path);
    for (const char *name : {"/pipe", "/open"})
        QCOMPARE(::mkfifo(qPrintable(scratch + QLatin1String(name)), 0600), 0);
    const int reader = ::open(qPrintable(scratch + "/open"_s), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const SetupResult result = m_machine.run(Changes {{"--log"_s, path}});
    ::close(reader);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.errors,
             latin1("kestra-setup: The log %1 is no regular file. See kestra-setup --help.\n"_s.arg(
                 path)));
}

KESTRA_TEST_MAIN(RefusalTest)
#include "refusaltest.moc"
