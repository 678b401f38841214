// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "manager.h"

#include "devices/devicelist.h"

namespace Hald {

namespace {

constexpr char managerInterface[] = "org.freedesktop.Hal.Manager";
constexpr char ownInterface[] = "org.kestra.Hald1";

const QString path = QStringLiteral("/org/freedesktop/Hal/Manager");

QString firstArgument(const QDBusMessage &call) { return call.arguments().constFirst().toString(); }

bool isAny(const Device &) { return true; }

}

Manager::Manager(const DeviceList &devices, Callers &callers)
    : BusObject(callers)
    , m_devices(devices)
    , m_methods({
          {managerInterface, "GetAllDevices", "",
           [this](const QDBusMessage &call) { return getAllDevices(call); }},
          {managerInterface, "DeviceExists", "s",
           [this](const QDBusMessage &call) { return deviceExists(call); }},
          {managerInterface, "FindDeviceByCapability", "s",
           [this](const QDBusMessage &call) { return findDeviceByCapability(call); }},
          {managerInterface, "FindDeviceStringMatch", "ss",
           [this](const QDBusMessage &call) { return findDeviceStringMatch(call); }},
          {ownInterface, "Reannounce", "s",
           [this](const QDBusMessage &call) { return reannounce(call); }},
      })
    , m_connection(QString())
{
    connect(&devices, &DeviceList::added, this,
            [this](const QString &udi) { announce("DeviceAdded", udi); });
    connect(&devices, &DeviceList::removed, this,
            [this](const QString &udi) { announce("DeviceRemoved", udi); });
}

bool Manager::serve(const QDBusConnection &connection)
{
    m_connection = connection;
    return m_connection.registerVirtualObject(path, this);
}

QString Manager::introspect(const QString &) const
{
    return interfaceDescription(QLatin1String(managerInterface))
        + interfaceDescription(QLatin1String(ownInterface));
}

QDBusMessage Manager::getAllDevices(const QDBusMessage &call) const
{
    return call.createReply(m_devices.find(isAny));
}

QDBusMessage Manager::deviceExists(const QDBusMessage &call) const
{
    return call.createReply(m_devices.find(firstArgument(call)) != nullptr);
}

QDBusMessage Manager::findDeviceByCapability(const QDBusMessage &call) const
{
    const QString capability = firstArgument(call);
    return call.createReply(
        m_devices.find([&](const Device &device) { return device.hasCapability(capability); }));
}

QDBusMessage Manager::findDeviceStringMatch(const QDBusMessage &call) const
{
    const QString key = firstArgument(call);
    const QVariant value = call.arguments().constLast();
    return call.createReply(m_devices.find([&](const Device &device) {
        const QVariant own = device.property(key);
        return own.userType() == QMetaType::QString && own == value;
    }));
}

QDBusMessage Manager::reannounce(const QDBusMessage &call) const
{
    const QString capability = firstArgument(call);
    const QStringList udis = m_devices.find([&](const Device &device) {
        return capability.isEmpty() || device.hasCapability(capability);
    });
    for (const QString &udi : udis) {
        QDBusMessage signal = QDBusMessage::createTargetedSignal(
            call.service(), path, QLatin1String(managerInterface), QStringLiteral("DeviceAdded"));
        m_connection.send(signal << udi);
    }
    return call.createReply();
}

void Manager::announce(const char *signal, const QString &udi) const
{
    QDBusMessage message =
        QDBusMessage::createSignal(path, QLatin1String(managerInterface), QLatin1String(signal));
    m_connection.send(message << udi);
}

}
