// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_STAGES_H
#define KESTRA_SETUP_STAGES_H

#include "base/outcome.h"
#include "base/summary.h"

#include <optional>

namespace Setup {

class Session;

// preconditions.cpp
Outcome checkSystem(Session &session);
/** Parts of it, for commands that have no stages. */
std::optional<Outcome> checkRoot(Session &session);
std::optional<Outcome> choosePackageTools(Session &session);
std::optional<Outcome> checkPackageTools(Session &session);

// summary.cpp
/** Not a stage: sums up what the session knows; there is no password in it. */
Summary summaryOf(const Session &session, const QStringList &steps);

// provider.cpp
Outcome chooseProvider(Session &session);
/** For a user who goes back to that question. */
Outcome chooseProviderAgain(Session &session);

// login.cpp
Outcome takeLogin(Session &session);

// detect.cpp
Outcome detectModem(Session &session);

// driver.cpp, in this order
Outcome checkDriver(Session &session);
Outcome extractDriver(Session &session);
Outcome patchDriver(Session &session);
Outcome compileDriver(Session &session);
Outcome backupDriver(Session &session);
Outcome installDriver(Session &session);

// packages.cpp
Outcome installPackages(Session &session);

// connection.cpp
Outcome writeConnection(Session &session);

// boot.cpp
Outcome linkBoot(Session &session);
Outcome startConnection(Session &session);
/** Not a stage of its own: only then do its mode and its links have something to act on. */
std::optional<Outcome> placeInitScript(Session &session);

// nameservers.cpp
Outcome setNameServers(Session &session);

}

#endif
