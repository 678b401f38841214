// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/packages/rpm.h>

#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QThread>

#include <memory>

using namespace KestraTest;

namespace {

const QString exitedWith = "Rpm::queryDB(): m_askProcess exited with code: %1"_s;

/** An Rpm that has read this listing. */
struct Listed
{
    explicit Listed(const QByteArray &listing)
    {
        StandInTool tool("rpm");
        tool.setBehaviour(says(listing));
        rpm.queryDB();
        messages.clear();
    }

    MessageLog messages;
    Rpm rpm {nullptr};
};

}

/** The Rpm class, against a stand-in for rpm and against rpm itself. */
class RpmTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constructorIsSilent();
    void threadIsParentAndGetsTheProcess();
    void withoutThreadNothingMoves();
    void threadDeletesItsRpm();
    void destructorDeletesTheProcess();
    void metaObjectIsEmpty();

    void queryRunsRpm();
    void queryPassesTheExitCodeThrough_data();
    void queryPassesTheExitCodeThrough();
    void listingIsSplitAtNewlinesOnly();
    void emptyOutputIsAListingToo();
    void standardErrorIsNotListed();
    void eachQueryReplacesTheListing();
    void missingRpmKeepsTheListing();
    void localeIsForced_data();
    void localeIsForced();
    void queryWritesNothingElsewhere();

    void withoutListingAllIsMissing();
    void emptyRequestIsAnsweredWithAnEmptyList();
    void installedNamesAreRemoved();
    void requestThatBeginsAnInstalledNameCountsAsInstalled();
    void nameIsFoundOnlyAtTheBeginning();
    void repeatedNamesAreRemovedAtOnce();
    void oneLineRemovesSeveralNamesInTheirOrder();
    void messagesGoLineByLine();
    void emptyNameIsInstalledWithAnyLine();
    void listingIsComparedInTheLocalEncoding();
    void questionDoesNotRunRpm();
    void manyNamesAgainstALongListing();

    void realRpmListsItsDatabase();
};

// Construction and destruction

void RpmTest::constructorIsSilent()
{
    const DebugFile debugFile;
    MessageLog messages;
    const Rpm rpm(nullptr);
    QCOMPARE(messages.texts(), QStringList());
    QCOMPARE(debugFile.text(), QByteArray());
    QVERIFY(rpm.m_installed.isEmpty());
    QVERIFY(rpm.m_rawOutput.isEmpty());
}

void RpmTest::threadIsParentAndGetsTheProcess()
{
    QThread thread;
    const Rpm rpm(&thread);
    QCOMPARE(rpm.parent(), static_cast<QObject *>(&thread));
    QCOMPARE(rpm.thread(), QThread::currentThread());
    QCOMPARE(rpm.m_askProcess->thread(), &thread);
    QVERIFY(!rpm.m_askProcess->parent());
}

void RpmTest::withoutThreadNothingMoves()
{
    const Rpm rpm(nullptr);
    QVERIFY(!rpm.parent());
    QCOMPARE(rpm.m_askProcess->thread(), QThread::currentThread());
}

void RpmTest::threadDeletesItsRpm()
{
    auto thread = std::make_unique<QThread>();
    const QPointer<Rpm> rpm = new Rpm(thread.get());
    thread.reset();
    QVERIFY(!rpm);
}

void RpmTest::destructorDeletesTheProcess()
{
    auto rpm = std::make_unique<Rpm>(nullptr);
    const QPointer<QProcess> process = rpm->m_askProcess;
    QVERIFY(process);
    rpm.reset();
    QVERIFY(!process);
}

void RpmTest::metaObjectIsEmpty()
{
    const QMetaObject &meta = Rpm::staticMetaObject;
    QCOMPARE(meta.className(), "Rpm");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
}

// queryDB()

void RpmTest::queryRunsRpm()
{
    StandInTool tool("rpm");
    tool.setBehaviour(says("ppp-2.4.4-1\nbash-5-2\n"));
    Rpm rpm(nullptr);
    MessageLog messages;
    QCOMPARE(rpm.queryDB(), 0);
    QCOMPARE(tool.argumentsOfCalls(), QList<QStringList>({{"-qa"_s}}));
    QCOMPARE(rpm.m_rawOutput, QByteArray("ppp-2.4.4-1\nbash-5-2\n"));
    QCOMPARE(rpm.m_installed, QList<QByteArray>({"ppp-2.4.4-1", "bash-5-2", ""}));
    QCOMPARE(messages.texts(), QStringList(exitedWith.arg(0)));
    QCOMPARE(messages.debugs(), QStringList(exitedWith.arg(0)));
}

void RpmTest::queryPassesTheExitCodeThrough_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 1, 100, 255})
        QTest::addRow("%d", code) << code;
}

