// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/translate.h"
#include "language.h"
#include "options.h"
#include "preview/preview.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <sys/stat.h>

namespace {

using namespace Setup;

int end(FILE *stream, const QString &text, ExitCode code)
{
    fputs(text.toLocal8Bit().constData(), stream);
    return int(code);
}

int usageError(const QString &sentence)
{
    return end(stderr, Text::tr("kestra-setup: %1 See kestra-setup --help.\n").arg(sentence),
               ExitCode::Usage);
}

}

int main(int argc, char **argv)
{
    ::umask(022); // what we write is for everybody, save for the files that say otherwise
    std::signal(SIGPIPE, SIG_IGN); // a reader that has gone is no reason to stop half-way
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kestra-setup"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTRA_VERSION));

    speakLanguageOfUser(application);

    const Options options = parseOptions(QCoreApplication::arguments());
    if (!options.error.isEmpty())
        return usageError(options.error);
    if (options.help)
        return end(stdout, helpText(*options.command), ExitCode::Success);
    if (options.version)
        return end(stdout,
                   QStringLiteral("kestra-setup %1\n").arg(QCoreApplication::applicationVersion()),
                   ExitCode::Success);
    if (options.preview)
        return runPreview(options, QCoreApplication::arguments());
    const bool asksNothing = options.command->run || options.command->runInSession;
    return int(asksNothing ? runCommand(options) : runStages(options));
}
