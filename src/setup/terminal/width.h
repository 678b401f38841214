// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_WIDTH_H
#define KESTRA_SETUP_WIDTH_H

#include <QString>
#include <QStringList>

namespace Setup {

/** Returns how many columns of a terminal @p text takes: some characters take two, some none. */
int columnsOf(const QString &text);

/** Returns as much of the beginning of @p text as fits into @p columns. */
QString fitted(const QString &text, int columns);

/** Returns @p text, filled up with blanks to @p columns. */
QString padded(const QString &text, int columns);

/** Breaks @p text between words into lines of at most @p columns; a longer word is not broken. */
QStringList wrapped(const QString &text, int columns);

}

#endif
