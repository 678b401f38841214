// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "haldevice_p.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QRegularExpression>

namespace Kestra::Private {

namespace {

bool isObjectPath(const QString &text)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A/(?:[A-Za-z0-9_]+(?:/[A-Za-z0-9_]+)*)?\\z"));
    return pattern.match(text).hasMatch();
}

}

HalDevice::HalDevice(const QString &udi)
{
    if (isObjectPath(udi)) {
        m_interface.emplace(QStringLiteral("org.freedesktop.Hal"), udi,
                            QStringLiteral("org.freedesktop.Hal.Device"),
                            QDBusConnection::systemBus());
    }
}

QDBusMessage HalDevice::getProperty(const QString &name)
{
    if (!m_interface) {
        return QDBusMessage::createError(QDBusError::InvalidObjectPath,
                                         QStringLiteral("The device has no valid object path"));
    }
    return m_interface->call(QStringLiteral("GetProperty"), name);
}

}
