// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "describe.h"

namespace Hald {

std::optional<Description> describe(const UdevDevice &device)
{
    auto description = describeUsbDevice(device);
    if (!description)
        description = describeDisc(device);
    if (!description)
        return {};
    // What every device has.
    description->properties.insert({
        {QStringLiteral("info.capabilities"), description->capabilities},
        {QStringLiteral("info.subsystem"), description->capabilities.constFirst()},
        {QStringLiteral("linux.sysfs_path"), device.sysfsPath()},
    });
    return description;
}

}
