// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_REPLACED_H
#define KESTRA_SETUP_REPLACED_H

#include "base/outcome.h"

#include <QByteArray>
#include <QStringList>

#include <optional>

namespace Setup {

class Session;

/** The entry of the secrets files that is ours. */
QByteArray ourSecret(const Session &session);

/** The content of pppd's options file that is ours. */
QByteArray ourOptions();

/** The name servers to set; none when nobody knows any. */
QStringList wantedNameServers(const Session &session);

/**
 * Tells of what others have in the files that are going to be replaced, and asks whether name
 * servers that are another program's business shall be.
 */
std::optional<Outcome> tellOfReplaced(Session &session);

}

#endif
