// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exitcodes.h"

#include "translate.h"

namespace Setup {

namespace {

struct Row
{
    ExitCode code;
    const char *meaning;
};

constexpr Row rows[] = {
    {ExitCode::Success, QT_TRANSLATE_NOOP("Setup", "every stage succeeded")},
    {ExitCode::Internal, QT_TRANSLATE_NOOP("Setup", "internal error")},
    {ExitCode::Usage, QT_TRANSLATE_NOOP("Setup", "an option is wrong, or an answer is missing")},
    {ExitCode::NotRoot, QT_TRANSLATE_NOOP("Setup", "not started as root")},
    {ExitCode::NoModem, QT_TRANSLATE_NOOP("Setup", "no supported modem was plugged in in time")},
    {ExitCode::NoBus, QT_TRANSLATE_NOOP("Setup", "the system message bus cannot be reached")},
    {ExitCode::Precondition,
     QT_TRANSLATE_NOOP(
         "Setup", "a program, file or directory that a later stage needs is missing or not safe")},
    {ExitCode::Bundle,
     QT_TRANSLATE_NOOP("Setup", "the driver bundle is missing or cannot be used")},
    {ExitCode::Extraction, QT_TRANSLATE_NOOP("Setup", "the driver bundle could not be unpacked")},
    {ExitCode::Patch,
     QT_TRANSLATE_NOOP("Setup", "the patch for the running kernel could not be applied")},
    {ExitCode::Compilation, QT_TRANSLATE_NOOP("Setup", "the driver did not compile")},
    {ExitCode::Backup,
     QT_TRANSLATE_NOOP("Setup", "the installed driver could not be saved; nothing was replaced")},
    {ExitCode::Installation,
     QT_TRANSLATE_NOOP("Setup", "the driver could not be installed; all earlier modules are back")},
    {ExitCode::Restore,
     QT_TRANSLATE_NOOP("Setup",
                       "the driver could not be installed; not all earlier modules are back")},
    {ExitCode::Packages,
     QT_TRANSLATE_NOOP("Setup", "packages could not be installed, or are not (packages check)")},
    {ExitCode::PackagesBusy,
     QT_TRANSLATE_NOOP("Setup", "another program kept the package system locked")},
    {ExitCode::Database, QT_TRANSLATE_NOOP("Setup", "the provider database is missing or damaged")},
    {ExitCode::Service,
     QT_TRANSLATE_NOOP("Setup",
                       "the country or the service is unknown, or its line data is unusable")},
    {ExitCode::Login, QT_TRANSLATE_NOOP("Setup", "the user name or the password cannot be used")},
    {ExitCode::Connection,
     QT_TRANSLATE_NOOP("Setup", "a file of the connection could not be written")},
    {ExitCode::Boot,
     QT_TRANSLATE_NOOP("Setup", "the connection could not be linked into the run levels")},
    {ExitCode::NameServers, QT_TRANSLATE_NOOP("Setup", "the name servers could not be set")},
    {ExitCode::Undo, QT_TRANSLATE_NOOP("Setup", "not everything could be undone")},
    {ExitCode::Running, QT_TRANSLATE_NOOP("Setup", "another set-up is running")},
    {ExitCode::Start, QT_TRANSLATE_NOOP("Setup", "the connection did not come up")},
    {ExitCode::Report, QT_TRANSLATE_NOOP("Setup", "the report could not be written")},
    {ExitCode::Disc, QT_TRANSLATE_NOOP("Setup", "there is no disc, or it could not be used")},
    {ExitCode::Firmware, QT_TRANSLATE_NOOP("Setup", "firmware could not be installed")},
    {ExitCode::Interrupted, QT_TRANSLATE_NOOP("Setup", "interrupted")},
};

}

QString exitCodesText()
{
    QString text;
    for (const Row &row : rows)
        text += QStringLiteral("  %1  %2\n").arg(int(row.code), 3).arg(Text::tr(row.meaning));
    return text;
}

}
