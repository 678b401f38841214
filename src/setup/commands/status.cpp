// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/paths.h"
#include "base/translate.h"
#include "engine/catalogue.h"
#include "engine/modules.h"
#include "engine/presentmodems.h"
#include "options.h"
#include "store/store.h"

#include <kestra/connection/scriptmanager.h>
#include <kestra/foundation/systeminfo.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <unistd.h>

namespace Setup {

namespace {

/** One line of the status. */
struct Aspect
{
    QString text;
    QJsonValue json;
};

QStringList linesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly)
        ? QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'))
        : QStringList();
}

/** What kestra-setup has written for the init script. */
QMap<QString, QString> connectionSettings()
{
    QMap<QString, QString> settings;
    for (const QString &line : linesOf(connectionFile())) {
        const int equals = int(line.indexOf(QLatin1Char('=')));
        if (equals > 0)
            settings.insert(line.left(equals), line.mid(equals + 1));
    }
    return settings;
}

Aspect modem(const Options &)
{
    const PresentModems present = presentModems();
    QStringList names;
    for (const PresentModem &modem : present.modems)
        names.append(modem.name);
    QString text = names.join(QStringLiteral(", "));
    if (text.isEmpty())
        text = present.problem.isEmpty() ? Text::tr("none is plugged in")
                                         : Text::tr("unknown: ") + present.problem;
    return {text, QJsonArray::fromStringList(names)};
}

/** The driver may have been built without a connection. */
QString builtModule(const Options &options)
{
    QSet<QString> built;
    const Store store;
    for (const StoredItem &item : store.items()) {
        if (item.part == Part::Driver)
            built.insert(QFileInfo(item.path).fileName());
    }
    for (const CatalogueEntry &driver : readCatalogue(options.dataDirectory).drivers) {
        if (!driver.module.isEmpty() && built.contains(driver.module))
            return QFileInfo(driver.module).completeBaseName();
    }
    return QString();
}

Aspect driver(const Options &options)
{
    QString module = connectionSettings().value(QStringLiteral("MODULE"));
    if (module.isEmpty())
        module = builtModule(options);
    if (module.isEmpty())
        return {Text::tr("none is set up"), QJsonValue()};
    const QStringList files =
        installedCopies(Kestra::SystemInfo::getKernelRelease(), module + QStringLiteral(".ko"));
    // In the names of loaded modules the kernel has no dashes.
    QString loadedName = module;
    loadedName.replace(QLatin1Char('-'), QLatin1Char('_'));
    const bool isLoaded = QFileInfo::exists(QStringLiteral("/sys/module/") + loadedName);
    return {QStringLiteral("%1, %2, %3")
                .arg(module,
                     files.isEmpty() ? Text::tr("not installed for this kernel")
                                     : Text::tr("installed"),
                     isLoaded ? Text::tr("loaded") : Text::tr("not loaded")),
            QJsonObject {{QStringLiteral("module"), module},
                         {QStringLiteral("files"), QJsonArray::fromStringList(files)},
                         {QStringLiteral("loaded"), isLoaded}}};
}

bool isOurLink(const QString &path)
{
    const QFileInfo entry(path);
    return entry.isSymLink() && entry.symLinkTarget() == initScript();
}

Aspect boot(const Options &)
{
    const QString base = ScriptManager().getRcDir();
    QStringList links;
    for (int level = 0; level <= 6; ++level) {
        const QDir directory(runLevelDirectory(base, level));
        for (const QString &name : directory.entryList(QDir::Files | QDir::System)) {
            if (isOurLink(directory.filePath(name)))
                links.append(directory.filePath(name));
        }
    }
    return {links.isEmpty() ? Text::tr("the connection is not started at boot")
                            : Text::tr("the connection is started at boot"),
            QJsonArray::fromStringList(links)};
}

Aspect nameServers(const Options &)
{
    QStringList servers;
    for (const QString &line : linesOf(QStringLiteral("/etc/resolv.conf"))) {
        const QStringList words = line.simplified().split(QLatin1Char(' '));
        if (words.size() > 1 && words.constFirst() == QLatin1String("nameserver"))
            servers.append(words.at(1));
    }
    return {servers.isEmpty() ? Text::tr("none") : servers.join(QStringLiteral(", ")),
            QJsonArray::fromStringList(servers)};
}

QString addressOf(const ifaddrs &entry)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (entry.ifa_addr && entry.ifa_addr->sa_family == AF_INET) {
        const auto *const address = reinterpret_cast<const sockaddr_in *>(entry.ifa_addr);
        inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
    } else if (entry.ifa_addr && entry.ifa_addr->sa_family == AF_INET6) {
        const auto *const address = reinterpret_cast<const sockaddr_in6 *>(entry.ifa_addr);
        inet_ntop(AF_INET6, &address->sin6_addr, text, sizeof text);
    }
    return QString::fromLatin1(text);
}

