// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "standintool.h"
#include "testmain.h"

using namespace KestraTest;

/** Tools that take longer than the library waits for them. */
class TimeoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine.reset(); }

    void aLongBuildIsWaitedFor();
    void aLongBuildThatFailsIsNoSuccess();
    void aLongBuildThatFailsWithAProduct_data();
    void aLongBuildThatFailsWithAProduct();
    void aBundleThatIsNotReadInTime();
    void aLongInstallationIsJudgedByItsResult();
    void aListingOfPackagesThatHangsIsGivenUp();
    void aLongInstallationThatFailsIsTakenBack();

private:
    Machine m_machine;
};

void TimeoutTest::aLongBuildIsWaitedFor()
{
    m_machine.writeBundle(Machine::makefile("@sleep 33\n@echo late\n" + Machine::usualBuild(),
                                            Machine::usualInstallation()));
    const SetupResult result = m_machine.run(Machine::arguments({{"--verbose"_s, "-"_s}}), 120000);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains("\n    Waiting for make (process "), result.output.constData());
    QVERIFY2(result.output.contains("\n    | late\n"), result.output.constData());
    QCOMPARE(readFile(Machine::newModule), Machine::source);
}

void TimeoutTest::aLongBuildThatFailsIsNoSuccess()
{
    m_machine.writeBundle(
        Machine::makefile("@sleep 32\n@echo too bad\n@false", Machine::usualInstallation()));
    const SetupResult result = m_machine.run(Machine::arguments(), 120000);
    QCOMPARE(result.code, 10);
    QVERIFY2(result.errors.contains("\n    | too bad\n"), result.errors.constData());
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
}

void TimeoutTest::aLongBuildThatFailsWithAProduct_data()
{
    QTest::addColumn<QByteArray>("ending");
    QTest::addColumn<QByteArray>("code");
    QTest::newRow("make says so") << QByteArray("@false") << QByteArray("2");
    QTest::newRow("make is killed") << QByteArray("@kill -9 $$PPID") << QByteArray("137");
}

/** tar may wait for a disk that does not answer. */
void TimeoutTest::aBundleThatIsNotReadInTime()
{
    const QString directory = Machine::directory + "/bin"_s;
    writeFile(directory + "/tar"_s, "#!/bin/sh\nexec sleep 300\n", 0755);
    const QByteArray before = Machine::state();
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PATH"_s, directory + QLatin1Char(':') + environment.value("PATH"_s));
    process.setProcessEnvironment(environment);
    Machine::start(process, Machine::arguments());
    const SetupResult result = Machine::finish(process, {}, 120000);
    QCOMPARE(result.code, 7);
    QVERIFY2(result.errors.startsWith("\nThe driver bundle /tmp/machine/driver.tar.gz could not be "
                                      "read to its end in 60 seconds. Make or download it again."),
             result.errors.constData());
    QCOMPARE(Machine::state(), before);
}

/** The library would have it that such a make ended well. */
void TimeoutTest::aLongBuildThatFailsWithAProduct()
{
    QFETCH(QByteArray, ending);
    QFETCH(QByteArray, code);
    m_machine.writeBundle(Machine::makefile(Machine::usualBuild() + "\n@sleep 35\n" + ending,
                                            Machine::usualInstallation()));
    const SetupResult result = m_machine.run(Machine::arguments(), 120000);
    QVERIFY2(
        result.errors.contains("The driver did not compile (make ended with code " + code + ")."),
        result.everything().constData());
    QCOMPARE(result.code, 10);
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
}

void TimeoutTest::aLongInstallationThatFailsIsTakenBack()
{
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild(), Machine::usualInstallation() + "\n@sleep 33\n@kill -9 $$PPID"));
    const SetupResult result = m_machine.run(Machine::arguments(), 120000);
    QVERIFY2(
        result.errors.contains("The driver could not be installed (make ended with code 137)."),
        result.everything().constData());
    QCOMPARE(result.code, 12);
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    QVERIFY(!exists(Machine::newModule));
}

void TimeoutTest::aLongInstallationIsJudgedByItsResult()
{
    // The library removes the tree when its wait is over, under the tool that still runs.
    m_machine.writeBundle(
        Machine::makefile(Machine::usualBuild(), "@sleep 33\n" + Machine::usualInstallation()));
    const SetupResult result = m_machine.run(Machine::arguments(), 120000);
    QCOMPARE(result.code, 12);
    QVERIFY2(result.output.contains("\n    Waiting for make (process "), result.output.constData());
    QCOMPARE(readFile(Machine::oldModule), QByteArray("the old driver\n"));
    QVERIFY(!exists(Machine::newModule));
}

void TimeoutTest::aListingOfPackagesThatHangsIsGivenUp()
{
    StandInTool dpkg("dpkg");
    StandInTool::Behaviour hangs;
    hangs.waitBefore = 45000;
    dpkg.setBehaviour(hangs);
    QProcess process;
    Machine::start(
        process,
        {"packages"_s, "check"_s, "--packages"_s, "ppp"_s, "--package-manager"_s, "apt"_s});
    const SetupResult result = Machine::finish(process);
    QCOMPARE(result.code, 14);
    QCOMPARE(result.errors,
             QByteArray("kestra-setup: dpkg does not tell which packages are installed. Run it by "
                        "hand to see what is wrong, then start again.\n"));
}

KESTRA_TEST_MAIN(TimeoutTest)
#include "timeouttest.moc"
