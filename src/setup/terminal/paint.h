// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PAINT_H
#define KESTRA_SETUP_PAINT_H

#include <QString>

namespace Setup {

enum class Colour { Plain, Good, Bad, Heading };

/** Returns whether @p descriptor is a terminal on which a line can be rewritten. */
bool canRewrite(int descriptor);

/** Colours on a terminal, for who has not asked for none (https://no-color.org). */
class Paint
{
public:
    explicit Paint(int descriptor);

    QString operator()(Colour colour, const QString &text) const;

private:
    const bool m_isOn;
};

}

#endif
