// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_LITERALS_H
#define KESTRATEST_LITERALS_H

#include <QString>

#include <cstddef>

namespace KestraTest {

/** "text"_s is a QString, as in Qt 6. */
inline QString operator""_s(const char *text, std::size_t size)
{
    return QString::fromUtf8(text, static_cast<int>(size));
}

}

#endif
