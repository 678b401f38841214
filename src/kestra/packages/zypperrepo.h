// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_PACKAGES_ZYPPERREPO_H
#define KESTRA_PACKAGES_ZYPPERREPO_H

#include <kestra/foundation/export.h>

#include <QString>

/** One row of the table of repositories that zypper prints. */
struct KESTRA_EXPORT ZypperRepo
{
    int number = 0; ///< the number of the row, 1 to 99
    bool enabled = false; ///< whether packages are taken from the repository
    bool refresh = false; ///< whether zypper refreshes it by itself
    QString type; ///< such as yast2 or rpm-md
    QString alias; ///< the unique short name, as the column holds it, untrimmed
    QString name; ///< the name for people, as the column holds it, untrimmed
};

#endif
