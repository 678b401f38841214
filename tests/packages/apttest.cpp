// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/foundation/debuglog.h>
#include <kestra/foundation/myprocess.h>
#include <kestra/packages/apt.h>

#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QThread>

#include <memory>

#include <unistd.h>

using namespace KestraTest;

namespace {

const QString discDirectory = "/media/disc"_s;

/** An Apt without a thread, and what it writes after its constructor. */
struct Fixture
{
    Fixture() { messages.clear(); }

    MessageLog messages;
    Apt apt {nullptr};
    DebugFile debugFile;
};

QByteArray refusedConnection()
{
    return "QObject::connect: No such signal QProcess::lineAvailable(QByteArray)";
}

/** Makes a directory that passes for the disc of a distribution. */
void makeDisc(const QString &directory)
{
    makeDirectory(directory + "/pool"_s);
    makeDeb(directory + "/pool"_s, "kestra-disc"_s);
    writeFile(directory + "/.disk/info"_s, "Kestra disc 1\n");
    const QString index = directory + "/dists/stable/main/binary-all/Packages"_s;
    writeFile(index, runTool("dpkg-scanpackages"_s, {"-m"_s, "pool"_s}, directory));
    const QString architecture =
        QString::fromLatin1(runTool("dpkg"_s, {"--print-architecture"_s}).trimmed());
    writeFile(directory + "/dists/stable/main/binary-%1/Packages"_s.arg(architecture),
              readFile(index));
}

/** Lets apt know no other source than a directory with these packages. */
void useLocalRepository(const QStringList &packages)
{
    const QString directory = "/media/repository"_s; // one that apt's own user can read
    remove(directory);
    makeDirectory(directory);
    for (const QString &package : packages)
        makeDeb(directory, package);
    writeFile(directory + "/Packages"_s,
              runTool("dpkg-scanpackages"_s, {"-m"_s, "."_s}, directory));
    remove("/etc/apt/sources.list.d"_s);
    makeDirectory("/etc/apt/sources.list.d"_s);
    writeFile("/etc/apt/sources.list"_s,
              "deb [trusted=yes] file:" + directory.toLatin1() + " ./\n");
    runTool("apt-get"_s, {"update"_s});
}

}

/** The Apt class, against stand-ins for the tools and against the real ones. */
class AptTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void constructorWarnsOfTheRefusedThirdConnection();
    void constructorSaysThatTheParentIsNull();
    void constructorSaysNothingOfAParent();
    void constructorWritesNoDebugLineWhileDebugIsOff();
    void threadIsParentAndGetsTheProcesses();
    void withoutThreadNothingMoves();
    void processesHaveNoParent();
    void threadDeletesItsApt();
    void destructorSaysSoAndDeletesTheProcesses();
    void metaObjectHasOneSlotAndNoSignal();
    void methodsAreSilentWhileDebugIsOff();
    void nothingGoesToStandardOutput();

    void dpkgRunsWithOneArgument();
    void dpkgIsNotRunForAnEmptyList();
    void onlyStateIiCountsAsInstalled_data();
    void onlyStateIiCountsAsInstalled();
    void requestThatBeginsAnInstalledNameCountsAsInstalled();
    void requestThatIsLongerThanAnInstalledNameIsMissing();
    void nameIsFoundOnlyRightAfterTheState();
    void repeatedNamesAreRemovedAtOnce();
    void remainingNamesKeepTheirOrder();
    void oneLineRemovesSeveralNamesInTheirOrder();
    void emptyNameIsInstalledWithAnyPackage();
    void listingIsComparedInTheLocalEncoding();
    void listingIsSplitAtNewlinesOnly();
    void listingMayEndWithoutNewline();
    void listingOnStandardErrorDoesNotCount();
    void exitCodeOfDpkgDoesNotMatter();
    void missingDpkgMakesAllPackagesMissing();
    void eachQueryReadsAListingOfItsOwn();
    void dpkgInheritsTheEnvironmentUnchanged();
    void manyNamesAgainstALongListing();

    void availabilityAsksAptCache();
    void availabilityOfNothingStillAsks();
    void unknownPackageIsUnavailable();
    void onlyTheFirstUnknownPackageIsNamed();
    void availabilityReturnsEarlyWhileDebugIsOff();
    void onlyTheWarningCounts_data();
    void onlyTheWarningCounts();
    void nameInTheWarningIsCutAfterHundredCharacters();
    void standardErrorIsReadUpToANulByte();
    void standardOutputOfAptCacheDoesNotCount();
    void exitCodeOfAptCacheDoesNotMatter();
    void missingAptCacheMakesAllAvailable();
    void availabilityIsForgottenByTheNextQuery();

    void addCdNamesTheMountPoint();
    void addCdLeavesOutAMountPointThatIsNoPlace_data();
    void addCdLeavesOutAMountPointThatIsNoPlace();
    void addCdTakesAnythingThatExists();
    void addCdPassesTheExitCodeThrough_data();
    void addCdPassesTheExitCodeThrough();
    void addCdWritesTheOutputLineByLine();
    void addCdStartsAFreshCommandLine();
    void addCdWithoutAptCdrom();

    void installRefusesAnEmptyList();
    void installRunsAptGet_data();
    void installRunsAptGet();
    void installWritesItsDebugLinesInOrder();
    void installPassesTheExitCodeThroughAsARawByte_data();
    void installPassesTheExitCodeThroughAsARawByte();
    void installWithoutAptGet();
    void transcriptRunsTogether();
    void transcriptGrowsOverRuns();
    void lineWithNulByteIsKeptInTheTranscript();

    void localeIsForcedForThreeTools_data();
    void localeIsForcedForThreeTools();
    void environmentIsTakenAtConstruction();

    void realDpkgKnowsWhatIsInstalled();
    void realDpkgStateRcIsMissing();
    void realDpkgWritesWholeNamesWhateverTheWidth();
    void realAptGetSimulates();
    void realAptGetInstalls();
    void realAptGetFails();
    void realAptCacheKnowsThePackage();
    void realAptCacheOfTodayHasNoWarning();
    void recordedAptCacheSaysNoticeInsteadOfWarning();
    void realAptCdromAddsADirectory();
    void realAptCdromAddsAMountedImage();
    void realAptCdromFailsOnAnEmptyDirectory();
};

