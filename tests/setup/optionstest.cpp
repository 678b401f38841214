// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "options.h"
#include "files.h"
#include "literals.h"

#include <QDir>
#include <QRegularExpression>
#include <QtTest>

using namespace KestraTest;

namespace {

Setup::Options parse(const QStringList &arguments)
{
    return Setup::parseOptions(QStringList("kestra-setup"_s) + arguments);
}

const QStringList complete = {
    "--unattended"_s, "--driver-bundle=b.tar"_s, "--country=C"_s, "--service=S"_s,
    "--user=u"_s,     "--password-file=p"_s,
};

}

class OptionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesWithOneSentence_data();
    void refusesWithOneSentence();
    void unattendedNeedsEachAnswer_data();
    void unattendedNeedsEachAnswer();
    void unattendedIsContentWithAlternatives();
    void nothingIsNeededWhenAsked();
    void defaults();
    void takesValues();
    void pathsAreAbsolute();
    void limits();
    void help();
    void thePasswordIsNoOption();
    void helpNamesEveryOptionAndExitCode();
    void manualPageTellsAll();
};

void OptionsTest::refusesWithOneSentence_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("sentence");

    QTest::newRow("unknown option")
        << QStringList {"--nonsense"_s} << "Unknown option 'nonsense'."_s;
    QTest::newRow("missing value")
        << QStringList {"--country"_s} << "Missing value after '--country'."_s;
    QTest::newRow("value for a flag")
        << QStringList {"--no-dns=yes"_s} << "Unexpected value after '--no-dns'."_s;
    QTest::newRow("stray argument")
        << QStringList {"start"_s} << "The argument \"start\" is not understood."_s;
    QTest::newRow("empty text") << QStringList {"--country="_s} << "--country must not be empty."_s;
    QTest::newRow("empty path") << QStringList {"--driver-bundle="_s}
                                << "--driver-bundle must not be empty."_s;
    for (const char *value : {"100", "x", "10x", "20.5"})
        QTest::addRow("sequence %s", value)
            << QStringList {"--sequence="_s + QLatin1String(value)}
            << "--sequence must be a number from 10 to 99, not \"%1\"."_s.arg(QLatin1String(value));
    for (const char *value : {"-1", "0", "5", "9"})
        QTest::addRow("sequence %s", value)
            << QStringList {"--sequence="_s + QLatin1String(value)}
            << "--sequence must be a number from 10 to 99, not \"%1\": systemd leaves out links "
               "with one digit."_s.arg(QLatin1String(value));
    for (const char *value : {"-5", "1", "5"})
        QTest::addRow("modem timeout %s", value)
            << QStringList {"--modem-timeout="_s + QLatin1String(value)}
            << "--modem-timeout must be 0 or a number from 6 to 86400, not \"%1\": a modem takes "
               "five seconds to settle."_s.arg(QLatin1String(value));
    QTest::newRow("lock timeout")
        << QStringList {"--lock-timeout=forever"_s}
        << "--lock-timeout must be a number from 0 to 86400, not \"forever\"."_s;
    QTest::newRow("two passwords")
        << QStringList {"--password-stdin"_s, "--password-file=p"_s, "--unattended"_s}
        << "--password-file and --password-stdin exclude each other."_s;
    QTest::newRow("prompts and password on the same input")
        << QStringList {"--password-stdin"_s}
        << "--password-stdin needs --unattended: standard input cannot hold answers, too."_s;
    QTest::newRow("unknown package manager")
        << QStringList {"--package-manager=APT"_s} << "--package-manager must be apt or zypper."_s;
    for (const char *list :
         {"-y", "ppp,--purge", "ppp;reboot", "a/b", "ppp-", "a\033b", "first,ppp-"})
        QTest::addRow("packages %s", list)
            << QStringList {"--packages="_s + QLatin1String(list)}
            << "--packages holds something that is no name of a package."_s;
    QTest::newRow("no package") << QStringList {
        "--packages=,"_s} << "--packages names no package; use --no-packages to install none."_s;
    for (const char *name : {"a/b.ko", "$(reboot).ko", "-x", "a b"})
        QTest::addRow("module %s", name) << QStringList {"--module="_s + QLatin1String(name)}
                                         << "--module must be the file name of a kernel module."_s;
    QTest::newRow("headers that make would get as two arguments")
        << QStringList {"--kernel-headers=/usr/a, b"_s}
        << "--kernel-headers must not hold a comma and a blank."_s;
}

