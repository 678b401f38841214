// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QRegularExpression>

#include <sys/mount.h>
#include <sys/stat.h>

using namespace KestraTest;

using Changes = QMap<QString, QString>;

namespace {

const Changes withoutDriver = {
    {"--no-driver"_s, "-"_s}, {"--driver-bundle"_s, QString()}, {"--kernel-headers"_s, QString()}};

Changes with(Changes changes, const QString &option, const QString &value)
{
    changes[option] = value;
    return changes;
}

/** The output without what differs from run to run and from machine to machine. */
QByteArray normalised(const QByteArray &output)
{
    QString text = QString::fromUtf8(output);
    text.replace(QRegularExpression("\\(\\d+\\.\\d s\\)"_s), "(TIME)"_s);
    text.replace(Machine::release, "RELEASE"_s);
    return text.toUtf8();
}

QByteArray golden(const char *name)
{
    return readFile(QStringLiteral(KESTRA_GOLDEN_DIRECTORY "/") + QLatin1String(name));
}

const QByteArray originalResolver = "# mine\nnameserver 198.51.100.1\n";
const QByteArray undoHint = "kestra-setup undo makes everything as it was before.\n";

QByteArray latin1(const QString &text) { return text.toLatin1(); }

/** A file system that is soon full. */
struct SmallDisk
{
    const QString path = "/mnt/small"_s;

    SmallDisk()
    {
        makeDirectory(path);
        if (::mount("tmpfs", qPrintable(path), "tmpfs", 0, "size=16k") != 0)
            qFatal("cannot mount %s", qPrintable(path));
    }
    ~SmallDisk() { ::umount2(qPrintable(path), MNT_DETACH); }

    void fill() const
    {
        QFile file(path + "/filler"_s);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            qFatal("cannot fill %s", qPrintable(path));
        while (file.write(QByteArray(1024, 'x')) == 1024) { }
    }
};

}

/** The stages after the driver, and a run as a whole. */
class ConnectionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aWholeRun();
    void theUmaskDoesNotMatter();
    void pppoe();
    void pppoaWithLlc();
    void unicorn();
    void aServiceWithoutNameServers();
    void noValidNameServer();
    void aFullDiskUnderTheNameServers();
    void nameServersThatCannotBeSaved();
    void aDanglingLinkForTheNameServers();
    void nameServersOfAnotherProgram_data();
    void nameServersOfAnotherProgram();
    void noBoot();
    void noNameServers();
    void sequence();
    void theWorkingDirectoryDoesNotMatter();
    void passwordFromStandardInput();
    void latin1Login();
    void aPeerFileThatCannotBeWritten();
    void secretsThatCannotBeWritten_data();
    void secretsThatCannotBeWritten();
    void entriesThatAreReplaced();
    void withoutPppd();
    void aLinkThatCannotBeMade();
    void countryAndServiceWithoutCase();

private:
    Machine m_machine;
};

void ConnectionTest::init()
{
    m_machine.reset();
    writeFile("/etc/resolv.conf"_s, originalResolver);
    for (const QString &name : {"options"_s, "pap-secrets"_s, "chap-secrets"_s})
        remove("/etc/ppp/"_s + name);
    // So that what happens to the dependency's links does not depend on the machine.
    for (int level = 0; level <= 6; ++level) {
        const QString directory = "/etc/rc%1.d"_s.arg(level);
        remove(directory);
        makeDirectory(directory);
    }
    writeFile("/etc/init.d/dbus"_s, "");
    QVERIFY(QFile::link("/etc/init.d/dbus"_s, "/etc/rc2.d/S01dbus"_s));
    QVERIFY(QFile::link("/etc/init.d/dbus"_s, "/etc/rc6.d/K05dbus"_s));
}

