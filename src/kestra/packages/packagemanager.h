// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_PACKAGES_PACKAGEMANAGER_H
#define KESTRA_PACKAGES_PACKAGEMANAGER_H

#include <kestra/foundation/export.h>

#include <QObject>
#include <QString>
#include <QStringList>

class Apt;
class QThread;
class Zypper;

/**
 * Asks for and installs packages with the tools of the distribution.
 *
 * Requests go to the backend named at construction, an Apt or a Zypper; their documentation tells
 * how long a call may block and which messages it writes. Call setDebug() before the first use:
 * with an unknown manager one message goes to ::pFile even while ::debug is false.
 */
class KESTRA_EXPORT PackageManager : public QObject
{
    Q_OBJECT

public:
    /**
     * Creates both backends, whatever the name.
     *
     * Writes the two threads and the name to the Qt debug stream and "z:1" and "z:2" to standard
     * output.
     *
     * @param manager "apt" or "zypper"; with any other name requests fail as described below
     * @param thread must not be null. It becomes the parent of this object and of the backends,
     *        and the backends run their tools in it; call the methods from that thread.
     */
    PackageManager(const QString &manager, QThread *thread);
    ~PackageManager() override;

    /**
     * Returns those of @p packages that are not installed, in their order.
     *
     * With an unknown manager all of them, after a line on standard output. With "zypper" all of
     * them too, as long as nobody has called Rpm::queryDB().
     */
    QStringList getNotInstalled(QStringList packages);

    /**
     * Returns whether all of @p packages can be installed; true for an empty list and for an
     * unknown manager. Says what it was asked on standard output.
     */
    bool getArePackagesAvailable(QStringList packages);

    /** Returns whether @p package is installed; false with an unknown manager. */
    bool getIsPackageInstalled(const QString &package);

    /**
     * Installs @p packages.
     *
     * @return the exit code of the tool; 0 when there is nothing to do (no packages, or an empty
     *         manager name); -2 with an unknown manager
     */
    int installPackages(const QStringList &packages);

    /**
     * Makes the disc that is mounted at @p mountPoint a source of packages.
     *
     * On zypper the disc is known by the product that its file "products" names. A repository of
     * that name is enabled if need be, otherwise one is added. Explains itself on the Qt debug
     * stream.
     *
     * @return with "apt" what Apt::addCD() returns. With "zypper": 0 when the repository exists and
     *         is enabled; 1 (success) or 0 (failure) when it exists and had to be enabled; what
     *         Zypper::addRepo() returns when it was added; -1 when the disc has no file "products";
     *         -2 when the first line of that file is not understood. -2 with an unknown manager.
     */
    int addCD(const QString &mountPoint);

private:
    int addSuseDisc(const QString &mountPoint);

    QString m_manager;
    Apt *m_apt;
    Zypper *m_zypper;
};

#endif
