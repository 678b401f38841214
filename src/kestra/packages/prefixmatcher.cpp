// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "prefixmatcher_p.h"

#include <algorithm>

namespace Kestra::Private {

namespace {

constexpr int root = 0;

}

PrefixMatcher::PrefixMatcher(const QStringList &names)
    : m_names(names), m_found(names.size(), false), m_namesEndingAt(1)
{
    for (int index = 0; index < names.size(); ++index) {
        int node = root;
        const QByteArray bytes = names.at(index).toLocal8Bit();
        for (char byte : bytes) {
            int &next = m_nodes[edge(node, byte)];
            if (next == root) {
                next = static_cast<int>(m_namesEndingAt.size());
                m_namesEndingAt.emplace_back();
            }
            node = next;
        }
        m_namesEndingAt[node].push_back(index);
    }
}

quint64 PrefixMatcher::edge(int node, char byte)
{
    return quint64(node) << 8 | static_cast<uchar>(byte);
}

QStringList PrefixMatcher::takePrefixesOf(const char *text, int size)
{
    std::vector<int> taken;
    int node = root;
    for (int pos = 0;; ++pos) {
        std::vector<int> &here = m_namesEndingAt[node];
        taken.insert(taken.end(), here.begin(), here.end());
        here.clear();
        if (pos == size)
            break;
        node = m_nodes.value(edge(node, text[pos]), root);
        if (node == root)
            break;
    }

    std::sort(taken.begin(), taken.end());
    QStringList names;
    for (int index : taken) {
        m_found[index] = true;
        names.append(m_names.at(index));
    }
    return names;
}

QStringList PrefixMatcher::remaining() const
{
    QStringList names;
    for (int index = 0; index < m_names.size(); ++index) {
        if (!m_found[index])
            names.append(m_names.at(index));
    }
    return names;
}

}
