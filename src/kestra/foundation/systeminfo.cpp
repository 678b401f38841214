// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "systeminfo.h"

#include "text_p.h"

#include <QDebug>
#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cstring>
#include <optional>

#include <sys/utsname.h>

using Kestra::Private::readLine;
using Kestra::Private::textUpToNul;

namespace Kestra::SystemInfo {

QRegExp fedoraRegExp(QStringLiteral("(^Fedora)\\s+[release]*\\s+([0-9]{1,2})\\s+"));
QRegExp pclinuxosRegExp(
    QStringLiteral("(^PCLinuxOS)\\s+release\\s+([0-9]{4})\\s+\\(PCLinuxOS\\)\\s+for"));
QRegExp debianRegExp(QStringLiteral("(^[0-9]{1}\\.[0-9]\\s*$)"));

namespace {

const QLatin1String suseFile("/etc/SuSE-release");
const QLatin1String redhatFile("/etc/redhat-release");
const QLatin1String lsbFile("/etc/lsb-release");
const QLatin1String debianFile("/etc/debian_version");

const QLatin1String testingRelease("lenny/sid");

/** Takes the next name for the file and returns whether it exists and could be opened. */
bool open(QFile &file, const QString &name)
{
    file.setFileName(name);
    return QFile::exists(name) && file.open(QIODevice::ReadOnly);
}

/** Returns the first line of an open file, its line end included, and closes the file. */
QString takeFirstLine(QFile &file)
{
    const QString line = textUpToNul(readLine(file, 50));
    file.close();
    return line;
}

/** Returns the lines of an open file and closes the file. */
QStringList takeLines(QFile &file)
{
    const QString text = textUpToNul(file.readAll());
    file.close();
    return text.split(QLatin1Char('\n'));
}

bool matches(QRegExp &pattern, const QString &line) { return pattern.indexIn(line) != -1; }

/** Returns the value of the first line that starts with the key. */
std::optional<QString> valueOf(const QString &key, const QStringList &lines)
{
    const auto line = std::find_if(lines.begin(), lines.end(),
                                   [&key](const QString &line) { return line.startsWith(key); });
    if (line == lines.end())
        return std::nullopt;
    return QString(*line).remove(key);
}

QString unknownDistribution()
{
    qDebug() << QStringLiteral(
                    "Could not open %1 or %1 does not contain proper data, returning empty string!")
                    .arg(debianFile);
    return QString();
}

/** Asks the kernel for its names; says that it failed with the given text. */
std::optional<utsname> systemNames(const char *failure)
{
    utsname names;
    if (uname(&names) == 0)
        return names;
    qDebug() << failure;
    return std::nullopt;
}

}

QString getDistributionName()
{
    if (QFile::exists(suseFile))
        return QStringLiteral("SuSE");

    QFile file;
    if (open(file, redhatFile)) {
        const QString line = takeFirstLine(file);
        if (matches(fedoraRegExp, line))
            return fedoraRegExp.cap(1);
        if (matches(pclinuxosRegExp, line))
            return pclinuxosRegExp.cap(1);
    }
    if (open(file, lsbFile) && valueOf(QStringLiteral("DISTRIB_ID=Ubuntu"), takeLines(file)))
        return QStringLiteral("Ubuntu");
    if (open(file, debianFile)) {
        const QString line = takeFirstLine(file);
        if (line.startsWith(testingRelease) || matches(debianRegExp, line))
            return QStringLiteral("Debian");
    }
    return unknownDistribution();
}

QString getDistributionRelease()
{
    QFile file;
    if (open(file, suseFile)) {
        if (const auto version = valueOf(QStringLiteral("VERSION = "), takeLines(file)))
            return *version;
    }
    if (open(file, redhatFile)) {
        const QString line = takeFirstLine(file);
        if (matches(fedoraRegExp, line))
            return fedoraRegExp.cap(2);
        if (matches(pclinuxosRegExp, line))
            return pclinuxosRegExp.cap(2);
    }
    if (open(file, lsbFile)) {
        if (const auto release = valueOf(QStringLiteral("DISTRIB_RELEASE="), takeLines(file)))
            return *release;
    }
    if (open(file, debianFile)) {
        const QString line = takeFirstLine(file);
        if (line.startsWith(testingRelease))
            return QStringLiteral("4.0");
        if (matches(debianRegExp, line))
            return debianRegExp.cap(1);
    }
    return unknownDistribution();
}

QString getKernelRelease()
{
    const auto names =
        systemNames("getKernelRelease(): Could not get kernel release, returning empty string!");
    return names ? QString::fromLatin1(names->release) : QString();
}

QString getArchitecture()
{
    const auto names =
        systemNames("getArchitecture(): Could not get architecture, returning empty string!");
    if (!names)
        return QString();
    for (const char *machine : {"i386", "i486", "i586", "i686"}) {
        if (strcmp(names->machine, machine) == 0)
            return QStringLiteral("i386");
    }
    return QStringLiteral("amd64");
}

QString getProcessorArchitecture()
{
    const auto names = systemNames(
        "getProcessorArchitecture(): Could not get architecture, returning empty string!");
    return names ? QString::fromLatin1(names->machine) : QString();
}

}
