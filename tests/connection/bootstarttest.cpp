// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "systemfiles.h"
#include "testmain.h"

#include <kestra/connection/scriptmanager.h>

#include <QDir>

#include <memory>

using namespace KestraTest;

namespace {

const QString initDir = "/etc/init.d"_s;
const QString script = "/etc/init.d/kestrad"_s;

QString levelDir(int level, const QString &base = "/etc"_s)
{
    return "%1/rc%2.d"_s.arg(base).arg(level);
}

void makeLevels(const QString &base = "/etc"_s)
{
    for (int level = 0; level <= 6; ++level)
        makeDirectory(levelDir(level, base));
}

void removeLevels(const QString &base)
{
    for (int level = 0; level <= 6; ++level)
        remove(levelDir(level, base));
}

void makeScript(const QString &name) { writeFile(initDir + "/"_s + name, "#!/bin/sh\n", 0755); }

/** Links a script that is there into a run level. */
void link(int level, const QString &name, const QString &target = script)
{
    if (!QFile::link(target, levelDir(level) + "/"_s + name))
        qFatal("cannot link %s", qPrintable(name));
}

/** The name of the connection's own link in a run level. */
QString ownLink(int level, int number)
{
    const bool isStopped = level == 0 || level == 1 || level == 6;
    return "%1%2kestrad"_s.arg(isStopped ? "K"_s : "S"_s).arg(number);
}

/** Returns the names in a run level, sorted, without the connection's own of that number. */
QStringList otherNames(int level, int number = 20)
{
    QStringList names = listDirectory(levelDir(level));
    names.removeAll(ownLink(level, number));
    return names;
}

}

/** The links that start the connection's init script at boot. */
class BootStartTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void rcDirIsFound_data();
    void rcDirIsFound();
    void rcDirMayBeALink();
    void rcDirIsNoFile();
    void rcDirSaysNothing();

    void linksAreMade_data();
    void linksAreMade();
    void scriptNeedNotBeThere();
    void secondCallRenumbers();
    void secondCallIsIdempotent();
    void numberIsNotPadded_data();
    void numberIsNotPadded();

    void dependencyIsChosen_data();
    void dependencyIsChosen();
    void dependencyIsARegularFile();
    void dependencyIsLinkedInEveryLevel();
    void dependencyIsLinkedAsTwelveOnly();
    void dependencyStartLinkIsNotDoubled_data();
    void dependencyStartLinkIsNotDoubled();
    void dependencyStartLinksAreKept();
    void dependencyLeavesHalAlone();
    void withoutDependencyOnlyOwnLinksChange();
    void bareKillLinksGoWithoutDependencyToo();

    void oldLinksAreRemoved_data();
    void oldLinksAreRemoved();
    void otherLinksAreKept_data();
    void otherLinksAreKept();
    void oldFilesAreRemovedToo();
    void directoriesAreKept();
    void danglingLinksAreNotSeen();
    void danglingStartLinkOfDependencyIsNotSeen();
    void linkInTheWayStays();

    void missingLevelIsSkipped();
    void missingLevelsLeaveTheWorkingDirectoryAlone();
    void workingDirectoryIsTheLastLevel_data();
    void workingDirectoryIsTheLastLevel();
    void levelsOfTheRootAreUsedWithoutBase();
    void nothingHappensWithoutBaseAndInitDir();
    void initDirIsNotNeeded();

    void nothingIsSaid();
    void noFileIsLeftOpen();

private:
    void start(int number = 20) { m_manager->addDaemonToStart(number); }

    std::unique_ptr<MessageLog> m_log;
    std::unique_ptr<ScriptManager> m_manager;
};

void BootStartTest::init()
{
    QVERIFY(QDir::setCurrent("/"_s));
    remove(initDir);
    removeLevels("/etc"_s);
    removeLevels(QString());
    m_log = std::make_unique<MessageLog>();
    m_manager = std::make_unique<ScriptManager>();
    m_log->clear();
}