void AptTest::init()
{
    if (QByteArray(QTest::currentTestFunction()).startsWith("real")) {
        const QByteArray reason = obstacle({"dpkg", "dpkg-deb", "dpkg-scanpackages", "apt-get",
                                            "apt-cache", "apt-cdrom", "mke2fs"});
        if (!reason.isEmpty())
            QSKIP(reason.constData());
    }
    remove(discDirectory);
    makeDirectory(discDirectory);
}

// Construction and destruction

void AptTest::constructorWarnsOfTheRefusedThirdConnection()
{
    MessageLog messages;
    const Apt apt(nullptr);
    QCOMPARE(messages.texts().size(), 1);
    QCOMPARE(messages.warnings().size(), 1);
    QVERIFY2(messages.warnings().constFirst().startsWith(QString::fromLatin1(refusedConnection())),
             qPrintable(messages.warnings().constFirst()));
}

void AptTest::constructorSaysThatTheParentIsNull()
{
    const DebugFile debugFile;
    const Apt apt(nullptr);
    QCOMPARE(debugFile.text(), QByteArray("Apt::Apt(): parent is null!\n"));
}

void AptTest::constructorSaysNothingOfAParent()
{
    QThread thread;
    const DebugFile debugFile;
    const Apt apt(&thread);
    QCOMPARE(debugFile.text(), QByteArray());
}

void AptTest::constructorWritesNoDebugLineWhileDebugIsOff()
{
    const DebugFile debugFile(false);
    {
        const Apt apt(nullptr);
    }
    QCOMPARE(debugFile.text(), QByteArray());
}

void AptTest::threadIsParentAndGetsTheProcesses()
{
    QThread thread;
    const Apt apt(&thread);
    QCOMPARE(apt.parent(), static_cast<QObject *>(&thread));
    QCOMPARE(apt.thread(), QThread::currentThread());
    QCOMPARE(apt.m_cdromProcess->thread(), &thread);
    QCOMPARE(apt.m_installProcess->thread(), &thread);
    QCOMPARE(apt.m_dpkgProcess->thread(), &thread);
    QCOMPARE(apt.m_cacheProcess->thread(), &thread);
}

void AptTest::withoutThreadNothingMoves()
{
    const Apt apt(nullptr);
    QVERIFY(!apt.parent());
    QThread *const current = QThread::currentThread();
    QCOMPARE(apt.m_cdromProcess->thread(), current);
    QCOMPARE(apt.m_installProcess->thread(), current);
    QCOMPARE(apt.m_dpkgProcess->thread(), current);
    QCOMPARE(apt.m_cacheProcess->thread(), current);
}

void AptTest::processesHaveNoParent()
{
    const Apt apt(nullptr);
    QVERIFY(apt.children().isEmpty());
    QVERIFY(!apt.m_cdromProcess->parent());
    QVERIFY(!apt.m_installProcess->parent());
    QVERIFY(!apt.m_dpkgProcess->parent());
    QVERIFY(!apt.m_cacheProcess->parent());
}

void AptTest::threadDeletesItsApt()
{
    const DebugFile debugFile;
    auto thread = std::make_unique<QThread>();
    const QPointer<Apt> apt = new Apt(thread.get());
    thread.reset();
    QVERIFY(!apt);
    QCOMPARE(debugFile.text(), QByteArray("Apt::~Apt(): dtor called.\n"));
}

void AptTest::destructorSaysSoAndDeletesTheProcesses()
{
    auto apt = std::make_unique<Apt>(nullptr);
    const QList<QPointer<QProcess>> processes = {apt->m_cdromProcess, apt->m_installProcess,
                                                 apt->m_dpkgProcess, apt->m_cacheProcess};
    const DebugFile debugFile;
    apt.reset();
    QCOMPARE(debugFile.text(), QByteArray("Apt::~Apt(): dtor called.\n"));
    for (const QPointer<QProcess> &process : processes)
        QVERIFY(!process);
}

void AptTest::metaObjectHasOneSlotAndNoSignal()
{
    const QMetaObject &meta = Apt::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(),
             QByteArray("debugProcess(QByteArray)"));
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Slot);
}

void AptTest::methodsAreSilentWhileDebugIsOff()
{
    const DebugFile debugFile(false);
    StandInTool dpkg("dpkg"), aptCache("apt-cache"), aptGet("apt-get"), aptCdrom("apt-cdrom");
    dpkg.setBehaviour(says("ii  foo 1\n"));
    aptGet.setBehaviour(says("line\n"));
    {
        Apt apt(nullptr);
        QCOMPARE(apt.getNotInstalled({"foo"_s, "bar"_s}), QStringList("bar"_s));
        QVERIFY(apt.getNotInstalled({}).isEmpty());
        QVERIFY(apt.getArePackagesAvailable({"foo"_s}));
        QCOMPARE(apt.addCD(QString()), 0);
        QCOMPARE(apt.install({"foo"_s}, false), 0);
        QCOMPARE(apt.install({}, false), -1);
        QVERIFY(apt.m_log.contains("line"));
    }
    QCOMPARE(debugFile.text(), QByteArray());
}

