// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "standintool.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/packages/apt.h>
#include <kestra/packages/packagemanager.h>
#include <kestra/packages/zypper.h>

#include <QDebug>
#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QThread>

#include <memory>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString discDirectory = "/media/disc"_s;
const QString addedName = "Kestra added CD/DVD"_s;

/** A manager in this thread, and what it writes after its constructor. */
struct Fixture
{
    explicit Fixture(const QString &name)
    {
        const StdoutCapture capture;
        manager = std::make_unique<PackageManager>(name, QThread::currentThread());
        messages.clear();
    }

    ~Fixture()
    {
        delete manager->m_apt;
        delete manager->m_zypper;
    }

    /** The messages, but for the one of the object that searched the disc. */
    QStringList texts() const
    {
        QStringList result = messages.texts();
        result.removeAll("~FileManager()"_s);
        return result;
    }

    MessageLog messages;
    std::unique_ptr<PackageManager> manager;
    DebugFile debugFile;
};

/** Stand-ins for all tools of the backends. */
struct AllTools
{
    StandInTool dpkg {"dpkg"};
    StandInTool aptCache {"apt-cache"};
    StandInTool aptGet {"apt-get"};
    StandInTool aptCdrom {"apt-cdrom"};
    StandInTool rpm {"rpm"};
    StandInTool zypper {"zypper"};

    QStringList commands() const
    {
        QStringList result;
        for (const StandInTool *tool : {&dpkg, &aptCache, &aptGet, &aptCdrom, &rpm, &zypper}) {
            for (const StandInTool::Call &call : tool->calls()) {
                const QByteArray name = call.program.mid(call.program.lastIndexOf('/') + 1);
                result.append(
                    (QStringList(QString::fromLatin1(name)) + call.arguments).join("|"_s));
            }
        }
        return result;
    }
};

/** A zypper with three repositories. */
struct ZypperTool : AllTools
{
    ZypperTool()
    {
        zypper.setBehaviourFor("repos",
                               says("1 | Yes | No | yast2 | alias-on | Product on\n"
                                    "2 | No | No | yast2 | alias-off | Product off\n"
                                    "3 | Yes | No | yast2 | alias-late | Product off\n"));
        zypper.setBehaviourFor("ar", says("", "", 7));
        zypper.setBehaviourFor("mr", says("Repository alias-off has been sucessfully modified.\n"));
    }
};

/** Lets the superuser be bound by the modes of files, as anybody is, while it exists. */
class BoundByModes
{
public:
    BoundByModes()
    {
        syscall(SYS_capget, &m_header, m_previous);
        __user_cap_data_struct data[2] = {m_previous[0], m_previous[1]};
        data[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        if (syscall(SYS_capset, &m_header, data) != 0)
            qFatal("cannot give up the right to open every file");
    }
    ~BoundByModes() { syscall(SYS_capset, &m_header, m_previous); }
    Q_DISABLE_COPY(BoundByModes)

private:
    __user_cap_header_struct m_header {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_previous[2];
};

/** How the Qt debug stream shows an object. */
QString shown(const QObject *object)
{
    QString result;
    QDebug(&result).nospace() << object;
    return result;
}

/** A thread that runs functions, and an end to it. */
class Worker
{
public:
    Worker()
    {
        m_context.moveToThread(&thread);
        thread.start();
    }
    ~Worker()
    {
        thread.quit();
        thread.wait();
    }

    template<typename Function>
    void run(Function function)
    {
        QMetaObject::invokeMethod(&m_context, function, Qt::BlockingQueuedConnection);
    }

    QThread thread;

private:
    QObject m_context;
};

void addKnownManagers()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("apt") << "apt"_s;
    QTest::newRow("zypper") << "zypper"_s;
}

void addUnknownManagers()
{
    QTest::addColumn<QString>("name");
    for (const char *unknown : {"dpkg", "Apt", "ZYPPER", "apt ", "rpm"})
        QTest::newRow(unknown) << QString::fromLatin1(unknown);
}

void addUnknownManagersAndNone()
{
    addUnknownManagers();
    QTest::newRow("empty") << QString();
}

void addAllManagers()
{
    addUnknownManagersAndNone();
    QTest::newRow("apt") << "apt"_s;
    QTest::newRow("zypper") << "zypper"_s;
}

}

