// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_TOOL_H
#define KESTRA_SETUP_TOOL_H

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace Setup {

/** What a program has printed, in whole lines. */
struct ToolOutput
{
    QByteArray bytes;
    QString fault; ///< why that is not all, or nothing; a part of a sentence
};

/** Runs a program for as long and as far as it is reasonable to wait and to read. */
ToolOutput outputOf(const QString &program, const QStringList &arguments);

}

#endif
