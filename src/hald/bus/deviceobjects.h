// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_DEVICEOBJECTS_H
#define KESTRA_HALD_DEVICEOBJECTS_H

#include "busobject.h"

#include <QDBusConnection>

namespace Hald {

class Device;
class DeviceList;

/** All devices, each at the path that is its identifier. */
class DeviceObjects : public BusObject
{
    Q_OBJECT

public:
    DeviceObjects(const DeviceList &devices, Callers &callers);

    /** Serves this connection from now on, too. */
    bool serve(QDBusConnection connection);

    QString introspect(const QString &path) const override;

protected:
    const std::vector<Method> &methods() const override { return m_methods; }

private:
    using Answer = QDBusMessage (*)(const QDBusMessage &call, const Device &device);

    /** A method of a device, which must be there. */
    Method method(const char *name, const char *signature, Answer answer) const;

    const DeviceList &m_devices;
    const std::vector<Method> m_methods;
};

}

#endif
