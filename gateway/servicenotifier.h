// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

namespace pellix::gateway {

// Reports the state of the program to systemd, if the environment variable NOTIFY_SOCKET names a
// socket. The watchdog is notified from the event loop of the object's thread, so that systemd
// detects an event loop that is blocked.
class ServiceNotifier : public QObject
{
public:
    explicit ServiceNotifier(QObject *parent = nullptr);

    bool isWanted() const;
    void ready();
    void reloading();
    void stopping();
    void setStatus(const QString &text);

private:
    void send(const QByteArray &lines) const;

    QByteArray place;
    QString status;
    QTimer watchdog;
};

} // namespace pellix::gateway
