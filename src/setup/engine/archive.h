// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_ARCHIVE_H
#define KESTRA_SETUP_ARCHIVE_H

#include <QString>
#include <QStringList>

namespace Setup {

/** What is in a tar archive that may come from anywhere. */
struct Archive
{
    QStringList members; ///< their names, in the order of the archive
    qint64 size = 0; ///< bytes on a disk when it is unpacked
    QString fault; ///< why it must not be unpacked, as the rest of a sentence; or nothing
    QString remedy; ///< what to do about that; a sentence
};

/**
 * Reads the archive @p path to its end, within limits of size and time.
 *
 * An archive without fault has files, directories and links only, and neither a name nor a link
 * leads out of the directory in which it is unpacked.
 */
Archive readArchive(const QString &path);

}

#endif