void OptionsTest::refusesWithOneSentence()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, sentence);
    QCOMPARE(parse(arguments).error, sentence);
}

void OptionsTest::unattendedNeedsEachAnswer_data()
{
    QTest::addColumn<QString>("option");
    for (const char *option : {"--country", "--service", "--user", "--password-file"})
        QTest::newRow(option) << QString::fromLatin1(option);
}

void OptionsTest::unattendedNeedsEachAnswer()
{
    QFETCH(QString, option);
    QStringList arguments = complete;
    arguments.removeAt(arguments.indexOf(QRegularExpression(option + "=.*"_s)));
    QCOMPARE(parse(arguments).error, option + " is needed with --unattended."_s);
}

void OptionsTest::unattendedIsContentWithAlternatives()
{
    QCOMPARE(parse(complete).error, QString());
    QStringList arguments = complete;
    arguments.replaceInStrings("--password-file=p"_s, "--password-stdin"_s);
    arguments.replaceInStrings("--driver-bundle=b.tar"_s, "--no-driver"_s);
    QCOMPARE(parse(arguments).error, QString());
}

void OptionsTest::nothingIsNeededWhenAsked() { QCOMPARE(parse({}).error, QString()); }

void OptionsTest::defaults()
{
    const Setup::Options options = parse({});
    QCOMPARE(options.sequence, 20);
    QCOMPARE(options.modemTimeout, 0);
    QCOMPARE(options.lockTimeout, 300);
    QCOMPARE(options.extractionPath, "/usr/src/kestra"_s);
    QVERIFY(options.dataDirectory.endsWith("/share/kestra"_s));
    for (const QString &text :
         {options.driverBundle, options.driverTree, options.module, options.kernelHeaders,
          options.compileArguments, options.installArguments, options.makeEnvironment,
          options.packages, options.packageManager, options.providers, options.country,
          options.service, options.user, options.passwordFile, options.logFile})
        QCOMPARE(text, QString());
    for (const bool flag : {options.help, options.version, options.verbose, options.unattended,
                            options.passwordFromInput})
        QVERIFY(!flag);
    QCOMPARE(options.goals, unsigned(Setup::Goal::Usual));
}

void OptionsTest::takesValues()
{
    const Setup::Options options =
        parse({"--sequence=10"_s, "--modem-timeout"_s, "7"_s, "--module=x.ko"_s, "--country=A, B"_s,
               "--compile-arguments=all, V=1"_s, "--make-environment=A=1, B=2"_s, "--no-dns"_s,
               "--packages=ppp, libc6:amd64"_s, "--verbose"_s, "--no-boot"_s});
    QCOMPARE(options.error, QString());
    QCOMPARE(options.sequence, 10);
    QCOMPARE(options.modemTimeout, 7);
    QCOMPARE(options.module, "x.ko"_s);
    QCOMPARE(options.country, "A, B"_s);
    QCOMPARE(options.compileArguments, "all, V=1"_s);
    QCOMPARE(options.makeEnvironment, "A=1, B=2"_s);
    QCOMPARE(options.packages, "ppp, libc6:amd64"_s);
    QVERIFY(options.verbose);
    QCOMPARE(options.goals,
             unsigned(Setup::Goal::Driver | Setup::Goal::Packages | Setup::Goal::Connection));
}

void OptionsTest::pathsAreAbsolute()
{
    const Setup::Options options =
        parse({"--driver-bundle=b.tar"_s, "--data-dir=data"_s, "--log=/l"_s});
    QCOMPARE(options.driverBundle, QDir::currentPath() + "/b.tar"_s);
    QCOMPARE(options.dataDirectory, QDir::currentPath() + "/data"_s);
    QCOMPARE(options.logFile, "/l"_s);
}

void OptionsTest::limits()
{
    QCOMPARE(parse({"--sequence=99"_s, "--modem-timeout=6"_s}).error, QString());
    QCOMPARE(parse({"--modem-timeout=0"_s}).error, QString());
}

