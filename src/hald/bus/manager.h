// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_MANAGER_H
#define KESTRA_HALD_MANAGER_H

#include "busobject.h"

#include <QDBusConnection>

namespace Hald {

class DeviceList;

/** The manager, which knows the devices and announces those that come and go. */
class Manager : public BusObject
{
    Q_OBJECT

public:
    Manager(const DeviceList &devices, Callers &callers);

    /** Serves this connection from now on, instead of an earlier one. */
    bool serve(const QDBusConnection &connection);

    QString introspect(const QString &path) const override;

protected:
    const std::vector<Method> &methods() const override { return m_methods; }

private:
    QDBusMessage getAllDevices(const QDBusMessage &call) const;
    QDBusMessage deviceExists(const QDBusMessage &call) const;
    QDBusMessage findDeviceByCapability(const QDBusMessage &call) const;
    QDBusMessage findDeviceStringMatch(const QDBusMessage &call) const;
    QDBusMessage reannounce(const QDBusMessage &call) const;
    void announce(const char *signal, const QString &udi) const;

    const DeviceList &m_devices;
    const std::vector<Method> m_methods;
    QDBusConnection m_connection;
};

}

#endif
