// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "options.h"

#include "base/exitcodes.h"
#include "base/text.h"
#include "base/translate.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <arpa/inet.h>
#include <variant>

namespace Setup {

namespace {

using Flag = bool Options::*;
using Member = QString Options::*;

/** A goal of the set-up that is given up, or added. */
struct Without
{
    unsigned goals;
};

struct With
{
    unsigned goals;
};

/** A path is meant relative to where the program was started. */
struct Path
{
    QString Options::*member;
};

struct Number
{
    int Options::*member;
    int lowest;
    int highest;
    const char *reason = ""; ///< for the lowest number
    bool mayBeZero = false;
};

/** An option is a flag, or takes the value that it is described with. */
struct Row
{
    const char *names; ///< with blanks between them; the last is the one to speak of
    const char *value;
    const char *usual;
    const char *description;
    std::variant<Flag, Member, Path, Number, Without, With> target;
    unsigned commands = Command::SetUp; ///< those that take it
};

constexpr int day = 24 * 60 * 60;

// Who takes the options of a stage.
constexpr unsigned whoFindsModems = Command::SetUp | Command::BuildDriver | Command::Connect;
constexpr unsigned whoBuilds = Command::SetUp | Command::BuildDriver;
constexpr unsigned whoPicksPackages = Command::Packages | Command::PackageCheck;
constexpr unsigned whoInstalls = Command::SetUp | whoPicksPackages;
constexpr unsigned whoUsesPackages = whoInstalls | Command::Discs | Command::DiscAddition;
constexpr unsigned whoConnects = Command::SetUp | Command::Connect;
constexpr unsigned whoLinks = Command::SetUp | Command::Boot;
constexpr unsigned whoPicksServices = whoConnects | Command::NameServers;

const Row rows[] = {
    {"h help", "", "", QT_TRANSLATE_NOOP("Setup", "Show this help."), &Options::help,
     Command::every},
    {"version", "", "", QT_TRANSLATE_NOOP("Setup", "Show the version."), &Options::version,
     Command::every},
    {"verbose", "", "", QT_TRANSLATE_NOOP("Setup", "Show all output of the tools."),
     &Options::verbose, Command::every},
    {"log", "FILE", "", QT_TRANSLATE_NOOP("Setup", "Write all output to FILE, too."),
     Path {&Options::logFile}, Command::staged},
    {"unattended", "", "",
     QT_TRANSLATE_NOOP("Setup", "Ask nothing; all answers come from options."),
     &Options::unattended, Command::staged},
    {"data-dir", "DIR", KESTRA_DATA_DIR,
     QT_TRANSLATE_NOOP("Setup", "Where the files of kestra-setup are."),
     Path {&Options::dataDirectory}, Command::every},
    {"json", "", "", QT_TRANSLATE_NOOP("Setup", "Answer in JSON, and ask nothing."), &Options::json,
     Command::every},
    {"preview", "", "",
     QT_TRANSLATE_NOOP("Setup", "Change nothing; show what would change, and what would be run."),
     &Options::preview, Command::changing},

    {"modem-timeout", "SECONDS", "0",
     QT_TRANSLATE_NOOP("Setup", "How long to wait for a modem; 0 is for ever."),
     Number {&Options::modemTimeout, 6, day,
             QT_TRANSLATE_NOOP("Setup", "a modem takes five seconds to settle"), true},
     whoFindsModems},
    {"driver", "NAME", "",
     QT_TRANSLATE_NOOP("Setup",
                       "Take this driver of the catalogue instead of looking for a modem."),
     &Options::driver,
     whoFindsModems | whoPicksPackages | Command::Firmware | Command::FirmwareCheck},
    {"from", "PATH", "",
     QT_TRANSLATE_NOOP("Setup", "A directory, a mounted disc, a firmware file or an archive."),
     Path {&Options::firmwareFrom}, Command::Firmware},

    {"no-driver", "", "", QT_TRANSLATE_NOOP("Setup", "Build and install no driver."),
     Without {Goal::Driver}},
    {"driver-bundle", "FILE", "",
     QT_TRANSLATE_NOOP(
         "Setup", "The sources of the driver, a tar archive (default: that of the catalogue)."),
     Path {&Options::driverBundle}, whoBuilds},
    {"extraction-path", "DIR", "/usr/src/kestra",
     QT_TRANSLATE_NOOP("Setup", "Where to unpack the bundle."), Path {&Options::extractionPath},
     whoBuilds},
    {"driver-tree", "DIR", "",
     QT_TRANSLATE_NOOP("Setup",
                       "The directory that the bundle unpacks into (default: from the catalogue)."),
     Path {&Options::driverTree}, whoBuilds},
    {"module", "NAME", "",
     QT_TRANSLATE_NOOP("Setup", "The module that is built (default: from the catalogue)."),
     &Options::module, whoBuilds | Command::Connect},
    {"kernel-headers", "DIR", "",
     QT_TRANSLATE_NOOP("Setup", "The kernel to build for (default: /lib/modules/RELEASE/build)."),
     Path {&Options::kernelHeaders}, whoBuilds},
    {"compile-arguments", "LIST", "",
     QT_TRANSLATE_NOOP("Setup", "What make gets to build (default: \"all, KDIR=DIR\")."),
     &Options::compileArguments, whoBuilds},
    {"install-arguments", "LIST", "",
     QT_TRANSLATE_NOOP("Setup", "What make gets to install (default: \"install, KDIR=DIR\")."),
     &Options::installArguments, whoBuilds},
    {"make-environment", "LIST", "",
     QT_TRANSLATE_NOOP("Setup", "Variables for make (\"NAME=value, NAME=value\")."),
     &Options::makeEnvironment, whoBuilds},

    {"no-packages", "", "", QT_TRANSLATE_NOOP("Setup", "Install no packages."),
     Without {Goal::Packages}},
    {"protocol", "NAME", "",
     QT_TRANSLATE_NOOP("Setup", "pppoe or pppoa (default: that of the connection, or both)."),
     &Options::protocol, whoPicksPackages},
    {"packages", "LIST", "",
     QT_TRANSLATE_NOOP("Setup",
                       "The packages to install (default: what driver and protocol need)."),
     &Options::packages, whoInstalls},
    {"package-manager", "NAME", "",
     QT_TRANSLATE_NOOP("Setup", "apt or zypper (default: that of the distribution)."),
     &Options::packageManager, whoUsesPackages},
    {"lock-timeout", "SECONDS", "300",
     QT_TRANSLATE_NOOP("Setup", "How long to wait for another program's package run."),
     Number {&Options::lockTimeout, 0, day}, whoInstalls | Command::DiscAddition},

    {"providers", "FILE", "",
     QT_TRANSLATE_NOOP("Setup",
                       "The provider database (default: services.xml in the data directory)."),
     Path {&Options::providers}, whoPicksServices | Command::Providers},
    {"validate", "FILE", "",
     QT_TRANSLATE_NOOP("Setup", "Check FILE, and name line and column of its faults."),
     Path {&Options::validate}, Command::Providers},
    {"country", "NAME", "", QT_TRANSLATE_NOOP("Setup", "The country of the provider."),
     &Options::country, whoPicksServices},
    {"service", "NAME", "", QT_TRANSLATE_NOOP("Setup", "The service of the provider."),
     &Options::service, whoPicksServices},

    {"user", "NAME", "", QT_TRANSLATE_NOOP("Setup", "The user name that the provider has given."),
     &Options::user, whoConnects},
    {"password-file", "FILE", "",
     QT_TRANSLATE_NOOP("Setup", "Read the password from FILE, which only its owner may read."),
     Path {&Options::passwordFile}, whoConnects},
    {"password-stdin", "", "", QT_TRANSLATE_NOOP("Setup", "Read the password from standard input."),
     &Options::passwordFromInput, whoConnects},

    {"output", "FILE", "",
     QT_TRANSLATE_NOOP("Setup", "Write the report to FILE, which must not exist yet."),
     Path {&Options::output}, Command::Report},

    {"force", "", "",
     QT_TRANSLATE_NOOP("Setup", "Also what somebody has changed since the set-up."),
     &Options::force, Command::Undo | Command::UndoPart},
    {"packages", "", "",
     QT_TRANSLATE_NOOP("Setup", "Remove the packages, too, that the set-up has installed."),
     &Options::removePackages, Command::Undo},

    {"no-boot", "", "", QT_TRANSLATE_NOOP("Setup", "Do not start the connection at boot."),
     Without {Goal::InitScript | Goal::Boot}},
    {"sequence", "N", "20",
     QT_TRANSLATE_NOOP("Setup",
                       "The sequence number of the boot links, which must have two digits."),
     Number {&Options::sequence, 10, 99,
             QT_TRANSLATE_NOOP("Setup", "systemd leaves out links with one digit")},
     whoLinks},
    {"start", "", "", QT_TRANSLATE_NOOP("Setup", "Start the connection at the end."),
     With {Goal::Start}, whoConnects},

    {"no-dns", "", "", QT_TRANSLATE_NOOP("Setup", "Leave the name servers alone."),
     Without {Goal::NameServers}},
    {"servers", "LIST", "",
     QT_TRANSLATE_NOOP("Setup",
                       "The addresses of the name servers (default: those of the provider)."),
     &Options::nameServers, Command::NameServers},
};

QStringList names(const Row &row) { return QString::fromLatin1(row.names).split(QLatin1Char(' ')); }

QString name(const Row &row) { return names(row).last(); }

QString optionName(const char *name) { return QStringLiteral("--") + QString::fromLatin1(name); }

QString description(const Row &row)
{
    QString text = Text::tr(row.description);
    if (*row.usual) {
        text.chop(1); // the full stop
        text += Text::tr(" (default: %1).").arg(QString::fromLatin1(row.usual));
    }
    return text;
}

bool belongsTo(const Row &row, const Command &command) { return row.commands & command.id; }

void describe(QCommandLineParser &parser, const Command &command)
{
    for (const Row &row : rows) {
        if (!belongsTo(row, command))
            continue;
        QCommandLineOption option(names(row), description(row), QString::fromLatin1(row.value));
        if (*row.usual)
            option.setDefaultValue(QString::fromLatin1(row.usual));
        parser.addOption(option);
    }
}

/** Puts values where the table says; returns what is wrong. */
struct Store
{
    Options &options;
    const QString name;
    const QString value;
    const bool isGiven;

