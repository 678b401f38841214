// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QElapsedTimer>

#include <csignal>

using namespace KestraTest;

using Changes = QMap<QString, QString>;
Q_DECLARE_METATYPE(FakeHal::Behaviour)

namespace {

const QString devices = "/org/freedesktop/Hal/devices/"_s;
const QString mark = Machine::directory + "/started"_s;

const QByteArray waiting = "    Waiting for a modem to be plugged in\n";
const QByteArray takenAlready = "    Plugged in already: Sagem F@st 800 E4\n";
const QByteArray found = "): Sagem F@st 800 E4, driver ueagle-atm, version default\n";
const QByteArray notThere =
    "The hardware service (org.freedesktop.Hal) is not there. Install the package kestra-hald";
const QByteArray notThereNote = "    " + notThere + "; modems are seen as soon as it runs.\n";

/** The options of a run that has little to do but to find a modem. */
QStringList arguments(Changes changes = {})
{
    for (const char *option : {"--no-driver", "--no-boot", "--no-dns"})
        changes.insert(QString::fromLatin1(option), "-"_s);
    changes.insert("--driver-bundle"_s, QString());
    return Machine::arguments(changes);
}

QStringList askingArguments() { return arguments({{"--unattended"_s, QString()}}); }

}

/** How the modem is found, and what becomes of the service that tells of it. */
class DetectTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aModemThatIsThere();
    void nothingThatIsThere_data();
    void nothingThatIsThere();
    void theUserIsAsked_data();
    void theUserIsAsked();
    void unpluggedWhileTheUserIsAsked();
    void theUserIsAskedOnce();
    void aModemThatSettles();
    void noService();
    void aServiceThatKnowsTheModem();
    void noModemAndNoService();
    void aServiceThatDoesNotStart_data();
    void aServiceThatDoesNotStart();
    void aServiceThatIsInstalledLater();
    void aServiceThatGoesAway();
    void aServiceThatIsReplaced();
    void interrupted_data();
    void interrupted();
    void interruptedWhileItStarts();

private:
    void addUsbDevice(const QString &name, int vendor, int product);
    void addModem() { addUsbDevice("modem"_s, 0x1110, 0x9041); }
    SetupResult plugInAndFinish(QProcess &process, const QByteArray &output);
    void stop(QProcess &process);

    Machine m_machine;
    QStringList m_present;
};

void DetectTest::init()
{
    m_machine.reset();
    for (const QString &udi : std::as_const(m_present))
        m_machine.hal.removeDevice(udi);
    m_present.clear();
    m_machine.hal.stop();
    m_machine.hal.start();
    m_machine.hal.clearCalls();
}

void DetectTest::addUsbDevice(const QString &name, int vendor, int product)
{
    m_present.append(devices + name);
    m_machine.hal.addDevice(
        m_present.constLast(),
        {{"usb_device.vendor_id"_s, vendor}, {"usb_device.product_id"_s, product}},
        {"usb_device"_s});
}

SetupResult DetectTest::plugInAndFinish(QProcess &process, const QByteArray &output)
{
    m_machine.plugIn();
    return Machine::finish(process, output);
}

/** As Ctrl-C does; it always ends at once. A run that has ended by itself is left alone. */
void DetectTest::stop(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    QElapsedTimer time;
    time.start();
    ::kill(pid_t(process.processId()), SIGINT);
    const int code = Machine::finish(process).code;
    QVERIFY2(code == 130 || code == 0, qPrintable(QString::number(code)));
    QVERIFY2(time.elapsed() < 2000, qPrintable(QString::number(time.elapsed())));
}

/** Each device is looked at: the library itself remembers only the last one that it is told of. */
void DetectTest::aModemThatIsThere()
{
    addUsbDevice("hub"_s, 0x1d6b, 2);
    addModem();
    addUsbDevice("keyboard"_s, 0x046d, 0xc31c);
    const SetupResult result = m_machine.run(arguments());
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(takenAlready), result.output.constData());
    QVERIFY2(result.output.contains(found), result.output.constData());
    QVERIFY2(!result.output.contains(waiting), result.output.constData());
}

