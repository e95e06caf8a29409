// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// The program cluster-screens: many screens with the clients of the library in one process. It
// reports their events on standard output, as one line of JSON each, and replies to the lines on
// standard input.

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "extras/connection/keywordconnection.h"
#include "tests/cluster/plant.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>

#include <cstdio>
#include <memory>
#include <vector>

#include <unistd.h>

using namespace pellix::client;
using pellix::extras::PKeywordConnection;

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

void tell(const QJsonObject &object)
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

struct Options
{
    QString url;
    QString kind;
    QString authority;
    QString certificate;
    QString key;
    int keywordsEach = 100;
    int keywords = 1000;
    std::vector<qint64> floor; // of each keyword, below which no value is right; may be empty
};

// One screen: a client, and the keywords that it shows.
class Screen : public QObject
{
public:
    Screen(const Options &options, int number);
    ~Screen() override;

    bool isComplete() const { return missing == 0; }
    int wrong(qint64 expected) const;

    qint64 events = 0;
    qint64 stepsBack = 0; // changes to an older value while online
    qint64 foreign = 0; // values of other keywords

private:
    struct Place
    {
        std::unique_ptr<PKeywordProxy> proxy;
        int keyword = 0;
        qint64 last = -1; // the last value while online
        bool isFresh = false; // since the connection was established
    };

    void onActive(bool active);
    void look(Place *place, bool isEvent);
    void tellThat(const char *event) const;

    const Options &options;
    const int number;
    std::unique_ptr<PKeywordClient> client;
    std::vector<Place> places;
    int missing = 0;
};

Screen::Screen(const Options &options, int number) : options(options), number(number)
{
    if (options.kind == q("connection")) {
        auto connection = std::make_unique<PKeywordConnection>();
        connection->setCaFile(options.authority);
        connection->setCertificateFile(options.certificate);
        connection->setKeyFile(options.key);
        connect(connection.get(), &PKeywordConnection::stateChanged, this,
                [this, raw = connection.get()] {
                    if (raw->state() == PKeywordConnection::Connecting)
                        tellThat("attempt");
                });
        connection->setUrls({options.url});
        client = std::move(connection);
    } else {
        auto webSocket = std::make_unique<PWebSocketKeywordClient>();
        webSocket->setAutoReconnect(true);
        webSocket->setUrls({options.url});
        client = std::move(webSocket);
    }
    connect(client->publisher(), &PPublisher::activeChanged, this,
            [this] { onActive(client->publisher()->active()); });
    places.resize(size_t(options.keywordsEach));
    missing = int(places.size());
    for (size_t i = 0; i < places.size(); ++i) {
        Place *const place = &places[i];
        place->proxy = std::make_unique<PKeywordProxy>();
        PKeywordProxy *const proxy = place->proxy.get();
        proxy->setClient(client.get());
        place->keyword = plant::shown(number, int(i), options.keywords);
        proxy->setKeyword(plant::path(place->keyword));
        connect(proxy, &PKeywordProxy::valueChanged, this, [this, place] { look(place, true); });
        connect(proxy, &PKeywordProxy::stateChanged, this, [this, place] { look(place, false); });
    }
}

Screen::~Screen()
{
    client->publisher()->disconnect(this);
    places.clear();
}

void Screen::tellThat(const char *event) const
{
    tell({{q("t"), plant::now()}, {q("event"), q(event)}, {q("screen"), number}});
}

void Screen::onActive(bool active)
{
    tellThat(active ? "connected" : "lost");
    if (active)
        return;
    for (Place &place : places)
        place.isFresh = false;
    missing = int(places.size());
}

// A value counts once it is reported as online. The flags are in the same event, but their signals
// follow.
void Screen::look(Place *place, bool isEvent)
{
    events += isEvent ? 1 : 0;
    if (!client->publisher()->active() || !place->proxy->online())
        return;
    bool isNumber = false;
    const qint64 value = plant::count(place->keyword, place->proxy->value().toLongLong(&isNumber));
    if (!isNumber)
        return;
    if (value < 0) {
        ++foreign;
        return;
    }
    if (value < place->last)
        ++stepsBack;
    const qint64 floor = options.floor.empty() ? 0 : options.floor.at(size_t(place->keyword));
    const bool isRight = value >= qMax(place->last, floor);
    place->last = value;
    if (place->isFresh || !isRight)
        return;
    place->isFresh = true;
    if (--missing == 0)
        tellThat("right");
}

