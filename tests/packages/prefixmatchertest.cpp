// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "debugfile.h"
#include "messagelog.h"
#include "standintool.h"
#include "testmain.h"

#include <kestra/packages/apt.h>
#include <kestra/packages/rpm.h>

#include <QRandomGenerator>

using namespace KestraTest;

namespace {

/** What a question should give. */
struct Answer
{
    QStringList remaining;
    QStringList found; ///< in the order of the messages
};

/** The loops as they are described: each line walks a snapshot of what is still asked for. */
Answer naiveAnswer(const QByteArray &listing, const QByteArray &prefix, const QStringList &names)
{
    Answer answer {names, {}};
    for (const QByteArray &line : listing.split('\n')) {
        const QStringList snapshot = answer.remaining;
        for (const QString &name : snapshot) {
            if (line.startsWith(prefix + name.toLocal8Bit())) {
                answer.found.append(name);
                answer.remaining.removeAll(name);
            }
        }
    }
    return answer;
}

/** Listings and requests of short words over a small alphabet, so that they often meet. */
class Words
{
public:
    explicit Words(quint32 seed) : m_random(seed) { }

    QString word(int minimum, int maximum)
    {
        QString result;
        for (int left = m_random.bounded(minimum, maximum + 1); left > 0; --left)
            result += QLatin1Char("abc-"[m_random.bounded(4)]);
        return result;
    }

    QStringList words(int count, int minimum, int maximum)
    {
        QStringList result;
        for (int i = 0; i < count; ++i)
            result.append(word(minimum, maximum));
        return result;
    }

    /** A request; about every fifth one holds the empty name. */
    QStringList request()
    {
        return words(m_random.bounded(1, 25), m_random.bounded(5) == 0 ? 0 : 1, 6);
    }

    int number(int limit) { return m_random.bounded(limit); }

private:
    QRandomGenerator m_random;
};

}

/** The search for names in listings, against the plain loops. */
class PrefixMatcherTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rpmAnswersLikeThePlainLoops_data();
    void rpmAnswersLikeThePlainLoops();
    void aptAnswersLikeThePlainLoops_data();
    void aptAnswersLikeThePlainLoops();
};

void PrefixMatcherTest::rpmAnswersLikeThePlainLoops_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 20; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void PrefixMatcherTest::rpmAnswersLikeThePlainLoops()
{
    QFETCH(quint32, seed);
    Words words(seed);
    const QByteArray listing =
        words.words(words.number(40), 0, 7).join(QLatin1Char('\n')).toLatin1();
    StandInTool tool("rpm");
    tool.setBehaviour(says(listing));
    MessageLog messages;
    Rpm rpm(nullptr);
    rpm.queryDB();
    for (int question = 0; question < 50; ++question) {
        const QStringList request = words.request();
        const Answer expected = naiveAnswer(listing, "", request);
        QStringList expectedMessages;
        for (const QString &name : expected.found)
            expectedMessages.append("\"%1\" is installed."_s.arg(name));
        messages.clear();
        QCOMPARE(rpm.getNotInstalled(request), expected.remaining);
        QCOMPARE(messages.texts(), expectedMessages);
    }
}

void PrefixMatcherTest::aptAnswersLikeThePlainLoops_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 101; seed <= 160; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void PrefixMatcherTest::aptAnswersLikeThePlainLoops()
{
    QFETCH(quint32, seed);
    Words words(seed);
    const QList<QByteArray> states = {"ii  ", "ii  ", "ii  ", "rc  ", "ii", "iii  ", ""};
    QByteArray listing;
    for (int i = words.number(30); i > 0; --i)
        listing += states.at(words.number(states.size())) + words.word(0, 7).toLatin1() + '\n';
    StandInTool tool("dpkg");
    tool.setBehaviour(says(listing));
    MessageLog messages;
    Apt apt(nullptr);
    const DebugFile debugFile;
    const QStringList request = words.request();
    const Answer expected = naiveAnswer(listing, "ii  ", request);
    QCOMPARE(apt.getNotInstalled(request), expected.remaining);
    QStringList expectedLines;
    for (const QString &name : expected.found)
        expectedLines.append("Apt::getNotInstalled(): package %1 is installed."_s.arg(name));
    expectedLines.append("Apt::getNotInstalled(): not installed packages: %1."_s.arg(
        expected.remaining.join(", "_s)));
    QCOMPARE(debugFile.lines().mid(2), expectedLines);
}

KESTRA_TEST_MAIN(PrefixMatcherTest)

#include "prefixmatchertest.moc"
