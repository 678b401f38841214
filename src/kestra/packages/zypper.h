// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_PACKAGES_ZYPPER_H
#define KESTRA_PACKAGES_ZYPPER_H

#include <kestra/foundation/export.h>
#include <kestra/packages/rpm.h>
#include <kestra/packages/zypperrepo.h>

#include <QByteArray>
#include <QList>
#include <QRegExp>
#include <QString>
#include <QStringList>

class MyProcess;

/**
 * Packages and repositories on SuSE, through zypper.
 *
 * Each call runs one tool and blocks until it ends or its time is up; a tool that takes longer is
 * left running, and the call goes on with what it has. Messages go to the Qt debug stream.
 */
class KESTRA_EXPORT Zypper : public Rpm
{
    Q_OBJECT

public:
    /** @param thread the parent of the object and the thread in which its tools run; may be null */
    explicit Zypper(QThread *thread);
    ~Zypper() override;

    /**
     * Lists the repositories. Blocks for up to 30 s.
     *
     * Lists accumulate: a second call on the same object repeats the words of the first on zypper's
     * command line and returns the rows of both. Use a new object for a fresh list.
     */
    QList<ZypperRepo> getRepos();

    /**
     * Adds a repository.
     *
     * @param url its address; a directory will do
     * @param name its alias
     * @return the exit code of zypper. Blocks for up to 30 s.
     */
    int addRepo(const QString &url, const QString &name);

    /**
     * Enables (@p enable) or disables the repository @p alias.
     *
     * @return whether zypper printed its confirmation, which is looked for with the spelling
     *         "sucessfully". Blocks for up to 30 s.
     */
    bool enableRepo(QString alias, bool enable);

    /**
     * Returns false when the list of available packages, as apt-cache prints it, has a line that
     * says that one of @p packages was not found.
     *
     * Blocks for up to 30 s; true when apt-cache cannot be run or takes longer.
     */
    bool getArePackagesAvailable(const QStringList &packages);

    /**
     * Installs @p packages without questions and without checking signatures.
     *
     * @return the exit code of zypper; 0 when the list is empty. Blocks for up to 300 s.
     */
    int install(const QStringList &packages);

public Q_SLOTS:
    /** Takes one output line of an installation into the transcript, unless it shows progress. */
    void debugProcess(QByteArray line);

    /** Takes one output line of the listing of repositories; lines that are no row are ignored. */
    void debugZyppRepos(QByteArray line);

private:
    QByteArray m_log;
    MyProcess *m_installProcess;
    MyProcess *m_reposProcess;
    QProcess *m_addRepoProcess;
    QProcess *m_modifyRepoProcess;
    QProcess *m_showProcess;
    QList<ZypperRepo> m_repos;
    QRegExp m_reposRegExp;
    QRegExp m_progressRegExp;
};

#endif
