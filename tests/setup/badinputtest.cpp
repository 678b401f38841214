// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <sys/resource.h>

using namespace KestraTest;

using Changes = QMap<QString, QString>;
Q_DECLARE_METATYPE(Changes)

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr long mostKilobytes = 800000; // what is freed is kept to be watched
#else
constexpr long mostKilobytes = 200000;
#endif

const QString scratch = Machine::directory + "/scratch"_s;
const QString database = scratch + "/services.xml"_s;
const QString pap = "/etc/ppp/pap-secrets"_s;
const QString chap = "/etc/ppp/chap-secrets"_s;

/** What "connect" is told of a driver instead of waiting for a modem. */
const Changes withoutModem = {{"--driver"_s, "ueagle-atm"_s},    {"--modem-timeout"_s, QString()},
                              {"--driver-bundle"_s, QString()},  {"--extraction-path"_s, QString()},
                              {"--kernel-headers"_s, QString()}, {"--no-packages"_s, QString()}};

/** The same for a whole set-up. */
const Changes withDriver = {{"--driver"_s, "ueagle-atm"_s}, {"--modem-timeout"_s, QString()}};

QStringList connects(const Changes &changes = {})
{
    Changes all = withoutModem;
    for (auto change = changes.cbegin(); change != changes.cend(); ++change)
        all[change.key()] = change.value();
    return QStringList("connect"_s) + Machine::arguments(all);
}

SetupResult setup(const QStringList &arguments,
                  const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    Machine::start(process, arguments);
    return Machine::finish(process);
}

QByteArray shell(const QString &script, const QStringList &arguments = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start("sh"_s, QStringList {"-ec"_s, script, "sh"_s} + arguments);
    if (!process.waitForFinished() || process.exitCode() != 0)
        qFatal("%s: %s", qPrintable(script), process.readAll().constData());
    return process.readAll();
}

QByteArray differences(const QByteArray &before, const QByteArray &after)
{
    const QByteArrayList old = before.split('\n');
    const QByteArrayList now = after.split('\n');
    QByteArray result;
    for (const QByteArray &line : old)
        result += now.contains(line) ? QByteArray() : "- " + line + '\n';
    for (const QByteArray &line : now)
        result += old.contains(line) ? QByteArray() : "+ " + line + '\n';
    return result;
}

/** One or two sentences, that what was written is told of, and no more. */
bool isOneAnswer(const QByteArray &errors)
{
    return QRegularExpression("\\A\n?[^\n]+\\.\n(kestra-setup undo makes everything as it was "
                              "before\\.\n)?\\z"_s)
        .match(QString::fromUtf8(errors))
        .hasMatch();
}

}

/** Input that nobody should give, and machines that nobody should have. */
class BadInputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void pppdReadsWhatWasTyped_data();
    void pppdReadsWhatWasTyped();
    void loginThatPppdWouldMisread_data();
    void loginThatPppdWouldMisread();

    void pathsWithBlanks();

    void databaseOfNoUse_data();
    void databaseOfNoUse();
    void databaseInAnotherEncoding_data();
    void databaseInAnotherEncoding();
    void largestDatabases_data();
    void largestDatabases();

    void fullDisk_data();
    void fullDisk();
    void readOnlySystem_data();
    void readOnlySystem();

    void whoIsNotRoot_data();
    void whoIsNotRoot();
    void noBus_data();
    void noBus();
    void theBusGoesAwayWhileActing();

    void depmodThatFails_data();
    void depmodThatFails();
    void depmodThatHangs();
    void startThatGoesWrong_data();
    void startThatGoesWrong();

private:
    void refuses(const SetupResult &result, int code, const QByteArray &sentence);
    void undoes();

    Machine m_machine;
    QByteArray m_before;
};

void BadInputTest::init()
{
    m_machine.reset();
    makeDirectory(scratch);
    remove("/tmp/report.tar.gz"_s);
    writeFile("/etc/resolv.conf"_s, "nameserver 198.51.100.1\n");
    m_before = Machine::state();
}

