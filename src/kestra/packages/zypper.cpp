// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "zypper.h"

#include <kestra/foundation/myprocess.h>
#include <kestra/foundation/text_p.h>

#include <QDebug>
#include <QProcess>
#include <QThread>

#include <initializer_list>

using Kestra::Private::readLine;
using Kestra::Private::text;
using Kestra::Private::textUpToNul;

namespace {

constexpr int queryTimeout = 30000; // ms
constexpr int installTimeout = 300000;

const QString program = QStringLiteral("zypper");

bool isYes(const QString &column) { return column == QLatin1String("Yes"); }

}

Zypper::Zypper(QThread *thread)
    : Rpm(thread)
    , m_installProcess(new MyProcess(nullptr))
    , m_reposProcess(new MyProcess(nullptr))
    , m_addRepoProcess(new QProcess)
    , m_modifyRepoProcess(new QProcess)
    , m_showProcess(new QProcess)
    , m_reposRegExp(QStringLiteral("(\\b[0-9]{1,2}\\b)\\s*\\|"
                                   "\\s*(\\bYes|No\\b)\\s*\\|"
                                   "\\s*(\\bYes|No\\b)\\s*\\|"
                                   "\\s*(\\b.{1,10}\\b)\\s*\\|"
                                   "\\s*(\\b.{1,40}\\b)\\s*\\|"
                                   "\\s*(\\b.{1,40}\\b)"))
    , m_progressRegExp(QStringLiteral("(^. Reading repository .{1,100} cache)|"
                                      "(^. Reading installed packages)|"
                                      "(^\\* Installing: )"))
{
    const QStringList environment = QProcess::systemEnvironment() << QStringLiteral("LC_ALL=C");
    for (QProcess *process :
         std::initializer_list<QProcess *> {m_installProcess, m_reposProcess, m_addRepoProcess,
                                            m_modifyRepoProcess, m_showProcess}) {
        if (thread)
            process->moveToThread(thread);
        process->setEnvironment(environment);
    }
    // Called in the thread that waits for the tool, so that all lines are there when it has ended.
    connect(m_installProcess, &MyProcess::lineAvailable, this, &Zypper::debugProcess,
            Qt::DirectConnection);
}

Zypper::~Zypper()
{
    delete m_installProcess;
    delete m_reposProcess;
    delete m_addRepoProcess;
    delete m_modifyRepoProcess;
    delete m_showProcess;
}

QList<ZypperRepo> Zypper::getRepos()
{
    // The command line is not cleared, nor are the rows: both grow with each call.
    m_reposProcess->addArgument(program);
    m_reposProcess->addArgument(QStringLiteral("repos"));
    connect(m_reposProcess, &MyProcess::lineAvailable, this, &Zypper::debugZyppRepos,
            Qt::DirectConnection);
    m_reposProcess->start();
    m_reposProcess->waitForFinished(queryTimeout);
    disconnect(m_reposProcess, &MyProcess::lineAvailable, this, &Zypper::debugZyppRepos);
    return m_repos;
}

void Zypper::debugZyppRepos(QByteArray line)
{
    if (m_reposRegExp.indexIn(textUpToNul(line)) == -1)
        return;
    ZypperRepo repo;
    repo.number = m_reposRegExp.cap(1).toInt();
    repo.enabled = isYes(m_reposRegExp.cap(2));
    repo.refresh = isYes(m_reposRegExp.cap(3));
    repo.type = m_reposRegExp.cap(4);
    repo.alias = m_reposRegExp.cap(5);
    repo.name = m_reposRegExp.cap(6);
    m_repos.append(repo);
}

int Zypper::addRepo(const QString &url, const QString &name)
{
    m_addRepoProcess->start(program, {QStringLiteral("ar"), url, name}, QIODevice::ReadWrite);
    m_addRepoProcess->waitForFinished(queryTimeout);
    return m_addRepoProcess->exitCode();
}

bool Zypper::enableRepo(QString alias, bool enable)
{
    const QString confirmation =
        QStringLiteral("Repository ") + alias + QStringLiteral(" has been sucessfully modified.");
    m_modifyRepoProcess->start(
        program,
        {QStringLiteral("mr"), enable ? QStringLiteral("-e") : QStringLiteral("-d"), alias},
        QIODevice::ReadWrite);
    m_modifyRepoProcess->waitForFinished(queryTimeout);
    return m_modifyRepoProcess->readAllStandardOutput().contains(confirmation.toLocal8Bit());
}

bool Zypper::getArePackagesAvailable(const QStringList &packages)
{
    m_showProcess->start(QStringLiteral("apt-cache"),
                         QStringList(QStringLiteral("show")) + packages, QIODevice::ReadWrite);
    m_showProcess->waitForFinished(queryTimeout);
    const QRegExp notFound(QStringLiteral("package (.{1,100}) not found"));
    while (!m_showProcess->atEnd()) {
        if (notFound.indexIn(text(readLine(*m_showProcess, 200))) != -1)
            return false;
    }
    return true;
}

int Zypper::install(const QStringList &packages)
{
    if (packages.isEmpty())
        return 0;
    m_installProcess->clearArguments();
    const QStringList command {program, QStringLiteral("--non-interactive"),
                               QStringLiteral("--no-gpg-checks"), QStringLiteral("install")};
    for (const QString &argument : command + packages)
        m_installProcess->addArgument(argument);

    m_log.append("Zypper::install(): begin.");
    m_installProcess->start();
    m_installProcess->waitForFinished(installTimeout);
    m_log.append("Zypper::install(): end.");
    const int code = m_installProcess->exitCode();
    qDebug() << "Zypper::install(): m_installProcess exited with code:" << code;
    return code;
}

void Zypper::debugProcess(QByteArray line)
{
    const QString output = text(line);
    if (m_progressRegExp.indexIn(output) != -1)
        return;
    qDebug() << "Zypper::debugProcess():" << output;
    m_log.append(line);
}
