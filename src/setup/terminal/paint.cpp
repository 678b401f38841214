// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "paint.h"

#include <QByteArray>

#include <unistd.h>

namespace Setup {

namespace {

QString sequence(Colour colour)
{
    switch (colour) {
    case Colour::Plain:
        break;
    case Colour::Good:
        return QStringLiteral("\x1b[32m");
    case Colour::Bad:
        return QStringLiteral("\x1b[31m");
    case Colour::Heading:
        return QStringLiteral("\x1b[1m");
    }
    return QString();
}

}

bool canRewrite(int descriptor)
{
    const QByteArray kind = qgetenv("TERM");
    return ::isatty(descriptor) && !kind.isEmpty() && kind != "dumb";
}

Paint::Paint(int descriptor) : m_isOn(canRewrite(descriptor) && qgetenv("NO_COLOR").isEmpty()) { }

QString Paint::operator()(Colour colour, const QString &text) const
{
    const QString begin = sequence(colour);
    return m_isOn && !begin.isEmpty() ? begin + text + QStringLiteral("\x1b[0m") : text;
}

}