/** The PackageManager class, with both backends and without a known one. */
class PackageManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void constructorWritesItsMessages_data() { addAllManagers(); }
    void constructorWritesItsMessages();
    void bothBackendsAreBuiltInTheThread_data() { addAllManagers(); }
    void bothBackendsAreBuiltInTheThread();
    void destructorLeavesTheBackends();
    void threadDeletesManagerAndBackends();
    void metaObjectIsEmpty();

    void getNotInstalledAsksDpkg();
    void getNotInstalledAsksTheListing();
    void getNotInstalledIsEmptyForAnEmptyList_data() { addKnownManagers(); }
    void getNotInstalledIsEmptyForAnEmptyList();
    void unknownManagerMissesAll_data() { addUnknownManagersAndNone(); }
    void unknownManagerMissesAll();

    void availabilityOfNothing_data() { addAllManagers(); }
    void availabilityOfNothing();
    void availabilityWithApt();
    void availabilityWithZypper();
    void availabilityIsSilentWhileDebugIsOff();
    void availabilityWithUnknownManager_data() { addUnknownManagersAndNone(); }
    void availabilityWithUnknownManager();
    void availabilityWritesTheLocalEncoding();

    void isInstalledWithApt();
    void isInstalledWithZypper();
    void isInstalledWithUnknownManager_data() { addUnknownManagersAndNone(); }
    void isInstalledWithUnknownManager();

    void installOfNothing_data() { addAllManagers(); }
    void installOfNothing();
    void installWithoutManager();
    void installWithApt();
    void installWithZypper();
    void installWithUnknownManager_data() { addUnknownManagers(); }
    void installWithUnknownManager();

    void addCdWithApt();
    void addCdWithUnknownManager_data() { addUnknownManagersAndNone(); }
    void addCdWithUnknownManager();
    void discWithoutProducts_data();
    void discWithoutProducts();
    void discWithUnreadableProducts();
    void discWithBadProductLine_data();
    void discWithBadProductLine();
    void discOfAnEnabledRepository();
    void discOfADisabledRepository();
    void discOfARepositoryThatCannotBeEnabled();
    void discOfAnUnknownRepository();
    void firstEqualNameEndsTheWalk();
    void productIsTakenFromTheFirstLine_data();
    void productIsTakenFromTheFirstLine();
    void productLineIsLimited_data();
    void productLineIsLimited();
    void productIsComparedExactly_data();
    void productIsComparedExactly();
    void productsIsSearchedInTheTree();
    void repositoriesAccumulateOverDiscs();

    void aptRunsInTheGivenThread();
    void zypperRunsInTheGivenThread();

    void realDiscIsAddedWithApt();
    void realDiscIsAddedWithZypper();
};

void PackageManagerTest::init()
{
    remove(discDirectory);
    makeDirectory(discDirectory);
}

// Construction and destruction

void PackageManagerTest::constructorWritesItsMessages()
{
    QFETCH(QString, name);
    MessageLog messages;
    const DebugFile debugFile;
    QThread thread;
    QByteArray output;
    {
        StdoutCapture capture;
        new PackageManager(name, &thread);
        output = capture.take();
    }
    QCOMPARE(output, QByteArray("z:1\nz:2\n"));
    QCOMPARE(messages.texts().size(), 3);
    QCOMPARE(messages.texts().at(0),
             "PackageManager::parent: %1 \nP.'s thread: %2"_s.arg(shown(&thread),
                                                                  shown(QThread::currentThread())));
    QVERIFY(messages.texts().at(1).startsWith("QObject::connect: No such signal"_s));
    QCOMPARE(messages.texts().at(2), "m_manager \"%1\""_s.arg(name));
    QCOMPARE(messages.debugs(), QStringList({messages.texts().at(0), messages.texts().at(2)}));
    QCOMPARE(debugFile.text(), QByteArray());
}

void PackageManagerTest::bothBackendsAreBuiltInTheThread()
{
    QFETCH(QString, name);
    QThread thread;
    MessageLog messages;
    const PackageManager *manager = nullptr;
    {
        const StdoutCapture capture;
        manager = new PackageManager(name, &thread);
    }
    QCOMPARE(manager->m_manager, name);
    QCOMPARE(manager->parent(), static_cast<QObject *>(&thread));
    QCOMPARE(manager->thread(), QThread::currentThread());
    QCOMPARE(manager->m_apt->parent(), static_cast<QObject *>(&thread));
    QCOMPARE(manager->m_zypper->parent(), static_cast<QObject *>(&thread));
    QCOMPARE(manager->m_apt->m_dpkgProcess->thread(), &thread);
    QCOMPARE(manager->m_zypper->m_showProcess->thread(), &thread);
    QCOMPARE(manager->m_zypper->m_askProcess->thread(), &thread);
}

