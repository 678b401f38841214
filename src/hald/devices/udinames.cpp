// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "udinames.h"

namespace Hald {

namespace {

bool isAllowed(uint character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z')
        || (character >= '0' && character <= '9') || character == '_';
}

QString baseOf(const QString &name)
{
    QString result = QStringLiteral("/org/freedesktop/Hal/devices/");
    const auto characters = name.toUcs4(); // one outside the basic plane is one character, too
    for (const uint character : characters)
        result += QLatin1Char(isAllowed(character) ? char(character) : '_');
    return result;
}

QString udiAt(const QString &base, int place)
{
    return place == 0 ? base : QStringLiteral("%1_%2").arg(base).arg(place - 1);
}

}

int UdiNames::Places::takeLowest()
{
    ++taken;
    if (givenBack.empty())
        return next++;
    const int place = *givenBack.begin();
    givenBack.erase(givenBack.begin());
    return place;
}

QString UdiNames::take(const QString &name)
{
    const QString base = baseOf(name);
    Places &places = m_places[base];
    int place = places.takeLowest();
    // Another device may be called like this by itself, number and all.
    while (m_origins.contains(udiAt(base, place))) {
        --places.taken;
        place = places.takeLowest();
    }
    const QString udi = udiAt(base, place);
    m_origins.insert(udi, {base, place});
    return udi;
}

void UdiNames::giveBack(const QString &udi)
{
    const auto origin = m_origins.constFind(udi);
    if (origin == m_origins.constEnd())
        return;
    const auto places = m_places.find(origin->base);
    places->givenBack.insert(origin->place);
    if (--places->taken == 0)
        m_places.erase(places);
    m_origins.erase(origin);
}

}
