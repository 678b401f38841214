// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PROGRAMS_H
#define KESTRA_SETUP_PROGRAMS_H

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

namespace Setup {

/** A program that was called in a preview. */
struct ProgramCall
{
    QString line; ///< as one would type it
    bool wasRun = false;
};

/** What the sandbox is to note and what it is to hold back, as its options. */
QStringList programOptions();

/** Reads what the sandbox has noted. */
QVector<ProgramCall> readCalls(const QByteArray &notes);

}

#endif