void PackageManagerTest::destructorLeavesTheBackends()
{
    MessageLog messages;
    auto thread = std::make_unique<QThread>();
    QPointer<Apt> apt;
    QPointer<Zypper> zypper;
    {
        const StdoutCapture capture;
        const PackageManager manager("apt"_s, thread.get());
        apt = manager.m_apt;
        zypper = manager.m_zypper;
    }
    QVERIFY(apt);
    QVERIFY(zypper);
    thread.reset();
    QVERIFY(!apt);
    QVERIFY(!zypper);
}

void PackageManagerTest::threadDeletesManagerAndBackends()
{
    MessageLog messages;
    auto thread = std::make_unique<QThread>();
    QPointer<PackageManager> manager;
    {
        const StdoutCapture capture;
        manager = new PackageManager("apt"_s, thread.get());
    }
    const QPointer<Apt> apt = manager->m_apt;
    const QPointer<Zypper> zypper = manager->m_zypper;
    thread.reset();
    QVERIFY(!manager);
    QVERIFY(!apt);
    QVERIFY(!zypper);
}

void PackageManagerTest::metaObjectIsEmpty()
{
    const QMetaObject &meta = PackageManager::staticMetaObject;
    QCOMPARE(meta.className(), "PackageManager");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
}

// getNotInstalled()

void PackageManagerTest::getNotInstalledAsksDpkg()
{
    AllTools tools;
    tools.dpkg.setBehaviour(says("ii  foo 1\n"));
    Fixture fixture("apt"_s);
    QByteArray output;
    QStringList missing;
    {
        StdoutCapture capture;
        missing = fixture.manager->getNotInstalled({"bar"_s, "foo"_s});
        output = capture.take();
    }
    QCOMPARE(missing, QStringList("bar"_s));
    QCOMPARE(output, QByteArray());
    QCOMPARE(tools.commands(), QStringList("dpkg|-l"_s));
}

void PackageManagerTest::getNotInstalledAsksTheListing()
{
    AllTools tools;
    tools.rpm.setBehaviour(says("foo-1-1\n"));
    Fixture fixture("zypper"_s);
    const QStringList names = {"bar"_s, "foo"_s};
    QCOMPARE(fixture.manager->getNotInstalled(names), names);
    QCOMPARE(tools.commands(), QStringList());
    fixture.manager->m_zypper->queryDB();
    QCOMPARE(fixture.manager->getNotInstalled(names), QStringList("bar"_s));
    QCOMPARE(tools.commands(), QStringList("rpm|-qa"_s));
}

void PackageManagerTest::getNotInstalledIsEmptyForAnEmptyList()
{
    QFETCH(QString, name);
    AllTools tools;
    Fixture fixture(name);
    QCOMPARE(fixture.manager->getNotInstalled({}), QStringList());
    QCOMPARE(tools.commands(), QStringList());
}

void PackageManagerTest::unknownManagerMissesAll()
{
    QFETCH(QString, name);
    AllTools tools;
    Fixture fixture(name);
    const QStringList names = {"foo"_s, QString(), "foo"_s};
    QStringList missing;
    QByteArray output;
    {
        StdoutCapture capture;
        missing = fixture.manager->getNotInstalled(names);
        output = capture.take();
    }
    QCOMPARE(missing, names);
    QCOMPARE(output, QByteArray("PackageManager::getNotInstalled(): return pkgs;\n"));
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.messages.texts(), QStringList());
    QCOMPARE(fixture.debugFile.text(), QByteArray());
}

// getArePackagesAvailable()

namespace {

/** Asks a manager; returns whether, and what went to standard output. */
QPair<bool, QByteArray> availability(PackageManager &manager, const QStringList &packages)
{
    StdoutCapture capture;
    const bool available = manager.getArePackagesAvailable(packages);
    return {available, capture.take()};
}

}

