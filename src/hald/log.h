// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_LOG_H
#define KESTRA_HALD_LOG_H

#include <QLoggingCategory>

namespace Hald {

Q_DECLARE_LOGGING_CATEGORY(hald)

/**
 * Has messages written to standard error, a line each; with a priority before it where the journal
 * reads it. Those for debugging only if @p verbose.
 */
void startLog(bool verbose);

}

#endif
