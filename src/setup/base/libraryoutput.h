// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_LIBRARYOUTPUT_H
#define KESTRA_SETUP_LIBRARYOUTPUT_H

#include <QString>
#include <QtGlobal>

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <thread>

namespace Setup {

/**
 * Collects all that the library says while the object lives, line by line and at once.
 *
 * The library's debug lines and what it prints on standard output arrive through a pipe that a
 * thread reads, so that the lines of a tool can be shown while the library waits for it. The
 * messages of Qt come by a message handler. Only one object may exist at a time, and it must be
 * created before any object of the library.
 */
class LibraryOutput
{
public:
    enum Kind {
        Tool, ///< printed by a tool that the library runs
        Message ///< written by the library itself
    };
    /** Takes one line; called from several threads, one at a time. */
    using Sink = std::function<void(Kind, const QString &line)>;

    explicit LibraryOutput(Sink sink);
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput &) = delete;
    LibraryOutput &operator=(const LibraryOutput &) = delete;

    /** Returns whether output is collected; if not, it goes where the library sends it. */
    bool isOpen() const { return m_reader >= 0; }

    /** Waits until all that the library has said so far has reached the sink. */
    void sync();

private:
    static void handleQtMessage(QtMsgType type, const QMessageLogContext &context,
                                const QString &text);
    bool openPipe();
    void read();
    bool takeBytes(const QByteArray &bytes);
    void takeLine(const QByteArray &line);
    void deliver(const QString &text);

    Sink m_sink;
    std::mutex m_sinkMutex;
    int m_reader = -1;
    int m_standardOutput = -1; ///< a duplicate of the real one
    FILE *m_file = nullptr;
    QtMessageHandler m_earlierHandler = nullptr;
    std::thread m_thread;
    QByteArray m_partialLine;

    std::mutex m_syncMutex;
    std::condition_variable m_synced;
    unsigned m_syncCount = 0;
};

}

#endif
