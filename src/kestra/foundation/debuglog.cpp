// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debuglog.h"

bool debug = false;
bool debugToFile = false;
FILE *pFile = nullptr;

void setDebug(bool enabled, QString fileName)
{
    FILE *file = fileName.isEmpty() ? nullptr : fopen(fileName.toLatin1().constData(), "w");
    debugToFile = file != nullptr;
    pFile = file ? file : stderr;
    debug = enabled;
}
