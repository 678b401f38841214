// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "testmain.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>

using namespace KestraTest;

namespace {

const QString script = QStringLiteral(KESTRA_INIT_SCRIPT);
const QString tools = "/usr/local/sbin"_s; // the first place that the script looks for tools in
const QString calls = "/tmp/calls"_s;
const QString configuration = "/etc/kestra/connection.conf"_s;

struct Result
{
    int code;
    QByteArray output;
    QByteArray errors;
};

Result run(const QString &action)
{
    QProcess process;
    process.start(script, {action});
    process.waitForFinished();
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

/** A stand-in that writes down how it is called, then does something more. */
void writeTool(const QString &name, const QByteArray &more = QByteArray())
{
    writeFile(tools + "/"_s + name, "#!/bin/sh\necho \"${0##*/} $*\" >>/tmp/calls\n" + more + "\n",
              0755);
}

/** What the kernel shows of an ATM device. */
void addAtmDevice(const QString &name, const QByteArray &type, int index, int carrier)
{
    const QString directory = "/sys/class/atm/"_s + name;
    writeFile(directory + "/type"_s, type + "\n");
    writeFile(directory + "/atmindex"_s, QByteArray::number(index) + "\n");
    writeFile(directory + "/carrier"_s, QByteArray::number(carrier) + "\n");
}

void writeConfiguration(const QByteArray &lines)
{
    writeFile(configuration,
              "DRIVER=ueagle-atm\nMODULE=ueagle-atm\nPEER=kestra\nPROTOCOL=pppoa\nVPI=8\nVCI=35\n"
              "ENCAPSULATION=vc\nDEVICE_TIMEOUT=1\nLINE_TIMEOUT=1\nINTERFACE_TIMEOUT=1\n"
              "LINK_TIMEOUT=2\n"
                  + lines);
}

// pppd as far as the script sees it: it goes to the background, with its number in a file.
const QByteArray goodPppd = R"(
case "$*" in *linkname\ kestra*) ;; *) exit 1 ;; esac
cp /bin/sleep /tmp/pppd
setsid /tmp/pppd 60 </dev/null >/dev/null 2>&1 &
until grep -qx pppd /proc/$!/comm; do sleep 0.01; done
printf '%s\nppp0\n' $! >/run/ppp-kestra.pid
)";

QByteArrayList callsOf(const QByteArray &tool)
{
    QByteArrayList result;
    if (exists(calls)) {
        for (const QByteArray &line : readFile(calls).split('\n')) {
            if (line.startsWith(tool + ' '))
                result.append(line.mid(tool.size() + 1));
        }
    }
    return result;
}

}

/** The init script, with stand-ins for the tools and for what the kernel shows. */
class InitScriptTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void header();
    void usage();
    void notConfigured();
    void incompleteConfiguration();
    void nothingRuns();
    void pppoa();
    void pppoe();
    void pppoeWithLlc();
    void bridgeEnds();
    void severalModules();
    void unicorn();
    void theDeviceIsFoundByItsType();
    void noModem();
    void noLine();
    void moduleThatCannotBeLoaded();
    void pppdThatEnds();
    void pppdThatGoesOnTrying();
    void pppdThatTellsWhy_data();
    void pppdThatTellsWhy();
    void loginThatIsRefused();
    void modemThatIsUnplugged();
    void moduleThatWasReplaced_data();
    void moduleThatWasReplaced();
    void pppdThatDied();
    void startTwiceAndStop();
};

void InitScriptTest::initTestCase()
{
    for (const QString &directory : {"/sys/class"_s, "/sys/module"_s, tools})
        QCOMPARE(QProcess::execute("mount"_s, {"-t"_s, "tmpfs"_s, "tmpfs"_s, directory}), 0);
}

void InitScriptTest::init()
{
    remove(calls);
    remove(configuration);
    remove("/sys/class/atm"_s);
    remove("/sys/class/net"_s);
    remove("/sys/module/ueagle_atm"_s);
    remove(tools + "/modinfo"_s);
    writeFile("/etc/ppp/peers/kestra"_s,
              "noauth\nplugin pppoatm.so 8.35\nuser \"me\"\nllc-encaps\n");
    writeFile("/etc/ppp/peers/kestra_unicorn"_s, "noauth\n");
    writeTool("modprobe"_s);
    writeTool("br2684ctl"_s, "mkdir -p /sys/class/net/nas0");
    writeTool("ip"_s, "case \"$*\" in *address*) echo '1: ppp0 inet 192.0.2.7' ;; esac");
    writeTool("pppd"_s, goodPppd);
}

void InitScriptTest::cleanup()
{
    run("stop"_s);
    for (const char *file : {"ppp-kestra.pid", "nas0.pid", "kestra.options"})
        remove("/run/"_s + QLatin1String(file));
}