void OptionsTest::help()
{
    QVERIFY(parse({"-h"_s}).help);
    QVERIFY(parse({"--help"_s}).help);
    const QString help = Setup::helpText(*Setup::findCommand(QString()));
    QVERIFY2(help.startsWith("Usage: kestra-setup [options]\nSets up a connection "_s),
             qPrintable(help));
    const QString words = help.simplified();
    for (const char *usual :
         {"links, which must have two digits (default: 20).", "0 is for ever (default: 0).",
          "package run (default: 300).", "unpack the bundle (default: /usr/src/kestra)."})
        QVERIFY2(words.contains(QLatin1String(usual)), usual);
}

void OptionsTest::thePasswordIsNoOption()
{
    QVERIFY(!parse({"--password=x"_s}).error.isEmpty());
    QVERIFY(!parse({"--password"_s, "x"_s}).error.isEmpty());
}

void OptionsTest::helpNamesEveryOptionAndExitCode()
{
    const QString help = Setup::helpText(*Setup::findCommand(QString()));
    for (const char *option : {"--driver-bundle <FILE>",
                               "--extraction-path <DIR>",
                               "--driver-tree <DIR>",
                               "--module <NAME>",
                               "--kernel-headers <DIR>",
                               "--compile-arguments <LIST>",
                               "--install-arguments <LIST>",
                               "--make-environment <LIST>",
                               "--no-driver",
                               "--packages <LIST>",
                               "--package-manager <NAME>",
                               "--no-packages",
                               "--providers <FILE>",
                               "--country <NAME>",
                               "--service <NAME>",
                               "--user <NAME>",
                               "--password-file <FILE>",
                               "--password-stdin",
                               "--sequence <N>",
                               "--no-boot",
                               "--no-dns",
                               "--modem-timeout <SECONDS>",
                               "--lock-timeout <SECONDS>",
                               "--unattended",
                               "--verbose",
                               "--log <FILE>",
                               "--data-dir <DIR>",
                               "-h, --help",
                               "--version"})
        QVERIFY2(help.contains(QLatin1String(option)), option);
    const QString codes = help.section("Exit codes:\n"_s, 1);
    const QRegularExpression row("^ +([0-9]+)  [^ \n].*$"_s, QRegularExpression::MultilineOption);
    QList<int> numbers;
    for (auto match = row.globalMatch(codes); match.hasNext();)
        numbers.append(match.next().captured(1).toInt());
    QList<int> expected;
    for (int number = 0; number <= 27; ++number)
        expected.append(number);
    expected.append(130);
    QCOMPARE(numbers, expected);
}

void OptionsTest::manualPageTellsAll()
{
    QString page = QString::fromUtf8(readFile(QStringLiteral(KESTRA_MANUAL_PAGE)));
    page.replace("\\-"_s, "-"_s);
    static const QRegularExpression option("^ +(?:-., )?(--[a-z-]+)"_s,
                                           QRegularExpression::MultilineOption);
    static const QRegularExpression code("^ +([0-9]+)  (.*)$"_s,
                                         QRegularExpression::MultilineOption);
    QStringList missing;
    for (const Setup::Command &command : Setup::commands()) {
        const QString help = Setup::helpText(command);
        if (!page.contains(QLatin1String(command.name)))
            missing.append(QLatin1String(command.name));
        for (auto match = option.globalMatch(help); match.hasNext();) {
            const QString name = match.next().captured(1);
            if (!page.contains(QRegularExpression(name + "\\b(?!-)"_s)))
                missing.append(name);
        }
        for (auto match = code.globalMatch(help); match.hasNext();) {
            const QStringList row = match.next().capturedTexts();
            const QString meaning = row.at(2).left(1).toUpper() + row.at(2).mid(1);
            const QString entry = ".TP\n%1\n%2.\n"_s.arg(row.at(1), meaning);
            if (!page.contains(entry))
                missing.append(entry);
        }
    }
    missing.removeDuplicates();
    QCOMPARE(missing, QStringList());
}

QTEST_GUILESS_MAIN(OptionsTest)
#include "optionstest.moc"
