// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugline_p.h"

#include "debuglog.h"

#include <cstdarg>

void Kestra::Private::debugLine(const char *format, ...)
{
    if (!debug)
        return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(pFile, format, arguments);
    va_end(arguments);
}
