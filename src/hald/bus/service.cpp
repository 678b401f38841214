// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "service.h"

#include "log.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusError>

#include <cerrno>
#include <cstring>

namespace Hald {

namespace {

constexpr int reconnectInterval = 1000; // ms
constexpr int leaveTimeout = 5000; // ms; a bus that hangs must not hold up the end for long

const QString serviceName = QStringLiteral("org.freedesktop.Hal");
const QString connectionName = QStringLiteral("kestra-hald");

/**
 * Waits until the thread of the bus knows the names of our connection. It keeps them in a list that
 * every call reads without a lock. To listen to a service it asks the bus for its owner, so what
 * the bus told before has come in, and the end of the receiver waits until that is dealt with.
 */
void settle(QDBusConnection bus)
{
    QObject receiver;
    bus.connect(serviceName, QStringLiteral("/"), serviceName, QStringLiteral("Settled"), &receiver,
                SIGNAL(objectNameChanged(QString)));
}

void quit(ExitCode code) { QCoreApplication::exit(int(code)); }

}

Service::Service(const Options &options)
    : m_options(options)
    , m_callers(options.idleExit)
    , m_manager(m_devices, m_callers)
    , m_deviceObjects(m_devices, m_callers)
{
    connect(&m_callers, &Callers::idle, this, &Service::leaveWhenIdle);
    m_reconnectTimer.setInterval(reconnectInterval);
    connect(&m_reconnectTimer, &QTimer::timeout, this, &Service::reconnect);
}

// The connection closes with the process. Closed here, the thread of the bus would still have to
// let go of our objects when they are gone.
Service::~Service() { giveUpName(); }

QDBusConnection Service::connection() const { return QDBusConnection(connectionName); }

ExitCode Service::start()
{
    if (!m_devices.start()) {
        qCCritical(hald).noquote() << "udev cannot be listened to:" << std::strerror(errno);
        return ExitCode::NoUdev;
    }
    const ExitCode code = connectToBus();
    if (code == ExitCode::Success)
        qCInfo(hald) << "Ready; devices that are here already:" << m_devices.count();
    return code;
}

ExitCode Service::connectToBus()
{
    QDBusConnection bus = QDBusConnection::connectToBus(
        m_options.session ? QDBusConnection::SessionBus : QDBusConnection::SystemBus,
        connectionName);
    if (!bus.isConnected())
        return explainAbsence();
    settle(bus);
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                SLOT(disconnected()));
    m_callers.follow(bus);
    m_manager.serve(bus);
    m_deviceObjects.serve(bus);
    return takeName();
}

ExitCode Service::takeName()
{
    const auto whenTaken = m_options.replace ? QDBusConnectionInterface::ReplaceExistingService
                                             : QDBusConnectionInterface::DontQueueService;
    QDBusConnectionInterface *const bus = connection().interface();
    const auto reply =
        bus->registerService(serviceName, whenTaken, QDBusConnectionInterface::AllowReplacement);
    if (!reply.isValid())
        return explainRefusal(reply.error());
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered)
        return explainOwner();
    connect(bus, &QDBusConnectionInterface::serviceUnregistered, this, &Service::nameLost,
            Qt::UniqueConnection);
    return ExitCode::Success;
}

ExitCode Service::explainAbsence() const
{
    if (!m_reconnectTimer.isActive())
        qCCritical(hald).noquote()
            << (m_options.session ? "The session bus cannot be reached; see whether "
                                    "DBUS_SESSION_BUS_ADDRESS is right:"
                                  : "The system bus cannot be reached; start the service dbus:")
            << connection().lastError().message();
    return ExitCode::NoBus;
}

ExitCode Service::explainRefusal(const QDBusError &error) const
{
    if (error.type() != QDBusError::AccessDenied) {
        qCCritical(hald).noquote() << "The message bus cannot be used:" << error.message();
        return ExitCode::NoBus;
    }
    qCCritical(hald).noquote().nospace()
        << "This user may not own the name " << serviceName
        << " on the message bus; run kestra-hald as the user kestra-hald (" << error.message()
        << ").";
    return ExitCode::NameRefused;
}

ExitCode Service::explainOwner() const
{
    const uint pid = connection().interface()->servicePid(serviceName);
    qCCritical(hald).noquote().nospace()
        << "The name " << serviceName << " is taken by the process " << pid << "; "
        << (m_options.replace ? "it does not give it up, so stop that program first."
                              : "stop that program first, or replace it with --replace if it is a "
                                "kestra-hald.");
    return ExitCode::NameTaken;
}

bool Service::ownsName() const
{
    return connection().interface()->serviceOwner(serviceName) == connection().baseService();
}

void Service::nameLost(const QString &name)
{
    // The word of a name that was given up by giveUpName() may come when it is taken again.
    if (name != serviceName || m_isLeaving || ownsName())
        return;
    qCInfo(hald) << "Another program has taken the name over; leaving.";
    quit(ExitCode::Success);
}

/** Nothing that is asked meanwhile gets lost: who calls later has the next service started. */
void Service::giveUpName()
{
    QDBusConnectionInterface *const bus = connection().interface();
    if (!bus)
        return;
    m_isLeaving = true;
    bus->setTimeout(leaveTimeout);
    bus->unregisterService(serviceName);
    QCoreApplication::processEvents(); // calls that came before that
    m_isLeaving = false;
}

void Service::leaveWhenIdle()
{
    giveUpName();
    if (m_callers.isEmpty()) {
        qCInfo(hald) << "Nobody needs this service; leaving until it is called again.";
        quit(ExitCode::Success);
        return;
    }
    const ExitCode code = takeName();
    if (code != ExitCode::Success)
        quit(code);
}

void Service::disconnected()
{
    if (m_options.idleExit > 0) {
        qCInfo(hald) << "The message bus has gone away; leaving until the next one calls.";
        quit(ExitCode::Success);
        return;
    }
    qCWarning(hald) << "The message bus has gone away; waiting for it to come back.";
    m_reconnectTimer.start();
}

void Service::reconnect()
{
    QDBusConnection::disconnectFromBus(connectionName);
    const ExitCode code = connectToBus();
    if (code == ExitCode::NoBus)
        return;
    m_reconnectTimer.stop();
    if (code == ExitCode::Success)
        qCInfo(hald) << "The message bus is back.";
    else
        quit(code);
}

}