void ConnectionTest::aWholeRun()
{
    const SetupResult result = m_machine.run();
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(normalised(result.output).split('\n'), golden("whole-run.txt").split('\n'));

    QVERIFY(readFile("/etc/ppp/peers/kestra"_s)
                .endsWith("plugin pppoatm.so 8.35\n"
                          "user \"me@example.net\"\n"));
    const QByteArray secret = "\"me@example.net\" * \"" + Machine::password + "\" *\n";
    QCOMPARE(readFile("/etc/ppp/pap-secrets"_s), secret);
    QCOMPARE(readFile("/etc/ppp/chap-secrets"_s), secret);
    QCOMPARE(readFile("/etc/ppp/options"_s), QByteArray("replacedefaultroute\nupdetach\n"));
    QCOMPARE(fileMode("/etc/ppp/pap-secrets"_s), 0400);
    QCOMPARE(fileMode("/etc/ppp/chap-secrets"_s), 0400);
    QCOMPARE(fileMode("/etc/ppp/options"_s), 0400);
    QCOMPARE(fileMode("/etc/ppp/peers/kestra"_s), 0444);
    QCOMPARE(readFile("/etc/init.d/kestrad"_s),
             readFile(QStringLiteral(KESTRA_DATA_DIRECTORY "/kestrad")));
    QCOMPARE(fileMode("/etc/init.d/kestrad"_s), 0751);
    QCOMPARE(fileMode("/etc/kestra/connection.conf"_s), 0644);
    QCOMPARE(readFile("/etc/kestra/connection.conf"_s),
             QByteArray("# Written by kestra-setup, read by /etc/init.d/kestrad.\n"
                        "DRIVER=ueagle-atm\nMODULE=ueagle-atm\nPEER=kestra\nPROTOCOL=pppoa\n"
                        "VPI=8\nVCI=35\nENCAPSULATION=vc\n"
                        "LOAD_MODULES='usbatm ueagle-atm'\n"));
    for (int level = 0; level <= 6; ++level) {
        const bool stops = level < 2 || level == 6;
        const QString link =
            "/etc/rc%1.d/%2"_s.arg(level).arg(stops ? "K20kestrad"_s : "S20kestrad"_s);
        QCOMPARE(linkTarget(link), "/etc/init.d/kestrad"_s);
    }
    QCOMPARE(readFile("/etc/resolv.conf"_s),
             QByteArray("nameserver 192.0.2.1\nnameserver 192.0.2.2\n"));
    QCOMPARE(readFile("/etc/resolv.conf_kestra"_s), originalResolver);
    QCOMPARE(listDirectory("/run"_s).filter("kestra-setup"_s), QStringList("kestra-setup.lock"_s));
}

void ConnectionTest::theUmaskDoesNotMatter()
{
    remove("/etc/ppp/peers"_s);
    remove("/etc/resolv.conf"_s);
    remove("/opt/kestra"_s);
    const mode_t before = ::umask(077);
    const SetupResult result = m_machine.run();
    ::umask(before);
    QCOMPARE(result.code, 0);
    QCOMPARE(fileMode("/etc/resolv.conf"_s), 0644);
    QCOMPARE(fileMode("/etc/ppp/peers"_s), 0755);
    QCOMPARE(fileMode("/opt/kestra/logs"_s), 0755);
    QCOMPARE(fileMode("/opt/kestra/logs/ueagle-atm-default_compiler.log"_s), 0644);
    QCOMPARE(fileMode("/etc/kestra"_s), 0755);
    QCOMPARE(fileMode("/etc/ppp/pap-secrets"_s), 0400);
}

void ConnectionTest::pppoe()
{
    const SetupResult result = m_machine.run(with(withoutDriver, "--service"_s, "Example PPPoE"_s));
    QCOMPARE(result.code, 0);
    QVERIFY(readFile("/etc/ppp/peers/kestra"_s)
                .endsWith("plugin rp-pppoe.so\nnic-nas0\n"
                          "user \"me@example.net\"\n"));
    const QByteArray configuration = readFile("/etc/kestra/connection.conf"_s);
    QVERIFY(configuration.contains("\nPROTOCOL=pppoe\nVPI=0\nVCI=38\nENCAPSULATION=vc\n"));
    QVERIFY(configuration.contains("\nDRIVER=ueagle-atm\nMODULE=ueagle-atm\n"));
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    QVERIFY(!result.output.contains("compile the driver"));
}

