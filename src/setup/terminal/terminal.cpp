// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "terminal.h"

#include "engine/text.h"

#include <QDateTime>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int usualWidth = 80;
constexpr int longestList = 20;
const char clearLine[] = "\r\x1b[K";

int terminalWidth(int descriptor)
{
    winsize size = {};
    return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                          : usualWidth;
}

void writeAll(int descriptor, const QByteArray &bytes)
{
    for (int done = 0; done < bytes.size();) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + done, std::size_t(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            return;
        done += int(std::max(count, ssize_t(0)));
    }
}

/**
 * Keeps what is typed from being shown, as long as it exists. A shell would show it again after a
 * stop by Ctrl-Z, so the keys that stop and that abort do nothing meanwhile.
 */
class SilentInput
{
public:
    SilentInput() : m_isTerminal(::tcgetattr(STDIN_FILENO, &m_earlier) == 0)
    {
        termios silent = m_earlier;
        silent.c_lflag &= ~tcflag_t(ECHO);
        silent.c_cc[VSUSP] = _POSIX_VDISABLE;
        silent.c_cc[VQUIT] = _POSIX_VDISABLE;
        if (m_isTerminal)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~SilentInput()
    {
        if (m_isTerminal)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_earlier);
    }

private:
    termios m_earlier = {};
    const bool m_isTerminal;
};

}

Terminal::Terminal(Style style, const Cancellation &cancellation)
    : m_style(style)
    , m_cancellation(cancellation)
    , m_screen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
    , m_isTerminal(::isatty(m_screen))
    , m_ticker(&Terminal::tick, this)
{
}

Terminal::~Terminal()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
    }
    m_ending.notify_all();
    m_ticker.join();
    ::close(m_screen);
}

QString Terminal::openLog(const QString &path)
{
    // Looked at before it is touched; a pipe must not make us wait for its reader.
    const int descriptor = ::open(QFile::encodeName(path).constData(),
                                  O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    struct stat status;
    const bool isOpen = descriptor >= 0 && ::fstat(descriptor, &status) == 0;
    const bool isUnreadPipe = descriptor < 0 && errno == ENXIO;
    if (isUnreadPipe || (isOpen && !S_ISREG(status.st_mode))) {
        ::close(descriptor);
        return QStringLiteral("The log %1 is no regular file.").arg(path);
    }
    if (!isOpen || ::ftruncate(descriptor, 0) != 0)
        return QStringLiteral("The log %1 cannot be written: %2.")
            .arg(path, qt_error_string(errno));
    m_log.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle);
    return QString();
}

void Terminal::log(const QString &text)
{
    if (m_log.isOpen())
        m_log.write(QTime::currentTime().toString(QStringLiteral("hh:mm:ss ")).toUtf8()
                    + text.toUtf8() + '\n');
}

QString Terminal::elapsed() const
{
    return QStringLiteral("%1 s").arg(double(m_stageTime.elapsed()) / 1000, 0, 'f', 1);
}

// --- What is shown. The private functions expect the mutex to be held. ---

void Terminal::writeLine(const QString &text)
{
    writeAll(m_screen, text.toLocal8Bit() + '\n');
    log(text);
}

void Terminal::writeErrorLine(const QString &text)
{
    writeAll(STDERR_FILENO, text.toLocal8Bit() + '\n');
    log(text);
}

/** Makes room for lines below that of the running stage. */
void Terminal::breakStageLine()
{
    if (m_state != Open)
        return;
    writeAll(m_screen, m_isTerminal ? clearLine + m_stageLine.toLocal8Bit() + '\n' : "\n");
    m_state = Broken;
}

void Terminal::drawProgress()
{
    if (!m_isTerminal || m_style.verbose || !isWorking())
        return;
    QString line = m_state == Open ? m_stageLine : QStringLiteral("        ");
    line += QStringLiteral(" %1").arg(elapsed());
    if (!m_activity.isEmpty())
        line += QStringLiteral(" | ") + m_activity;
    writeAll(m_screen, clearLine + line.left(terminalWidth(m_screen) - 1).toLocal8Bit());
}