    QString operator()(Flag member) const
    {
        options.*member = isGiven;
        return QString();
    }

    QString operator()(const Without &row) const
    {
        if (isGiven)
            options.goals &= ~row.goals;
        return QString();
    }

    QString operator()(const With &row) const
    {
        if (isGiven)
            options.goals |= row.goals;
        return QString();
    }

    QString operator()(Member member) const
    {
        options.*member = value;
        return emptyValue();
    }

    QString operator()(const Path &path) const
    {
        options.*path.member = value.isEmpty() ? value : QFileInfo(value).absoluteFilePath();
        return emptyValue();
    }

    QString operator()(const Number &number) const
    {
        bool isNumber = false;
        const int given = value.toInt(&isNumber);
        options.*number.member = given;
        const bool isInRange = given >= number.lowest && given <= number.highest;
        if (isNumber && (isInRange || (number.mayBeZero && given == 0)))
            return QString();
        const QString zero = number.mayBeZero ? Text::tr("0 or ") : QString();
        const QString reason = isNumber && given < number.lowest && *number.reason
            ? QStringLiteral(": ") + Text::tr(number.reason)
            : QString();
        return Text::tr("--%1 must be %2a number from %3 to %4, not \"%5\"%6.")
            .arg(name, zero)
            .arg(number.lowest)
            .arg(number.highest)
            .arg(value, reason);
    }