void PackageManagerTest::availabilityOfNothing()
{
    QFETCH(QString, name);
    AllTools tools;
    Fixture fixture(name);
    const auto answer = availability(*fixture.manager, {});
    QVERIFY(answer.first);
    QCOMPARE(answer.second, QByteArray("PM::gapa: \nPM::getArePackagesAvailable: empty list!\n"));
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.debugFile.text(), QByteArray());
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void PackageManagerTest::availabilityWithApt()
{
    AllTools tools;
    tools.aptCache.addBehaviour(says(""));
    tools.aptCache.addBehaviour(says("", "W: Unable to locate package foo\n"));
    Fixture fixture("apt"_s);
    auto answer = availability(*fixture.manager, {"foo"_s, "bar"_s});
    QVERIFY(answer.first);
    QCOMPARE(answer.second, QByteArray("PM::gapa: foo, bar\n"));
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("return apt->getArePackagesAvailable ( pkgs );\n"
                        "Apt::getArePackagesAvailable(): packages count: 2.\n"
                        "Apt::getArePackagesAvailable(): waiting for process finish.\n"
                        "Apt::getArePackagesAvailable(): returning true\n"));
    answer = availability(*fixture.manager, {"foo"_s});
    QVERIFY(!answer.first);
    QCOMPARE(answer.second, QByteArray("PM::gapa: foo\n"));
    QCOMPARE(tools.commands(),
             QStringList({"apt-cache|showpkg|foo|bar"_s, "apt-cache|showpkg|foo"_s}));
}

void PackageManagerTest::availabilityWithZypper()
{
    AllTools tools;
    tools.aptCache.addBehaviour(says(""));
    tools.aptCache.addBehaviour(says("package foo not found\n"));
    Fixture fixture("zypper"_s);
    auto answer = availability(*fixture.manager, {"foo"_s, "bar"_s});
    QVERIFY(answer.first);
    QCOMPARE(answer.second, QByteArray("PM::gapa: foo, bar\n"));
    QCOMPARE(fixture.debugFile.text(),
             QByteArray("return zypper->getArePackagesAvailable ( pkgs );\n"));
    answer = availability(*fixture.manager, {"foo"_s});
    QVERIFY(!answer.first);
    QCOMPARE(tools.commands(), QStringList({"apt-cache|show|foo|bar"_s, "apt-cache|show|foo"_s}));
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void PackageManagerTest::availabilityIsSilentWhileDebugIsOff()
{
    AllTools tools;
    Fixture apt("apt"_s), zypper("zypper"_s);
    const DebugFile debugFile(false);
    availability(*apt.manager, {"foo"_s});
    availability(*zypper.manager, {"foo"_s});
    QCOMPARE(debugFile.text(), QByteArray());
}

void PackageManagerTest::availabilityWithUnknownManager()
{
    QFETCH(QString, name);
    AllTools tools;
    Fixture fixture(name);
    const QByteArray message =
        "PackageManager::getArePackagesAvailable: unknown package manager!\n";
    for (const bool enabled : {true, false}) {
        const DebugFile debugFile(enabled);
        const auto answer = availability(*fixture.manager, {"foo"_s, "bar"_s});
        QVERIFY(answer.first);
        QCOMPARE(answer.second, QByteArray("PM::gapa: foo, bar\nreturn true;\n"));
        QCOMPARE(debugFile.text(), message); // also while debug is off
    }
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void PackageManagerTest::availabilityWritesTheLocalEncoding()
{
    QTextCodec *const previous = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    Fixture fixture("none"_s);
    const auto answer = availability(*fixture.manager, {QString::fromUtf8("caf\xc3\xa9")});
    QTextCodec::setCodecForLocale(previous);
    QCOMPARE(answer.second, QByteArray("PM::gapa: caf\xc3\xa9\nreturn true;\n"));
}

// getIsPackageInstalled()

void PackageManagerTest::isInstalledWithApt()
{
    AllTools tools;
    tools.dpkg.setBehaviour(says("ii  foo 1\nrc  bar 1\n"));
    Fixture fixture("apt"_s);
    QVERIFY(fixture.manager->getIsPackageInstalled("foo"_s));
    QVERIFY(fixture.manager->getIsPackageInstalled("fo"_s));
    QVERIFY(!fixture.manager->getIsPackageInstalled("bar"_s));
    QVERIFY(!fixture.manager->getIsPackageInstalled("foo bar"_s));
    QCOMPARE(tools.commands().size(), 4);
    QCOMPARE(tools.commands().count("dpkg|-l"_s), 4);
}

void PackageManagerTest::isInstalledWithZypper()
{
    AllTools tools;
    tools.rpm.setBehaviour(says("foo-1-1\n"));
    Fixture fixture("zypper"_s);
    QVERIFY(!fixture.manager->getIsPackageInstalled("foo"_s));
    fixture.manager->m_zypper->queryDB();
    QVERIFY(fixture.manager->getIsPackageInstalled("foo"_s));
    QVERIFY(!fixture.manager->getIsPackageInstalled("bar"_s));
    QCOMPARE(tools.commands(), QStringList("rpm|-qa"_s));
}

void PackageManagerTest::isInstalledWithUnknownManager()
{
    QFETCH(QString, name);
    AllTools tools;
    tools.dpkg.setBehaviour(says("ii  foo 1\n"));
    tools.rpm.setBehaviour(says("foo-1-1\n"));
    Fixture fixture(name);
    QVERIFY(!fixture.manager->getIsPackageInstalled("foo"_s));
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.messages.texts(), QStringList());
}

// installPackages()

void PackageManagerTest::installOfNothing()
{
    QFETCH(QString, name);
    AllTools tools;
    Fixture fixture(name);
    QCOMPARE(fixture.manager->installPackages({}), 0);
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.messages.texts(), QStringList());
    QCOMPARE(fixture.debugFile.text(), QByteArray());
}

