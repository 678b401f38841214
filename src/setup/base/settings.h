// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_SETTINGS_H
#define KESTRA_SETUP_SETTINGS_H

#include <QString>
#include <QStringList>

namespace Setup {

/** What a run can bring about. */
struct Goal
{
    enum : unsigned {
        Driver = 1,
        Packages = 2,
        Connection = 4,
        InitScript = 8,
        Boot = 16,
        NameServers = 32,
        Start = 64, ///< the connection is up at once

        Usual = Driver | Packages | Connection | InitScript | Boot | NameServers
    };
};

/** What the user wants. An empty text means the default, or a question. */
struct Settings
{
    unsigned goals = Goal::Usual; ///< a set of goals

    bool wants(unsigned anyOfThese) const { return goals & anyOfThese; }

    bool unattended = false;
    QString dataDirectory;

    int modemTimeout = 0; ///< seconds, 0 for ever

    QString driver; ///< name; empty for that of the modem
    QString driverBundle;
    QString extractionPath;
    QString driverTree;
    QString module;
    QString kernelHeaders;
    QString compileArguments;
    QString installArguments;
    QString makeEnvironment;

    QString packages; ///< names separated by commas
    QString packageManager;
    QString protocol; ///< of which packages are wanted
    int lockTimeout = 0; ///< seconds

    QString providers;
    QString country;
    QString service;

    QString user;
    QString passwordFile;
    bool passwordFromInput = false;

    int sequence = 0;

    QString nameServers; ///< addresses separated by commas; empty for those of the provider
};

}

#endif
