// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "haliface.h"

#include <QDBusConnection>

namespace {

const QString service = QStringLiteral("org.freedesktop.Hal");
const QString path = QStringLiteral("/org/freedesktop/Hal/Manager");
const QString interface = QStringLiteral("org.freedesktop.Hal.Manager");

/**
 * The system bus when its thread has learnt the names of our connection.
 *
 * Qt's thread of the bus appends them to a list as soon as the bus tells them, and every call reads
 * that list without a lock: a call at once after connecting crashed now and then. Listening to a
 * service makes the thread ask the bus for its owner, so what was told before has come in, and the
 * receiver's end waits until the thread has dealt with that.
 */
QDBusConnection settledSystemBus()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    QObject receiver;
    bus.connect(service, path, interface, QStringLiteral("DeviceAdded"), &receiver,
                SIGNAL(objectNameChanged(QString)));
    return bus;
}

}

QDBusInterface hal_iface(service, path, interface, settledSystemBus());
