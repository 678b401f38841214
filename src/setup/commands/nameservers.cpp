// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "engine/files.h"
#include "engine/foreign.h"
#include "engine/paths.h"
#include "engine/translate.h"

#include <kestra/connection/dnsmanager.h>

#include <QFileInfo>
#include <QJsonArray>

#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <netdb.h>
#include <resolv.h>

namespace Setup {

namespace {

constexpr int answerTimeout = 2; // s

QStringList serversInFile()
{
    QStringList servers;
    for (const QByteArray &line : content(resolverFile()).split('\n')) {
        const QStringList words = QString::fromLocal8Bit(line).simplified().split(QLatin1Char(' '));
        if (words.size() > 1 && words.constFirst() == QLatin1String("nameserver"))
            servers.append(words.at(1));
    }
    return servers;
}

/** Asks for what every name server knows: where the names begin. */
bool answers(const QString &server)
{
    struct __res_state state = {};
    if (::res_ninit(&state) != 0)
        return false;
    state.retrans = answerTimeout;
    state.retry = 1;
    state.nscount = 1;
    state.nsaddr_list[0] = {};
    state.nsaddr_list[0].sin_family = AF_INET;
    state.nsaddr_list[0].sin_port = htons(NAMESERVER_PORT);
    unsigned char answer[NS_PACKETSZ];
    const bool isAddress =
        ::inet_pton(AF_INET, server.toUtf8().constData(), &state.nsaddr_list[0].sin_addr) == 1;
    const bool isAnswered =
        isAddress && ::res_nquery(&state, ".", ns_c_in, ns_t_ns, answer, int(sizeof answer)) >= 0;
    // Also a server that knows nothing is there and has answered.
    const bool knowsNothing = isAddress && state.res_h_errno == NO_DATA;
    ::res_nclose(&state);
    return isAnswered || knowsNothing;
}

QString words(bool isAddressKnown, bool isAnswering)
{
    if (!isAddressKnown)
        return Text::tr("is no IPv4 address and was not asked");
    return isAnswering ? Text::tr("answers") : Text::tr("does not answer");
}

}

Answer checkNameServers(const Options &)
{
    Answer answer;
    DNS_Manager manager;
    const QFileInfo file(resolverFile());
    const bool isOurs = manager.isFileCorrect();
    if (file.isSymLink())
        answer.lines.append(
            Text::tr("%1 is a link to %2.").arg(resolverFile(), file.symLinkTarget()));
    const QString owner = ownerOfResolver(resolverFile());
    if (!owner.isEmpty())
        answer.lines.append(Text::tr("It is the file of %1, which may write it again.").arg(owner));
    if (file.exists() && !isOurs && owner.isEmpty())
        answer.lines.append(Text::tr("%1 holds more than name servers, or is the file of "
                                     "another program.")
                                .arg(resolverFile()));
    QJsonArray servers;
    bool isAnyAnswering = false;
    for (const QString &server : serversInFile()) {
        in_addr address;
        const bool isAddress = ::inet_pton(AF_INET, server.toUtf8().constData(), &address) == 1;
        const bool isAnswering = isAddress && answers(server);
        isAnyAnswering |= isAnswering;
        answer.lines.append(QStringLiteral("%1 %2.").arg(server, words(isAddress, isAnswering)));
        servers.append(QJsonObject {{QStringLiteral("address"), server},
                                    {QStringLiteral("answers"), isAnswering}});
    }
    answer.json = {{QStringLiteral("file"), resolverFile()},
                   {QStringLiteral("owner"), owner},
                   {QStringLiteral("link_to"), file.symLinkTarget()},
                   {QStringLiteral("holds_only_name_servers"), isOurs},
                   {QStringLiteral("servers"), servers}};
    if (!isAnyAnswering)
        answer.outcome = Outcome::failed(
            ExitCode::NameServers,
            servers.isEmpty() ? Text::tr("%1 names no name server.").arg(resolverFile())
                              : Text::tr("No name server answers."),
            Text::tr("See whether the connection is up (kestra-setup status), then set others "
                     "with kestra-setup dns set."));
    return answer;
}

}
