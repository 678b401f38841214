// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "runlock.h"

#include "base/ownership.h"
#include "base/processes.h"
#include "base/text.h"
#include "base/translate.h"

#include <kestra/foundation/lockfile.h>

#include <cerrno>
#include <unistd.h>

namespace Setup {

namespace {

Outcome unsafe(const QString &part)
{
    return Outcome::failed(
        ExitCode::Precondition,
        Text::tr("%1 can be changed by others than root, so no lock would be safe there.")
            .arg(part),
        Text::tr("See who made it, then start again."));
}

Outcome impossible()
{
    return Outcome::failed(
        ExitCode::Precondition, Text::tr("The lock file %1 cannot be opened.").arg(RunLock::path()),
        Text::tr("See what is in its place or whether the disk is full, then start again."));
}

Outcome busy(const std::optional<Process> &holder)
{
    // Of a process in another container the system tells no number.
    const QString who = holder && holder->pid > 0
        ? QStringLiteral(": ") + printable(holder->description())
        : QString();
    return Outcome::failed(ExitCode::Running, Text::tr("Another set-up is running%1.").arg(who),
                           Text::tr("Wait until it has ended, then start again."));
}

bool isHeldByAnother(int error) { return error == EACCES || error == EAGAIN; }

}

RunLock::RunLock()
{
    if (::geteuid() == 0)
        take();
}

RunLock::~RunLock()
{
    if (m_descriptor >= 0)
        unlockFile(m_descriptor);
}

void RunLock::take()
{
    // The library follows a link and empties the file that it finds.
    if (const auto part = partOfOthers(path())) {
        m_hindrance = unsafe(*part);
        return;
    }
    m_descriptor = lockFile(path());
    if (m_descriptor >= 0)
        return;
    // Any other error means that there are no locks here, which is no reason to do nothing.
    if (isHeldByAnother(errno))
        m_hindrance = busy(lockHolder(path()));
    else if (errno == EPERM)
        m_hindrance = impossible();
}

}