void AptTest::nothingGoesToStandardOutput()
{
    StandInTool dpkg("dpkg"), aptCache("apt-cache"), aptGet("apt-get"), aptCdrom("apt-cdrom");
    aptCache.setBehaviour(says("", "W: Unable to locate package foo\n"));
    aptGet.setBehaviour(says("line\n", "", 3));
    QByteArray output;
    {
        Fixture fixture;
        StdoutCapture capture;
        fixture.apt.getNotInstalled({"foo"_s});
        fixture.apt.getArePackagesAvailable({"foo"_s});
        fixture.apt.addCD(QString());
        fixture.apt.install({"foo"_s}, false);
        output = capture.take();
    }
    QCOMPARE(output, QByteArray());
}

// getNotInstalled()

void AptTest::dpkgRunsWithOneArgument()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("Desired=Unknown/Install\nii  foo  1.2  all  Foo\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s, "bar"_s, "baz"_s}),
             QStringList({"bar"_s, "baz"_s}));
    QCOMPARE(dpkg.argumentsOfCalls(), QList<QStringList>({{"-l"_s}}));
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("Apt::getNotInstalled(): starting the process.\n"
                        "Apt::getNotInstalled(): waiting for process finish.\n"
                        "Apt::getNotInstalled(): package foo is installed.\n"
                        "Apt::getNotInstalled(): not installed packages: bar, baz.\n"));
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void AptTest::dpkgIsNotRunForAnEmptyList()
{
    StandInTool dpkg("dpkg");
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({}), QStringList());
    QVERIFY(dpkg.calls().isEmpty());
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("Apt::getNotInstalled(): packages list is empty!\n"));
}

void AptTest::onlyStateIiCountsAsInstalled_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("installed");
    QTest::newRow("installed") << QByteArray("ii  foo 1") << true;
    QTest::newRow("name only") << QByteArray("ii  foo") << true;
    QTest::newRow("another architecture") << QByteArray("ii  foo:i386 1") << true;
    QTest::newRow("configuration kept") << QByteArray("rc  foo 1") << false;
    QTest::newRow("on hold") << QByteArray("hi  foo 1") << false;
    QTest::newRow("unpacked") << QByteArray("iU  foo 1") << false;
    QTest::newRow("half configured") << QByteArray("iF  foo 1") << false;
    QTest::newRow("reinstallation required") << QByteArray("iiR foo 1") << false;
    QTest::newRow("unknown") << QByteArray("un  foo <none>") << false;
    QTest::newRow("capitals") << QByteArray("II  foo 1") << false;
    QTest::newRow("one blank") << QByteArray("ii foo 1") << false;
    QTest::newRow("three blanks") << QByteArray("ii   foo 1") << false;
    QTest::newRow("tab") << QByteArray("ii\tfoo 1") << false;
    QTest::newRow("blank before") << QByteArray(" ii  foo 1") << false;
    QTest::newRow("name alone") << QByteArray("foo") << false;
    QTest::newRow("capital in the name") << QByteArray("ii  Foo 1") << false;
}

void AptTest::onlyStateIiCountsAsInstalled()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, installed);
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says(line + '\n'));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s}).isEmpty(), installed);
}

void AptTest::requestThatBeginsAnInstalledNameCountsAsInstalled()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  pppoe 3.8 i386 driver\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"ppp"_s}), QStringList());
    QVERIFY(
        fixture.debugFile.lines().contains("Apt::getNotInstalled(): package ppp is installed."_s));
    QCOMPARE(fixture.debugFile.lines().constLast(),
             "Apt::getNotInstalled(): not installed packages: ."_s);
}

void AptTest::requestThatIsLongerThanAnInstalledNameIsMissing()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  ppp\nii  ppp 2.4 i386 daemon\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"pppoe"_s}), QStringList("pppoe"_s));
}

void AptTest::nameIsFoundOnlyRightAfterTheState()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  libfoo 1 all depends on foo\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s}), QStringList("foo"_s));
}

void AptTest::repeatedNamesAreRemovedAtOnce()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  foo 1\nii  foo-data 1\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s, "bar"_s, "foo"_s, "bar"_s}),
             QStringList({"bar"_s, "bar"_s}));
    // The walk goes over a snapshot, in which the name is still there twice.
    QCOMPARE(fixture.debugFile.lines().mid(2),
             QStringList({"Apt::getNotInstalled(): package foo is installed."_s,
                          "Apt::getNotInstalled(): package foo is installed."_s,
                          "Apt::getNotInstalled(): not installed packages: bar, bar."_s}));
}

void AptTest::remainingNamesKeepTheirOrder()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  m 1\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"z"_s, "m"_s, "a"_s, "k"_s}),
             QStringList({"z"_s, "a"_s, "k"_s}));
}

void AptTest::oneLineRemovesSeveralNamesInTheirOrder()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  pppoe 1\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"pppoe"_s, "p"_s, "pppd"_s, "ppp"_s}),
             QStringList("pppd"_s));
    QCOMPARE(fixture.debugFile.lines().mid(2),
             QStringList({"Apt::getNotInstalled(): package pppoe is installed."_s,
                          "Apt::getNotInstalled(): package p is installed."_s,
                          "Apt::getNotInstalled(): package ppp is installed."_s,
                          "Apt::getNotInstalled(): not installed packages: pppd."_s}));
}

