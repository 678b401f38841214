// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "busproxy.h"

#include <QStandardPaths>
#include <QStringList>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int startTime = 10000; // ms
constexpr int endTime = 2000; // ms

const QString program = QStringLiteral("xdg-dbus-proxy");

// The hardware service is all that is asked. Its other methods, and all other services, are not
// even seen.
constexpr const char *questions[] = {
    "org.freedesktop.DBus.Introspectable.Introspect",
    "org.freedesktop.DBus.Peer.Ping",
    "org.freedesktop.Hal.Device.GetAllProperties",
    "org.freedesktop.Hal.Device.GetProperty",
    "org.freedesktop.Hal.Device.PropertyExists",
    "org.freedesktop.Hal.Device.QueryCapability",
    "org.freedesktop.Hal.Manager.DeviceExists",
    "org.freedesktop.Hal.Manager.FindDeviceByCapability",
    "org.freedesktop.Hal.Manager.FindDeviceStringMatch",
    "org.freedesktop.Hal.Manager.GetAllDevices",
};

QString busAddress()
{
    const QByteArray address = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address.isEmpty() ? QStringLiteral("unix:path=/run/dbus/system_bus_socket")
                             : QString::fromLocal8Bit(address);
}

QStringList proxyArguments(const QString &socket, int lifeline)
{
    QStringList arguments = {QStringLiteral("--fd=%1").arg(lifeline), busAddress(), socket,
                             QStringLiteral("--filter"),
                             QStringLiteral("--broadcast=org.freedesktop.Hal=*")};
    for (const char *question : questions)
        arguments.append(
            QStringLiteral("--call=org.freedesktop.Hal=%1@/*").arg(QLatin1String(question)));
    return arguments;
}

}

bool BusProxy::isInstalled() { return !QStandardPaths::findExecutable(program).isEmpty(); }

bool BusProxy::start(const QString &socket)
{
    int ends[2];
    if (::pipe2(ends, 0) != 0)
        return false;
    m_lifeline = ends[0];
    ::fcntl(m_lifeline, F_SETFD, FD_CLOEXEC);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.start(program, proxyArguments(socket, ends[1]));
    m_process.waitForStarted();
    ::close(ends[1]);
    // It says that it is ready by a byte; the pipe is closed if it has ended instead.
    char ready;
    pollfd waiting = {m_lifeline, POLLIN, 0};
    return ::poll(&waiting, 1, startTime) == 1 && ::read(m_lifeline, &ready, 1) == 1;
}

BusProxy::~BusProxy()
{
    if (m_lifeline >= 0)
        ::close(m_lifeline);
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(endTime))
        m_process.kill();
}

}
