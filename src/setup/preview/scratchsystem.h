// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_SCRATCHSYSTEM_H
#define KESTRA_SETUP_SCRATCHSYSTEM_H

#include "busproxy.h"
#include "programs.h"

#include "base/outcome.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

namespace Setup {

/** A file system before and after the preview. Paths are bytes, as the system has them. */
struct Layer
{
    QByteArray point; ///< where it is mounted
    QByteArray changes; ///< the directory with what was written
    QByteArray after; ///< the whole, with the changes
};

/**
 * A copy of the system that a command can change at will.
 *
 * It lies in memory, in a mount namespace that ends with this program, however that ends.
 */
class ScratchSystem
{
public:
    /** Returns what stands in the way. */
    std::optional<Outcome> prepare();

    /** Returns the exit code, or nothing when the system could not be made. */
    std::optional<int> run(const QStringList &command, QByteArray *output);

    /** The file systems, once the command has ended. */
    QVector<Layer> layers() const;

    /** The programs that were called. */
    QVector<ProgramCall> calls() const;

    /** A directory that nobody else sees. */
    static QString privateDirectory();

private:
    BusProxy m_bus;
};

}

#endif
