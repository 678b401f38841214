// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_EXCERPT_H
#define KESTRA_SETUP_EXCERPT_H

#include <QByteArray>
#include <QString>

namespace Setup {

/** What is in a file, up to a limit, and in whole lines: half a secret would not be recognised. */
struct Excerpt
{
    enum Part { Beginning, End };

    QByteArray bytes;
    bool isWhole = false;
    QString fault; ///< why there is nothing; a part of a sentence

    /** Does not wait for anything, and takes regular files only. */
    static Excerpt of(const QString &path, int limit, Part part = End, bool followsLinks = false);

    /** What @p bytes hold up to the last end of a line within the limit. */
    static QByteArray wholeLines(const QByteArray &bytes, int limit);
};

}

#endif
