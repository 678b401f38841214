// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "interrupt.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Setup {

namespace {

extern "C" void becomeInterrupt(int) { ::kill(::getpid(), SIGINT); }

}

int watchInterrupts()
{
    // An ignored signal is inherited by the tools. It still reaches the descriptor, since Linux
    // throws away an ignored signal only where it is not blocked.
    std::signal(SIGINT, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);

    // The tools must not ignore these two: daemons that they start would do so, too.
    std::signal(SIGTERM, becomeInterrupt);
    std::signal(SIGHUP, becomeInterrupt);
    return descriptor;
}

}
