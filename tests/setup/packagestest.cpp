// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "standintool.h"
#include "testmain.h"

#include <QFileInfo>

using namespace KestraTest;

using Changes = QMap<QString, QString>;

namespace {

const QString lock = "/var/lib/dpkg/lock-frontend"_s;

Changes withPackages(const QString &packages)
{
    return {{"--no-driver"_s, "-"_s},         {"--driver-bundle"_s, QString()},
            {"--no-packages"_s, QString()},   {"--packages"_s, packages},
            {"--package-manager"_s, "apt"_s}, {"--no-boot"_s, "-"_s}};
}

StandInTool::Behaviour prints(const QByteArray &output)
{
    StandInTool::Behaviour behaviour;
    behaviour.output = output;
    return behaviour;
}

StandInTool::Behaviour fails(const QByteArray &errorOutput, int exitCode)
{
    StandInTool::Behaviour behaviour;
    behaviour.errorOutput = errorOutput;
    behaviour.exitCode = exitCode;
    return behaviour;
}

/** In the place of apt-get, which has all packages; only the simulation says so by itself. */
class PretendedAptGet : public StandInTool
{
public:
    PretendedAptGet() : StandInTool("apt-get")
    {
        setBehaviourFor("-s",
                        prints("Reading package lists...\nInst first (1 x [all])\n"
                               "Inst second (1 x [all])\n"));
    }

    QList<QStringList> installations() const
    {
        QList<QStringList> result;
        for (const QStringList &arguments : argumentsOfCalls()) {
            if (!arguments.contains("-s"_s))
                result.append(arguments);
        }
        return result;
    }
};

/** A program that keeps the lock of the package system. */
class LockHolder
{
public:
    LockHolder()
    {
        m_process.start(helperProgram("lockholder"), {lock});
        m_process.waitForReadyRead();
    }
    ~LockHolder() { release(); }

    qint64 pid() const { return m_process.processId(); }

    void release()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
};

}

/** The packages stage, mostly with stand-ins for the package tools. */
class PackagesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine.reset(); }

    void whatIsThereIsNotInstalled();
    void installs();
    void askedOfTheToolsWithoutQuestions();
    void usualPackages_data();
    void usualPackages();
    void failure_data();
    void failure();
    void successWithoutPackages();
    void installedHalfIsRemembered_data();
    void installedHalfIsRemembered();
    void unavailable();
    void lockedForTooLong();
    void lockedForAWhile();
    void zypperAsksRpm();
    void realTools();

private:
    Machine m_machine;
};

void PackagesTest::whatIsThereIsNotInstalled()
{
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    dpkg.setBehaviour(prints("ii  first   1  all  x\nii  second  1  all  x\n"));
    const SetupResult result = m_machine.run(withPackages("first,second"_s));
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(": first, second: installed already\n"),
             result.output.constData());
    QVERIFY(aptGet.calls().isEmpty());
}

void PackagesTest::installs()
{
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    dpkg.addBehaviour(prints("ii  first  1  all  x\n"));
    dpkg.addBehaviour(prints("ii  first  1  all  x\nii  second  1  all  x\n"));
    const SetupResult result = m_machine.run(withPackages("first second"_s));
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(aptGet.argumentsOfCalls(),
             QList<QStringList>({{"-s"_s, "install"_s, "-y"_s, "--force-yes"_s, "second"_s},
                                 {"install"_s, "-y"_s, "--force-yes"_s, "second"_s}}));
    QVERIFY2(result.output.contains("\n  second  (packages installed)\n"),
             result.output.constData());
    // What the library prints by itself does not get on the screen.
    QVERIFY(!result.output.contains("z:1"));
    QVERIFY(!result.output.contains("PM::gapa"));
}

