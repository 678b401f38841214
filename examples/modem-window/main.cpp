// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "modemwatch.h"

#include <QtWidgets>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    setDebug(false, QString()); // before any object of the library

    QWidget window;
    window.setWindowTitle("ADSL modem");
    QFormLayout form(&window);
    const auto add = [&form](const QString &title, auto *widget) {
        form.addRow(title, widget);
        widget->setObjectName(title);
        return widget;
    };
    auto *const modem = add("Modem", new QLabel("Waiting for a modem to be plugged in"));
    auto *const driver = add("Driver", new QLabel);
    auto *const country = add("Country", new QComboBox);
    auto *const provider = add("Provider", new QComboBox);
    auto *const user = add("User name", new QLineEdit);
    auto *const password = add("Password", new QLineEdit);
    auto *const files = add("Files", new QLabel);
    auto *const write = add("", new QPushButton("Write these files"));
    password->setEchoMode(QLineEdit::Password);

    int vpi = 0, vci = 0;
    QString protocol;
    QStringList servers;
    const auto update = [&] {
        const QString text("/etc/ppp/peers/kestra: %1, circuit %2.%3\n/etc/ppp/options\n"
                           "/etc/ppp/pap-secrets, chap-secrets: other logins are lost\n"
                           "/etc/resolv.conf: %4");
        const QString dns = servers.isEmpty() ? "unchanged" : servers.join(", ");
        files->setText(text.arg(protocol, QString::number(vpi), QString::number(vci), dns));
        files->setEnabled(!protocol.isEmpty());
        write->setEnabled(files->isEnabled() && !driver->text().isEmpty()
                          && user->hasAcceptableInput() && password->hasAcceptableInput());
    };
    const QRegularExpression safe("[ !#-[\\]-~]+"); // pppd reads them between double quotes
    for (QLineEdit *field : {user, password}) {
        field->setValidator(new QRegularExpressionValidator(safe, field));
        QObject::connect(field, &QLineEdit::textChanged, update);
    }

    // The database is read once and answers at once: it may stay in this thread.
    ServiceParser database(
        QStandardPaths::locate(QStandardPaths::GenericDataLocation, "kestra/services.xml"));
    QObject::connect(&database, &ServiceParser::foundCountry,
                     [&](const QString &name) { country->addItem(name); });
    QObject::connect(&database, &ServiceParser::foundService,
                     [&](const QString &name) { provider->addItem(name); });
    QObject::connect(&database, &ServiceParser::sendServiceData,
                     [&](int path, int channel, const QString &name, const QStringList &dns) {
                         std::tie(vpi, vci, protocol, servers) = std::tie(path, channel, name, dns);
                         update();
                     });
    QObject::connect(country, &QComboBox::currentTextChanged, [&](const QString &name) {
        provider->clear();
        provider->addItem(QString());
        database.getServicesForCountry(name);
    });
    QObject::connect(provider, &QComboBox::currentTextChanged, [&](const QString &name) {
        protocol.clear();
        update();
        database.requestServiceData(name);
    });
    country->addItem(QString()); // nobody's country is chosen for them
    database.getCountries();

    QObject::connect(write, &QPushButton::clicked, [&] { // small files, so here, too
        ScriptManager scripts;
        const bool isWritten =
            (protocol == "pppoe"
                 ? scripts.writePPPoEScript(user->text())
                 : scripts.writePPPoAScript(quint16(vpi), quint16(vci), user->text()))
            && scripts.writeSecretScripts(user->text(), password->text())
            && scripts.writeOptionsScript()
            && (servers.isEmpty() || DNS_Manager().setServers(servers));
        scripts.setScriptsPermissions();
        write->setText(isWritten ? "Written" : "Not all could be written");
    });

    QThread thread;
    auto *const watch = new ModemWatch;
    watch->moveToThread(&thread);
    QObject::connect(&thread, &QThread::started, watch, &ModemWatch::start);
    QObject::connect(&thread, &QThread::finished, watch, &QObject::deleteLater);
    QObject::connect(watch, &ModemWatch::failed, modem, &QLabel::setText);
    QObject::connect(watch, &ModemWatch::found, &window, [&](auto &name, auto &driverName) {
        modem->setText(name);
        driver->setText(driverName);
        update();
    });
    thread.start();

    window.show();
    const int code = QApplication::exec();
    thread.quit();
    thread.wait();
    return code;
}
