// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PROVIDERCHECK_H
#define KESTRA_SETUP_PROVIDERCHECK_H

#include <QString>
#include <QVector>

class QIODevice;

namespace Setup {

/** A place in a file, line and column counted from 1, and what is wrong there. */
struct ProviderFault
{
    qint64 line;
    qint64 column;
    QString message;
};

/**
 * Checks a provider database against what services.rng demands, and that no name comes twice.
 *
 * @return the faults in their order, at most a hundred; reading ends at the first that is no XML
 */
QVector<ProviderFault> checkProviders(QIODevice &database);

}

#endif
