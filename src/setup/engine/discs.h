// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_DISCS_H
#define KESTRA_SETUP_DISCS_H

#include "base/outcome.h"

#include <QString>
#include <QVector>

#include <optional>

namespace Setup {

class Session;

/** A disc in a drive. */
struct Disc
{
    QString label; ///< may be empty
    QString device;
    QString udi;
    QString mountPoint; ///< empty when it is not mounted

    QString description() const;
};

struct Discs
{
    QVector<Disc> discs;
    std::optional<Outcome> problem; ///< why the hardware service could not tell, if so
};

/** Asks the hardware service, and the library of what it tells. Blocks for the answers. */
Discs discsInDrives();

/**
 * Returns whether there are packages for the package tools on it, and mounts it for as long as it
 * takes to look. Nothing when that is not possible.
 */
std::optional<bool> holdsPackages(const Session &session, const Disc &disc);

/** Mounts the disc where the package tools look for it, and makes it a source of packages. */
Outcome addAsSource(Session &session, const Disc &disc);

/** Unmounts and ejects the disc. */
Outcome eject(const Disc &disc);

enum class DiscOffer { Added, Declined };

/** Asks a person, who is told @p why, for a disc, and makes it a source of packages. */
DiscOffer offerDisc(Session &session, const QString &why);

}

#endif
