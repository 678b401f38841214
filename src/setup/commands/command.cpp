// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/libraryoutput.h"
#include "base/settings.h"
#include "base/text.h"
#include "base/translate.h"
#include "engine/runlock.h"
#include "log/logfile.h"
#include "options.h"

#include <QJsonDocument>

#include <cstdio>

namespace Setup {

const QVector<Command> &commands()
{
    static const QVector<Command> table = {
        {Command::SetUp, "", "", QT_TRANSLATE_NOOP("Setup", "Set a connection up."), nullptr,
         Goal::Usual},
        {Command::Look, "detect", "",
         QT_TRANSLATE_NOOP("Setup", "List the supported modems that are plugged in."),
         detectModems},
        {Command::Look, "status", "",
         QT_TRANSLATE_NOOP("Setup", "Tell what is set up, and whether the link is up."),
         tellStatus},
        {Command::Drivers, "drivers", "",
         QT_TRANSLATE_NOOP("Setup", "List the known drivers and where they come from."),
         listDrivers},
        {Command::Providers, "providers", "[COUNTRY]",
         QT_TRANSLATE_NOOP("Setup",
                           "List the countries, or the services of one; or check a database."),
         listProviders},
        {Command::BuildDriver, "driver build", "",
         QT_TRANSLATE_NOOP("Setup", "Build the driver of a modem and install it."), nullptr,
         Goal::Driver},
        {Command::UndoPart, "driver restore", "",
         QT_TRANSLATE_NOOP("Setup", "Bring the driver back that was there before."), restoreDriver},
        {Command::Firmware, "firmware install", "[FILE|DIRECTORY]...",
         QT_TRANSLATE_NOOP("Setup", "Put the firmware of a modem where the kernel looks for it."),
         installFirmware},
        {Command::FirmwareCheck, "firmware check", "",
         QT_TRANSLATE_NOOP(
             "Setup", "Tell which firmware of a modem is there, and where the other comes from."),
         checkFirmware},
        {Command::Packages, "packages install", "",
         QT_TRANSLATE_NOOP("Setup", "Install the packages that are needed."), nullptr,
         Goal::Packages},
        {Command::PackageCheck, "packages check", "",
         QT_TRANSLATE_NOOP("Setup", "Tell which packages are needed, and which can be had."),
         nullptr, Goal::Packages, checkPackages},
        {Command::Discs, "disc list", "",
         QT_TRANSLATE_NOOP("Setup", "List the discs that are in the drives."), nullptr,
         Goal::Packages, listDiscs},
        {Command::DiscAddition, "disc add", "[DISC]",
         QT_TRANSLATE_NOOP("Setup",
                           "Make a disc a source of packages; DISC is its device or its UDI."),
         nullptr, Goal::Packages, addDisc},
        {Command::DiscEjection, "disc eject", "[DISC]",
         QT_TRANSLATE_NOOP("Setup", "Unmount a disc and eject it."), nullptr, Goal::Packages,
         ejectDisc},
        {Command::Connect, "connect", "",
         QT_TRANSLATE_NOOP("Setup", "Write the connection to a provider."), nullptr,
         Goal::Connection | Goal::InitScript},
        {Command::Boot, "boot enable", "",
         QT_TRANSLATE_NOOP("Setup", "Start the connection at boot."), nullptr,
         Goal::InitScript | Goal::Boot},
        {Command::UndoPart, "boot disable", "",
         QT_TRANSLATE_NOOP("Setup", "Do not start the connection at boot any more."), disableBoot},
        {Command::NameServers, "dns set", "", QT_TRANSLATE_NOOP("Setup", "Set the name servers."),
         nullptr, Goal::NameServers},
        {Command::Look, "dns check", "",
         QT_TRANSLATE_NOOP("Setup", "Tell which name servers are set, and whether they answer."),
         checkNameServers},
        {Command::UndoPart, "dns restore", "",
         QT_TRANSLATE_NOOP("Setup", "Bring the earlier name servers back."), restoreNameServers},
        {Command::Report, "report", "",
         QT_TRANSLATE_NOOP("Setup", "Pack logs, versions and states to send to a helper."),
         makeReport},
        {Command::Undo, "undo", "",
         QT_TRANSLATE_NOOP("Setup", "Make everything as it was before the first set-up."), undoAll},
    };
    return table;
}

const Command *findCommand(const QString &name)
{
    for (const Command &command : commands()) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

namespace {

Answer runQuietly(const Options &options)
{
    if (options.command->runInSession)
        return askInSession(options);
    // What the library prints is not part of the answer.
    const LibraryOutput output([&](LibraryOutput::Kind, const QString &line) {
        if (options.verbose)
            fprintf(stderr, "%s\n", qUtf8Printable(line));
    });
    return options.command->run(options);
}

Answer runAlone(const Options &options)
{
    const RunLock lock;
    const auto &hindrance = lock.hindrance();
    LogFile log;
    log.open(!hindrance);
    Answer answer = hindrance ? Answer {*hindrance, {}, {}} : runQuietly(options);
    for (const QString &line : std::as_const(answer.lines))
        log.write(line);
    log.writeEnd(answer.outcome);
    if (!log.fault().isEmpty())
        answer.lines.append(log.fault());
    return answer;
}

Answer ask(const Options &options)
{
    return options.command->id & Command::changing ? runAlone(options) : runQuietly(options);
}

void put(FILE *stream, const QByteArray &text) { fwrite(text.constData(), 1, text.size(), stream); }

void printLines(const Answer &answer)
{
    for (const QString &line : answer.lines)
        put(stdout, printable(line).toLocal8Bit() + '\n');
    if (answer.outcome.kind == Outcome::Failed)
        put(stderr,
            QStringLiteral("kestra-setup: %1\n")
                .arg(joined({answer.outcome.sentence, answer.outcome.nextStep}))
                .toLocal8Bit());
}

}

ExitCode runCommand(const Options &options) { return print(ask(options), options.json); }

QJsonObject jsonOf(const Answer &answer)
{
    QJsonObject json = answer.json;
    if (answer.outcome.kind == Outcome::Failed)
        json.insert(QStringLiteral("error"),
                    QJsonObject {{QStringLiteral("code"), int(answer.outcome.code)},
                                 {QStringLiteral("message"), answer.outcome.sentence},
                                 {QStringLiteral("next_step"), answer.outcome.nextStep}});
    return json;
}

ExitCode print(const Answer &answer, bool asJson)
{
    if (asJson)
        put(stdout, QJsonDocument(jsonOf(answer)).toJson());
    else
        printLines(answer);
    if (fflush(stdout) == 0)
        return answer.outcome.code;
    put(stderr,
        Text::tr("kestra-setup: The answer could not be written to standard output.\n")
            .toLocal8Bit());
    return ExitCode::Internal;
}

}
