// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "privatebus.h"
#include "stage.h"
#include "testmain.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>

#include <csignal>
#include <memory>
#include <optional>
#include <vector>

using namespace KestraTest;

namespace {

const QString systemBus = "DBUS_SYSTEM_BUS_ADDRESS"_s;
const QString sessionBus = "DBUS_SESSION_BUS_ADDRESS"_s;
const QString modem = "usb_device_1110_9041_noserial"_s;
const QString noOwner =
    "org.freedesktop.DBus.Error.NameHasNoOwner"_s; // ServiceUnknown if startable

constexpr char refuseName[] = "<deny own=\"org.freedesktop.Hal\"/>";

/** Counts how often the service's name changes hands, or is given up for a moment. */
class Handovers
{
public:
    explicit Handovers(const BusClient &client)
        : m_watcher(QLatin1String(halService), client.connection(),
                    QDBusServiceWatcher::WatchForOwnerChange)
    {
        QObject::connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged,
                         [this] { ++m_count; });
    }

    int count() const { return m_count; }

private:
    QDBusServiceWatcher m_watcher;
    int m_count = 0;
};

bool isAnswered(const QDBusMessage &reply) { return reply.type() == QDBusMessage::ReplyMessage; }

}

/** How the service starts, ends, and shares its name and its bus. */
class HaldLifecycleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void wrongOptionsAreRefused_data();
    void wrongOptionsAreRefused();
    void helpAndVersionAreTold();
    void signalsEndIt_data();
    void signalsEndIt();
    void callBeforeTheEndIsAnswered();

    void secondOneIsRefused();
    void secondOneReplacesTheFirst();
    void foreignOwnerIsNotReplaced_data();
    void foreignOwnerIsNotReplaced();
    void ownerThatGivesWayIsReplaced();
    void replacementNeedsNobodyToReplace();
    void missingBusIsReported_data();
    void missingBusIsReported();
    void refusedNameIsReported();
    void sessionBusIsServed();

    void busComesBack();
    void busComesBackToAnotherOwner();
    void busGoesWithIdleExit();
    void endsWhileTheBusIsGone();
    void timeEndsWhileTheBusHangs();

    void timeNobodyCalls();
    void timeStaysWithoutTheOption_data();
    void timeStaysWithoutTheOption();
    void timeCallerKeepsIt();
    void timeLastOfTheCallersCounts();
    void timeCallerThatIsGoneAtOnceDoesNotKeepIt();
    void timeOnlyListeningDoesNotKeepIt();
    void timeCallStartsTheWaitAnew();
    void timeCallAtTheMomentOfLeaving_data();
    void timeCallAtTheMomentOfLeaving();

private:
    std::optional<Stage> m_stage;
};

void HaldLifecycleTest::init() { m_stage.emplace(); }

void HaldLifecycleTest::cleanup()
{
    const QStringList lies = m_stage->witness.lies();
    m_stage.reset();
    QCOMPARE(lies, QStringList());
}

void HaldLifecycleTest::wrongOptionsAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("part");
    QTest::newRow("unknown") << QStringList("--no-such"_s) << "no-such"_s;
    QTest::newRow("letter") << QStringList("-x"_s) << "x"_s;
    QTest::newRow("argument") << QStringList("abc"_s) << "\"abc\""_s;
    QTest::newRow("value for a flag") << QStringList("--replace=1"_s) << "replace"_s;
    QTest::newRow("no number") << QStringList({"--idle-exit"_s, "soon"_s}) << "\"soon\""_s;
    QTest::newRow("empty number") << QStringList("--idle-exit="_s) << "\"\""_s;
    QTest::newRow("negative") << QStringList({"--idle-exit=-1"_s}) << "\"-1\""_s;
    QTest::newRow("more than a day") << QStringList({"--idle-exit"_s, "86401"_s}) << "\"86401\""_s;
    QTest::newRow("fraction") << QStringList({"--idle-exit"_s, "1.5"_s}) << "\"1.5\""_s;
    QTest::newRow("no value") << QStringList("--idle-exit"_s) << "idle-exit"_s;
}

