// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "haliface.h"

#include <QDBusConnection>

QDBusInterface hal_iface(QStringLiteral("org.freedesktop.Hal"),
                         QStringLiteral("/org/freedesktop/Hal/Manager"),
                         QStringLiteral("org.freedesktop.Hal.Manager"),
                         QDBusConnection::systemBus());
