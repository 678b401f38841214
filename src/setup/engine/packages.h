// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PACKAGES_H
#define KESTRA_SETUP_PACKAGES_H

#include <QString>

namespace Setup {

inline QString aptName() { return QStringLiteral("apt"); }

inline QString zypperName() { return QStringLiteral("zypper"); }

/** Returns the name of this distribution's package manager, or an empty string. */
QString packageManagerOfSystem();

}

#endif