/** Before a file is touched. */
void BadInputTest::refuses(const SetupResult &result, int code, const QByteArray &sentence)
{
    QVERIFY2(result.errors.contains(sentence),
             (QByteArray::number(result.code) + result.everything()).constData());
    QVERIFY2(isOneAnswer(result.errors), result.errors.constData());
    QCOMPARE(result.code, code);
    QCOMPARE(differences(m_before, Machine::state()), QByteArray());
    QVERIFY(!exists("/var/lib/kestra/before.json"_s));
}

/** Nothing is left but the logs. */
void BadInputTest::undoes()
{
    const SetupResult result = setup({"undo"_s});
    QVERIFY2(result.code == 0, result.everything().constData());
    shell("rm -rf /opt/kestra/logs; rmdir /opt/kestra 2>/dev/null || true"_s);
    QCOMPARE(differences(m_before, Machine::state()), QByteArray());
}

// --- User name and password ---

namespace {

/** Has pppd read its files, and tell what it takes for user name and password. */
class Pppd
{
public:
    /** A plug-in runs in pppd's own process, behind its reader of options. */
    static bool isUsable()
    {
        QProcess pppd;
        pppd.setProcessChannelMode(QProcess::MergedChannels);
        pppd.start("/usr/sbin/pppd"_s, {"--version"_s});
        pppd.waitForFinished();
        const auto version = QRegularExpression("version (2\\.4\\.\\S+)"_s)
                                 .match(QString::fromLatin1(pppd.readAll()));
        if (!version.hasMatch())
            return false;
        writeFile("/tmp/plugin.c"_s, R"(
            #include <fcntl.h>
            #include <string.h>
            #include <unistd.h>
                        extern char user[];
            int get_secret(int, char *, char *, char *, int *, int);
            char pppd_version[] = VERSION;
            static void put(const char *name, const char *text, int size)
            {
                int file = open(name, O_WRONLY | O_CREAT | O_TRUNC, 0600);
                if (write(file, text, size) != size)
                    _exit(9);
                close(file);
            }
            void plugin_init(void)
            {
                char secret[4096];
                int size = 0;
                put("/tmp/user", user, strlen(user));
                if (get_secret(0, user, "the provider", secret, &size, 0))
                    put("/tmp/secret", secret, size);
                _exit(0);
            })");
        return QProcess::execute("cc"_s,
                                 {"-shared"_s, "-fPIC"_s, "-o"_s, "/tmp/plugin.so"_s,
                                  "-DVERSION=\"%1\""_s.arg(version.captured(1)), "/tmp/plugin.c"_s})
            == 0;
    }

    Pppd()
    {
        remove("/tmp/user"_s);
        remove("/tmp/secret"_s);
        QProcess pppd;
        pppd.setProcessChannelMode(QProcess::MergedChannels);
        // pppd and its plug-ins only look whether there is a /dev/ppp before they connect.
        pppd.start("unshare"_s,
                   {"--mount"_s, "sh"_s, "-ec"_s,
                    "mount -t tmpfs tmpfs /dev; touch /dev/ppp /dev/null;"
                    "exec /usr/sbin/pppd call kestra plugin /tmp/plugin.so"_s});
        pppd.waitForFinished();
        output = pppd.readAll();
        user = exists("/tmp/user"_s) ? readFile("/tmp/user"_s) : "(nothing)";
        secret = exists("/tmp/secret"_s) ? readFile("/tmp/secret"_s) : "(nothing)";
    }

    QByteArray output;
    QByteArray user;
    QByteArray secret;
};

}

void BadInputTest::pppdReadsWhatWasTyped_data()
{
    QTest::addColumn<QString>("text");
    QString latin;
    for (ushort character = 0xa0; character <= 0xff; ++character)
        latin.append(QChar(character));
    QString ascii;
    for (char character = ' '; character < 0x7f; ++character) {
        if (character != '"' && character != '\\')
            ascii.append(QLatin1Char(character));
    }
    QTest::newRow("usual") << "me@example.net"_s;
    QTest::newRow("all of ASCII") << ascii;
    QTest::newRow("all of Latin-1") << latin;
    QTest::newRow("at sign first") << "@example"_s;
    QTest::newRow("at sign and no file") << "@ /etc/shadow"_s;
    QTest::newRow("hash first") << "# no comment"_s;
    QTest::newRow("single quotes") << "'a' ' b"_s;
    QTest::newRow("blanks at the ends") << "  a  b  "_s;
    QTest::newRow("blank") << " "_s;
    QTest::newRow("asterisk") << "*"_s;
    QTest::newRow("minus") << "-"_s;
    QTest::newRow("exclamation mark") << "!a"_s;
    QTest::newRow("percent") << "%1%2%n%s"_s;
    QTest::newRow("dollar") << "$HOME `id`"_s;
    QTest::newRow("as long as can be") << QString(255, QChar(0xfc));
}

