// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_UDEVDEVICE_H
#define KESTRA_HALD_UDEVDEVICE_H

#include <QString>

#include <libudev.h>

#include <memory>
#include <sys/types.h>

namespace Hald {

/** A device of udev, at the time of an event or of a scan. A text is empty when there is none. */
class UdevDevice
{
public:
    /** Takes over the reference. */
    explicit UdevDevice(udev_device *device);

    explicit operator bool() const { return bool(m_device); }

    QString action() const; ///< empty in a scan
    QString subsystem() const;
    QString type() const;
    QString sysfsPath() const;
    QString sysfsName() const;
    QString node() const;
    dev_t number() const;

    /** Whether udev has done all of its work on the device. */
    bool isInitialized() const;

    /** What udev knows; in an event this is how things were when the event was made. */
    QString property(const char *name) const;

    /** What sysfs says now: nothing if the device has gone in the meantime. */
    QString attribute(const char *name) const;

private:
    struct Unref
    {
        void operator()(udev_device *device) const { udev_device_unref(device); }
    };

    std::unique_ptr<udev_device, Unref> m_device;
};

/** Undoes the "\x20" in those properties of udev whose names end in _ENC. */
QString decoded(const QString &encoded);

}

#endif
