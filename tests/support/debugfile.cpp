// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"

#include "files.h"

#include <kestra/foundation/debuglog.h>

namespace KestraTest {

DebugFile::DebugFile(bool enabled)
{
    setDebug(enabled, path());
    if (!debugToFile)
        qFatal("cannot open the debug file");
}

DebugFile::~DebugFile()
{
    if (debugToFile)
        fclose(pFile);
    pFile = nullptr;
    debugToFile = false;
    debug = false;
}

QByteArray DebugFile::text() const
{
    fflush(pFile);
    return readFile(path());
}

QStringList DebugFile::lines() const
{
    QStringList result = QString::fromLatin1(text()).split(QLatin1Char('\n'));
    if (result.constLast().isEmpty())
        result.removeLast();
    return result;
}

QString DebugFile::path() const { return m_directory.filePath(QStringLiteral("debug.log")); }

}