void BadInputTest::pppdReadsWhatWasTyped()
{
    QFETCH(QString, text);
    static const bool isUsable = Pppd::isUsable();
    if (!isUsable)
        QSKIP("there is no pppd 2.4 or no C compiler");
    writeFile(Machine::directory + "/password"_s, text.toUtf8() + "\n", 0600);
    const QStringList arguments =
        connects({{"--user"_s, QString()}}) + QStringList("--user="_s + text);
    const SetupResult result = setup(arguments);
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(readFile(pap), readFile(chap));
    const Pppd pppd;
    QVERIFY2(pppd.user == text.toLatin1(), (pppd.output + pppd.user).constData());
    QVERIFY2(pppd.secret == text.toLatin1(), (pppd.output + pppd.secret).constData());

    undoes();
}

void BadInputTest::loginThatPppdWouldMisread_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("fault");
    const QByteArray lineBreak = "has a line break in it";
    const QByteArray control = "has a control character in it";
    const QByteArray foreign = "has a character in it that is not in Latin-1";
    QTest::newRow("double quote") << QByteArray("a\"") << QByteArray("has a double quote in it");
    QTest::newRow("backslash") << QByteArray("a\\") << QByteArray("has a backslash in it");
    QTest::newRow("line feed") << QByteArray("a\nb") << lineBreak;
    QTest::newRow("line feed first") << QByteArray("\nb") << lineBreak;
    QTest::newRow("carriage return") << QByteArray("a\rb") << lineBreak;
    QTest::newRow("tabulator") << QByteArray("a\tb") << control;
    QTest::newRow("escape") << QByteArray("\x1b[1ma") << control;
    QTest::newRow("C1 control") << QByteArray("a\xc2\x85") << control;
    QTest::newRow("Greek") << QByteArray("\xce\xb1") << foreign;
    QTest::newRow("Euro sign") << QByteArray("\xe2\x82\xac") << foreign;
    QTest::newRow("beyond 16 bits") << QByteArray("\xf0\x9f\x98\x80") << foreign;
    QTest::newRow("256 characters")
        << QByteArray(256, 'x') << QByteArray("is longer than 255 characters");
    QTest::newRow("3000 characters")
        << QByteArray(3000, 'x') << QByteArray("is longer than 255 characters");
    QTest::newRow("100000 characters")
        << QByteArray(100000, 'x') << QByteArray("is longer than 255 characters");
    QTest::newRow("empty") << QByteArray("") << QByteArray("is empty");
}

void BadInputTest::loginThatPppdWouldMisread()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, fault);
    const QByteArray sentence = " cannot be used with pppd: it " + fault + ". ";
    if (!text.isEmpty()) // which is no answer
        refuses(setup(connects({{"--user"_s, QString::fromUtf8(text)}})), 18,
                "The user name" + sentence);
    writeFile(scratch + "/password"_s, text + "\n", 0600);
    refuses(setup(connects({{"--password-file"_s, scratch + "/password"_s}})), 18,
            "The password" + sentence);
}

// --- Paths ---

/** From the bundle to the log, and back. */
void BadInputTest::pathsWithBlanks()
{
    const QString place = Machine::directory + "/a place with blanks"_s;
    makeDirectory(place + "/ker nel"_s);
    writeFile(place + "/ker nel/Makefile"_s, "");
    shell("cp \"$1\"/driver.tar.gz \"$2/the driver.tar.gz\";"
          "cp -p \"$1\"/services.xml \"$2/the services.xml\";"
          "cp -p \"$1\"/password \"$2/the password\"; cp -r \"$3\" \"$2/the data\""_s,
          {Machine::directory, place, QStringLiteral(KESTRA_DATA_DIRECTORY)});
    const SetupResult result = m_machine.run(Changes {
        {"--driver-bundle"_s, place + "/the driver.tar.gz"_s},
        {"--extraction-path"_s, place + "/the sources"_s},
        {"--kernel-headers"_s, place + "/ker nel"_s},
        {"--data-dir"_s, place + "/the data"_s},
        {"--providers"_s, place + "/the services.xml"_s},
        {"--password-file"_s, place + "/the password"_s},
        {"--log"_s, place + "/the log"_s},
        {"--verbose"_s, "-"_s},
    });
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(readFile(Machine::newModule), Machine::source);
    QVERIFY(exists(place + "/the sources"_s));
    QVERIFY2(result.output.contains(("building for "_s + place + "/ker nel"_s).toUtf8()),
             result.output.constData());
    QVERIFY(readFile(place + "/the log"_s).contains("install the driver"));
    QVERIFY(readFile(chap).contains(Machine::password));

    undoes();
    QVERIFY(!exists(place + "/the sources"_s));
}

