// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PROVIDERDATABASE_H
#define KESTRA_SETUP_PROVIDERDATABASE_H

#include "base/outcome.h"
#include "line.h"

#include <kestra/connection/serviceparser.h>

#include <QFile>
#include <QHash>
#include <QPair>

#include <optional>

namespace Setup {

/** The provider database: the library's reader, with answers as results, and what it leaves alone.
 */
class ProviderDatabase
{
public:
    /** Opens a file to read a database from, or says why it is none. */
    static std::optional<Outcome> open(QFile &file);

    /** Says what is wrong with the file; the library would only find no countries in it. */
    static std::optional<Outcome> check(const QString &path);

    /** How a run ends when the database is of no use. */
    static Outcome damaged(const QString &path, QString why);

    explicit ProviderDatabase(const QString &path);

    QStringList countries();

    /** Selects a country, too. */
    QStringList services(const QString &country);

    /** A service of the selected country; its encapsulation is the protocol's usual one if the
     *  database names none. */
    std::optional<Line> line(const QString &service);

    /** By country and service. */
    using Encapsulations = QHash<QPair<QString, QString>, QString>;

private:
    const QString m_path;
    ServiceParser m_parser;
    QString m_country;
    QStringList m_names;
    std::optional<Line> m_line;
    std::optional<Encapsulations> m_encapsulations; ///< once they are wanted
};

}

#endif
