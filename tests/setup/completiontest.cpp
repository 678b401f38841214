// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "literals.h"
#include "testmain.h"

#include <QProcess>

using namespace KestraTest;

namespace {

const QString installedData = QStringLiteral(KESTRA_INSTALLED_DATA);

/** Completes the last of @p words as the shell would. */
QStringList complete(const QStringList &words)
{
    QProcess shell;
    shell.start("bash"_s,
                QStringList {"-c"_s,
                             "source \"$0\"\n"
                             "COMP_WORDS=(\"$@\")\n"
                             "COMP_CWORD=$(($# - 1))\n"
                             "_kestra_setup\n"
                             "printf '%s\\n' \"${COMPREPLY[@]}\"\n"_s,
                             QStringLiteral(KESTRA_COMPLETION),
                             QStringLiteral(KESTRA_SETUP_PROGRAM)}
                    + words);
    shell.waitForFinished();
    const QString errors = QString::fromLocal8Bit(shell.readAllStandardError());
    if (!errors.isEmpty())
        return {errors};
    return QString::fromLocal8Bit(shell.readAllStandardOutput())
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

}

/** What the shell offers for a command line of kestra-setup. */
class CompletionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void commands_data();
    void commands();
    void options();
    void optionsOfACommand();
    void valuesOfOptions_data();
    void valuesOfOptions();
    void files();
};

void CompletionTest::initTestCase()
{
    writeFile(
        installedData + "/services.xml"_s,
        "<services><country code=\"Lower Freedonia\"/><country code=\"Sylvania\"/></services>");
    QVERIFY(QFile::link(QStringLiteral(KESTRA_DATA_DIRECTORY) + "/drivers"_s,
                        installedData + "/drivers"_s));
    writeFile("/tmp/of files/a bundle.tar"_s, "");
    makeDirectory("/tmp/of files/a tree"_s);
}

void CompletionTest::commands_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("first word") << QStringList {"dr"_s} << QStringList {"driver"_s, "drivers"_s};
    QTest::newRow("second word") << QStringList {"boot"_s, QString()}
                                 << QStringList {"enable"_s, "disable"_s};
    QTest::newRow("second word begun") << QStringList {"dns"_s, "r"_s} << QStringList {"restore"_s};
    QTest::newRow("command of one word") << QStringList {"undo"_s, QString()} << QStringList();
    QTest::newRow("no such command") << QStringList {"x"_s} << QStringList();
    QTest::newRow("countries") << QStringList {"providers"_s, "lower"_s}
                               << QStringList {"Lower\\ Freedonia"_s};
}

void CompletionTest::commands()
{
    QFETCH(QStringList, words);
    QFETCH(QStringList, expected);
    QCOMPARE(complete(words), expected);
}

void CompletionTest::options()
{
    QCOMPARE(complete({"--pass"_s}), QStringList({"--password-file"_s, "--password-stdin"_s}));
    QCOMPARE(complete({"--unattended"_s, "--coun"_s}), QStringList({"--country"_s}));
}

void CompletionTest::optionsOfACommand()
{
    QCOMPARE(complete({"undo"_s, "--fo"_s}), QStringList({"--force"_s}));
    QCOMPARE(complete({"undo"_s, "--coun"_s}), QStringList());
    QCOMPARE(complete({"dns"_s, "set"_s, "--se"_s}), QStringList({"--service"_s, "--servers"_s}));
}

void CompletionTest::valuesOfOptions_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("country") << QStringList {"--country"_s, "S"_s} << QStringList {"Sylvania"_s};
    QTest::newRow("driver") << QStringList {"connect"_s, "--driver"_s, "u"_s}
                            << QStringList {"ueagle-atm"_s, "unicorn"_s};
    QTest::newRow("package manager")
        << QStringList {"--package-manager"_s, QString()} << QStringList {"apt"_s, "zypper"_s};
    QTest::newRow("a secret of the provider")
        << QStringList {"--user"_s, QString()} << QStringList();
}

void CompletionTest::valuesOfOptions()
{
    QFETCH(QStringList, words);
    QFETCH(QStringList, expected);
    QCOMPARE(complete(words), expected);
}

void CompletionTest::files()
{
    QCOMPARE(complete({"--driver-bundle"_s, "/tmp/of files/a b"_s}),
             QStringList({"/tmp/of files/a bundle.tar"_s}));
    QCOMPARE(complete({"--driver-tree"_s, "/tmp/of files/a"_s}),
             QStringList({"/tmp/of files/a tree"_s}));
}

KESTRA_TEST_MAIN(CompletionTest)

#include "completiontest.moc"
