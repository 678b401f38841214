// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "prefixmatcher_p.h"

#include <algorithm>
#include <utility>

namespace Kestra::Private {

namespace {

constexpr int root = 0;
constexpr int none = -1;

}

PrefixMatcher::PrefixMatcher(const QStringList &names)
    : m_names(names)
    , m_found(names.size(), false)
    , m_nextName(names.size(), none)
    , m_nodes {{'\0', none, none, none}}
{
    for (int name = 0; name < names.size(); ++name) {
        int node = root;
        const QByteArray bytes = names.at(name).toLocal8Bit();
        for (char byte : bytes) {
            const int child = childOf(node, byte);
            node = child != none ? child : addChild(node, byte);
        }
        m_nextName[name] = std::exchange(m_nodes[node].firstName, name);
    }
}

int PrefixMatcher::childOf(int node, char byte) const
{
    int child = m_nodes[node].firstChild;
    while (child != none && m_nodes[child].byte != byte)
        child = m_nodes[child].nextSibling;
    return child;
}

int PrefixMatcher::addChild(int node, char byte)
{
    const int child = static_cast<int>(m_nodes.size());
    m_nodes.push_back({byte, none, std::exchange(m_nodes[node].firstChild, child), none});
    return child;
}

QStringList PrefixMatcher::takePrefixesOf(const char *text, int size)
{
    std::vector<int> taken;
    int node = root;
    for (int pos = 0; node != none; ++pos) {
        for (int name = std::exchange(m_nodes[node].firstName, none); name != none;
             name = m_nextName[name])
            taken.push_back(name);
        node = pos < size ? childOf(node, text[pos]) : none;
    }

    std::sort(taken.begin(), taken.end());
    QStringList names;
    for (int name : taken) {
        m_found[name] = true;
        names.append(m_names.at(name));
    }
    return names;
}

QStringList PrefixMatcher::remaining() const
{
    QStringList names;
    for (int name = 0; name < m_names.size(); ++name) {
        if (!m_found[name])
            names.append(m_names.at(name));
    }
    return names;
}

}
