// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PROCESSES_H
#define KESTRA_SETUP_PROCESSES_H

#include "translate.h"

#include <QString>
#include <QVector>

#include <optional>

namespace Setup {

struct Process
{
    qint64 pid;
    QString name;

    QString description() const
    {
        return name.isEmpty() ? Text::tr("process %1").arg(pid)
                              : Text::tr("%1 (process %2)").arg(name).arg(pid);
    }
};

/** Returns the children of this process, also those whose end nobody has taken note of. */
QVector<Process> children();

/** Returns the children of this process that have not ended. */
QVector<Process> runningChildren();

/** Returns the process that keeps the record lock on @p path, if there is one. */
std::optional<Process> lockHolder(const QString &path);

/** Returns the living process whose number stands in the file @p path, if there is one. */
std::optional<Process> processInFile(const QString &path);

}

#endif
