// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_INPUT_H
#define KESTRA_SETUP_INPUT_H

#include "lineeditor.h"

#include <memory>

namespace Setup {

/**
 * Standard input, line by line: with a line editor on a terminal, as it comes elsewhere.
 *
 * The functions return nothing at the end of the input, or when the run is to stop.
 */
class Input
{
public:
    /** Shows questions on @p screen. */
    Input(int screen, const Cancellation &cancellation);

    /** Returns whether a person is there to type. */
    static bool isTerminal();

    std::optional<QByteArray> ask(const QByteArray &prompt, const Completion &completion);

    /** Shows nothing of what is typed, and keeps nothing. */
    std::optional<QByteArray> askSecret(const QByteArray &prompt);

private:
    std::optional<QByteArray> readLine();

    const int m_screen;
    const Cancellation &m_cancellation;
    std::unique_ptr<LineEditor> m_editor;
    QByteArray m_bytes;
};

/** Writes everything, whatever signals come. */
void writeAll(int descriptor, const QByteArray &bytes);

}

#endif
