// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

#include <memory>

/*
    A client that subscribes to keywords, reads for a while, and then stops reading without closing
    its connection. It does not detect the end of its connection either, and must be reconnected
    explicitly.
*/
class StallingReader : public QObject
{
    Q_OBJECT

public:
    StallingReader(quint16 port, int keywords, std::chrono::milliseconds readingTime);

    void start();
    void leave();
    quint16 localPort() const { return ownPort; }
    bool isStalled() const { return sinceStalled.isValid(); }
    qint64 stalledFor() const { return sinceStalled.isValid() ? sinceStalled.elapsed() : 0; }

Q_SIGNALS:
    void stalled();
    void failed(const QString &what);

private:
    void askForKeywords();
    void stall();

    const quint16 port;
    const int keywords;
    std::unique_ptr<QTcpSocket> socket;
    quint16 ownPort = 0;
    bool isAnswered = false;
    bool hasLeft = false;
    QTimer reading;
    QElapsedTimer sinceStalled;
};
