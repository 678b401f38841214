// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_SERVICE_H
#define KESTRA_HALD_SERVICE_H

#include "callers.h"
#include "deviceobjects.h"
#include "devices/devicelist.h"
#include "exitcodes.h"
#include "manager.h"
#include "options.h"

#include <QObject>
#include <QTimer>

class QDBusError;

namespace Hald {

/** The service: the devices, their objects on the bus, and the name under which they are found. */
class Service : public QObject
{
    Q_OBJECT

public:
    explicit Service(const Options &options);
    ~Service() override;

    /** Says so in the log if it does not succeed. */
    ExitCode start();

private Q_SLOTS:
    void disconnected();

private:
    ExitCode connectToBus();
    ExitCode takeName();
    ExitCode explainAbsence() const;
    ExitCode explainRefusal(const QDBusError &error) const;
    ExitCode explainOwner() const;
    bool ownsName() const;
    void nameLost(const QString &name);
    void giveUpName();
    void leaveWhenIdle();
    void reconnect();
    QDBusConnection connection() const;

    const Options m_options;
    DeviceList m_devices;
    Callers m_callers;
    Manager m_manager;
    DeviceObjects m_deviceObjects;
    QTimer m_reconnectTimer;
    bool m_isLeaving = false;
};

}

#endif