void AptTest::emptyNameIsInstalledWithAnyPackage()
{
    StandInTool dpkg("dpkg");
    dpkg.addBehaviour(says("rc  foo 1\n"));
    dpkg.addBehaviour(says("ii  foo 1\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({QString()}), QStringList(QString()));
    QCOMPARE(fixture.apt.getNotInstalled({QString()}), QStringList());
}

void AptTest::listingIsComparedInTheLocalEncoding()
{
    QTextCodec *const previous = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  caf\xc3\xa9 1\nii  th\xe9 1\n"));
    Fixture fixture;
    const QStringList missing = fixture.apt.getNotInstalled(
        {QString::fromUtf8("caf\xc3\xa9"), QString::fromUtf8("th\xc3\xa9")});
    QTextCodec::setCodecForLocale(previous);
    QCOMPARE(missing, QStringList(QString::fromUtf8("th\xc3\xa9")));
    QVERIFY(fixture.debugFile.text().contains("package caf\xc3\xa9 is installed.\n"));
    QVERIFY(fixture.debugFile.text().endsWith("not installed packages: th\xc3\xa9.\n"));
}

void AptTest::listingIsSplitAtNewlinesOnly()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  one\rii  two\nii  three\r\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"one"_s, "two"_s, "three"_s}), QStringList("two"_s));
}

void AptTest::listingMayEndWithoutNewline()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  one\nii  two"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"two"_s}), QStringList());
}

void AptTest::listingOnStandardErrorDoesNotCount()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("", "ii  foo 1\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s}), QStringList("foo"_s));
}

void AptTest::exitCodeOfDpkgDoesNotMatter()
{
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says("ii  foo 1\n", "", 2));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s}), QStringList());
}

void AptTest::missingDpkgMakesAllPackagesMissing()
{
    Fixture fixture;
    const NoTools noTools;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s, "bar"_s}), QStringList({"foo"_s, "bar"_s}));
    QCOMPARE(fixture.debugFile.lines(),
             QStringList({"Apt::getNotInstalled(): starting the process."_s,
                          "Apt::getNotInstalled(): not installed packages: foo, bar."_s}));
}

void AptTest::eachQueryReadsAListingOfItsOwn()
{
    StandInTool dpkg("dpkg");
    dpkg.addBehaviour(says("ii  foo 1\n"));
    dpkg.addBehaviour(says("ii  bar 1\n"));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s, "bar"_s}), QStringList("bar"_s));
    QCOMPARE(fixture.apt.getNotInstalled({"foo"_s, "bar"_s}), QStringList("foo"_s));
}

void AptTest::dpkgInheritsTheEnvironmentUnchanged()
{
    StandInTool dpkg("dpkg");
    const EnvironmentVariable locale("LC_ALL", "de_DE.UTF-8");
    Fixture fixture;
    const EnvironmentVariable later("KESTRA_PROBE", "set after construction");
    fixture.apt.getNotInstalled({"foo"_s});
    QCOMPARE(sorted(dpkg.calls().constFirst().environment), ownEnvironment());
    QCOMPARE(dpkg.calls().constFirst().variable("LC_ALL"), QByteArray("de_DE.UTF-8"));
}

void AptTest::manyNamesAgainstALongListing()
{
    QByteArray listing;
    for (int i = 0; i < 100000; ++i) {
        listing += i % 3 == 0 ? "rc  " : "ii  ";
        listing += "package-" + QByteArray::number(i) + "-data 1.0 all Nothing special\n";
    }
    QStringList names, expected;
    for (int i = 0; i < 2000; ++i) {
        const int number = i * 60; // beyond the listing from 100000 on
        const QString name = QStringLiteral("package-%1-d").arg(number + i % 3);
        names.append(name);
        if (number + i % 3 >= 100000 || i % 3 == 0)
            expected.append(name);
    }
    StandInTool dpkg("dpkg");
    dpkg.setBehaviour(says(listing));
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled(names), expected);
    QCOMPARE(fixture.debugFile.lines().size(), 3 + names.size() - expected.size());
}

// getArePackagesAvailable()

void AptTest::availabilityAsksAptCache()
{
    StandInTool aptCache("apt-cache");
    Fixture fixture;
    const QStringList packages = {"foo"_s, QString(), "b c"_s, "-x"_s};
    QVERIFY(fixture.apt.getArePackagesAvailable(packages));
    QCOMPARE(aptCache.argumentsOfCalls(),
             QList<QStringList>({QStringList("showpkg"_s) + packages}));
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("Apt::getArePackagesAvailable(): packages count: 4.\n"
                        "Apt::getArePackagesAvailable(): waiting for process finish.\n"
                        "Apt::getArePackagesAvailable(): returning true\n"));
    QCOMPARE(fixture.messages.texts(), QStringList("1 true"_s));
    QCOMPARE(fixture.messages.debugs(), QStringList("1 true"_s));
}

void AptTest::availabilityOfNothingStillAsks()
{
    StandInTool aptCache("apt-cache");
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({}));
    QCOMPARE(aptCache.argumentsOfCalls(), QList<QStringList>({{"showpkg"_s}}));
    QCOMPARE(fixture.debugFile.lines().constFirst(),
             "Apt::getArePackagesAvailable(): packages count: 0."_s);
}

void AptTest::unknownPackageIsUnavailable()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", "W: Unable to locate package foo\n"));
    Fixture fixture;
    QVERIFY(!fixture.apt.getArePackagesAvailable({"foo"_s, "bar"_s}));
    QVERIFY(!fixture.apt.m_packagesAvailable);
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("Apt::getArePackagesAvailable(): packages count: 2.\n"
                        "Apt::getArePackagesAvailable(): waiting for process finish.\n"
                        "Apt::debugAptCache: package foo is unavailable.\n"
                        "Apt::getArePackagesAvailable(): returning false\n"));
    QCOMPARE(fixture.messages.texts(), QStringList("1 true"_s));
}

