// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "testmain.h"

#include <kestra/foundation/systeminfo.h>

#include <QProcess>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace {

const char *pretendedMachine = nullptr;
bool unameFails = false;

}

// Stands before the C library's function, for the library under test too: machines that this one
// is not, and the failure, which the real call does not know.
extern "C" __attribute__((visibility("default"))) int uname(struct utsname *names) noexcept
{
    if (unameFails) {
        errno = EFAULT;
        return -1;
    }
    const int result = static_cast<int>(syscall(SYS_uname, names));
    if (pretendedMachine)
        strcpy(names->machine, pretendedMachine);
    return result;
}

using namespace Kestra::SystemInfo;
using namespace KestraTest;

namespace {

/** What the release files hold; a null array stands for no file. */
struct Files
{
    QByteArray suse = {};
    QByteArray redhat = {};
    QByteArray lsb = {};
    QByteArray debian = {};
};

const QByteArray unopenable = "a directory instead of a file"; // root may open every file

void install(const QString &path, const QByteArray &content)
{
    remove(path);
    if (content == unopenable)
        makeDirectory(path);
    else if (!content.isNull())
        writeFile(path, content);
}

void install(const Files &files)
{
    install("/etc/SuSE-release"_s, files.suse);
    install("/etc/redhat-release"_s, files.redhat);
    install("/etc/lsb-release"_s, files.lsb);
    install("/etc/debian_version"_s, files.debian);
}

const QString failure = "\"Could not open /etc/debian_version or /etc/debian_version does not "
                        "contain proper data, returning empty string!\""_s;

QByteArray blanks(int count) { return QByteArray(count, ' '); }

}

Q_DECLARE_METATYPE(Files)
Q_DECLARE_METATYPE(QRegExp *)

/** Distribution, kernel and machine. */
class SystemInfoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void expressions_data();
    void expressions();
    void expressionsKeepTheirLastMatch();

    void distribution_data();
    void distribution();
    void failureIsReportedOnTheQtDebugStreamOnly();

    void kernelRelease();
    void processorArchitecture();
    void architecture_data();
    void architecture();
    void machineUnderA32BitPersonality();
    void failingUname();
};

void SystemInfoTest::cleanup()
{
    pretendedMachine = nullptr;
    unameFails = false;
}

void SystemInfoTest::expressions_data()
{
    QTest::addColumn<QRegExp *>("expression");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("Fedora") << &fedoraRegExp << "(^Fedora)\\s+[release]*\\s+([0-9]{1,2})\\s+"_s;
    QTest::newRow("PCLinuxOS")
        << &pclinuxosRegExp << "(^PCLinuxOS)\\s+release\\s+([0-9]{4})\\s+\\(PCLinuxOS\\)\\s+for"_s;
    QTest::newRow("Debian") << &debianRegExp << "(^[0-9]{1}\\.[0-9]\\s*$)"_s;
}

void SystemInfoTest::expressions()
{
    QFETCH(QRegExp *, expression);
    QFETCH(QString, pattern);
    QCOMPARE(expression->pattern(), pattern);
    QCOMPARE(expression->caseSensitivity(), Qt::CaseSensitive);
    QCOMPARE(expression->patternSyntax(), QRegExp::RegExp);
    QVERIFY(!expression->isMinimal());
}

void SystemInfoTest::expressionsKeepTheirLastMatch()
{
    Files files;
    files.redhat = "Fedora release 9 (Sulphur)\n";
    install(files);
    fedoraRegExp.indexIn(QString());
    getDistributionName();
    QCOMPARE(fedoraRegExp.cap(2), "9"_s);
}

