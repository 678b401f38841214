// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "callers.h"

namespace Hald {

Callers::Callers(int idleTime)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(idleTime * 1000);
    connect(&m_timer, &QTimer::timeout, this, &Callers::idle);
}

void Callers::follow(QDBusConnection &connection)
{
    m_callers.clear();
    restartTimer();
    // One subscription for all that leave, made before the first call can come: a caller that is
    // gone at once is not missed.
    connection.connect(QStringLiteral("org.freedesktop.DBus"),
                       QStringLiteral("/org/freedesktop/DBus"),
                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                       {QString(), QString(), QStringLiteral("")}, QString(), this,
                       SLOT(ownerChanged(QString, QString, QString)));
}

void Callers::add(const QString &caller)
{
    m_callers.insert(caller);
    m_timer.stop();
}

void Callers::ownerChanged(const QString &name, const QString &, const QString &newOwner)
{
    if (newOwner.isEmpty() && m_callers.remove(name) && m_callers.isEmpty())
        restartTimer();
}

void Callers::restartTimer()
{
    if (m_timer.interval() > 0)
        m_timer.start();
}

}
