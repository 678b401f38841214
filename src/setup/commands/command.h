// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_COMMAND_H
#define KESTRA_SETUP_COMMAND_H

#include "base/outcome.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Setup {

struct Options;
class Session;

/** What a command has to say. */
struct Answer
{
    Outcome outcome;
    QStringList lines; ///< for a person
    QJsonObject json; ///< the same for a program
};

/** A command asks nothing and answers at once, or goes through the stages of the set-up. */
struct Command
{
    /** Which options belong to it, as a set. */
    enum Id : unsigned {
        SetUp = 1,
        Drivers = 2,
        Providers = 4,
        Undo = 8,
        UndoPart = 16,
        Look = 32,
        BuildDriver = 64,
        Packages = 128,
        Connect = 256,
        NameServers = 512,
        Boot = 1024,
        Report = 2048,
        PackageCheck = 4096,
        Discs = 8192,
        DiscAddition = 16384,
        Firmware = 32768,
        FirmwareCheck = 65536,
        DiscEjection = 131072
    };
    static constexpr unsigned every = ~0U;
    static constexpr unsigned staged =
        SetUp | BuildDriver | Packages | Connect | NameServers | Boot;
    static constexpr unsigned changing =
        staged | Undo | UndoPart | DiscAddition | DiscEjection | Firmware;

    Id id;
    const char *name; ///< one or two words; empty for the guided set-up
    const char *operand; ///< what may follow the name; empty when nothing may, "..." for several
    const char *summary;
    Answer (*run)(const Options &options); ///< null for one that goes through the stages
    unsigned goals = 0; ///< of the stages
    /** One that uses what the stages share, and asks nothing either. */
    Answer (*runInSession)(Session &session, const Options &options) = nullptr;
};

/** The commands in the order of the help; the first is the guided set-up. */
const QVector<Command> &commands();

/** Null if there is none of that name. */
const Command *findCommand(const QString &name);

/** Runs the command of the options and prints its answer, as JSON alone if that is wanted. */
ExitCode runCommand(const Options &options);

// staged.cpp
/** Goes through the stages of the command of the options, on the terminal or for a program. */
ExitCode runStages(const Options &options);

/** What an answer is for a program, with what went wrong. */
QJsonObject jsonOf(const Answer &answer);

/** Prints an answer. Returns its code, or another one when that was impossible. */
ExitCode print(const Answer &answer, bool asJson);

// insession.cpp
/** Runs the command of the options in a session of its own. */
Answer askInSession(const Options &options);

// packages.cpp
Answer checkPackages(Session &session, const Options &options);

// disc.cpp
Answer listDiscs(Session &session, const Options &options);
Answer addDisc(Session &session, const Options &options);
Answer ejectDisc(Session &session, const Options &options);

// detect.cpp
Answer detectModems(const Options &options);

// nameservers.cpp
Answer checkNameServers(const Options &options);

// drivers.cpp
Answer listDrivers(const Options &options);

// firmware.cpp
Answer checkFirmware(const Options &options);
Answer installFirmware(const Options &options);

// providers.cpp
Answer listProviders(const Options &options);

// report.cpp
Answer makeReport(const Options &options);

// status.cpp
Answer tellStatus(const Options &options);

// undo.cpp
Answer undoAll(const Options &options);
Answer restoreDriver(const Options &options);
Answer restoreNameServers(const Options &options);
Answer disableBoot(const Options &options);

}

#endif
