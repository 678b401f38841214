// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "interrupt.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <thread>
#include <unistd.h>

namespace Setup {

namespace {

sigset_t interruptSet()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    return signals;
}

/**
 * An ignored signal is inherited by the tools. It still reaches our descriptor, since Linux throws
 * away an ignored signal only where it is not blocked.
 */
void ignoreAndBlockInterrupts(int, char **, char **)
{
    std::signal(SIGINT, SIG_IGN);
    const sigset_t signals = interruptSet();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

// The library starts the thread of the message bus as soon as it is loaded. For the signal to be
// blocked in that one, too, this has to come before all libraries.
[[gnu::section(".preinit_array"),
  gnu::used]] void (*const beforeLibraries)(int, char **, char **) = ignoreAndBlockInterrupts;

std::atomic<int> interrupts = 0;

/** Lets @p descriptor become readable for good with the first interrupt. */
void countInterrupts(int source, int descriptor)
{
    signalfd_siginfo interrupt;
    for (;;) {
        const ssize_t size = ::read(source, &interrupt, sizeof interrupt);
        if (size < 0 && errno == EINTR)
            continue;
        if (size != sizeof interrupt)
            return;
        ++interrupts;
        ::eventfd_write(descriptor, 1);
    }
}

extern "C" void becomeInterrupt(int) { ::kill(::getpid(), SIGINT); }

}

int watchInterrupts()
{
    const sigset_t signals = interruptSet();
    const int source = ::signalfd(-1, &signals, SFD_CLOEXEC);
    const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    // It ends with the process: there is no time at which nobody may want to stop.
    std::thread(countInterrupts, source, descriptor).detach();

    // The tools must not ignore these: daemons that they start would do so, too.
    std::signal(SIGTERM, becomeInterrupt);
    std::signal(SIGHUP, becomeInterrupt);
    std::signal(SIGQUIT, becomeInterrupt);
    return descriptor;
}

int interruptCount() { return interrupts; }

}
