// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// linewriter BYTES LINE-SIZE: writes that many bytes to standard output as fast as it can, in lines
// of that size with their newline.

#include <algorithm>
#include <string>

#include <unistd.h>

namespace {

void put(const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t count = write(STDOUT_FILENO, data, size);
        if (count < 0)
            _exit(1);
        data += count;
        size -= static_cast<size_t>(count);
    }
}

}

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    const std::string line = std::string(std::stoul(argv[2]) - 1, 'x') + '\n';
    std::string buffer;
    while (buffer.size() < 65536)
        buffer += line;
    for (size_t left = std::stoul(argv[1]); left > 0;) {
        const size_t size = std::min(left, buffer.size());
        put(buffer.data(), size);
        left -= size;
    }
    return 0;
}