void BootStartTest::cleanup()
{
    m_manager.reset();
    m_log.reset();
    QVERIFY(QDir::setCurrent("/"_s));
    removeLevels(QString());
}

void BootStartTest::rcDirIsFound_data()
{
    QTest::addColumn<QStringList>("directories");
    QTest::addColumn<QString>("base");
    QTest::newRow("/etc") << QStringList("/etc/rc3.d"_s) << "/etc"_s;
    QTest::newRow("/etc, init.d without levels")
        << QStringList({"/etc/rc3.d"_s, "/etc/init.d"_s}) << "/etc"_s;
    QTest::newRow("/etc/init.d") << QStringList("/etc/init.d/rc3.d"_s) << "/etc/init.d"_s;
    QTest::newRow("both") << QStringList({"/etc/rc3.d"_s, "/etc/init.d/rc3.d"_s})
                          << "/etc/init.d"_s;
    QTest::newRow("none") << QStringList() << QString();
    QTest::newRow("init.d only") << QStringList("/etc/init.d"_s) << QString();
    QTest::newRow("other levels only")
        << QStringList({"/etc/rc2.d"_s, "/etc/rc5.d"_s, "/etc/init.d/rc5.d"_s}) << QString();
    QTest::newRow("in the root") << QStringList("/rc3.d"_s) << QString();
}

void BootStartTest::rcDirIsFound()
{
    QFETCH(QStringList, directories);
    QFETCH(QString, base);
    for (const QString &directory : qAsConst(directories))
        makeDirectory(directory);
    QCOMPARE(m_manager->getRcDir(), base);
}

void BootStartTest::rcDirMayBeALink()
{
    makeDirectory("/etc/init.d"_s);
    makeDirectory("/tmp/level"_s);
    QVERIFY(QFile::link("/tmp/level"_s, "/etc/init.d/rc3.d"_s));
    QCOMPARE(m_manager->getRcDir(), "/etc/init.d"_s);
}

void BootStartTest::rcDirIsNoFile()
{
    writeFile("/etc/init.d/rc3.d"_s, "");
    makeDirectory("/etc/rc3.d"_s);
    QCOMPARE(m_manager->getRcDir(), "/etc"_s);
    remove("/etc/rc3.d"_s);
    writeFile("/etc/rc3.d"_s, "");
    QCOMPARE(m_manager->getRcDir(), QString());
}

void BootStartTest::rcDirSaysNothing()
{
    m_manager->getRcDir();
    makeLevels();
    m_manager->getRcDir();
    QCOMPARE(m_log->texts(), QStringList());
    QCOMPARE(QDir::currentPath(), "/"_s);
}

void BootStartTest::linksAreMade_data()
{
    QTest::addColumn<QString>("base");
    QTest::newRow("/etc") << "/etc"_s;
    QTest::newRow("/etc/init.d") << "/etc/init.d"_s;
}

void BootStartTest::linksAreMade()
{
    QFETCH(QString, base);
    makeScript("kestrad"_s);
    makeLevels("/etc"_s);
    if (base != "/etc"_s)
        makeLevels(base);
    start(20);

    const char *const names[] = {"K20kestrad", "K20kestrad", "S20kestrad", "S20kestrad",
                                 "S20kestrad", "S20kestrad", "K20kestrad"};
    for (int level = 0; level <= 6; ++level) {
        const QString name = QString::fromLatin1(names[level]);
        QCOMPARE(listDirectory(levelDir(level, base)), QStringList(name));
        QCOMPARE(linkTarget(levelDir(level, base) + "/"_s + name), script);
        if (base != "/etc"_s)
            QCOMPARE(listDirectory(levelDir(level)), QStringList());
    }
}

void BootStartTest::scriptNeedNotBeThere()
{
    makeLevels();
    makeDirectory(initDir);
    start();
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(listDirectory(levelDir(level)), QStringList(ownLink(level, 20)));
}

