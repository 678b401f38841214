// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "haldprocess.h"

#include "busclient.h"
#include "files.h"
#include "literals.h"

#include <csignal>

namespace KestraTest {

namespace {

constexpr int startTime = 20000; // ms; much for a checking tool

void send(qint64 id, int signal)
{
    if (id > 0)
        kill(pid_t(id), signal);
}

}

HaldProcess::HaldProcess() : m_environment(QProcessEnvironment::systemEnvironment())
{
    m_environment.insert("LD_PRELOAD"_s, "libumockdev-preload.so.0"_s);
}

HaldProcess::~HaldProcess()
{
    if (!isRunning())
        return;
    resume();
    m_process.terminate();
    if (!m_process.waitForFinished(5000))
        m_process.kill();
    m_process.waitForFinished();
}

void HaldProcess::setVariable(const QString &name, const QString &value)
{
    m_environment.insert(name, value);
}

void HaldProcess::launch(const QStringList &arguments)
{
    m_process.setProcessEnvironment(m_environment);
    m_process.start(QString::fromLocal8Bit(HALD_PROGRAM), arguments);
    m_process.waitForStarted();
}

bool HaldProcess::start(const QStringList &arguments)
{
    launch(arguments);
    const BusClient client(m_environment.value("DBUS_SYSTEM_BUS_ADDRESS"_s));
    return waitUntil([&] { return !isRunning() || client.ownerProcess() == id(); }, startTime)
        && isRunning();
}

int HaldProcess::stop()
{
    m_process.terminate();
    return waitForEnd();
}

int HaldProcess::waitForEnd(int timeout)
{
    if (!waitUntil([&] { return !isRunning(); }, timeout))
        return -2;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void HaldProcess::pause()
{
    send(id(), SIGSTOP);
    const QString status = "/proc/%1/stat"_s.arg(id());
    waitUntil([&] { return readFile(status).contains(") T "); });
}

void HaldProcess::resume() { send(id(), SIGCONT); }

QStringList HaldProcess::takeLog()
{
    return QString::fromLocal8Bit(m_process.readAllStandardError())
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

qint64 HaldProcess::memory(const QByteArray &field) const
{
    const QList<QByteArray> lines = readFile("/proc/%1/status"_s.arg(id())).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).simplified().split(' ').constFirst().toLongLong();
    }
    return -1;
}

}