// --- The provider database ---

namespace {

const QByteArray service = "<service name=\"S\"><vpi>8</vpi><vci>35</vci><protocol>pppoa"
                           "</protocol><encapsulation>vc</encapsulation><dns_server_1/>"
                           "<dns_server_2/></service>";

QByteArray countries(const QByteArray &inner) { return "<services>" + inner + "</services>"; }

QByteArray country(const QByteArray &inner)
{
    return "<country code=\"Freedonia\">" + inner + "</country>";
}

/** Distinct names, that are no faults of their own. */
QByteArray many(int count, QByteArray element)
{
    QByteArray all;
    for (int i = 0; i < count; ++i)
        all += QByteArray(element).replace("=\"", "=\"" + QByteArray::number(i) + ' ');
    return all;
}

const struct
{
    const char *name;
    const char *how; ///< a shell script to make "$1" with; the content is already there
    QByteArray content;
    const char *why;
} uselessDatabases[] = {
    {"50 MB", "head -c 50000000 /dev/zero | tr '\\0' ' ' >>\"$1\"", countries(country(service)),
     "it is larger than 8 MiB"},
    {"infinite", "rm \"$1\"; ln -s /dev/zero \"$1\"", {}, "it is no regular file"},
    {"directory", "rm \"$1\"; mkdir \"$1\"", {}, "it is no regular file"},
    {"pipe that nobody writes to", "rm \"$1\"; mkfifo \"$1\"", {}, "it is no regular file"},
    {"dangling link", "rm \"$1\"; ln -s /nowhere \"$1\"", {}, "there is no such file"},
    {"empty", "", {}, "line 1, column 0: "},
    {"truncated", "", "<services><country code=\"Freedonia\"><service na", "line 1, column 4"},
    {"wrong encoding", "", countries("<country code=\"\xe9\xff\"/>"), "incorrectly encoded"},
    {"declared encoding is wrong", "",
     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + countries("<country code=\"\xe9\xff\"/>"),
     "incorrectly encoded"},
    {"unknown encoding", "",
     "<?xml version=\"1.0\" encoding=\"X-NONE\"?>" + countries(country(service)), "X-NONE"},
    {"entity", "", "<!DOCTYPE s [<!ENTITY a \"b\">]>" + countries(country(service)),
     "it declares entities"},
    {"external entity", "",
     "<!DOCTYPE s [<!ENTITY a SYSTEM \"/etc/shadow\">]>" + countries("<country code=\"&a;\"/>"),
     "it declares entities"},
    {"entity bomb", "",
     "<!DOCTYPE s [<!ENTITY a \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\">"
     "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">"
     "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;\">]>"
         + countries("<country code=\"&e;\"/>"),
     "it declares entities"},
    {"bottomless", "", QByteArray("<services>").repeated(800000), "nested more than 32 deep"},
    {"too many countries", "",
     countries(many(1001, "<country code=\"C\">" + service + "</country>")),
     "more than 1000 countries"},
    {"too many services", "", countries(country(many(2001, service))),
     "more than 2000 services of one country"},
};

struct Limited
{
    SetupResult result;
    qint64 milliseconds = 0;
    long kilobytes = 0; ///< at most in memory at once, so far
};

Limited measured(const QStringList &arguments)
{
    Limited limited;
    QElapsedTimer time;
    time.start();
    limited.result = setup(arguments);
    limited.milliseconds = time.elapsed();
    rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    limited.kilobytes = usage.ru_maxrss;
    return limited;
}

}

