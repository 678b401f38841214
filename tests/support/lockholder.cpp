// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Holds a record lock on the whole file named by its argument until its standard input ends. Writes
// "locked" and a newline when it has the lock. With "--test" it only writes which lock of another
// process is in the way, "exclusive START LENGTH PID" or "shared ...", or "free".

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

int writeLockInTheWay(int fd, struct flock lock)
{
    if (fcntl(fd, F_GETLK, &lock) != 0)
        return 2;
    if (lock.l_type == F_UNLCK)
        return puts("free") < 0;
    return printf("%s %ld %ld %ld\n", lock.l_type == F_WRLCK ? "exclusive" : "shared",
                  static_cast<long>(lock.l_start), static_cast<long>(lock.l_len),
                  static_cast<long>(lock.l_pid))
        < 0;
}

}

int main(int argc, char **argv)
{
    const bool test = argc == 3 && strcmp(argv[1], "--test") == 0;
    const int fd = open(argv[argc - 1], O_RDWR);
    if (fd < 0)
        return 2;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (test)
        return writeLockInTheWay(fd, lock);
    if (fcntl(fd, F_SETLK, &lock) != 0)
        return 1;
    char byte;
    return write(STDOUT_FILENO, "locked\n", 7) == 7 && read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 2;
}
