// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_CHANGES_H
#define KESTRA_SETUP_CHANGES_H

#include "passwordmask.h"
#include "scratchsystem.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QVector>

namespace Setup {

/** A file, link or directory that is not as it was. */
struct FileChange
{
    QByteArray path;
    QByteArray before; ///< where it can be read as it was
    QByteArray after; ///< where it can be read as it is
};

/** A change as it is told. */
struct Description
{
    enum Kind { Added, Removed, Changed };

    QString path;
    Kind kind = Changed;
    QString remark; ///< mode, owner, target and the like; may be empty
    QString diff; ///< a unified diff; empty if there is none to show
};

/** A package that was installed, removed or exchanged; no version means that it is not there. */
struct PackageChange
{
    QString name;
    QString before;
    QString after;
};

/** Everything that differs, in the order of the paths. */
QVector<FileChange> findChanges(const QVector<Layer> &layers);

/** The passwords that changed files hold. */
PasswordMask findPasswords(const QVector<FileChange> &changes);

/** What dpkg knows of. */
QVector<PackageChange> findPackages(const QVector<FileChange> &changes);

/** What is in the packages that were installed, but for their configuration. */
QSet<QByteArray> findPackageFiles(const QVector<FileChange> &changes,
                                  const QVector<PackageChange> &packages);

/** Passwords, and what is in files that not everybody may read, are left out. */
Description describe(const FileChange &change, const PasswordMask &mask);

}

#endif
