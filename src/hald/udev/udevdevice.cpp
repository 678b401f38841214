// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "udevdevice.h"

#include <QByteArray>

#include <cctype>

namespace Hald {

namespace {

/** Whether there is something like "\x20" at this place. */
bool isCode(const QByteArray &text, int place)
{
    return place + 3 < text.size() && text.at(place) == '\\' && text.at(place + 1) == 'x'
        && std::isxdigit(uchar(text.at(place + 2))) && std::isxdigit(uchar(text.at(place + 3)));
}

}

UdevDevice::UdevDevice(udev_device *device) : m_device(device) { }

QString UdevDevice::action() const
{
    return QString::fromUtf8(udev_device_get_action(m_device.get()));
}

QString UdevDevice::subsystem() const
{
    return QString::fromUtf8(udev_device_get_subsystem(m_device.get()));
}

QString UdevDevice::type() const
{
    return QString::fromUtf8(udev_device_get_devtype(m_device.get()));
}

QString UdevDevice::sysfsPath() const
{
    return QString::fromUtf8(udev_device_get_syspath(m_device.get()));
}

QString UdevDevice::sysfsName() const
{
    return QString::fromUtf8(udev_device_get_sysname(m_device.get()));
}

QString UdevDevice::node() const
{
    return QString::fromUtf8(udev_device_get_devnode(m_device.get()));
}

dev_t UdevDevice::number() const { return udev_device_get_devnum(m_device.get()); }

bool UdevDevice::isInitialized() const
{
    return udev_device_get_is_initialized(m_device.get()) > 0;
}

QString UdevDevice::property(const char *name) const
{
    return QString::fromUtf8(udev_device_get_property_value(m_device.get(), name));
}

QString UdevDevice::attribute(const char *name) const
{
    return QString::fromUtf8(udev_device_get_sysattr_value(m_device.get(), name));
}

QString decoded(const QString &encoded)
{
    const QByteArray text = encoded.toUtf8();
    QByteArray result;
    for (int i = 0; i < text.size(); ++i) {
        char byte = text.at(i);
        if (isCode(text, i)) {
            byte = QByteArray::fromHex(text.mid(i + 2, 2)).at(0);
            i += 3;
        }
        // A zero would end the string on the bus.
        if (byte != '\0')
            result += byte;
    }
    return QString::fromUtf8(result);
}

}
