// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/reader.h"

#include "tests/soak/changingkeywords.h"

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"

#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

#include <algorithm>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

constexpr auto pingInterval = 5s;

// The text between two others; null if there is none.
QStringView between(QStringView text, QStringView head, QStringView tail)
{
    const qsizetype start = text.indexOf(head);
    const qsizetype end = start < 0 ? -1 : text.indexOf(tail, start + head.size());
    return end < 0 ? QStringView() : text.mid(start + head.size(), end - start - head.size());
}

// Extracts the values from events without decoding them, so that most of the load is on the server.
class BareReader : public Reader
{
public:
    BareReader(const ReaderOptions &options, quint16 port) : Reader(options, port)
    {
        connect(&socket, &QWebSocket::connected, this, &BareReader::askForKeywords);
        connect(&socket, &QWebSocket::textMessageReceived, this, &BareReader::read);
        connect(&socket, &QWebSocket::disconnected, this, [this] {
            lose();
            fail(QStringLiteral("its connection was lost"));
        });
        connect(&socket, &QWebSocket::pong, this, [this](quint64 elapsed) {
            pinged = false;
            notePong(qint64(elapsed));
        });
        connect(&pings, &QTimer::timeout, this, [this] {
            if (socket.state() == QAbstractSocket::ConnectedState && !std::exchange(pinged, true))
                socket.ping();
        });
        pings.start(pingInterval);
        socket.open(QUrl(url()));
    }

    ~BareReader() override { socket.disconnect(this); }

    void leave(bool abruptly) override
    {
        pings.stop();
        socket.disconnect(this);
        if (abruptly || socket.state() != QAbstractSocket::ConnectedState)
            socket.abort();
        else
            socket.close();
    }

private:
    void askForKeywords()
    {
        for (int i = 0; i < options.count; ++i) {
            socket.sendTextMessage(QStringLiteral("{\"cmd\":\"keyCreateOrUpdate\",\"payload\":"
                                                  "{\"keyword\":\"%1\"}}")
                                       .arg(ChangingKeywords::name(options.first + i)));
        }
    }

    void read(const QString &text)
    {
        bool isNumber = false;
        const int keyword = ChangingKeywords::number(between(text, u"\"keyword\":\"", u"\""));
        const qint64 value = between(text, u"\"value\":", u"}").toLongLong(&isNumber);
        if (!isNumber || !text.contains(QLatin1String("\"online\":true")))
            fail(QStringLiteral("was told %1").arg(text));
        else
            take(keyword, value);
    }

    QWebSocket socket;
    QTimer pings;
    bool pinged = false; // the last ping has not been answered
};

class LibraryReader : public Reader
{
public:
    LibraryReader(const ReaderOptions &options, quint16 port) : Reader(options, port)
    {
        for (int i = options.first; i < options.first + options.count; ++i) {
            proxies.push_back(std::make_unique<PKeywordProxy>());
            PKeywordProxy *const proxy = proxies.back().get();
            proxy->setClient(&client);
            proxy->setKeyword(ChangingKeywords::name(i));
            connect(proxy, &PKeywordProxy::valueChanged, this, [this, i, proxy] {
                if (proxy->value().isValid())
                    take(i, proxy->value().toLongLong());
            });
        }
        connect(client.publisher(), &PPublisher::activeChanged, this, [this] {
            if (client.publisher()->active())
                return;
            lose();
            expectAnew();
        });
        client.setAutoReconnect(true);
        client.setUrls({url()});
    }

    ~LibraryReader() override { client.publisher()->disconnect(this); }

    void leave(bool) override
    {
        client.publisher()->disconnect(this);
        client.setUrls({});
    }

private:
    PWebSocketKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
};

} // namespace

std::unique_ptr<Reader> Reader::create(const ReaderOptions &options, quint16 port)
{
    if (options.usesLibrary)
        return std::make_unique<LibraryReader>(options, port);
    return std::make_unique<BareReader>(options, port);
}

Reader::Reader(const ReaderOptions &options, quint16 port)
    : options(options), port(port), values(size_t(options.count), -1), missing(options.count)
{
    if (options.bytesPerSecond > 0)
        link = std::make_unique<NarrowLink>(port, options.bytesPerSecond);
}

QString Reader::url() const
{
    return QStringLiteral("ws://127.0.0.1:%1").arg(link ? link->port() : port);
}

void Reader::take(int keyword, qint64 value)
{
    ++told.events;
    if (keyword < options.first || keyword >= options.first + options.count) {
        fail(QStringLiteral("was told of keyword %1").arg(keyword));
        return;
    }
    qint64 &last = values[size_t(keyword - options.first)];
    missing -= last < 0;
    if (value <= last)
        fail(QStringLiteral("%1 was %2 after %3")
                 .arg(ChangingKeywords::name(keyword))
                 .arg(value)
                 .arg(last));
    last = value;
    Q_EMIT received(keyword, value);
}

void Reader::fail(const QString &what)
{
    if (told.failure.isEmpty())
        told.failure = options.name + QLatin1String(": ") + what;
}

void Reader::lose()
{
    ++told.losses;
}

void Reader::expectAnew()
{
    for (qint64 &value : values) {
        if (value >= 0)
            --value; // the same value is not an old one
    }
}

void Reader::notePong(qint64 milliseconds)
{
    told.longestPong = std::max(told.longestPong, milliseconds);
}

ReaderFigures Reader::figures(qint64 changes, int keywords) const
{
    ReaderFigures figures = told;
    figures.options = options;
    for (int i = 0; i < options.count; ++i) {
        const int keyword = options.first + i;
        figures.wrong +=
            values[size_t(i)] != ChangingKeywords::valueAfter(changes, keyword, keywords);
    }
    return figures;
}