void BootStartTest::secondCallRenumbers()
{
    makeScript("kestrad"_s);
    makeLevels();
    start(20);
    start(15);
    for (int level = 0; level <= 6; ++level) {
        QCOMPARE(listDirectory(levelDir(level)), QStringList(ownLink(level, 15)));
        QCOMPARE(linkTarget(levelDir(level) + "/"_s + ownLink(level, 15)), script);
    }
}

void BootStartTest::secondCallIsIdempotent()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    start();
    start();
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(otherNames(level), QStringList("S12dbus"_s));
}

void BootStartTest::numberIsNotPadded_data()
{
    QTest::addColumn<int>("number");
    for (const int number : {0, 5, 9, 10, 99, 100, -1})
        QTest::addRow("%i", number) << number;
}

void BootStartTest::numberIsNotPadded()
{
    QFETCH(int, number);
    makeScript("kestrad"_s);
    makeLevels();
    start(number);
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(listDirectory(levelDir(level)), QStringList(ownLink(level, number)));

    // The next call knows links with one or two digits.
    start(20);
    const bool stays = number < 0 || number > 99;
    QCOMPARE(otherNames(2), stays ? QStringList(ownLink(2, number)) : QStringList());
}

void BootStartTest::dependencyIsChosen_data()
{
    QTest::addColumn<QStringList>("scripts");
    QTest::addColumn<QString>("chosen");
    const QStringList order = {"dbus"_s, "hal"_s, "haldaemon"_s, "hald"_s};
    for (int set = 0; set < 16; ++set) {
        QStringList scripts;
        for (int i = 0; i < order.size(); ++i) {
            if (set & (1 << i))
                scripts.append(order[i]);
        }
        QTest::newRow(qPrintable("scripts: "_s + scripts.join(QLatin1Char(' '))))
            << scripts << scripts.value(0);
    }
    for (const char *name : {"HAL", "dbus2", "messagebus", "hal.sh", "ahald"})
        QTest::newRow(name) << QStringList(QString::fromLatin1(name)) << QString();
}

void BootStartTest::dependencyIsChosen()
{
    QFETCH(QStringList, scripts);
    QFETCH(QString, chosen);
    for (const QString &name : qAsConst(scripts))
        makeScript(name);
    makeScript("kestrad"_s);
    makeLevels();
    start();
    for (int level = 0; level <= 6; ++level) {
        if (chosen.isEmpty()) {
            QCOMPARE(otherNames(level), QStringList());
        } else {
            QCOMPARE(otherNames(level), QStringList("S12"_s + chosen));
            QCOMPARE(linkTarget(levelDir(level) + "/S12"_s + chosen), initDir + "/"_s + chosen);
        }
    }
}

void BootStartTest::dependencyIsARegularFile()
{
    makeScript("kestrad"_s);
    makeScript("hald"_s);
    QVERIFY(QFile::link(script, "/etc/init.d/dbus"_s));
    makeDirectory("/etc/init.d/hal"_s);
    QVERIFY(QFile::link("/etc/absent"_s, "/etc/init.d/haldaemon"_s));
    makeLevels();
    start();
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(otherNames(level), QStringList("S12hald"_s));
}

void BootStartTest::dependencyIsLinkedInEveryLevel()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    for (const int level : {1, 2, 4})
        link(level, "S20dbus"_s, "/etc/init.d/dbus"_s);
    for (const int level : {0, 4, 6})
        link(level, "K80dbus"_s, "/etc/init.d/dbus"_s);
    start();
    for (const int level : {1, 2, 4})
        QCOMPARE(otherNames(level), QStringList("S20dbus"_s));
    for (const int level : {0, 3, 5, 6})
        QCOMPARE(otherNames(level), QStringList("S12dbus"_s));
}

void BootStartTest::dependencyIsLinkedAsTwelveOnly()
{
    for (const char *name : {"kestrad", "dbus", "hal", "haldaemon", "hald"})
        makeScript(QString::fromLatin1(name));
    makeLevels();
    start(11);
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(otherNames(level, 11), QStringList("S12dbus"_s)); // no S11
}

