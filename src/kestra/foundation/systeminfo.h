// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_SYSTEMINFO_H
#define KESTRA_FOUNDATION_SYSTEMINFO_H

#include <kestra/foundation/export.h>

#include <QRegExp>
#include <QString>

/**
 * What system the library runs on.
 *
 * Each function returns an empty string when it cannot answer, and says so on the Qt debug stream.
 * None blocks for longer than it takes to read a small file. The functions that look at the
 * distribution share the expressions below, which keep their last match: call them from one
 * thread at a time.
 */
namespace Kestra::SystemInfo {

/** Matches the first line of a Fedora release file; captures the word Fedora and the release. */
extern KESTRA_EXPORT QRegExp fedoraRegExp;
/** Matches the first line of a PCLinuxOS release file; captures the name and the release. */
extern KESTRA_EXPORT QRegExp pclinuxosRegExp;
/** Matches a Debian version such as 5.0; captures it with the white space that follows it. */
extern KESTRA_EXPORT QRegExp debianRegExp;

/** Returns "SuSE", "Fedora", "PCLinuxOS", "Ubuntu" or "Debian", or an empty string. */
KESTRA_EXPORT QString getDistributionName();

/**
 * Returns the release of the distribution, or an empty string.
 *
 * A Debian release keeps the line end that its version file has.
 */
KESTRA_EXPORT QString getDistributionRelease();

/** Returns the release of the running kernel, which names its directory under /lib/modules. */
KESTRA_EXPORT QString getKernelRelease();

/** Returns "i386" on 32-bit x86 and "amd64" on every other machine, or an empty string. */
KESTRA_EXPORT QString getArchitecture();

/** Returns the machine name of the kernel, such as x86_64, or an empty string. */
KESTRA_EXPORT QString getProcessorArchitecture();

}

#endif