void PackageManagerTest::installWithoutManager()
{
    AllTools tools;
    Fixture fixture {QString()};
    QCOMPARE(fixture.manager->installPackages({"foo"_s}), 0);
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void PackageManagerTest::installWithApt()
{
    AllTools tools;
    tools.aptGet.setBehaviour(says("", "", 100));
    Fixture fixture("apt"_s);
    QCOMPARE(fixture.manager->installPackages({"foo"_s, "bar"_s}), 100);
    // It is no simulation.
    QCOMPARE(tools.commands(), QStringList("apt-get|install|-y|--force-yes|foo|bar"_s));
    QCOMPARE(fixture.messages.texts(), QStringList("PackageManager: using Apt"_s));
    QCOMPARE(fixture.messages.debugs().size(), 1);
}

void PackageManagerTest::installWithZypper()
{
    AllTools tools;
    tools.zypper.setBehaviour(says("", "", 104));
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->installPackages({"foo"_s, "bar"_s}), 104);
    QCOMPARE(tools.commands(),
             QStringList("zypper|--non-interactive|--no-gpg-checks|install|foo|bar"_s));
    QCOMPARE(fixture.messages.texts(),
             QStringList({"PackageManager: using Zypper"_s,
                          "Zypper::install(): m_installProcess exited with code: 104"_s}));
}

void PackageManagerTest::installWithUnknownManager()
{
    QFETCH(QString, name);
    AllTools tools;
    Fixture fixture(name);
    QCOMPARE(fixture.manager->installPackages({"foo"_s}), -2);
    QCOMPARE(tools.commands(), QStringList());
    const QString message = "PackageManager: unknown m_manager, aborting! ( \"%1\" )"_s.arg(name);
    QCOMPARE(fixture.messages.texts(), QStringList(message));
    QCOMPARE(fixture.messages.debugs(), QStringList(message));
}

// addCD()

void PackageManagerTest::addCdWithApt()
{
    AllTools tools;
    tools.aptCdrom.setBehaviour(says("", "", 100));
    Fixture fixture("apt"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 100);
    QCOMPARE(fixture.manager->addCD(QString()), 100);
    QCOMPARE(tools.commands(),
             QStringList({"apt-cdrom|-d|/media/disc|-m|add"_s, "apt-cdrom|-m|add"_s}));
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void PackageManagerTest::addCdWithUnknownManager()
{
    QFETCH(QString, name);
    writeFile(discDirectory + "/products"_s, "/ Product on\n");
    AllTools tools;
    Fixture fixture(name);
    QCOMPARE(fixture.manager->addCD(discDirectory), -2);
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.messages.texts(), QStringList());
}

void PackageManagerTest::discWithoutProducts_data()
{
    QTest::addColumn<QString>("mountPoint");
    QTest::newRow("no mount point") << QString();
    QTest::newRow("missing") << "/media/missing"_s;
    QTest::newRow("empty") << discDirectory;
    QTest::newRow("other names") << discDirectory + "/names"_s;
    QTest::newRow("directory") << discDirectory + "/directory"_s;
    QTest::newRow("dangling link") << discDirectory + "/link"_s;
}