void BootStartTest::dependencyStartLinkIsNotDoubled_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("counts");
    const struct
    {
        const char *name;
        bool counts;
    } rows[] = {
        {"S12dbus", true},  {"S20dbus", true},  {"S1dbus", true},       {"S123dbus", false},
        {"Sdbus", false},   {"s20dbus", false}, {"S20dbusx", false},    {"xS20dbus", false},
        {"S20hald", false}, {"S20DBUS", false}, {"S20dbus.bak", false}, {"P20dbus", false},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QString::fromLatin1(row.name) << row.counts;
}

void BootStartTest::dependencyStartLinkIsNotDoubled()
{
    QFETCH(QString, name);
    QFETCH(bool, counts);
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    link(3, name, "/etc/init.d/dbus"_s);
    start();
    QStringList expected(name);
    if (!counts)
        expected += "S12dbus"_s;
    expected.sort();
    QStringList found = otherNames(3);
    found.sort();
    QCOMPARE(found, expected);
}

void BootStartTest::dependencyStartLinksAreKept()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    link(3, "S12dbus"_s, "/etc/init.d/kestrad"_s);
    start();
    QCOMPARE(otherNames(3), QStringList("S12dbus"_s));
    QCOMPARE(linkTarget(levelDir(3) + "/S12dbus"_s), "/etc/init.d/kestrad"_s);
}

void BootStartTest::dependencyLeavesHalAlone()
{
    for (const char *name : {"kestrad", "dbus", "hald"})
        makeScript(QString::fromLatin1(name));
    makeLevels();
    for (int level = 0; level <= 6; ++level) {
        link(level, "K16hald"_s, "/etc/init.d/hald"_s);
        link(level, "K85dbus"_s, "/etc/init.d/dbus"_s);
    }
    link(3, "S98hald"_s, "/etc/init.d/hald"_s);
    start();
    for (int level = 0; level <= 6; ++level) {
        QStringList expected = {"K16hald"_s, "S12dbus"_s};
        if (level == 3)
            expected += "S98hald"_s;
        QCOMPARE(otherNames(level), expected);
    }
}

void BootStartTest::withoutDependencyOnlyOwnLinksChange()
{
    makeScript("kestrad"_s);
    makeScript("other"_s);
    makeLevels();
    const QStringList others = {"K16hald"_s, "K20other"_s, "K85dbus"_s, "S20dbus"_s, "S20other"_s};
    for (int level = 0; level <= 6; ++level) {
        for (const QString &name : others)
            link(level, name, "/etc/init.d/other"_s);
        link(level, "S90kestrad"_s);
    }
    start();
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(otherNames(level), others);
}

void BootStartTest::bareKillLinksGoWithoutDependencyToo()
{
    makeScript("kestrad"_s);
    makeLevels();
    link(3, "K12"_s);
    link(3, "S12"_s);
    start();
    QCOMPARE(otherNames(3), QStringList("S12"_s));
}

void BootStartTest::oldLinksAreRemoved_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"K1dbus", "K12dbus", "K00dbus", "K1", "K12", "S5kestrad", "S99kestrad", "K99kestrad",
          "k12kestrad", "X1kestrad", "_12kestrad", "120kestrad", "20kestrad"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void BootStartTest::oldLinksAreRemoved()
{
    QFETCH(QString, name);
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    for (int level = 0; level <= 6; ++level)
        link(level, name);
    start();
    for (int level = 0; level <= 6; ++level)
        QCOMPARE(otherNames(level), QStringList("S12dbus"_s));
}

