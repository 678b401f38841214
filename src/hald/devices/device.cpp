// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "device.h"

#include "mountstate.h"

namespace Hald {

Device::Device(const QString &udi, const Description &description) : m_udi(udi)
{
    setDescription(description);
}

void Device::setDescription(const Description &description)
{
    m_description = description;
    m_description.properties.insert(QStringLiteral("info.udi"), m_udi);
}

bool Device::hasCapability(const QString &capability) const
{
    return m_description.capabilities.contains(capability);
}

QVariant Device::property(const QString &key) const
{
    if (m_description.mountable && isMountProperty(key))
        return mountProperties(*m_description.mountable).value(key);
    return m_description.properties.value(key);
}

QVariantMap Device::properties() const
{
    QVariantMap result = m_description.properties;
    if (m_description.mountable) {
        const QVariantMap mount = mountProperties(*m_description.mountable);
        for (auto i = mount.begin(); i != mount.end(); ++i)
            result.insert(i.key(), i.value());
    }
    return result;
}

}
