// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "debugfile.h"
#include "messagelog.h"
#include "standintool.h"
#include "testmain.h"

#include <kestra/packages/apt.h>
#include <kestra/packages/rpm.h>
#include <kestra/packages/zypper.h>

#include <QElapsedTimer>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <signal.h>

using namespace KestraTest;

namespace {

constexpr int queryTimeout = 30000; // ms
constexpr int installTimeout = 300000;
constexpr int delay = 10000; // what a busy machine may take on top

/** A call that waits for a tool in a thread of its own. */
class Waiting
{
public:
    Waiting(const char *titleOfCall, int limitOfCall, const std::function<void()> &call)
        : title(titleOfCall), limit(limitOfCall), m_thread([this, call] {
            QElapsedTimer timer;
            timer.start();
            call();
            elapsed = timer.elapsed();
        })
    {
    }

    void finish() { m_thread.join(); }

    const char *const title;
    const int limit; ///< ms
    qint64 elapsed = 0; ///< ms

private:
    std::thread m_thread;
};

/** A tool that writes this and then hangs; its calls end with the object. */
struct HangingTool : StandInTool
{
    explicit HangingTool(const char *name, const QByteArray &output = QByteArray(),
                         const QByteArray &errorOutput = QByteArray())
        : StandInTool(name)
    {
        Behaviour behaviour;
        behaviour.output = output;
        behaviour.errorOutput = errorOutput;
        behaviour.waitAfter = 600000;
        setBehaviour(behaviour);
    }
    ~HangingTool()
    {
        for (const Call &call : calls()) {
            if (isAlive(call.pid))
                kill(static_cast<pid_t>(call.pid), SIGKILL);
        }
    }
};

}

/** Tools that outrun their time. All calls wait at the same time. */
class PackageTimeoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void callsReturnWhenTheirTimeIsUp_data();
    void callsReturnWhenTheirTimeIsUp();
    void toolsAreLeftRunning();
    void dpkgThatHangsMakesAllPackagesMissing();
    void aptCacheThatHangsMakesAllAvailable();
    void aptCdromThatHangsHasNoExitCodeYet();
    void rpmThatHangsKeepsTheListing();
    void zypperThatHangsHasListedItsRowsAlready();
    void addRepoThatHangsHasNoExitCodeYet();
    void confirmationOfAHangingToolCounts();
    void availabilityOfAHangingAptCacheIsReadSoFar();
    void aptGetThatHangsHasNoExitCodeYet();
    void zypperInstallThatHangsHasNoExitCodeYet();

private:
    std::unique_ptr<HangingTool> m_dpkg, m_aptCache, m_aptCdrom, m_aptGet, m_rpm, m_zypper;
    std::unique_ptr<DebugFile> m_debugFile;
    std::unique_ptr<MessageLog> m_messages;
    std::vector<std::unique_ptr<Waiting>> m_calls;

    void add(const char *title, int limit, const std::function<void()> &call)
    {
        m_calls.push_back(std::make_unique<Waiting>(title, limit, call));
    }

    QStringList m_missing, m_missingFromListing;
    QList<ZypperRepo> m_repos;
    bool m_aptAvailable = false, m_zypperAvailable = true, m_enabled = false;
    int m_cdCode = -1, m_queryCode = -1, m_addCode = -1, m_aptCode = -1, m_zypperCode = -1;
    QByteArray m_cdTranscript, m_aptTranscript, m_zypperTranscript;
};

void PackageTimeoutTest::initTestCase()
{
    m_dpkg = std::make_unique<HangingTool>("dpkg", "ii  foo 1\n");
    m_aptCache = std::make_unique<HangingTool>("apt-cache", "package foo not found\n",
                                               "W: Unable to locate package foo\n");
    m_aptCdrom = std::make_unique<HangingTool>("apt-cdrom", "Identifying\n");
    m_aptGet = std::make_unique<HangingTool>("apt-get", "Reading\n");
    m_rpm = std::make_unique<HangingTool>("rpm", "bar-1-1\n");
    m_rpm->addBehaviour(says("foo-1-1\n", "", 4));
    m_zypper = std::make_unique<HangingTool>(
        "zypper",
        "1 | Yes | No | yast2 | alias | name\nRepository disc has been sucessfully modified.\n");
    m_messages = std::make_unique<MessageLog>();
    m_debugFile = std::make_unique<DebugFile>();

    // Each object lives in the thread that calls it. None is deleted, since that would end the
    // tool.
    add("dpkg", queryTimeout,
        [this] { m_missing = (new Apt(nullptr))->getNotInstalled({"foo"_s}); });
    add("apt-cache showpkg", queryTimeout,
        [this] { m_aptAvailable = (new Apt(nullptr))->getArePackagesAvailable({"foo"_s}); });
    add("apt-cdrom", queryTimeout, [this] {
        Apt *const apt = new Apt(nullptr);
        m_cdCode = apt->addCD(QString());
        m_cdTranscript = apt->m_log;
    });
    add("rpm", queryTimeout, [this] {
        Rpm *const rpm = new Rpm(nullptr);
        rpm->queryDB(); // ends at once
        m_queryCode = rpm->queryDB();
        m_missingFromListing = rpm->getNotInstalled({"foo"_s, "bar"_s});
    });
    add("zypper repos", queryTimeout, [this] { m_repos = (new Zypper(nullptr))->getRepos(); });
    add("zypper ar", queryTimeout,
        [this] { m_addCode = (new Zypper(nullptr))->addRepo("/media/disc"_s, "disc"_s); });
    add("zypper mr", queryTimeout,
        [this] { m_enabled = (new Zypper(nullptr))->enableRepo("disc"_s, true); });
    add("apt-cache show", queryTimeout,
        [this] { m_zypperAvailable = (new Zypper(nullptr))->getArePackagesAvailable({"foo"_s}); });
    add("apt-get", installTimeout, [this] {
        Apt *const apt = new Apt(nullptr);
        m_aptCode = apt->install({"foo"_s}, false);
        m_aptTranscript = apt->m_log;
    });
    add("zypper install", installTimeout, [this] {
        Zypper *const zypper = new Zypper(nullptr);
        m_zypperCode = zypper->install({"foo"_s});
        m_zypperTranscript = zypper->m_log;
    });
    for (const std::unique_ptr<Waiting> &call : m_calls)
        call->finish();
}