void BootStartTest::otherLinksAreKept_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"K123dbus", "Kdbus",   "k12dbus",     "K12dbusx",   "xK12dbus",  "K12DBUS",
          "K",        "K123",    "k12",         "XK12",       "K12.",      "K123kestrad",
          "Kkestrad", "kestrad", "S20kestradx", "S20Kestrad", "S20kestra", "SS20kestrad",
          "20",       "README",  "K12hald",     "S99other"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void BootStartTest::otherLinksAreKept()
{
    QFETCH(QString, name);
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    for (int level = 0; level <= 6; ++level) {
        link(level, "S99dbus"_s);
        link(level, name);
    }
    start();
    for (int level = 0; level <= 6; ++level) {
        const QStringList found = otherNames(level);
        QCOMPARE(found.size(), 2);
        QVERIFY(found.contains(name));
    }
}

void BootStartTest::oldFilesAreRemovedToo()
{
    makeScript("kestrad"_s);
    makeLevels();
    writeFile("/etc/rc2.d/S90kestrad"_s, "copy\n");
    writeFile("/etc/rc2.d/K12"_s, "");
    start();
    QCOMPARE(otherNames(2), QStringList());
}

void BootStartTest::directoriesAreKept()
{
    makeScript("kestrad"_s);
    makeLevels();
    makeDirectory("/etc/rc2.d/S90kestrad"_s);
    makeDirectory("/etc/rc2.d/K12"_s);
    link(2, "K13"_s, "/etc"_s); // no link to a file
    start();
    QCOMPARE(otherNames(2), QStringList({"K12"_s, "K13"_s, "S90kestrad"_s}));
}

void BootStartTest::danglingLinksAreNotSeen()
{
    makeLevels();
    start(20);
    start(15);
    QCOMPARE(listDirectory("/etc/rc2.d"_s), QStringList({"S15kestrad"_s, "S20kestrad"_s}));
    makeScript("kestrad"_s);
    start(10);
    QCOMPARE(listDirectory("/etc/rc2.d"_s), QStringList("S10kestrad"_s));
}

void BootStartTest::danglingStartLinkOfDependencyIsNotSeen()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    link(3, "S20dbus"_s, "/etc/absent"_s);
    start();
    QCOMPARE(otherNames(3), QStringList({"S12dbus"_s, "S20dbus"_s}));
}

void BootStartTest::linkInTheWayStays()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    link(3, "S20kestrad"_s, "/etc/absent"_s);
    link(3, "S12dbus"_s, "/etc/absent"_s);
    makeDirectory("/etc/rc4.d/S20kestrad"_s);
    start();
    QCOMPARE(linkTarget("/etc/rc3.d/S20kestrad"_s), "/etc/absent"_s);
    QCOMPARE(linkTarget("/etc/rc3.d/S12dbus"_s), "/etc/absent"_s);
    QCOMPARE(listDirectory("/etc/rc4.d/S20kestrad"_s), QStringList());
    QCOMPARE(linkTarget("/etc/rc5.d/S20kestrad"_s), script);
    QCOMPARE(m_log->texts(), QStringList());
}

void BootStartTest::missingLevelIsSkipped()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    remove("/etc/rc4.d"_s);
    link(3, "S98kestrad"_s);
    start();
    QVERIFY(!exists("/etc/rc4.d"_s));
    for (const int level : {0, 1, 2, 3, 5, 6})
        QCOMPARE(listDirectory(levelDir(level)).size(), 2);
    QCOMPARE(m_log->texts(), QStringList());
}

/** The names are then those of the directory before, but they are looked for in the missing one. */
void BootStartTest::missingLevelsLeaveTheWorkingDirectoryAlone()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeDirectory("/etc/rc3.d"_s);
    const QStringList names = {"K12"_s, "K12dbus"_s, "S90kestrad"_s};
    for (const QString &name : names)
        writeFile("/tmp/before/"_s + name, "");
    QVERIFY(QDir::setCurrent("/tmp/before"_s));
    start();
    QCOMPARE(listDirectory("/tmp/before"_s), names);
    QCOMPARE(listDirectory("/etc/rc3.d"_s), QStringList({"S12dbus"_s, "S20kestrad"_s}));
    QCOMPARE(QDir::currentPath(), "/etc/rc3.d"_s);
}

