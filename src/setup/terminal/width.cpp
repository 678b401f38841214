// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "width.h"

#include <QVector>

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
    const QVector<uint> characters = text.toUcs4();
    int size = 0;
    for (int used = 0; size < characters.size(); ++size) {
        used += columnsOf(characters[size]);
        if (used > columns)
            break;
    }
    return QString::fromUcs4(characters.constData(), size);
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
