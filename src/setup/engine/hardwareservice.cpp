// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "hardwareservice.h"

#include "base/translate.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QObject>

namespace Setup {

namespace {

constexpr int startTime = 30000; // ms; longer than the bus waits for it, so that the bus says why
constexpr int answerTime = 5000; // ms
constexpr int restTime = 3000; // ms; one that never starts must not keep the machine busy

const QString service = QStringLiteral("org.freedesktop.Hal");

QDBusPendingCall asyncCall(const QString &path, const QString &interface, const QString &method,
                           const QString &argument, int timeout)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message << argument;
    return QDBusConnection::systemBus().asyncCall(message, timeout);
}

QString withoutStop(QString text)
{
    while (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

HardwareService::Problem problemOf(const QDBusMessage &answer)
{
    if (QDBusError(answer).type() == QDBusError::ServiceUnknown)
        return {Text::tr("The hardware service (%1) is not there.").arg(service),
                Text::tr("Install the package kestra-hald")};
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return {Text::tr("The system message bus cannot be reached: %1.")
                    .arg(withoutStop(bus.lastError().message())),
                Text::tr("Start the service dbus")};
    const QString why = withoutStop(answer.errorMessage());
    return {Text::tr("The hardware service (%1) does not start or does not answer: %2.")
                .arg(service, why),
            Text::tr("See what \"journalctl -u kestra-hald\" shows")};
}

}

HardwareService::HardwareService()
    : m_watcher(service, QDBusConnection::systemBus(), QDBusServiceWatcher::WatchForOwnerChange)
{
    QObject::connect(
        &m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, &m_watcher,
        [this](const QString &, const QString &, const QString &owner) { m_owner = owner; });
}

bool HardwareService::isToBeCalled() const
{
    if (!m_sinceAnswer.isValid())
        return true;
    const bool isAnother = m_owner && *m_owner != m_answerer;
    return (isAnother || m_problem) && m_sinceAnswer.hasExpired(restTime);
}

QDBusPendingCall HardwareService::call()
{
    return asyncCall(QStringLiteral("/org/freedesktop/Hal/Manager"),
                     QStringLiteral("org.freedesktop.Hal.Manager"),
                     QStringLiteral("FindDeviceByCapability"), QStringLiteral("usb_device"),
                     startTime);
}

QStringList HardwareService::take(const QDBusMessage &answer)
{
    m_sinceAnswer.start();
    m_answerer = answer.service();
    m_problem.reset();
    if (answer.type() != QDBusMessage::ReplyMessage) {
        m_problem = problemOf(answer);
        return {};
    }
    return answer.arguments().value(0).toStringList();
}

QDBusPendingCall HardwareService::ask(const QString &udi)
{
    return asyncCall(udi, QStringLiteral("org.freedesktop.Hal.Device"),
                     QStringLiteral("GetProperty"), QStringLiteral("usb_device.vendor_id"),
                     answerTime);
}

}
