// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The program behind StandInTool: what to do and where to write the calls down is in the directory
// named after its executable, with ".d" added.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string read(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

int readNumber(const fs::path &path) { return std::stoi(read(path)); }

void write(const fs::path &path, const std::string &content)
{
    std::ofstream(path, std::ios::binary) << content;
}

void record(const fs::path &calls, char **argv)
{
    fs::path call;
    for (int number = 1; call.empty() || !fs::create_directory(call); ++number)
        call = calls / std::to_string(number);

    std::string arguments, environment;
    for (; *argv; ++argv)
        arguments += std::string(*argv) + '\0';
    for (char **entry = environ; *entry; ++entry)
        environment += std::string(*entry) + '\0';
    write(call / "arguments", arguments);
    write(call / "environment", environment);
    std::error_code error;
    write(call / "cwd", fs::current_path(error).string());
    write(call / "pid", std::to_string(getpid()));
    write(call / "complete", "");
}

std::string hex(const std::string &text)
{
    std::string result;
    for (const unsigned char byte : text) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        result += digits;
    }
    return result;
}

fs::path chooseBehaviour(const fs::path &home, char **argv)
{
    for (char **argument = argv + 1; *argument; ++argument) {
        const fs::path behaviour = home / ("argument-" + hex(*argument));
        if (fs::exists(behaviour))
            return behaviour;
    }
    for (int number = 1; fs::exists(home / ("next-" + std::to_string(number))); ++number) {
        const fs::path behaviour = home / ("next-" + std::to_string(number));
        if (fs::create_directory(behaviour / "used"))
            return behaviour;
    }
    return home / "default";
}

void put(int fd, const std::string &text)
{
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(fd, text.data() + written, text.size() - written);
        if (count < 0)
            return;
        written += static_cast<size_t>(count);
    }
}

void pause(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

int run(const std::string &script, char **argv)
{
    const pid_t child = fork();
    if (child == 0) {
        std::string shell = "/bin/sh", option = "-c", text = script;
        std::vector<char *> command = {shell.data(), option.data(), text.data()};
        for (; *argv; ++argv)
            command.push_back(*argv);
        command.push_back(nullptr);
        execv(command[0], command.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}

int main(int, char **argv)
{
    const fs::path home = fs::read_symlink("/proc/self/exe").string() + ".d";
    record(home / "calls", argv);
    const fs::path behaviour = chooseBehaviour(home, argv);

    pause(readNumber(behaviour / "before"));
    put(STDOUT_FILENO, read(behaviour / "output"));
    put(STDERR_FILENO, read(behaviour / "error"));
    int exitCode = readNumber(behaviour / "exit");
    const std::string script = read(behaviour / "script");
    if (!script.empty()) {
        const int scriptExitCode = run(script, argv);
        if (scriptExitCode != 0)
            exitCode = scriptExitCode;
    }
    pause(readNumber(behaviour / "after"));
    if (const int signal = readNumber(behaviour / "signal"))
        raise(signal);
    _exit(exitCode);
}
