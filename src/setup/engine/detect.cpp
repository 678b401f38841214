// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/text.h"
#include "base/translate.h"
#include "hardwareservice.h"
#include "question.h"
#include "session.h"
#include "stages.h"

#include <kestra/modem/modemmanager.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QElapsedTimer>
#include <QSet>

namespace Setup {

namespace {

constexpr int pollInterval = 250; // ms
constexpr int answerInterval = 10; // ms

/** Waits for a modem, or takes the one that is there. */
class Detection
{
public:
    explicit Detection(Session &session);

    Outcome run();

private:
    void lookAround();
    void look(const QStringList &udis);
    bool tryDevice(const QString &udi);
    bool isWanted(const QString &name);
    void take(const ModemManager &manager);

    bool isOver() const { return m_isFound || m_failure; }
    void rest(int milliseconds);
    QDBusMessage answerTo(const QDBusPendingCall &call);
    void tellOnce(const QString &text);
    Outcome noModem() const;

    Session &m_session;
    ModemManager m_manager;
    HardwareService m_service;
    QElapsedTimer m_time;
    QStringList m_told;
    QSet<QString> m_declined; ///< devices that the user does not want
    bool m_isFound = false;
    std::optional<Outcome> m_failure;
};

Detection::Detection(Session &session) : m_session(session)
{
    QObject::connect(&m_manager, &ModemManager::foundModem, [this] { take(m_manager); });
}

Outcome Detection::run()
{
    m_time.start();
    m_manager.connectToDBus();
    while (!isOver()) {
        if (m_service.isToBeCalled())
            lookAround();
        if (isOver())
            break;
        tellOnce(Text::tr("Waiting for a modem to be plugged in"));
        rest(pollInterval);
    }
    if (!m_isFound)
        return *m_failure;
    const Modem &modem = m_session.modem;
    return Outcome::done(
        Text::tr("%1, driver %2, version %3").arg(modem.name, modem.driver, modem.driverVersion));
}

/** A modem that was there before the service, or before us, is not announced. */
void Detection::lookAround()
{
    const QDBusMessage answer = answerTo(HardwareService::call());
    if (isOver())
        return;
    const QStringList udis = m_service.take(answer);
    if (const auto problem = m_service.problem())
        tellOnce(Text::tr("%1 %2; modems are seen as soon as it runs.")
                     .arg(problem->cause, problem->remedy));
    look(udis);
}

void Detection::look(const QStringList &udis)
{
    for (const QString &udi : udis) {
        if (isOver() || !tryDevice(udi))
            return;
    }
}

/** Returns false if there is no point in trying others. */
bool Detection::tryDevice(const QString &udi)
{
    if (m_declined.contains(udi) || udi == m_manager.getUDI()) // which settles still
        return true;
    // The library waits long for an answer, and nobody could interrupt that.
    const QDBusMessage answer = answerTo(HardwareService::ask(udi));
    if (answer.type() != QDBusMessage::ReplyMessage)
        return QDBusError(answer).type() != QDBusError::NoReply;

    // One for each device, as it remembers only the last one that it was told of.
    ModemManager manager;
    manager.deviceAdded(udi);
    manager.verifyDevice();
    if (!manager.getIsModemFound())
        return true;
    if (!isWanted(manager.getModemName())) {
        m_declined.insert(udi);
        return true;
    }
    manager.verifyDevice(); // the user may have taken a while to answer
    if (manager.getIsModemFound())
        take(manager);
    return true;
}

bool Detection::isWanted(const QString &name)
{
    if (m_session.settings.unattended) {
        m_session.frontend.note(Text::tr("Plugged in already: %1").arg(name));
        return true;
    }
    const auto ask = [&] {
        return m_session.frontend.askText(
            Text::tr("The modem %1 is plugged in already; take it (yes or no)").arg(name));
    };
    const auto fault = [](const QString &answer) -> std::optional<Outcome> {
        if (yesOrNo(answer))
            return std::nullopt;
        return Outcome::failed(ExitCode::Usage, Text::tr("Please answer yes or no."), {});
    };
    m_session.frontend.explain(
        Text::tr("With no, the set-up waits for another modem to be plugged in."));
    const auto answer = Setup::answerTo(m_session, {ask, fault, Outcome::interrupted()});
    return std::holds_alternative<QString>(answer) && *yesOrNo(std::get<QString>(answer));
}

void Detection::take(const ModemManager &manager)
{
    Modem &modem = m_session.modem;
    modem = {manager.getModemName(), manager.getDriverName(), manager.getDriverVersion()};
    if (modem.driverVersion.isEmpty())
        modem.driverVersion = QStringLiteral("default");
    m_isFound = true;
}

/** Lets events be handled, and sees whether there is a reason to stop. */
void Detection::rest(int milliseconds)
{
    const qint64 limit = m_session.settings.modemTimeout * qint64(1000);
    if (!m_session.pause(milliseconds))
        m_failure = Outcome::interrupted();
    else if (!QDBusConnection::systemBus().isConnected())
        m_failure =
            Outcome::failed(ExitCode::NoBus, Text::tr("The system message bus has gone away."),
                            Text::tr("Start the service dbus, then start again."));
    else if (limit > 0 && m_time.hasExpired(limit))
        m_failure = noModem();
}

/** Returns an invalid message if there is a reason to stop before there is an answer. */
QDBusMessage Detection::answerTo(const QDBusPendingCall &call)
{
    while (!call.isFinished() && !isOver())
        rest(answerInterval);
    return call.reply();
}

void Detection::tellOnce(const QString &text)
{
    if (m_told.contains(text))
        return;
    m_told.append(text);
    m_session.frontend.note(text);
}

Outcome Detection::noModem() const
{
    const QString sentence = Text::tr("No supported modem was plugged in within %1 seconds.")
                                 .arg(m_session.settings.modemTimeout);
    const auto problem = m_service.problem();
    if (problem)
        return Outcome::failed(ExitCode::NoModem, joined({sentence, problem->cause}),
                               Text::tr("%1, then start again.").arg(problem->remedy));
    return Outcome::failed(ExitCode::NoModem, sentence, Text::tr("Plug it in, then start again."));
}

/** No modem needs to be there when its driver is named. */
Outcome takeDriver(Session &session)
{
    const CatalogueEntry driver = findDriver(session.catalogue, session.settings.driver);
    if (!driver.name.isEmpty()) {
        session.modem = {driver.modems, driver.name, driver.version};
        return Outcome::done(
            Text::tr("driver %1, version %2, as given").arg(driver.name, driver.version));
    }
    QStringList names;
    for (const CatalogueEntry &known : session.catalogue.drivers)
        names.append(known.name);
    return Outcome::failed(
        ExitCode::Usage,
        Text::tr("The driver catalogue has no driver \"%1\".").arg(session.settings.driver),
        Text::tr("It has %1.").arg(names.join(QStringLiteral(", "))));
}

}

Outcome detectModem(Session &session)
{
    const Outcome outcome =
        session.settings.driver.isEmpty() ? Detection(session).run() : takeDriver(session);
    session.knownDriver = findDriver(session.catalogue, session.modem.driver);
    return outcome;
}

}