void Terminal::tick()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (
        !m_ending.wait_for(lock, std::chrono::milliseconds(250), [this] { return m_isEnding; })) {
        if (isWorking() && !m_interruptTold && m_cancellation.isRequested()) {
            m_interruptTold = true;
            breakStageLine();
            writeLine(QStringLiteral("    Interrupted: stopping as soon as this stage can end."));
        }
        drawProgress();
    }
}

void Terminal::stageStarted(int number, int count, const QString &title)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stageLine = QStringLiteral("[%1/%2] %3 ...").arg(number, 2).arg(count).arg(title);
    m_activity.clear();
    m_stageTime.start();
    m_state = Open;
    writeAll(m_screen, m_stageLine.toLocal8Bit());
    log(m_stageLine);
    if (m_style.verbose)
        breakStageLine();
}

void Terminal::stageEnded(const Outcome &outcome)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QString ending;
    switch (outcome.kind) {
    case Outcome::Done:
        ending = QStringLiteral(" done (%1)").arg(elapsed());
        break;
    case Outcome::Skipped:
        ending = QStringLiteral(" skipped");
        break;
    case Outcome::Failed:
        ending = (outcome.code == ExitCode::Interrupted ? QStringLiteral(" interrupted (%1)")
                                                        : QStringLiteral(" FAILED (%1)"))
                     .arg(elapsed());
        break;
    }
    if (outcome.kind != Outcome::Failed && !outcome.sentence.isEmpty())
        ending += QStringLiteral(": ") + outcome.sentence;
    if (m_isTerminal)
        writeAll(m_screen, clearLine + m_stageLine.toLocal8Bit());
    else if (m_state != Open)
        writeAll(m_screen, m_stageLine.toLocal8Bit());
    m_state = Idle;
    writeAll(m_screen, ending.toLocal8Bit() + '\n');
    log(m_stageLine + ending);
}

void Terminal::note(const QString &text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    breakStageLine();
    if (m_isTerminal)
        writeAll(m_screen, clearLine);
    writeLine(QStringLiteral("    ") + text);
}

void Terminal::reminder(const QString &text)
{
    note(text);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reminders.append(text);
}

void Terminal::waiting(const QString &forWhat)
{
    note(QStringLiteral("Waiting for %1").arg(forWhat));
}

void Terminal::toolLine(const QString &line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_activity = line;
    if (m_style.verbose)
        writeAll(m_screen, "    | " + line.toLocal8Bit() + '\n');
    else
        drawProgress();
    log(QStringLiteral("    | ") + line);
}

void Terminal::libraryLine(const QString &line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_style.verbose)
        writeAll(m_screen, "    - " + line.toLocal8Bit() + '\n');
    log(QStringLiteral("    - ") + line);
}

void Terminal::report(const Result &result)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!result.changes.isEmpty()) {
        writeLine(QString());
        writeLine(result.code() == ExitCode::Success
                      ? QStringLiteral("What was written:")
                      : QStringLiteral("What was written until then:"));
        for (const Change &change : result.changes)
            writeLine(QStringLiteral("  %1  (%2)").arg(change.path, change.what));
    }
    if (result.code() == ExitCode::Success) {
        writeLine(QString());
        writeLine(QStringLiteral("The connection is set up."));
        for (const QString &text : qAsConst(m_reminders))
            writeLine(text);
        return;
    }
    writeErrorLine(QString());
    writeErrorLine(QStringLiteral("%1 %2").arg(result.outcome.sentence, result.outcome.nextStep));
    for (const QString &line : result.toolLines)
        writeErrorLine(QStringLiteral("    | ") + line);
    if (!result.changes.isEmpty())
        writeErrorLine(QStringLiteral("kestra-setup undo makes everything as it was before."));
}

// --- Questions ---

