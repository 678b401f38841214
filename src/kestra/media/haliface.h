// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MEDIA_HALIFACE_H
#define KESTRA_MEDIA_HALIFACE_H

#include <kestra/foundation/export.h>

#include <QDBusInterface>

/**
 * The manager object of the hardware daemon on the system bus, built when the library is loaded.
 *
 * The daemon need not run then. To be used from one thread.
 */
extern KESTRA_EXPORT QDBusInterface hal_iface;

#endif