void PackagesTest::askedOfTheToolsWithoutQuestions()
{
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    dpkg.addBehaviour(prints(""));
    dpkg.addBehaviour(prints("ii  first  1  all  x\n"));
    QCOMPARE(m_machine.run(withPackages("first"_s)).code, 0);
    QCOMPARE(aptGet.installations().size(), 1);
    QCOMPARE(aptGet.calls().last().variable("DEBIAN_FRONTEND"), QByteArray("noninteractive"));
    QCOMPARE(aptGet.calls().last().variable("DPKG_FORCE"), QByteArray("confdef,confold"));
}

void PackagesTest::usualPackages_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<QByteArray>("packages");
    QTest::newRow("PPPoA") << "Example PPPoA"_s << QByteArray("ppp");
    QTest::newRow("PPPoE") << "Example PPPoE"_s << QByteArray("ppp, br2684ctl");
}

void PackagesTest::usualPackages()
{
    QFETCH(QString, service);
    QFETCH(QByteArray, packages);
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(prints("ii  ppp 1 all x\nii  br2684ctl 1 all x\n"));
    Changes changes = withPackages(QString());
    changes["--service"_s] = service;
    const SetupResult result = m_machine.run(changes);
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains("): " + packages + ": installed already\n"),
             result.output.constData());
}

void PackagesTest::failure_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("sentence");
    QTest::newRow("unknown package")
        << QByteArray("E: Package 'first' has no installation candidate\n")
        << QByteArray("The package sources do not know a package that is needed.");
    QTest::newRow("no network") << QByteArray(
        "Err:1 http://packages.example.net bookworm\n"
        "  Temporary failure resolving 'packages.example.net'\n")
                                << QByteArray("The packages could not be downloaded.");
    QTest::newRow("full disk") << QByteArray("E: You don't have enough free space in /var.\n")
                               << QByteArray("The disk is full.");
    QTest::newRow("force-yes") << QByteArray(
        "E: Command line option --force-yes is not understood\n")
                               << QByteArray("The package tools refused the option --force-yes.");
    QTest::newRow("anything else")
        << QByteArray("E: something odd\n")
        << QByteArray("Not installed: first (the package tools ended with code 100).");
}

void PackagesTest::failure()
{
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, sentence);
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    aptGet.setBehaviour(fails(output, 100));
    const SetupResult result = m_machine.run(withPackages("first"_s));
    QCOMPARE(result.code, 14);
    QVERIFY2(result.errors.startsWith("\n" + sentence + " "), result.errors.constData());
    for (const QByteArray &line : output.trimmed().split('\n'))
        QVERIFY2(result.errors.contains("    | " + line + "\n"), result.errors.constData());
    QVERIFY(!exists("/etc/kestra"_s));
}

void PackagesTest::successWithoutPackages()
{
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    const SetupResult result = m_machine.run(withPackages("first"_s));
    QCOMPARE(result.code, 14);
    QVERIFY2(
        result.errors.startsWith("\nNot installed: first (the package tools ended with code 0). "),
        result.errors.constData());
}

void PackagesTest::installedHalfIsRemembered_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<bool>("isRemembered");
    QTest::newRow("not at all") << QByteArray() << false;
    QTest::newRow("only files of an earlier one") << QByteArray("rc  second  1  all  x\n") << false;
    QTest::newRow("unpacked") << QByteArray("iU  second  1  all  x\n") << true;
    QTest::newRow("half configured") << QByteArray("iF  second  1  all  x\n") << true;
}

void PackagesTest::installedHalfIsRemembered()
{
    QFETCH(QByteArray, state);
    QFETCH(bool, isRemembered);
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    dpkg.addBehaviour({});
    for (int question = 0; question < 2; ++question)
        dpkg.addBehaviour(prints("ii  first  1  all  x\n" + state));
    QCOMPARE(m_machine.run(withPackages("first second"_s)).code, 14);
    const QByteArray store = readFile("/var/lib/kestra/before.json"_s);
    QVERIFY2(store.contains("\"first\""), store.constData());
    QCOMPARE(store.contains("\"second\""), isRemembered);
}