void HaldLifecycleTest::wrongOptionsAreRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, part);
    m_stage->daemon.launch(arguments);
    QCOMPARE(m_stage->daemon.waitForEnd(), 2);
    const QStringList log = m_stage->daemon.takeLog();
    QCOMPARE(log.size(), 1);
    QVERIFY(log.constFirst().startsWith("kestra-hald: "_s));
    QVERIFY(log.constFirst().endsWith(" See kestra-hald --help."_s));
    QVERIFY(log.constFirst().contains(part));
    QCOMPARE(m_stage->daemon.takeOutput(), QByteArray());
}

void HaldLifecycleTest::helpAndVersionAreTold()
{
    m_stage->daemon.launch({"--help"_s});
    QCOMPARE(m_stage->daemon.waitForEnd(), 0);
    const QByteArray help = m_stage->daemon.takeOutput();
    for (const char *part : {"--session", "--replace", "--verbose", "--idle-exit SECONDS", "--help",
                             "--version", "Exit codes"})
        QVERIFY2(help.contains(part), part);
    QCOMPARE(m_stage->daemon.takeLog(), QStringList());
    m_stage->daemon.launch({"--version"_s});
    QCOMPARE(m_stage->daemon.waitForEnd(), 0);
    QCOMPARE(m_stage->daemon.takeOutput(), QByteArray("kestra-hald 1.0.0\n"));
}

void HaldLifecycleTest::signalsEndIt_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void HaldLifecycleTest::signalsEndIt()
{
    QFETCH(int, signal);
    QVERIFY(m_stage->daemon.start());
    QCOMPARE(kill(pid_t(m_stage->daemon.id()), signal), 0);
    QCOMPARE(m_stage->daemon.waitForEnd(), 0);
    QCOMPARE(m_stage->client.ownerProcess(), 0);
}

/** It finds the call and the signal at the same time. */
void HaldLifecycleTest::callBeforeTheEndIsAnswered()
{
    for (int i = 0; i < 5; ++i) {
        QVERIFY(m_stage->daemon.start());
        m_stage->daemon.pause();
        QDBusPendingCall call = m_stage->client.connection().asyncCall(
            QDBusMessage::createMethodCall(QLatin1String(halService), QLatin1String(managerPath),
                                           QLatin1String(managerInterface), "GetAllDevices"_s));
        QVERIFY(m_stage->client.ownerProcess() > 0); // so that the bus has had the call before
        QCOMPARE(kill(pid_t(m_stage->daemon.id()), SIGTERM), 0);
        m_stage->daemon.resume();
        call.waitForFinished();
        QVERIFY2(!call.isError(), qPrintable(call.error().message()));
        QCOMPARE(m_stage->daemon.waitForEnd(), 0);
    }
}

void HaldLifecycleTest::secondOneIsRefused()
{
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    QVERIFY(m_stage->daemon.start());
    const QTemporaryDir nothing; // else umockdev gives the events of the first to the second
    HaldProcess second;
    second.setVariable("UMOCKDEV_DIR"_s, nothing.path());
    second.launch();
    QCOMPARE(second.waitForEnd(), 4);
    const QStringList log = second.takeLog().filter("taken"_s);
    QCOMPARE(log.size(), 1);
    QVERIFY(log.constFirst().contains(
        "org.freedesktop.Hal is taken by the process %1;"_s.arg(m_stage->daemon.id())));
    QVERIFY(log.constFirst().contains("--replace"_s));
    QCOMPARE(m_stage->client.ownerProcess(), m_stage->daemon.id());
    QCOMPARE(m_stage->client.devices(), QStringList(modem));
    QCOMPARE(m_stage->takeEvents(), QStringList());
}

void HaldLifecycleTest::secondOneReplacesTheFirst()
{
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    HaldProcess first;
    QVERIFY(first.start());
    QVERIFY(m_stage->daemon.start({"--replace"_s}));
    QCOMPARE(first.waitForEnd(), 0);
    QVERIFY(first.takeLog().constLast().contains("taken"_s));
    QCOMPARE(m_stage->client.ownerProcess(), m_stage->daemon.id());
    QCOMPARE(m_stage->client.devices(), QStringList(modem));
    QCOMPARE(m_stage->takeEvents(), QStringList());
    // And that one by a third.
    HaldProcess third;
    QVERIFY(third.start({"--replace"_s}));
    QCOMPARE(m_stage->daemon.waitForEnd(), 0);
    QCOMPARE(m_stage->client.devices(), QStringList(modem));
}

