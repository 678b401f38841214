// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_HARDWARESERVICE_H
#define KESTRA_SETUP_HARDWARESERVICE_H

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <optional>

namespace Setup {

/** The service that announces devices, on the system bus. */
class HardwareService
{
public:
    struct Problem
    {
        QString cause;
        QString remedy; ///< without a full stop
    };

    HardwareService();

    /** Whether it was not called yet, could not be, or has another process since. */
    bool isToBeCalled() const;

    /**
     * Asks it for the USB devices. This has the bus start it if need be, and it stays as long as
     * those who have called it are on the bus.
     */
    static QDBusPendingCall call();

    /** Takes the answer to call(). Returns the identifiers of the devices. */
    QStringList take(const QDBusMessage &answer);

    /** Asks whether a device is still there, and is one that numbers tell. */
    static QDBusPendingCall ask(const QString &udi);

    /** What was wrong with the last answer. */
    std::optional<Problem> problem() const { return m_problem; }

private:
    QDBusServiceWatcher m_watcher;
    std::optional<QString> m_owner; ///< the process on the bus, if there was a change
    QString m_answerer; ///< that of the last answer
    QElapsedTimer m_sinceAnswer;
    std::optional<Problem> m_problem;
};

}

#endif
