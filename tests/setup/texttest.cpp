// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/text.h"
#include "literals.h"

#include <QtTest>

using namespace KestraTest;
using namespace Setup;

namespace {

const QStringList countries = {"Austria"_s, "Australia"_s,      "Brazil"_s,
                               "Germany"_s, "United Kingdom"_s, "germany"_s};

}

class TextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bytesAreUtf8OrElseLatin1();
    void printableTextHasNoControlCharacters();
    void namesAreSplitAtCommasAndBlanks();
    void namesMatchExactlyThenWithoutCase();
    void namesHoldingAPart();
    void nearMatchesAreThoseOneCanMean();
    void sentencesAreJoinedWithBlanks();
};

void TextTest::bytesAreUtf8OrElseLatin1()
{
    QCOMPARE(textFromBytes("M\xc3\xbcller"), QString(QChar(u'M')) + QChar(0xfc) + "ller"_s);
    QCOMPARE(textFromBytes("M\xfcller"), QString(QChar(u'M')) + QChar(0xfc) + "ller"_s);
    QCOMPARE(textFromBytes(QByteArray("a\0b", 3)).size(), 3);
}

void TextTest::printableTextHasNoControlCharacters()
{
    QCOMPARE(printable("\x1b[1;31mred\x1b[0m\ta\x07"
                       "b"_s),
             "red a?b"_s);
    QCOMPARE(printable("plain"_s), "plain"_s);
}

void TextTest::namesAreSplitAtCommasAndBlanks()
{
    const QStringList three = {"a"_s, "b"_s, "c"_s};
    QCOMPARE(splitNames("a,b,c"_s), three);
    QCOMPARE(splitNames(" a, b  c,"_s), three);
    QCOMPARE(splitNames(" , "_s), QStringList());
}

void TextTest::namesMatchExactlyThenWithoutCase()
{
    QCOMPARE(matchName(countries, "germany"_s).value(), "germany"_s);
    QCOMPARE(matchName(countries, "Germany"_s).value(), "Germany"_s);
    QVERIFY(!matchName(countries, "GERMANY"_s)); // could be either
    QCOMPARE(matchName(countries, "AUSTRIA"_s).value(), "Austria"_s);
    QVERIFY(!matchName(countries, "Austri"_s));
}

void TextTest::namesHoldingAPart()
{
    const QStringList expected = {"Austria"_s, "Australia"_s};
    QCOMPARE(namesHolding(countries, "AUST"_s), expected);
    QCOMPARE(namesHolding(countries, ""_s), countries);
}

void TextTest::nearMatchesAreThoseOneCanMean()
{
    QCOMPARE(nearMatches(countries, "Brasil"_s), QStringList("Brazil"_s));
    QCOMPARE(nearMatches(countries, "kingdom"_s), QStringList("United Kingdom"_s));
    QCOMPARE(nearMatches(countries, "Atlantis"_s), QStringList());
    const QStringList both = {"Austria"_s, "Australia"_s};
    QCOMPARE(nearMatches(countries, "Austra"_s), (QStringList {"Australia"_s, "Austria"_s}));
    QCOMPARE(nearMatches(countries, "aust"_s), both);
    QCOMPARE(suggestion(both), "Near matches: Austria, Australia."_s);
    QCOMPARE(suggestion({}), QString());
}

void TextTest::sentencesAreJoinedWithBlanks()
{
    QCOMPARE(joined({"One."_s, QString(), "Two."_s}), "One. Two."_s);
    QCOMPARE(joined({"One."_s, QString()}), "One."_s);
    QCOMPARE(joined({QString()}), QString());
}

QTEST_GUILESS_MAIN(TextTest)
#include "texttest.moc"
