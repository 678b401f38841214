// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_EXITCODES_H
#define KESTRA_SETUP_EXITCODES_H

#include <QString>

namespace Setup {

/** How a run ends, seen from outside. The numbers are documented in --help and stay as they are. */
enum class ExitCode {
    Success = 0,
    Internal = 1,
    Usage = 2,
    NotRoot = 3,
    NoModem = 4,
    NoBus = 5,
    Precondition = 6,
    Bundle = 7,
    Extraction = 8,
    Patch = 9,
    Compilation = 10,
    Backup = 11,
    Installation = 12,
    Restore = 13,
    Packages = 14,
    PackagesBusy = 15,
    Database = 16,
    Service = 17,
    Login = 18,
    Connection = 19,
    Boot = 20,
    NameServers = 21,
    Undo = 22,
    Running = 23,
    Start = 24,
    Report = 25,
    Disc = 26,
    Firmware = 27,
    Interrupted = 130,
};

/** The table of all exit codes, one line each, for --help. */
QString exitCodesText();

}

#endif
