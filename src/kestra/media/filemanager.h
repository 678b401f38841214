// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MEDIA_FILEMANAGER_H
#define KESTRA_MEDIA_FILEMANAGER_H

#include <kestra/foundation/export.h>

#include <QObject>
#include <QRegExp>
#include <QString>
#include <QStringList>

/**
 * Searches, indexes, copies and removes files.
 *
 * Directories are read in the order in which the file system gives their entries. The lists of
 * an object grow from call to call until they are cleared. Messages go to the Qt debug stream
 * unless said otherwise; the calls block as long as the walk or the copy takes.
 */
class KESTRA_EXPORT FileManager : public QObject
{
    Q_OBJECT

public:
    FileManager();
    ~FileManager() override;

    /** Returns the absolute paths that indexFiles() has collected. */
    QStringList getIndex() const;

    /** Empties the index. */
    void clearIndex();

    /** Forgets the files that findFiles() has met. */
    void clearFoundFilesList();

    /**
     * Adds every readable file below @p path to the index, hidden ones included, depth first.
     * Symbolic links are neither taken nor followed. Writes no message.
     *
     * @return false when @p path, or a directory below it while it is walked, does not exist
     */
    bool indexFiles(const QString &path);

    /**
     * Adds the files below @p directory whose names hold a match of @p pattern to @p result, each
     * path once. Hidden files and symbolic links are left out.
     *
     * Files that earlier calls have met are matched again, until clearFoundFilesList().
     */
    void findFiles(QString directory, const QRegExp &pattern, QStringList &result);

    /**
     * Looks for a file named @p name below @p directory and sets @p result to its path; leaves it
     * as it was when there is none.
     *
     * A match in a directory ends the search below that directory, not beside it: of several
     * branches the last one counts. Symbolic links to directories are followed.
     */
    void findFile(QString directory, const QString &name, QString &result);

    /**
     * Copies the file @p source into @p destinationDirectory, which is created if need be; a
     * failure to do so goes to the Qt warning stream. An existing file is not overwritten.
     */
    void copyFile(const QString &source, const QString &destinationDirectory);

    /** Copies several files like copyFile(); one that fails does not stop the others. */
    void copyFiles(const QStringList &sources, const QString &destinationDirectory);

    /** Removes the file @p path. */
    void removeFile(const QString &path);

private:
    QStringList m_foundFiles;
    QStringList m_index;
    QStringList m_spareList;
    int m_spareCounter;
};

#endif
