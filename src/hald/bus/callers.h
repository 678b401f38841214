// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_CALLERS_H
#define KESTRA_HALD_CALLERS_H

#include <QDBusConnection>
#include <QObject>
#include <QSet>
#include <QTimer>

namespace Hald {

/** The connections that have called the service and are still on the bus. */
class Callers : public QObject
{
    Q_OBJECT

public:
    /** @param idleTime how long nobody may be there before idle(), in seconds; 0 is for ever */
    explicit Callers(int idleTime);

    /** Follows the connections of this bus from now on; nobody has called yet. */
    void follow(QDBusConnection &connection);

    void add(const QString &caller);
    bool isEmpty() const { return m_callers.isEmpty(); }

Q_SIGNALS:
    void idle();

private Q_SLOTS:
    void ownerChanged(const QString &name, const QString &oldOwner, const QString &newOwner);

private:
    void restartTimer();

    QSet<QString> m_callers; ///< unique names
    QTimer m_timer;
};

}

#endif
