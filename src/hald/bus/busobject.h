// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_HALD_BUSOBJECT_H
#define KESTRA_HALD_BUSOBJECT_H

#include <QDBusMessage>
#include <QDBusVirtualObject>

#include <functional>
#include <vector>

namespace Hald {

class Callers;

/** An object path of the service: a table of methods, and the interfaces that describe them. */
class BusObject : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /** @param callers gets to know who calls */
    explicit BusObject(Callers &callers);

    bool handleMessage(const QDBusMessage &call, const QDBusConnection &connection) final;

protected:
    struct Method
    {
        const char *interface;
        const char *member;
        const char *signature; ///< of the arguments
        std::function<QDBusMessage(const QDBusMessage &call)> answer;
    };

    /** The methods whose calls are answered here. */
    virtual const std::vector<Method> &methods() const = 0;

private:
    QDBusMessage answer(const QDBusMessage &call) const;
    bool hasInterface(const QString &name) const;

    Callers &m_callers;
};

/** The description of an interface for introspection, from the file that is also installed. */
QString interfaceDescription(const QString &interface);

}

#endif
