// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

namespace pellix::gateway {

// Tells systemd how the program is, if systemd wants to know: NOTIFY_SOCKET in the environment says
// where to. The watchdog is fed from the event loop of the thread that it lives in, so that one
// that hangs is noticed.
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
