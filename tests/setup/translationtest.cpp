// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>

using namespace KestraTest;

namespace {

const QString translations = QStringLiteral(KESTRA_SOURCE_DIRECTORY) + "/data/translations"_s;
const QString sources = QStringLiteral(KESTRA_SOURCE_DIRECTORY) + "/src/setup"_s;

/** A text of the program, as a file of translations has it. */
struct Message
{
    QString source;
    QString comment;
    QString translation;
    QString type; ///< empty when it is finished

    QString key() const { return source + QLatin1Char('\n') + comment; }
};

QVector<Message> messagesOf(const QString &path)
{
    QVector<Message> messages;
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == "message"_s)
            messages.append(Message());
        else if (xml.name() == "source"_s)
            messages.last().source = xml.readElementText();
        else if (xml.name() == "comment"_s)
            messages.last().comment = xml.readElementText();
        else if (xml.name() == "translation"_s) {
            messages.last().type = xml.attributes().value("type"_s).toString();
            messages.last().translation = xml.readElementText();
        }
    }
    return messages;
}

QStringList keysOf(const QString &path)
{
    QStringList keys;
    for (const Message &message : messagesOf(path))
        keys.append(message.key());
    keys.sort();
    return keys;
}

/** What a translation must have, too, in whatever order. */
QStringList fixedParts(const QString &text)
{
    static const QRegularExpression fixed(
        "%[0-9n]|--[a-z][a-z-]*|(?<![\\w%])/[a-z](?:[\\w/.]*[\\w/])?"
        "|kestra-setup(?: (?:(?:driver|firmware|packages|disc|boot|dns) [a-z]+"
        "|connect|detect|drivers|providers|report|status|undo)\\b)?"
        "|\\b(?:FILE|DISC|KDIR|root|pppd|pppoe|pppoa|apt|zypper|dpkg|chmod|chown|make)\\b"_s);
    QStringList parts;
    for (auto match = fixed.globalMatch(text); match.hasNext();)
        parts.append(match.next().captured());
    parts.sort();
    return parts;
}

/** More than one blank in a row is for columns. */
QString blanksAround(QString text)
{
    text.replace(QRegularExpression(" +"_s), " "_s);
    static const QRegularExpression around("^(\\s*).*?(\\s*)$"_s,
                                           QRegularExpression::DotMatchesEverythingOption);
    const auto match = around.match(text);
    return match.captured(1) + QLatin1Char('|') + match.captured(2);
}

using Variables = QMap<QString, QString>;

void start(QProcess &process, const QStringList &arguments, const Variables &variables)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES"})
        environment.remove(QString::fromLatin1(name));
    for (auto i = variables.cbegin(); i != variables.cend(); ++i)
        environment.insert(i.key(), i.value());
    process.setProcessEnvironment(environment);
    Machine::start(process, arguments);
}

SetupResult run(const QStringList &arguments, const Variables &variables)
{
    QProcess process;
    start(process, arguments, variables);
    return Machine::finish(process);
}

const Variables german = {{"LANGUAGE"_s, "de"_s}, {"LC_ALL"_s, "C.UTF-8"_s}};
const Variables english = {{"LC_ALL"_s, "C.UTF-8"_s}};

}

/** All that kestra-setup says to people can be translated, and is. */
class TranslationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTextIsTranslated_data();
    void everyTextIsTranslated();
    void fixedPartsAreKept_data() { everyTextIsTranslated_data(); }
    void fixedPartsAreKept();
    void noTextIsMissing_data() { everyTextIsTranslated_data(); }
    void noTextIsMissing();
    void everySentenceCanBeTranslated();

    void languageIsThatOfTheEnvironment_data();
    void languageIsThatOfTheEnvironment();
    void helpIsGerman();
    void tablesAreGerman();
    void programsReadTheSameInEveryLanguage();
    void answersMayBeGerman_data();
    void answersMayBeGerman();
    void aWholeRunIsGerman();

private:
    Machine m_machine;
};

void TranslationTest::everyTextIsTranslated_data()
{
    QTest::addColumn<QString>("path");

    const QStringList files = QDir(translations).entryList({"*.ts"_s});
    QVERIFY(files.contains("kestra-setup_de.ts"_s));
    for (const QString &file : files)
        QTest::newRow(qPrintable(file)) << translations + QLatin1Char('/') + file;
}

void TranslationTest::everyTextIsTranslated()
{
    QFETCH(QString, path);
    const QVector<Message> messages = messagesOf(path);
    QVERIFY(messages.size() > 500);
    for (const Message &message : messages) {
        QVERIFY2(message.type.isEmpty(), qPrintable(message.source + ": "_s + message.type));
        QVERIFY2(!message.translation.trimmed().isEmpty(), qPrintable(message.source));
    }
}

