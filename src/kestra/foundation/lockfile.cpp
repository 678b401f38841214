// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "lockfile.h"

#include "debugline_p.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using Kestra::Private::debugLine;

namespace {

constexpr int standardInput = 0;

int setWholeFileLock(int fd, short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0; // to the end of the file, however long
    return fcntl(fd, F_SETLK, &lock);
}

}

int lockFile(const QString &path)
{
    errno = 0;
    const QByteArray name = path.toLocal8Bit();
    const int fd = open(name.constData(), O_RDWR | O_CREAT | O_TRUNC, 0640);
    if (fd < 0) {
        if (errno == EROFS) {
            debugLine("getFileLock(): Not using locking for read only lock file %s\n",
                      name.constData());
            return dup(standardInput);
        }
        debugLine("getFileLock(): Could not open lock file %s\n", name.constData());
        errno = EPERM;
        return -1;
    }

    setCloseExec(fd, true);
    if (setWholeFileLock(fd, F_WRLCK) == 0)
        return fd;

    if (errno == ENOLCK) {
        debugLine("getFileLock(): Not using locking for nfs mounted lock file %s\n",
                  name.constData());
        return dup(standardInput);
    }
    const int lockError = errno;
    debugLine("getFileLock(): Could not get lock: %s\n", name.constData());
    close(fd);
    errno = lockError;
    return -1;
}

int unlockFile(int fd)
{
    debugLine("unlockFile(): unlocking fd: %i\n", fd);
    if (setWholeFileLock(fd, F_UNLCK) != 0)
        debugLine("unlockFile(): fcntl unlock failed on fd %i: %s\n", fd, strerror(errno));
    const int result = close(fd);
    if (result != 0)
        debugLine("unlockFile(): lock file close failed on fd %i: %s\n", fd, strerror(errno));
    return result;
}

void setCloseExec(int fd, bool on)
{
    if (fcntl(fd, F_SETFD, on ? FD_CLOEXEC : 0) != 0)
        debugLine("getFileLock(): Could not set close on exec %s\n", strerror(errno));
}
