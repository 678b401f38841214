// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A child for the tests of process runners. It does what its arguments say, one after the other:
//
//   out TEXT      writes to standard output in one piece; \n \r \0 \\ and \xHH are read as in C
//   err TEXT      writes to standard error in one piece
//   repeat N TEXT writes TEXT to standard output N times, as fast as it can, in large pieces
//   pieces N SIZE writes N pieces of SIZE times "x" to standard output, each in one piece
//   wait MS       waits
//   ignore        ignores SIGTERM and SIGINT
//   copy          copies standard input to standard output up to its end
//   variable NAME writes "NAME=value", or "NAME unset", and a newline
//   args          writes each argument that follows and a newline, and ends
//   close         closes standard output and standard error
//   signal N      ends itself by a signal
//   exit N        ends with this exit code, at once
//
// Its exit code is 0 unless it is told otherwise, and 99 when it does not understand.

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <signal.h>
#include <unistd.h>

namespace {

void put(int fd, const std::string &text)
{
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(fd, text.data() + written, text.size() - written);
        if (count < 0)
            _exit(98);
        written += static_cast<size_t>(count);
    }
}

std::string unescape(const char *text)
{
    std::string result;
    for (; *text; ++text) {
        if (*text != '\\') {
            result += *text;
            continue;
        }
        switch (*++text) {
        case 'n':
            result += '\n';
            break;
        case 'r':
            result += '\r';
            break;
        case '0':
            result += '\0';
            break;
        case '\\':
            result += '\\';
            break;
        case 'x':
            result += static_cast<char>(std::stoi(std::string(text + 1, 2), nullptr, 16));
            text += 2;
            break;
        default:
            _exit(99);
        }
    }
    return result;
}

void repeat(int count, const std::string &text)
{
    std::string piece;
    for (; count > 0; --count) {
        piece += text;
        if (piece.size() > 65536) {
            put(STDOUT_FILENO, piece);
            piece.clear();
        }
    }
    put(STDOUT_FILENO, piece);
}

void copyInput()
{
    char buffer[4096];
    for (ssize_t count; (count = read(STDIN_FILENO, buffer, sizeof buffer)) > 0;)
        put(STDOUT_FILENO, std::string(buffer, static_cast<size_t>(count)));
}

void putVariable(const char *name)
{
    const char *const value = getenv(name);
    put(STDOUT_FILENO, std::string(name) + (value ? '=' + std::string(value) : " unset") + '\n');
}

}

int main(int, char **argv)
{
    const auto next = [&argv] {
        if (!*argv)
            _exit(99);
        return *argv++;
    };
    for (++argv; *argv;) {
        const std::string verb = next();
        if (verb == "out") {
            put(STDOUT_FILENO, unescape(next()));
        } else if (verb == "err") {
            put(STDERR_FILENO, unescape(next()));
        } else if (verb == "repeat") {
            const int count = atoi(next());
            repeat(count, unescape(next()));
        } else if (verb == "pieces") {
            const int count = atoi(next());
            const std::string piece(static_cast<size_t>(atoi(next())), 'x');
            for (int i = 0; i < count; ++i)
                put(STDOUT_FILENO, piece);
        } else if (verb == "wait") {
            std::this_thread::sleep_for(std::chrono::milliseconds(atoi(next())));
        } else if (verb == "ignore") {
            signal(SIGTERM, SIG_IGN);
            signal(SIGINT, SIG_IGN);
        } else if (verb == "copy") {
            copyInput();
        } else if (verb == "variable") {
            putVariable(next());
        } else if (verb == "args") {
            while (*argv)
                put(STDOUT_FILENO, std::string(next()) + '\n');
        } else if (verb == "close") {
            close(STDOUT_FILENO);
            close(STDERR_FILENO);
        } else if (verb == "signal") {
            raise(atoi(next()));
        } else if (verb == "exit") {
            _exit(atoi(next()));
        } else {
            _exit(99);
        }
    }
    _exit(0);
}