void HaldLifecycleTest::foreignOwnerIsNotReplaced_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("plain") << QStringList();
    QTest::newRow("replace") << QStringList("--replace"_s);
}

void HaldLifecycleTest::foreignOwnerIsNotReplaced()
{
    QFETCH(QStringList, arguments);
    const BusClient owner;
    QVERIFY(owner.connection().registerService(QLatin1String(halService)));
    m_stage->daemon.launch(arguments);
    QCOMPARE(m_stage->daemon.waitForEnd(), 4);
    const QStringList log = m_stage->daemon.takeLog().filter("taken"_s);
    QCOMPARE(log.size(), 1);
    QVERIFY(
        log.constFirst().contains("by the process %1;"_s.arg(QCoreApplication::applicationPid())));
    // It has not queued up for the name.
    QVERIFY(owner.connection().unregisterService(QLatin1String(halService)));
    QCOMPARE(m_stage->client.ownerProcess(), 0);
}

void HaldLifecycleTest::ownerThatGivesWayIsReplaced()
{
    const BusClient owner;
    owner.connection().interface()->registerService(QLatin1String(halService),
                                                    QDBusConnectionInterface::DontQueueService,
                                                    QDBusConnectionInterface::AllowReplacement);
    QCOMPARE(m_stage->client.ownerProcess(), QCoreApplication::applicationPid());
    QVERIFY(m_stage->daemon.start({"--replace"_s}));
}

void HaldLifecycleTest::replacementNeedsNobodyToReplace()
{
    QVERIFY(m_stage->daemon.start({"--replace"_s}));
    QCOMPARE(m_stage->takeEvents(), QStringList());
    QCOMPARE(m_stage->daemon.stop(), 0);
}

void HaldLifecycleTest::missingBusIsReported_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("plain") << QStringList();
    QTest::newRow("idle exit") << QStringList({"--idle-exit"_s, "60"_s});
    QTest::newRow("session") << QStringList("--session"_s);
}

void HaldLifecycleTest::missingBusIsReported()
{
    QFETCH(QStringList, arguments);
    for (const QString &variable : {systemBus, sessionBus})
        m_stage->daemon.setVariable(variable, "unix:path=/nowhere/bus"_s);
    m_stage->daemon.launch(arguments);
    QCOMPARE(m_stage->daemon.waitForEnd(), 3);
    const QStringList log = m_stage->daemon.takeLog().filter("cannot be reached"_s);
    QCOMPARE(log.size(), 1);
    QVERIFY(log.constFirst().contains("/nowhere/bus"_s));
}

void HaldLifecycleTest::refusedNameIsReported()
{
    PrivateBus bus(refuseName);
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    m_stage->daemon.launch();
    QCOMPARE(m_stage->daemon.waitForEnd(), 5);
    const QStringList log = m_stage->daemon.takeLog().filter("may not own"_s);
    QCOMPARE(log.size(), 1);
    QVERIFY(log.constFirst().contains("org.freedesktop.Hal"_s));
    QVERIFY(log.constFirst().contains("run kestra-hald as the user kestra-hald"_s));
}

void HaldLifecycleTest::sessionBusIsServed()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041));
    m_stage->daemon.setVariable(sessionBus, bus.address());
    m_stage->daemon.launch({"--session"_s});
    const BusClient client(bus.address());
    const Witness witness(Witness::Looks, bus.address());
    QVERIFY(waitUntil([&] { return client.ownerProcess() == m_stage->daemon.id(); }));
    QCOMPARE(m_stage->client.ownerProcess(), 0); // on the system bus
    QCOMPARE(client.devices(), QStringList(modem));
    m_stage->machine.unplug("1-4");
    QVERIFY(waitUntil([&] { return witness.count() == 1; }));
    QCOMPARE(witness.events(), QStringList("-"_s + modem));
    QCOMPARE(m_stage->daemon.stop(), 0);
}

