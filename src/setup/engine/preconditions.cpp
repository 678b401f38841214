// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/ownership.h"
#include "base/paths.h"
#include "base/translate.h"
#include "bundle.h"
#include "packages.h"
#include "session.h"
#include "stages.h"

#include <kestra/connection/scriptmanager.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <unistd.h>

namespace Setup {

namespace {

using Problem = std::optional<Outcome>;

Problem missing(const QString &what, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Precondition, what, nextStep);
}

/** Only a modem that is to be found needs the bus. */
Problem checkBus(Session &session)
{
    const bool findsModem = session.settings.driver.isEmpty()
        && session.settings.wants(Goal::Driver | Goal::Connection);
    if (!findsModem || QDBusConnection::systemBus().isConnected())
        return std::nullopt;
    return Outcome::failed(ExitCode::NoBus,
                           Text::tr("The system message bus cannot be reached: %1.")
                               .arg(QDBusConnection::systemBus().lastError().message()),
                           Text::tr("Start the service dbus."));
}

struct Tool
{
    const char *program;
    const char *package;
    bool (*isNeeded)(const Session &);
};

bool buildsDriver(const Session &session) { return session.settings.wants(Goal::Driver); }

bool usesApt(const Session &session) { return session.packageManager == aptName(); }

bool usesZypper(const Session &session) { return session.packageManager == zypperName(); }

constexpr Tool tools[] = {
    {"tar", "tar", buildsDriver}, {"make", "make", buildsDriver}, {"rm", "coreutils", buildsDriver},
    {"dpkg", "dpkg", usesApt},    {"apt-get", "apt", usesApt},    {"zypper", "zypper", usesZypper},
    {"rpm", "rpm", usesZypper},
};

Problem checkTools(Session &session)
{
    for (const Tool &tool : tools) {
        const QString program = QString::fromLatin1(tool.program);
        if (tool.isNeeded(session) && QStandardPaths::findExecutable(program).isEmpty())
            return missing(
                Text::tr("The program %1 is not installed.").arg(program),
                Text::tr("Install the package %1.").arg(QString::fromLatin1(tool.package)));
    }
    return std::nullopt;
}

}

std::optional<Outcome> checkRoot(Session &)
{
    if (::geteuid() == 0)
        return std::nullopt;
    return Outcome::failed(ExitCode::NotRoot, Text::tr("This program must run as root."),
                           Text::tr("Start it with sudo, or from a root shell."));
}

std::optional<Outcome> choosePackageTools(Session &session)
{
    if (!session.settings.wants(Goal::Packages))
        return std::nullopt;
    session.packageManager = session.settings.packageManager;
    if (session.packageManager.isEmpty())
        session.packageManager = packageManagerOfSystem();
    if (!session.packageManager.isEmpty())
        return std::nullopt;
    return missing(Text::tr("This distribution is unknown, and so are its package tools."),
                   Text::tr("Name them with --package-manager, or use --no-packages."));
}

std::optional<Outcome> checkPackageTools(Session &session)
{
    const Problem problem = choosePackageTools(session);
    return problem ? problem : checkTools(session);
}

