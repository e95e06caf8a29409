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
    bool usesLibrary = false; // a proxy for each keyword; otherwise a bare WebSocket
    qint64 bytesPerSecond = 0; // of its connection; 0: no limit
    int first = 0; // number of the first keyword
    int count = 0; // number of keywords
};

struct ReaderFigures
{
    ReaderOptions options;
    QString failure; // empty if there was no failure
    int losses = 0; // unexpected losses of its connection
    qint64 events = 0;
    int wrong = 0; // keywords without their last value
    qint64 longestPong = 0; // milliseconds; only for bare WebSockets
};

// A client that reads everything. The values of each keyword must arrive in order.
class Reader : public QObject
{
    Q_OBJECT

public:
    static std::unique_ptr<Reader> create(const ReaderOptions &options, quint16 port);

    // The figures after the given number of changes of the given number of keywords.
    ReaderFigures figures(qint64 changes, int keywords) const;
    const QString &failure() const { return told.failure; }
    int losses() const { return told.losses; }
    qint64 events() const { return told.events; }
    bool hasAllKeywords() const { return missing == 0; }
    virtual void leave(bool abruptly) = 0; // not a failure

Q_SIGNALS:
    void received(int keyword, qint64 value);

protected:
    Reader(const ReaderOptions &options, quint16 port);

    QString url() const;
    void take(int keyword, qint64 value);
    void fail(const QString &what);
    void lose();
    void expectAnew(); // discards all values, as after a loss
    void notePong(qint64 milliseconds);
    const ReaderOptions options;

private:
    const quint16 port;
    std::unique_ptr<NarrowLink> link;
    ReaderFigures told;
    std::vector<qint64> values; // -1: no value yet
    int missing;
};
