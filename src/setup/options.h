// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_OPTIONS_H
#define KESTRA_SETUP_OPTIONS_H

#include "base/settings.h"
#include "commands/command.h"

#include <QString>
#include <QStringList>

namespace Setup {

/** The command line. */
struct Options : Settings
{
    const Command *command = nullptr; ///< never null in what parseOptions() returns
    QString operand; ///< what followed the command's name
    QStringList operands; ///< likewise, where a command takes several: paths

    bool help = false;
    bool version = false;
    bool verbose = false;
    bool json = false;
    bool preview = false;
    QString logFile;
    QString validate;
    QString output;
    bool force = false;
    QString firmwareFrom;
    bool removePackages = false;

    QString error; ///< one sentence when something is wrong
};

/** Reads a command line, the program's name included, and says what is wrong with it. */
Options parseOptions(const QStringList &arguments);

/** The text of --help: the options of a command; with the first, all commands and exit codes. */
QString helpText(const Command &command);

}

#endif
