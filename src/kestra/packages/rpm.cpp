// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "rpm.h"

#include "prefixmatcher_p.h"

#include <QDebug>
#include <QProcess>
#include <QThread>

#include <utility>

using Kestra::Private::PrefixMatcher;

namespace {

constexpr int queryTimeout = 30000; // ms

}

Rpm::Rpm(QThread *thread) : QObject(thread), m_askProcess(new QProcess)
{
    m_askProcess->setEnvironment(QProcess::systemEnvironment() << QStringLiteral("LC_ALL=C"));
    if (thread)
        m_askProcess->moveToThread(thread);
}

Rpm::~Rpm() { delete m_askProcess; }

int Rpm::queryDB()
{
    m_askProcess->start(QStringLiteral("rpm"), {QStringLiteral("-qa")}, QIODevice::ReadWrite);
    if (m_askProcess->waitForFinished(queryTimeout)) {
        m_rawOutput = m_askProcess->readAllStandardOutput();
        m_installed = m_rawOutput.split('\n');
    }
    qDebug() << "Rpm::queryDB(): m_askProcess exited with code:" << m_askProcess->exitCode();
    return m_askProcess->exitCode();
}

QStringList Rpm::getNotInstalled(QStringList packages)
{
    if (packages.isEmpty() || m_installed.isEmpty())
        return packages;

    PrefixMatcher names(packages);
    for (const QByteArray &line : std::as_const(m_installed)) {
        const QStringList installed = names.takePrefixesOf(line.constData(), line.size());
        for (const QString &name : installed)
            qDebug() << name << "is installed.";
    }
    return names.remaining();
}