void RpmTest::queryPassesTheExitCodeThrough()
{
    QFETCH(int, code);
    StandInTool tool("rpm");
    tool.setBehaviour(says("foo-1-1\n", "", code));
    Rpm rpm(nullptr);
    MessageLog messages;
    QCOMPARE(rpm.queryDB(), code);
    QCOMPARE(messages.texts(), QStringList(exitedWith.arg(code)));
    // What rpm printed counts all the same.
    QCOMPARE(rpm.getNotInstalled({"foo"_s}), QStringList());
}

void RpmTest::listingIsSplitAtNewlinesOnly()
{
    const Listed listed("one\rtwo\n\nthree\r\nfour");
    QCOMPARE(listed.rpm.m_installed, QList<QByteArray>({"one\rtwo", "", "three\r", "four"}));
}

void RpmTest::emptyOutputIsAListingToo()
{
    Listed listed("");
    QCOMPARE(listed.rpm.m_installed, QList<QByteArray>({""}));
    QCOMPARE(listed.rpm.getNotInstalled({"foo"_s, QString()}), QStringList("foo"_s));
}

void RpmTest::standardErrorIsNotListed()
{
    StandInTool tool("rpm");
    tool.setBehaviour(says("one\n", "two\n"));
    Rpm rpm(nullptr);
    rpm.queryDB();
    QCOMPARE(rpm.m_rawOutput, QByteArray("one\n"));
}

void RpmTest::eachQueryReplacesTheListing()
{
    StandInTool tool("rpm");
    tool.addBehaviour(says("one-1-1\n"));
    tool.addBehaviour(says("two-1-1\n"));
    Rpm rpm(nullptr);
    rpm.queryDB();
    rpm.queryDB();
    QCOMPARE(rpm.m_rawOutput, QByteArray("two-1-1\n"));
    QCOMPARE(rpm.m_installed, QList<QByteArray>({"two-1-1", ""}));
    QCOMPARE(rpm.getNotInstalled({"one"_s, "two"_s}), QStringList("one"_s));
}

void RpmTest::missingRpmKeepsTheListing()
{
    Listed listed("one-1-1\n");
    const NoTools noTools;
    QCOMPARE(listed.rpm.queryDB(), 255);
    QCOMPARE(listed.messages.take(), QStringList(exitedWith.arg(255)));
    QCOMPARE(listed.rpm.m_rawOutput, QByteArray("one-1-1\n"));
    QCOMPARE(listed.rpm.getNotInstalled({"one"_s, "two"_s}), QStringList("two"_s));

    Rpm unlisted(nullptr);
    unlisted.queryDB();
    QVERIFY(unlisted.m_installed.isEmpty());
    QCOMPARE(unlisted.getNotInstalled({"one"_s}), QStringList("one"_s));
}

void RpmTest::localeIsForced_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::newRow("not set") << QByteArray();
    QTest::newRow("set already") << QByteArray("de_DE.UTF-8");
}

void RpmTest::localeIsForced()
{
    QFETCH(QByteArray, locale);
    const EnvironmentVariable variable("LC_ALL", locale);
    if (locale.isNull())
        qunsetenv("LC_ALL");
    StandInTool tool("rpm");
    Rpm rpm(nullptr);
    rpm.queryDB();
    QCOMPARE(sorted(tool.calls().constFirst().environment), englishEnvironment());
}

void RpmTest::queryWritesNothingElsewhere()
{
    const DebugFile debugFile;
    QByteArray output;
    {
        StdoutCapture capture;
        Listed listed("one-1-1\n");
        listed.rpm.getNotInstalled({"one"_s});
        output = capture.take();
    }
    QCOMPARE(output, QByteArray());
    QCOMPARE(debugFile.text(), QByteArray());
}

// getNotInstalled()

void RpmTest::withoutListingAllIsMissing()
{
    Rpm rpm(nullptr);
    MessageLog messages;
    const QStringList packages = {"foo"_s, QString(), "foo"_s};
    QCOMPARE(rpm.getNotInstalled(packages), packages);
    QCOMPARE(messages.texts(), QStringList());
}

