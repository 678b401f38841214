// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_TERMINATE_H
#define KESTRA_HALD_TERMINATE_H

namespace Hald {

/**
 * Has SIGTERM, SIGINT and SIGHUP end the event loop with success. Must be called before any thread
 * is started; takes effect when the application runs.
 */
void endOnSignals();

}

#endif
