// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_BUSCLIENT_H
#define KESTRATEST_BUSCLIENT_H

#include <QDBusConnection>
#include <QDBusMessage>
#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include <functional>
#include <memory>

namespace KestraTest {

constexpr char halService[] = "org.freedesktop.Hal";
constexpr char managerPath[] = "/org/freedesktop/Hal/Manager";
constexpr char managerInterface[] = "org.freedesktop.Hal.Manager";
constexpr char deviceInterface[] = "org.freedesktop.Hal.Device";
constexpr char ownInterface[] = "org.kestra.Hald1";

/** Runs the event loop until something is so. Returns whether it is. */
bool waitUntil(const std::function<bool()> &isSo, int timeout = 10000);

/** The path of a device from the last part of it. */
QString udiOf(const QString &name);

/** A connection of its own to the bus, on which the service is called as it is. */
class BusClient
{
public:
    /** @param address of a bus; empty for the system bus */
    explicit BusClient(const QString &address = {});
    ~BusClient();
    Q_DISABLE_COPY(BusClient)

    QDBusMessage call(const QString &path, const QString &interface, const QString &member,
                      const QVariantList &arguments = {}) const;
    QDBusMessage callManager(const QString &member, const QVariantList &arguments = {}) const;
    QDBusMessage callDevice(const QString &udi, const QString &member,
                            const QVariantList &arguments = {}) const;

    /** The value of a property, or an invalid one. */
    QVariant property(const QString &udi, const QString &key) const;

    /** The names of all devices, without the path in front, in the service's order. */
    QStringList devices() const;

    /** The process that owns the service's name; 0 if there is none. */
    qint64 ownerProcess() const;

    QDBusConnection connection() const { return m_connection; }

private:
    const QString m_name;
    QDBusConnection m_connection;
};

/**
 * Hears what the service announces, in a thread of its own where nothing holds it up, and may look
 * at once whether an announced device can be asked, and a removed one cannot.
 */
class Witness : public QObject
{
    Q_OBJECT

public:
    enum Doubt { Looks, Believes };

    explicit Witness(Doubt doubt = Looks, const QString &address = {});
    ~Witness() override;

    /** Each announcement as "+name" or "-name", without the path in front. */
    QStringList events() const;
    QStringList takeEvents();
    int count() const;

    /** Announcements that were not true at the time that they came. */
    QStringList lies() const;
    QStringList takeLies();

private Q_SLOTS:
    void added(const QString &udi);
    void removed(const QString &udi);

private:
    void note(const QString &sign, const QString &udi, bool isTrue);
    bool isThere(const QString &udi) const;
    bool isGone(const QString &udi) const;

    const Doubt m_doubt;
    BusClient m_ear;
    BusClient m_eye;
    mutable QMutex m_mutex;
    QStringList m_events;
    QStringList m_lies;
    QThread m_thread;
};

}

#endif