void TranslationTest::fixedPartsAreKept()
{
    QFETCH(QString, path);
    for (const Message &message : messagesOf(path)) {
        const QByteArray both = (message.source + " -> "_s + message.translation).toUtf8();
        QVERIFY2(fixedParts(message.source) == fixedParts(message.translation), both.constData());
        QVERIFY2(blanksAround(message.source) == blanksAround(message.translation),
                 both.constData());
        QVERIFY2(message.source.endsWith(QLatin1Char('.'))
                     == message.translation.endsWith(QLatin1Char('.')),
                 both.constData());
        // Nothing of the program's own quotes is to be taken for a part of a name.
        QVERIFY2(!message.translation.contains(QLatin1Char('"')), both.constData());
    }
}

/** The file has what lupdate finds, and nothing else. */
void TranslationTest::noTextIsMissing()
{
    QFETCH(QString, path);
    const QString copy = "/tmp/copy.ts"_s;
    QFile::remove(copy);
    QVERIFY(QFile::copy(path, copy));
    QVERIFY(QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner));
    QCOMPARE(QProcess::execute(QStringLiteral(KESTRA_LUPDATE),
                               {"-silent"_s, "-no-obsolete"_s, "-locations"_s, "none"_s, "-I"_s,
                                sources, sources, "-ts"_s, copy}),
             0);
    const QStringList wanted = keysOf(copy);
    const QStringList present = keysOf(path);
    for (const QString &key : wanted)
        QVERIFY2(present.contains(key), qPrintable("not in the file of translations: "_s + key));
    for (const QString &key : present)
        QVERIFY2(wanted.contains(key), qPrintable("not in the program any more: "_s + key));
}

/** A sentence in QStringLiteral would stay English. */
void TranslationTest::everySentenceCanBeTranslated()
{
    static const QRegularExpression sentence(
        "(?:QStringLiteral|QLatin1String|fromLatin1)\\(\\s*\"[^\"]*[A-Za-z]{2} [^\"]*\\.(?:\\\\n)?\"\\s*\\)"_s);
    QDirIterator files(sources, {"*.cpp"_s, "*.h"_s}, QDir::Files, QDirIterator::Subdirectories);
    int count = 0;
    while (files.hasNext()) {
        const QString path = files.next();
        QString text = QString::fromUtf8(readFile(path));
        text.remove(QRegularExpression("\"\\s*\\n\\s*\""_s)); // one literal on two lines
        const QString found = sentence.match(text).captured();
        QVERIFY2(found.isEmpty() || found.contains("# Written by"_s),
                 qPrintable(path + ": "_s + found));
        ++count;
    }
    QVERIFY(count > 100);
}

void TranslationTest::languageIsThatOfTheEnvironment_data()
{
    QTest::addColumn<Variables>("variables");
    QTest::addColumn<bool>("isGerman");

    const auto utf8 = [](const char *language) {
        return Variables {{"LC_ALL"_s, "C.UTF-8"_s}, {"LANGUAGE"_s, QString::fromLatin1(language)}};
    };
    QTest::newRow("nothing is said") << Variables() << false;
    QTest::newRow("a locale without a language") << english << false;
    QTest::newRow("German") << utf8("de") << true;
    QTest::newRow("German of a country") << utf8("de_AT") << true;
    QTest::newRow("English rather than German") << utf8("en_GB:de") << false;
    QTest::newRow("German rather than English") << utf8("de:en") << true;
    QTest::newRow("a language that we do not speak, then German") << utf8("xh:de") << true;
    QTest::newRow("a language that we do not speak") << utf8("xh") << false;
    QTest::newRow("for programs") << Variables {{"LC_ALL"_s, "C"_s}, {"LANGUAGE"_s, "de"_s}}
                                  << false;
    QTest::newRow("LANG") << Variables {{"LANG"_s, "de_DE.UTF-8"_s}, {"LC_CTYPE"_s, "C.UTF-8"_s}}
                          << true;
    QTest::newRow("messages apart from LANG")
        << Variables {{"LANG"_s, "de_DE.UTF-8"_s}, {"LC_MESSAGES"_s, "C"_s}} << false;
}

void TranslationTest::languageIsThatOfTheEnvironment()
{
    QFETCH(Variables, variables);
    QFETCH(bool, isGerman);
    const SetupResult result = run({"--sequence"_s, "ten"_s}, variables);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(QString::fromUtf8(result.errors),
             isGerman ? "kestra-setup: --sequence muss eine Zahl von 10 bis 99 sein, nicht „ten“. "
                        "Näheres zeigt kestra-setup --help.\n"_s
                      : "kestra-setup: --sequence must be a number from 10 to 99, not \"ten\". See "
                        "kestra-setup --help.\n"_s);
}

/** Also what comes from Qt and from tables. */
void TranslationTest::helpIsGerman()
{
    const QString help = QString::fromUtf8(run({"--help"_s}, german).output);
    for (const QString &text : {"Aufruf: kestra-setup [Optionen]\nRichtet eine Verbindung "_s,
                                "\nOptionen:\n"_s, " Diese Hilfe zeigen.\n"_s, " (Vorgabe: 0).\n"_s,
                                "\nBefehle, "_s, "\nExit-Codes:\n    0  alle Schritte "_s})
        QVERIFY2(help.contains(text), qPrintable(text + "\nis not in\n"_s + help));
    const QString ofCommand = QString::fromUtf8(run({"undo"_s, "--help"_s}, german).output);
    QVERIFY2(ofCommand.startsWith("Aufruf: kestra-setup undo [Optionen]\nAlles so machen, "_s),
             qPrintable(ofCommand));
}

