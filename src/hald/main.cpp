// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "bus/service.h"
#include "log.h"
#include "options.h"
#include "terminate.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

using namespace Hald;

int say(FILE *stream, const QString &text, ExitCode code)
{
    fputs(text.toLocal8Bit().constData(), stream);
    return int(code);
}

int serve(const Options &options)
{
    Service service(options);
    const ExitCode code = service.start();
    return code == ExitCode::Success ? QCoreApplication::exec() : int(code);
}

}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const Options options = parseOptions(QCoreApplication::arguments());
    if (!options.error.isEmpty())
        return say(stderr,
                   QStringLiteral("kestra-hald: %1 See kestra-hald --help.\n").arg(options.error),
                   ExitCode::Usage);
    if (options.help)
        return say(stdout, helpText(), ExitCode::Success);
    if (options.version)
        return say(stdout, QStringLiteral("kestra-hald " KESTRA_VERSION "\n"), ExitCode::Success);
    startLog(options.verbose);
    endOnSignals();
    return serve(options);
}
