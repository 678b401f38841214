// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_DEBUGLOG_H
#define KESTRA_FOUNDATION_DEBUGLOG_H

#include <kestra/foundation/export.h>

#include <QString>

#include <cstdio>

/**
 * @file
 * The switch and the stream of the library's debug lines.
 *
 * The library says what it does through four channels; the documentation of each class tells
 * which one a message takes.
 *
 * - <b>Debug lines</b> are written to ::pFile, only while ::debug is true. They carry the class and
 *   method name, no time stamp and no level, and the library never flushes the stream.
 * - The <b>Qt debug stream</b> (`qDebug()`) is not guarded by ::debug: install a Qt message handler
 *   to divert or to silence it.
 * - A few lines go to <b>standard output</b>, always.
 * - The <b>Qt warning stream</b> (`qWarning()`) carries failed preconditions, not guarded either.
 */

/** True while debug lines are written. False until setDebug() is called. */
extern KESTRA_EXPORT bool debug;

/** True when ::pFile is a file that setDebug() opened, false when it is the standard error stream.
 */
extern KESTRA_EXPORT bool debugToFile;

/**
 * Where debug lines go. Null until setDebug() is called; never closed by the library. A program
 * that wants to see each line at once may give it a buffer of its choice with `setvbuf()`.
 */
extern KESTRA_EXPORT FILE *pFile;

/**
 * Chooses the stream of the debug lines and switches them on or off.
 *
 * Call it once, before any object of the library is used: a PackageManager writes to ::pFile
 * even while ::debug is false.
 *
 * @param enabled whether debug lines are written from now on
 * @param fileName the file to truncate or create and to write to, converted to Latin-1; with an
 *        empty name, or when the file cannot be opened, the lines go to standard error. The file is
 *        created also when @p enabled is false. A stream opened by an earlier call is not closed.
 *
 * Writes no message and does not block.
 */
KESTRA_EXPORT void setDebug(bool enabled, QString fileName);

#endif