void BadInputTest::databaseOfNoUse_data()
{
    QTest::addColumn<int>("row");
    int i = 0;
    for (const auto &row : uselessDatabases)
        QTest::newRow(row.name) << i++;
}

void BadInputTest::databaseOfNoUse()
{
    QFETCH(int, row);
    const auto &bad = uselessDatabases[row];
    writeFile(database, bad.content);
    shell(QLatin1String(bad.how), {database});
    const QStringList calls[] = {{"providers"_s, "--providers"_s, database},
                                 {"providers"_s, "Freedonia"_s, "--providers"_s, database},
                                 connects({{"--providers"_s, database}})};
    for (const QStringList &call : calls) {
        const Limited limited = measured(call);
        refuses(limited.result, 16,
                QByteArray("The provider database ") + database.toLatin1() + " cannot be used: ");
        QVERIFY2(limited.result.errors.contains(bad.why), limited.result.errors.constData());
        QVERIFY2(limited.milliseconds < 5000, QByteArray::number(limited.milliseconds).constData());
        QVERIFY2(limited.kilobytes < mostKilobytes,
                 QByteArray::number(qint64(limited.kilobytes)).constData());
    }
    const Limited limited = measured({"providers"_s, "--validate"_s, database});
    QCOMPARE(limited.result.code, 16);
    QVERIFY2(isOneAnswer(limited.result.errors), limited.result.errors.constData());
    QVERIFY2(limited.milliseconds < 5000, QByteArray::number(limited.milliseconds).constData());
}

void BadInputTest::databaseInAnotherEncoding_data()
{
    QTest::addColumn<QString>("encoding");
    QTest::addColumn<QString>("declaration");
    const QString declared = "<?xml version=\"1.0\" encoding=\"%1\"?>"_s;
    QTest::newRow("UTF-8") << "UTF-8"_s << QString();
    QTest::newRow("declared Latin-1") << "ISO-8859-1"_s << declared.arg("ISO-8859-1"_s);
    QTest::newRow("UTF-16 with its mark") << "UTF-16"_s << QString();
}

void BadInputTest::databaseInAnotherEncoding()
{
    QFETCH(QString, encoding);
    QFETCH(QString, declaration);
    writeFile(scratch + "/utf8"_s,
              declaration.toUtf8()
                  + countries("<country code=\"\xc3\x96land\">" + service + "</country>"));
    shell("iconv -f UTF-8 -t \"$1\" \"$2/utf8\" >\"$2/services.xml\""_s, {encoding, scratch});
    QCOMPARE(setup({"providers"_s, "--validate"_s, database}).code, 0);
    const SetupResult result = setup(connects({{"--providers"_s, database},
                                               {"--country"_s, QString::fromUtf8("\xc3\x96land")},
                                               {"--service"_s, "S"_s}}));
    QVERIFY2(result.code == 0, result.everything().constData());
    undoes();
}

void BadInputTest::largestDatabases_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("countries") << countries(
        many(999, "<country code=\"C\">" + service + "</country>") + country(service));
    QTest::newRow("services") << countries(country(many(1999, service) + service));
    QTest::newRow("bytes") << countries(country(service)) + QByteArray((8 << 20) - 1000, ' ');
}

/** What is not refused is read in a time that one likes to wait. */
void BadInputTest::largestDatabases()
{
    QFETCH(QByteArray, content);
    writeFile(database, content);
    const QStringList calls[] = {{"providers"_s, "--validate"_s, database},
                                 {"providers"_s, "--providers"_s, database},
                                 {"providers"_s, "Freedonia"_s, "--providers"_s, database},
                                 connects({{"--providers"_s, database}, {"--service"_s, "S"_s}})};
    for (const QStringList &call : calls) {
        const Limited limited = measured(call);
        QVERIFY2(limited.result.code == 0, limited.result.everything().right(2000).constData());
        QVERIFY2(limited.milliseconds < 20000,
                 QByteArray::number(limited.milliseconds).constData());
        QVERIFY2(limited.kilobytes < mostKilobytes,
                 QByteArray::number(qint64(limited.kilobytes)).constData());
    }
}

// --- The machine ---

