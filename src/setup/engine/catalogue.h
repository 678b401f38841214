// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_CATALOGUE_H
#define KESTRA_SETUP_CATALOGUE_H

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

namespace Setup {

/** What is known of a driver: how it is built, and where a person gets what it needs. */
struct CatalogueEntry
{
    QString name;
    QString version; ///< as the modem table has it
    QString modems;

    QString bundle; ///< file name; empty when nobody carries the source
    QString bundleSource;
    QString tree; ///< the directory that the bundle unpacks into
    QString module; ///< file name
    QString compileArguments; ///< with @KERNEL_HEADERS@ for the directory of the headers
    QString installArguments; ///< likewise
    QString makeEnvironment;
    QStringList loadModules; ///< in the order in which they are loaded

    QStringList firmware; ///< below /lib/firmware
    QString firmwareNote;
    QString firmwareSource;

    // What building it takes, with @KERNEL@ for the release of the kernel.
    QStringList packagesApt;
    QStringList packagesZypper;
};

/** The drivers of the catalogue, by name; or one sentence that says why it cannot be read. */
struct Catalogue
{
    QVector<CatalogueEntry> drivers;
    QString fault;
};

Catalogue readCatalogue(const QString &dataDirectory);

/** Returns the driver of that name; one without a name if there is none. */
CatalogueEntry findDriver(const Catalogue &catalogue, const QString &name);

/** Splits the value of a key that is a list; QSettings does so by itself where quotes are missing.
 */
QStringList catalogueList(const QVariant &value);

}

#endif
