// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PREVIEW_H
#define KESTRA_SETUP_PREVIEW_H

#include <QStringList>

namespace Setup {

struct Options;

/**
 * Runs the command of these arguments on a scratch copy of the system, then shows what it would
 * have changed and which programs it would have run. Returns the exit code of the command.
 */
int runPreview(const Options &options, const QStringList &arguments);

}

#endif
