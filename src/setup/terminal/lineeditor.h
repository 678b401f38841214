// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_LINEEDITOR_H
#define KESTRA_SETUP_LINEEDITOR_H

#include "base/cancellation.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdio>
#include <optional>

namespace Setup {

/** What the Tab key completes an answer to. */
struct Completion
{
    bool paths = false;
    QStringList names;
};

/**
 * Reads lines from a terminal with the keys and the habits of readline.
 *
 * Readline keeps all that it knows in global variables, so there is only one of these.
 */
class LineEditor
{
public:
    /** Shows the line on the terminal @p screen; reads standard input. */
    LineEditor(int screen, const Cancellation &cancellation);
    ~LineEditor();
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;

    /** Returns nothing at the end of the input, or when the run is to stop. */
    std::optional<QByteArray> read(const QByteArray &prompt, const Completion &completion);

private:
    static void takeLine(char *line);
    void waitForInput();

    const Cancellation &m_cancellation;
    FILE *const m_screen;
    QByteArray m_lastPrompt;
    bool m_isDone = false;
    std::optional<QByteArray> m_line;
};

}

#endif
