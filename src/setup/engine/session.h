// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_SESSION_H
#define KESTRA_SETUP_SESSION_H

#include "base/cancellation.h"
#include "base/frontend.h"
#include "base/libraryoutput.h"
#include "base/outcome.h"
#include "base/settings.h"
#include "catalogue.h"
#include "line.h"
#include "store/store.h"

#include <kestra/modem/compiler.h>

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QPair>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace Setup {

/** The modem that was found. */
struct Modem
{
    QString name;
    QString driver;
    QString driverVersion;
};

/** A file of the module tree that is in the backup. */
struct SavedModule
{
    QString installedPath;
    QString backupPath;
    QByteArray checksum;
};

/** The files of the module tree, and what tells a change of them. */
using ModuleTree = QHash<QString, QPair<QDateTime, qint64>>;

/** What the stages of a run share: the wishes, the way to the user, and what was found so far. */
class Session
{
    // Used by the thread of the output, which must end first.
    std::mutex m_toolLinesMutex;
    QStringList m_toolLines;
    QStringList *m_wantedLines = nullptr;

public:
    Session(const Settings &settings, Frontend &frontend, const Cancellation &cancellation);

    Settings settings; ///< with the answers to questions filled in
    Frontend &frontend;
    const Cancellation &cancellation;
    LibraryOutput output;

    const QString kernelRelease;
    QString packageManager;
    Modem modem;
    Line line;
    QString user;
    QString password;
    bool leavesNameServers = false; ///< as the user wants
    bool wasAnswered = false; ///< the user has answered a question

    Catalogue catalogue;
    CatalogueEntry knownDriver; ///< what the catalogue knows of the modem's driver, if anything
    QStringList bundleMembers;
    qint64 bundleSize = 0; ///< bytes on a disk when it is unpacked
    Compiler::ModemDriver driver;
    std::unique_ptr<Compiler> compiler;
    /** Of the tools that were waited for last; nothing if none were, or their end was not seen. */
    std::optional<int> lateExitCode;
    QByteArray builtChecksum;
    QVector<SavedModule> savedModules; ///< the installed driver, moved to the backup
    QStringList otherModules; ///< names of what the driver's tree has built besides the driver
    QVector<SavedModule> copiedFiles; ///< what else the installation may replace
    std::optional<ModuleTree> treeBeforeInstallation;

    QVector<Change> changes;
    Store store;

    /** Remembers what became of @p path; the last word counts. */
    void changed(const QString &path, const QString &what);

    /**
     * Keeps what is at these paths, before they are changed, so that it can be brought back.
     *
     * @return why that is impossible, if it is
     */
    std::optional<Outcome> remember(Part part, const QStringList &paths);
    std::optional<Outcome> rememberTree(Part part, const QString &path);
    std::optional<Outcome> rememberEntries(Part part, const QStringList &directories);
    std::optional<Outcome> rememberNames(Part part, const QString &directory,
                                         const QString &others);

    std::optional<Outcome> rememberPackages(const QStringList &names);

    /** Lets events be handled for @p milliseconds. Returns false when the run is to stop. */
    bool pause(int milliseconds);

    /** Returns the last lines of the tools since the last call of forgetToolLines(). */
    QStringList toolLines();
    void forgetToolLines();

    /** Returns all lines that tools of the library print while @p work is done. */
    QStringList linesOf(const std::function<void()> &work);

    /**
     * Waits for tools that outran the library's own wait.
     *
     * A wish to stop has to wait, too: what a tool does is not to be left half done.
     *
     * @return the first tool that still ran when the time was up
     */
    std::optional<QString> waitForTools();
    /**
     * Runs a tool of our own. Its lines go the way of all tool lines, or into @p lines.
     *
     * @param timeLimit milliseconds
     * @return the exit code; nothing when it could not be started, was killed or ran for too long
     */
    std::optional<int> runTool(const QString &program, const QStringList &arguments,
                               const QString &directory, QStringList *lines = nullptr,
                               int timeLimit = 30 * 60 * 1000);

private:
    std::optional<Outcome> storeFault(const QString &path) const;
    void take(LibraryOutput::Kind kind, const QString &line);
};

}

#endif
