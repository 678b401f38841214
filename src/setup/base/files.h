// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_FILES_H
#define KESTRA_SETUP_FILES_H

#include "outcome.h"

#include <QByteArray>
#include <QSaveFile>
#include <QString>

namespace Setup {

/** Returns what is in a file, and nothing when it cannot be read. */
QByteArray content(const QString &path);

/** Commits @p file; QSaveFile alone would overlook a disk that is full at the last write. */
bool commit(QSaveFile &file);

/** The failure of a stage that could not write @p path. */
Outcome notWritten(ExitCode code, const QString &path);

}

#endif
