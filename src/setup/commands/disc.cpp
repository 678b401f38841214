// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/text.h"
#include "base/translate.h"
#include "engine/discs.h"
#include "engine/session.h"
#include "engine/stages.h"
#include "options.h"

#include <QJsonArray>

#include <variant>

namespace Setup {

namespace {

QJsonObject json(const Disc &disc)
{
    return {{QStringLiteral("label"), disc.label},
            {QStringLiteral("device"), disc.device},
            {QStringLiteral("udi"), disc.udi},
            {QStringLiteral("mounted"), !disc.mountPoint.isEmpty()},
            {QStringLiteral("mount_point"), disc.mountPoint}};
}

QString line(const Disc &disc, const std::optional<bool> &hasPackages)
{
    const QString where = disc.mountPoint.isEmpty()
        ? Text::tr("not mounted")
        : Text::tr("mounted at %1").arg(disc.mountPoint);
    const QString what = !hasPackages ? Text::tr("content unknown")
        : *hasPackages                ? Text::tr("holds packages")
                                      : Text::tr("holds no packages");
    return QStringLiteral("%1  %2  (%3, %4)")
        .arg(disc.device, disc.label.isEmpty() ? Text::tr("no label") : disc.label, where, what);
}

Outcome noDisc()
{
    return Outcome::failed(ExitCode::Disc, Text::tr("There is no disc in a drive."),
                           Text::tr("Insert one, then start again."));
}

QString devices(const Discs &discs)
{
    QStringList names;
    for (const Disc &disc : discs.discs)
        names.append(disc.device);
    return printable(names.join(QStringLiteral(", ")));
}

/** The disc that is meant, which needs no name when there is no other. */
std::variant<Disc, Outcome> wantedDisc(const QString &name)
{
    const Discs discs = discsInDrives();
    if (discs.problem)
        return *discs.problem;
    if (discs.discs.isEmpty())
        return noDisc();
    for (const Disc &disc : discs.discs) {
        if (disc.udi == name || disc.device == name)
            return disc;
    }
    if (!name.isEmpty())
        return Outcome::failed(ExitCode::Disc,
                               Text::tr("There is no disc in %1.").arg(printable(name)),
                               Text::tr("There is one in %1.").arg(devices(discs)));
    if (discs.discs.size() == 1)
        return discs.discs.first();
    return Outcome::failed(ExitCode::Usage,
                           Text::tr("There is more than one disc: in %1.").arg(devices(discs)),
                           Text::tr("Name the device of the one that is meant."));
}

Answer act(const QString &name, const QString &sentence,
           const std::function<Outcome(const Disc &)> &action)
{
    const auto wanted = wantedDisc(name);
    if (const Outcome *const problem = std::get_if<Outcome>(&wanted))
        return {*problem, {}, {}};
    const Disc &disc = std::get<Disc>(wanted);
    Answer answer;
    answer.outcome = action(disc);
    answer.json.insert(QStringLiteral("disc"), json(disc));
    if (answer.outcome.kind == Outcome::Done)
        answer.lines.append(sentence.arg(disc.description()));
    return answer;
}

}

Answer listDiscs(Session &session, const Options &)
{
    if (const auto problem = choosePackageTools(session))
        return {*problem, {}, {}};
    const Discs discs = discsInDrives();
    Answer answer;
    QJsonArray list;
    for (const Disc &disc : discs.discs) {
        const std::optional<bool> hasPackages = holdsPackages(session, disc);
        QJsonObject object = json(disc);
        object.insert(QStringLiteral("holds_packages"),
                      hasPackages ? QJsonValue(*hasPackages) : QJsonValue());
        list.append(object);
        answer.lines.append(line(disc, hasPackages));
    }
    answer.json.insert(QStringLiteral("discs"), list);
    if (discs.problem)
        answer.outcome = *discs.problem;
    else if (discs.discs.isEmpty())
        answer.outcome = noDisc();
    return answer;
}

Answer addDisc(Session &session, const Options &options)
{
    if (const auto problem = checkRoot(session))
        return {*problem, {}, {}};
    if (const auto problem = checkPackageTools(session))
        return {*problem, {}, {}};
    return act(options.operand, Text::tr("A source of packages now: %1"),
               [&session](const Disc &disc) { return addAsSource(session, disc); });
}

Answer ejectDisc(Session &session, const Options &options)
{
    if (const auto problem = checkRoot(session))
        return {*problem, {}, {}};
    return act(options.operand, Text::tr("Ejected: %1"), eject);
}

}