void InitScriptTest::header()
{
    const QString text = QString::fromUtf8(readFile(script));
    const QString block =
        text.section("### BEGIN INIT INFO\n"_s, 1).section("### END INIT INFO\n"_s, 0, 0);
    for (const char *line :
         {"Provides:          kestrad", "Default-Start:     2 3 4 5", "Default-Stop:      0 1 6"})
        QVERIFY2(block.contains("# "_s + QLatin1String(line) + "\n"_s), line);
    for (const char *key : {"Required-Start", "Required-Stop", "Short-Description"})
        QVERIFY2(block.contains(QRegularExpression("# %1: +[^ \n]"_s.arg(QLatin1String(key)))),
                 key);
}

void InitScriptTest::usage()
{
    const Result result = run("dance"_s);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.errors,
             QByteArray("kestrad: usage: " + script.toLatin1() + " start|stop|restart|status\n"));
}

void InitScriptTest::notConfigured()
{
    const Result result = run("start"_s);
    QCOMPARE(result.code, 6);
    QCOMPARE(result.errors,
             QByteArray("kestrad: /etc/kestra/connection.conf is missing; run kestra-setup\n"));
    QVERIFY(!exists(calls));
}

void InitScriptTest::incompleteConfiguration()
{
    writeFile(configuration, "DRIVER=ueagle-atm\n");
    QVERIFY(run("start"_s).code != 0);
    QVERIFY(!exists(calls));

    writeConfiguration("PEER=other\n");
    const Result result = run("start"_s);
    QCOMPARE(result.code, 6);
    QCOMPARE(result.errors,
             QByteArray("kestrad: /etc/ppp/peers/other is missing; run kestra-setup\n"));
}

void InitScriptTest::nothingRuns()
{
    const Result status = run("status"_s);
    QCOMPARE(status.code, 3);
    QCOMPARE(status.output, QByteArray("kestrad: not running\n"));
    QCOMPARE(run("stop"_s).code, 0);
}

void InitScriptTest::pppoa()
{
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    const Result result = run("start"_s);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(result.output, QByteArray("kestrad: waiting for the line\nkestrad: connected\n"));
    QCOMPARE(callsOf("modprobe"), QByteArrayList({"-- ueagle-atm", "-- pppoatm"}));
    QCOMPARE(callsOf("pppd"),
             QByteArrayList({"file /run/kestra.options maxfail 0 linkname kestra logfd 3"}));
    QVERIFY(callsOf("br2684ctl").isEmpty());
    QCOMPARE(readFile("/run/kestra.options"_s),
             QByteArray("noauth\nplugin pppoatm.so 0.8.35\nuser \"me\"\nllc-encaps\n"));
    QCOMPARE(fileMode("/run/kestra.options"_s), 0600);

    const Result status = run("status"_s);
    QCOMPARE(status.code, 0);
    QCOMPARE(status.output, QByteArray("kestrad: connected by ppp0\n"));
}

void InitScriptTest::pppoe()
{
    writeConfiguration("PROTOCOL=pppoe\nVPI=0\nVCI=38\n");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    const Result result = run("start"_s);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(callsOf("modprobe"), QByteArrayList({"-- ueagle-atm", "-- br2684", "-- pppoe"}));
    QCOMPARE(callsOf("br2684ctl"), QByteArrayList({"-b -c 0 -e 1 -a 0.0.38"}));
    QCOMPARE(callsOf("ip").first(), QByteArray("link set nas0 up"));
    QCOMPARE(callsOf("pppd"), QByteArrayList({"call kestra maxfail 0 linkname kestra logfd 3"}));
}

void InitScriptTest::pppoeWithLlc()
{
    writeConfiguration("PROTOCOL=pppoe\nENCAPSULATION=llc\n");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    QCOMPARE(run("start"_s).code, 0);
    QCOMPARE(callsOf("br2684ctl"), QByteArrayList({"-b -c 0 -e 0 -a 0.8.35"}));
}

void InitScriptTest::bridgeEnds()
{
    // As br2684ctl does it: it leaves a number without the end of a line.
    writeTool("br2684ctl"_s,
              "cp /bin/sleep /tmp/br2684ctl\nsetsid /tmp/br2684ctl 60 >/dev/null 2>&1 &\n"
              "printf %s $! >/run/br2684ctl-nas0.pid\nmkdir -p /sys/class/net/nas0");
    writeConfiguration("PROTOCOL=pppoe\n");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    QCOMPARE(run("start"_s).code, 0);
    const QString process = "/proc/"_s + QString::fromLatin1(readFile("/run/br2684ctl-nas0.pid"_s));
    QVERIFY(exists(process));
    QCOMPARE(run("stop"_s).code, 0);
    QVERIFY(!exists(process));
    remove("/run/br2684ctl-nas0.pid"_s);
}

