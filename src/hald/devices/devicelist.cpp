// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "devicelist.h"

#include "describe.h"
#include "log.h"

#include <QSet>
#include <QTimer>

namespace Hald {

namespace {

constexpr int holdingTime = 2000; // ms; udev needs a quarter of that to read a disc

bool isEvent(const UdevDevice &device, const char *action)
{
    return device.action() == QLatin1String(action);
}

/** Otherwise udev still works on it, and will announce it. */
bool isComplete(const UdevDevice &device)
{
    return !device.action().isEmpty() || device.isInitialized();
}

}

DeviceList::DeviceList()
    : m_monitor([this](const UdevDevice &device) { handle(device); }, [this] { handleLoss(); })
{
}

bool DeviceList::start()
{
    if (!m_monitor.isValid())
        return false;
    for (const UdevDevice &device : m_monitor.scan()) {
        if (const auto description = describe(device))
            add(device.sysfsPath(), *description, device.isInitialized());
    }
    return true;
}

const Device *DeviceList::find(const QString &udi) const
{
    const auto found = m_byUdi.constFind(udi);
    return found == m_byUdi.constEnd() ? nullptr : &(*found)->device;
}

QStringList DeviceList::find(const std::function<bool(const Device &)> &fits) const
{
    QStringList result;
    for (const Entry &entry : m_entries) {
        if (fits(entry.device))
            result.append(entry.device.udi());
    }
    return result;
}

void DeviceList::handle(const UdevDevice &device)
{
    const QString path = device.sysfsPath();
    const auto description =
        isEvent(device, "remove") ? std::optional<Description>() : describe(device);
    const auto known = m_byPath.constFind(path);
    const bool isNew = known == m_byPath.constEnd()
        || (description && (*known)->device.appearance() != description->appearance);
    const bool isToBeHeld = isNew && description && description->isPreliminary;
    if (!isToBeHeld)
        m_held.remove(path);
    if (!description) {
        remove(path); // also a drive that has lost its disc
    } else if (isToBeHeld) {
        remove(path);
        hold(path, *description);
    } else if (known != m_byPath.constEnd()) {
        update(*known, device, *description);
    } else {
        announce(add(path, *description, isComplete(device)));
    }
}

void DeviceList::hold(const QString &path, const Description &description)
{
    const auto held = m_held.find(path);
    if (held != m_held.end() && held->description.appearance == description.appearance) {
        // It waits no longer for that: some drives tell of a change again and again.
        held->description = description;
        return;
    }
    const int number = m_nextHeld++;
    m_held.insert(path, {description, number});
    QTimer::singleShot(holdingTime, this, [this, path, number] { release(path, number); });
}

/** Nothing more has become known of it. */
void DeviceList::release(const QString &path, int number)
{
    const auto held = m_held.constFind(path);
    if (held == m_held.constEnd() || held->number != number)
        return;
    announce(add(path, held->description, true));
    m_held.erase(held);
}

void DeviceList::handleLoss()
{
    qCWarning(hald) << "Events were lost; looking at all devices again.";
    const std::vector<UdevDevice> devices = m_monitor.scan();
    QSet<QString> paths;
    for (const UdevDevice &device : devices)
        paths.insert(device.sysfsPath());
    m_held.clear();
    const QStringList known = m_byPath.keys();
    for (const QString &path : known) {
        if (!paths.contains(path))
            remove(path);
    }
    for (const UdevDevice &device : devices)
        handle(device);
}

void DeviceList::update(Entries::iterator entry, const UdevDevice &device,
                        const Description &description)
{
    const bool isAnnouncement = !entry->isComplete && isEvent(device, "add");
    if (!isAnnouncement && entry->device.appearance() != description.appearance) {
        // What was here has left unnoticed.
        remove(device.sysfsPath());
        announce(add(device.sysfsPath(), description, isComplete(device)));
        return;
    }
    entry->device.setDescription(description);
    if (isAnnouncement) {
        entry->isComplete = true;
        announce(*entry);
    }
}

void DeviceList::announce(const Entry &entry)
{
    if (entry.isComplete)
        Q_EMIT added(entry.device.udi());
}

const DeviceList::Entry &DeviceList::add(const QString &path, const Description &description,
                                         bool isComplete)
{
    const QString udi = m_names.take(description.name);
    m_entries.push_back({Device(udi, description), path, isComplete});
    const auto entry = std::prev(m_entries.end());
    m_byPath.insert(entry->path, entry);
    m_byUdi.insert(udi, entry);
    qCDebug(hald) << "added" << udi;
    return *entry;
}

void DeviceList::remove(const QString &path)
{
    const auto found = m_byPath.find(path);
    if (found == m_byPath.end())
        return;
    const Entries::iterator entry = *found;
    const QString udi = entry->device.udi();
    m_byPath.erase(found);
    m_byUdi.remove(udi);
    m_entries.erase(entry);
    m_names.giveBack(udi);
    qCDebug(hald) << "removed" << udi;
    Q_EMIT removed(udi);
}

}
