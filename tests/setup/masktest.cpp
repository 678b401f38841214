// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "log/mask.h"
#include "literals.h"
#include "log/secrets.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace KestraTest;
using namespace Setup;

/** What keeps user names and passwords out of logs and reports. */
class MaskTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void secretsAreMasked_data();
    void secretsAreMasked();
    void everyEncodingIsMasked_data();
    void everyEncodingIsMasked();
    void jsonOfASecretIsMasked();
    void longTextsCostNoMore();

    void secretsFile_data();
    void secretsFile();
    void optionsFile_data();
    void optionsFile();
    void loginIsTakenOutOfOptions_data();
    void loginIsTakenOutOfOptions();
};

void MaskTest::secretsAreMasked_data()
{
    QTest::addColumn<QStringList>("secrets");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("masked");

    const auto row = [](const char *name, const QStringList &secrets, const char *text,
                        const char *masked) {
        QTest::newRow(name) << secrets << QByteArray(text) << QByteArray(masked);
    };
    row("none", {}, "as it is", "as it is");
    row("in words", {"secret"_s}, "unsecretly", "un********ly");
    row("twice", {"secret"_s}, "secret secret", "******** ********");
    row("next to each other", {"secret"_s}, "secretsecret", "****************");
    row("alone", {"secret"_s}, "secret", "********");
    row("almost", {"secret"_s}, "secre sectet", "secre sectet");
    row("after half of it", {"secret"_s}, "secsecret", "sec********");
    row("several", {"user@net"_s, "secret"_s}, "user@net has secret", "******** has ********");
    row("one in the other", {"me@net"_s, "me@net.example"_s}, "me@net.example", "********");
    row("shorter one in the middle", {"bcde"_s, "abcdefgh"_s}, "abcdefgX abcdefgh",
        "a********fgX ********");
    row("overlapping", {"abcd"_s, "cdef"_s}, "abcdef", "********");
    row("overlapping itself", {"abab"_s}, "ababab", "********");
    row("with blanks at its ends", {" secret "_s}, "a secret b secret", "a********b ********");
    row("nothing and everything", {""_s, "*"_s}, "a * b", "a * b");

    row("short in words", {"abc"_s}, "abcd xabc abc1 abc_ 7abc", "abcd xabc abc1 abc_ 7abc");
    row("short alone", {"abc"_s}, "abc \"abc\" p=abc, (abc) abc@net",
        "******** \"********\" p=********, (********) ********@net");
    row("one character", {"a"_s}, "a: a word and a=\"a\"",
        "********: ******** word and ********=\"********\"");
    row("short in a long one", {"ab"_s, "xx ab xx"_s}, "xx ab xx", "********");
    row("short next to an umlaut", {"abc"_s},
        "\xc3\xa4"
        "abc",
        "\xc3\xa4"
        "abc");
    row("four characters", {"abcd"_s}, "abcde", "********e");
}

void MaskTest::secretsAreMasked()
{
    QFETCH(QStringList, secrets);
    QFETCH(QByteArray, text);
    QTEST(Mask(secrets).applied(text), "masked");
}

void MaskTest::everyEncodingIsMasked_data()
{
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("UTF-8") << QByteArray("p\xc3\xa4ss\"w\\rd");
    QTest::newRow("Latin-1") << QByteArray("p\xe4ss\"w\\rd");
    QTest::newRow("UTF-8 taken for Latin-1") << QByteArray("p\xc3\x83\xc2\xa4ss\"w\\rd");
    QTest::newRow("in quotation marks") << QByteArray("p\xe4ss\\\"w\\\\rd");
    QTest::newRow("octal") << QByteArray("p\\344ss\"w\\rd");
    QTest::newRow("octal, UTF-8") << QByteArray("p\\303\\244ss\\\"w\\\\rd");
    QTest::newRow("hexadecimal") << QByteArray("p\\xe4ss\"w\\rd");
    QTest::newRow("hexadecimal, UTF-8") << QByteArray("p\\xc3\\xa4ss\"w\\rd");
    QTest::newRow("of URLs") << QByteArray("p%C3%A4ss\"w\\rd");
    QTest::newRow("JSON") << QByteArray("p\\u00e4ss\\\"w\\\\rd");
    QTest::newRow("not shown") << QByteArray("p?ss\"w\\rd");
}

void MaskTest::everyEncodingIsMasked()
{
    QFETCH(QByteArray, text);
    const Mask mask({QString::fromUtf8("p\xc3\xa4ss\"w\\rd")});
    QCOMPARE(mask.applied("before " + text + " after"), QByteArray("before ******** after"));
}