/** Returns the next line of standard input, or nothing at its end or when the run is to stop. */
std::optional<QByteArray> Terminal::readLine()
{
    for (;;) {
        const int end = m_input.indexOf('\n');
        if (end >= 0) {
            const QByteArray line = m_input.left(end);
            m_input.remove(0, end + 1);
            return line;
        }
        pollfd sources[] = {{STDIN_FILENO, POLLIN, 0}, {m_cancellation.descriptor(), POLLIN, 0}};
        if (::poll(sources, 2, -1) < 0 && errno != EINTR)
            return std::nullopt;
        if (m_cancellation.isRequested())
            return std::nullopt;
        if (sources[0].revents == 0)
            continue;
        char buffer[1024];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0)
            return std::nullopt;
        m_input.append(buffer, int(count));
    }
}

void Terminal::beginQuestion()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    breakStageLine();
    m_state = Asking;
}

std::optional<QString> Terminal::askText(const QString &question)
{
    if (m_style.unattended)
        return std::nullopt;
    beginQuestion();
    writeAll(m_screen, question.toLocal8Bit() + ": ");
    const auto line = readLine();
    if (!line) {
        writeAll(m_screen, "\n");
        return std::nullopt;
    }
    return textFromBytes(*line).trimmed();
}

std::optional<QString> Terminal::askSecret(const QString &question)
{
    if (m_style.unattended)
        return std::nullopt;
    beginQuestion();
    const SilentInput silent;
    writeAll(m_screen, question.toLocal8Bit() + ": ");
    const auto line = readLine();
    writeAll(m_screen, "\n");
    if (!line)
        return std::nullopt;
    return textFromBytes(*line);
}

std::optional<QString> Terminal::choose(const QString &question, const QStringList &names,
                                        const QString &hint)
{
    if (m_style.unattended)
        return std::nullopt;
    QStringList offered;
    QString answer = hint;
    for (bool isAnswered = false;; isAnswered = true) {
        bool isNumber = false;
        const int number = answer.toInt(&isNumber);
        if (isNumber && number >= 1 && number <= offered.size())
            return offered[number - 1];
        const QStringList matches = namesHolding(names, answer);
        if (const auto match = matchName(names, answer))
            return match;
        if (matches.size() == 1)
            return matches.first();
        beginQuestion();
        offered = offer(matches, answer, names, isAnswered && answer.isEmpty());
        const auto next = askText(offered.isEmpty() ? question + QLatin1String(", or a part of it")
                                                    : question + QLatin1String(", or its number"));
        if (!next)
            return std::nullopt;
        answer = *next;
    }
}

/** Shows what matches @p answer. Returns the names that may be picked by number. */
QStringList Terminal::offer(const QStringList &matches, const QString &answer,
                            const QStringList &names, bool isLongListWanted)
{
    QString sentence;
    if (matches.isEmpty())
        sentence = joined({QStringLiteral("Nothing matches \"%1\".").arg(answer),
                           suggestion(nearMatches(names, answer))});
    else if (matches.size() > longestList && !isLongListWanted)
        sentence = QStringLiteral("%1 to choose from; the Enter key alone lists all %2.")
                       .arg(matches.size())
                       .arg(names.size());
    if (!sentence.isEmpty()) {
        writeAll(m_screen, sentence.toLocal8Bit() + '\n');
        return {};
    }
    QStringList entries;
    for (const QString &name : matches)
        entries.append(QStringLiteral("%1  %2").arg(entries.size() + 1, 4).arg(name));
    writeColumns(entries);
    return matches;
}

/** A short list is one column; a long one reads downwards in as many as there is room for. */
void Terminal::writeColumns(const QStringList &entries)
{
    int width = 0;
    for (const QString &entry : entries)
        width = std::max(width, int(entry.size()) + 2);
    const int fitting = std::max(1, terminalWidth(m_screen) / width);
    const int columns = entries.size() > longestList ? fitting : 1;
    const int lines = (int(entries.size()) + columns - 1) / columns;
    for (int line = 0; line < lines; ++line) {
        QString text;
        for (int i = line; i < entries.size(); i += lines)
            text += i + lines < entries.size() ? entries[i].leftJustified(width) : entries[i];
        writeAll(m_screen, text.toLocal8Bit() + '\n');
    }
}

}
