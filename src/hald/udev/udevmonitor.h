// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_UDEVMONITOR_H
#define KESTRA_HALD_UDEVMONITOR_H

#include "udevdevice.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>
#include <vector>

namespace Hald {

/** Tells of the devices of some subsystems: those that are there, and what happens to them. */
class UdevMonitor
{
public:
    /**
     * Listens from now on. Events wait until the event loop runs, so that a scan in between misses
     * nothing.
     *
     * @param event called for each event, in their order
     * @param lost called when the kernel had to drop events, so that only a scan can tell
     */
    UdevMonitor(std::function<void(const UdevDevice &)> event, std::function<void()> lost);
    ~UdevMonitor();
    Q_DISABLE_COPY(UdevMonitor)

    /** Whether udev can be listened to. If not, errno says why. */
    bool isValid() const { return bool(m_notifier); }

    /** The devices that are there now. */
    std::vector<UdevDevice> scan() const;

private:
    bool listen();
    void receive();
    bool hasMore() const;

    struct Unref
    {
        void operator()(udev *context) const { udev_unref(context); }
        void operator()(udev_monitor *monitor) const { udev_monitor_unref(monitor); }
        void operator()(udev_enumerate *enumerate) const { udev_enumerate_unref(enumerate); }
    };

    const std::function<void(const UdevDevice &)> m_event;
    const std::function<void()> m_lost;
    std::unique_ptr<udev, Unref> m_udev;
    std::unique_ptr<udev_monitor, Unref> m_monitor;
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_isLossy = false; ///< the kernel has dropped events
};

}

#endif
