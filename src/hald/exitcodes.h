// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_EXITCODES_H
#define KESTRA_HALD_EXITCODES_H

namespace Hald {

/** What the program ends with. The manual page lists the same. */
enum class ExitCode {
    Success = 0,
    Usage = 2, ///< an option is wrong
    NoBus = 3, ///< the message bus cannot be reached
    NameTaken = 4, ///< another program owns the name
    NameRefused = 5, ///< the bus does not let this user own the name
    NoUdev = 6, ///< udev cannot be listened to
};

}

#endif
