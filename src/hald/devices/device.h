// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_DEVICE_H
#define KESTRA_HALD_DEVICE_H

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>
#include <sys/types.h>

namespace Hald {

/** What there is to say of a device. */
struct Description
{
    QString name; ///< what its udi is made from; may hold any character
    QString appearance; ///< differs when another device or disc has taken the same place
    QStringList capabilities; ///< the first one is its subsystem
    QVariantMap properties; ///< of the types int, bool, QString and QStringList
    std::optional<dev_t> mountable; ///< the block device that has a mount state, too
    bool isPreliminary = false; ///< udev may be about to find out more
};

/** A device that can be asked for its properties. */
class Device
{
public:
    Device(const QString &udi, const Description &description);

    /** The unique device identifier, which is its object path on the bus. */
    QString udi() const { return m_udi; }
    QString appearance() const { return m_description.appearance; }
    void setDescription(const Description &description);

    bool hasCapability(const QString &capability) const;

    /** The value now, invalid if there is no such property. */
    QVariant property(const QString &key) const;

    /** All values now. */
    QVariantMap properties() const;

private:
    QString m_udi;
    Description m_description;
};

}

#endif
