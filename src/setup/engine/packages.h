// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PACKAGES_H
#define KESTRA_SETUP_PACKAGES_H

#include "base/outcome.h"

#include <QString>

namespace Setup {

class Session;

inline QString aptName() { return QStringLiteral("apt"); }

inline QString zypperName() { return QStringLiteral("zypper"); }

/** Returns the name of this distribution's package manager, or an empty string. */
QString packageManagerOfSystem();

/** That the tools do not tell which packages are installed. */
Outcome noListing(const Session &session);

}

#endif
