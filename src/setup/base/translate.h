// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_TRANSLATE_H
#define KESTRA_SETUP_TRANSLATE_H

#include <QCoreApplication>

namespace Setup {

/**
 * All that is said to people is said with Text::tr(). A table marks its texts with
 * QT_TRANSLATE_NOOP("Setup", ...), and they are translated where they are shown.
 */
class Text
{
    Q_DECLARE_TR_FUNCTIONS(Setup)
};

}

#endif
