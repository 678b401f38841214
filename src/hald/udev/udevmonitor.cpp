// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "udevmonitor.h"

#include <cerrno>
#include <poll.h>
#include <utility>

namespace Hald {

namespace {

struct Watched
{
    const char *subsystem;
    const char *type;
};

// The kernel filters by these, so that nothing else wakes the process.
constexpr Watched watched[] = {{"usb", "usb_device"}, {"block", "disk"}};

constexpr int bufferSize = 16 * 1024 * 1024; // what an ordinary user may not have is cut down
constexpr int eventsInOneGo = 256; // then calls get their turn

}

UdevMonitor::UdevMonitor(std::function<void(const UdevDevice &)> event, std::function<void()> lost)
    : m_event(std::move(event)), m_lost(std::move(lost)), m_udev(udev_new())
{
    if (!m_udev || !listen())
        return;
    m_notifier = std::make_unique<QSocketNotifier>(udev_monitor_get_fd(m_monitor.get()),
                                                   QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { receive(); });
}

UdevMonitor::~UdevMonitor() = default;

bool UdevMonitor::listen()
{
    m_monitor.reset(udev_monitor_new_from_netlink(m_udev.get(), "udev"));
    if (!m_monitor)
        return false;
    for (const Watched &row : watched)
        udev_monitor_filter_add_match_subsystem_devtype(m_monitor.get(), row.subsystem, row.type);
    udev_monitor_set_receive_buffer_size(m_monitor.get(), bufferSize);
    return udev_monitor_enable_receiving(m_monitor.get()) >= 0;
}

void UdevMonitor::receive()
{
    for (int count = 0; count < eventsInOneGo; ++count) {
        errno = 0;
        const UdevDevice device(udev_monitor_receive_device(m_monitor.get()));
        if (device)
            m_event(device);
        else if (errno == ENOBUFS)
            m_isLossy = true;
        else if (errno == EAGAIN)
            break;
    }
    // After the events that were kept: they are older than those that were not.
    if (m_isLossy && !hasMore()) {
        m_isLossy = false;
        m_lost();
    }
}

bool UdevMonitor::hasMore() const
{
    pollfd socket = {udev_monitor_get_fd(m_monitor.get()), POLLIN, 0};
    return poll(&socket, 1, 0) > 0;
}

std::vector<UdevDevice> UdevMonitor::scan() const
{
    const std::unique_ptr<udev_enumerate, Unref> enumerate(udev_enumerate_new(m_udev.get()));
    for (const Watched &row : watched)
        udev_enumerate_add_match_subsystem(enumerate.get(), row.subsystem);
    udev_enumerate_scan_devices(enumerate.get());

    std::vector<UdevDevice> devices;
    udev_list_entry *entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get()))
    {
        const char *path = udev_list_entry_get_name(entry);
        UdevDevice device(udev_device_new_from_syspath(m_udev.get(), path));
        if (device)
            devices.push_back(std::move(device));
    }
    return devices;
}

}
