// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/narrowlink.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>
#include <vector>

struct ReaderOptions
{
    QString name;
    bool usesLibrary = false; // with a proxy for each keyword; else a bare WebSocket
    qint64 bytesPerSecond = 0; // of its link; 0: no limit
    int first = 0; // keyword
    int count = 0; // of keywords
};

struct ReaderFigures
{
    ReaderOptions options;
    QString failure; // empty when all was as it should be
    int losses = 0; // of its connection, by itself
    qint64 events = 0;
    int wrong = 0; // keywords without their last value
    qint64 longestPong = 0; // milliseconds; of bare WebSockets
};

// A client that reads all it gets. The values of each keyword have to come in order.
class Reader : public QObject
{
    Q_OBJECT

public:
    static std::unique_ptr<Reader> create(const ReaderOptions &options, quint16 port);

    // What is wrong is counted after so many changes of so many keywords.
    ReaderFigures figures(qint64 changes, int keywords) const;
    const QString &failure() const { return told.failure; }
    int losses() const { return told.losses; }
    qint64 events() const { return told.events; }
    bool hasAllKeywords() const { return missing == 0; }
    virtual void leave(bool abruptly) = 0; // is no failure

Q_SIGNALS:
    void received(int keyword, qint64 value);

protected:
    Reader(const ReaderOptions &options, quint16 port);

    QString url() const;
    void take(int keyword, qint64 value);
    void fail(const QString &what);
    void lose();
    void expectAnew(); // what has been told, as after a loss
    void notePong(qint64 milliseconds);
    const ReaderOptions options;

private:
    const quint16 port;
    std::unique_ptr<NarrowLink> link;
    ReaderFigures told;
    std::vector<qint64> values; // -1: none yet
    int missing;
};