void PackageTimeoutTest::cleanupTestCase()
{
    m_debugFile.reset();
    m_messages.reset();
}

void PackageTimeoutTest::callsReturnWhenTheirTimeIsUp_data()
{
    QTest::addColumn<qint64>("elapsed");
    QTest::addColumn<int>("limit");
    for (const std::unique_ptr<Waiting> &call : m_calls)
        QTest::newRow(call->title) << call->elapsed << call->limit;
}

void PackageTimeoutTest::callsReturnWhenTheirTimeIsUp()
{
    QFETCH(qint64, elapsed);
    QFETCH(int, limit);
    QVERIFY2(elapsed >= limit, qPrintable(QString::number(elapsed)));
    QVERIFY2(elapsed < limit + delay, qPrintable(QString::number(elapsed)));
}

void PackageTimeoutTest::toolsAreLeftRunning()
{
    int alive = 0;
    for (const HangingTool *tool : {m_dpkg.get(), m_aptCache.get(), m_aptCdrom.get(),
                                    m_aptGet.get(), m_rpm.get(), m_zypper.get()}) {
        for (const StandInTool::Call &call : tool->calls())
            alive += isAlive(call.pid) ? 1 : 0;
    }
    QCOMPARE(alive, static_cast<int>(m_calls.size()));
}

void PackageTimeoutTest::dpkgThatHangsMakesAllPackagesMissing()
{
    QCOMPARE(m_missing, QStringList("foo"_s));
    const QStringList lines = m_debugFile->lines().filter("Apt::getNotInstalled"_s);
    QCOMPARE(lines,
             QStringList({"Apt::getNotInstalled(): starting the process."_s,
                          "Apt::getNotInstalled(): not installed packages: foo."_s}));
}

void PackageTimeoutTest::aptCacheThatHangsMakesAllAvailable()
{
    QVERIFY(m_aptAvailable);
    const QStringList lines = m_debugFile->lines().filter("Apt::getArePackagesAvailable"_s);
    QCOMPARE(lines,
             QStringList({"Apt::getArePackagesAvailable(): packages count: 1."_s,
                          "Apt::getArePackagesAvailable(): returning true"_s}));
}

void PackageTimeoutTest::aptCdromThatHangsHasNoExitCodeYet()
{
    QCOMPARE(m_cdCode, 0);
    QCOMPARE(m_cdTranscript, QByteArray("Identifying"));
    QVERIFY(m_debugFile->lines().contains("Apt::addCD(): the process exited with code 0."_s));
}

void PackageTimeoutTest::rpmThatHangsKeepsTheListing()
{
    QCOMPARE(m_queryCode, 0);
    QCOMPARE(m_missingFromListing, QStringList("bar"_s));
    QCOMPARE(m_messages->texts().filter("Rpm::queryDB()"_s).size(), 2);
}

void PackageTimeoutTest::zypperThatHangsHasListedItsRowsAlready()
{
    QCOMPARE(m_repos.size(), 1);
    QCOMPARE(m_repos.constFirst().alias, "alias"_s);
}

void PackageTimeoutTest::addRepoThatHangsHasNoExitCodeYet() { QCOMPARE(m_addCode, 0); }

void PackageTimeoutTest::confirmationOfAHangingToolCounts() { QVERIFY(m_enabled); }

void PackageTimeoutTest::availabilityOfAHangingAptCacheIsReadSoFar()
{
    // A line that has arrived is read, though the wait ran out.
    QVERIFY(!m_zypperAvailable);
}

void PackageTimeoutTest::aptGetThatHangsHasNoExitCodeYet()
{
    QCOMPARE(m_aptCode, 0);
    QCOMPARE(m_aptTranscript, QByteArray("Apt::install(): begin.\nReadingApt::install(): end.\n"));
    QCOMPARE(m_debugFile->lines().filter("Apt::install"_s).constLast(),
             "Apt::install(): exit code: 0!"_s);
}

void PackageTimeoutTest::zypperInstallThatHangsHasNoExitCodeYet()
{
    QCOMPARE(m_zypperCode, 0);
    QVERIFY(m_zypperTranscript.startsWith("Zypper::install(): begin.1 | Yes"));
    QVERIFY(m_zypperTranscript.endsWith("Zypper::install(): end."));
    QVERIFY(
        m_messages->texts().contains("Zypper::install(): m_installProcess exited with code: 0"_s));
}

KESTRA_TEST_MAIN(PackageTimeoutTest)

#include "packagetimeouttest.moc"
