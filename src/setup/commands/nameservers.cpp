// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/files.h"
#include "base/foreign.h"
#include "base/paths.h"
#include "base/translate.h"

#include <kestra/connection/dnsmanager.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QtEndian>

#include <memory>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int answerTimeout = 2000; // ms

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

struct Socket
{
    const int descriptor;

    explicit Socket(int family) : descriptor(::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) { }
    ~Socket() { ::close(descriptor); }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
};

/** A question that every name server understands: where do the names begin? */
QByteArray questionFor(quint16 id)
{
    QByteArray question(2, '\0');
    qToBigEndian(id, question.data());
    return question
        + QByteArray::fromHex("0100 0001 0000 0000 0000" // one, by way of others
                              "00 0002 0001"); // the root, NS, IN
}

bool isAnswerTo(const QByteArray &question, const QByteArray &message)
{
    return message.size() >= 12 && message.startsWith(question.left(2)) && (message.at(2) & 0x80);
}

/** Any answer will do, also one that the server does not want to say. */
bool isAnswered(const QByteArray &question, int socket)
{
    QElapsedTimer time;
    time.start();
    pollfd waiting = {socket, POLLIN, 0};
    while (!time.hasExpired(answerTimeout)
           && ::poll(&waiting, 1, int(answerTimeout - time.elapsed())) > 0) {
        QByteArray message(512, '\0');
        const ssize_t size = ::recv(socket, message.data(), std::size_t(message.size()), 0);
        if (size < 0)
            return false;
        if (isAnswerTo(question, message.left(int(size))))
            return true;
    }
    return false;
}

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

Addresses addressesOf(const QString &server)
{
    addrinfo wish = {};
    wish.ai_flags = AI_NUMERICHOST;
    wish.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    if (::getaddrinfo(server.toUtf8().constData(), "53", &wish, &found) != 0)
        found = nullptr;
    return {found, ::freeaddrinfo};
}

bool answers(const QString &server)
{
    const Addresses address = addressesOf(server);
    if (!address)
        return false;
    const Socket socket(address->ai_family);
    const QByteArray question = questionFor(quint16(QRandomGenerator::global()->generate()));
    return ::connect(socket.descriptor, address->ai_addr, address->ai_addrlen) == 0
        && ::send(socket.descriptor, question.constData(), std::size_t(question.size()),
                  MSG_NOSIGNAL)
        == question.size()
        && isAnswered(question, socket.descriptor);
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
        const bool isAnswering = answers(server);
        isAnyAnswering |= isAnswering;
        answer.lines.append(
            (isAnswering ? Text::tr("%1 answers.") : Text::tr("%1 does not answer.")).arg(server));
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
