// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "privatebus.h"

#include "busclient.h"
#include "files.h"
#include "literals.h"

#include <csignal>

namespace KestraTest {

PrivateBus::PrivateBus(const QByteArray &policy)
{
    writeFile(m_directory.filePath("bus.conf"_s),
              "<busconfig><type>system</type><listen>" + address().toLatin1()
                  + "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                    "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                    "<allow eavesdrop=\"true\"/><allow own=\"*\"/><allow user=\"*\"/>"
                  + policy + "</policy></busconfig>");
}

PrivateBus::~PrivateBus() { stop(); }

QString PrivateBus::address() const { return "unix:path="_s + m_directory.filePath("socket"_s); }

bool PrivateBus::start()
{
    remove(m_directory.filePath("socket"_s));
    m_process.start("dbus-daemon"_s,
                    {"--nofork"_s, "--nopidfile"_s, "--nosyslog"_s,
                     "--config-file="_s + m_directory.filePath("bus.conf"_s)});
    return waitUntil([this] {
        const bool isThere = QDBusConnection::connectToBus(address(), "attempt"_s).isConnected();
        QDBusConnection::disconnectFromBus("attempt"_s);
        return isThere;
    });
}

void PrivateBus::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    resume();
    m_process.terminate();
    m_process.waitForFinished();
}

void PrivateBus::pause() { kill(pid_t(m_process.processId()), SIGSTOP); }

void PrivateBus::resume() { kill(pid_t(m_process.processId()), SIGCONT); }

}
