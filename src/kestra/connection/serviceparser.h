// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_CONNECTION_SERVICEPARSER_H
#define KESTRA_CONNECTION_SERVICEPARSER_H

#include <kestra/foundation/export.h>

#include <QDomDocument>
#include <QDomElement>
#include <QDomNodeList>
#include <QFile>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>

/**
 * Reads the database of providers and their line parameters.
 *
 * The file holds "country" elements with an attribute "code", and in them "service" elements with
 * an attribute "name" and the children "vpi", "vci", "protocol", "dns_server_1" and
 * "dns_server_2". It is read once, by the constructor; a missing or malformed file has no
 * countries.
 *
 * Answers are given by signals, emitted before the method returns. Call getCountries(), then
 * getServicesForCountry() with one of the codes, then requestServiceData() with one of the names.
 * Messages go to the Qt debug stream.
 */
class KESTRA_EXPORT ServiceParser : public QObject
{
    Q_OBJECT

public:
    /** Reads the database @p fileName. */
    explicit ServiceParser(const QString &fileName);
    ~ServiceParser() override;

    /** Announces all countries with foundCountry(), then with countriesMap(). */
    void getCountries();

public Q_SLOTS:
    /**
     * Selects the country @p ccode and announces its services with foundService(), then with
     * servicesMap(), which is empty when there is no such country.
     */
    void getServicesForCountry(const QString &ccode);

    /**
     * Sends the line parameters of @p service of the selected country with sendServiceData(); emits
     * nothing when there is no such service.
     */
    void requestServiceData(const QString &service);

Q_SIGNALS:
    /** All countries: their codes under keys that count from 1 in the order of the file. */
    void countriesMap(QMap<int, QString> cMap);
    /** The services of a country: their names under keys that count from 1. */
    void servicesMap(QMap<int, QString> sMap);
    /** One country. @param str its code */
    void foundCountry(QString str);
    /** One service. @param str its name */
    void foundService(QString str);
    /**
     * The line parameters of a service.
     *
     * @param VPI virtual path of the ATM circuit, 0 when the file has no valid number
     * @param VCI virtual channel of the ATM circuit, 0 when the file has no valid number
     * @param protocol encapsulation of PPP, such as pppoe or pppoa
     * @param dnsServers up to two addresses
     */
    void sendServiceData(int VPI, int VCI, QString protocol, QStringList dnsServers);

private:
    bool enterSelectedCountry(int index);
    void sendCurrentService();
    void addServer(const QDomElement &element, const char *emptyMessage);

    int m_countryCount;
    QDomDocument m_document;
    QDomElement m_root;
    QDomElement m_country;
    QDomElement m_service;
    QDomElement m_vpiElement;
    QDomElement m_vciElement;
    QDomElement m_protocolElement;
    QDomElement m_dnsServer1Element;
    QDomElement m_dnsServer2Element;
    QDomNodeList m_countries;
    QDomNodeList m_services;
    QString m_currentCode;
    QString m_selectedCode;
    QString m_protocol;
    QStringList m_dnsServers;
    int m_vpi;
    int m_vci;
    QFile m_file;
};

#endif