int Screen::wrong(qint64 expected) const
{
    int count = 0;
    for (const Place &place : places)
        count += !place.proxy->online()
            || place.proxy->value().toLongLong() != plant::value(place.keyword, expected);
    return count;
}

// Sets the default configuration of the process, as the guides describe for a private authority.
bool setTls(const Options &options)
{
    QFile keyFile(options.key);
    if (!keyFile.open(QIODevice::ReadOnly))
        return false;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslCertificate::fromPath(options.authority));
    configuration.setLocalCertificateChain(QSslCertificate::fromPath(options.certificate));
    configuration.setPrivateKey(QSslKey(keyFile.readAll(), QSsl::Ec));
    QSslConfiguration::setDefaultConfiguration(configuration);
    return !configuration.caCertificates().isEmpty() && !configuration.privateKey().isNull();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(q("pellixclient.*=false"));
    QCommandLineParser parser;
    const auto value = [&parser](const char *name, const char *standard) {
        parser.addOption(QCommandLineOption(q(name), QString(), q("value"), q(standard)));
    };
    value("url", "");
    value("kind", "client");
    value("ca", "");
    value("certificate", "");
    value("key", "");
    value("first", "0");
    value("count", "1");
    value("keywords-each", "100");
    value("keywords", "1000");
    parser.process(application);

    Options options;
    options.url = parser.value(q("url"));
    options.kind = parser.value(q("kind"));
    options.authority = parser.value(q("ca"));
    options.certificate = parser.value(q("certificate"));
    options.key = parser.value(q("key"));
    options.keywordsEach = parser.value(q("keywords-each")).toInt();
    options.keywords = parser.value(q("keywords")).toInt();
    if (options.url.startsWith(q("wss:")) && !setTls(options)) {
        std::fprintf(stderr, "cluster-screens: no certificates in %s and %s\n",
                     qPrintable(options.certificate), qPrintable(options.key));
        return 2;
    }

    // The clients are not created at the same moment, because their ticks would then coincide, too.
    std::vector<std::unique_ptr<Screen>> screens;
    const int first = parser.value(q("first")).toInt();
    const int count = parser.value(q("count")).toInt();
    QTimer making;
    QObject::connect(&making, &QTimer::timeout, [&] {
        if (int(screens.size()) == count)
            making.stop();
        else
            screens.push_back(std::make_unique<Screen>(options, first + int(screens.size())));
    });
    making.start(qMax(1, 1000 / qMax(1, count)));

    QFile input;
    if (!input.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return 2;
    QByteArray read;
    QSocketNotifier notifier(0, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &application, [&] {
        char buffer[4096];
        const ssize_t size = ::read(0, buffer, sizeof buffer);
        if (size <= 0) {
            notifier.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        read.append(buffer, qsizetype(size));
        for (qsizetype end = read.indexOf('\n'); end >= 0; end = read.indexOf('\n')) {
            const QList<QByteArray> words = read.first(end).split(' ');
            read.remove(0, end + 1);
            if (words.constFirst() == "floor") {
                options.floor.assign(size_t(options.keywords), 0);
                for (size_t i = 0; i < options.floor.size(); ++i)
                    options.floor[i] = words.value(qsizetype(i) + 2).toLongLong();
                tell({{q("event"), q("floor")}, {q("number"), words.value(1).toInt()}});
                continue;
            }
            qint64 events = 0;
            qint64 stepsBack = 0;
            qint64 foreign = 0;
            int complete = 0;
            int wrong = 0;
            for (const auto &screen : screens) {
                events += screen->events;
                stepsBack += screen->stepsBack;
                foreign += screen->foreign;
                complete += screen->isComplete() ? 1 : 0;
                wrong += screen->wrong(words.value(2).toLongLong());
            }
            tell({{q("event"), q("report")},
                  {q("number"), words.value(1).toInt()},
                  {q("screens"), int(screens.size())},
                  {q("complete"), complete},
                  {q("wrong"), wrong},
                  {q("events"), events},
                  {q("stepsBack"), stepsBack},
                  {q("foreign"), foreign}});
        }
    });
    const int result = QCoreApplication::exec();
    making.stop();
    screens.clear();
    return result;
}