void PackageManagerTest::discWithoutProducts()
{
    QFETCH(QString, mountPoint);
    if (mountPoint.isEmpty())
        QVERIFY(!QFile::exists("products"_s));
    if (mountPoint != discDirectory && mountPoint.startsWith(discDirectory)) {
        for (const char *name : {"/names/Products", "/names/products.txt", "/names/.products"})
            writeFile(discDirectory + QString::fromLatin1(name), "/ Product on\n");
        makeDirectory(discDirectory + "/directory/products"_s);
        makeDirectory(discDirectory + "/link"_s);
        QCOMPARE(symlink("nowhere", "/media/disc/link/products"), 0);
    }
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(mountPoint), -1);
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.texts(), QStringList("product file not found, aborting"_s));
    QCOMPARE(fixture.messages.texts().count("~FileManager()"_s), 1);
    QCOMPARE(fixture.messages.debugs().size(), 2);
}

void PackageManagerTest::discWithUnreadableProducts()
{
    writeFile(discDirectory + "/products"_s, "/ Product on\n", 0);
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    int code = 0;
    {
        const BoundByModes boundByModes;
        QVERIFY(!QFile(discDirectory + "/products"_s).open(QIODevice::ReadOnly));
        code = fixture.manager->addCD(discDirectory);
    }
    QCOMPARE(code, 7);
    QCOMPARE(tools.commands(), QStringList("zypper|ar|/media/disc|"_s + addedName));
    QCOMPARE(fixture.texts(),
             QStringList({"Found matching file: \"products\""_s,
                          "product file not open, adding \"Kestra added CD/DVD\""_s}));
}

void PackageManagerTest::discWithBadProductLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("empty line") << QByteArray("\n/ Product on\n");
    QTest::newRow("no slash") << QByteArray("Product on\n");
    QTest::newRow("no white space") << QByteArray("/Product on\n");
    QTest::newRow("slash later") << QByteArray("x / Product on\n");
    QTest::newRow("blank before the slash") << QByteArray(" / Product on\n");
    QTest::newRow("slash only") << QByteArray("/\n");
    QTest::newRow("backslash") << QByteArray("\\ Product on\n");
    QTest::newRow("second line") << QByteArray("x\n/ Product on\n");
}

void PackageManagerTest::discWithBadProductLine()
{
    QFETCH(QByteArray, content);
    writeFile(discDirectory + "/products"_s, content);
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), -2);
    QCOMPARE(tools.commands(), QStringList());
    QCOMPARE(fixture.texts(),
             QStringList({"Found matching file: \"products\""_s, "product file is open"_s}));
}

namespace {

/** What is written for each disc whose products file is understood. */
QStringList understood(const QString &product)
{
    return {"Found matching file: \"products\""_s, "product file is open"_s,
            "exact match: \"%1\""_s.arg(product)};
}

QString iterating(const char *name)
{
    return "iterating, current repo: \"%1\""_s.arg(QString::fromLatin1(name));
}

}

