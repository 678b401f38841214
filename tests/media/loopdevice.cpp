// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "loopdevice.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace KestraTest {

LoopDevice::LoopDevice(const QString &image)
{
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    const int file = open(QFile::encodeName(image).constData(), O_RDWR | O_CLOEXEC);
    bool taken = true; // by another process, after the kernel has told us that it is free
    while (control >= 0 && file >= 0 && m_path.isEmpty() && taken) {
        const QString path = QStringLiteral("/dev/loop%1").arg(ioctl(control, LOOP_CTL_GET_FREE));
        m_fd = open(QFile::encodeName(path).constData(), O_RDWR | O_CLOEXEC);
        loop_config config = {};
        config.fd = static_cast<__u32>(file);
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (m_fd >= 0 && ioctl(m_fd, LOOP_CONFIGURE, &config) == 0) {
            m_path = path;
        } else {
            taken = m_fd >= 0 && errno == EBUSY;
            close(m_fd);
        }
    }
    close(file);
    close(control);
}

LoopDevice::~LoopDevice()
{
    if (!m_path.isEmpty())
        close(m_fd);
}

}
