// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PACKAGENEEDS_H
#define KESTRA_SETUP_PACKAGENEEDS_H

#include "base/outcome.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

namespace Setup {

class Session;

/** A package, and what needs it. */
struct PackageNeed
{
    QString name;
    QString purpose;
};

/** What is needed, each package once; or why that cannot be told. */
struct PackageNeeds
{
    QVector<PackageNeed> packages;
    QString driver; ///< whose packages are among them; may be empty
    QStringList protocols; ///< likewise
    std::optional<Outcome> problem;

    QStringList names() const;
};

/**
 * Tells what the session needs: the packages that were given; or those of the driver, which was
 * given or belongs to the modem that is plugged in, and of the protocol. Does not wait for a modem.
 * When the set-up has built the driver already, its packages are there.
 */
PackageNeeds packageNeeds(Session &session);

}

#endif
