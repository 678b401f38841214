// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Has the same global object as the library, and nothing else.

#include <QDBusConnection>
#include <QDBusInterface>

QDBusInterface hal_iface(QStringLiteral("org.freedesktop.Hal"),
                         QStringLiteral("/org/freedesktop/Hal/Manager"),
                         QStringLiteral("org.freedesktop.Hal.Manager"),
                         QDBusConnection::systemBus());

int main() { return 0; }