namespace {

/** A directory on a disk of its own with so much room left. */
class FullDisk
{
public:
    FullDisk(const QString &path, int freePages) : m_path(path)
    {
        shell("mkdir -p \"$1\" /mnt/full;"
              "mount -t tmpfs -o mode=755 tmpfs /mnt/full; cp -a \"$1\"/. /mnt/full/;"
              "chmod --reference \"$1\" /mnt/full; head -c 4096 /dev/zero >/mnt/full/filler;"
              "mount -o remount,size=$(($(df -k --output=used /mnt/full | tail -n 1) + $2 * 4))k"
              "    /mnt/full;"
              "mount --move /mnt/full \"$1\""_s,
              {path, QString::number(freePages)});
    }
    ~FullDisk() { shell("umount -l \"$1\""_s, {m_path}); }
    Q_DISABLE_COPY(FullDisk)

    void makeRoom() const { shell("mount -o remount,size=1g \"$1\""_s, {m_path}); }

private:
    const QString m_path;
};

class ReadOnly
{
public:
    explicit ReadOnly(const QString &path) : m_path(path)
    {
        shell("mount --bind \"$1\" \"$1\"; mount -o remount,bind,ro \"$1\""_s, {path});
    }
    ~ReadOnly() { shell("umount -l \"$1\""_s, {m_path}); }
    Q_DISABLE_COPY(ReadOnly)

private:
    const QString m_path;
};

}

void BadInputTest::fullDisk_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("freePages");
    const QPair<const char *, int> places[] = {
        {"/etc", 4},
        {"/var/lib/kestra", 8},
        {"/lib/modules", 2},
        {"/opt/kestra", 2},
    };
    for (const auto &place : places) {
        for (int pages = 0; pages < place.second; ++pages)
            QTest::addRow("%s, %d", place.first, pages)
                << QString::fromLatin1(place.first) << pages;
    }
}

/** Whatever comes of it, undo makes it good, at the latest when there is room. */
void BadInputTest::fullDisk()
{
    QFETCH(QString, path);
    QFETCH(int, freePages);
    m_machine.writeBundle(Machine::makefile("@yes kestra | head -c 6000 >ueagle-atm.ko",
                                            Machine::usualInstallation()));
    writeFile(chap, "\"another\" * \"secret\" *\n", 0640);
    const FullDisk disk(path, freePages);
    m_before = Machine::state();
    const SetupResult result = setup(Machine::arguments(withDriver));
    QVERIFY2(result.code >= 0 && result.code != 1, result.everything().constData());
    if (result.code != 0) {
        QVERIFY2(!result.errors.isEmpty(), result.output.constData());
        QVERIFY2(isOneAnswer(result.errors.left(result.errors.indexOf("\n    |") + 1))
                     || isOneAnswer(result.errors),
                 result.errors.constData());
    } else {
        QCOMPARE(readFile(chap), "\"me@example.net\" * \"" + Machine::password + "\" *\n");
        QCOMPARE(readFile(Machine::newModule).size(), 6000);
        QCOMPARE(linkTarget("/etc/rc2.d/S20kestrad"_s), "/etc/init.d/kestrad"_s);
    }
    const SetupResult undone = setup({"undo"_s});
    if (undone.code != 0) {
        QVERIFY2(undone.code == 22, undone.everything().constData());
        QVERIFY2(isOneAnswer(undone.errors), undone.errors.constData());
    }
    disk.makeRoom();
    undoes();
}

void BadInputTest::readOnlySystem_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("sentence");
    QTest::addColumn<int>("code");
    QTest::newRow("/etc") << "/etc"_s
                          << QByteArray("/etc cannot be written to: Read-only file system. Mount "
                                        "the file system for writing.")
                          << 6;
    QTest::newRow("/var/lib") << "/var/lib"_s
                              << QByteArray(
                                     "could not be kept in /var/lib/kestra for a later undo.")
                              << 6;
    QTest::newRow("/lib/modules") << "/lib/modules"_s
                                  << ("/lib/modules/" + Machine::release.toLatin1()
                                      + " cannot be written to: Read-only file system. Mount the "
                                        "file system for writing.")
                                  << 6;
}

