// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/paths.h"
#include "base/translate.h"
#include "engine/packages.h"
#include "options.h"
#include "report/archive.h"
#include "report/collection.h"
#include "report/tool.h"
#include "store/store.h"

#include <kestra/connection/scriptmanager.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <unistd.h>

namespace Setup {

namespace {

struct VersionTool
{
    const char *program;
    const char *arguments;
};

constexpr VersionTool versionTools[] = {
    {"uname", "-srvm"},       {"pppd", "--version"}, {"make", "--version"},   {"gcc", "--version"},
    {"apt-get", "--version"}, {"dpkg", "--version"}, {"zypper", "--version"}, {"rpm", "--version"},
};

struct StateTool
{
    const char *name;
    const char *program;
    const char *arguments;
};

constexpr StateTool stateTools[] = {
    {"modules.txt", "lsmod", ""},
    {"addresses.txt", "ip", "addr"},
};

struct Source
{
    const char *path;
    Collection::Kind kind;
};

constexpr Source files[] = {
    {"/etc/os-release", Collection::Harmless},
    {"/etc/resolv.conf", Collection::Harmless},
    {"/etc/kestra/connection.conf", Collection::Harmless},
    {"/etc/modules", Collection::Harmless},
    {"/etc/modprobe.d/kestra.conf", Collection::Harmless},
    {"/etc/ppp/options", Collection::Options},
};

constexpr Source directories[] = {
    {"/etc/modules-load.d", Collection::Harmless},
    {"/etc/ppp/peers", Collection::Options},
    {"/opt/kestra/logs", Collection::Log},
    {"/var/log/kestra", Collection::Log},
};

constexpr const char *topics[] = {"usb", "atm", "ppp"}; ///< of the kernel's messages
constexpr int mostMessages = 500;

QStringList words(const char *arguments)
{
    return QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/** Which file the library was loaded from tells its version. */
QByteArray libraryFile()
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    maps.open(QIODevice::ReadOnly);
    for (const QByteArray &line : maps.readAll().split('\n')) {
        if (line.contains("/libkestra.so"))
            return line.mid(line.indexOf('/'));
    }
    return "unknown";
}

QByteArray versions()
{
    const QString manager = packageManagerOfSystem();
    QByteArray text = QCoreApplication::applicationName().toUtf8() + ' '
        + QCoreApplication::applicationVersion().toUtf8() + "\nlibrary: " + libraryFile()
        + "\npackage manager: " + (manager.isEmpty() ? QByteArray("unknown") : manager.toUtf8())
        + '\n';
    for (const VersionTool &tool : versionTools) {
        const ToolOutput output =
            outputOf(QString::fromLatin1(tool.program), words(tool.arguments));
        text += QByteArray("\n$ ") + tool.program + ' ' + tool.arguments + '\n' + output.bytes;
        // pppd's own words may quote a part of a password that lacks its quotation marks.
        if (!output.fault.isEmpty())
            text += output.fault.section(QLatin1Char(':'), 0, 0).toUtf8() + '\n';
    }
    return text;
}

/** The answer of another command, as it gives it to a program. */
void addAnswer(Collection &collection, const QString &name, const Answer &answer)
{
    if (answer.outcome.kind == Outcome::Failed)
        collection.leaveOut(name, answer.outcome.sentence);
    collection.add(name, QJsonDocument(jsonOf(answer)).toJson());
}

void addModule(Collection &collection, const Answer &status)
{
    const QString name = QStringLiteral("module.txt");
    const QString module = status.json.value(QStringLiteral("driver"))
                               .toObject()
                               .value(QStringLiteral("module"))
                               .toString();
    if (module.isEmpty())
        collection.leaveOut(name, Text::tr("no driver is known to be set up"));
    else
        collection.addOutput(name, outputOf(QStringLiteral("modinfo"), {module}));
}

void addBootLinks(Collection &collection)
{
    const QString base = ScriptManager().getRcDir();
    QByteArray text;
    for (int level = 0; level <= 6; ++level) {
        const QDir directory(runLevelDirectory(base, level));
        for (const QString &name : directory.entryList(QDir::Files | QDir::System)) {
            const QFileInfo entry(directory.filePath(name));
            text += QFile::encodeName(entry.filePath()) + " -> "
                + QFile::encodeName(entry.symLinkTarget()) + '\n';
        }
    }
    if (text.isEmpty())
        collection.leaveOut(QStringLiteral("boot-links.txt"), Text::tr("there are none"));
    else
        collection.add(QStringLiteral("boot-links.txt"), text);
}

void addKernelMessages(Collection &collection)
{
    ToolOutput output = outputOf(QStringLiteral("dmesg"), {});
    QByteArrayList kept;
    for (const QByteArray &line : output.bytes.split('\n')) {
        const QByteArray text = line.toLower();
        if (std::any_of(std::begin(topics), std::end(topics),
                        [&text](const char *topic) { return text.contains(topic); }))
            kept.append(line + '\n');
    }
    output.bytes = kept.mid(qMax(0, int(kept.size()) - mostMessages)).join();
    if (output.bytes.isEmpty() && output.fault.isEmpty())
        output.fault = Text::tr("there are none about USB, ATM and PPP");
    collection.addOutput(QStringLiteral("kernel-messages.txt"), output, true);
}

/** Which files the set-up has changed; their contents are nobody else's business. */
void addStoredPaths(Collection &collection)
{
    const QString name = QStringLiteral("stored-paths.txt");
    const Store store;
    if (!store.fault().isEmpty()) {
        collection.leaveOut(name, store.fault());
        return;
    }
    QByteArray text;
    for (const StoredItem &item : store.items())
        text += QFile::encodeName(item.path) + '\n';
    if (text.isEmpty())
        collection.leaveOut(name,
                            ::geteuid() == 0 ? Text::tr("a set-up has changed nothing")
                                             : Text::tr("only root may know them"));
    else
        collection.add(name, text);
}

void collect(Collection &collection, const Options &options)
{
    const Answer status = tellStatus(options);
    collection.add(QStringLiteral("versions.txt"), versions());
    addAnswer(collection, QStringLiteral("status.json"), status);
    addAnswer(collection, QStringLiteral("detect.json"), detectModems(options));
    addModule(collection, status);
    addBootLinks(collection);
    addStoredPaths(collection);
    for (const StateTool &tool : stateTools)
        collection.addOutput(QString::fromLatin1(tool.name),
                             outputOf(QString::fromLatin1(tool.program), words(tool.arguments)));
    addKernelMessages(collection);
    for (const Source &source : files)
        collection.addFile(QString::fromLatin1(source.path), source.kind);
    for (const Source &source : directories)
        collection.addFilesOf(QString::fromLatin1(source.path), source.kind);
}

void addContents(Collection &collection, const QDateTime &time)
{
    QString text = Text::tr("A report of kestra-setup, made at %1.\n"
                            "User names and passwords are masked.\n\nLeft out:\n")
                       .arg(time.toString(Qt::ISODate));
    for (const QString &line : collection.leftOut())
        text += QStringLiteral("  %1\n").arg(line);
    collection.add(QStringLiteral("README.txt"), text.toUtf8());
}

QStringList namesOf(const QVector<Member> &members)
{
    QStringList names;
    for (const Member &member : members)
        names.append(member.name);
    names.sort();
    return names;
}

}

Answer makeReport(const Options &options)
{
    const QDateTime now = QDateTime::currentDateTime();
    const QString name =
        QStringLiteral("kestra-report-") + now.toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString path = options.output.isEmpty()
        ? QDir::current().absoluteFilePath(name + QStringLiteral(".tar.gz"))
        : options.output;
    Collection collection(Secrets::ofSystem());
    collect(collection, options);
    addContents(collection, now);

    Answer answer;
    answer.outcome = writeArchive(path, name, collection.members());
    if (answer.outcome.kind == Outcome::Failed)
        return answer;
    const QStringList members = namesOf(collection.members());
    answer.lines.append(Text::tr("The report is in %1; it holds:").arg(path));
    for (const QString &member : members)
        answer.lines.append(QStringLiteral("  ") + member);
    answer.lines.append(Text::tr("Left out:"));
    for (const QString &line : collection.leftOut())
        answer.lines.append(QStringLiteral("  ") + line);
    answer.lines.append(Text::tr("User names and passwords are masked. Look through it "
                                 "before you give it to others."));
    answer.json = {{QStringLiteral("file"), path},
                   {QStringLiteral("members"), QJsonArray::fromStringList(members)},
                   {QStringLiteral("left_out"), QJsonArray::fromStringList(collection.leftOut())}};
    return answer;
}

}
