// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "scratchsystem.h"

#include "base/translate.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

// Every system has this directory, the command gets an empty one of its own, and it may be hidden.
const QString mountPoint = QStringLiteral("/dev/shm");
const QString place = mountPoint + QStringLiteral("/preview");
const QString shared = place + QStringLiteral("/shared");

constexpr int sandboxFailed = 125;

Outcome impossible(const QString &cause, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Precondition, cause, nextStep);
}

/** The same next to an installed program and in the build tree. */
QString sandboxProgram()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QLatin1Char('/')
                           + QStringLiteral(KESTRA_SANDBOX));
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool mountOverlay(const QByteArray &options, const QString &target, unsigned long flags)
{
    return QDir().mkpath(target)
        && ::mount("overlay", QFile::encodeName(target).constData(), "overlay", flags,
                   options.constData())
        == 0;
}

/** Whether a layer can be put over the root directory, as it cannot in many containers. */
bool hasLayers()
{
    const QString trial = place + QStringLiteral("/trial");
    const QByteArray name = QFile::encodeName(trial);
    QDir().mkpath(trial + QStringLiteral("/upper"));
    QDir().mkpath(trial + QStringLiteral("/work"));
    if (!mountOverlay("lowerdir=/,upperdir=" + name + "/upper,workdir=" + name
                          + "/work,redirect_dir=on",
                      trial + QStringLiteral("/root"), 0))
        return false;
    ::umount2((name + "/root").constData(), MNT_DETACH);
    return QDir(trial).removeRecursively();
}

}

QString ScratchSystem::privateDirectory() { return place; }

std::optional<Outcome> ScratchSystem::prepare()
{
    if (!QFileInfo(sandboxProgram()).isExecutable())
        return impossible(
            Text::tr("The program %1 is missing, which a preview runs in.").arg(sandboxProgram()),
            Text::tr("Install kestra-setup completely."));
    if (!BusProxy::isInstalled())
        return impossible(Text::tr("A preview needs the program xdg-dbus-proxy, so that "
                                   "nothing can be changed over the message bus."),
                          Text::tr("Install the package xdg-dbus-proxy."));
    const bool isPrivate = ::unshare(CLONE_NEWNS) == 0
        && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
        && ::mount("tmpfs", QFile::encodeName(mountPoint).constData(), "tmpfs", 0, "mode=700") == 0;
    if (!isPrivate || !hasLayers())
        return impossible(Text::tr("A preview puts layers over the file systems, which "
                                   "cannot be done here, as in most containers."),
                          Text::tr("Use it on the machine itself."));
    if (!QDir().mkpath(shared) || !m_bus.start(shared + QStringLiteral("/bus")))
        return impossible(Text::tr("The program xdg-dbus-proxy did not start."),
                          Text::tr("See what it has said."));
    return std::nullopt;
}

std::optional<int> ScratchSystem::run(const QStringList &command, QByteArray *output)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/run/kestra-preview/bus"));
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(output ? QProcess::ForwardedErrorChannel
                                         : QProcess::ForwardedChannels);
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    // Whoever ends this program, even by force, ends the preview with it.
    process.start(QStringLiteral("setpriv"),
                  QStringList {QStringLiteral("--pdeathsig"), QStringLiteral("KILL"),
                               QStringLiteral("--"), sandboxProgram(), QStringLiteral("--preview"),
                               place}
                      + programOptions() + QStringList {QStringLiteral("--")} + command);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() == sandboxFailed)
        return std::nullopt;
    if (output)
        *output = process.readAllStandardOutput();
    return process.exitCode();
}

QVector<Layer> ScratchSystem::layers() const
{
    QVector<Layer> result;
    const QByteArrayList points = readAll(place + QStringLiteral("/mounts")).split('\0');
    for (int i = 0; i + 1 < points.size(); ++i) {
        const QString changes = QStringLiteral("%1/changes/%2").arg(place).arg(i);
        const QString after = QStringLiteral("%1/after/%2").arg(place).arg(i);
        // What cannot be layered could only be read.
        if (mountOverlay("redirect_dir=follow,lowerdir=" + QFile::encodeName(changes) + ':'
                             + points[i],
                         after, MS_RDONLY))
            result.append({points[i], QFile::encodeName(changes), QFile::encodeName(after)});
    }
    return result;
}

QVector<ProgramCall> ScratchSystem::calls() const
{
    return readCalls(readAll(shared + QStringLiteral("/commands")));
}

}
