// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_BACKUPS_H
#define KESTRA_SETUP_BACKUPS_H

#include <QSet>
#include <QStringList>

namespace Setup {

/** What became of the backups of earlier drivers. */
struct Backups
{
    QStringList removed;
    QStringList kept; ///< as something is in them that is nowhere else
};

/**
 * Removes the backups of which everything is back in the module tree. One that somebody else may
 * have made is not looked at.
 *
 * @param restored what is as it was before any set-up, whatever the backups have of it
 */
Backups removeBackups(const QSet<QString> &restored);

}

#endif
