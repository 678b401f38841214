// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "serviceparser.h"

#include <kestra/foundation/text_p.h>

#include <QDebug>

using Kestra::Private::shown;

namespace {

const QString codeAttribute = QStringLiteral("code");
const QString nameAttribute = QStringLiteral("name");

/** Returns a decimal number of 16 bits, or 0. */
int number(const QDomElement &element) { return element.text().toUShort(nullptr, 10); }

}

ServiceParser::ServiceParser(const QString &fileName) : m_vpi(0), m_vci(0), m_file(fileName)
{
    qRegisterMetaType<QMap<int, QString>>("QMap<int,QString>"); // for queued connections
    if (m_file.exists())
        qDebug() << "Using external file:" << fileName;
    // What stands before a mistake in the file is in the document even so; drop it.
    if (!m_file.open(QIODevice::ReadOnly) || !m_document.setContent(&m_file, true))
        m_document = QDomDocument();
    m_file.close();

    m_root = m_document.documentElement();
    m_countries = m_root.elementsByTagName(QStringLiteral("country"));
    m_countryCount = m_countries.length();
}

ServiceParser::~ServiceParser() = default;

void ServiceParser::getCountries()
{
    qDebug() << "Found \"country\" tags (n):" << m_countryCount;
    QMap<int, QString> countries;
    for (int i = 0; i < m_countryCount; ++i) {
        const QString code = m_countries.at(i).toElement().attribute(codeAttribute);
        Q_EMIT foundCountry(code);
        countries[i + 1] = code;
    }
    Q_EMIT countriesMap(countries);
}

void ServiceParser::getServicesForCountry(const QString &ccode)
{
    m_selectedCode = ccode;
    QMap<int, QString> services;
    for (int i = 0; i < m_countryCount; ++i) {
        if (!enterSelectedCountry(i))
            continue;
        for (int j = 0; j < m_services.length(); ++j) {
            m_service = m_services.at(j).toElement();
            const QString name = m_service.attribute(nameAttribute);
            Q_EMIT foundService(name);
            services[j + 1] = name;
        }
    }
    Q_EMIT servicesMap(services);
}

void ServiceParser::requestServiceData(const QString &service)
{
    for (int i = 0; i < m_countryCount; ++i) {
        if (!enterSelectedCountry(i))
            continue;
        for (int j = 0; j < m_services.length(); ++j) {
            m_service = m_services.at(j).toElement();
            if (m_service.attribute(nameAttribute) == service) {
                sendCurrentService();
                break;
            }
        }
    }
}

/** Makes a country the current one; collects its services if it is the selected one. */
bool ServiceParser::enterSelectedCountry(int index)
{
    m_country = m_countries.at(index).toElement();
    m_currentCode = m_country.attribute(codeAttribute);
    if (m_currentCode != m_selectedCode)
        return false;
    m_services = m_country.elementsByTagName(QStringLiteral("service"));
    return true;
}

void ServiceParser::sendCurrentService()
{
    m_vpiElement = m_service.firstChildElement(QStringLiteral("vpi"));
    m_vciElement = m_service.firstChildElement(QStringLiteral("vci"));
    m_protocolElement = m_service.firstChildElement(QStringLiteral("protocol"));
    m_dnsServer1Element = m_service.firstChildElement(QStringLiteral("dns_server_1"));
    m_dnsServer2Element = m_service.firstChildElement(QStringLiteral("dns_server_2"));

    m_vpi = number(m_vpiElement);
    m_vci = number(m_vciElement);
    m_protocol = m_protocolElement.text();
    m_dnsServers.clear();
    addServer(m_dnsServer1Element, "DNS Server 1 is empty!");
    addServer(m_dnsServer2Element, "DNS Server 2 is empty!");

    qDebug() << "VPI:" << m_vpi << "VCI:" << m_vci << "PROTOCOL:" << m_protocol
             << "\nDNS Servers:" << shown(m_dnsServers).constData();
    Q_EMIT sendServiceData(m_vpi, m_vci, m_protocol, m_dnsServers);
}

void ServiceParser::addServer(const QDomElement &element, const char *emptyMessage)
{
    const QString server = element.text();
    if (server.isEmpty())
        qDebug() << emptyMessage;
    else
        m_dnsServers.append(server);
}
