// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_PACKAGES_APT_H
#define KESTRA_PACKAGES_APT_H

#include <kestra/foundation/export.h>

#include <QByteArray>
#include <QObject>
#include <QRegExp>
#include <QString>
#include <QStringList>

class MyProcess;
class QProcess;
class QThread;

/**
 * Packages on Debian and its relatives, through dpkg, apt-cache, apt-cdrom and apt-get.
 *
 * Each call runs one tool and blocks until it ends or its time is up; a tool that takes longer is
 * left running, and the call goes on with what it has. Messages are debug lines unless said
 * otherwise.
 */
class KESTRA_EXPORT Apt : public QObject
{
    Q_OBJECT

public:
    /** @param thread the parent of the object and the thread in which its tools run; may be null */
    explicit Apt(QThread *thread);
    ~Apt() override;

    /**
     * Returns false when apt-cache says "W: Unable to locate package" of one of @p packages.
     *
     * Blocks for up to 30 s; true when apt-cache cannot be run or takes longer. One line goes to
     * the Qt debug stream.
     */
    bool getArePackagesAvailable(const QStringList &packages);

    /**
     * Returns those of @p packages that dpkg does not list as installed, in their order.
     *
     * A name counts as installed when the name of an installed package begins with it. Blocks for
     * up to 30 s; all packages are returned when dpkg cannot be run or takes longer.
     */
    QStringList getNotInstalled(QStringList packages);

    /**
     * Makes a disc a source of packages with apt-cdrom.
     *
     * @param mountPoint where the disc is mounted; apt-cdrom looks in its own place when the path
     *        is empty or does not exist
     * @return the exit code of apt-cdrom. Blocks for up to 30 s.
     */
    int addCD(const QString &mountPoint);

    /**
     * Installs @p packages with apt-get, without questions.
     *
     * @param packages the names of the packages
     * @param simulate whether apt-get shall only say what it would do
     * @return the exit code of apt-get; -1 when the list is empty. Blocks for up to 300 s.
     */
    int install(const QStringList &packages, bool simulate);

public Q_SLOTS:
    /** Takes one output line of apt-get or apt-cdrom into the transcript. */
    void debugProcess(QByteArray line);

private:
    QByteArray m_log;
    MyProcess *m_cdromProcess;
    MyProcess *m_installProcess;
    QProcess *m_dpkgProcess;
    QProcess *m_cacheProcess;
    bool m_packagesAvailable;
    QRegExp m_unableRegExp;
};

#endif