void HaldLifecycleTest::busComesBack()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    QVERIFY(m_stage->daemon.start());
    for (int i = 0; i < 3; ++i) {
        bus.stop();
        // Devices do not wait for the bus.
        m_stage->machine.plug(usbDevice("1-" + QByteArray::number(i), i, 1));
        QVERIFY(bus.start());
        const BusClient client(bus.address());
        QVERIFY(waitUntil([&] { return client.ownerProcess() == m_stage->daemon.id(); }));
        const Witness witness(Witness::Looks, bus.address());
        QCOMPARE(client.devices().size(), i + 1);
        m_stage->machine.plug(usbDevice("2-1", 0x1110, 0x9041));
        QVERIFY(waitUntil([&] { return witness.count() == 1; }));
        m_stage->machine.unplug("2-1");
        QVERIFY(waitUntil([&] { return witness.count() == 2; }));
        QCOMPARE(witness.events(), QStringList({"+"_s + modem, "-"_s + modem}));
        QCOMPARE(witness.lies(), QStringList());
    }
    QCOMPARE(m_stage->daemon.stop(), 0);
    QCOMPARE(m_stage->daemon.takeLog().filter("is back"_s).size(), 3);
}

void HaldLifecycleTest::busComesBackToAnotherOwner()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    QVERIFY(m_stage->daemon.start());
    m_stage->daemon.pause();
    bus.stop();
    QVERIFY(bus.start());
    const BusClient owner(bus.address());
    QVERIFY(owner.connection().registerService(QLatin1String(halService)));
    m_stage->daemon.resume();
    QCOMPARE(m_stage->daemon.waitForEnd(), 4);
}

void HaldLifecycleTest::busGoesWithIdleExit()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "60"_s}));
    bus.stop();
    QCOMPARE(m_stage->daemon.waitForEnd(), 0);
    QVERIFY(m_stage->daemon.takeLog().constLast().contains("gone away"_s));
}

void HaldLifecycleTest::endsWhileTheBusIsGone()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    QVERIFY(m_stage->daemon.start());
    bus.stop();
    QTest::qWait(1500); // time for an attempt
    QVERIFY(m_stage->daemon.isRunning());
    QCOMPARE(m_stage->daemon.stop(), 0);
    const QStringList log = m_stage->daemon.takeLog();
    QCOMPARE(log.filter("gone away"_s).size(), 1); // and not once more in each attempt
    QCOMPARE(log.filter("cannot be reached"_s).size(), 0);
}

void HaldLifecycleTest::timeEndsWhileTheBusHangs()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    QVERIFY(m_stage->daemon.start());
    bus.pause();
    QCOMPARE(m_stage->daemon.stop(), 0);
    bus.resume();
}

void HaldLifecycleTest::timeNobodyCalls()
{
    m_stage.emplace(Witness::Believes); // one that looks is a caller
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "1"_s}));
    QElapsedTimer timer;
    timer.start();
    m_stage->machine.plug(usbDevice("1-4", 0x1110, 0x9041)); // is no call
    QCOMPARE(m_stage->daemon.waitForEnd(5000), 0);
    QVERIFY(timer.elapsed() >= 700);
    QVERIFY(m_stage->daemon.takeLog().constLast().contains("Nobody needs"_s));
}

void HaldLifecycleTest::timeStaysWithoutTheOption_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("zero") << QStringList({"--idle-exit"_s, "0"_s});
}

void HaldLifecycleTest::timeStaysWithoutTheOption()
{
    QFETCH(QStringList, arguments);
    QVERIFY(m_stage->daemon.start(arguments));
    {
        const BusClient caller;
        QVERIFY(isAnswered(caller.callManager("GetAllDevices"_s)));
    }
    QCOMPARE(m_stage->daemon.waitForEnd(3000), -2);
    QCOMPARE(m_stage->client.devices(), QStringList());
}

void HaldLifecycleTest::timeCallerKeepsIt()
{
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "1"_s}));
    auto caller = std::make_unique<BusClient>();
    QVERIFY(isAnswered(caller->callManager("GetAllDevices"_s)));
    const Handovers handovers(m_stage->client);
    QCOMPARE(m_stage->daemon.waitForEnd(3000), -2);
    QCOMPARE(handovers.count(), 0);
    QVERIFY(isAnswered(caller->callManager("GetAllDevices"_s)));
    QElapsedTimer timer;
    timer.start();
    caller.reset();
    QCOMPARE(m_stage->daemon.waitForEnd(5000), 0);
    QVERIFY(timer.elapsed() >= 900);
}

