// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "apt.h"

#include "prefixmatcher_p.h"

#include <kestra/foundation/debugline_p.h>
#include <kestra/foundation/debuglog.h>
#include <kestra/foundation/myprocess.h>
#include <kestra/foundation/text_p.h>

#include <QDebug>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <initializer_list>

using Kestra::Private::debugLine;
using Kestra::Private::PrefixMatcher;
using Kestra::Private::textUpToNul;

namespace {

constexpr int queryTimeout = 30000; // ms
constexpr int installTimeout = 300000;

constexpr char installedState[] = "ii  "; // wanted and installed, in the listing of dpkg

QByteArray joined(const QStringList &names)
{
    return names.join(QStringLiteral(", ")).toLocal8Bit();
}

}

Apt::Apt(QThread *thread)
    : QObject(thread)
    , m_cdromProcess(new MyProcess(nullptr))
    , m_installProcess(new MyProcess(nullptr))
    , m_dpkgProcess(new QProcess)
    , m_cacheProcess(new QProcess)
    , m_packagesAvailable(false)
    , m_unableRegExp(QStringLiteral("W: Unable to locate package (.{1,100})"))
{
    if (!thread) {
        debugLine("Apt::Apt(): parent is null!\n");
    } else {
        for (QProcess *process : std::initializer_list<QProcess *> {
                 m_cdromProcess, m_installProcess, m_dpkgProcess, m_cacheProcess})
            process->moveToThread(thread);
    }

    const QStringList environment = QProcess::systemEnvironment() << QStringLiteral("LC_ALL=C");
    for (QProcess *process :
         std::initializer_list<QProcess *> {m_cdromProcess, m_installProcess, m_cacheProcess})
        process->setEnvironment(environment);

    // Called in the thread that waits for the tool, so that all lines are there when it has ended.
    for (MyProcess *process : {m_cdromProcess, m_installProcess})
        connect(process, &MyProcess::lineAvailable, this, &Apt::debugProcess, Qt::DirectConnection);
    // Neither side of this connection exists: Qt refuses it with a warning, which is part of what
    // the constructor writes. The availability query reads what apt-cache said when it has ended.
    connect(m_cacheProcess, SIGNAL(lineAvailable(QByteArray)), this,
            SLOT(debugAptCache(QByteArray)));
}

Apt::~Apt()
{
    debugLine("Apt::~Apt(): dtor called.\n");
    delete m_cdromProcess;
    delete m_installProcess;
    delete m_dpkgProcess;
    delete m_cacheProcess;
}

void Apt::debugProcess(QByteArray line)
{
    debugLine("Apt::debugProcess(): %s.\n", line.constData());
    m_log.append(line);
}

bool Apt::getArePackagesAvailable(const QStringList &packages)
{
    debugLine("Apt::getArePackagesAvailable(): packages count: %i.\n", int(packages.count()));
    m_packagesAvailable = true;
    qDebug() << 1 << "true";

    m_cacheProcess->start(QStringLiteral("apt-cache"),
                          QStringList(QStringLiteral("showpkg")) + packages, QIODevice::ReadWrite);
    QByteArray errors;
    if (m_cacheProcess->waitForFinished(queryTimeout)) {
        debugLine("Apt::getArePackagesAvailable(): waiting for process finish.\n");
        errors = m_cacheProcess->readAllStandardError();
    }
    if (m_unableRegExp.indexIn(textUpToNul(errors)) != -1) {
        m_packagesAvailable = false;
        if (!debug)
            return false;
        // The dot of QRegExp matches line ends too.
        const QString package = m_unableRegExp.cap(1).section(QLatin1Char('\n'), 0, 0);
        debugLine("Apt::debugAptCache: package %s is unavailable.\n",
                  package.toLocal8Bit().constData());
    }
    debugLine("Apt::getArePackagesAvailable(): returning %s\n",
              m_packagesAvailable ? "true" : "false");
    return m_packagesAvailable;
}

QStringList Apt::getNotInstalled(QStringList packages)
{
    if (packages.isEmpty()) {
        debugLine("Apt::getNotInstalled(): packages list is empty!\n");
        return QStringList();
    }
    debugLine("Apt::getNotInstalled(): starting the process.\n");
    m_dpkgProcess->start(QStringLiteral("dpkg"), {QStringLiteral("-l")}, QIODevice::ReadWrite);
    QByteArray listing;
    if (m_dpkgProcess->waitForFinished(queryTimeout)) {
        debugLine("Apt::getNotInstalled(): waiting for process finish.\n");
        listing = m_dpkgProcess->readAllStandardOutput();
    }

    PrefixMatcher names(packages);
    const int stateSize = int(qstrlen(installedState));
    const QList<QByteArray> lines = listing.split('\n');
    for (const QByteArray &line : lines) {
        if (!line.startsWith(installedState))
            continue;
        const QStringList installed =
            names.takePrefixesOf(line.constData() + stateSize, line.size() - stateSize);
        for (const QString &name : installed)
            debugLine("Apt::getNotInstalled(): package %s is installed.\n",
                      name.toLocal8Bit().constData());
    }
    packages = names.remaining();
    debugLine("Apt::getNotInstalled(): not installed packages: %s.\n",
              joined(packages).constData());
    return packages;
}

int Apt::addCD(const QString &mountPoint)
{
    debugLine("Apt::addCD(): mount point: %s\n", mountPoint.toLocal8Bit().constData());
    m_cdromProcess->clearArguments();
    m_cdromProcess->addArgument(QStringLiteral("apt-cdrom"));
    if (!mountPoint.isEmpty() && QFile::exists(mountPoint)) {
        m_cdromProcess->addArgument(QStringLiteral("-d"));
        m_cdromProcess->addArgument(mountPoint);
    }
    m_cdromProcess->addArgument(QStringLiteral("-m"));
    m_cdromProcess->addArgument(QStringLiteral("add"));

    debugLine("Apt::addCD(): starting the process.\n");
    m_cdromProcess->start();
    m_cdromProcess->waitForFinished(queryTimeout);
    const int code = m_cdromProcess->exitCode();
    debugLine("Apt::addCD(): the process exited with code %i.\n", code);
    return code;
}

int Apt::install(const QStringList &packages, bool simulate)
{
    if (packages.isEmpty()) {
        debugLine("Apt::install(): packages list is empty, return -1!\n");
        return -1;
    }
    debugLine("Apt::install(): packages list: %s.\n", joined(packages).constData());
    QStringList command {QStringLiteral("apt-get")};
    if (simulate)
        command << QStringLiteral("-s");
    command << QStringLiteral("install") << QStringLiteral("-y") << QStringLiteral("--force-yes");
    m_installProcess->clearArguments();
    for (const QString &argument : command + packages)
        m_installProcess->addArgument(argument);

    m_log.append("Apt::install(): begin.\n");
    debugLine("Apt::install(): starting the install process.\n");
    m_installProcess->start();
    m_installProcess->waitForFinished(installTimeout);
    const int code = m_installProcess->exitCode();
    if (code != 0) // the code goes in as one raw byte, not as digits
        m_log.append("InstallProcess finished with code: ").append(char(code)).append("\n");
    m_log.append("Apt::install(): end.\n");
    debugLine("Apt::install(): exit code: %i!\n", code);
    return code;
}
