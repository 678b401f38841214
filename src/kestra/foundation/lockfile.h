// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_LOCKFILE_H
#define KESTRA_FOUNDATION_LOCKFILE_H

#include <kestra/foundation/export.h>

#include <QString>

/**
 * @file
 * An exclusive lock on a file between processes (a POSIX record lock).
 *
 * Failures are explained by debug lines. None of the functions waits for another process.
 */

/**
 * Creates or truncates the file @p path with mode 0640 and locks it.
 *
 * The lock lasts until unlockFile(), or until the process closes any descriptor of the file. It is
 * held per process: a second call from the same process succeeds. Programs started later do not
 * inherit the descriptor.
 *
 * @return a descriptor to keep while the lock is wanted. Where the file system is read-only or
 * knows no locks it is a duplicate of standard input, so that the caller goes on as if it held the
 * lock. -1 when no lock is held: with `errno` set to `EPERM` the file could not be opened,
 * otherwise another process holds the lock. The file is truncated even then.
 */
KESTRA_EXPORT int lockFile(const QString &path);

/**
 * Releases the lock of @p fd and closes it; the file stays.
 *
 * @return the result of `close()`: 0, or -1 with `errno` set
 */
KESTRA_EXPORT int unlockFile(int fd);

/** Sets (@p on) or clears the close-on-exec flag of the descriptor @p fd. */
KESTRA_EXPORT void setCloseExec(int fd, bool on);

#endif
