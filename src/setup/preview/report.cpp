// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "report.h"

#include "base/text.h"
#include "base/translate.h"

#include <QJsonArray>
#include <QRegularExpression>

namespace Setup {

namespace {

// Of so many lines that are added or removed in a row, only the first ones are shown to a person.
constexpr int longestRun = 60;
constexpr int shortenedRun = 12;

struct Group
{
    const char *files;
    const char *name;
};

// What the tools and the set-up keep for themselves. The store has the files as they were before.
constexpr Group groups[] = {
    {"/var/lib/kestra(/.*)?", QT_TRANSLATE_NOOP("Setup", "the store for undo")},
    {"/var/lib/(dpkg|apt|rpm|zypp)(/.*)?|/usr/lib/sysimage/rpm(/.*)?|/var/cache(/.*)?",
     QT_TRANSLATE_NOOP("Setup", "the package database and caches")},
    {"/opt/kestra/logs(/.*)?|/var/log(/.*)?", QT_TRANSLATE_NOOP("Setup", "the logs")},
    {"/etc/ld\\.so\\.cache", QT_TRANSLATE_NOOP("Setup", "the linker cache")},
    {"(/usr)?/lib/modules/[^/]+/modules\\..*", QT_TRANSLATE_NOOP("Setup", "the module index")},
    {"/run(/.*)?", QT_TRANSLATE_NOOP("Setup", "the run-time files")},
    {"/dev(/.*)?|/proc(/.*)?|/sys(/.*)?", QT_TRANSLATE_NOOP("Setup", "the devices")},
};

QString groupOf(const QByteArray &path)
{
    for (const Group &group : groups) {
        const QRegularExpression files(
            QRegularExpression::anchoredPattern(QLatin1String(group.files)));
        if (files.match(QString::fromLatin1(path)).hasMatch())
            return QLatin1String(group.name);
    }
    return QString();
}

constexpr const char *kinds[] = {QT_TRANSLATE_NOOP("Setup", "added"),
                                 QT_TRANSLATE_NOOP("Setup", "removed"),
                                 QT_TRANSLATE_NOOP("Setup", "changed")};

QStringList shortened(const QString &diff)
{
    QStringList lines = diff.split(QLatin1Char('\n'));
    lines.removeLast();
    QStringList result;
    for (int begin = 0; begin < lines.size();) {
        int end = begin + 1;
        while (end < lines.size() && lines[end].at(0) == lines[begin].at(0))
            ++end;
        const bool isLong = end - begin > longestRun;
        result += lines.mid(begin, isLong ? shortenedRun : end - begin);
        if (isLong)
            result.append(Text::tr("%1... %2 more lines")
                              .arg(lines[begin].at(0))
                              .arg(end - begin - shortenedRun));
        begin = end;
    }
    return result;
}

QStringList changeLines(const Description &change)
{
    const QString remark =
        change.remark.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(change.remark);
    return QStringList {Text::tr(kinds[change.kind]).leftJustified(9) + change.path + remark}
    + shortened(change.diff);
}

QString version(const QString &version) { return version.isEmpty() ? Text::tr("none") : version; }

}

Report makeReport(const QVector<Layer> &layers, const QVector<ProgramCall> &calls)
{
    Report report;
    const QVector<FileChange> changes = findChanges(layers);
    const PasswordMask mask = findPasswords(changes);
    report.packages = findPackages(changes);
    const QSet<QByteArray> packageFiles = findPackageFiles(changes, report.packages);
    for (const FileChange &change : changes) {
        const QString group = packageFiles.contains(change.path)
            ? QLatin1String(QT_TRANSLATE_NOOP("Setup", "these packages"))
            : groupOf(change.path);
        if (group.isEmpty())
            report.changes.append(describe(change, mask));
        else
            ++report.besides[group];
    }
    for (const ProgramCall &call : calls)
        report.calls.append({mask.applied(call.line), call.wasRun});
    return report;
}

QStringList reportLines(const Report &report)
{
    QStringList lines = {QString(), Text::tr("What this would change:")};
    if (report.changes.isEmpty() && report.besides.isEmpty())
        lines.append(Text::tr("nothing"));
    for (const Description &change : report.changes)
        lines += changeLines(change);
    for (const PackageChange &package : report.packages)
        lines.append(Text::tr("package  %1: %2 -> %3")
                         .arg(package.name, version(package.before), version(package.after)));
    for (auto group = report.besides.cbegin(); group != report.besides.cend(); ++group)
        lines.append(Text::tr("besides  %1 %2 of %3")
                         .arg(group.value())
                         .arg(group.value() == 1 ? Text::tr("file") : Text::tr("files"),
                              Text::tr(group.key().toLatin1().constData())));
    lines << QString() << Text::tr("Programs:");
    if (report.calls.isEmpty())
        lines.append(Text::tr("none"));
    for (const ProgramCall &call : report.calls)
        lines.append((call.wasRun ? Text::tr("run      ") : Text::tr("not run  ")) + call.line);
    lines << QString() << Text::tr("This was a preview: nothing was changed.");
    return lines;
}

QJsonObject reportJson(const Report &report)
{
    QJsonArray changes;
    for (const Description &change : report.changes)
        changes.append(QJsonObject {{QStringLiteral("path"), change.path},
                                    {QStringLiteral("kind"), QLatin1String(kinds[change.kind])},
                                    {QStringLiteral("remark"), change.remark},
                                    {QStringLiteral("diff"), change.diff}});
    QJsonObject besides;
    for (auto group = report.besides.cbegin(); group != report.besides.cend(); ++group)
        besides.insert(group.key(), group.value());
    QJsonArray packages;
    for (const PackageChange &package : report.packages)
        packages.append(QJsonObject {{QStringLiteral("name"), package.name},
                                     {QStringLiteral("before"), package.before},
                                     {QStringLiteral("after"), package.after}});
    QJsonArray calls;
    for (const ProgramCall &call : report.calls)
        calls.append(QJsonObject {{QStringLiteral("line"), call.line},
                                  {QStringLiteral("run"), call.wasRun}});
    return {{QStringLiteral("changes"), changes},
            {QStringLiteral("besides"), besides},
            {QStringLiteral("packages"), packages},
            {QStringLiteral("commands"), calls}};
}

}
