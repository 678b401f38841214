// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "describe.h"

namespace Hald {

namespace {

bool isSet(const UdevDevice &device, const char *property)
{
    return device.property(property) == QLatin1String("1");
}

QString label(const UdevDevice &device)
{
    // The plain property has blanks and other characters replaced.
    const QString encoded = device.property("ID_FS_LABEL_ENC");
    return encoded.isEmpty() ? device.property("ID_FS_LABEL") : decoded(encoded);
}

QString name(const UdevDevice &device)
{
    const QString uuid = device.property("ID_FS_UUID");
    if (!uuid.isEmpty())
        return QStringLiteral("volume_uuid_") + uuid;
    const QString text = label(device);
    if (!text.isEmpty())
        return QStringLiteral("volume_label_") + text;
    return QStringLiteral("volume_") + device.sysfsName();
}

}

std::optional<Description> describeDisc(const UdevDevice &device)
{
    if (device.subsystem() != QLatin1String("block") || !isSet(device, "ID_CDROM")
        || !isSet(device, "ID_CDROM_MEDIA"))
        return {};
    Description result;
    result.name = name(device);
    result.capabilities = QStringList {QStringLiteral("block"), QStringLiteral("volume"),
                                       QStringLiteral("volume.disc")};
    result.properties = {
        {QStringLiteral("block.device"), device.node()},
        {QStringLiteral("volume.label"), label(device)},
        {QStringLiteral("volume.fstype"), device.property("ID_FS_TYPE")},
        {QStringLiteral("volume.is_disc"), true},
    };
    result.appearance =
        QStringList {result.name, label(device), device.property("ID_FS_TYPE")}.join(
            QLatin1Char('\n'));
    result.mountable = device.number();
    // The first event after a change of discs often comes before udev has read the new one.
    result.isPreliminary = device.property("ID_FS_TYPE").isEmpty()
        && !device.property("ID_CDROM_MEDIA_TRACK_COUNT_DATA").isEmpty();
    return result;
}

}
