// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_SUMMARY_H
#define KESTRA_SETUP_SUMMARY_H

#include <QString>
#include <QStringList>
#include <QVector>

namespace Setup {

/** What is going to be done, and with which answers. */
struct Summary
{
    struct Answer
    {
        QString what;
        QString value;
    };

    QVector<Answer> answers;
    QStringList steps; ///< titles of the stages to come
};

}

#endif