void InitScriptTest::severalModules()
{
    // An earlier value, of whoever starts the script, is not that of the connection.
    qputenv("LOAD_MODULES", "wrong");
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    QCOMPARE(run("start"_s).code, 0);
    QCOMPARE(callsOf("modprobe"), QByteArrayList({"-- ueagle-atm", "-- pppoatm"}));
    QCOMPARE(run("stop"_s).code, 0);
    qunsetenv("LOAD_MODULES");
    remove(calls);
    writeConfiguration("LOAD_MODULES='usbatm ueagle-atm'\n");
    QCOMPARE(run("start"_s).code, 0);
    QCOMPARE(callsOf("modprobe"), QByteArrayList({"-- usbatm", "-- ueagle-atm", "-- pppoatm"}));
}

void InitScriptTest::unicorn()
{
    writeConfiguration("DRIVER=unicorn\nMODULE=unicorn_usb_eth\nPEER=kestra_unicorn\n");
    makeDirectory("/sys/class/net/dsl0"_s);
    const Result result = run("start"_s);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(callsOf("modprobe"), QByteArrayList({"-- unicorn_usb_eth", "-- pppoe"}));
    QCOMPARE(callsOf("ip").first(), QByteArray("link set dsl0 up"));
    QCOMPARE(callsOf("pppd"),
             QByteArrayList({"call kestra_unicorn maxfail 0 linkname kestra logfd 3"}));
}

void InitScriptTest::theDeviceIsFoundByItsType()
{
    writeConfiguration("");
    addAtmDevice("other0"_s, "other", 0, 1);
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 3, 1);
    QCOMPARE(run("start"_s).code, 0);
    QVERIFY(readFile("/run/kestra.options"_s).contains("plugin pppoatm.so 3.8.35\n"));
}

void InitScriptTest::noModem()
{
    writeConfiguration("");
    addAtmDevice("other0"_s, "other", 0, 1);
    const Result result = run("start"_s);
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errors, QByteArray("kestrad: the modem is not there\n"));
    QVERIFY(callsOf("pppd").isEmpty());
}

void InitScriptTest::noLine()
{
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 0);
    const Result result = run("start"_s);
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errors, QByteArray("kestrad: the line is not up after 1 seconds\n"));
    QVERIFY(callsOf("pppd").isEmpty());
}

void InitScriptTest::moduleThatCannotBeLoaded()
{
    writeConfiguration("");
    writeTool("modprobe"_s, "exit 1");
    const Result result = run("start"_s);
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errors, QByteArray("kestrad: the kernel module ueagle-atm cannot be loaded\n"));
}

void InitScriptTest::pppdThatEnds()
{
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    writeTool("pppd"_s, "exit 2");
    const Result result = run("start"_s);
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errors, QByteArray("kestrad: pppd has ended; the system log says why\n"));
}

void InitScriptTest::pppdThatGoesOnTrying()
{
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    writeTool("ip"_s);
    const Result result = run("start"_s);
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.endsWith("kestrad: not connected yet; pppd goes on trying\n"),
             result.output.constData());
    QCOMPARE(run("status"_s).output, QByteArray("kestrad: pppd is running, but not connected\n"));
}

void InitScriptTest::pppdThatTellsWhy_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<QByteArray>("reason");
    const QByteArray refused = ": the provider refuses the user name or the password";
    const QByteArray silent = ": the provider does not answer";
    QTest::newRow("chap") << QByteArray("CHAP authentication failed: try again") << refused;
    QTest::newRow("pap") << QByteArray("PAP authentication failed") << refused;
    QTest::newRow("lcp") << QByteArray("LCP: timeout sending Config-Requests") << silent;
    QTest::newRow("discovery") << QByteArray("Timeout waiting for PADO packets") << silent;
    QTest::newRow("later") << QByteArray("PAP authentication failed\nTerminating\n"
                                         "LCP: timeout sending Config-Requests")
                           << silent;
    QTest::newRow("over") << QByteArray("PAP authentication failed\nlocal  IP address 192.0.2.7")
                          << QByteArray();
    QTest::newRow("unknown") << QByteArray("Connect: ppp0 <--> nas0") << QByteArray();
}

void InitScriptTest::pppdThatTellsWhy()
{
    QFETCH(QByteArray, message);
    QFETCH(QByteArray, reason);
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    writeTool("ip"_s);
    writeTool("pppd"_s, "printf '%s\\n' '" + message + "' >&3" + goodPppd);
    QCOMPARE(run("start"_s).output,
             "kestrad: waiting for the line\nkestrad: not connected yet" + reason
                 + "; pppd goes on trying\n");
    QCOMPARE(run("status"_s).output, "kestrad: pppd is running, but not connected" + reason + "\n");
    QCOMPARE(run("stop"_s).code, 0);
    QVERIFY(!exists("/run/kestra.log"_s));
    QVERIFY(!exists("/run/kestra.trouble"_s));
}

