// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_RUN_H
#define KESTRA_SETUP_RUN_H

#include "base/cancellation.h"
#include "base/frontend.h"
#include "base/outcome.h"
#include "base/settings.h"

namespace Setup {

/**
 * Brings about what the settings want, stage after stage, until one fails.
 *
 * Needs a QCoreApplication and runs in its thread. Nothing is changed before all questions are
 * answered, all that can be checked has been checked and the user has agreed. All that the front
 * end is told is written down in the log, too.
 */
Result run(const Settings &settings, Frontend &frontend, const Cancellation &cancellation);

}

#endif
