// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "providerdatabase.h"

#include "base/translate.h"

#include <QFileInfo>
#include <QXmlStreamReader>

namespace Setup {

namespace {

// More than any real database needs. The library holds all of it at once, and looks from its
// beginning for every name.
constexpr qint64 largestFile = 8 << 20;
constexpr int mostCountries = 1000;
constexpr int mostServices = 2000; // of one country
constexpr int deepestNesting = 32;

struct Protocol
{
    const char *name;
    const char *usualEncapsulation;
};

constexpr Protocol protocols[] = {
    {"pppoe", "llc"},
    {"pppoa", "vc"},
};

QString usualEncapsulation(const QString &protocol)
{
    for (const Protocol &row : protocols) {
        if (protocol == QLatin1String(row.name))
            return QString::fromLatin1(row.usualEncapsulation);
    }
    return QString();
}

/** What the library would read for ages, or not survive. */
class Extent
{
public:
    /** Returns what is too much, or nothing. */
    QString take(const QXmlStreamReader &xml)
    {
        if (xml.isDTD() && !xml.entityDeclarations().isEmpty())
            return Text::tr("it declares entities");
        if (xml.isEndElement())
            --m_depth;
        return xml.isStartElement() ? begin(xml) : QString();
    }

private:
    QString begin(const QXmlStreamReader &xml)
    {
        if (xml.name() == QLatin1String("country")) {
            ++m_countries;
            m_services = 0;
        } else if (xml.name() == QLatin1String("service")) {
            ++m_services;
        }
        if (++m_depth > deepestNesting)
            return Text::tr("its elements are nested more than %1 deep").arg(deepestNesting);
        if (m_countries > mostCountries)
            return Text::tr("it has more than %1 countries").arg(mostCountries);
        if (m_services > mostServices)
            return Text::tr("it has more than %1 services of one country").arg(mostServices);
        return QString();
    }

    int m_depth = 0;
    int m_countries = 0;
    int m_services = 0;
};

/** Reads the element that the library leaves alone. */
ProviderDatabase::Encapsulations readEncapsulations(const QString &path)
{
    ProviderDatabase::Encapsulations result;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return result;
    QXmlStreamReader xml(&file);
    QPair<QString, QString> service;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("country"))
            service.first = xml.attributes().value(QLatin1String("code")).toString();
        else if (xml.name() == QLatin1String("service"))
            service.second = xml.attributes().value(QLatin1String("name")).toString();
        else if (xml.name() == QLatin1String("encapsulation") && !result.contains(service))
            result.insert(service, xml.readElementText().trimmed());
    }
    return result;
}

}

Outcome ProviderDatabase::damaged(const QString &path, QString why)
{
    if (why.endsWith(QLatin1Char('.'))) // some of Qt's own texts are sentences
        why.chop(1);
    return Outcome::failed(
        ExitCode::Database, Text::tr("The provider database %1 cannot be used: %2.").arg(path, why),
        Text::tr("Install kestra-setup completely, or give another file with --providers."));
}

/** A pipe or a device might never end, and everything is read more than once. */
std::optional<Outcome> ProviderDatabase::open(QFile &file)
{
    const QString path = file.fileName();
    const QFileInfo info(path);
    if (!info.exists())
        return damaged(path, Text::tr("there is no such file"));
    if (!info.isFile())
        return damaged(path, Text::tr("it is no regular file"));
    if (info.size() > largestFile)
        return damaged(path, Text::tr("it is larger than %1 MiB").arg(largestFile >> 20));
    if (!file.open(QIODevice::ReadOnly))
        return damaged(path, file.errorString());
    return std::nullopt;
}

std::optional<Outcome> ProviderDatabase::check(const QString &path)
{
    QFile file(path);
    if (const auto problem = open(file))
        return problem;
    QXmlStreamReader xml(&file);
    Extent extent;
    while (!xml.atEnd()) {
        xml.readNext();
        const QString excess = extent.take(xml);
        if (!excess.isEmpty())
            return damaged(path, excess);
    }
    if (xml.hasError())
        return damaged(path,
                       Text::tr("line %1, column %2: %3")
                           .arg(xml.lineNumber())
                           .arg(xml.columnNumber())
                           .arg(xml.errorString()));
    return std::nullopt;
}

ProviderDatabase::ProviderDatabase(const QString &path) : m_path(path), m_parser(path)
{
    QObject::connect(&m_parser, &ServiceParser::countriesMap,
                     [this](const QMap<int, QString> &map) { m_names = map.values(); });
    QObject::connect(&m_parser, &ServiceParser::servicesMap,
                     [this](const QMap<int, QString> &map) { m_names = map.values(); });
    QObject::connect(&m_parser, &ServiceParser::sendServiceData,
                     [this](int vpi, int vci, const QString &protocol, const QStringList &dns) {
                         if (!m_line)
                             m_line = Line {{}, {}, vpi, vci, protocol.trimmed(), {}, dns};
                     });
}

QStringList ProviderDatabase::countries()
{
    m_parser.getCountries();
    return m_names;
}

QStringList ProviderDatabase::services(const QString &country)
{
    m_country = country;
    m_parser.getServicesForCountry(country);
    return m_names;
}

std::optional<Line> ProviderDatabase::line(const QString &service)
{
    m_line.reset();
    m_parser.requestServiceData(service);
    if (!m_line)
        return std::nullopt;
    m_line->country = m_country;
    m_line->service = service;
    if (!m_encapsulations)
        m_encapsulations = readEncapsulations(m_path);
    m_line->encapsulation = m_encapsulations->value({m_country, service});
    if (m_line->encapsulation.isEmpty())
        m_line->encapsulation = usualEncapsulation(m_line->protocol);
    return m_line;
}

}
