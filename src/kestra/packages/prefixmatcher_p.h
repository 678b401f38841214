// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_PACKAGES_PREFIXMATCHER_P_H
#define KESTRA_PACKAGES_PREFIXMATCHER_P_H

#include <QByteArray>
#include <QStringList>

#include <vector>

namespace Kestra::Private {

/**
 * Finds out which of many names begin one of many lines.
 *
 * A name that has been found is gone; one that was given several times is found several times,
 * at its first line. The names are kept in a tree of their bytes, so that a line costs no more
 * than the bytes it shares with the longest name that it follows, however many names there are.
 */
class PrefixMatcher
{
public:
    /** Takes the names, in the local 8-bit encoding. */
    explicit PrefixMatcher(const QStringList &names);

    /** Takes away the names that @p text begins with and returns them, in their given order. */
    QStringList takePrefixesOf(const char *text, int size);

    /** Returns the names that were not found, in their given order. */
    QStringList remaining() const;

private:
    /** One byte of the names that go on from the same beginning. Indices, or none. */
    struct Node
    {
        char byte;
        int firstChild;
        int nextSibling;
        int firstName; ///< of those that end here
    };

    int childOf(int node, char byte) const;
    int addChild(int node, char byte);

    QStringList m_names;
    std::vector<bool> m_found; // by name
    std::vector<int> m_nextName; // that ends at the same node, by name
    std::vector<Node> m_nodes;
};

}

#endif
