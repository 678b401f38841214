// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_SYSTEMFILES_H
#define KESTRATEST_SYSTEMFILES_H

#include "files.h"

#include <QFile>

#include <sys/mount.h>

namespace KestraTest {

/**
 * Lets a file or a directory refuse to be written and to be removed while it exists, also for root
 * whom no mode stops.
 */
class ReadOnlyMount
{
public:
    explicit ReadOnlyMount(const QString &path) : m_path(QFile::encodeName(path))
    {
        // The flags of the file system come with a bind mount and may be locked.
        constexpr unsigned long flags = MS_BIND | MS_REMOUNT | MS_RDONLY;
        constexpr unsigned long inherited = MS_NOSUID | MS_NODEV;
        const char *const point = m_path.constData();
        if (mount(point, point, "", MS_BIND, nullptr) != 0
            || (mount("", point, "", flags, nullptr) != 0
                && mount("", point, "", flags | inherited, nullptr) != 0))
            qFatal("cannot mount %s read-only", point);
    }
    ~ReadOnlyMount() { umount2(m_path.constData(), MNT_DETACH); }
    Q_DISABLE_COPY(ReadOnlyMount)

private:
    QByteArray m_path;
};

/** The number of files that this process has open. */
inline int openFileCount() { return listDirectory(QStringLiteral("/proc/self/fd")).size(); }

}

#endif