void AptTest::onlyTheFirstUnknownPackageIsNamed()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(
        says("", "W: Unable to locate package foo\nW: Unable to locate package bar\n"));
    Fixture fixture;
    QVERIFY(!fixture.apt.getArePackagesAvailable({"foo"_s, "bar"_s}));
    QCOMPARE(fixture.debugFile.lines().mid(2),
             QStringList({"Apt::debugAptCache: package foo is unavailable."_s,
                          "Apt::getArePackagesAvailable(): returning false"_s}));
}

void AptTest::availabilityReturnsEarlyWhileDebugIsOff()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", "W: Unable to locate package foo\n"));
    Fixture fixture;
    debug = false;
    QVERIFY(!fixture.apt.getArePackagesAvailable({"foo"_s}));
    QVERIFY(!fixture.apt.m_packagesAvailable);
    QCOMPARE(fixture.debugFile.text(), QByteArray());
    QCOMPARE(fixture.messages.texts(), QStringList("1 true"_s));
}

void AptTest::onlyTheWarningCounts_data()
{
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<bool>("available");
    QTest::newRow("warning") << QByteArray("W: Unable to locate package foo\n") << false;
    QTest::newRow("in the middle") << QByteArray("x\nyW: Unable to locate package foo") << false;
    QTest::newRow("error") << QByteArray("E: Unable to locate package foo\n") << true;
    QTest::newRow("notice") << QByteArray("N: Unable to locate package foo\n") << true;
    QTest::newRow("small letters") << QByteArray("w: unable to locate package foo\n") << true;
    QTest::newRow("no name") << QByteArray("W: Unable to locate package ") << true;
    QTest::newRow("two blanks") << QByteArray("W:  Unable to locate package foo") << true;
    QTest::newRow("nothing") << QByteArray() << true;
}

void AptTest::onlyTheWarningCounts()
{
    QFETCH(QByteArray, errors);
    QFETCH(bool, available);
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", errors));
    Fixture fixture;
    QCOMPARE(fixture.apt.getArePackagesAvailable({"foo"_s}), available);
}

void AptTest::nameInTheWarningIsCutAfterHundredCharacters()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", "W: Unable to locate package " + QByteArray(101, 'x') + '\n'));
    Fixture fixture;
    QVERIFY(!fixture.apt.getArePackagesAvailable({"foo"_s}));
    QCOMPARE(
        fixture.debugFile.lines().at(2),
        "Apt::debugAptCache: package %1 is unavailable."_s.arg(QString(100, QLatin1Char('x'))));
}

void AptTest::standardErrorIsReadUpToANulByte()
{
    const QByteArray warning = "W: Unable to locate package foo\n";
    StandInTool aptCache("apt-cache");
    aptCache.addBehaviour(says("", "some text" + QByteArray(1, '\0') + warning));
    aptCache.addBehaviour(says("", warning + QByteArray(1, '\0') + "some text"));
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({"foo"_s}));
    QVERIFY(!fixture.apt.getArePackagesAvailable({"foo"_s}));
}

void AptTest::standardOutputOfAptCacheDoesNotCount()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("W: Unable to locate package foo\n"));
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({"foo"_s}));
}

void AptTest::exitCodeOfAptCacheDoesNotMatter()
{
    StandInTool aptCache("apt-cache");
    aptCache.setBehaviour(says("", "E: No packages found\n", 100));
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({"foo"_s}));
}

void AptTest::missingAptCacheMakesAllAvailable()
{
    Fixture fixture;
    const NoTools noTools;
    QVERIFY(fixture.apt.getArePackagesAvailable({"foo"_s}));
    QCOMPARE(fixture.debugFile.lines(),
             QStringList({"Apt::getArePackagesAvailable(): packages count: 1."_s,
                          "Apt::getArePackagesAvailable(): returning true"_s}));
}

void AptTest::availabilityIsForgottenByTheNextQuery()
{
    StandInTool aptCache("apt-cache");
    aptCache.addBehaviour(says("", "W: Unable to locate package foo\n"));
    aptCache.addBehaviour(says(""));
    Fixture fixture;
    QVERIFY(!fixture.apt.getArePackagesAvailable({"foo"_s}));
    QVERIFY(fixture.apt.getArePackagesAvailable({"foo"_s}));
    QVERIFY(fixture.apt.m_packagesAvailable);
}

// addCD()

void AptTest::addCdNamesTheMountPoint()
{
    StandInTool aptCdrom("apt-cdrom");
    Fixture fixture;
    QCOMPARE(fixture.apt.addCD(discDirectory), 0);
    QCOMPARE(aptCdrom.argumentsOfCalls(),
             QList<QStringList>({{"-d"_s, discDirectory, "-m"_s, "add"_s}}));
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("Apt::addCD(): mount point: /media/disc\n"
                        "Apt::addCD(): starting the process.\n"
                        "Apt::addCD(): the process exited with code 0.\n"));
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void AptTest::addCdLeavesOutAMountPointThatIsNoPlace_data()
{
    QTest::addColumn<QString>("mountPoint");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("missing") << "/media/missing"_s;
    QTest::newRow("dangling link") << "/media/link"_s;
}

