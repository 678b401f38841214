// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_OPTIONS_H
#define KESTRA_SETUP_OPTIONS_H

#include "engine/settings.h"

#include <QString>
#include <QStringList>

namespace Setup {

/** The command line. */
struct Options : Settings
{
    bool help = false;
    bool version = false;
    bool verbose = false;
    QString logFile;

    QString error; ///< one sentence when something is wrong
};

/** Reads a command line, the program's name included, and says what is wrong with it. */
Options parseOptions(const QStringList &arguments);

/** The text of --help: all options and exit codes. */
QString helpText();

}

#endif
