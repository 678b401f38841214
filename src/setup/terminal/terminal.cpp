// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "terminal.h"

#include "base/processes.h"
#include "base/text.h"
#include "base/translate.h"
#include "interrupt.h"
#include "width.h"

#include <QDateTime>
#include <QDir>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int usualWidth = 80;
constexpr int longestList = 20;
constexpr int usefulActivity = 12; // columns
const auto tickInterval = std::chrono::milliseconds(100);

/** How a shell would understand a path, as far as people expect that from a prompt, too. */
QString pathFromShell(const QString &typed)
{
    const QLatin1Char quote('\'');
    if (typed.size() > 2 && typed.startsWith(quote) && typed.endsWith(quote))
        return typed.mid(1, typed.size() - 2);
    if (typed == QLatin1String("~") || typed.startsWith(QLatin1String("~/")))
        return QDir::homePath() + typed.mid(1);
    return typed;
}

Completion completionTo(const QStringList &names)
{
    Completion completion;
    completion.names = names;
    return completion;
}

Completion completionToPaths()
{
    Completion completion;
    completion.paths = true;
    return completion;
}

}

Terminal::Terminal(Style style, const Cancellation &cancellation)
    : m_style(style)
    , m_cancellation(cancellation)
    , m_screen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
    , m_canRewrite(canRewrite(m_screen))
    , m_paint(m_screen)
    , m_errorPaint(STDERR_FILENO)
    , m_input(m_screen, cancellation)
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
        return Text::tr("The log %1 is no regular file.").arg(path);
    }
    if (!isOpen || ::ftruncate(descriptor, 0) != 0)
        return Text::tr("The log %1 cannot be written: %2.").arg(path, qt_error_string(errno));
    m_log.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle);
    return QString();
}

void Terminal::log(const QString &text)
{
    if (m_log.isOpen())
        m_log.write(QTime::currentTime().toString(QStringLiteral("hh:mm:ss ")).toUtf8()
                    + text.toUtf8() + '\n');
}

// --- What is shown ---

int Terminal::width() const
{
    winsize size = {};
    return ::ioctl(m_screen, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualWidth;
}

QString Terminal::elapsed() const
{
    constexpr qint64 longSeconds = 100;
    const qint64 time = m_stageTime.elapsed();
    if (time < longSeconds * 1000)
        return QStringLiteral("%1 s").arg(double(time) / 1000, 0, 'f', 1);
    return QStringLiteral("%1 min %2 s")
        .arg(time / 60000)
        .arg(time / 1000 % 60, 2, 10, QLatin1Char('0'));
}

void Terminal::write(const QString &text) { writeAll(m_screen, text.toLocal8Bit()); }

void Terminal::writeLine(const QString &text, Colour colour)
{
    const QString shown = printable(text);
    write(m_paint(colour, shown) + QLatin1Char('\n'));
    log(shown);
}

void Terminal::writeErrorLine(const QString &text, Colour colour)
{
    const QString shown = printable(text);
    writeAll(STDERR_FILENO, (m_errorPaint(colour, shown) + QLatin1Char('\n')).toLocal8Bit());
    log(shown);
}

/** Takes back the line that is not ended, also where a terminal made narrower has broken it. */
void Terminal::erase()
{
    if (!m_canRewrite || m_drawnColumns == 0)
        return;
    const int rowsAbove = (m_drawnColumns - 1) / width();
    write(rowsAbove > 0 ? QStringLiteral("\x1b[%1A\r\x1b[J").arg(rowsAbove)
                        : QStringLiteral("\r\x1b[K"));
    m_drawnColumns = 0;
}

/** Makes room for lines below that of the running stage. */
void Terminal::breakStageLine()
{
    if (m_state == Open) {
        erase();
        write(m_canRewrite ? m_stageLine + QLatin1Char('\n') : QStringLiteral("\n"));
        m_state = Broken;
    }
    erase();
}

void Terminal::draw(const QString &line)
{
    erase();
    const QString text = m_canRewrite ? fitted(line, width() - 1) : line;
    m_drawnColumns = columnsOf(text);
    write(text);
}

void Terminal::drawProgress()
{
    if (!m_canRewrite || m_style.verbose || !isWorking())
        return;
    const int room = width() - 1;
    const QString time = QLatin1Char(' ') + elapsed();
    QString line = m_state == Open ? m_stageLine : QStringLiteral("        ");
    line = fitted(line, room - columnsOf(time)) + time;
    if (!m_activity.isEmpty() && room - columnsOf(line) >= usefulActivity)
        line += QStringLiteral(" | ") + m_activity;
    draw(line);
}

void Terminal::tick()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending.wait_for(lock, tickInterval, [this] { return m_isEnding; })) {
        if (isWorking() && m_cancellation.isRequested())
            tellOfInterrupt();
        drawProgress();
    }
}