QStringList addressesOf(const QString &interface)
{
    QStringList addresses;
    ifaddrs *list = nullptr;
    if (::getifaddrs(&list) != 0)
        return addresses;
    for (const ifaddrs *entry = list; entry; entry = entry->ifa_next) {
        if (interface == QLatin1String(entry->ifa_name))
            addresses.append(addressOf(*entry));
    }
    ::freeifaddrs(list);
    addresses.removeAll(QString());
    return addresses;
}

/** The init script knows what keeps a link down. Whoever has replaced it must not keep us waiting.
 */
QString troubleOfLink()
{
    constexpr int patience = 10000; // milliseconds
    if (!QFileInfo::exists(connectionFile()) || !QFileInfo(initScript()).isExecutable())
        return QString();
    QProcess script;
    script.setProcessChannelMode(QProcess::MergedChannels);
    script.start(initScript(), {QStringLiteral("status")});
    if (!script.waitForFinished(patience)) {
        script.kill();
        script.waitForFinished();
        return Text::tr("%1 does not answer").arg(initScript());
    }
    const QString said =
        QString::fromLocal8Bit(script.readAll()).trimmed().section(QLatin1Char('\n'), -1);
    static const QRegularExpression reason(
        QStringLiteral("^[^:]+: .*not (?:connected|running): (.*)$"));
    return reason.match(said).captured(1);
}

/** pppd writes its number and, once it has one, its interface. */
Aspect link(const Options &)
{
    const QStringList lines = linesOf(QStringLiteral("/run/ppp-kestra.pid"));
    const bool runs = QFileInfo::exists(QStringLiteral("/proc/") + lines.value(0).trimmed())
        && !lines.value(0).trimmed().isEmpty();
    const QString interface = runs ? lines.value(1).trimmed() : QString();
    const QStringList addresses = interface.isEmpty() ? QStringList() : addressesOf(interface);
    // Addresses stay for a while when nobody is at the other end any more.
    const QString trouble = troubleOfLink();
    const bool isUp = !addresses.isEmpty() && trouble.isEmpty();
    QString text = Text::tr("down");
    if (isUp)
        text = Text::tr("up, %1 has %2").arg(interface, addresses.join(QStringLiteral(", ")));
    else if (runs)
        text = Text::tr("pppd runs, but is not connected");
    if (!trouble.isEmpty())
        text += QStringLiteral(": ") + trouble;
    return {text,
            QJsonObject {{QStringLiteral("up"), isUp},
                         {QStringLiteral("trouble"), trouble},
                         {QStringLiteral("interface"), interface},
                         {QStringLiteral("addresses"), QJsonArray::fromStringList(addresses)}}};
}

struct Row
{
    const char *title;
    const char *key;
    Aspect (*look)(const Options &options);
};

constexpr Row rows[] = {
    {QT_TRANSLATE_NOOP("Setup", "modem"), "modem", modem},
    {QT_TRANSLATE_NOOP("Setup", "driver"), "driver", driver},
    {QT_TRANSLATE_NOOP("Setup", "boot"), "boot_links", boot},
    {QT_TRANSLATE_NOOP("Setup", "name servers"), "name_servers", nameServers},
    {QT_TRANSLATE_NOOP("Setup", "link"), "link", link},
};

struct ConditionName
{
    const char *key;
    const char *text;
};

// In the order of StoredItem::Condition.
constexpr ConditionName conditions[] = {
    {"as_before", QT_TRANSLATE_NOOP("Setup", "as before the set-up")},
    {"unchanged", QT_TRANSLATE_NOOP("Setup", "unchanged")},
    {"edited", QT_TRANSLATE_NOOP("Setup", "edited since")},
    {"missing", QT_TRANSLATE_NOOP("Setup", "missing")},
};

/** Only root may know what the set-up has kept. */
void tellFiles(Answer &answer)
{
    const Store store;
    QJsonArray files;
    for (const StoredItem &item : store.items()) {
        const ConditionName &condition = conditions[item.condition()];
        answer.lines.append(QStringLiteral("  %1: %2").arg(item.path, Text::tr(condition.text)));
        files.append(QJsonObject {{QStringLiteral("path"), item.path},
                                  {QStringLiteral("condition"), QLatin1String(condition.key)}});
    }
    answer.json.insert(QStringLiteral("files"), files);
    if (!store.fault().isEmpty())
        answer.lines.append(QStringLiteral("  ") + store.fault());
    else if (store.items().isEmpty())
        answer.lines.append(Text::tr("  none"));
}

}

Answer tellStatus(const Options &options)
{
    if (::geteuid() != 0)
        return {Outcome::failed(ExitCode::NotRoot, Text::tr("This program must run as root."),
                                Text::tr("Start it with sudo, or from a root shell.")),
                {},
                {}};
    Answer answer;
    for (const Row &row : rows) {
        const Aspect aspect = row.look(options);
        answer.lines.append(QStringLiteral("%1 %2").arg(
            (Text::tr(row.title) + QLatin1Char(':')).leftJustified(13), aspect.text));
        answer.json.insert(QLatin1String(row.key), aspect.json);
    }
    answer.lines.append(Text::tr("files that a set-up has changed:"));
    tellFiles(answer);
    return answer;
}

}