    QString emptyValue() const
    {
        return isGiven && value.isEmpty() ? Text::tr("--%1 must not be empty.").arg(name)
                                          : QString();
    }
};

struct Requirement
{
    const char *name;
    unsigned goals; ///< of which one needs it
    bool (*isMet)(const Options &);
};

// What nobody can be asked for in an unattended run.
const Requirement requirements[] = {
    {"country", Goal::Connection, [](const Options &o) { return !o.country.isEmpty(); }},
    {"service", Goal::Connection, [](const Options &o) { return !o.service.isEmpty(); }},
    {"user", Goal::Connection, [](const Options &o) { return !o.user.isEmpty(); }},
    {"password-file", Goal::Connection,
     [](const Options &o) { return o.passwordFromInput || !o.passwordFile.isEmpty(); }},
    {"servers", Goal::NameServers,
     [](const Options &o) {
         return !o.nameServers.isEmpty() || (!o.country.isEmpty() && !o.service.isEmpty());
     }},
};

QString firstUnmet(const Options &options)
{
    if (!options.unattended)
        return QString();
    for (const Requirement &requirement : requirements) {
        if (options.wants(requirement.goals) && !requirement.isMet(options))
            return Text::tr("%1 is needed with %2.")
                .arg(optionName(requirement.name),
                     optionName(options.json ? "json" : "unattended"));
    }
    return QString();
}

struct Contradiction
{
    bool (*holds)(const Options &);
    const char *sentence;
};

bool isFileName(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("\\A[A-Za-z0-9][A-Za-z0-9._-]*\\z"));
    return pattern.match(text).hasMatch();
}

bool areAllPackageNames(const QString &list)
{
    const QStringList names = splitNames(list);
    return std::all_of(names.cbegin(), names.cend(), isPackageName);
}

bool isAddress(const QString &text)
{
    in_addr address;
    return ::inet_pton(AF_INET, text.toUtf8().constData(), &address) == 1;
}

bool areAllAddresses(const QString &list)
{
    const QStringList addresses = splitNames(list);
    return std::all_of(addresses.cbegin(), addresses.cend(), isAddress)
        && addresses.isEmpty() == list.isEmpty();
}

const Contradiction contradictions[] = {
    {[](const Options &o) { return o.passwordFromInput && !o.passwordFile.isEmpty(); },
     QT_TRANSLATE_NOOP("Setup", "--password-file and --password-stdin exclude each other.")},
    {[](const Options &o) { return o.passwordFromInput && !o.unattended; },
     QT_TRANSLATE_NOOP(
         "Setup", "--password-stdin needs --unattended: standard input cannot hold answers, too.")},
    {[](const Options &o) {
         return !o.packageManager.isEmpty() && o.packageManager != QLatin1String("apt")
             && o.packageManager != QLatin1String("zypper");
     },
     QT_TRANSLATE_NOOP("Setup", "--package-manager must be apt or zypper.")},
    {[](const Options &o) {
         return !o.protocol.isEmpty() && o.protocol != QLatin1String("pppoe")
             && o.protocol != QLatin1String("pppoa");
     },
     QT_TRANSLATE_NOOP("Setup", "--protocol must be pppoe or pppoa.")},
    {[](const Options &o) { return !areAllPackageNames(o.packages); },
     QT_TRANSLATE_NOOP("Setup", "--packages holds something that is no name of a package.")},
    {[](const Options &o) { return !o.packages.isEmpty() && splitNames(o.packages).isEmpty(); },
     QT_TRANSLATE_NOOP("Setup", "--packages names no package; use --no-packages to install none.")},
    {[](const Options &o) { return !areAllAddresses(o.nameServers); },
     QT_TRANSLATE_NOOP("Setup",
                       "--servers must be IPv4 addresses like 192.0.2.1, separated by commas.")},
    {[](const Options &o) { return !o.nameServers.isEmpty() && !o.country.isEmpty(); },
     QT_TRANSLATE_NOOP("Setup", "--servers and --country exclude each other.")},
    {[](const Options &o) { return !o.module.isEmpty() && !isFileName(o.module); },
     QT_TRANSLATE_NOOP("Setup", "--module must be the file name of a kernel module.")},
    {[](const Options &o) { return o.kernelHeaders.contains(QLatin1String(", ")); },
     QT_TRANSLATE_NOOP("Setup", "--kernel-headers must not hold a comma and a blank.")},
    {[](const Options &o) { return o.extractionPath.contains(QLatin1String(", ")); },
     QT_TRANSLATE_NOOP("Setup", "--extraction-path must not hold a comma and a blank.")},
    {[](const Options &o) { return o.preview && !o.logFile.isEmpty(); },
     QT_TRANSLATE_NOOP("Setup", "--preview writes no file, and so excludes --log.")},
};

QString firstContradiction(const Options &options)
{
    for (const Contradiction &contradiction : contradictions) {
        if (contradiction.holds(options))
            return Text::tr(contradiction.sentence);
    }
    return QString();
}

QString oneSentence(QString text)
{
    text = text.section(QLatin1Char('\n'), 0, 0);
    return text.endsWith(QLatin1Char('.')) ? text : text + QLatin1Char('.');
}

/** The second words of the commands that begin with @p word. */
QStringList wordsAfter(const QString &word)
{
    QStringList words;
    for (const Command &command : commands()) {
        const QStringList name = QString::fromLatin1(command.name).split(QLatin1Char(' '));
        if (name.size() > 1 && name.constFirst() == word)
            words.append(name.at(1));
    }
    return words;
}

QString readOperand(Options &options, QStringList operands)
{
    const QByteArray operand = options.command->operand;
    if (operand.endsWith("...")) {
        for (const QString &path : qAsConst(operands))
            options.operands.append(QFileInfo(path).absoluteFilePath());
        return operands.contains(QString()) ? Text::tr("An argument is empty.") : QString();
    }
    const bool isTaken = !operand.isEmpty();
    if (isTaken && !operands.isEmpty())
        options.operand = operands.takeFirst();
    if (operands.isEmpty())
        return QString();
    const QString word = operands.constFirst();
    const QStringList next = wordsAfter(word);
    if (findCommand(operands.mid(0, 2).join(QLatin1Char(' '))) || findCommand(word))
        return Text::tr("The command \"%1\" must come before all options.").arg(word);
    if (!next.isEmpty())
        return Text::tr("\"%1\" needs one of these words after it: %2.")
            .arg(word, next.join(QStringLiteral(", ")));
    return Text::tr("The argument \"%1\" is not understood.").arg(operands.constFirst());
}

/** The arguments may begin with the words of a command. */
const Command *takeCommand(QStringList &arguments)
{
    for (const int words : {2, 1}) {
        const QStringList name = arguments.mid(1, words);
        const Command *const command = findCommand(name.join(QLatin1Char(' ')));
        if (!command || name.size() < words)
            continue;
        arguments.erase(arguments.begin() + 1, arguments.begin() + 1 + words);
        return command;
    }
    return findCommand(QString());
}

QString readInto(Options &options, QStringList arguments)
{
    options.command = takeCommand(arguments);
    options.goals = options.command->goals;
    QCommandLineParser parser;
    describe(parser, *options.command);
    if (!parser.parse(arguments))
        return oneSentence(parser.errorText());
    for (const Row &row : rows) {
        if (!belongsTo(row, *options.command))
            continue;
        const QString problem =
            std::visit(Store {options, name(row), parser.value(name(row)), parser.isSet(name(row))},
                       row.target);
        if (!problem.isEmpty())
            return problem;
    }
    if (options.help || options.version)
        return QString();
    if (options.command->id & Command::staged)
        options.unattended |= options.json; // nobody sees a question
    QString problem = readOperand(options, parser.positionalArguments());
    if (problem.isEmpty())
        problem = firstContradiction(options);
    return problem.isEmpty() ? firstUnmet(options) : problem;
}

QString usage(const Command &command)
{
    return Text::tr("%1 [options] %2")
        .arg(QLatin1String(command.name), QLatin1String(command.operand))
        .trimmed();
}

QString commandsText()
{
    QString text;
    for (const Command &command : commands()) {
        if (*command.name)
            text += QStringLiteral("  %1  %2\n")
                        .arg(QStringLiteral("%1 %2")
                                 .arg(QLatin1String(command.name), QLatin1String(command.operand))
                                 .leftJustified(22),
                             Text::tr(command.summary));
    }
    return text;
}

}

Options parseOptions(const QStringList &arguments)
{
    Options options;
    options.error = readInto(options, arguments);
    return options;
}

QString helpText(const Command &command)
{
    QCommandLineParser parser;
    describe(parser, command);
    // The parser's first line shows how the program was called, with its directory.
    const QString options = parser.helpText().section(QLatin1Char('\n'), 1);
    if (command.id != Command::SetUp)
        return Text::tr("Usage: kestra-setup %1\n%2\n")
                   .arg(usage(command), Text::tr(command.summary))
            + options;
    return Text::tr("Usage: kestra-setup [options]\n"
                    "Sets up a connection over a USB ADSL modem. Asks for what no option "
                    "tells; the password is never an option.\n")
        + options + Text::tr("\nCommands, each with a --help of its own:\n") + commandsText()
        + Text::tr("\nExit codes:\n") + exitCodesText();
}

}