void BadInputTest::readOnlySystem()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, sentence);
    QFETCH(int, code);
    {
        const ReadOnly system(path);
        refuses(setup(Machine::arguments(withDriver)), code, sentence);
    }
    // One that becomes so after the set-up.
    QCOMPARE(setup(Machine::arguments(withDriver)).code, 0);
    {
        const ReadOnly system(path);
        const SetupResult undone = setup({"undo"_s});
        QVERIFY2(isOneAnswer(undone.errors), undone.errors.constData());
        QCOMPARE(undone.code, 22);
        QCOMPARE(setup({"status"_s}).code, 0);
    }
    undoes();
}

namespace {

const QStringList ofData = {"--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY)};
const QStringList ofProviders = {"--providers"_s, Machine::directory + "/services.xml"_s};

/** Each command, what is to come of it without root, and what without a bus. */
struct Call
{
    QStringList arguments;
    int withoutRoot;
    int withoutBus;
};

const Call calls[] = {
    {Machine::arguments(), 3, 5},
    {{"detect"_s}, 5, 5},
    {{"status"_s}, 3, 0},
    {QStringList("drivers"_s) + ofData, 0, 0},
    {QStringList("providers"_s) + ofProviders, 0, 0},
    {{"providers"_s, "--validate"_s, Machine::directory + "/services.xml"_s}, 16, 16},
    {QStringList {"driver"_s, "build"_s, "--unattended"_s, "--kernel-headers"_s,
                  Machine::directory + "/kernel"_s}
         + ofData,
     3, 5},
    {{"driver"_s, "restore"_s}, 3, 0},
    {{"packages"_s, "install"_s, "--unattended"_s}, 3, -1},
    {{"disc"_s, "list"_s}, 5, 5},
    {{"disc"_s, "add"_s, "/dev/sr0"_s}, 3, 5},
    {{"disc"_s, "eject"_s, "/dev/sr0"_s}, 3, 5},
    {connects(), 3, 0},
    {QStringList {"boot"_s, "enable"_s} + ofData, 3, -1},
    {{"boot"_s, "disable"_s}, 3, 0},
    {{"dns"_s, "set"_s, "--servers"_s, "192.0.2.1"_s}, 3, 0},
    {{"dns"_s, "restore"_s}, 3, 0},
    {{"report"_s, "--output"_s, "/tmp/report.tar.gz"_s}, 0, 0},
    {{"undo"_s}, 3, 0},
};

void addCalls(int Call::*code)
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    for (const Call &call : calls) {
        const QString name = QStringList(call.arguments.mid(0, 2)).join(QLatin1Char(' '));
        if (call.*code >= 0)
            QTest::newRow(qPrintable(name)) << call.arguments << call.*code;
    }
}

}

void BadInputTest::whoIsNotRoot_data() { addCalls(&Call::withoutRoot); }

void BadInputTest::whoIsNotRoot()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    m_machine.hal.stop(); // so that nobody has to wait for a modem
    QProcess process;
    process.start("setpriv"_s,
                  QStringList {"--reuid=65534"_s, "--clear-groups"_s, Machine::program}
                      + arguments);
    const SetupResult result = Machine::finish(process);
    m_machine.hal.start();
    QVERIFY2(result.code == code, result.everything().constData());
    if (code == 3)
        QVERIFY2(result.errors.endsWith("This program must run as root. Start it with sudo, or "
                                        "from a root shell.\n"),
                 result.errors.constData());
    QCOMPARE(differences(m_before, Machine::state()), QByteArray());
}

void BadInputTest::noBus_data() { addCalls(&Call::withoutBus); }

void BadInputTest::noBus()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, "unix:path=/nowhere"_s);
    const SetupResult result = setup(arguments, environment);
    QVERIFY2(result.code == code, result.everything().constData());
    if (code == 5) {
        QVERIFY2(isOneAnswer(result.errors), result.errors.constData());
        QVERIFY2(result.errors.contains("The system message bus cannot be reached: "),
                 result.errors.constData());
        QVERIFY2(result.errors.contains(". Start the service dbus"), result.errors.constData());
    }
    undoes();
}

