// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tool.h"

#include "base/text.h"
#include "base/translate.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>

namespace Setup {

namespace {

constexpr int timeLimit = 10000; // ms
constexpr int sizeLimit = 4 << 20; // the kernel's messages are the longest

/** Who is not root seldom has root's programs in the search path. */
QString pathOf(const QString &program)
{
    const QString path = QStandardPaths::findExecutable(program);
    return !path.isEmpty() ? path
                           : QStandardPaths::findExecutable(
                               program, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
}

/** Returns why the program was stopped, if so. */
QString readAll(QProcess &process, QByteArray &bytes)
{
    QElapsedTimer time;
    time.start();
    while (process.state() != QProcess::NotRunning) {
        const int left = timeLimit - int(time.elapsed());
        if (left <= 0)
            return Text::tr("it was stopped after %1 seconds").arg(timeLimit / 1000);
        process.waitForReadyRead(left);
        bytes += process.readAll();
        if (bytes.size() > sizeLimit)
            return Text::tr("all but its first %1 bytes").arg(sizeLimit);
    }
    bytes += process.readAll();
    return QString();
}

}

ToolOutput outputOf(const QString &program, const QStringList &arguments)
{
    const QString path = pathOf(program);
    if (path.isEmpty())
        return {{}, Text::tr("%1 is not installed").arg(program)};
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(path, arguments);
    ToolOutput output;
    output.fault = readAll(process, output.bytes);
    if (!output.fault.isEmpty()) {
        process.kill();
        process.waitForFinished(1000);
        // The last line may be cut off, and a secret with it.
        output.bytes.truncate(sizeLimit);
        output.bytes.truncate(output.bytes.lastIndexOf('\n') + 1);
    } else if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        const QByteArray line = output.bytes.left(output.bytes.indexOf('\n'));
        output.fault = Text::tr("%1 failed: %2")
                           .arg(program,
                                line.isEmpty() ? Text::tr("no reason was given")
                                               : printable(textFromBytes(line)));
        output.bytes.clear();
    }
    return output;
}

}