void PackageManagerTest::discOfAnEnabledRepository()
{
    writeFile(discDirectory + "/products"_s, "/ Product on\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 0);
    QCOMPARE(tools.commands(), QStringList("zypper|repos"_s));
    QCOMPARE(fixture.texts(),
             understood("Product on"_s)
                 + QStringList({iterating("Product on"), "repo is already enabled"_s}));
    QCOMPARE(fixture.messages.debugs(), fixture.messages.texts());
    QCOMPARE(fixture.debugFile.text(), QByteArray());
}

void PackageManagerTest::discOfADisabledRepository()
{
    writeFile(discDirectory + "/products"_s, "/ Product off\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 1);
    QCOMPARE(tools.commands(), QStringList({"zypper|repos"_s, "zypper|mr|-e|alias-off"_s}));
    QCOMPARE(fixture.texts(),
             understood("Product off"_s)
                 + QStringList({iterating("Product on"), iterating("Product off"),
                                "enabling repo: \"alias-off\""_s}));
}

void PackageManagerTest::discOfARepositoryThatCannotBeEnabled()
{
    writeFile(discDirectory + "/products"_s, "/ Product off\n");
    ZypperTool tools;
    tools.zypper.setBehaviourFor("mr", says("Repository alias-off cannot be modified.\n"));
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 0);
    QCOMPARE(tools.commands(), QStringList({"zypper|repos"_s, "zypper|mr|-e|alias-off"_s}));
}

void PackageManagerTest::discOfAnUnknownRepository()
{
    writeFile(discDirectory + "/products"_s, "/ Another product\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 7);
    QCOMPARE(tools.commands(),
             QStringList({"zypper|repos"_s, "zypper|ar|/media/disc|Another product"_s}));
    QCOMPARE(fixture.texts(),
             understood("Another product"_s)
                 + QStringList({iterating("Product on"), iterating("Product off"),
                                iterating("Product off")}));
}

void PackageManagerTest::firstEqualNameEndsTheWalk()
{
    writeFile(discDirectory + "/products"_s, "/ Same\n");
    AllTools tools;
    tools.zypper.setBehaviourFor("repos",
                                 says("1 | No | No | yast2 | first | Same\n"
                                      "2 | Yes | No | yast2 | second | Same\n"));
    tools.zypper.setBehaviourFor("mr", says("Repository first has been sucessfully modified."));
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 1);
    QCOMPARE(fixture.texts(),
             understood("Same"_s) + QStringList({iterating("Same"), "enabling repo: \"first\""_s}));
}

void PackageManagerTest::productIsTakenFromTheFirstLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("product");
    QTest::newRow("plain") << QByteArray("/ The product\n") << "The product"_s;
    QTest::newRow("no newline") << QByteArray("/ The product") << "The product"_s;
    QTest::newRow("white space") << QByteArray("/ \t  The  product \t \n") << "The  product"_s;
    QTest::newRow("line ends of DOS") << QByteArray("/ The product\r\n") << "The product"_s;
    QTest::newRow("tab") << QByteArray("/\tThe product\n") << "The product"_s;
    QTest::newRow("several lines") << QByteArray("/ First\n/ Second\n") << "First"_s;
    QTest::newRow("slashes") << QByteArray("/ / x/y /\n") << "/ x/y /"_s;
    // The line end is white space to skip and then a character of the name.
    QTest::newRow("nothing but white space") << QByteArray("/ \n") << QStringLiteral("");
}

void PackageManagerTest::productIsTakenFromTheFirstLine()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, product);
    writeFile(discDirectory + "/products"_s, content);
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 7);
    QCOMPARE(tools.commands(),
             QStringList({"zypper|repos"_s, "zypper|ar|/media/disc|"_s + product}));
    QCOMPARE(fixture.texts().mid(0, 3), understood(product));
}

void PackageManagerTest::productLineIsLimited_data()
{
    // A read of 100 bytes brings 99 and keeps one for the terminating zero; two are "/ ".
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("kept");
    QTest::newRow("line end is the last byte") << 96 << 96;
    QTest::newRow("line end does not arrive") << 97 << 97;
    QTest::newRow("one more") << 98 << 97;
    QTest::newRow("many more") << 300 << 97;
}

