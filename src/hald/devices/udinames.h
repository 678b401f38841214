// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_UDINAMES_H
#define KESTRA_HALD_UDINAMES_H

#include <QHash>
#include <QString>

#include <set>

namespace Hald {

/** Gives out unique device identifiers. */
class UdiNames
{
public:
    /**
     * An identifier that no other device has now, made from @p name: what an object path cannot
     * hold becomes "_", and where others have the same name, a number is appended ("_0", "_1",
     * ...): the lowest that was given back, else the next.
     */
    QString take(const QString &name);

    /** The device with this identifier is gone. */
    void giveBack(const QString &udi);

private:
    /** A place among the devices of one name; the first one has no number in its identifier. */
    struct Places
    {
        int takeLowest();

        std::set<int> givenBack; ///< below next
        int next = 0;
        int taken = 0;
    };

    struct Origin
    {
        QString base;
        int place;
    };

    QHash<QString, Origin> m_origins; ///< by identifier
    QHash<QString, Places> m_places; ///< by identifier without a number
};

}

#endif