void ConnectionTest::pppoaWithLlc()
{
    QCOMPARE(m_machine.run(with(withoutDriver, "--service"_s, "Example LLC"_s)).code, 0);
    QVERIFY(readFile("/etc/ppp/peers/kestra"_s)
                .endsWith("plugin pppoatm.so 1.32\n"
                          "user \"me@example.net\"\nllc-encaps\n"));
}

void ConnectionTest::unicorn()
{
    QProcess process;
    QByteArray output;
    Machine::start(process,
                   Machine::arguments(with(withoutDriver, "--module"_s, "unicorn_usb_eth.ko"_s)));
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.hal.addDevice(
        "/modem"_s, {{"usb_device.vendor_id"_s, 0x0483}, {"usb_device.product_id"_s, 0x0138}});
    m_machine.hal.emitDeviceAdded("/modem"_s);
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 0);
    QVERIFY(result.output.contains(": ZTE ZXDSL 852, driver unicorn, version neo\n"));
    QVERIFY(readFile("/etc/ppp/peers/kestra_unicorn"_s).contains("\nnic-dsl0\n"));
    QVERIFY(!exists("/etc/ppp/peers/kestra"_s));
    QCOMPARE(readFile("/etc/modprobe.d/kestra.conf"_s),
             QByteArray("options unicorn_usb_eth ActivationMode=3 VPI=8 VCI=35 PROTOCOL=pppoatm "
                        "ENCAPS=vc-encaps\n"));
    QVERIFY(readFile("/etc/kestra/connection.conf"_s)
                .contains("\nDRIVER=unicorn\nMODULE=unicorn_usb_eth\nPEER=kestra_unicorn\n"));
    QVERIFY2(!result.output.contains("VPI: 8"), result.output.constData());
}

void ConnectionTest::aServiceWithoutNameServers()
{
    const SetupResult result = m_machine.run(with(withoutDriver, "--service"_s, "Example PPPoE"_s));
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(
                 "] set the name servers ... skipped: the provider's name servers are not known; "
                 "most announce them when the connection comes up\n"),
             result.output.constData());
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
    QVERIFY(!exists("/etc/resolv.conf_kestra"_s));
}

void ConnectionTest::noValidNameServer()
{
    const SetupResult result =
        m_machine.run(with(withoutDriver, "--service"_s, "Example Bad Servers"_s));
    QCOMPARE(result.code, 21);
    QCOMPARE(result.errors,
             QByteArray("\nNone of the provider's name servers is a valid address: 300.1.1.1. Mend "
                        "the provider database, or use --no-dns.\n")
                 + undoHint);
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
}

void ConnectionTest::aFullDiskUnderTheNameServers()
{
    const SmallDisk disk;
    writeFile(disk.path + "/resolv.conf"_s, "");
    disk.fill();
    remove("/etc/resolv.conf"_s);
    QVERIFY(QFile::link(disk.path + "/resolv.conf"_s, "/etc/resolv.conf"_s));
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 21);
    QCOMPARE(result.errors,
             latin1("\n/etc/resolv.conf could not be written: it is a link to %1/resolv.conf. See "
                    "whether the directory of that file exists and whether the disk is full or the "
                    "file protected, then start again.\n"_s.arg(disk.path))
                 + undoHint);
    QVERIFY(!result.output.contains("  /etc/resolv.conf  ("));
    QVERIFY(result.output.contains("  /etc/resolv.conf_kestra  ("));
}

void ConnectionTest::nameServersThatCannotBeSaved()
{
    QVERIFY(QFile::link("/nowhere/at/all"_s, "/etc/resolv.conf_kestra"_s));
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 21);
    QCOMPARE(result.errors,
             QByteArray("\n/etc/resolv.conf could not be saved as /etc/resolv.conf_kestra. See "
                        "whether the disk is full or something else is in that place, then start "
                        "again.\n")
                 + undoHint);
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
    QVERIFY(!result.output.contains("  /etc/resolv.conf"));
}