void TranslationTest::tablesAreGerman()
{
    const SetupResult status = run({"status"_s}, german);
    const QString lines = QString::fromUtf8(status.output);
    QCOMPARE(status.code, 0);
    QVERIFY2(lines.contains("\nSystemstart:  die Verbindung wird beim Systemstart nicht "_s),
             qPrintable(lines));
    QVERIFY2(lines.contains("\nVerbindung:   getrennt\n"_s), qPrintable(lines));
    const QString drivers = QString::fromUtf8(
        run({"drivers"_s, "--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY)}, german).output);
    QVERIFY2(drivers.contains("\n  Quelle    "_s), qPrintable(drivers));
}

void TranslationTest::programsReadTheSameInEveryLanguage()
{
    const QStringList data = {"--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY), "--json"_s};
    for (const QStringList &command : {QStringList {"status"_s}, QStringList {"drivers"_s}})
        QCOMPARE(run(command + data, german).output, run(command + data, english).output);

    const QStringList failing = QStringList {"providers"_s, "Nowhere"_s} + data
        + QStringList {"--providers"_s, Machine::directory + "/services.xml"_s};
    const auto errorIn = [&failing](const Variables &variables) {
        return QJsonDocument::fromJson(run(failing, variables).output)
            .object()
            .value("error"_s)
            .toObject();
    };
    const QJsonObject error = errorIn(german);
    QCOMPARE(error.keys(), errorIn(english).keys());
    QCOMPARE(error.value("code"_s), errorIn(english).value("code"_s));
    QCOMPARE(error.value("message"_s).toString(),
             "Die Anbieterdatenbank hat kein Land „Nowhere“."_s);
}

void TranslationTest::answersMayBeGerman_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isYes");
    QTest::addColumn<bool>("isUnderstood");

    QTest::newRow("ja") << QByteArray("ja") << true << true;
    QTest::newRow("a letter") << QByteArray("J") << true << true;
    QTest::newRow("nein") << QByteArray("nein") << false << true;
    QTest::newRow("yes") << QByteArray("yes") << true << true;
    QTest::newRow("no") << QByteArray("no") << false << true;
    QTest::newRow("another language") << QByteArray("oui") << false << false;
}

void TranslationTest::answersMayBeGerman()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, isYes);
    QFETCH(bool, isUnderstood);
    m_machine.reset();
    m_machine.hal.addDevice(
        "/org/freedesktop/Hal/devices/there"_s,
        {{"usb_device.vendor_id"_s, 0x1110}, {"usb_device.product_id"_s, 0x9041}},
        {"usb_device"_s});
    Variables changes = {{"--unattended"_s, QString()}, {"--driver-bundle"_s, QString()}};
    for (const char *option : {"--no-driver", "--no-boot", "--no-dns"})
        changes.insert(QString::fromLatin1(option), "-"_s);
    QProcess process;
    start(process, Machine::arguments(changes), german);
    process.write(answer + '\n');
    process.closeWriteChannel();
    const QByteArray taken = "): Sagem F@st 800 E4, Treiber ueagle-atm, Version default\n";
    const QByteArray waiting = "    Warten, bis ein Modem eingesteckt wird\n";
    const QByteArray refused = "Bitte mit ja oder nein antworten.\n";
    QByteArray output;
    QVERIFY2(Machine::waitForOutput(process, output,
                                    !isUnderstood ? refused
                                        : isYes   ? taken
                                                  : waiting),
             output.constData());
    QVERIFY(output.contains(
        "Das Modem Sagem F@st 800 E4 ist schon eingesteckt; dieses nehmen (ja oder nein): "));
    process.terminate();
    Machine::finish(process);
    m_machine.hal.removeDevice("/org/freedesktop/Hal/devices/there"_s);
}

/** No stage says anything that was forgotten. */
void TranslationTest::aWholeRunIsGerman()
{
    m_machine.reset();
    QProcess process;
    QByteArray output;
    start(process, Machine::arguments(), german);
    QVERIFY(Machine::waitForOutput(process, output, "Warten, bis ein Modem eingesteckt wird"));
    m_machine.plugIn();
    const SetupResult result = Machine::finish(process, output);
    QVERIFY2(result.code == 0, result.everything().constData());
    const QString text = QString::fromUtf8(result.output);
    QVERIFY2(text.contains("] Treiber übersetzen ... fertig ("_s), qPrintable(text));
    QVERIFY2(text.contains("Was geschrieben wurde:\n"_s), qPrintable(text));
    QVERIFY2(text.contains("\nDie Verbindung ist eingerichtet.\n"_s), qPrintable(text));
    static const QRegularExpression leftover(
        "\\b(?:the|is|are|of|and|with|for|done|skipped|already)\\b"_s);
    const QString found = leftover.match(text).captured();
    QVERIFY2(found.isEmpty(), qPrintable(found + " in\n"_s + text));
}

KESTRA_TEST_MAIN(TranslationTest)
#include "translationtest.moc"
