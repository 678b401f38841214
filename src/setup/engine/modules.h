// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_MODULES_H
#define KESTRA_SETUP_MODULES_H

#include "session.h"

namespace Setup {

/** Returns the checksum of a file's content, or nothing when it cannot be read. */
QByteArray checksum(const QString &path);

/** Returns what the library takes for installed copies of @p module. */
QStringList installedCopies(const QString &kernelRelease, const QString &module);

/**
 * Makes room for a new backup, and says why when there is none. One of an earlier run is kept under
 * another name: the library would neither replace it nor restore it.
 */
std::optional<Outcome> prepareBackupDirectory(Session &session);

/** Returns where the backup of @p installedPath belongs. */
QString backupPath(const QString &installedPath, const QString &kernelRelease);

/** Returns time and size of everything in the module tree. */
ModuleTree moduleTreeNow(const QString &kernelRelease);

/**
 * Copies to the backup what the installation may replace besides the driver: the other modules that
 * its tree has built, and what depmod writes.
 *
 * @return the first file that could not be copied, or an empty string
 */
QString copyOtherFiles(Session &session);

/** Returns what the installation of the driver's tree may replace, but for what depmod writes. */
QStringList replaceableModules(const Session &session);

/** Returns what is new or changed in the module tree since @p before. */
QStringList changedModules(const QString &kernelRelease, const ModuleTree &before);

/** What is not as it was before a failed installation. */
struct Damage
{
    QStringList lost; ///< is in the backup, but could not be brought back
    QStringList altered; ///< changed or gone, and not in the backup
};

/** Brings everything back that is in the backup, and lets no new module stay. */
Damage restoreModules(Session &session);

}

#endif
