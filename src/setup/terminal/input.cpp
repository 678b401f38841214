// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "input.h"

#include "paint.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Setup {

namespace {

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

Input::Input(int screen, const Cancellation &cancellation)
    : m_screen(screen), m_cancellation(cancellation)
{
    if (isTerminal() && canRewrite(screen))
        m_editor = std::make_unique<LineEditor>(screen, cancellation);
}

bool Input::isTerminal() { return ::isatty(STDIN_FILENO); }

std::optional<QByteArray> Input::ask(const QByteArray &prompt, const Completion &completion)
{
    std::optional<QByteArray> line;
    if (m_editor) {
        line = m_editor->read(prompt, completion);
    } else {
        writeAll(m_screen, prompt);
        line = readLine();
    }
    if (!line)
        writeAll(m_screen, "\n");
    return line;
}

std::optional<QByteArray> Input::askSecret(const QByteArray &prompt)
{
    const SilentInput silent;
    writeAll(m_screen, prompt);
    const auto line = readLine();
    writeAll(m_screen, "\n");
    return line;
}

/** Returns the next line of standard input, or nothing at its end or when the run is to stop. */
std::optional<QByteArray> Input::readLine()
{
    for (;;) {
        const int end = m_bytes.indexOf('\n');
        if (end >= 0) {
            const QByteArray line = m_bytes.left(end);
            m_bytes.remove(0, end + 1);
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
        m_bytes.append(buffer, int(count));
    }
}

}
