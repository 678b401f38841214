// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "firmware.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

namespace {

constexpr int tarTimeout = 30000; // ms

}

Firmware::Firmware(QThread *thread)
    : QObject(thread), m_process(new QProcess), m_directory(new QDir(QString()))
{
    if (thread)
        m_process->moveToThread(thread);
}

Firmware::~Firmware()
{
    delete m_process;
    delete m_directory;
}

bool Firmware::installFirmware(const QString &archive, const QString &destination)
{
    if (!QFile::exists(archive))
        return false;
    if (!m_directory->exists(destination))
        m_directory->mkpath(destination);
    m_process->start(QStringLiteral("tar"),
                     {QStringLiteral("-C"), destination, QStringLiteral("-xf"), archive},
                     QIODevice::ReadWrite);
    m_process->waitForFinished(tarTimeout);
    return m_process->exitCode() == 0;
}
