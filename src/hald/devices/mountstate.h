// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_MOUNTSTATE_H
#define KESTRA_HALD_MOUNTSTATE_H

#include <QString>
#include <QVariantMap>

#include <sys/types.h>

namespace Hald {

/** Whether mountProperties() has this property. */
bool isMountProperty(const QString &key);

/** "volume.is_mounted" and "volume.mount_point", as the kernel's mount table has them now. */
QVariantMap mountProperties(dev_t device);

}

#endif
