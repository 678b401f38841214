// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "session.h"
#include "stages.h"

#include <kestra/modem/modemmanager.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>

namespace Setup {

namespace {

constexpr int pollInterval = 250; // ms

/** Returns whether the hardware service runs. Also makes sure that the bus knows our subscription.
 */
bool hardwareServiceRuns()
{
    QDBusConnectionInterface *const bus = QDBusConnection::systemBus().interface();
    return bus && bus->isServiceRegistered(QStringLiteral("org.freedesktop.Hal"));
}

}

Outcome detectModem(Session &session)
{
    ModemManager manager;
    bool found = false;
    QObject::connect(&manager, &ModemManager::foundModem, [&found] { found = true; });
    manager.connectToDBus();
    if (!hardwareServiceRuns())
        session.frontend.note(QStringLiteral(
            "The hardware service (org.freedesktop.Hal) does not run yet; modems are seen as soon "
            "as it does."));
    session.frontend.note(
        QStringLiteral("Waiting for a modem to be plugged in (one that is already "
                       "plugged in: unplug it first)"));

    const qint64 limit = session.settings.modemTimeout * qint64(1000);
    QElapsedTimer time;
    time.start();
    while (!found) {
        if (!QDBusConnection::systemBus().isConnected())
            return Outcome::failed(ExitCode::NoBus,
                                   QStringLiteral("The system message bus has gone away."),
                                   QStringLiteral("Start the service dbus, then start again."));
        if (limit > 0 && time.hasExpired(limit))
            return Outcome::failed(
                ExitCode::NoModem,
                QStringLiteral("No supported modem was plugged in within %1 seconds.")
                    .arg(session.settings.modemTimeout),
                QStringLiteral("Unplug the modem, start again and plug it in when asked to."));
        if (!session.pause(pollInterval))
            return Outcome::interrupted();
    }

    session.modem = {manager.getModemName(), manager.getDriverName(), manager.getDriverVersion()};
    if (session.modem.driverVersion.isEmpty())
        session.modem.driverVersion = QStringLiteral("default");
    return Outcome::done(
        QStringLiteral("%1, driver %2, version %3")
            .arg(session.modem.name, session.modem.driver, session.modem.driverVersion));
}

}
