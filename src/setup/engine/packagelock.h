// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PACKAGELOCK_H
#define KESTRA_SETUP_PACKAGELOCK_H

#include "base/outcome.h"

#include <optional>

namespace Setup {

class Session;

/**
 * Sees to it that no other program uses the package system. A person is asked what to do about one
 * that does; an unattended run waits for it, up to the time that is given.
 *
 * @return why it is no use, if so
 */
std::optional<Outcome> waitForLock(Session &session);

}

#endif