void ConnectionTest::aDanglingLinkForTheNameServers()
{
    remove("/etc/resolv.conf"_s);
    QVERIFY(QFile::link("/nowhere/resolv.conf"_s, "/etc/resolv.conf"_s));
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 21);
    QVERIFY2(result.errors.startsWith("\n/etc/resolv.conf could not be written: it is a link to "
                                      "/nowhere/resolv.conf. See whether the directory "),
             result.errors.constData());
}

void ConnectionTest::nameServersOfAnotherProgram_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("told");
    QTest::newRow("name servers only") << originalResolver << QByteArray();
    QTest::newRow("a search list")
        << QByteArray("search example.net\n")
        << QByteArray(
               "    /etc/resolv.conf holds more than name servers, or is the file of another "
               "program, which may write it again.\n");
    QTest::newRow("NetworkManager's")
        << QByteArray("# Modified_by:  NetworkManager\n")
        << QByteArray("    /etc/resolv.conf is the file of NetworkManager, which may write it "
                      "again.\n");
}

void ConnectionTest::nameServersOfAnotherProgram()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, told);
    writeFile("/etc/resolv.conf"_s, content);
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(told), result.output.constData());
    QCOMPARE(result.output.contains("/etc/resolv.conf is the file")
                 || result.output.contains("/etc/resolv.conf holds"),
             !told.isEmpty());
}

void ConnectionTest::noBoot()
{
    const SetupResult result = m_machine.run(with(withoutDriver, "--no-boot"_s, "-"_s));
    QCOMPARE(result.code, 0);
    QVERIFY(!exists("/etc/init.d/kestrad"_s));
    QCOMPARE(listDirectory("/etc/rc2.d"_s), QStringList("S01dbus"_s));
    QVERIFY(exists("/etc/ppp/peers/kestra"_s));
}

void ConnectionTest::noNameServers()
{
    const SetupResult result = m_machine.run(with(withoutDriver, "--no-dns"_s, "-"_s));
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
    QVERIFY(!result.output.contains("name servers"));
}

void ConnectionTest::sequence()
{
    QCOMPARE(m_machine.run(with(withoutDriver, "--sequence"_s, "10"_s)).code, 0);
    QCOMPARE(linkTarget("/etc/rc3.d/S10kestrad"_s), "/etc/init.d/kestrad"_s);
    QCOMPARE(m_machine.run(with(withoutDriver, "--sequence"_s, "99"_s)).code, 0);
    QCOMPARE(linkTarget("/etc/rc3.d/S99kestrad"_s), "/etc/init.d/kestrad"_s);
    QVERIFY(!exists("/etc/rc3.d/S10kestrad"_s));
}

void ConnectionTest::theWorkingDirectoryDoesNotMatter()
{
    QProcess process;
    QByteArray output;
    process.setWorkingDirectory(Machine::directory);
    Changes changes = with(withoutDriver, "--providers"_s, "services.xml"_s);
    changes["--password-file"_s] = "password"_s;
    changes["--log"_s] = "log"_s;
    Machine::start(process, Machine::arguments(changes));
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QCOMPARE(Machine::finish(process, output).code, 0);
    QVERIFY(exists(Machine::directory + "/log"_s));
}

void ConnectionTest::passwordFromStandardInput()
{
    QProcess process;
    QByteArray output;
    Changes changes = with(withoutDriver, "--password-stdin"_s, "-"_s);
    changes["--password-file"_s] = QString();
    Machine::start(process, Machine::arguments(changes));
    process.write("from a pipe\n");
    process.closeWriteChannel();
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 0);
    QCOMPARE(readFile("/etc/ppp/chap-secrets"_s),
             QByteArray("\"me@example.net\" * \"from a pipe\" *\n"));
    QVERIFY(!result.everything().contains("from a pipe"));
}

void ConnectionTest::latin1Login()
{
    writeFile(Machine::directory + "/password"_s, "%1%2 #'\xc3\xa9\n", 0600);
    QCOMPARE(m_machine.run(with(withoutDriver, "--user"_s, "%2%1#x"_s)).code, 0);
    QCOMPARE(readFile("/etc/ppp/pap-secrets"_s), QByteArray("\"%2%1#x\" * \"%1%2 #'\xe9\" *\n"));
}

