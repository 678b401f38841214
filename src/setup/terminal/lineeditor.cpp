// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "lineeditor.h"

#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <readline/history.h>
#include <readline/readline.h>

namespace Setup {

namespace {

LineEditor *current = nullptr;
QStringList completedNames;

// --- Signals of the terminal, while a line is read ---

int signalPipe[2] = {-1, -1};

extern "C" void passSignalOn(int signal)
{
    const int error = errno;
    const char byte = char(signal);
    while (::write(signalPipe[1], &byte, 1) < 0 && errno == EINTR) { }
    errno = error;
}

/** Lets a signal arrive in the pipe, as long as it exists and unless it is ignored. */
class PassedOn
{
public:
    explicit PassedOn(int signal) : m_signal(signal)
    {
        ::sigaction(m_signal, nullptr, &m_earlier);
        begin();
    }
    ~PassedOn() { end(); }

    void begin()
    {
        struct sigaction action = {};
        action.sa_handler = passSignalOn;
        action.sa_flags = SA_RESTART;
        if (m_earlier.sa_handler != SIG_IGN)
            ::sigaction(m_signal, &action, nullptr);
    }
    void end() { ::sigaction(m_signal, &m_earlier, nullptr); }

private:
    const int m_signal;
    struct sigaction m_earlier = {};
};

/** Stops as if nobody had waited for the key, and leaves the terminal to the shell meanwhile. */
void stop(PassedOn &stopKey)
{
    (*rl_deprep_term_function)();
    stopKey.end();
    ::raise(SIGTSTP);
    stopKey.begin();
    (*rl_prep_term_function)(1);
    rl_on_new_line();
    rl_redisplay();
}

// --- Completion. The whole line is one word: names and files may have blanks in them. ---

void beginCompletion()
{
    rl_attempted_completion_over = 1; // no file names in the place of other names
    rl_completion_append_character = '\0';
}

char *copied(const QByteArray &text) { return ::strdup(text.constData()); }

/** Returns the only one of @p names, or what all begin with, if that is more than what was typed.
 */
QString commonBeginning(const QStringList &names, const QString &typed)
{
    if (names.size() == 1)
        return names.first();
    QString common = names.first();
    for (const QString &name : names) {
        while (!name.startsWith(common, Qt::CaseInsensitive))
            common.chop(1);
    }
    return common.startsWith(typed, Qt::CaseInsensitive) ? common : typed;
}

/** Readline wants what to put in the place of the word, and then what there is to choose from. */
char **completeName(const char *word, int, int)
{
    beginCompletion();
    const QString typed = textFromBytes(word);
    const QStringList matches = namesHolding(completedNames, typed);
    if (matches.isEmpty())
        return nullptr;
    const std::size_t count = std::size_t(matches.size());
    auto *const answer = static_cast<char **>(std::calloc(count + 2, sizeof(char *)));
    answer[0] = copied(commonBeginning(matches, typed).toLocal8Bit());
    for (std::size_t i = 0; matches.size() > 1 && i < count; ++i)
        answer[i + 1] = copied(matches[int(i)].toLocal8Bit());
    return answer;
}

char **completePath(const char *word, int, int)
{
    beginCompletion();
    return rl_completion_matches(word, rl_filename_completion_function);
}

void setUpReadline(FILE *screen)
{
    rl_readline_name = "kestra-setup";
    rl_instream = stdin;
    rl_outstream = screen;
    rl_catch_signals = 0; // they are ours
    rl_catch_sigwinch = 0;
    rl_change_environment = 0; // the tools shall not take our terminal for theirs
    rl_completer_word_break_characters = "";
    rl_basic_quote_characters = "";
    rl_completion_query_items = -1; // a question within a question could not be interrupted
    rl_initialize();
    rl_variable_bind("page-completions", "off");
    rl_variable_bind("enable-bracketed-paste", "off");
    // In the C locale, too, letters with accents are letters.
    rl_variable_bind("input-meta", "on");
    rl_variable_bind("output-meta", "on");
    rl_variable_bind("convert-meta", "off");
}

}

LineEditor::LineEditor(int screen, const Cancellation &cancellation)
    : m_cancellation(cancellation), m_screen(::fdopen(::fcntl(screen, F_DUPFD_CLOEXEC, 3), "w"))
{
    current = this;
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        signalPipe[0] = signalPipe[1] = -1;
    setUpReadline(m_screen);
}

LineEditor::~LineEditor()
{
    clear_history();
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    fclose(m_screen);
    current = nullptr;
}

/** Takes the line from readline, which would show the prompt again if it was not stopped. */
void LineEditor::takeLine(char *line)
{
    rl_callback_handler_remove();
    current->m_isDone = true;
    if (line)
        current->m_line = QByteArray(line);
    std::free(line);
}

std::optional<QByteArray> LineEditor::read(const QByteArray &prompt, const Completion &completion)
{
    // The keys for earlier lines bring back what was refused, not what was said to other questions.
    if (prompt != m_lastPrompt)
        clear_history();
    m_lastPrompt = prompt;
    completedNames = completion.names;
    rl_attempted_completion_function = completion.paths ? completePath : completeName;
    m_isDone = false;
    m_line.reset();
    rl_callback_handler_install(prompt.constData(), takeLine);
    waitForInput();
    if (!m_isDone) {
        rl_callback_sigcleanup();
        rl_callback_handler_remove();
    }
    if (m_line && !m_line->isEmpty())
        add_history(m_line->constData());
    return m_line;
}

/** Readline itself would block, and nobody could interrupt that. */
void LineEditor::waitForInput()
{
    PassedOn stopKey(SIGTSTP);
    PassedOn resize(SIGWINCH);
    while (!m_isDone) {
        pollfd sources[] = {{STDIN_FILENO, POLLIN, 0},
                            {m_cancellation.descriptor(), POLLIN, 0},
                            {signalPipe[0], POLLIN, 0}};
        if (::poll(sources, 3, -1) < 0 && errno != EINTR)
            return;
        if (m_cancellation.isRequested())
            return;
        char signal = 0;
        while (::read(signalPipe[0], &signal, 1) == 1) {
            if (signal == SIGTSTP)
                stop(stopKey);
            else
                rl_resize_terminal();
        }
        if (sources[0].revents != 0)
            rl_callback_read_char();
    }
}

}
