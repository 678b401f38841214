// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_INTERRUPT_H
#define KESTRA_SETUP_INTERRUPT_H

namespace Setup {

/**
 * Has Ctrl-C, the quit key, a hang-up and a request to terminate make a descriptor readable, for
 * good, instead of ending the program. The tools that are started later ignore Ctrl-C: what they do
 * shall not be left half done.
 *
 * @return the descriptor
 */
int watchInterrupts();

/** Returns how often the user has wanted to stop so far. */
int interruptCount();

}

#endif