void DetectTest::nothingThatIsThere_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("product");
    QTest::addColumn<FakeHal::Behaviour>("behaviour");
    QTest::addColumn<QString>("method");
    QTest::newRow("no modem") << "other"_s << 0x1234 << FakeHal::Normal << QString();
    QTest::newRow("no object path") << "not a path"_s << 0x9041 << FakeHal::Normal << QString();
    QTest::newRow("no numbers") << "modem"_s << 0x9041 << FakeHal::Error << "GetProperty"_s;
    QTest::newRow("a text for a number")
        << "modem"_s << 0x9041 << FakeHal::WrongType << "GetProperty"_s;
    QTest::newRow("gone") << "modem"_s << 0x9041 << FakeHal::Error << "DeviceExists"_s;
    QTest::newRow("no list") << "modem"_s << 0x9041 << FakeHal::WrongType
                             << "FindDeviceByCapability"_s;
}

void DetectTest::nothingThatIsThere()
{
    QFETCH(QString, name);
    QFETCH(int, product);
    QFETCH(FakeHal::Behaviour, behaviour);
    QFETCH(QString, method);
    addUsbDevice(name, 0x1110, product);
    if (!method.isEmpty())
        m_machine.hal.setBehaviour(behaviour, method);
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    QVERIFY2(!output.contains("Plugged in already"), output.constData());
    stop(process);
}

void DetectTest::theUserIsAsked_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("questions");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("yes") << QByteArray("yes\n") << 1 << true;
    QTest::newRow("first letter") << QByteArray("Y\n") << 1 << true;
    QTest::newRow("no") << QByteArray("no\n") << 1 << false;
    QTest::newRow("something else") << QByteArray("later\nyes\n") << 2 << true;
    QTest::newRow("the Enter key alone") << QByteArray("\nno\n") << 2 << false;
    QTest::newRow("nobody") << QByteArray() << 1 << false;
}

void DetectTest::theUserIsAsked()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, questions);
    QFETCH(bool, isTaken);
    const QByteArray question =
        "The modem Sagem F@st 800 E4 is plugged in already; take it (yes or no): ";
    addModem();
    QProcess process;
    QByteArray output;
    Machine::start(process, askingArguments());
    process.write(answer);
    process.closeWriteChannel();
    QVERIFY(Machine::waitForOutput(process, output, isTaken ? found : waiting));
    QCOMPARE(output.count(question), questions);
    QCOMPARE(output.contains(waiting), !isTaken);
    stop(process);
}

void DetectTest::unpluggedWhileTheUserIsAsked()
{
    addModem();
    QProcess process;
    QByteArray output;
    Machine::start(process, askingArguments());
    QVERIFY(Machine::waitForOutput(process, output, "take it (yes or no): "));
    m_machine.hal.removeDevice(m_present.constFirst());
    process.write("yes\n");
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    stop(process);
}

/** Also where another process serves. */
void DetectTest::theUserIsAskedOnce()
{
    const QByteArray question = "take it (yes or no): ";
    addModem();
    QProcess process;
    QByteArray output;
    Machine::start(process, askingArguments());
    QVERIFY(Machine::waitForOutput(process, output, question));
    process.write("no\n");
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    m_machine.hal.stop();
    m_machine.hal.clearCalls();
    m_machine.hal.start();
    QVERIFY(m_machine.hal.waitForCalls(1, 20000));
    output.clear();
    QVERIFY(!Machine::waitForOutput(process, output, question, 1000));
    stop(process);
}

/** What has just been announced gets its time, though it is among what is there. */
void DetectTest::aModemThatSettles()
{
    m_machine.hal.stop();
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    addModem();
    m_machine.hal.start();
    m_machine.hal.emitDeviceAdded(m_present.constFirst());
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 0);
    QCOMPARE(m_machine.hal.calls("FindDeviceByCapability"_s).size(), 1);
    QVERIFY2(!result.output.contains(takenAlready), result.output.constData());
}

