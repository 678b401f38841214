// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include <QGenericPlugin>
#include <QtTest>
#include <QtWidgets>

#include <cstdio>

namespace {

constexpr int patience = 30000; // ms; the settle time of the library is 5 s
constexpr int longestPause = 4000; // ms; the hardware service takes seven seconds for an answer

/** Uses the window of examples/modem-window like a person, in the process of that program. */
class User : public QObject
{
    Q_OBJECT

public:
    explicit User(const QString &picture) : m_picture(picture)
    {
        m_sinceTick.start();
        m_ticks.start(50);
        connect(&m_ticks, &QTimer::timeout, this,
                [this] { m_pause = qMax(m_pause, m_sinceTick.restart()); });
        QTimer::singleShot(0, this, [this] { QCoreApplication::exit(use() ? 0 : 1); });
    }

private:
    template<typename Widget>
    Widget *find(const QString &name)
    {
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (QWidget *window : windows) {
            if (auto *const widget = window->findChild<Widget *>(name))
                return widget;
        }
        return nullptr;
    }

    static bool holds(bool condition, const char *what)
    {
        printf("%s: %s\n", condition ? "yes" : "NO", what);
        fflush(stdout);
        return condition;
    }

    bool use()
    {
        QPushButton *write = nullptr;
        if (!holds(
                QTest::qWaitFor([&] { return (write = find<QPushButton>(QString())); }, patience),
                "there is a window"))
            return false;
        auto *const modem = find<QLabel>("Modem");
        auto *const driver = find<QLabel>("Driver");
        auto *const files = find<QLabel>("Files");
        auto *const country = find<QComboBox>("Country");
        auto *const provider = find<QComboBox>("Provider");
        auto *const user = find<QLineEdit>("User name");
        auto *const password = find<QLineEdit>("Password");
        if (!holds(modem && driver && files && country && provider && user && password,
                   "it has all fields"))
            return false;

        const QString waiting = modem->text();
        bool isGood = holds(waiting == "Waiting for a modem to be plugged in", "it waits");
        isGood &= holds(!write->isEnabled(), "nothing can be written yet");
        isGood &= holds(provider->count() <= 1, "no provider is offered without a country");

        QTest::keyClicks(country, "Austria");
        isGood &= holds(country->currentText() == "Austria", "the country can be chosen");
        QTest::keyClicks(provider, "A1");
        isGood &= holds(provider->currentText() == "A1 Telekom Austria ADSL (AON)",
                        "the provider can be chosen");
        isGood &= holds(files->text().contains("pppoa, circuit 8.48")
                            && files->text().contains("195.3.96.67"),
                        "it shows what would be written");
        QTest::keyClicks(user, "me\"@example.net");
        QTest::keyClicks(password, "secret");
        isGood &= holds(user->text() == "me@example.net", "it takes no quote");
        isGood &= holds(!write->isEnabled(), "nothing can be written without a modem");

        QTest::qWait(2000); // until the program has asked what was plugged in before
        puts("plug");
        fflush(stdout);
        isGood &= holds(QTest::qWaitFor([&] { return modem->text() != waiting; }, patience)
                            && modem->text().contains("vendor 1110, product 9041"),
                        "it shows the modem that was plugged in");
        isGood &= holds(driver->text() == "ueagle-atm", "and its driver");
        printf("\"%s\", \"%s\"\n", qPrintable(modem->text()), qPrintable(driver->text()));
        isGood &= holds(write->isEnabled(), "now all can be written");
        write->setFocus();
        QTest::qWait(500); // the picture shows what was drawn, not what will be
        isGood &= holds(m_pause < longestPause, "it has answered all the time");
        isGood &= holds(write->screen()->grabWindow(write->window()->winId()).save(m_picture),
                        "its picture was taken");
        QTest::mouseClick(write, Qt::LeftButton);
        isGood &= holds(write->text() == "Written", "it has written all");
        return isGood;
    }

    QString m_picture;
    QTimer m_ticks;
    QElapsedTimer m_sinceTick;
    qint64 m_pause = 0;
};

}

class UserPlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "user.json")

public:
    QObject *create(const QString &, const QString &picture) override { return new User(picture); }
};

#include "user.moc"