void PackagesTest::unavailable()
{
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    aptGet.setBehaviourFor("-s", fails("E: Unable to locate package second\n", 100));
    const SetupResult result = m_machine.run(withPackages("first,second"_s));
    QCOMPARE(result.code, 14);
    QVERIFY2(
        result.errors.startsWith("\nThe package sources do not know a package that is needed. "),
        result.errors.constData());
    QCOMPARE(aptGet.installations(), {});
}

void PackagesTest::lockedForTooLong()
{
    if (!QFileInfo(lock).isWritable())
        QSKIP("the package system is read-only in this sandbox");
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    LockHolder holder;
    Changes changes = withPackages("first"_s);
    changes["--lock-timeout"_s] = "1"_s;
    const SetupResult result = m_machine.run(changes);
    const QByteArray name = "lockholder (process " + QByteArray::number(holder.pid()) + ")";
    QCOMPARE(result.code, 15);
    QCOMPARE(result.errors,
             "\nThe package system is locked by " + name
                 + ". Let it end or stop it, then start again.\n");
    QVERIFY2(result.output.contains("\n    Waiting for the package system, which is locked by "
                                    + name + "\n"),
             result.output.constData());
    QVERIFY(aptGet.calls().isEmpty());
}

void PackagesTest::lockedForAWhile()
{
    if (!QFileInfo(lock).isWritable())
        QSKIP("the package system is read-only in this sandbox");
    StandInTool dpkg("dpkg");
    PretendedAptGet aptGet;
    dpkg.addBehaviour(prints(""));
    dpkg.addBehaviour(prints("ii  first  1  all  x\n"));
    LockHolder holder;
    QProcess process;
    QByteArray output;
    Machine::start(process, Machine::arguments(withPackages("first"_s)));
    QVERIFY(Machine::waitForOutput(process, output, "Waiting for a modem"));
    m_machine.plugIn();
    QVERIFY(Machine::waitForOutput(process, output, "which is locked by lockholder"));
    QTest::qWait(1000);
    QVERIFY(aptGet.calls().isEmpty());
    holder.release();
    QCOMPARE(Machine::finish(process, output).code, 0);
    QCOMPARE(aptGet.installations().size(), 1);
}

void PackagesTest::zypperAsksRpm()
{
    StandInTool rpm("rpm");
    StandInTool zypper("zypper");
    zypper.setBehaviour(prints("Resolving package dependencies...\n"));
    rpm.addBehaviour(prints("first-1.0-1.x86_64\n"));
    rpm.addBehaviour(prints("first-1.0-1.x86_64\nsecond-1.0-1.x86_64\n"));
    Changes changes = withPackages("first,second"_s);
    changes["--package-manager"_s] = "zypper"_s;
    const SetupResult result = m_machine.run(changes);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.code, 0);
    QCOMPARE(
        zypper.argumentsOfCalls(),
        QList<QStringList>(
            {{"--non-interactive"_s, "--no-gpg-checks"_s, "install"_s, "--dry-run"_s, "second"_s},
             {"--non-interactive"_s, "--no-gpg-checks"_s, "install"_s, "second"_s}}));
    QCOMPARE(zypper.calls().first().variable("LC_ALL"), QByteArray("C"));
}

void PackagesTest::realTools()
{
    if (!QFileInfo(lock).isWritable())
        QSKIP("the package system is read-only in this sandbox");
    const SetupResult result = m_machine.run(withPackages("kestra-no-such-package"_s));
    QCOMPARE(result.code, 14);
    QVERIFY2(
        result.errors.startsWith("\nThe package sources do not know a package that is needed. "),
        result.errors.constData());
    QVERIFY2(result.errors.contains("    | E: Unable to locate package kestra-no-such-package\n"),
             result.errors.constData());
}

KESTRA_TEST_MAIN(PackagesTest)
#include "packagestest.moc"