/** Once for each time that the user wants to stop: it may be long until that is possible. */
void Terminal::tellOfInterrupt()
{
    const int wanted = std::max(1, interruptCount());
    if (m_interruptsTold == wanted)
        return;
    const QVector<Process> tools = runningChildren();
    QString text = Text::tr("Interrupted: stopping as soon as this stage can end.");
    if (!tools.isEmpty())
        text = (m_interruptsTold == 0
                    ? Text::tr("Interrupted: stopping as soon as %1 has ended.")
                    : Text::tr("Interrupted again: %1 still runs, and is not broken off in "
                               "the midst of what it does."))
                   .arg(tools.first().description());
    m_interruptsTold = wanted;
    breakStageLine();
    writeLine(QStringLiteral("    ") + text);
}

void Terminal::stageStarted(int number, int count, const QString &title)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stageLine = QStringLiteral("[%1/%2] %3 ...").arg(number, 2).arg(count).arg(title);
    m_activity.clear();
    m_stageTime.start();
    m_state = Open;
    draw(m_stageLine);
    log(m_stageLine);
    if (m_style.verbose)
        breakStageLine();
}

void Terminal::stageEnded(const Outcome &outcome)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QString word;
    Colour colour = Colour::Bad;
    QString remark = QStringLiteral(" (%1)").arg(elapsed());
    switch (outcome.kind) {
    case Outcome::Done:
        word = Text::tr("done");
        colour = Colour::Good;
        break;
    case Outcome::Skipped:
        word = Text::tr("skipped");
        colour = Colour::Plain;
        remark.clear();
        break;
    case Outcome::Failed:
        word = outcome.code == ExitCode::Interrupted ? Text::tr("interrupted") : Text::tr("FAILED");
        break;
    }
    if (outcome.kind != Outcome::Failed && !outcome.sentence.isEmpty())
        remark += QStringLiteral(": ") + printable(outcome.sentence);
    erase();
    if (m_canRewrite || m_state != Open)
        write(m_stageLine);
    m_state = Idle;
    write(QLatin1Char(' ') + m_paint(colour, word) + remark + QLatin1Char('\n'));
    log(m_stageLine + QLatin1Char(' ') + word + remark);
}

void Terminal::note(const QString &text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    breakStageLine();
    writeLine(QStringLiteral("    ") + text);
}

void Terminal::reminder(const QString &text)
{
    note(text);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reminders.append(text);
}

void Terminal::waiting(const QString &forWhat) { note(Text::tr("Waiting for %1").arg(forWhat)); }

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
    const bool isSuccess = result.code() == ExitCode::Success;
    if (!result.changes.isEmpty()) {
        writeLine(QString());
        writeLine(isSuccess ? Text::tr("What was written:")
                            : Text::tr("What was written until then:"),
                  Colour::Heading);
        for (const Change &change : result.changes)
            writeLine(QStringLiteral("  %1  (%2)").arg(change.path, change.what));
    }
    if (isSuccess) {
        writeLine(QString());
        for (const QString &sentence : result.achieved)
            writeLine(sentence, Colour::Good);
        for (const QString &text : qAsConst(m_reminders))
            writeLine(text);
        return;
    }
    writeErrorLine(QString());
    writeErrorLine(QStringLiteral("%1 %2").arg(result.outcome.sentence, result.outcome.nextStep),
                   Colour::Bad);
    for (const QString &line : result.toolLines)
        writeErrorLine(QStringLiteral("    | ") + line);
    if (!result.changes.isEmpty())
        writeErrorLine(Text::tr("kestra-setup undo makes everything as it was before."));
    else if (result.code() == ExitCode::Interrupted)
        writeErrorLine(Text::tr("Nothing was changed."));
}

// --- Questions ---

void Terminal::beginQuestion()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state == Asking)
        return;
    breakStageLine();
    m_stateBeforeQuestion = m_state;
    m_state = Asking;
    if (Input::isTerminal() && !m_helpOffered)
        write(Text::tr("A question mark as an answer explains the question; Ctrl-C ends the "
                       "set-up.\n"));
    m_helpOffered = true;
}

