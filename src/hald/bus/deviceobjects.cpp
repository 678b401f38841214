// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "deviceobjects.h"

#include "devices/devicelist.h"

namespace Hald {

namespace {

constexpr char deviceInterface[] = "org.freedesktop.Hal.Device";
constexpr char noSuchDevice[] = "org.freedesktop.Hal.NoSuchDevice";
constexpr char noSuchProperty[] = "org.freedesktop.Hal.NoSuchProperty";

const QString path = QStringLiteral("/org/freedesktop/Hal/devices");

QString firstArgument(const QDBusMessage &call) { return call.arguments().constFirst().toString(); }

QDBusMessage getProperty(const QDBusMessage &call, const Device &device)
{
    const QString key = firstArgument(call);
    const QVariant value = device.property(key);
    if (value.isValid())
        return call.createReply(value); // as the type that it is, not in a variant
    return call.createErrorReply(
        QLatin1String(noSuchProperty),
        QStringLiteral("No property %1 on device with id %2").arg(key, device.udi()));
}

QDBusMessage propertyExists(const QDBusMessage &call, const Device &device)
{
    return call.createReply(device.property(firstArgument(call)).isValid());
}

QDBusMessage queryCapability(const QDBusMessage &call, const Device &device)
{
    return call.createReply(device.hasCapability(firstArgument(call)));
}

QDBusMessage getAllProperties(const QDBusMessage &call, const Device &device)
{
    return call.createReply(QVariant(device.properties()));
}

}

DeviceObjects::DeviceObjects(const DeviceList &devices, Callers &callers)
    : BusObject(callers)
    , m_devices(devices)
    , m_methods({
          method("GetProperty", "s", getProperty),
          method("PropertyExists", "s", propertyExists),
          method("QueryCapability", "s", queryCapability),
          method("GetAllProperties", "", getAllProperties),
      })
{
}

bool DeviceObjects::serve(QDBusConnection connection)
{
    return connection.registerVirtualObject(path, this, QDBusConnection::SubPath);
}

QString DeviceObjects::introspect(const QString &path) const
{
    if (m_devices.find(path))
        return interfaceDescription(QLatin1String(deviceInterface));
    if (path != Hald::path)
        return {};
    QString children;
    const QStringList udis = m_devices.find([](const Device &) { return true; });
    for (const QString &udi : udis)
        children += QStringLiteral("<node name=\"%1\"/>\n").arg(udi.section(QLatin1Char('/'), -1));
    return children;
}

BusObject::Method DeviceObjects::method(const char *name, const char *signature,
                                        Answer answer) const
{
    return {deviceInterface, name, signature, [this, answer](const QDBusMessage &call) {
                if (const Device *device = m_devices.find(call.path()))
                    return answer(call, *device);
                return call.createErrorReply(
                    QLatin1String(noSuchDevice),
                    QStringLiteral("No device with id %1").arg(call.path()));
            }};
}

}