void InitScriptTest::loginThatIsRefused()
{
    const QByteArray once = "CHAP authentication failed: no\\nCHAP authentication failed\\n"
                            "Connection terminated.\\n";
    const QByteArray down = "Connection terminated.\\n";
    const QByteArray reason = "the provider refuses the user name or the password\n";
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    writeTool("ip"_s);
    const auto pppdSays = [](const QByteArray &text) {
        writeTool("pppd"_s, goodPppd + "sleep 0.5; printf '" + text + "' >&3; sleep 1");
    };
    // Twice before a connection and twice after it, which is not three times in a row.
    pppdSays(once + once + "local  IP address 192.0.2.7\\n" + down + down + down + once + once);
    QCOMPARE(run("start"_s).code, 0);
    QCOMPARE(run("status"_s).output, "kestrad: pppd is running, but not connected: " + reason);
    QCOMPARE(run("stop"_s).code, 0);

    pppdSays(once + once + once);
    const Result start = run("start"_s);
    QCOMPARE(start.code, 1);
    QCOMPARE(start.errors, "kestrad: pppd has ended: " + reason);
    remove("/run/ppp-kestra.pid"_s); // pppd's to remove
    const Result status = run("status"_s);
    QCOMPARE(status.code, 3);
    QCOMPARE(status.output, "kestrad: not running: " + reason);
}

void InitScriptTest::modemThatIsUnplugged()
{
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    QCOMPARE(run("start"_s).code, 0);
    writeTool("ip"_s);
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 0);
    QCOMPARE(run("status"_s).output,
             QByteArray("kestrad: pppd is running, but not connected: the line is down\n"));
    remove("/sys/class/atm"_s);
    QCOMPARE(run("status"_s).output,
             QByteArray("kestrad: pppd is running, but not connected: the modem is not there\n"));
}

void InitScriptTest::moduleThatWasReplaced_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isOutdated");
    const QByteArray identity("\x04\0\0\0 one \n identity\0", 20);
    QTest::newRow("the same") << "ueagle-atm.ko"_s
                              << "ELF" + identity + "text" << false;
    QTest::newRow("another") << "ueagle-atm.ko"_s << QByteArray("ELF, another identity") << true;
    QTest::newRow("compressed") << "ueagle-atm.ko.xz"_s << QByteArray("xz") << false;
}

void InitScriptTest::moduleThatWasReplaced()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(bool, isOutdated);
    const QString path = "/opt/"_s + file;
    writeFile(path, content);
    writeFile("/sys/module/ueagle_atm/notes/.note.gnu.build-id"_s,
              QByteArray("\x04\0\0\0 one \n identity\0", 20));
    writeTool("modinfo"_s, "echo " + path.toLatin1());
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    QCOMPARE(run("start"_s).code, 0);
    QByteArrayList expected {"-- ueagle-atm", "-- pppoatm"};
    if (isOutdated)
        expected.prepend("-r -- ueagle-atm");
    QCOMPARE(callsOf("modprobe"), expected);
    remove(path);
}

void InitScriptTest::pppdThatDied()
{
    // The number may belong to another program by now, which is none of our business.
    writeFile("/run/ppp-kestra.pid"_s,
              QByteArray::number(QCoreApplication::applicationPid()) + "\nppp0\n");
    QCOMPARE(run("status"_s).code, 1);
    QCOMPARE(run("stop"_s).code, 0);
}

void InitScriptTest::startTwiceAndStop()
{
    writeConfiguration("");
    addAtmDevice("ueagle-atm0"_s, "ueagle-atm", 0, 1);
    QCOMPARE(run("start"_s).code, 0);
    const QByteArray pid = readFile("/run/ppp-kestra.pid"_s).split('\n').first();
    QVERIFY(exists("/proc/"_s + QString::fromLatin1(pid)));
    QCOMPARE(run("start"_s).output, QByteArray("kestrad: running already\n"));
    QCOMPARE(callsOf("pppd").size(), 1);
    QCOMPARE(run("restart"_s).code, 0);
    QCOMPARE(callsOf("pppd").size(), 2);
    QVERIFY(!exists("/proc/"_s + QString::fromLatin1(pid)));
    QCOMPARE(run("stop"_s).code, 0);
    QCOMPARE(run("status"_s).code, 1); // the file is pppd's to remove
    QVERIFY(!exists("/run/kestra.options"_s));
}

KESTRA_TEST_MAIN(InitScriptTest)
#include "initscripttest.moc"
