// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_SETTINGS_H
#define KESTRA_SETUP_SETTINGS_H

#include <QString>
#include <QStringList>

namespace Setup {

/** What the user wants. An empty text means the default, or a question. */
struct Settings
{
    bool unattended = false;
    QString dataDirectory;

    int modemTimeout = 0; ///< seconds, 0 for ever

    bool noDriver = false;
    QString driverBundle;
    QString extractionPath;
    QString driverTree;
    QString module;
    QString kernelHeaders;
    QString compileArguments;
    QString installArguments;
    QString makeEnvironment;

    bool noPackages = false;
    QString packages; ///< names separated by commas
    QString packageManager;
    int lockTimeout = 0; ///< seconds

    QString providers;
    QString country;
    QString service;

    QString user;
    QString passwordFile;
    bool passwordFromInput = false;

    bool noBoot = false;
    int sequence = 0;

    bool noNameServers = false;
};

}

#endif
