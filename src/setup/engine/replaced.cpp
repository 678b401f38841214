// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "replaced.h"

#include "base/files.h"
#include "base/foreign.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/translate.h"
#include "question.h"
#include "session.h"

#include <kestra/connection/dnsmanager.h>

#include <QFileInfo>

namespace Setup {

namespace {

using Rendering = QString (*)(const QString &line);

void tellOfEntries(Session &session, const QString &path, const QByteArray &ours, Rendering shown)
{
    const QStringList lines = foreignLines(content(path), ours);
    if (lines.isEmpty())
        return;
    session.frontend.note(
        Text::tr("%1 has entries of its own, which are replaced (kestra-setup undo brings "
                 "them back):")
            .arg(path));
    for (const QString &line : lines)
        session.frontend.note(QStringLiteral("    ") + shown(line));
}

/** Says why the name servers are not only the administrator's business; nothing if they are. */
QString concernOfOthers()
{
    const QFileInfo resolver(resolverFile());
    const QString owner = ownerOfResolver(resolverFile());
    if (!owner.isEmpty())
        return Text::tr("%1 is the file of %2, which may write it again.")
            .arg(resolverFile(), owner);
    if (resolver.isSymLink())
        return Text::tr("%1 is a link to %2: another program may change it.")
            .arg(resolverFile(), resolver.symLinkTarget());
    if (resolver.exists() && !DNS_Manager().isFileCorrect())
        return Text::tr("%1 holds more than name servers, or is the file of another program, "
                        "which may write it again.")
            .arg(resolverFile());
    return QString();
}

std::optional<Outcome> askForNameServers(Session &session)
{
    const QString concern = concernOfOthers();
    if (concern.isEmpty())
        return std::nullopt;
    session.frontend.note(concern);
    if (session.settings.unattended) // --no-dns would have left it alone
        return std::nullopt;
    session.frontend.explain(Text::tr(
        "With no, the name servers stay as they are; most providers announce theirs when the "
        "connection comes up."));
    const auto ask = [&] {
        return session.frontend.askText(
            Text::tr("Write the name servers there all the same (yes or no)"));
    };
    const auto fault = [](const QString &answer) -> std::optional<Outcome> {
        if (yesOrNo(answer))
            return std::nullopt;
        return Outcome::failed(ExitCode::Usage, Text::tr("Please answer yes or no."),
                               Text::tr("Or use --no-dns."));
    };
    const auto answer = answerTo(
        session,
        {ask, fault,
         Outcome::failed(ExitCode::Usage, Text::tr("Nobody said what to do with the name servers."),
                         Text::tr("Answer when asked, or use --no-dns."))});
    if (std::holds_alternative<Outcome>(answer))
        return std::get<Outcome>(answer);
    session.leavesNameServers = !*yesOrNo(std::get<QString>(answer));
    return std::nullopt;
}

}

QByteArray ourSecret(const Session &session)
{
    return QStringLiteral("\"%1\" * \"").arg(session.user).toLatin1() + session.password.toLatin1()
        + "\" *\n";
}

QByteArray ourOptions() { return "replacedefaultroute\nupdetach\n"; }

QStringList wantedNameServers(const Session &session)
{
    const QString given = session.settings.nameServers;
    return given.isEmpty() ? session.line.nameServers : splitNames(given);
}

std::optional<Outcome> tellOfReplaced(Session &session)
{
    if (session.settings.wants(Goal::Connection)) {
        tellOfEntries(session, papSecrets(), ourSecret(session), withoutSecret);
        tellOfEntries(session, chapSecrets(), ourSecret(session), withoutSecret);
        tellOfEntries(session, pppdOptions(), ourOptions(), withoutPassword);
    }
    if (session.settings.wants(Goal::NameServers) && !wantedNameServers(session).isEmpty())
        return askForNameServers(session);
    return std::nullopt;
}

}