/** What needs no answer of the bus any more does not need the bus. */
void BadInputTest::theBusGoesAwayWhileActing()
{
    QProcess bus;
    bus.start("dbus-daemon"_s, {"--session"_s, "--nofork"_s, "--print-address"_s});
    QVERIFY(bus.waitForReadyRead());
    m_machine.writeBundle(Machine::makefile(
        Machine::usualBuild() + "\nkill -KILL %1\nsleep 1"_s.arg(bus.processId()).toLatin1(),
        Machine::usualInstallation()));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s,
                       QString::fromLatin1(bus.readAllStandardOutput().trimmed()));
    const SetupResult result = setup(
        Machine::arguments({{"--driver"_s, "ueagle-atm"_s}, {"--modem-timeout"_s, QString()}}),
        environment);
    QVERIFY(bus.waitForFinished());
    QVERIFY2(result.code == 0, result.everything().constData());
    QCOMPARE(readFile(Machine::newModule), Machine::source);
    undoes();
}

// --- Tools ---

namespace {

/** A search path on which a tool is this script; or is not, if it is empty. */
QProcessEnvironment withTool(const char *tool, const QByteArray &script)
{
    const QString directory = scratch + "/bin"_s;
    makeDirectory(directory);
    const QString path = directory + "/"_s + QLatin1String(tool);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (script.isEmpty()) {
        environment.insert("PATH"_s, directory);
    } else {
        writeFile(path, "#!/bin/sh\n" + script, 0755);
        environment.insert("PATH"_s, directory + ":"_s + environment.value("PATH"_s));
    }
    return environment;
}

}

void BadInputTest::depmodThatFails_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("fails") << QByteArray("echo no room; exit 1\n");
    QTest::newRow("killed") << QByteArray("kill -KILL $$\n");
}

void BadInputTest::depmodThatFails()
{
    QFETCH(QByteArray, script);
    writeFile(Machine::modules + "/modules.dep"_s, "");
    m_before = Machine::state();
    QCOMPARE(setup(Machine::arguments(withDriver)).code, 0);
    const SetupResult result = setup({"undo"_s}, withTool("depmod", script));
    QCOMPARE(result.code, 22);
    QCOMPARE(result.errors,
             "kestra-setup: The earlier driver is back, but the list of the modules is not up to "
             "date. Run: depmod "
                 + Machine::release.toLatin1() + "\n");
    QVERIFY2(result.output.contains("depmod failed:\n"), result.output.constData());
    QVERIFY2(!result.output.contains("Could not be made as before"), result.output.constData());
    undoes();
}

/** Whoever loses patience has everything back but the list of the modules. */
void BadInputTest::depmodThatHangs()
{
    writeFile(Machine::modules + "/modules.dep"_s, "");
    m_before = Machine::state();
    QCOMPARE(setup(Machine::arguments(withDriver)).code, 0);
    QProcess process;
    process.setProcessEnvironment(withTool("depmod", "echo $$ >/tmp/depmod; exec sleep 60\n"));
    Machine::start(process, {"undo"_s});
    QTRY_VERIFY(exists("/tmp/depmod"_s));
    process.terminate();
    QVERIFY(process.waitForFinished());
    shell("kill $(cat /tmp/depmod); rm /tmp/depmod"_s);
    undoes();
}

void BadInputTest::startThatGoesWrong_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("how");
    QTest::newRow("fails") << QByteArray("#!/bin/sh\n[ \"$1\" = stop ]\n") << QByteArray("code 1");
    QTest::newRow("killed") << QByteArray("#!/bin/sh\n[ \"$1\" = stop ] || kill -KILL $$\n")
                            << QByteArray("it did not run to its end");
    QTest::newRow("no program") << QByteArray("#!/nowhere\n")
                                << QByteArray("it did not run to its end");
}

void BadInputTest::startThatGoesWrong()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, how);
    const QString data = scratch + "/data"_s;
    makeDirectory(data);
    QVERIFY(QFile::link(QStringLiteral(KESTRA_DATA_DIRECTORY) + "/drivers"_s, data + "/drivers"_s));
    writeFile(data + "/kestrad"_s, script);
    const SetupResult result = setup(connects({{"--data-dir"_s, data}, {"--start"_s, "-"_s}}));
    QVERIFY2(result.code == 24, result.everything().constData());
    QVERIFY2(result.errors.contains(
                 "The connection did not come up (/etc/init.d/kestrad start: " + how + "). "),
             result.errors.constData());
    undoes();
}

KESTRA_TEST_MAIN(BadInputTest)
#include "badinputtest.moc"