void ConnectionTest::aPeerFileThatCannotBeWritten()
{
    makeDirectory("/etc/ppp/peers/kestra"_s);
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 19);
    QCOMPARE(
        result.errors,
        QByteArray("\n/etc/ppp/peers/kestra could not be written. See whether the disk is full "
                   "or the file protected, then start again.\n"));
    QVERIFY(!exists("/etc/kestra"_s));
    QVERIFY(!result.output.contains("What was written"));
}

void ConnectionTest::secretsThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("blocked");
    QTest::addColumn<QString>("written");
    const QString pap = "/etc/ppp/pap-secrets"_s;
    const QString chap = "/etc/ppp/chap-secrets"_s;
    QTest::newRow("PAP") << pap << chap;
    QTest::newRow("CHAP") << chap << pap;
}

void ConnectionTest::secretsThatCannotBeWritten()
{
    QFETCH(QString, blocked);
    QFETCH(QString, written);
    makeDirectory(blocked);
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 19);
    QVERIFY2(result.errors.startsWith(latin1("\n%1 could not be written. "_s.arg(blocked))),
             result.errors.constData());
    QVERIFY(result.output.contains(latin1("  %1  ("_s.arg(written))));
    QVERIFY(!result.output.contains(latin1("  %1  ("_s.arg(blocked))));
}

void ConnectionTest::entriesThatAreReplaced()
{
    writeFile("/etc/ppp/pap-secrets"_s, "# mine\n\n\"other one\" * \"w0rd\" *\nx y z\n", 0600);
    writeFile("/etc/ppp/chap-secrets"_s, "# nothing but a comment\n", 0600);
    writeFile("/etc/ppp/options"_s, "asyncmap 0\nuser me password w0rd\n");
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 0);
    const QByteArray told = ", which are replaced (kestra-setup undo brings them back):\n";
    QVERIFY2(result.output.contains("    /etc/ppp/pap-secrets has entries of its own" + told
                                    + "        other one * ********\n"
                                      "        x y ********\n"
                                      "    /etc/ppp/options has entries of its own"
                                    + told
                                    + "        asyncmap 0\n"
                                      "        user me password ********\n"),
             result.output.constData());
    QVERIFY(!result.everything().contains("w0rd"));
    QVERIFY(!result.output.contains("chap-secrets has entries"));

    QVERIFY(!m_machine.run(withoutDriver).output.contains("are replaced")); // only ours are left
}

void ConnectionTest::withoutPppd()
{
    const QString program = "/usr/sbin/pppd"_s;
    const QString aside = "/usr/sbin/pppd-aside"_s;
    const bool isThere = QFile::rename(program, aside);
    const SetupResult result = m_machine.run(withoutDriver);
    if (isThere)
        QVERIFY(QFile::rename(aside, program));
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.endsWith("\nThe connection is set up.\n"
                                    "\"/etc/init.d/kestrad start\" starts it now.\n"
                                    "pppd is not installed; the connection needs it.\n"),
             result.output.constData());
}

void ConnectionTest::aLinkThatCannotBeMade()
{
    makeDirectory("/etc/rc3.d/S20kestrad"_s);
    const SetupResult result = m_machine.run(withoutDriver);
    QCOMPARE(result.code, 20);
    QCOMPARE(result.errors,
             QByteArray("\nThe link /etc/rc3.d/S20kestrad could not be made. See what is in its "
                        "place, then start again.\n")
                 + undoHint);
    QVERIFY(result.output.contains("\nWhat was written until then:\n"));
    QCOMPARE(readFile("/etc/resolv.conf"_s), originalResolver);
}

void ConnectionTest::countryAndServiceWithoutCase()
{
    Changes changes = with(withoutDriver, "--country"_s, "FREEDONIA"_s);
    changes["--service"_s] = "example pppoa"_s;
    const SetupResult result = m_machine.run(changes);
    QCOMPARE(result.code, 0);
    QVERIFY(result.output.contains(": Freedonia, Example PPPoA: 8.35, pppoa, vc\n"));
}

KESTRA_TEST_MAIN(ConnectionTest)
#include "connectiontest.moc"
