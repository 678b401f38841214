// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PACKAGESYSTEM_H
#define KESTRA_SETUP_PACKAGESYSTEM_H

#include "base/outcome.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace Setup {

class Session;

/** The package tools of the session, through the library where that knows today's tools. */
class PackageSystem
{
public:
    explicit PackageSystem(Session &session);

    /** What was in the way, and whether packages on a disc could help. */
    struct Obstacle
    {
        Outcome outcome;
        bool mayADiscHelp = false;
    };

    /** Returns those of @p names that are not installed; nothing when the tools do not tell. */
    std::optional<QStringList> notInstalled(const QStringList &names);

    /** Has the tools try out an installation that changes nothing. */
    std::optional<Obstacle> tryOut(const QStringList &names);

    /** Installs what is not there, and keeps in the store what was installed. */
    std::optional<Obstacle> install(const QStringList &names);

    /** Makes the disc that is mounted at @p mountPoint a source. Returns the library's code. */
    int addDisc(const QString &mountPoint);

private:
    std::optional<QStringList> listed(const QString &states);
    std::optional<QStringList> notListed(const QStringList &names, const QString &states);
    int simulate(const QStringList &names);
    bool usesZypper() const;
    Obstacle doesNotAnswer(const QString &program) const;

    Session &m_session;
};

}

#endif
