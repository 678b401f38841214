// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_DESCRIBE_H
#define KESTRA_HALD_DESCRIBE_H

#include "device.h"
#include "udev/udevdevice.h"

namespace Hald {

/** The first of these that knows the device; nothing for a device that nobody asks for. */
std::optional<Description> describe(const UdevDevice &device);

/** A USB device, not one of its interfaces. */
std::optional<Description> describeUsbDevice(const UdevDevice &device);

/** The disc in an optical drive; nothing for a drive without one. */
std::optional<Description> describeDisc(const UdevDevice &device);

}

#endif
