// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "busobject.h"

#include "callers.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QFile>

#include <algorithm>

namespace Hald {

namespace {

/** Whether a call is of the interfaces that every object has. */
bool isOfEveryObject(const QDBusMessage &call)
{
    // A call may come without an interface.
    return call.interface().isEmpty()
        ? call.member() == QLatin1String("Introspect")
        : call.interface().startsWith(QLatin1String("org.freedesktop.DBus."));
}

}

BusObject::BusObject(Callers &callers) : m_callers(callers) { }

bool BusObject::handleMessage(const QDBusMessage &call, const QDBusConnection &connection)
{
    m_callers.add(call.service());
    if (isOfEveryObject(call))
        return false; // left to Qt
    const QDBusMessage reply = answer(call);
    if (call.isReplyRequired())
        connection.send(reply);
    return true;
}

QDBusMessage BusObject::answer(const QDBusMessage &call) const
{
    for (const Method &method : methods()) {
        if (call.member() != QLatin1String(method.member)
            || (!call.interface().isEmpty() && call.interface() != QLatin1String(method.interface)))
            continue;
        if (call.signature() == QLatin1String(method.signature))
            return method.answer(call);
        return call.createErrorReply(
            QDBusError::InvalidArgs,
            QStringLiteral("%1 takes arguments of the signature \"%2\", not \"%3\".")
                .arg(call.member(), QLatin1String(method.signature), call.signature()));
    }
    if (!call.interface().isEmpty() && !hasInterface(call.interface()))
        return call.createErrorReply(
            QDBusError::UnknownInterface,
            QStringLiteral("%1 has no interface %2.").arg(call.path(), call.interface()));
    return call.createErrorReply(
        QDBusError::UnknownMethod,
        QStringLiteral("%1 has no method %2.")
            .arg(call.interface().isEmpty() ? call.path() : call.interface(), call.member()));
}

bool BusObject::hasInterface(const QString &name) const
{
    return std::any_of(methods().begin(), methods().end(), [&](const Method &method) {
        return name == QLatin1String(method.interface);
    });
}

QString interfaceDescription(const QString &interface)
{
    QFile file(QStringLiteral(":/interfaces/%1.xml").arg(interface));
    file.open(QIODevice::ReadOnly);
    const QString text = QString::fromUtf8(file.readAll());
    const QString end = QStringLiteral("</interface>");
    const int start = int(text.indexOf(QLatin1String("<interface ")));
    return text.mid(start, int(text.indexOf(end)) + int(end.size()) - start) + QLatin1Char('\n');
}

}
