// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_LOOPDEVICE_H
#define KESTRATEST_LOOPDEVICE_H

#include <QString>

namespace KestraTest {

/**
 * A block device with the content of an image file, gone when the object and all mounts are gone.
 * The kernel sees to that, so that a test that dies leaves no device behind.
 */
class LoopDevice
{
public:
    explicit LoopDevice(const QString &image);
    ~LoopDevice();
    Q_DISABLE_COPY(LoopDevice)

    /** Returns the path of the device, empty when there are no loop devices for this process. */
    QString path() const { return m_path; }

private:
    QString m_path;
    int m_fd = -1;
};

}

#endif
