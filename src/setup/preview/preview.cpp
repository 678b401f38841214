// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "preview.h"

#include "base/text.h"
#include "base/translate.h"
#include "commands/command.h"
#include "options.h"
#include "report.h"
#include "scratchsystem.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <unistd.h>

namespace Setup {

namespace {

std::optional<Outcome> hindrance(ScratchSystem &system)
{
    if (::geteuid() != 0)
        return Outcome::failed(ExitCode::NotRoot, Text::tr("This program must run as root."),
                               Text::tr("Start it with sudo, or from a root shell."));
    return system.prepare();
}

int giveUp(const Options &options, const Outcome &problem)
{
    Answer answer;
    answer.outcome = problem;
    return int(print(answer, options.json));
}

/** What the command is called with inside. */
QStringList withoutPreview(QStringList arguments)
{
    arguments[0] = QCoreApplication::applicationFilePath();
    arguments.removeAll(QStringLiteral("--preview"));
    return arguments;
}

QByteArray inJson(const Report &report, int code, const QByteArray &answer)
{
    QJsonObject json = reportJson(report);
    json.insert(QStringLiteral("exit_code"), code);
    if (!answer.isEmpty())
        json.insert(QStringLiteral("answer"), QJsonDocument::fromJson(answer).object());
    return QJsonDocument(json).toJson();
}

QByteArray inLines(const Report &report)
{
    QByteArray text;
    const QStringList lines = reportLines(report);
    for (const QString &line : lines)
        text += printable(line).toLocal8Bit() + '\n';
    return text;
}

}

int runPreview(const Options &options, const QStringList &arguments)
{
    ScratchSystem system;
    if (const auto problem = hindrance(system))
        return giveUp(options, *problem);
    if (!options.json) {
        puts(Text::tr("This is a preview. What follows happens on a copy of the system.\n")
                 .toLocal8Bit()
                 .constData());
        fflush(stdout);
    }
    QByteArray output;
    const auto code = system.run(withoutPreview(arguments), options.json ? &output : nullptr);
    if (!code)
        return giveUp(options,
                      Outcome::failed(ExitCode::Precondition,
                                      Text::tr("The preview could not be run to its end."),
                                      Text::tr("See above what stood in the way.")));
    const Report report = makeReport(system.layers(), system.calls());
    const QByteArray text = options.json ? inJson(report, *code, output) : inLines(report);
    fwrite(text.constData(), 1, text.size(), stdout);
    if (fflush(stdout) == 0)
        return *code;
    fputs(Text::tr("kestra-setup: The preview could not be written to standard output.\n")
              .toLocal8Bit()
              .constData(),
          stderr);
    return int(ExitCode::Internal);
}

}
