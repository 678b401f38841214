// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exitcodes.h"

namespace Setup {

namespace {

struct Row
{
    ExitCode code;
    const char *meaning;
};

constexpr Row rows[] = {
    {ExitCode::Success, "every stage succeeded"},
    {ExitCode::Internal, "internal error"},
    {ExitCode::Usage, "an option is wrong, or an answer is missing"},
    {ExitCode::NotRoot, "not started as root"},
    {ExitCode::NoModem, "no supported modem was plugged in in time"},
    {ExitCode::NoBus, "the system message bus cannot be reached"},
    {ExitCode::Precondition,
     "a program, file or directory that a later stage needs is missing or not safe"},
    {ExitCode::Bundle, "the driver bundle is missing or cannot be used"},
    {ExitCode::Extraction, "the driver bundle could not be unpacked"},
    {ExitCode::Patch, "the patch for the running kernel could not be applied"},
    {ExitCode::Compilation, "the driver did not compile"},
    {ExitCode::Backup, "the installed driver could not be saved; nothing was replaced"},
    {ExitCode::Installation, "the driver could not be installed; all earlier modules are back"},
    {ExitCode::Restore, "the driver could not be installed; not all earlier modules are back"},
    {ExitCode::Packages, "packages could not be installed, or are not (packages check)"},
    {ExitCode::PackagesBusy, "another program kept the package system locked"},
    {ExitCode::Database, "the provider database is missing or damaged"},
    {ExitCode::Service, "the country or the service is unknown, or its line data is unusable"},
    {ExitCode::Login, "the user name or the password cannot be used"},
    {ExitCode::Connection, "a file of the connection could not be written"},
    {ExitCode::Boot, "the connection could not be linked into the run levels"},
    {ExitCode::NameServers, "the name servers could not be set"},
    {ExitCode::Undo, "not everything could be undone"},
    {ExitCode::Running, "another set-up is running"},
    {ExitCode::Start, "the connection did not come up"},
    {ExitCode::Report, "the report could not be written"},
    {ExitCode::Disc, "there is no disc, or it could not be used"},
    {ExitCode::Firmware, "firmware could not be installed"},
    {ExitCode::Interrupted, "interrupted"},
};

}

QString exitCodesText()
{
    QString text;
    for (const Row &row : rows)
        text += QStringLiteral("  %1  %2\n").arg(int(row.code), 3).arg(QLatin1String(row.meaning));
    return text;
}

}
