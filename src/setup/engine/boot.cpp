// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/files.h"
#include "base/paths.h"
#include "base/translate.h"
#include "session.h"
#include "stages.h"

#include <kestra/connection/scriptmanager.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace Setup {

namespace {

bool copyInitScript(const Settings &settings)
{
    QFile source(initScriptSource(settings));
    QSaveFile target(initScript());
    return source.open(QIODevice::ReadOnly) && target.open(QIODevice::WriteOnly)
        && target.write(source.readAll()) >= 0 && commit(target);
}

/** Returns all entries of the run-level directories. */
QStringList runLevelEntries(const QString &base)
{
    QStringList entries;
    for (int level = 0; level <= 6; ++level) {
        const QDir directory(runLevelDirectory(base, level));
        for (const QString &name : directory.entryList(QDir::Files | QDir::System | QDir::Hidden))
            entries.append(directory.filePath(name));
    }
    return entries;
}

QString linkName(const Session &session, const QString &base, int level)
{
    const bool stops = level == 0 || level == 1 || level == 6;
    return QStringLiteral("%1/%2%3kestrad")
        .arg(runLevelDirectory(base, level), stops ? QStringLiteral("K") : QStringLiteral("S"))
        .arg(session.settings.sequence);
}

QStringList runLevelDirectories(const QString &base)
{
    QStringList directories;
    for (int level = 0; level <= 6; ++level)
        directories.append(runLevelDirectory(base, level));
    return directories;
}

}

std::optional<Outcome> placeInitScript(Session &session)
{
    if (const auto problem = session.remember(Part::Connection, {initScript()}))
        return problem;
    if (!copyInitScript(session.settings))
        return notWritten(ExitCode::Connection, initScript());
    session.changed(initScript(), Text::tr("starts and stops the connection"));
    return std::nullopt;
}

Outcome linkBoot(Session &session)
{
    ScriptManager scripts;
    const QString base = scripts.getRcDir();
    if (!session.settings.wants(Goal::Connection)) { // which has put the script there
        if (const auto problem = placeInitScript(session))
            return *problem;
        scripts.setScriptsPermissions();
    }
    if (const auto problem = session.rememberEntries(Part::Boot, runLevelDirectories(base)))
        return *problem;
    const QStringList before = runLevelEntries(base);
    const int directory = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    scripts.addDaemonToStart(session.settings.sequence);
    const bool isBack = directory >= 0 && ::fchdir(directory) == 0;
    ::close(directory);
    if (!isBack)
        session.frontend.note(Text::tr("The working directory is gone."));

    const QStringList after = runLevelEntries(base);
    for (const QString &entry : before) {
        if (!after.contains(entry))
            session.changed(entry, Text::tr("removed"));
    }
    for (const QString &entry : after) {
        if (!before.contains(entry))
            session.changed(entry, Text::tr("link to %1").arg(QFileInfo(entry).symLinkTarget()));
    }
    for (int level = 0; level <= 6; ++level) {
        const QFileInfo link(linkName(session, base, level));
        if (!link.isSymLink() || link.symLinkTarget() != initScript())
            return Outcome::failed(ExitCode::Boot,
                                   Text::tr("The link %1 could not be made.").arg(link.filePath()),
                                   Text::tr("See what is in its place, then start again."));
    }
    return Outcome::done(Text::tr("%1/rc0.d to rc6.d").arg(base));
}

Outcome startConnection(Session &session)
{
    const auto code = session.runTool(initScript(), {QStringLiteral("start")}, QStringLiteral("/"));
    if (code == 0)
        return Outcome::done();
    return Outcome::failed(
        ExitCode::Start,
        Text::tr("The connection did not come up (%1 start: %2).")
            .arg(initScript(),
                 code ? Text::tr("code %1").arg(*code) : Text::tr("it did not run to its end")),
        Text::tr("See what it has said, and whether the modem is plugged in and the line "
                 "reaches it; try again with kestra-setup connect --start."));
}

}
