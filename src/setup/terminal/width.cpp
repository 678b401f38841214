// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "width.h"

#include <algorithm>
#include <cwchar>

namespace Setup {

namespace {

/** What the C library does not know, the terminal shows as a substitute of one column. */
int columnsOf(uint character)
{
    const int columns = ::wcwidth(wchar_t(character));
    return columns < 0 ? 1 : columns;
}

}

int columnsOf(const QString &text)
{
    int columns = 0;
    for (const uint character : text.toUcs4())
        columns += columnsOf(character);
    return columns;
}

QString fitted(const QString &text, int columns)
{
    int size = 0, used = 0;
    for (const uint character : text.toUcs4()) {
        used += columnsOf(character);
        if (used > columns)
            break;
        size += QChar::requiresSurrogates(character) ? 2 : 1;
    }
    return text.left(size);
}

QString padded(const QString &text, int columns)
{
    return text + QString(std::max(0, columns - columnsOf(text)), QLatin1Char(' '));
}

QStringList wrapped(const QString &text, int columns)
{
    QStringList lines;
    for (const QString &word : text.split(QLatin1Char(' '))) {
        if (!lines.isEmpty() && columnsOf(lines.last()) + 1 + columnsOf(word) <= columns)
            lines.last() += QLatin1Char(' ') + word;
        else
            lines.append(word);
    }
    return lines;
}

}
