// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "options.h"

#include <QCommandLineParser>

namespace Hald {

namespace {

constexpr int day = 24 * 60 * 60;

/** An option is a flag, or takes the number that it is described with. */
struct Row
{
    const char *name;
    const char *value;
    const char *description;
    bool Options::*flag;
};

constexpr Row rows[] = {
    {"help", "", "Show this help.", &Options::help},
    {"version", "", "Show the version.", &Options::version},
    {"session", "", "Serve the session bus, to try the service out.", &Options::session},
    {"replace", "", "Take the place of a kestra-hald that runs already.", &Options::replace},
    {"verbose", "", "Log every device that comes or goes.", &Options::verbose},
    {"idle-exit", "SECONDS",
     "End when for so long no program that has used the service has been on the bus; 0 is never.",
     nullptr},
};

void addOptions(QCommandLineParser &parser)
{
    for (const Row &row : rows)
        parser.addOption(QCommandLineOption(QLatin1String(row.name), QLatin1String(row.description),
                                            QLatin1String(row.value)));
}

QString readIdleExit(const QString &text, Options &options)
{
    bool isNumber = false;
    options.idleExit = text.toInt(&isNumber);
    if (isNumber && options.idleExit >= 0 && options.idleExit <= day)
        return {};
    return QStringLiteral("--idle-exit takes seconds from 0 to %1, not \"%2\".").arg(day).arg(text);
}

}

Options parseOptions(const QStringList &arguments)
{
    Options options;
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments)) {
        options.error = parser.errorText();
        return options;
    }
    for (const Row &row : rows) {
        if (row.flag)
            options.*row.flag = parser.isSet(QLatin1String(row.name));
    }
    if (parser.isSet(QStringLiteral("idle-exit")))
        options.error = readIdleExit(parser.value(QStringLiteral("idle-exit")), options);
    if (!parser.positionalArguments().isEmpty())
        options.error = QStringLiteral("Unknown argument \"%1\".")
                            .arg(parser.positionalArguments().constFirst());
    return options;
}

QString helpText()
{
    QString text = QStringLiteral(
        "Usage: kestra-hald [OPTION...]\n\n"
        "Tells programs on the system message bus, under the name org.freedesktop.Hal, of USB "
        "devices\n"
        "and optical discs that are there, come and go. Started by the bus when it is called.\n\n");
    for (const Row &row : rows) {
        const QString option =
            QStringLiteral("--%1 %2").arg(QLatin1String(row.name), QLatin1String(row.value));
        text += QStringLiteral("  %1 %2\n").arg(option, -20).arg(QLatin1String(row.description));
    }
    return text
        + QStringLiteral(
               "\nExit codes: 0 success, 2 wrong option, 3 the bus cannot be reached, 4 the name "
               "is\n"
               "taken, 5 this user may not own the name, 6 udev cannot be listened to.\n");
}

}