void RpmTest::emptyRequestIsAnsweredWithAnEmptyList()
{
    Rpm unlisted(nullptr);
    QCOMPARE(unlisted.getNotInstalled({}), QStringList());
    Listed listed("foo-1-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({}), QStringList());
    QCOMPARE(listed.messages.texts(), QStringList());
}

void RpmTest::installedNamesAreRemoved()
{
    Listed listed("ppp-2.4.4-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({"ppp"_s, "pppd"_s}), QStringList("pppd"_s));
    QCOMPARE(listed.messages.texts(), QStringList("\"ppp\" is installed."_s));
    QCOMPARE(listed.messages.debugs().size(), 1);
}

void RpmTest::requestThatBeginsAnInstalledNameCountsAsInstalled()
{
    Listed listed("pppoe-3.8-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({"ppp"_s}), QStringList());
}

void RpmTest::nameIsFoundOnlyAtTheBeginning()
{
    Listed listed("libppp-1-1\n ppp-2.4.4-1\nPPP-1-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({"ppp"_s}), QStringList("ppp"_s));
}

void RpmTest::repeatedNamesAreRemovedAtOnce()
{
    Listed listed("foo-1-1\nfoo-1-2\n");
    QCOMPARE(listed.rpm.getNotInstalled({"foo"_s, "z"_s, "foo"_s, "a"_s}),
             QStringList({"z"_s, "a"_s}));
    // The walk goes over a snapshot, in which the name is still there twice.
    const QString message = "\"foo\" is installed."_s;
    QCOMPARE(listed.messages.texts(), QStringList({message, message}));
}

void RpmTest::oneLineRemovesSeveralNamesInTheirOrder()
{
    Listed listed("pppoe-1-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({"pppoe"_s, "p"_s, "pppd"_s, "ppp"_s}),
             QStringList("pppd"_s));
    QCOMPARE(listed.messages.texts(),
             QStringList({"\"pppoe\" is installed."_s, "\"p\" is installed."_s,
                          "\"ppp\" is installed."_s}));
}

void RpmTest::messagesGoLineByLine()
{
    Listed listed("b-1-1\na-1-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({"a"_s, "b"_s}), QStringList());
    QCOMPARE(listed.messages.texts(),
             QStringList({"\"b\" is installed."_s, "\"a\" is installed."_s}));
}

void RpmTest::emptyNameIsInstalledWithAnyLine()
{
    Listed listed("foo-1-1\n");
    QCOMPARE(listed.rpm.getNotInstalled({"x"_s, QString()}), QStringList("x"_s));
    QCOMPARE(listed.messages.texts(), QStringList("\"\" is installed."_s));
}

void RpmTest::listingIsComparedInTheLocalEncoding()
{
    QTextCodec *const previous = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    Listed listed("caf\xc3\xa9-1-1\nth\xe9-1-1\n");
    const QStringList missing = listed.rpm.getNotInstalled(
        {QString::fromUtf8("caf\xc3\xa9"), QString::fromUtf8("th\xc3\xa9")});
    QTextCodec::setCodecForLocale(previous);
    QCOMPARE(missing, QStringList(QString::fromUtf8("th\xc3\xa9")));
}

void RpmTest::questionDoesNotRunRpm()
{
    Listed listed("foo-1-1\n");
    StandInTool tool("rpm");
    listed.rpm.getNotInstalled({"foo"_s, "bar"_s});
    Rpm unlisted(nullptr);
    unlisted.getNotInstalled({"foo"_s});
    QVERIFY(tool.calls().isEmpty());
}

void RpmTest::manyNamesAgainstALongListing()
{
    QByteArray listing;
    for (int i = 0; i < 100000; ++i)
        listing += "package-" + QByteArray::number(i) + "-1.0-" + QByteArray::number(i % 7) + '\n';
    QStringList names, expected;
    for (int i = 0; i < 2000; ++i) {
        const int number = 99999 - i * 55;
        const QString name = QStringLiteral("package-%1-").arg(number);
        names.append(name);
        if (number < 0)
            expected.append(name);
    }
    Listed listed(listing);
    QCOMPARE(listed.rpm.getNotInstalled(names), expected);
    QCOMPARE(listed.messages.texts().size(), names.size() - expected.size());
    // The lowest number comes first in the listing and last in the request.
    QCOMPARE(listed.messages.texts().constFirst(), "\"package-9-\" is installed."_s);
}

// The real rpm

void RpmTest::realRpmListsItsDatabase()
{
    if (!isInstalled("rpm") || !isInstalled("rpmbuild"))
        QSKIP("rpm and rpmbuild are not installed");
    const QTemporaryDir home;
    const EnvironmentVariable variable("HOME", QFile::encodeName(home.path()));
    Rpm rpm(nullptr);
    MessageLog messages;
    runTool("rpm"_s, {"--initdb"_s});
    QCOMPARE(rpm.queryDB(), 0);
    const QStringList names = {"kestra-nothing"_s, "kestra-probe"_s};
    QCOMPARE(rpm.getNotInstalled(names), names);
    runTool("rpm"_s, {"-i"_s, "--nodeps"_s, "--justdb"_s, makeRpm(home.path(), "kestra-probe"_s)});
    QCOMPARE(rpm.getNotInstalled(names), names); // the old listing
    QCOMPARE(rpm.queryDB(), 0);
    QCOMPARE(rpm.m_rawOutput, QByteArray("kestra-probe-1.2-3.noarch\n"));
    QCOMPARE(rpm.getNotInstalled(names), QStringList("kestra-nothing"_s));
}

KESTRA_TEST_MAIN(RpmTest)

#include "rpmtest.moc"