void DetectTest::noService()
{
    m_machine.hal.stop();
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, notThereNote + waiting));
    m_machine.hal.start();
    const SetupResult result = plugInAndFinish(process, output);
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(found), result.output.constData());
}

void DetectTest::aServiceThatKnowsTheModem()
{
    m_machine.hal.stop();
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    addModem();
    m_machine.hal.start();
    const SetupResult result = Machine::finish(process, output);
    QCOMPARE(result.code, 0);
    QVERIFY2(result.output.contains(takenAlready), result.output.constData());
}

void DetectTest::noModemAndNoService()
{
    m_machine.hal.stop();
    QProcess process;
    Machine::start(process, arguments({{"--modem-timeout"_s, "7"_s}}));
    const SetupResult result = Machine::finish(process);
    QCOMPARE(result.code, 4);
    QCOMPARE(result.errors,
             "\nNo supported modem was plugged in within 7 seconds. " + notThere
                 + ", then start again.\n");
    QCOMPARE(result.output.count(notThere), 1); // though it was called more than once
}

void DetectTest::aServiceThatDoesNotStart_data()
{
    QTest::addColumn<QString>("commandLine");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("fails") << "/bin/false"_s
                           << QByteArray("Process org.freedesktop.Hal exited with status 1");
    QTest::newRow("no program") << "/nowhere/at/all"_s
                                << QByteArray("Failed to execute program org.freedesktop.Hal: No "
                                              "such file or directory");
}

void DetectTest::aServiceThatDoesNotStart()
{
    QFETCH(QString, commandLine);
    QFETCH(QByteArray, error);
    m_machine.hal.stop();
    Machine::installService(commandLine);
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    QVERIFY2(
        output.contains("    The hardware service (org.freedesktop.Hal) does not start or does "
                        "not answer: "
                        + error
                        + ". See what \"journalctl -u kestra-hald\" shows; modems are seen as "
                          "soon as it runs.\n"),
        output.constData());
    stop(process);
}

void DetectTest::aServiceThatIsInstalledLater()
{
    m_machine.hal.stop();
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, notThereNote));
    Machine::installService("/usr/bin/touch "_s + mark);
    QTRY_VERIFY_WITH_TIMEOUT(exists(mark), 10000);
    stop(process);
}

void DetectTest::aServiceThatGoesAway()
{
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    Machine::installService("/usr/bin/touch "_s + mark);
    m_machine.hal.stop();
    QTRY_VERIFY_WITH_TIMEOUT(exists(mark), 10000);
    stop(process);
}

/** The new one must know that somebody waits, or it would leave. */
void DetectTest::aServiceThatIsReplaced()
{
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, waiting));
    m_machine.hal.clearCalls();
    m_machine.hal.stop();
    m_machine.hal.start();
    QVERIFY(m_machine.hal.waitForCalls(1, 20000));
    QCOMPARE(plugInAndFinish(process, output).code, 0);
    QCOMPARE(m_machine.hal.calls("FindDeviceByCapability"_s).size(), 1);
}

void DetectTest::interrupted_data()
{
    QTest::addColumn<QString>("method"); ///< that is not answered
    QTest::newRow("while it is called") << "FindDeviceByCapability"_s;
    QTest::newRow("while a device is looked at") << "GetProperty"_s;
}

void DetectTest::interrupted()
{
    QFETCH(QString, method);
    addModem();
    m_machine.hal.setBehaviour(FakeHal::Hang, method);
    QProcess process;
    Machine::start(process, arguments());
    QVERIFY(m_machine.hal.waitForCalls(method == "GetProperty"_s ? 2 : 1, 20000));
    stop(process);
}

void DetectTest::interruptedWhileItStarts()
{
    m_machine.hal.stop();
    QProcess process;
    QByteArray output;
    Machine::start(process, arguments());
    QVERIFY(Machine::waitForOutput(process, output, notThereNote));
    Machine::installService("/bin/sh -c \"touch %1; exec sleep 100\""_s.arg(mark));
    QTRY_VERIFY_WITH_TIMEOUT(exists(mark), 10000);
    stop(process);
}

KESTRA_TEST_MAIN(DetectTest)
#include "detecttest.moc"
