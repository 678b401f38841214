// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_DEBUGLINE_P_H
#define KESTRA_FOUNDATION_DEBUGLINE_P_H

#include <QtGlobal>

namespace Kestra::Private {

/** Writes to the debug file, while debugging is on; the format carries its own line end. */
void debugLine(const char *format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(1, 2);

}

#endif
