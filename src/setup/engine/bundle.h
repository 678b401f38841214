// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_BUNDLE_H
#define KESTRA_SETUP_BUNDLE_H

#include "session.h"

namespace Setup {

Outcome badBundle(const Settings &settings, const QString &what, const QString &nextStep);

/** Reads the driver bundle to its end and keeps the names of its members. Says what is wrong. */
std::optional<Outcome> readBundle(Session &session);

/** Returns whether nothing can be written to the disk of @p directory any more. */
bool isFull(const QString &directory);

/** Returns the bytes that are left on the disk of @p directory, if it counts them. */
std::optional<qint64> spaceLeft(const QString &directory);

/** Returns what of the bundle was not unpacked whole, if there is anything. */
std::optional<QString> cutOffMember(Session &session);

/** The one directory that a bundle has on top; that of the driver's name when there are several. */
QString usualTree(const QStringList &members, const QString &driverName);

}

#endif
