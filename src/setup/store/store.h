// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_STORE_H
#define KESTRA_SETUP_STORE_H

#include "filestate.h"

#include <QMap>
#include <QSet>
#include <QStringList>
#include <QVector>

namespace Setup {

/** The parts of a set-up, each of which can be undone alone. */
enum class Part { Driver, Connection, Boot, NameServers, PackageSources };

/** A path that a set-up has changed. */
struct StoredItem
{
    enum Condition {
        AsBefore, ///< as if there had been no set-up
        AsLeft, ///< as the set-up left it
        Edited, ///< neither: somebody has changed it since
        Missing ///< somebody has removed it since
    };

    Part part;
    QString path;
    FileState before;
    FileState after;
    /**
     * A directory that the set-up fills: all that is in it is the set-up's. While it is being
     * filled, "after" is nothing.
     */
    bool isTree = false;

    Condition condition() const;
    bool isBeingFilled() const { return isTree && after.kind == FileState::Nothing; }
};

/** What undoing has come to. */
struct Undone
{
    QStringList restored;
    QStringList edited; ///< left alone, as somebody has changed it since
    QStringList failed;
    bool isNoted = true; ///< also on disk
};

/**
 * What was there before the first set-up, kept for as long as it can be undone. It is in a
 * directory of root's, so that another process can undo after a restart of the machine, too.
 *
 * A path is remembered before it is changed, on disk; the first word counts, so that a second
 * set-up does not take the first one's work for the original.
 */
class Store
{
public:
    static QString directory() { return QStringLiteral("/var/lib/kestra"); }

    /** Reads what is there. What cannot be read is a fault(), and nothing is remembered then. */
    Store();

    /** A sentence that says why the store is of no use, or nothing. */
    QString fault() const { return m_fault; }

    /**
     * What is at @p path is about to be changed, and directories on the way are to be made.
     *
     * @return whether it could be remembered
     */
    bool remember(Part part, const QString &path) { return remember(part, QStringList {path}); }

    /** @param culprit the path that could not be remembered */
    bool remember(Part part, const QStringList &paths, QString *culprit = nullptr);

    /**
     * The directory @p path is about to be emptied and filled anew, by tools of which nobody knows
     * what they leave in it. What is in it is kept.
     */
    bool rememberTree(Part part, const QString &path, QString *culprit = nullptr);

    /** Any entry of @p directory may be changed, until seal(). */
    bool rememberEntries(Part part, const QString &directory);

    /** These were not there before and have been made. On disk with the next seal(). */
    void rememberNew(Part part, const QStringList &paths);

    /**
     * Anything may be added below @p directory, until seal(), by tools that nobody may be left to
     * watch. What is there already is not kept, only its name.
     *
     * @param others what begins with this is made by other programs, too
     */
    bool rememberNames(Part part, const QString &directory, const QString &others);

    /** These packages were installed. */
    bool rememberPackages(const QString &manager, const QStringList &names);

    /** Takes what is there now for what the set-up leaves. */
    bool seal();

    /**
     * The same at the end of a set-up. What is as before then was not changed, and is forgotten:
     * whoever changes it later does not do so to our work.
     */
    bool finish();

    const QVector<StoredItem> &items() const { return m_items; }
    QStringList packages() const { return m_packages; }
    QString packageManager() const { return m_packageManager; }

    /** Whether a set-up of another process did not come to its end: it may have left anything. */
    bool wasCutOff() const { return m_wasCutOff; }

    /** Whether there is anything to undo of these parts. */
    bool has(const QVector<Part> &parts) const;

    /**
     * Makes everything of these parts be as before, the last change first.
     *
     * @param evenEdited also what somebody has changed since
     */
    Undone undo(const QVector<Part> &parts, bool evenEdited);

    /** The file that keeps the content of a file as it was. */
    QString contentOf(const FileState &state) const;

    /** The packages are gone again, or these of them were never there. */
    bool forgetPackages();
    bool forgetPackages(const QStringList &names);

    /** The kernel releases whose modules are among the items. */
    QStringList kernelReleases() const;

private:
    /** The entries of a directory before a change. */
    struct Listing
    {
        Part part;
        QMap<QString, FileState> entries; ///< by path
    };

    /** All that is below a directory before a change. */
    struct Names
    {
        Part part;
        QStringList paths;
        QString others;
    };

    void read();
    bool write();
    bool keepContent(const QString &path, const FileState &state);
    bool add(Part part, const QString &path, const FileState &before);
    bool addMissingParents(Part part, const QString &path);
    bool writeUnlessNew();
    bool isEmpty() const;
    void append(const StoredItem &item);
    bool undo(const StoredItem &item) const;
    bool isBelowTreeBeingFilled(const QString &path) const;
    void settleListings();
    void settleNames();
    void putTimeBack(const StoredItem &item) const;
    void discardContents();

    QString m_fault;
    QVector<StoredItem> m_items;
    QSet<QString> m_known; ///< their paths
    QMap<QString, Listing> m_listings; ///< by directory
    QMap<QString, Names> m_names; ///< by directory
    QString m_packageManager;
    QStringList m_packages;
    bool m_isFinished = false;
    bool m_wasCutOff = false;
    QSet<QString> m_touched; ///< paths that this process may have changed
};

}

#endif
