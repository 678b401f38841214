// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_MASK_H
#define KESTRA_SETUP_MASK_H

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>
#include <vector>

namespace Setup {

/**
 * Puts asterisks in the place of secrets, however these are encoded or quoted, in one pass whose
 * cost grows with the text alone.
 *
 * Secrets that overlap are masked as one, so that the rest of the second cannot be seen. A secret
 * of up to three characters is masked where it stands alone, with neither a letter nor a digit next
 * to it, as it does wherever a program names it: it would be in every second word otherwise.
 */
class Mask
{
public:
    static constexpr int longestShortSecret = 3; ///< in characters

    explicit Mask(const QStringList &secrets = {});

    /** From now on @p secrets are masked, too. Empty ones and the wildcard "*" are none. */
    void add(const QStringList &secrets);

    QByteArray applied(const QByteArray &bytes) const;
    QString applied(const QString &text) const;

private:
    /** A state of the search: the longest beginning of a secret that the bytes so far end with. */
    struct State
    {
        std::map<char, int> next;
        int fallback = 0; ///< the state for the next shorter beginning
        bool endsSecret = false;
        bool endsShortSecret = false;
        int depth = 0;
        // Of all secrets that end here, those of the fallbacks included:
        int longest = 0; ///< bytes
        std::vector<int> shortOnes; ///< bytes of each
    };

    void addSecret(const QString &secret);
    void addForm(const QByteArray &form, bool isShort);
    void link();
    int step(int state, char byte) const;

    std::vector<State> m_states = std::vector<State>(1);
};

}

#endif