namespace {

/** One that is not given is looked or asked for when the modem is known. */
Problem checkBundle(Session &session)
{
    if (!buildsDriver(session) || session.settings.driverBundle.isEmpty())
        return std::nullopt;
    return readBundle(session);
}

Problem checkKernelHeaders(Session &session)
{
    const Settings &settings = session.settings;
    if (!buildsDriver(session)
        || (!settings.compileArguments.isEmpty() && !settings.installArguments.isEmpty()))
        return std::nullopt;
    const QString headers = kernelHeaders(settings, session.kernelRelease);
    if (QFileInfo(headers + QStringLiteral("/Makefile")).exists())
        return std::nullopt;
    return missing(Text::tr("The headers of the kernel are not in %1.").arg(headers),
                   Text::tr("Install the package linux-headers-%1, or give the directory with "
                            "--kernel-headers.")
                       .arg(session.kernelRelease));
}

/** The backup lies where anybody may create files, so it must be root's from the top down. */
Problem checkBackupDirectory(Session &session)
{
    if (!buildsDriver(session))
        return std::nullopt;
    for (const QString &path : {backupRoot(), backupDirectory(session.kernelRelease)}) {
        const QFileInfo entry(path);
        if ((entry.exists() || entry.isSymLink()) && !isOurDirectory(path))
            return missing(Text::tr("%1 is no directory that only root can write to, so the "
                                    "backup of the driver would not be safe there.")
                               .arg(path),
                           Text::tr("See who made it, then move it away."));
    }
    return std::nullopt;
}

Problem checkInitScript(Session &session)
{
    const QString script = initScriptSource(session.settings);
    if (!session.settings.wants(Goal::InitScript) || QFileInfo(script).isReadable())
        return std::nullopt;
    return missing(Text::tr("The init script %1 is missing.").arg(script),
                   Text::tr("Install kestra-setup completely, or give --data-dir."));
}

Problem checkCatalogue(Session &session)
{
    session.catalogue = readCatalogue(session.settings.dataDirectory);
    const bool isNeeded = buildsDriver(session) || !session.settings.driver.isEmpty();
    if (!isNeeded || session.catalogue.fault.isEmpty())
        return std::nullopt;
    return missing(session.catalogue.fault,
                   Text::tr("Install kestra-setup completely, or give --data-dir."));
}

/** A start at boot needs something to start. */
Problem checkConnection(Session &session)
{
    const Settings &settings = session.settings;
    if (settings.wants(Goal::Connection) || !settings.wants(Goal::Boot | Goal::Start)
        || QFileInfo(connectionFile()).isReadable())
        return std::nullopt;
    return missing(Text::tr("No connection is set up: there is no %1.").arg(connectionFile()),
                   Text::tr("Set one up with kestra-setup connect."));
}

Problem checkRunLevels(Session &session)
{
    if (!session.settings.wants(Goal::Boot))
        return std::nullopt;
    ScriptManager scripts;
    const QString base = scripts.getRcDir();
    for (int level = 0; level <= 6; ++level) {
        const QString directory = runLevelDirectory(base, level);
        if (base.isEmpty() || !QFileInfo(directory).isDir())
            return missing(Text::tr("The run-level directory %1 does not exist.").arg(directory),
                           Text::tr("Install the distribution's support for init scripts, or "
                                    "use --no-boot."));
    }
    if (!QFileInfo(QStringLiteral("/etc/init.d")).isDir())
        return missing(Text::tr("The directory /etc/init.d does not exist."),
                       Text::tr("Use --no-boot."));
    return std::nullopt;
}

Problem checkWritable(Session &session)
{
    QStringList places(QStringLiteral("/etc"));
    if (buildsDriver(session))
        places.append(moduleTree(session.kernelRelease));
    for (const QString &place : qAsConst(places)) {
        if (::access(QFile::encodeName(place).constData(), W_OK) != 0 && errno != ENOENT)
            return missing(Text::tr("%1 cannot be written to: %2.").arg(place, qt_error_string()),
                           Text::tr("Mount the file system for writing."));
    }
    return std::nullopt;
}

// What needs no other answer first. Root comes first: the rest would fail in odder ways without.
constexpr Problem (*checks[])(Session &) = {
    checkRoot,          choosePackageTools,   checkTools,      checkBundle,
    checkKernelHeaders, checkBackupDirectory, checkInitScript, checkCatalogue,
    checkConnection,    checkRunLevels,       checkWritable,   checkBus,
};

}

Outcome checkSystem(Session &session)
{
    for (const auto check : checks) {
        if (const Problem problem = check(session))
            return *problem;
    }
    return Outcome::done();
}

}
