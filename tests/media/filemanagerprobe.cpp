// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Walks a directory as another user, or with another root directory. Its arguments are the user
// id, the root directory, "library" or "plain", the walk, the directory and what to look for. It
// writes messages and results to standard output, each closed by a zero byte.

#include "plainwalk.h"

#include <kestra/media/filemanager.h>

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

using KestraTest::PlainWalk;

namespace {

void put(const char *kind, const QString &text)
{
    printf("%s %s%c", kind, QFile::encodeName(text).constData(), 0);
}

QStringList indexOf(FileManager &manager) { return manager.getIndex(); }
QStringList indexOf(PlainWalk &walk) { return walk.index; }

template<typename Walker>
void walk(const QByteArray &kind, const QString &directory, const QString &wanted)
{
    Walker walker;
    QStringList results;
    if (kind == "index") {
        put("returned",
            walker.indexFiles(directory) ? QStringLiteral("true") : QStringLiteral("false"));
        results = indexOf(walker);
    } else if (kind == "files") {
        walker.findFiles(directory, QRegExp(wanted), results);
    } else {
        QString result;
        walker.findFile(directory, wanted, result);
        results.append(result);
    }
    for (const QString &result : std::as_const(results))
        put("result", result);
    qInstallMessageHandler(nullptr);
}

}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const auto user = static_cast<uid_t>(arguments.at(1).toUInt());
    const int realRoot = open("/", O_PATH | O_CLOEXEC);
    if (chroot(QFile::encodeName(arguments.at(2)).constData()) != 0 || chdir("/") != 0
        || setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0) {
        perror("filemanagerprobe");
        return 77;
    }
    qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { put("message", text); });
    const QByteArray kind = arguments.at(4).toLatin1();
    const QString wanted = arguments.value(6);
    if (arguments.at(3) == QLatin1String("library"))
        walk<FileManager>(kind, arguments.at(5), wanted);
    else
        walk<PlainWalk>(kind, arguments.at(5), wanted);
    // A leak checker, which runs at the end, needs /proc.
    if (fchdir(realRoot) != 0 || (user == 0 && chroot(".") != 0))
        return 77;
    close(realRoot);
    return 0;
}
