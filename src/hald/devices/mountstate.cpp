// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "mountstate.h"

#include "log.h"

#include <libmount.h>

#include <memory>

namespace Hald {

namespace {

// The first process sees what everybody sees. The service itself is shut off from places in which a
// disc can be mounted, such as the home directories, and from what was mounted there earlier.
constexpr const char *tables[] = {"/proc/1/mountinfo", "/proc/self/mountinfo"};

struct Unref
{
    void operator()(libmnt_table *table) const { mnt_unref_table(table); }
    void operator()(libmnt_iter *iterator) const { mnt_free_iter(iterator); }
};

using Table = std::unique_ptr<libmnt_table, Unref>;

Table readTable()
{
    for (const char *path : tables) {
        Table table(mnt_new_table_from_file(path));
        if (table)
            return table;
    }
    qCWarning(hald) << "The kernel's table of mounts cannot be read.";
    return nullptr;
}

bool isWhole(libmnt_fs *mount)
{
    const char *root = mnt_fs_get_root(mount);
    return root && qstrcmp(root, "/") == 0;
}

/** The place of the device, the earliest if there are several; rather not that of a part of it. */
QString mountPoint(dev_t device)
{
    const Table table = readTable();
    if (!table)
        return {};
    const std::unique_ptr<libmnt_iter, Unref> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    QString ofPart;
    libmnt_fs *mount = nullptr;
    while (mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
        if (mnt_fs_get_devno(mount) != device)
            continue;
        const QString point = QString::fromUtf8(mnt_fs_get_target(mount));
        if (isWhole(mount))
            return point;
        if (ofPart.isEmpty())
            ofPart = point;
    }
    return ofPart;
}

const QString isMountedKey = QStringLiteral("volume.is_mounted");
const QString mountPointKey = QStringLiteral("volume.mount_point");

}

bool isMountProperty(const QString &key) { return key == isMountedKey || key == mountPointKey; }

QVariantMap mountProperties(dev_t device)
{
    const QString point = mountPoint(device);
    return {{isMountedKey, !point.isEmpty()}, {mountPointKey, point}};
}

}