void PackageManagerTest::productLineIsLimited()
{
    QFETCH(int, size);
    QFETCH(int, kept);
    writeFile(discDirectory + "/products"_s, "/ " + QByteArray(size, 'x') + "\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 7);
    QCOMPARE(fixture.texts().at(2), "exact match: \"%1\""_s.arg(QString(kept, QLatin1Char('x'))));
}

void PackageManagerTest::productIsComparedExactly_data()
{
    QTest::addColumn<QString>("product");
    for (const char *name : {"product on", "Product", "Product one", "PRODUCT ON", "alias-on"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void PackageManagerTest::productIsComparedExactly()
{
    QFETCH(QString, product);
    writeFile(discDirectory + "/products"_s, "/ " + product.toLatin1() + "\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 7);
    QCOMPARE(tools.commands().constLast(), "zypper|ar|/media/disc|"_s + product);
}

void PackageManagerTest::productsIsSearchedInTheTree()
{
    writeFile(discDirectory + "/media.1/products"_s, "/ Product on\n");
    writeFile(discDirectory + "/media.1/below/products"_s, "/ Product below\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory + "/"_s), 0);
    QCOMPARE(fixture.texts().at(2), "exact match: \"Product on\""_s);
}

void PackageManagerTest::repositoriesAccumulateOverDiscs()
{
    writeFile(discDirectory + "/products"_s, "/ Another product\n");
    ZypperTool tools;
    Fixture fixture("zypper"_s);
    fixture.manager->addCD(discDirectory);
    fixture.messages.clear();
    fixture.manager->addCD(discDirectory);
    QCOMPARE(tools.commands().at(2), "zypper|repos|zypper|repos"_s);
    QCOMPARE(fixture.texts().filter("iterating"_s).size(), 6);
}

// Threads

void PackageManagerTest::aptRunsInTheGivenThread()
{
    AllTools tools;
    tools.dpkg.setBehaviour(says("ii  foo 1\n"));
    tools.aptGet.setBehaviour(says("one\ntwo\n", "", 3));
    MessageLog messages;
    Worker worker;
    PackageManager *manager = nullptr;
    {
        const StdoutCapture capture;
        manager = new PackageManager("apt"_s, &worker.thread);
    }
    messages.clear();
    QStringList missing;
    int code = 0;
    QByteArray transcript;
    worker.run([&] {
        missing = manager->getNotInstalled({"foo"_s, "bar"_s});
        code = manager->installPackages({"bar"_s});
        transcript = manager->m_apt->m_log;
    });
    QCOMPARE(missing, QStringList("bar"_s));
    QCOMPARE(code, 3);
    QCOMPARE(transcript,
             QByteArray("Apt::install(): begin.\nonetwo"
                        "InstallProcess finished with code: \x03\nApt::install(): end.\n"));
    QCOMPARE(messages.texts(), QStringList("PackageManager: using Apt"_s));
}

void PackageManagerTest::zypperRunsInTheGivenThread()
{
    writeFile(discDirectory + "/products"_s, "/ Product on\n");
    ZypperTool tools;
    MessageLog messages;
    Worker worker;
    PackageManager *manager = nullptr;
    {
        const StdoutCapture capture;
        manager = new PackageManager("zypper"_s, &worker.thread);
    }
    messages.clear();
    int code = -1;
    worker.run([&] { code = manager->addCD(discDirectory); });
    // The rows are all there when the listing of the repositories ends.
    QCOMPARE(code, 0);
    QCOMPARE(manager->m_zypper->m_repos.size(), 3);
    QCOMPARE(messages.warnings(), QStringList());
}

// The real tools

void PackageManagerTest::realDiscIsAddedWithApt()
{
    const QByteArray reason = obstacle({"dpkg", "dpkg-deb", "dpkg-scanpackages", "apt-cdrom"});
    if (!reason.isEmpty())
        QSKIP(reason.constData());
    writeFile(discDirectory + "/.disk/info"_s, "Kestra disc 2\n");
    const QString architecture =
        QString::fromLatin1(runTool("dpkg"_s, {"--print-architecture"_s}).trimmed());
    makeDeb(discDirectory, "kestra-disc"_s);
    writeFile(discDirectory + "/dists/stable/main/binary-%1/Packages"_s.arg(architecture),
              runTool("dpkg-scanpackages"_s, {"-m"_s, "."_s}, discDirectory));
    Fixture fixture("apt"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 0);
    QVERIFY(readFile("/etc/apt/sources.list"_s).contains("deb cdrom:[Kestra disc 2]/"));
    QVERIFY(fixture.manager->getIsPackageInstalled("dpkg"_s));
}

void PackageManagerTest::realDiscIsAddedWithZypper()
{
    const QByteArray reason = obstacle({"zypper", "rpmbuild", "createrepo_c"});
    if (!reason.isEmpty())
        QSKIP(reason.constData());
    remove("/etc/zypp/repos.d"_s);
    const QTemporaryDir directory;
    QVERIFY(QFile::copy(makeRpm(directory.path(), "kestra-probe"_s),
                        discDirectory + "/kestra-probe.rpm"_s));
    runTool("createrepo_c"_s, {discDirectory});
    writeFile(discDirectory + "/media.1/products"_s, "/ Kestra-Linux 1.0\n");
    Fixture fixture("zypper"_s);
    QCOMPARE(fixture.manager->addCD(discDirectory), 0);
    const QStringList repositories = listDirectory("/etc/zypp/repos.d"_s);
    QCOMPARE(repositories.size(), 1);
    const QByteArray repository = readFile("/etc/zypp/repos.d/"_s + repositories.constFirst());
    QVERIFY(repository.contains("[Kestra-Linux 1.0]\n"));
    QVERIFY(repository.contains("baseurl=dir:/media/disc\n"));
    // It is not recognised in today's table, and zypper refuses to add it again.
    QCOMPARE(fixture.manager->addCD(discDirectory), 4);
    QCOMPARE(fixture.manager->installPackages({"kestra-probe"_s}), 0);
}

KESTRA_TEST_MAIN(PackageManagerTest)

#include "packagemanagertest.moc"
