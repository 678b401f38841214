// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_ARCHIVE_H
#define KESTRA_SETUP_ARCHIVE_H

#include "base/outcome.h"
#include "collection.h"

namespace Setup {

/**
 * Writes @p members, below a directory @p name, to the new compressed tar archive @p path, which
 * only its owner may read. What is there already stays as it is.
 */
Outcome writeArchive(const QString &path, const QString &name, const QVector<Member> &members);

}

#endif
