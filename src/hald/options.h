// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_OPTIONS_H
#define KESTRA_HALD_OPTIONS_H

#include <QString>
#include <QStringList>

namespace Hald {

struct Options
{
    bool help = false;
    bool version = false;
    bool session = false;
    bool replace = false;
    bool verbose = false;
    int idleExit = 0; ///< seconds, 0 for never
    QString error; ///< a sentence, if the arguments are wrong
};

/** @param arguments as the program got them, its own name first */
Options parseOptions(const QStringList &arguments);

QString helpText();

}

#endif
