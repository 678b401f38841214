// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_HALDEVICE_P_H
#define KESTRA_FOUNDATION_HALDEVICE_P_H

#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QString>

#include <optional>

namespace Kestra::Private {

/** A device of the hardware daemon, made for the duration of one method. */
class HalDevice
{
public:
    /**
     * @param udi identifier of the device and path of its object. What is no object path would
     *        abort the process inside libdbus; such a device knows no property.
     */
    explicit HalDevice(const QString &udi);

    /** Asks for a property. The reply is invalid when it has another type. */
    template<typename Type>
    QDBusReply<Type> property(const char *name)
    {
        return getProperty(QString::fromLatin1(name));
    }

private:
    QDBusMessage getProperty(const QString &name);

    std::optional<QDBusInterface> m_interface;
};

}

#endif