void BootStartTest::workingDirectoryIsTheLastLevel_data()
{
    QTest::addColumn<QString>("base");
    QTest::addColumn<QList<int>>("missing");
    QTest::addColumn<int>("last");
    QTest::newRow("all there") << "/etc"_s << QList<int>() << 6;
    QTest::newRow("below init.d") << "/etc/init.d"_s << QList<int>() << 6;
    QTest::newRow("6 missing") << "/etc"_s << QList<int>({6}) << 5;
    QTest::newRow("5 and 6 missing") << "/etc"_s << QList<int>({5, 6}) << 4;
    QTest::newRow("0 missing") << "/etc"_s << QList<int>({0}) << 6;
    QTest::newRow("4 to 6 missing") << "/etc"_s << QList<int>({4, 5, 6}) << 3;
}

void BootStartTest::workingDirectoryIsTheLastLevel()
{
    QFETCH(QString, base);
    QFETCH(QList<int>, missing);
    QFETCH(int, last);
    makeScript("kestrad"_s);
    makeLevels(base);
    for (const int level : qAsConst(missing))
        remove(levelDir(level, base));
    start();
    QCOMPARE(QDir::currentPath(), levelDir(last, base));
}

void BootStartTest::levelsOfTheRootAreUsedWithoutBase()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeDirectory("/rc0.d"_s);
    makeDirectory("/rc3.d"_s);
    QVERIFY(QFile::link(script, "/rc3.d/S90kestrad"_s));
    start();
    QCOMPARE(listDirectory("/rc0.d"_s), QStringList({"K20kestrad"_s, "S12dbus"_s}));
    QCOMPARE(listDirectory("/rc3.d"_s), QStringList({"S12dbus"_s, "S20kestrad"_s}));
    QCOMPARE(QDir::currentPath(), "/rc3.d"_s);

    removeLevels(QString());
    QVERIFY(QDir::setCurrent("/tmp"_s));
    const QStringList before = listTree("/etc"_s);
    start();
    QCOMPARE(listTree("/etc"_s), before);
    QCOMPARE(QDir::currentPath(), "/tmp"_s);
}

void BootStartTest::nothingHappensWithoutBaseAndInitDir()
{
    makeDirectory("/rc3.d"_s);
    makeDirectory("/etc/rc2.d"_s);
    start();
    QCOMPARE(listDirectory("/rc3.d"_s), QStringList());
    QCOMPARE(listDirectory("/etc/rc2.d"_s), QStringList());
    QCOMPARE(QDir::currentPath(), "/"_s);
    QCOMPARE(m_log->texts(), QStringList());
}

void BootStartTest::initDirIsNotNeeded()
{
    makeLevels();
    start();
    QVERIFY(!exists(initDir));
    for (int level = 0; level <= 6; ++level) {
        QCOMPARE(listDirectory(levelDir(level)), QStringList(ownLink(level, 20)));
        QCOMPARE(linkTarget(levelDir(level) + "/"_s + ownLink(level, 20)), script);
    }
}

void BootStartTest::nothingIsSaid()
{
    makeScript("kestrad"_s);
    makeScript("dbus"_s);
    makeLevels();
    remove("/etc/rc5.d"_s);
    const DebugFile debugFile;
    QByteArray output;
    {
        StdoutCapture capture;
        start();
        output = capture.take();
    }
    QCOMPARE(output, QByteArray());
    QCOMPARE(debugFile.text(), QByteArray());
    QCOMPARE(m_log->texts(), QStringList());
}

void BootStartTest::noFileIsLeftOpen()
{
    makeScript("kestrad"_s);
    makeLevels();
    const int before = openFileCount();
    start();
    QCOMPARE(openFileCount(), before);
}

KESTRA_TEST_MAIN(BootStartTest)

#include "bootstarttest.moc"
