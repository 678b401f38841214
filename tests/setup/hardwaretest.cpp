// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "machine.h"
#include "testmain.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <csignal>

using namespace KestraTest;

using Changes = QMap<QString, QString>;

namespace {

const QByteArray waiting = "    Waiting for a modem to be plugged in\n";
const QByteArray takenAlready = "    Plugged in already: Sagem F@st 800 E4\n";
const QByteArray found = "): Sagem F@st 800 E4, driver ueagle-atm, version default\n";

/** The USB port of a pretended machine, which has a hub; only kestra-hald sees it. */
class UsbPort
{
public:
    UsbPort()
    {
        m_process.start("umockdev-wrapper"_s, {QStringLiteral(KESTRA_USB_MODEM)});
        m_machine = readLine();
        if (m_machine.isEmpty())
            qFatal("there are no pretended devices: %s",
                   m_process.readAllStandardError().constData());
    }

    ~UsbPort()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    /** @param action "plug" or "unplug" */
    void tell(const QByteArray &action)
    {
        m_process.write(action + '\n');
        if (readLine() != action)
            qFatal("%s failed: %s", action.constData(),
                   m_process.readAllStandardError().constData());
    }

    /** The bus starts it when it is called. */
    void installHardwareService(int idleExit) const
    {
        // Sanitizers want to be first, which the library of the pretended devices must be.
        Machine::installService(
            "/usr/bin/env LD_PRELOAD=libumockdev-preload.so.0 UMOCKDEV_DIR=%1 "
            "ASAN_OPTIONS=verify_asan_link_order=0 \"%2\" --idle-exit %3"_s
                .arg(QString::fromLocal8Bit(m_machine), QStringLiteral(KESTRA_HALD_PROGRAM))
                .arg(idleExit));
    }

private:
    QByteArray readLine()
    {
        while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) { }
        return m_process.readLine().trimmed();
    }

    QProcess m_process;
    QByteArray m_machine;
};

/** The process of the hardware service, 0 if there is none. */
pid_t serviceProcess()
{
    return pid_t(
        QDBusConnection::systemBus().interface()->servicePid("org.freedesktop.Hal"_s).value());
}

}

/** kestra-setup and kestra-hald together. */
class HardwareTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void pluggedIn();
    void pluggedInAlready();
    void pluggedInAgain();
    void theServiceStaysWhileItIsNeeded();
    void theServiceDies();
    void pluggedInWhileTheServiceIsDead();

private:
    void start(Changes changes = {});
    bool waitFor(const QByteArray &text)
    {
        return Machine::waitForOutput(*m_process, m_output, text, 30000);
    }

    Machine m_machine;
    std::unique_ptr<UsbPort> m_port;
    std::unique_ptr<QProcess> m_process;
    QByteArray m_output;
};

void HardwareTest::init()
{
    m_machine.hal.stop();
    m_machine.reset();
    m_port = std::make_unique<UsbPort>();
    m_port->installHardwareService(60);
    m_output.clear();
}

void HardwareTest::cleanup()
{
    if (m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished();
    }
    m_port.reset();
    if (const pid_t process = serviceProcess()) {
        ::kill(process, SIGKILL);
        QTRY_COMPARE_WITH_TIMEOUT(serviceProcess(), 0, 10000);
    }
}

void HardwareTest::start(Changes changes)
{
    for (const char *option : {"--no-driver", "--no-boot", "--no-dns"})
        changes.insert(QString::fromLatin1(option), "-"_s);
    changes.insert("--driver-bundle"_s, QString());
    m_process = std::make_unique<QProcess>();
    Machine::start(*m_process, Machine::arguments(changes));
}

void HardwareTest::pluggedIn()
{
    start();
    QVERIFY2(waitFor(waiting), m_output.constData());
    QVERIFY2(!m_output.contains("The hardware service"), m_output.constData());
    m_port->tell("plug");
    QVERIFY2(waitFor(found), m_output.constData());
    QCOMPARE(Machine::finish(*m_process).code, 0);
}

void HardwareTest::pluggedInAlready()
{
    m_port->tell("plug");
    start();
    QVERIFY2(waitFor(found), m_output.constData());
    QVERIFY2(m_output.contains(takenAlready), m_output.constData());
    QVERIFY2(!m_output.contains(waiting), m_output.constData());
}

/** A modem that the user did not want at first. */
void HardwareTest::pluggedInAgain()
{
    m_port->tell("plug");
    start({{"--unattended"_s, QString()}});
    QVERIFY2(waitFor("take it (yes or no): "), m_output.constData());
    m_process->write("no\n");
    QVERIFY2(waitFor(waiting), m_output.constData());
    m_port->tell("unplug");
    m_port->tell("plug");
    QVERIFY2(waitFor(found), m_output.constData());
}

void HardwareTest::theServiceStaysWhileItIsNeeded()
{
    m_port->installHardwareService(1);
    start();
    QVERIFY2(waitFor(waiting), m_output.constData());
    const pid_t process = serviceProcess();
    QVERIFY(process != 0);
    QTest::qWait(3000);
    QCOMPARE(serviceProcess(), process);
    m_process->terminate();
    QCOMPARE(Machine::finish(*m_process).code, 130);
    QTRY_COMPARE_WITH_TIMEOUT(serviceProcess(), 0, 10000);
}

void HardwareTest::theServiceDies()
{
    start();
    QVERIFY2(waitFor(waiting), m_output.constData());
    const pid_t process = serviceProcess();
    ::kill(process, SIGKILL);
    QTRY_VERIFY_WITH_TIMEOUT(serviceProcess() != 0 && serviceProcess() != process, 10000);
    m_port->tell("plug");
    QVERIFY2(waitFor(found), m_output.constData());
}

/** Nobody announces it then. */
void HardwareTest::pluggedInWhileTheServiceIsDead()
{
    start();
    QVERIFY2(waitFor(waiting), m_output.constData());
    const pid_t process = serviceProcess();
    ::kill(process, SIGSTOP);
    m_port->tell("plug");
    ::kill(process, SIGKILL);
    QVERIFY2(waitFor(found), m_output.constData());
    QVERIFY2(m_output.contains(takenAlready), m_output.constData());
}

KESTRA_TEST_MAIN(HardwareTest)
#include "hardwaretest.moc"
