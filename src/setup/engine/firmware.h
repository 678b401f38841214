// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_FIRMWARE_H
#define KESTRA_SETUP_FIRMWARE_H

#include "store/store.h"

#include <QByteArray>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <sys/stat.h>

namespace Setup {

inline QString firmwareDirectory() { return QStringLiteral("/lib/firmware"); }

/** Returns whether the kernel would find the firmware @p name. */
bool isFirmwarePresent(const QString &name);

/** Firmware files that were found among others, with what is in them. */
class FirmwareFiles
{
public:
    struct File
    {
        QByteArray content;
        QString source; ///< where it was found
        int likeness = 0; ///< of that place to its name; more is better
    };

    /** @param names what to look for, below the directory of the firmware */
    explicit FirmwareFiles(const QStringList &names) : m_names(names) { }

    /**
     * Looks through a directory and what is below it, or takes a file or what is in an archive. No
     * link below @p path is followed.
     *
     * @return why that is impossible, as the rest of a sentence, or nothing
     */
    QString add(const QString &path);

    const QMap<QString, File> &files() const { return m_files; } ///< by name
    const QMap<QString, QString> &refused() const { return m_refused; } ///< why not, by path

private:
    using Status = struct stat;

    QString addArchive(const QString &path);
    void walk(int directory, const QString &path, int depth);
    bool take(int directory, const QByteArray &entry, const QString &path);
    QString nameFor(const QString &entry, int *likeness, const QString &path) const;

    const QStringList m_names;
    QMap<QString, File> m_files;
    QMap<QString, QString> m_refused;
    QString m_archive; ///< that is looked through, with a slash
    QString m_unpacked; ///< where it is unpacked, with a slash
    int m_entries = 0;
};

enum class FirmwareState { Missing, Present, Installed, Replaced, Failed };

/**
 * Puts a firmware file where the kernel looks for it, as a whole or not at all.
 *
 * @param problem is set when that failed; a sentence
 */
FirmwareState installFirmwareFile(Store &store, const QString &name, const QByteArray &content,
                                  QString *problem);

}

#endif
