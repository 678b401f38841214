// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_TOOLWATCH_H
#define KESTRA_SETUP_TOOLWATCH_H

#include "base/processes.h"

#include <QObject>
#include <QVector>

#include <optional>

namespace Setup {

/**
 * Sees how the tools end that the library does not wait for any more, and whose exit codes it does
 * not tell.
 *
 * Qt takes the end of a child away from everybody else: while it handles the event of the child's
 * descriptor or, on some systems, in the handler of a signal. So this looks at the children, and
 * leaves them as they are, before either. Only one object may exist at a time.
 */
class ToolWatch : public QObject
{
public:
    /** Watches the tools that run now, and those whose end nobody has taken note of. */
    ToolWatch();
    ~ToolWatch() override;

    /** Returns a tool that still runs, if there is one. */
    std::optional<Process> running() const;

    /** Returns whether Qt has yet to take the end of a tool, and with it what it wrote last. */
    bool isAnyLeft() const;

    /**
     * Returns the exit code of a tool that ended badly, as a shell tells it: above 128 for a
     * signal. 0 if all have ended well, nothing if there was none or an end was not seen.
     */
    std::optional<int> exitCode() const;

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    QVector<Process> m_tools;
};

}

#endif
