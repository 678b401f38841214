// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_DEVICELIST_H
#define KESTRA_HALD_DEVICELIST_H

#include "device.h"
#include "udev/udevmonitor.h"
#include "udinames.h"

#include <QHash>
#include <QObject>

#include <list>

namespace Hald {

/** The devices that are there, and the news of them. */
class DeviceList : public QObject
{
    Q_OBJECT

public:
    DeviceList();

    /** Finds what is there already. False if udev cannot be listened to; errno says why. */
    bool start();

    int count() const { return m_byPath.size(); }

    /** Null if there is no such device. */
    const Device *find(const QString &udi) const;

    /** The identifiers of the devices for which @p fits holds, in the order of their arrival. */
    QStringList find(const std::function<bool(const Device &)> &fits) const;

Q_SIGNALS:
    /** The device can be found by now. */
    void added(const QString &udi);
    /** The device cannot be found any more. */
    void removed(const QString &udi);

private:
    struct Entry
    {
        Device device;
        QString path; ///< in sysfs, where udev has one device at a time
        bool isComplete; ///< false until udev, which still works on it, announces it
    };
    using Entries = std::list<Entry>;

    void handle(const UdevDevice &device);
    void hold(const QString &path, const Description &description);
    void release(const QString &path, int number);
    void handleLoss();
    void update(Entries::iterator entry, const UdevDevice &device, const Description &description);
    const Entry &add(const QString &path, const Description &description, bool isComplete);
    void announce(const Entry &entry);
    void remove(const QString &path);

    UdevMonitor m_monitor;
    UdiNames m_names;
    Entries m_entries;
    QHash<QString, Entries::iterator> m_byPath;
    QHash<QString, Entries::iterator> m_byUdi;

    /** What is not shown yet, as more may become known of it soon. */
    struct Held
    {
        Description description;
        int number; ///< tells it from an earlier one at the same path
    };
    QHash<QString, Held> m_held; ///< by path
    int m_nextHeld = 0;
};

}

#endif
