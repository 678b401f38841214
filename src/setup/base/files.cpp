// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"

#include "translate.h"

#include <QFile>

namespace Setup {

QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool commit(QSaveFile &file) { return file.flush() && file.commit(); }

Outcome notWritten(ExitCode code, const QString &path)
{
    return Outcome::failed(code, Text::tr("%1 could not be written.").arg(path),
                           Text::tr("See whether the disk is full or the file protected, then "
                                    "start again."));
}

}