void AptTest::addCdLeavesOutAMountPointThatIsNoPlace()
{
    QFETCH(QString, mountPoint);
    remove("/media/link"_s);
    QCOMPARE(symlink("nowhere", "/media/link"), 0);
    StandInTool aptCdrom("apt-cdrom");
    Fixture fixture;
    QCOMPARE(fixture.apt.addCD(mountPoint), 0);
    QCOMPARE(aptCdrom.argumentsOfCalls(), QList<QStringList>({{"-m"_s, "add"_s}}));
    QCOMPARE(fixture.debugFile.lines().constFirst(), "Apt::addCD(): mount point: "_s + mountPoint);
}

void AptTest::addCdTakesAnythingThatExists()
{
    StandInTool aptCdrom("apt-cdrom");
    Fixture fixture;
    const QString file = discDirectory + "/a file"_s;
    writeFile(file, "");
    fixture.apt.addCD(file);
    fixture.apt.addCD("/media/../media/disc/"_s);
    QCOMPARE(aptCdrom.argumentsOfCalls(),
             QList<QStringList>({{"-d"_s, file, "-m"_s, "add"_s},
                                 {"-d"_s, "/media/../media/disc/"_s, "-m"_s, "add"_s}}));
}

void AptTest::addCdPassesTheExitCodeThrough_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 1, 100, 255})
        QTest::addRow("%d", code) << code;
}

void AptTest::addCdPassesTheExitCodeThrough()
{
    QFETCH(int, code);
    StandInTool aptCdrom("apt-cdrom");
    aptCdrom.setBehaviour(says("", "", code));
    Fixture fixture;
    QCOMPARE(fixture.apt.addCD(QString()), code);
    QCOMPARE(fixture.debugFile.lines().constLast(),
             "Apt::addCD(): the process exited with code %1."_s.arg(code));
    QCOMPARE(fixture.apt.m_log, QByteArray());
}

void AptTest::addCdWritesTheOutputLineByLine()
{
    StandInTool aptCdrom("apt-cdrom");
    StandInTool::Behaviour behaviour;
    behaviour.script = "echo one; echo two >&2; printf '50%%\\r100%%\\n\\nrest'";
    aptCdrom.setBehaviour(behaviour);
    Fixture fixture;
    QCOMPARE(fixture.apt.addCD(discDirectory), 0);
    QCOMPARE(fixture.debugFile.lines(),
             QStringList({"Apt::addCD(): mount point: /media/disc"_s,
                          "Apt::addCD(): starting the process."_s, "Apt::debugProcess(): one."_s,
                          "Apt::debugProcess(): two."_s, "Apt::debugProcess(): 50%."_s,
                          "Apt::debugProcess(): 100%."_s, "Apt::debugProcess(): ."_s,
                          "Apt::addCD(): the process exited with code 0."_s}));
    QCOMPARE(fixture.apt.m_log, QByteArray("onetwo50%100%"));
}

void AptTest::addCdStartsAFreshCommandLine()
{
    StandInTool aptCdrom("apt-cdrom");
    Fixture fixture;
    fixture.apt.addCD(discDirectory);
    fixture.apt.addCD(QString());
    QCOMPARE(aptCdrom.argumentsOfCalls(),
             QList<QStringList>({{"-d"_s, discDirectory, "-m"_s, "add"_s}, {"-m"_s, "add"_s}}));
}

void AptTest::addCdWithoutAptCdrom()
{
    Fixture fixture;
    const NoTools noTools;
    QCOMPARE(fixture.apt.addCD(QString()), 255);
    QCOMPARE(fixture.debugFile.lines().constLast(),
             "Apt::addCD(): the process exited with code 255."_s);
}

// install()

void AptTest::installRefusesAnEmptyList()
{
    StandInTool aptGet("apt-get");
    Fixture fixture;
    QCOMPARE(fixture.apt.install({}, false), -1);
    QCOMPARE(fixture.apt.install({}, true), -1);
    QVERIFY(aptGet.calls().isEmpty());
    const QString refusal = "Apt::install(): packages list is empty, return -1!"_s;
    QCOMPARE(fixture.debugFile.lines(), QStringList({refusal, refusal}));
    QCOMPARE(fixture.apt.m_log, QByteArray());
}

void AptTest::installRunsAptGet_data()
{
    QTest::addColumn<bool>("simulate");
    QTest::addColumn<QStringList>("packages");
    QTest::addColumn<QStringList>("command");
    const QStringList command = {"install"_s, "-y"_s, "--force-yes"_s};
    const QStringList odd = {"z"_s, QString(), "two words"_s, "-o"_s, "a"_s, "z"_s};
    QTest::newRow("real") << false << QStringList("foo"_s) << command + QStringList("foo"_s);
    QTest::newRow("simulated") << true << QStringList("foo"_s)
                               << QStringList("-s"_s) + command + QStringList("foo"_s);
    QTest::newRow("odd names") << false << odd << command + odd;
    QTest::newRow("empty name first")
        << false << QStringList({QString(), "a"_s}) << command + QStringList({QString(), "a"_s});
}

void AptTest::installRunsAptGet()
{
    QFETCH(bool, simulate);
    QFETCH(QStringList, packages);
    QFETCH(QStringList, command);
    StandInTool aptGet("apt-get");
    Fixture fixture;
    // Twice, since the process is used again.
    QCOMPARE(fixture.apt.install(packages, simulate), 0);
    QCOMPARE(fixture.apt.install(packages, simulate), 0);
    QCOMPARE(aptGet.argumentsOfCalls(), QList<QStringList>({command, command}));
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void AptTest::installWritesItsDebugLinesInOrder()
{
    StandInTool aptGet("apt-get");
    aptGet.setBehaviour(says("Reading package lists...\nDone\n", "", 100));
    Fixture fixture;
    QCOMPARE(fixture.apt.install({"foo"_s, "bar"_s}, false), 100);
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("Apt::install(): packages list: foo, bar.\n"
                        "Apt::install(): starting the install process.\n"
                        "Apt::debugProcess(): Reading package lists....\n"
                        "Apt::debugProcess(): Done.\n"
                        "Apt::install(): exit code: 100!\n"));
}

