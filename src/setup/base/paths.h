// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PATHS_H
#define KESTRA_SETUP_PATHS_H

#include "settings.h"

#include <QString>

namespace Setup {

// Files of the system. Most are the library's choice; it does not tell them.

inline QString backupRoot() { return QStringLiteral("/tmp/kestra_drv_backup"); }

inline QString backupDirectory(const QString &kernelRelease)
{
    return backupRoot() + QLatin1Char('/') + kernelRelease;
}

inline QString logDirectory() { return QStringLiteral("/opt/kestra/logs"); }

inline QString moduleTree(const QString &kernelRelease)
{
    return QStringLiteral("/lib/modules/") + kernelRelease;
}

inline QString runLevelDirectory(const QString &base, int level)
{
    return QStringLiteral("%1/rc%2.d")
        .arg(base.isEmpty() ? QStringLiteral("/etc") : base)
        .arg(level);
}

inline QString initScript() { return QStringLiteral("/etc/init.d/kestrad"); }

inline QString resolverFile() { return QStringLiteral("/etc/resolv.conf"); }

// pppd's files, which the library writes anew.

inline QString papSecrets() { return QStringLiteral("/etc/ppp/pap-secrets"); }

inline QString chapSecrets() { return QStringLiteral("/etc/ppp/chap-secrets"); }

inline QString pppdOptions() { return QStringLiteral("/etc/ppp/options"); }

/** What the init script needs to know of the connection. */
inline QString connectionFile() { return QStringLiteral("/etc/kestra/connection.conf"); }

// Our own files, and where the user may have put them.

inline QString initScriptSource(const Settings &settings)
{
    return settings.dataDirectory + QStringLiteral("/kestrad");
}

inline QString providerDatabase(const Settings &settings)
{
    return settings.providers.isEmpty() ? settings.dataDirectory + QStringLiteral("/services.xml")
                                        : settings.providers;
}

inline QString kernelHeaders(const Settings &settings, const QString &kernelRelease)
{
    return settings.kernelHeaders.isEmpty() ? moduleTree(kernelRelease) + QStringLiteral("/build")
                                            : settings.kernelHeaders;
}

}

#endif
