// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "toolwatch.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>

namespace Setup {

namespace {

constexpr int unknown = -1;

// The library runs one tool after the other; one of them may have been left running.
constexpr int mostTools = 8;

/** For the signal handler, which may not allocate nor lock. */
struct Seen
{
    std::atomic<pid_t> pid = 0;
    std::atomic<int> code = unknown;
};

Seen seen[mostTools];
struct sigaction earlierAction;

/** Looks without taking: Qt is to learn of the end, too. Returns false when it has already. */
bool look(pid_t pid, siginfo_t *end)
{
    return ::waitid(P_PID, id_t(pid), end, WEXITED | WNOHANG | WNOWAIT | __WALL) == 0;
}

void lookAtAll()
{
    for (Seen &tool : seen) {
        siginfo_t end = {};
        const pid_t pid = tool.pid;
        if (pid == 0 || tool.code != unknown || !look(pid, &end) || end.si_pid != pid)
            continue;
        constexpr int signalBase = 128; // of a shell
        tool.code = end.si_code == CLD_EXITED ? end.si_status : signalBase + end.si_status;
    }
}

extern "C" void lookFirst(int signal, siginfo_t *info, void *context)
{
    const int error = errno;
    lookAtAll();
    errno = error;
    if (earlierAction.sa_flags & SA_SIGINFO)
        earlierAction.sa_sigaction(signal, info, context);
    else if (earlierAction.sa_handler != SIG_DFL && earlierAction.sa_handler != SIG_IGN)
        earlierAction.sa_handler(signal);
}

}

ToolWatch::ToolWatch() : m_tools(Setup::children().mid(0, mostTools))
{
    for (int i = 0; i < m_tools.size(); ++i) {
        seen[i].code = unknown;
        seen[i].pid = pid_t(m_tools[i].pid);
    }
    struct sigaction action = {};
    ::sigaction(SIGCHLD, nullptr, &earlierAction);
    action.sa_sigaction = lookFirst;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_NOCLDSTOP;
    ::sigaction(SIGCHLD, &action, nullptr);
    QCoreApplication::instance()->installEventFilter(this);
}

ToolWatch::~ToolWatch()
{
    QCoreApplication::instance()->removeEventFilter(this);
    ::sigaction(SIGCHLD, &earlierAction, nullptr);
    for (Seen &tool : seen)
        tool.pid = 0;
}

bool ToolWatch::eventFilter(QObject *, QEvent *event)
{
    if (event->type() == QEvent::SockAct)
        lookAtAll();
    return false;
}

std::optional<Process> ToolWatch::running() const
{
    lookAtAll();
    for (const Process &tool : m_tools) {
        siginfo_t end = {};
        if (look(pid_t(tool.pid), &end) && end.si_pid == 0)
            return tool;
    }
    return std::nullopt;
}

bool ToolWatch::isAnyLeft() const
{
    return std::any_of(m_tools.cbegin(), m_tools.cend(), [](const Process &tool) {
        siginfo_t end = {};
        return look(pid_t(tool.pid), &end);
    });
}

std::optional<int> ToolWatch::exitCode() const
{
    lookAtAll();
    std::optional<int> result;
    for (int i = 0; i < m_tools.size(); ++i) {
        const int code = seen[i].code;
        if (code == unknown)
            return std::nullopt;
        if (!result || code != 0)
            result = code;
    }
    return result;
}

}