void MaskTest::jsonOfASecretIsMasked()
{
    const QString secret = QString::fromUtf8("a\"b\\c/d \xc3\xbc");
    const QByteArray json = QJsonDocument(QJsonObject {{"key"_s, secret}}).toJson();
    const QByteArray masked = Mask({secret}).applied(json);
    QCOMPARE(QJsonDocument::fromJson(masked)["key"_s].toString(), "********"_s);
}

/** Also not where every byte may be the beginning of a long secret. */
void MaskTest::longTextsCostNoMore()
{
    const Mask mask({QString(250, QLatin1Char('a')) + QLatin1Char('b')});
    const auto cost = [&mask](char byte) {
        QElapsedTimer time;
        time.start();
        mask.applied(QByteArray(4000000, byte));
        return time.nsecsElapsed() + 1;
    };
    const qint64 usual = cost('x');
    QVERIFY(cost('a') < 25 * usual);
}

void MaskTest::secretsFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("secrets");

    const QStringList usual = {"me@net"_s, "pass word"_s};
    QTest::newRow("ours") << QByteArray("\"me@net\" * \"pass word\" *\n") << usual;
    QTest::newRow("backslash") << QByteArray("me@net * pass\\ word\n") << usual;
    QTest::newRow("out of use") << QByteArray("# \"me@net\" * \"pass word\" *\n") << usual;
    QTest::newRow("last line") << QByteArray("#\n\nme@net * 'pass word'") << usual;
    QTest::newRow("Latin-1") << QByteArray("m\xe4 * \"secret\"")
                             << QStringList {QString::fromUtf8("m\xc3\xa4"), "secret"_s};
    QTest::newRow("prose") << QByteArray("# Secrets for authentication using PAP\n")
                           << QStringList();
    QTest::newRow("title") << QByteArray("# client\tserver\tsecret\tIP addresses\n")
                           << QStringList();
    QTest::newRow("example") << QByteArray("#hostname * password\n") << QStringList();
    QTest::newRow("who is kept out") << QByteArray("root hostname \"*\" -\n") << QStringList();
    QTest::newRow("no password") << QByteArray("*  hostname  \"\"  *\n") << QStringList();
}

void MaskTest::secretsFile()
{
    QFETCH(QByteArray, content);
    QTEST(Secrets::inSecretsFile(content), "secrets");
}

void MaskTest::optionsFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("secrets");

    QTest::newRow("ours") << QByteArray("noauth\nuser \"me@net\"\n") << QStringList {"me@net"_s};
    QTest::newRow("several") << QByteArray("user me password 'a b' mtu 1492\nname you\n")
                             << QStringList {"me"_s, "a b"_s, "you"_s};
    QTest::newRow("out of use") << QByteArray("#user me@net\n") << QStringList {"me@net"_s};
    QTest::newRow("prose") << QByteArray("# the name of the provider\n#name <n>\n")
                           << QStringList();
}

void MaskTest::optionsFile()
{
    QFETCH(QByteArray, content);
    QTEST(Secrets::inOptionsFile(content), "secrets");
}

void MaskTest::loginIsTakenOutOfOptions_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("masked");

    QTest::newRow("ours") << QByteArray("noauth\nuser \"me@net\"\n")
                          << QByteArray("noauth\nuser ********\n");
    QTest::newRow("needless backslash")
        << QByteArray("mtu 3 user m\\e password x\n") << QByteArray("mtu 3 user ********\n");
    QTest::newRow("out of use") << QByteArray("  #user me\n") << QByteArray("#user ********\n");
    QTest::newRow("prose") << QByteArray("# the name of it\n") << QByteArray("# the name of it\n");
    QTest::newRow("quotes of others")
        << QByteArray("plugin \"a b.so\"\n") << QByteArray("plugin \"a b.so\"\n");
    QTest::newRow("without quotation marks")
        << QByteArray("password a b c\n") << QByteArray("password ********\n");
    QTest::newRow("command") << QByteArray("connect \"chat ogin: me word: x\"\n")
                             << QByteArray("connect ********\n");
}

void MaskTest::loginIsTakenOutOfOptions()
{
    QFETCH(QByteArray, content);
    QTEST(Secrets::withoutLogin(content), "masked");
}

QTEST_GUILESS_MAIN(MaskTest)
#include "masktest.moc"
