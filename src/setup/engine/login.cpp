// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/text.h"
#include "base/translate.h"
#include "question.h"
#include "session.h"
#include "stages.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <variant>

namespace Setup {

namespace {

constexpr int longestWord = 255; // of pppd, for names and secrets alike
constexpr int longestFile = 4096;

using Problem = std::optional<Outcome>;
using Word = std::variant<QString, Outcome>;

Outcome refused(const QString &cause, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Login, cause, nextStep);
}

/** Says why pppd would misread @p text, which stands between double quotes in its files. */
QString fault(const QString &text)
{
    if (text.isEmpty())
        return Text::tr("is empty");
    if (text.toLatin1().size() > longestWord)
        return Text::tr("is longer than %1 characters").arg(longestWord);
    for (const QChar character : text) {
        if (character == QLatin1Char('"'))
            return Text::tr("has a double quote in it");
        if (character == QLatin1Char('\\'))
            return Text::tr("has a backslash in it");
        if (character == QLatin1Char('\n') || character == QLatin1Char('\r'))
            return Text::tr("has a line break in it");
        if (character.category() == QChar::Other_Control)
            return Text::tr("has a control character in it");
        if (character.unicode() > 0xff)
            return Text::tr("has a character in it that is not in Latin-1");
    }
    return QString();
}

/** Says whether @p password is none that a provider hands out: the way it came here is wrong. */
bool isMistaken(const QString &password)
{
    return password.isEmpty()
        || std::any_of(password.cbegin(), password.cend(), [](QChar character) {
               return character.category() == QChar::Other_Control;
           });
}

QString passwordFault(const QString &password)
{
    if (password.startsWith(QLatin1String("@/")))
        return Text::tr("begins with @/, which pppd takes for the name of a file");
    return fault(password);
}

/** The first line that @p descriptor gives, which must be all that it gives. */
Word readPassword(int descriptor, const QString &source)
{
    QByteArray bytes(longestFile, '\0');
    int size = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor, bytes.data() + size, std::size_t(bytes.size() - size));
        size += int(std::max(count, ssize_t(0)));
    } while (count > 0 || (count < 0 && errno == EINTR));
    if (count < 0)
        return refused(Text::tr("The password cannot be read from %1: %2.")
                           .arg(source, qt_error_string(errno)),
                       Text::tr("Check it, then start again."));
    bytes.truncate(size);
    for (const char terminator : {'\n', '\r'}) {
        if (bytes.endsWith(terminator))
            bytes.chop(1);
    }
    return textFromBytes(bytes);
}

Word readPasswordFile(const QString &path)
{
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status;
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0)
        return refused(Text::tr("The password file %1 cannot be opened: %2.")
                           .arg(path, qt_error_string(errno)),
                       Text::tr("Give a file that root can read with --password-file."));
    Word result;
    if (!S_ISREG(status.st_mode))
        result = refused(Text::tr("The password file %1 is not a file.").arg(path),
                         Text::tr("Use --password-stdin to pass a password by a pipe."));
    else if (status.st_mode & (S_IRWXG | S_IRWXO))
        result =
            refused(Text::tr("The password file %1 is open to others than its owner.").arg(path),
                    Text::tr("Run: chmod 600 %1").arg(path));
    else
        result = readPassword(descriptor, path);
    ::close(descriptor);
    return result;
}

Outcome noAnswer(const QString &what, const QString &option)
{
    return Outcome::failed(ExitCode::Usage, Text::tr("No %1 was given.").arg(what),
                           Text::tr("Type it when asked, or use %1.").arg(option));
}

Problem userProblem(const QString &user)
{
    const QString userFault = fault(user);
    if (userFault.isEmpty())
        return std::nullopt;
    return refused(Text::tr("The user name cannot be used with pppd: it %1.").arg(userFault),
                   Text::tr("Check the spelling in the provider's letter."));
}

QString passwordStep(const Session &session, const QString &password)
{
    if (!isMistaken(password))
        return Text::tr("Ask the provider for another password.");
    if (session.settings.passwordFromInput)
        return Text::tr("Pass the password and nothing else on standard input.");
    if (!session.settings.passwordFile.isEmpty())
        return Text::tr("Write the password and nothing else to the file %1.")
            .arg(session.settings.passwordFile);
    return Text::tr("Start again and type it when asked.");
}

Problem passwordProblem(const Session &session, const QString &password)
{
    const QString secretFault = passwordFault(password);
    if (secretFault.isEmpty())
        return std::nullopt;
    return refused(Text::tr("The password cannot be used with pppd: it %1.").arg(secretFault),
                   passwordStep(session, password));
}

/** Returns the user name, or the wish to go back. */
Word askForUser(Session &session)
{
    session.frontend.explain(
        Text::tr("The name that the provider has given you for the connection; often it has "
                 "an @ in it. < goes back to the provider."));
    const auto ask = [&] { return session.frontend.askText(Text::tr("User name")); };
    const auto fault = [](const QString &answer) {
        return answer == backAnswer() ? std::nullopt : userProblem(answer);
    };
    return answerTo(session,
                    {ask, fault, noAnswer(Text::tr("user name"), QStringLiteral("--user"))});
}

Word askForPassword(Session &session)
{
    const auto ask = [&] { return session.frontend.askSecret(Text::tr("Password")); };
    const auto fault = [&](const QString &answer) { return passwordProblem(session, answer); };
    return answerTo(
        session,
        {ask, fault,
         noAnswer(Text::tr("password"), Text::tr("--password-file or --password-stdin"))});
}

Word takeUser(Session &session)
{
    if (!session.settings.user.isEmpty()) {
        if (const Problem problem = userProblem(session.settings.user))
            return *problem;
        return session.settings.user;
    }
    for (;;) {
        const Word answer = askForUser(session);
        const auto *const name = std::get_if<QString>(&answer);
        if (!name || *name != backAnswer())
            return answer;
        const Outcome provider = chooseProviderAgain(session);
        if (provider.kind == Outcome::Failed)
            return provider;
        session.frontend.note(provider.sentence);
    }
}

Word takePassword(Session &session)
{
    const bool isPassed = session.settings.passwordFromInput;
    if (!isPassed && session.settings.passwordFile.isEmpty())
        return askForPassword(session);
    const Word password = isPassed ? readPassword(STDIN_FILENO, Text::tr("standard input"))
                                   : readPasswordFile(session.settings.passwordFile);
    if (const auto *const text = std::get_if<QString>(&password)) {
        if (const Problem problem = passwordProblem(session, *text))
            return *problem;
    }
    return password;
}

}

Outcome takeLogin(Session &session)
{
    const Word user = takeUser(session);
    if (std::holds_alternative<Outcome>(user))
        return std::get<Outcome>(user);
    session.user = std::get<QString>(user);
    session.frontend.conceal(session.user);
    const Word password = takePassword(session);
    if (std::holds_alternative<Outcome>(password))
        return std::get<Outcome>(password);
    session.password = std::get<QString>(password);
    session.frontend.conceal(session.password);
    return Outcome::done();
}

}
