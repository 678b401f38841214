// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_DEBUGFILE_H
#define KESTRATEST_DEBUGFILE_H

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

namespace KestraTest {

/**
 * Lets the library write its debug lines to a scratch file while it exists. Afterwards debugging
 * is off and there is no stream, as before any call of setDebug().
 */
class DebugFile
{
public:
    /** @param enabled whether debug lines are written; the stream is there in any case */
    explicit DebugFile(bool enabled = true);
    ~DebugFile();
    Q_DISABLE_COPY(DebugFile)

    /** What was written so far, byte for byte. */
    QByteArray text() const;
    /** The lines written so far, without their line ends, read as Latin-1. */
    QStringList lines() const;
    QString path() const;

private:
    QTemporaryDir m_directory;
};

}

#endif