void HaldLifecycleTest::timeLastOfTheCallersCounts()
{
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "1"_s}));
    std::vector<std::unique_ptr<BusClient>> callers;
    for (int i = 0; i < 3; ++i) {
        callers.push_back(std::make_unique<BusClient>());
        // An error is an answer, too, and so is what every object offers.
        const QDBusMessage reply = i == 0
            ? callers.back()->callManager("NoSuchMethod"_s)
            : callers.back()->call(QLatin1String(managerPath),
                                   "org.freedesktop.DBus.Introspectable"_s, "Introspect"_s);
        QCOMPARE(isAnswered(reply), i > 0);
    }
    const Handovers handovers(m_stage->client);
    callers.erase(callers.begin() + 1, callers.end());
    QCOMPARE(m_stage->daemon.waitForEnd(2000), -2);
    QCOMPARE(handovers.count(), 0);
    callers.clear();
    QCOMPARE(m_stage->daemon.waitForEnd(5000), 0);
}

void HaldLifecycleTest::timeCallerThatIsGoneAtOnceDoesNotKeepIt()
{
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "1"_s}));
    for (int i = 0; i < 20; ++i) {
        const BusClient caller;
        QDBusMessage call =
            QDBusMessage::createMethodCall(QLatin1String(halService), QLatin1String(managerPath),
                                           QLatin1String(managerInterface), "GetAllDevices"_s);
        call.setAutoStartService(false);
        caller.connection().send(call); // and does not wait
    }
    QCOMPARE(m_stage->daemon.waitForEnd(5000), 0);
}

void HaldLifecycleTest::timeOnlyListeningDoesNotKeepIt()
{
    const Witness witness(Witness::Believes);
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "1"_s}));
    QCOMPARE(m_stage->daemon.waitForEnd(5000), 0);
}

void HaldLifecycleTest::timeCallStartsTheWaitAnew()
{
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "2"_s}));
    for (int i = 0; i < 4; ++i) {
        QTest::qWait(800);
        const BusClient caller;
        QVERIFY(isAnswered(caller.callManager("GetAllDevices"_s)));
    }
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_stage->daemon.waitForEnd(6000), 0);
    QVERIFY(timer.elapsed() >= 1700);
}

void HaldLifecycleTest::timeCallAtTheMomentOfLeaving_data()
{
    QTest::addColumn<int>("callTime"); // ms after the bus has been held up
    for (int i = 0; i < 4; ++i)
        QTest::addRow("before it gives up its name, %d", i) << 0;
    for (int i = 0; i < 2; ++i)
        QTest::addRow("after that, %d", i) << 900;
}

/** The bus is held up, so that the call and the end of the idle time meet. */
void HaldLifecycleTest::timeCallAtTheMomentOfLeaving()
{
    QFETCH(int, callTime);
    PrivateBus bus;
    QVERIFY(bus.start());
    m_stage->daemon.setVariable(systemBus, bus.address());
    const BusClient caller(bus.address());
    const BusClient observer(bus.address());
    QVERIFY(m_stage->daemon.start({"--idle-exit"_s, "1"_s}));
    QTest::qWait(500);
    bus.pause();
    QTest::qWait(callTime);
    QDBusMessage call =
        QDBusMessage::createMethodCall(QLatin1String(halService), QLatin1String(managerPath),
                                       QLatin1String(managerInterface), "GetAllDevices"_s);
    call.setAutoStartService(false);
    QDBusPendingCall pending = caller.connection().asyncCall(call, 10000);
    QTest::qWait(1200 - callTime);
    QVERIFY(m_stage->daemon.isRunning()); // it waits for the bus, too
    bus.resume();
    pending.waitForFinished();
    if (pending.isError()) {
        QVERIFY(callTime > 0);
        QCOMPARE(pending.error().name(), noOwner);
        QCOMPARE(m_stage->daemon.waitForEnd(), 0);
        return;
    }
    // It stays for its caller.
    QVERIFY(waitUntil([&] { return observer.ownerProcess() == m_stage->daemon.id(); }));
    QCOMPARE(m_stage->daemon.waitForEnd(2000), -2);
    QVERIFY(isAnswered(caller.callManager("GetAllDevices"_s)));
}

KESTRA_TEST_MAIN(HaldLifecycleTest)
#include "haldlifecycletest.moc"
