// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "providercheck.h"

#include "base/translate.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>
#include <iterator>

namespace Setup {

namespace {

constexpr int mostFaults = 100;

/** A child of a service, in its order. */
struct Element
{
    const char *name;
    const char *pattern;
    int lowest;
    int highest; ///< 0 if it is no number
    const char *wanted;
    bool isOptional = false;
};

constexpr char numberPattern[] = "\\d{1,6}";
constexpr char addressPattern[] = "((25[0-5]|2[0-4]\\d|1\\d\\d|[1-9]?\\d)\\.){3}"
                                  "(25[0-5]|2[0-4]\\d|1\\d\\d|[1-9]?\\d)|";

constexpr Element elements[] = {
    {"vpi", numberPattern, 0, 255, QT_TRANSLATE_NOOP("Setup", "a number from 0 to 255")},
    {"vci", numberPattern, 32, 65535, QT_TRANSLATE_NOOP("Setup", "a number from 32 to 65535")},
    {"protocol", "pppoe|pppoa", 0, 0, QT_TRANSLATE_NOOP("Setup", "pppoe or pppoa")},
    {"encapsulation", "llc|vc", 0, 0, QT_TRANSLATE_NOOP("Setup", "llc or vc"), true},
    {"dns_server_1", addressPattern, 0, 0, QT_TRANSLATE_NOOP("Setup", "an IPv4 address or empty")},
    {"dns_server_2", addressPattern, 0, 0, QT_TRANSLATE_NOOP("Setup", "an IPv4 address or empty")},
};

bool isAllowed(const Element &element, const QString &text)
{
    static QHash<const char *, QRegularExpression> patterns;
    auto pattern = patterns.find(element.pattern);
    if (pattern == patterns.end())
        pattern = patterns.insert(element.pattern,
                                  QRegularExpression(QRegularExpression::anchoredPattern(
                                      QLatin1String(element.pattern))));
    if (!pattern->match(text).hasMatch())
        return false;
    const int number = text.toInt();
    return element.highest == 0 || (number >= element.lowest && number <= element.highest);
}

class Check
{
public:
    explicit Check(QIODevice &database) : m_xml(&database) { }

    QVector<ProviderFault> run();

private:
    using Reader = void (Check::*)();

    void readCountry();
    void readService();
    void readElements();
    void readValue(const Element &element);
    void readChildren(const char *name, Reader read);
    bool readNextChild();
    void readNext();
    void checkName(const char *attribute, QSet<QString> &earlier);
    void refuseElement();
    void add(const QString &message);

    QXmlStreamReader m_xml;
    ProviderFault m_place = {}; ///< where the present token begins
    QSet<QString> m_countries;
    QSet<QString> m_services; ///< of the present country
    QVector<ProviderFault> m_faults;
};

QVector<ProviderFault> Check::run()
{
    if (readNextChild()) {
        if (m_xml.name() != QLatin1String("services"))
            add(Text::tr("the outermost element must be services"));
        readChildren("country", &Check::readCountry);
    }
    while (!m_xml.atEnd())
        readNext();
    if (m_xml.hasError()) {
        m_place = {m_xml.lineNumber(), m_xml.columnNumber() + 1, QString()};
        add(m_xml.errorString());
    }
    return m_faults;
}

void Check::readCountry()
{
    checkName("code", m_countries);
    m_services.clear();
    readChildren("service", &Check::readService);
}

void Check::readService()
{
    checkName("name", m_services);
    readElements();
}

void Check::readElements()
{
    auto expected = std::begin(elements);
    const auto missUntil = [&](auto end) {
        for (; expected != end; ++expected) {
            if (!expected->isOptional && !m_xml.hasError())
                add(Text::tr("%1 is missing").arg(QLatin1String(expected->name)));
        }
    };
    while (readNextChild()) {
        const auto found = std::find_if(expected, std::end(elements), [&](const Element &element) {
            return m_xml.name() == QLatin1String(element.name);
        });
        if (found == std::end(elements)) {
            refuseElement();
            continue;
        }
        missUntil(found);
        readValue(*expected++);
    }
    missUntil(std::end(elements));
}

void Check::readValue(const Element &element)
{
    m_place = {m_xml.lineNumber(), m_xml.columnNumber() + 1, QString()};
    const QString text = m_xml.readElementText();
    if (!m_xml.hasError() && !isAllowed(element, text))
        add(Text::tr("%1 must be %2, not \"%3\"")
                .arg(QLatin1String(element.name), Text::tr(element.wanted), text));
}

void Check::readChildren(const char *name, Reader read)
{
    int count = 0;
    while (readNextChild()) {
        if (m_xml.name() == QLatin1String(name)) {
            ++count;
            (this->*read)();
        } else {
            refuseElement();
        }
    }
    if (count == 0 && !m_xml.hasError())
        add(Text::tr("there is no %1").arg(QLatin1String(name)));
}

/** Goes to the next child element, or to the end of the present one. */
bool Check::readNextChild()
{
    while (!m_xml.atEnd() && m_faults.size() < mostFaults) {
        readNext();
        if (m_xml.isStartElement() || m_xml.isEndElement())
            break;
        if (m_xml.isCharacters() && !m_xml.isWhitespace())
            add(Text::tr("there must be no text here"));
    }
    return m_xml.isStartElement();
}

void Check::readNext()
{
    // After a text the reader has seen the "<" that ends it.
    const int ahead = m_xml.isCharacters() ? 1 : 0;
    m_place = {m_xml.lineNumber(), m_xml.columnNumber() + 1 - ahead, QString()};
    m_xml.readNext();
}

void Check::checkName(const char *attribute, QSet<QString> &earlier)
{
    const QString element = m_xml.name().toString();
    const QString name = m_xml.attributes().value(QLatin1String(attribute)).toString();
    if (name.isEmpty() || name != name.trimmed())
        add(Text::tr("%1 needs a %2 that does not begin or end with a blank")
                .arg(element, QLatin1String(attribute)));
    else if (earlier.contains(name))
        add(Text::tr("there is a %1 \"%2\" already").arg(element, name));
    earlier.insert(name);
}

void Check::refuseElement()
{
    add(Text::tr("%1 has no place here").arg(m_xml.name().toString()));
    m_xml.skipCurrentElement();
}

void Check::add(const QString &message)
{
    if (m_faults.size() < mostFaults)
        m_faults.append({m_place.line, m_place.column, message});
}

}

QVector<ProviderFault> checkProviders(QIODevice &database) { return Check(database).run(); }

}