void Terminal::endQuestion()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_state = m_stateBeforeQuestion;
}

std::optional<QString> Terminal::ask(const QString &question, const Completion &completion)
{
    if (m_style.unattended)
        return std::nullopt;
    for (;;) {
        beginQuestion();
        const auto line = m_input.ask(question.toLocal8Bit() + ": ", completion);
        endQuestion();
        if (!line)
            return std::nullopt;
        const QString answer = textFromBytes(*line).trimmed();
        if (answer != QLatin1String("?"))
            return answer;
        showHelp();
    }
}

void Terminal::explain(const QString &help) { m_help = help; }

void Terminal::showHelp()
{
    const QString keys = Text::tr("The Tab key completes what is typed, where there is "
                                  "something to choose from. Ctrl-C ends the set-up.");
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const QString &line : wrapped(joined({m_help, keys}), width() - 1))
        write(printable(line) + QLatin1Char('\n'));
}

void Terminal::refuse(const QString &why)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    breakStageLine();
    writeLine(why, Colour::Bad);
}

std::optional<QString> Terminal::askText(const QString &question) { return ask(question, {}); }

std::optional<QString> Terminal::askPath(const QString &question)
{
    const auto answer = ask(question, completionToPaths());
    if (!answer)
        return std::nullopt;
    return pathFromShell(*answer);
}

std::optional<QString> Terminal::askSecret(const QString &question)
{
    if (m_style.unattended)
        return std::nullopt;
    beginQuestion();
    const auto line = m_input.askSecret(question.toLocal8Bit() + ": ");
    endQuestion();
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
        if (isAnswered && answer == backAnswer())
            return answer;
        beginQuestion();
        offered = offer(matches, answer, names, isAnswered && answer.isEmpty());
        const auto next = ask(offered.isEmpty() ? question + Text::tr(", or a part of it")
                                                : question + Text::tr(", or its number"),
                              completionTo(names));
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
        sentence = joined({Text::tr("Nothing matches \"%1\".").arg(answer),
                           suggestion(nearMatches(names, answer))});
    else if (matches.size() > longestList && !isLongListWanted)
        sentence = Text::tr("%1 to choose from; the Enter key alone lists all %2.")
                       .arg(matches.size())
                       .arg(names.size());
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!sentence.isEmpty()) {
        write(printable(sentence) + QLatin1Char('\n'));
        return {};
    }
    QStringList entries;
    for (const QString &name : matches)
        entries.append(QStringLiteral("%1  %2").arg(entries.size() + 1, 4).arg(printable(name)));
    writeColumns(entries);
    return matches;
}

/** A short list is one column; a long one reads downwards in as many as there is room for. */
void Terminal::writeColumns(const QStringList &entries)
{
    int widest = 0;
    for (const QString &entry : entries)
        widest = std::max(widest, columnsOf(entry) + 2);
    const int fitting = std::max(1, width() / widest);
    const int columns = entries.size() > longestList ? fitting : 1;
    const int lines = (int(entries.size()) + columns - 1) / columns;
    for (int line = 0; line < lines; ++line) {
        QString text;
        for (int i = line; i < entries.size(); i += lines)
            text += i + lines < entries.size() ? padded(entries[i], widest) : entries[i];
        write(text + QLatin1Char('\n'));
    }
}

std::optional<bool> Terminal::agree(const Summary &summary)
{
    if (!Input::isTerminal()) // whoever has written all answers in advance has agreed
        return true;
    showSummary(summary);
    for (;;) {
        const auto answer = askText(Text::tr("Go on (yes or no)"));
        if (!answer)
            return std::nullopt;
        if (const auto decision = yesOrNo(*answer))
            return decision;
        refuse(Text::tr("Please answer yes or no."));
    }
}

void Terminal::showSummary(const Summary &summary)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    int widest = 0;
    for (const Summary::Answer &answer : summary.answers)
        widest = std::max(widest, columnsOf(answer.what) + 2);
    writeLine(QString());
    writeLine(Text::tr("What will be done with these answers:"), Colour::Heading);
    for (const Summary::Answer &answer : summary.answers)
        writeLine(QStringLiteral("  ") + padded(answer.what, widest) + answer.value);
    writeLine(QString());
    const QString steps = summary.steps.join(QStringLiteral(", ")) + QLatin1Char('.');
    for (const QString &line : wrapped(steps, width() - 3))
        writeLine(QStringLiteral("  ") + line);
    writeLine(QString());
}

}
