// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_REPORT_H
#define KESTRA_SETUP_REPORT_H

#include "changes.h"
#include "programs.h"

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

namespace Setup {

/** What a preview has to show. */
struct Report
{
    QVector<Description> changes;
    QMap<QString, int> besides; ///< how many files there are of a kind that is only counted
    QVector<PackageChange> packages;
    QVector<ProgramCall> calls;
};

Report makeReport(const QVector<Layer> &layers, const QVector<ProgramCall> &calls);

QStringList reportLines(const Report &report); ///< for a person
QJsonObject reportJson(const Report &report); ///< for a program

}

#endif
