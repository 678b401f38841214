// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_RUNLOCK_H
#define KESTRA_SETUP_RUNLOCK_H

#include "base/outcome.h"

#include <optional>

namespace Setup {

/**
 * Keeps other runs that change the system away for as long as it lives. To be had before anything
 * is read that such a run may write.
 *
 * The system itself ends the lock with the process, however that ends: the file that stays behind
 * means nothing. Who is not root can change nothing and takes no lock. The lock would also end if
 * this process opened the file a second time and closed it.
 */
class RunLock
{
public:
    static QString path() { return QStringLiteral("/run/kestra-setup.lock"); }

    RunLock();
    ~RunLock();
    RunLock(const RunLock &) = delete;
    RunLock &operator=(const RunLock &) = delete;

    /** Why nothing may be changed now; nothing when the way is free. */
    const std::optional<Outcome> &hindrance() const { return m_hindrance; }

private:
    void take();

    int m_descriptor = -1;
    std::optional<Outcome> m_hindrance;
};

}

#endif
