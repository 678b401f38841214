// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Holds a record lock on the whole file named by its argument until its standard input ends. Writes
// "locked" and a newline when it has the lock. With "--test" it does not wait: it exits with 0 if
// the lock is free and with 1 if another process holds it.

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

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
        return fcntl(fd, F_GETLK, &lock) != 0 ? 2 : lock.l_type == F_UNLCK ? 0 : 1;
    if (fcntl(fd, F_SETLK, &lock) != 0)
        return 1;
    char byte;
    return write(STDOUT_FILENO, "locked\n", 7) == 7 && read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 2;
}