void AptTest::installPassesTheExitCodeThroughAsARawByte_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 1, 10, 65, 100, 128, 255})
        QTest::addRow("%d", code) << code;
}

void AptTest::installPassesTheExitCodeThroughAsARawByte()
{
    QFETCH(int, code);
    StandInTool aptGet("apt-get");
    aptGet.setBehaviour(says("", "", code));
    Fixture fixture;
    QCOMPARE(fixture.apt.install({"foo"_s}, false), code);
    QByteArray failure;
    if (code != 0)
        failure =
            "InstallProcess finished with code: " + QByteArray(1, static_cast<char>(code)) + '\n';
    QCOMPARE(fixture.apt.m_log, "Apt::install(): begin.\n" + failure + "Apt::install(): end.\n");
    QCOMPARE(fixture.debugFile.lines().constLast(), "Apt::install(): exit code: %1!"_s.arg(code));
}

void AptTest::installWithoutAptGet()
{
    Fixture fixture;
    const NoTools noTools;
    QCOMPARE(fixture.apt.install({"foo"_s}, false), 255);
    QCOMPARE(fixture.apt.m_log,
             QByteArray("Apt::install(): begin.\n"
                        "InstallProcess finished with code: \xff\n"
                        "Apt::install(): end.\n"));
}

void AptTest::transcriptRunsTogether()
{
    StandInTool aptGet("apt-get");
    StandInTool::Behaviour behaviour;
    behaviour.script = "echo one; echo two >&2; echo; printf '\\303\\251 three\\nrest'";
    aptGet.setBehaviour(behaviour);
    Fixture fixture;
    QCOMPARE(fixture.apt.install({"foo"_s}, false), 0);
    QCOMPARE(fixture.apt.m_log,
             QByteArray("Apt::install(): begin.\n"
                        "onetwo\xc3\xa9 three"
                        "Apt::install(): end.\n"));
}

void AptTest::transcriptGrowsOverRuns()
{
    StandInTool aptGet("apt-get"), aptCdrom("apt-cdrom");
    aptGet.setBehaviour(says("one\n"));
    aptCdrom.setBehaviour(says("disc\n"));
    Fixture fixture;
    fixture.apt.install({"foo"_s}, false);
    fixture.apt.addCD(QString());
    fixture.apt.install({"bar"_s}, true);
    QCOMPARE(fixture.apt.m_log,
             QByteArray("Apt::install(): begin.\noneApt::install(): end.\ndisc"
                        "Apt::install(): begin.\noneApt::install(): end.\n"));
}

void AptTest::lineWithNulByteIsKeptInTheTranscript()
{
    Fixture fixture;
    const QByteArray line("a\0b", 3);
    fixture.apt.debugProcess(line);
    QCOMPARE(fixture.apt.m_log, line);
    QCOMPARE(fixture.debugFile.text(), QByteArray("Apt::debugProcess(): a.\n"));
}

// Environment

void AptTest::localeIsForcedForThreeTools_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::newRow("not set") << QByteArray();
    QTest::newRow("set already") << QByteArray("de_DE.UTF-8");
}

void AptTest::localeIsForcedForThreeTools()
{
    QFETCH(QByteArray, locale);
    const EnvironmentVariable variable("LC_ALL", locale);
    if (locale.isNull())
        qunsetenv("LC_ALL");
    StandInTool aptCache("apt-cache"), aptGet("apt-get"), aptCdrom("apt-cdrom");
    Fixture fixture;
    fixture.apt.getArePackagesAvailable({"foo"_s});
    fixture.apt.install({"foo"_s}, false);
    fixture.apt.addCD(QString());
    for (const StandInTool *tool : {&aptCache, &aptGet, &aptCdrom})
        QCOMPARE(sorted(tool->calls().constFirst().environment), englishEnvironment());
}

void AptTest::environmentIsTakenAtConstruction()
{
    StandInTool aptGet("apt-get");
    Fixture fixture;
    const EnvironmentVariable later("KESTRA_PROBE", "set after construction");
    fixture.apt.install({"foo"_s}, false);
    QVERIFY(aptGet.calls().constFirst().variable("KESTRA_PROBE").isNull());
}

// The real tools

void AptTest::realDpkgKnowsWhatIsInstalled()
{
    const QTemporaryDir directory;
    const QString package = makeDeb(directory.path(), "kestra-probe"_s);
    const QStringList names = {"kestra-nothing"_s, "kestra-probe"_s, "kestra-pro"_s};
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled(names), names);
    runTool("dpkg"_s, {"-i"_s, package});
    QCOMPARE(fixture.apt.getNotInstalled(names), QStringList("kestra-nothing"_s));
    runTool("dpkg"_s, {"-P"_s, "kestra-probe"_s});
    QCOMPARE(fixture.apt.getNotInstalled(names), names);
}

void AptTest::realDpkgStateRcIsMissing()
{
    const QTemporaryDir directory;
    const QString package = makeDeb(directory.path(), "kestra-probe"_s, "/etc/kestra-probe.conf"_s);
    runTool("dpkg"_s, {"-i"_s, package});
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({"kestra-probe"_s}), QStringList());
    runTool("dpkg"_s, {"-r"_s, "kestra-probe"_s});
    QVERIFY(runTool("dpkg"_s, {"-l"_s}).contains("\nrc  kestra-probe "));
    QCOMPARE(fixture.apt.getNotInstalled({"kestra-probe"_s}), QStringList("kestra-probe"_s));
    runTool("dpkg"_s, {"-P"_s, "kestra-probe"_s});
}