void SystemInfoTest::distribution_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("release");
    QTest::addColumn<int>("failures"); // how many of the two questions have no answer

    const auto row = [](const char *title, const Files &files, const char *name,
                        const QByteArray &release, int failures) {
        QTest::newRow(title) << files << QString::fromLatin1(name) << QString::fromLatin1(release)
                             << failures;
    };
    const auto suse = [&row](const char *title, const QByteArray &content,
                             const QByteArray &release, int failures) {
        Files files;
        files.suse = content;
        row(title, files, "SuSE", release, failures);
    };
    const auto redhat = [&row](const char *title, const QByteArray &content, const char *name,
                               const QByteArray &release) {
        Files files;
        files.redhat = content;
        row(title, files, name, release, *name ? 0 : 2);
    };
    const auto lsb = [&row](const char *title, const QByteArray &content, const char *name,
                            const QByteArray &release, int failures) {
        Files files;
        files.lsb = content;
        row(title, files, name, release, failures);
    };
    const auto debian = [&row](const char *title, const QByteArray &content, const char *name,
                               const QByteArray &release) {
        Files files;
        files.debian = content;
        row(title, files, name, release, *name ? 0 : 2);
    };

    row("no file", {}, "", "", 2);
    row("no file can be opened", {{}, unopenable, unopenable, unopenable}, "", "", 2);
    row("empty files", {{}, "", "", ""}, "", "", 2);

    suse("SuSE", "openSUSE 11.0 (X86-64)\nVERSION = 11.0\n", "11.0", 0);
    suse("SuSE: no line end", "VERSION = 11.0", "11.0", 0);
    suse("SuSE: empty file", "", "", 1);
    suse("SuSE: cannot be opened", unopenable, "", 1);
    suse("SuSE: no version line", "openSUSE 11.0\n", "", 1);
    suse("SuSE: no blank after the equals sign", "VERSION =11.0\n", "", 1);
    suse("SuSE: another case", "version = 11.0\n", "", 1);
    suse("SuSE: not at the start of the line", " VERSION = 11.0\n", "", 1);
    suse("SuSE: first of two version lines", "VERSION = 10.3\nVERSION = 11.0\n", "10.3", 0);
    suse("SuSE: the key twice in the line", "VERSION = 1VERSION = 2\n", "12", 0);
    suse("SuSE: version empty", "VERSION = \n", "", 0);
    suse("SuSE: carriage return stays", "VERSION = 11.0\r\n", "11.0\r", 0);
    suse("SuSE: two blanks", "VERSION =  11.0\n", " 11.0", 0);
    suse("SuSE: file ends at a zero byte", QByteArray("SUSE\n\0\nVERSION = 11.0\n", 22), "", 1);
    suse("SuSE: version ends at a zero byte", QByteArray("VERSION = 11\0.0\n", 16), "11", 0);
    suse("SuSE: Latin-1", "VERSION = 11.0\xe9\n", "11.0\xe9", 0);
    suse("SuSE: far down", QByteArray(10000, '#') + "\nVERSION = 11.0\n", "11.0", 0);
    row("SuSE: name from one file, release from another",
        {"", {}, "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.04\n", {}}, "SuSE", "8.04", 0);
    row("SuSE: cannot be opened, release from Debian", {unopenable, {}, {}, "5.0\n"}, "SuSE",
        "5.0\n", 0);
    row("SuSE before all others",
        {"VERSION = 11.0\n", "Fedora release 9 (Sulphur)\n",
         "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.04\n", "5.0\n"},
        "SuSE", "11.0", 0);

    redhat("Fedora", "Fedora release 9 (Sulphur)\n", "Fedora", "9");
    redhat("Fedora: two digits", "Fedora release 10 (Cambridge)\n", "Fedora", "10");
    redhat("Fedora: line end after the number", "Fedora release 9\n", "Fedora", "9");
    redhat("Fedora: nothing after the number", "Fedora release 9", "", "");
    redhat("Fedora: three digits", "Fedora release 100 (X)\n", "", "");
    redhat("Fedora: any word of these letters", "Fedora sales 9 (X)\n", "Fedora", "9");
    redhat("Fedora: no word but two blanks", "Fedora  9 (X)\n", "Fedora", "9");
    redhat("Fedora: no word and one blank", "Fedora 9 (X)\n", "", "");
    redhat("Fedora: tabulators", "Fedora\trelease\t9\t(X)\n", "Fedora", "9");
    redhat("Fedora Core", "Fedora Core release 6 (Zod)\n", "", "");
    redhat("Fedora: another case", "fedora release 9 (X)\n", "", "");
    redhat("Fedora: not at the start", " Fedora release 9 (X)\n", "", "");
    redhat("Fedora: not in the first line", "#\nFedora release 9 (X)\n", "", "");
    redhat("Fedora: the first zero byte ends the line", QByteArray("Fedora release\0 9 (X)\n", 22),
           "", "");
    redhat("Fedora: matched within 49 bytes", "Fedora release" + blanks(33) + "9 (X)\n", "Fedora",
           "9");
    redhat("Fedora: cut after 49 bytes", "Fedora release" + blanks(34) + "9 (X)\n", "", "");

    redhat("PCLinuxOS", "PCLinuxOS release 2007 (PCLinuxOS) for i586\n", "PCLinuxOS", "2007");
    redhat("PCLinuxOS: nothing behind", "PCLinuxOS release 2007 (PCLinuxOS) for", "PCLinuxOS",
           "2007");
    redhat("PCLinuxOS: without for", "PCLinuxOS release 2007 (PCLinuxOS)\n", "", "");
    redhat("PCLinuxOS: five digits", "PCLinuxOS release 20071 (PCLinuxOS) for i586\n", "", "");
    redhat("PCLinuxOS: another word", "PCLinuxOS sales 2007 (PCLinuxOS) for i586\n", "", "");
    redhat("PCLinuxOS: not at the start", "x PCLinuxOS release 2007 (PCLinuxOS) for\n", "", "");
    redhat("PCLinuxOS: matched within 49 bytes",
           "PCLinuxOS release 2007 (PCLinuxOS)" + blanks(12) + "for i586\n", "PCLinuxOS", "2007");
    redhat("PCLinuxOS: cut after 49 bytes",
           "PCLinuxOS release 2007 (PCLinuxOS)" + blanks(13) + "for i586\n", "", "");
    row("Fedora before Ubuntu and Debian",
        {{}, "Fedora release 9 (Sulphur)\n", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.04\n", "5.0\n"},
        "Fedora", "9", 0);
    row("unknown Red Hat falls through",
        {{}, "Fedora Core release 6 (Zod)\n", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.04\n", {}},
        "Ubuntu", "8.04", 0);
    row("Red Hat that cannot be opened falls through", {{}, unopenable, {}, "5.0\n"}, "Debian",
        "5.0\n", 0);

    lsb("Ubuntu", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.04\nDISTRIB_CODENAME=hardy\n", "Ubuntu",
        "8.04", 0);
    lsb("Ubuntu: longer name", "DISTRIB_ID=UbuntuStudio\nDISTRIB_RELEASE=8.04\n", "Ubuntu", "8.04",
        0);
    lsb("Ubuntu: another case", "DISTRIB_ID=ubuntu\nDISTRIB_RELEASE=8.04\n", "", "8.04", 1);
    lsb("Ubuntu: not at the start of the line", " DISTRIB_ID=Ubuntu\n DISTRIB_RELEASE=8.04\n", "",
        "", 2);
    lsb("Ubuntu: no release", "DISTRIB_ID=Ubuntu\n", "Ubuntu", "", 1);
    lsb("Ubuntu: release empty", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=\n", "Ubuntu", "", 0);
    lsb("Ubuntu: first of two releases",
        "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=1\nDISTRIB_RELEASE=2\n", "Ubuntu", "1", 0);
    lsb("Ubuntu: the key twice in the line",
        "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.DISTRIB_RELEASE=04\n", "Ubuntu", "8.04", 0);
    lsb("Ubuntu: file ends at a zero byte",
        QByteArray("DISTRIB_ID=Ubuntu\n\0DISTRIB_RELEASE=8.04\n", 40), "Ubuntu", "", 1);
    lsb("another distribution has a release, but no name",
        "DISTRIB_ID=LinuxMint\nDISTRIB_RELEASE=5\n", "", "5", 1);
    row("Ubuntu before Debian",
        {{}, {}, "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=8.04\n", "lenny/sid\n"}, "Ubuntu", "8.04", 0);
    row("another distribution's release before Debian's",
        {{}, {}, "DISTRIB_ID=LinuxMint\nDISTRIB_RELEASE=5\n", "5.0\n"}, "Debian", "5", 0);
    row("lsb file that cannot be opened falls through", {{}, {}, unopenable, "5.0\n"}, "Debian",
        "5.0\n", 0);

    debian("Debian", "5.0\n", "Debian", "5.0\n");
    debian("Debian: no line end", "5.0", "Debian", "5.0");
    debian("Debian: white space stays", "5.0 \t\r\n", "Debian", "5.0 \t\r\n");
    debian("Debian: first line only", "5.0\nmore\n", "Debian", "5.0\n");
    debian("Debian: lenny/sid", "lenny/sid\n", "Debian", "4.0");
    debian("Debian: starts with lenny/sid", "lenny/sidious\n", "Debian", "4.0");
    debian("Debian: another code name", "squeeze/sid\n", "", "");
    debian("Debian: lenny/sid not at the start", " lenny/sid\n", "", "");
    debian("Debian: two digits before the point", "10.1\n", "", "");
    debian("Debian: two digits after the point", "5.10\n", "", "");
    debian("Debian: three numbers", "5.0.3\n", "", "");
    debian("Debian: one number", "5\n", "", "");
    debian("Debian: any character for the point", "5-0\n", "", "");
    debian("Debian: text behind", "5.0 stable\n", "", "");
    debian("Debian: the first zero byte ends the line", QByteArray("5.0\0garbage\n", 12), "Debian",
           "5.0");
    debian("Debian: line of 48 bytes and its end", "5.0" + blanks(45) + '\n', "Debian",
           "5.0" + blanks(45) + '\n');
    debian("Debian: line of 49 bytes loses its end", "5.0" + blanks(46) + '\n', "Debian",
           "5.0" + blanks(46));
    debian("Debian: text at byte 49 is read", "5.0" + blanks(45) + "x\n", "", "");
    debian("Debian: text at byte 50 is not", "5.0" + blanks(46) + "x\n", "Debian",
           "5.0" + blanks(46));
}

void SystemInfoTest::distribution()
{
    QFETCH(Files, files);
    QFETCH(QString, name);
    QFETCH(QString, release);
    QFETCH(int, failures);
    install(files);
    MessageLog log;
    QCOMPARE(getDistributionName(), name);
    QCOMPARE(log.debugs().size(), name.isEmpty() ? 1 : 0);
    QCOMPARE(getDistributionRelease(), release);
    QCOMPARE(log.texts().size(), failures);
    for (const QString &text : log.debugs())
        QCOMPARE(text, failure);
    QCOMPARE(log.debugs().size(), failures);
}

void SystemInfoTest::failureIsReportedOnTheQtDebugStreamOnly()
{
    install({});
    DebugFile file;
    MessageLog log;
    QVERIFY(getDistributionName().isNull());
    QVERIFY(getDistributionRelease().isNull());
    QCOMPARE(log.debugs(), QStringList({failure, failure}));
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(file.text(), QByteArray());
}

void SystemInfoTest::kernelRelease()
{
    MessageLog log;
    struct utsname names;
    QCOMPARE(::uname(&names), 0);
    QCOMPARE(getKernelRelease(), QString::fromLatin1(names.release));
    QCOMPARE(getKernelRelease().toLatin1(), readFile("/proc/sys/kernel/osrelease"_s).trimmed());
    QCOMPARE(log.texts(), QStringList());
}

void SystemInfoTest::processorArchitecture()
{
    MessageLog log;
    for (const char *machine : {"x86_64", "i686", "armv7l"}) {
        pretendedMachine = machine;
        QCOMPARE(getProcessorArchitecture(), QString::fromLatin1(machine));
    }
    QCOMPARE(log.texts(), QStringList());
}

void SystemInfoTest::architecture_data()
{
    QTest::addColumn<QByteArray>("machine");
    QTest::addColumn<QString>("architecture");
    for (const char *machine : {"i386", "i486", "i586", "i686"})
        QTest::newRow(machine) << QByteArray(machine) << "i386"_s;
    for (const char *machine :
         {"x86_64", "amd64", "i786", "i286", "I686", "i6866", "i68", "ppc", "aarch64", ""}) {
        QTest::addRow("\"%s\"", machine) << QByteArray(machine) << "amd64"_s;
    }
}

void SystemInfoTest::architecture()
{
    QFETCH(QByteArray, machine);
    QFETCH(QString, architecture);
    MessageLog log;
    pretendedMachine = machine.constData();
    QCOMPARE(getArchitecture(), architecture);
    QCOMPARE(log.texts(), QStringList());
}

void SystemInfoTest::machineUnderA32BitPersonality()
{
    struct utsname names;
    QCOMPARE(::uname(&names), 0);
    const bool is32Bit = qstrcmp(names.machine, "i686") == 0;
    if (!is32Bit && qstrcmp(names.machine, "x86_64") != 0)
        QSKIP("not an x86 machine");
    QCOMPARE(getArchitecture(), is32Bit ? "i386"_s : "amd64"_s);
    QProcess process;
    process.start("setarch"_s,
                  {"linux32"_s, QCoreApplication::applicationFilePath(), "--print-machine"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardOutput(), QByteArray("i686 i386\n"));
}

void SystemInfoTest::failingUname()
{
    unameFails = true;
    DebugFile file;
    MessageLog log;
    QVERIFY(getKernelRelease().isNull());
    QCOMPARE(log.debugs(),
             QStringList("getKernelRelease(): Could not get kernel release, returning empty "
                         "string!"_s));
    QCOMPARE(log.take().size(), 1);
    QVERIFY(getProcessorArchitecture().isNull());
    QCOMPARE(log.debugs(),
             QStringList("getProcessorArchitecture(): Could not get architecture, returning empty "
                         "string!"_s));
    QCOMPARE(log.take().size(), 1);
    QVERIFY(getArchitecture().isNull());
    QCOMPARE(log.debugs(),
             QStringList("getArchitecture(): Could not get architecture, returning empty "
                         "string!"_s));
    QCOMPARE(log.take().size(), 1);
    QCOMPARE(file.text(), QByteArray());
}

int main(int argc, char **argv)
{
    if (argc == 2 && qstrcmp(argv[1], "--print-machine") == 0) {
        printf("%s %s\n", qPrintable(getProcessorArchitecture()), qPrintable(getArchitecture()));
        return 0;
    }
    requireSandbox();
    QCoreApplication application(argc, argv);
    SystemInfoTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "systeminfotest.moc"
