// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "standintool.h"

#include "files.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

namespace KestraTest {

namespace {

/** Splits what is closed by zero bytes. */
QByteArrayList splitAtNul(const QByteArray &bytes)
{
    QByteArrayList parts = bytes.split('\0');
    parts.removeLast();
    return parts;
}

}

QByteArray StandInTool::Call::variable(const char *name) const
{
    const QByteArray prefix = QByteArray(name) + '=';
    for (const QByteArray &entry : environment) {
        if (entry.startsWith(prefix))
            return entry.mid(prefix.size());
    }
    return QByteArray();
}

StandInTool::StandInTool(const char *name) : m_name(name), m_previousPath(qgetenv("PATH"))
{
    // A copy, since the stand-in finds its directory by the path of its executable.
    if (!QFile::copy(helperProgram("standin"), path()))
        qFatal("cannot create the stand-in for %s", name);
    makeDirectory(path() + QStringLiteral(".d/calls"));
    setBehaviour({});
    qputenv("PATH", QFile::encodeName(m_directory.path()) + ':' + m_previousPath);
}

StandInTool::~StandInTool() { qputenv("PATH", m_previousPath); }

QString StandInTool::path() const { return m_directory.filePath(QString::fromLatin1(m_name)); }

void StandInTool::write(const QString &key, const Behaviour &behaviour)
{
    const QString directory = path() + QStringLiteral(".d/") + key + QLatin1Char('/');
    const auto put = [&directory](const char *name, const QByteArray &content) {
        writeFile(directory + QLatin1String(name), content);
    };
    put("output", behaviour.output);
    put("error", behaviour.errorOutput);
    put("exit", QByteArray::number(behaviour.exitCode));
    put("before", QByteArray::number(behaviour.waitBefore));
    put("after", QByteArray::number(behaviour.waitAfter));
    put("signal", QByteArray::number(behaviour.signal));
    put("script", behaviour.script);
}

void StandInTool::setBehaviour(const Behaviour &behaviour)
{
    write(QStringLiteral("default"), behaviour);
}

void StandInTool::setBehaviourFor(const char *argument, const Behaviour &behaviour)
{
    write(QStringLiteral("argument-") + QString::fromLatin1(QByteArray(argument).toHex()),
          behaviour);
}

void StandInTool::addBehaviour(const Behaviour &behaviour)
{
    write(QStringLiteral("next-%1").arg(++m_added), behaviour);
}

QList<StandInTool::Call> StandInTool::calls() const
{
    QList<Call> result;
    for (int number = 1;; ++number) {
        const QString directory = path() + QStringLiteral(".d/calls/%1/").arg(number);
        if (!exists(directory + QStringLiteral("complete")))
            return result;
        Call call;
        call.rawArguments = splitAtNul(readFile(directory + QStringLiteral("arguments")));
        call.program = call.rawArguments.takeFirst();
        for (const QByteArray &argument : qAsConst(call.rawArguments))
            call.arguments.append(QString::fromLocal8Bit(argument));
        call.environment = splitAtNul(readFile(directory + QStringLiteral("environment")));
        call.workingDirectory = QFile::decodeName(readFile(directory + QStringLiteral("cwd")));
        call.pid = readFile(directory + QStringLiteral("pid")).toLongLong();
        result.append(call);
    }
}

QList<QStringList> StandInTool::argumentsOfCalls() const
{
    QList<QStringList> result;
    for (const Call &call : calls())
        result.append(call.arguments);
    return result;
}

bool StandInTool::waitForCalls(int count, int milliseconds) const
{
    QElapsedTimer timer;
    timer.start();
    while (calls().size() < count) {
        if (timer.hasExpired(milliseconds))
            return false;
        QThread::msleep(10);
    }
    return true;
}

}