void AptTest::realDpkgWritesWholeNamesWhateverTheWidth()
{
    const QTemporaryDir directory;
    const QString name = "kestra-probe-with-a-name-that-no-narrow-column-could-take"_s;
    runTool("dpkg"_s, {"-i"_s, makeDeb(directory.path(), name)});
    const EnvironmentVariable columns("COLUMNS", "40");
    Fixture fixture;
    QCOMPARE(fixture.apt.getNotInstalled({name}), QStringList());
    runTool("dpkg"_s, {"-P"_s, name});
}

void AptTest::realAptGetSimulates()
{
    useLocalRepository({"kestra-repo"_s});
    Fixture fixture;
    QCOMPARE(fixture.apt.install({"kestra-repo"_s}, true), 0);
    QVERIFY(fixture.apt.m_log.startsWith("Apt::install(): begin.\n"));
    QVERIFY(fixture.apt.m_log.contains("Inst kestra-repo (1.2 "));
    QVERIFY(fixture.apt.m_log.endsWith("Apt::install(): end.\n"));
    QCOMPARE(fixture.apt.getNotInstalled({"kestra-repo"_s}), QStringList("kestra-repo"_s));
}

void AptTest::realAptGetInstalls()
{
    useLocalRepository({"kestra-repo"_s});
    Fixture fixture;
    QCOMPARE(fixture.apt.install({"kestra-repo"_s}, false), 0);
    QCOMPARE(fixture.apt.getNotInstalled({"kestra-repo"_s}), QStringList());
    QVERIFY(fixture.debugFile.lines().contains(
        "Apt::debugProcess(): Setting up kestra-repo (1.2) ...."_s));
    runTool("dpkg"_s, {"-P"_s, "kestra-repo"_s});
}

void AptTest::realAptGetFails()
{
    useLocalRepository({});
    Fixture fixture;
    QCOMPARE(fixture.apt.install({"kestra-nothing"_s}, false), 100);
    QVERIFY(fixture.apt.m_log.contains("E: Unable to locate package kestra-nothing"));
    QVERIFY(
        fixture.apt.m_log.endsWith("InstallProcess finished with code: d\nApt::install(): end.\n"));
}

void AptTest::realAptCacheKnowsThePackage()
{
    useLocalRepository({"kestra-repo"_s});
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({"kestra-repo"_s}));
    QVERIFY(fixture.debugFile.lines().contains(
        "Apt::getArePackagesAvailable(): waiting for process finish."_s));
}

// Since it is only a notice today, and not shown unless on a terminal, an unknown package counts
// as available.
void AptTest::realAptCacheOfTodayHasNoWarning()
{
    useLocalRepository({"kestra-repo"_s});
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({"kestra-nothing"_s}));
}

void AptTest::recordedAptCacheSaysNoticeInsteadOfWarning()
{
    const QByteArray onTerminal = recording("apt-2.6.2/showpkg-unknown-terminal.txt");
    QCOMPARE(onTerminal, QByteArray("N: Unable to locate package kestra-nothing\n"));
    StandInTool aptCache("apt-cache");
    aptCache.addBehaviour(says("", recording("apt-2.6.2/showpkg-unknown.txt")));
    aptCache.addBehaviour(says("", onTerminal));
    Fixture fixture;
    QVERIFY(fixture.apt.getArePackagesAvailable({"kestra-nothing"_s}));
    QVERIFY(fixture.apt.getArePackagesAvailable({"kestra-nothing"_s}));
}

void AptTest::realAptCdromAddsADirectory()
{
    makeDisc(discDirectory);
    Fixture fixture;
    QCOMPARE(fixture.apt.addCD(discDirectory), 0);
    QVERIFY(fixture.apt.m_log.contains("Found label 'Kestra disc 1'"));
    QVERIFY(readFile("/etc/apt/sources.list"_s).contains("deb cdrom:[Kestra disc 1]/ stable main"));
}

void AptTest::realAptCdromAddsAMountedImage()
{
    const QTemporaryDir directory;
    const QString image = directory.filePath("disc.img"_s);
    makeDisc(directory.filePath("disc"_s));
    runTool("mke2fs"_s, {"-q"_s, "-F"_s, "-d"_s, directory.filePath("disc"_s), image, "4M"_s});
    QProcess mount;
    mount.start("mount"_s, {"-o"_s, "loop,ro"_s, image, discDirectory});
    QVERIFY(mount.waitForFinished());
    if (mount.exitCode() != 0)
        QSKIP(("no loop device: " + mount.readAllStandardError()).constData());
    Fixture fixture;
    const int code = fixture.apt.addCD(discDirectory);
    runTool("umount"_s, {discDirectory});
    QCOMPARE(code, 0);
    QVERIFY(fixture.apt.m_log.contains("Using CD-ROM mount point /media/disc/"));
    QVERIFY(fixture.apt.m_log.contains("Found label 'Kestra disc 1'"));
}

void AptTest::realAptCdromFailsOnAnEmptyDirectory()
{
    Fixture fixture;
    QCOMPARE(fixture.apt.addCD(discDirectory), 100);
    QVERIFY2(fixture.apt.m_log.contains("E: No CD-ROM could be auto-detected"),
             fixture.apt.m_log.constData());
}

KESTRA_TEST_MAIN(AptTest)

#include "apttest.moc"
