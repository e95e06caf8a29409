// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/scenarios/teardownscene.h"

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "server/inprocesslink.h"
#include "tests/support/socketclient.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>

#include <utility>

using namespace pellix::client;
using namespace pellix::server;

namespace {

const char screen[] = R"(
import QtQuick
import PellixClient.Keyword 1.0

Item {
    id: root

    property PKeywordClient keywordClient
    property PKeywordProxy plainProxy
    property PKeywordProxy expressionProxy
    property PKeywordQueryModel queryModel
    property PKeywordQueryFilterProxyModel filterModel
    property PKeywordPathModel pathModel
    readonly property bool live: own.value !== undefined && list.count > 0 && path.count > 0

    width: 200
    height: 200

    PKeywordProxy { id: own; client: root.keywordClient; keyword: "/plant/name" }
    PKeywordProxy { client: root.keywordClient; keywordExpression: expression }
    PPostfixKeywordExpression { id: expression; value: "/plant/tank1"; postfix: "level" }
    Column {
        Text { text: `${root.plainProxy?.value} ${root.plainProxy?.online}` }
        Text { text: `${root.expressionProxy?.value} ${root.queryModel?.loading}` }
        Row {
            Repeater {
                id: path
                model: root.pathModel
                Text { required property string partDisplay; text: partDisplay }
            }
        }
        ListView {
            id: list
            width: 200
            height: 100
            model: root.filterModel
            delegate: Text {
                id: row
                required property string displayName
                required property string keyword
                text: `${displayName} ${rowValue.value}`
                PKeywordProxy { id: rowValue; client: root.keywordClient; keyword: row.keyword }
            }
        }
    }
}
)";

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

TeardownScene::Servers::Servers()
{
    reset();
    if (!sockets.listen())
        qFatal("cannot listen");
}

void TeardownScene::Servers::reset()
{
    const auto declare = [this](const char *path, const char *type, const QVariant &value,
                                const char *label = "") {
        KeywordServer::Keyword keyword;
        keyword.path = q(path);
        keyword.type = q(type);
        keyword.access = q("RW");
        keyword.label = q(label);
        keyword.value = value;
        keywords.declare(keyword);
    };
    keywords.clear();
    declare("/plant/name", "string", q("Works"));
    declare("/plant/tank1/level", "double", 41.5, "Level");
    declare("/plant/tank1/volume", "double", 7.25);
    declare("/plant/tank2/level", "double", 75.5);
}

TeardownScene::TeardownScene(Servers &servers, Transport transport, Screen screen)
    : servers(servers), transport(transport)
{
    if (transport == Transport::InProcess)
        objects[Client] = new PInProcessKeywordClient;
    else
        objects[Client] = new SocketClient;
    objects[Publisher] = new PPublisher;
    objects[Subscriber] = new PSubscriber;
    objects[ClientSubscriber] = new PSubscriber;
    objects[PlainProxy] = new PKeywordProxy;
    objects[ExpressionProxy] = new PKeywordProxy;
    objects[Expression] = new PListPostfixKeywordExpression;
    objects[QueryModel] = new PKeywordQueryModel;
    objects[FilterModel] = new PKeywordQueryFilterProxyModel;
    objects[PathModel] = new PKeywordPathModel;
    if (screen == Screen::With) {
        auto *const engine = new QQmlEngine;
        objects[Engine] = engine;
        objects[View] = new QQuickView(engine, nullptr);
    }
}

TeardownScene::~TeardownScene()
{
    for (int part = PartCount - 1; part >= 0; --part)
        destroy(Part(part));
    settle(transport);
    // A socket that was destroyed by its own signal is deleted by the event loop.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

const char *TeardownScene::name(Part part)
{
    static const char *const names[] = {
        "client",       "publisher",   "subscriber", "client's subscriber",
        "plain proxy",  "bound proxy", "expression", "query model",
        "filter model", "path model",  "view",       "engine",
    };
    static_assert(std::size(names) == PartCount);
    return names[part];
}

QList<TeardownScene::Part> TeardownScene::parts(Screen screen)
{
    QList<Part> all;
    for (int part = 0; part < (screen == Screen::With ? PartCount : View); ++part)
        all << Part(part);
    return all;
}

template <typename Type>
void TeardownScene::on(Part part, const std::function<void(Type *)> &operation)
{
    if (objects[part])
        operation(get<Type>(part));
}

// Handlers may request the destruction of a part that is already being destroyed.
void TeardownScene::destroy(Part part)
{
    if (!std::exchange(destroyed[part], true))
        delete objects[part];
}

void TeardownScene::connectSocket(const QStringList &urls)
{
    on<SocketClient>(Client, [&](SocketClient *client) { client->setUrls(urls); });
    const QDeadlineTimer deadline(5000);
    while (objects[Client] && !get<SocketClient>(Client)->connected() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
}

void TeardownScene::settle(Transport transport)
{
    // Within the process, a message takes one turn of the event loop. Over a socket, it takes one
    // turn to write and one to read, and the same for the reply.
    const int turns = transport == Transport::InProcess ? 3 : 12;
    for (int turn = 0; turn < turns; ++turn)
        QCoreApplication::processEvents();
}

void TeardownScene::start()
{
    on<PSubscriber>(Subscriber, [this](PSubscriber *subscriber) {
        subscriber->setPublisher(get<PPublisher>(Publisher));
        on<PSubscriber>(Subscriber, [](PSubscriber *self) { self->setTopic(q("topic")); });
    });
    on<PPublisher>(Publisher, [](PPublisher *publisher) { publisher->setActive(true); });

    if (transport == Transport::InProcess) {
        on<PInProcessKeywordClient>(Client, [this](PInProcessKeywordClient *client) {
            linkInProcess(&servers.keywords, client);
        });
    }
    on<PKeywordClient>(Client, [this](PKeywordClient *client) {
        on<PSubscriber>(ClientSubscriber, [client](PSubscriber *subscriber) {
            subscriber->setTopic(q("/plant/tank1/level"));
            subscriber->setPublisher(client->publisher());
        });
    });
    on<PKeywordProxy>(PlainProxy,
                      [](PKeywordProxy *proxy) { proxy->setKeyword(q("/plant/tank1/level")); });
    on<PKeywordProxy>(PlainProxy, [this](PKeywordProxy *proxy) {
        proxy->setClient(get<PKeywordClient>(Client));
    });
    on<PListPostfixKeywordExpression>(Expression, [](PListPostfixKeywordExpression *expression) {
        expression->setValues({q("/plant/tank1"), q("/plant/tank2")});
    });
    on<PListPostfixKeywordExpression>(Expression, [](PListPostfixKeywordExpression *expression) {
        expression->setPostfix(q("level"));
    });
    on<PListPostfixKeywordExpression>(Expression, [](PListPostfixKeywordExpression *expression) {
        expression->setAggregation(PKeywordAggregation::Max);
    });
    on<PKeywordProxy>(ExpressionProxy, [this](PKeywordProxy *proxy) {
        proxy->setKeywordExpression(get<PAbstractKeywordExpression>(Expression));
    });
    on<PKeywordProxy>(ExpressionProxy, [this](PKeywordProxy *proxy) {
        proxy->setClient(get<PKeywordClient>(Client));
    });
    on<PKeywordQueryFilterProxyModel>(FilterModel, [this](PKeywordQueryFilterProxyModel *filter) {
        filter->setSourceModel(get<PKeywordQueryModel>(QueryModel));
    });
    on<PKeywordPathModel>(PathModel,
                          [](PKeywordPathModel *path) { path->setKeyword(q("/plant/tank1")); });
    if (transport == Transport::WebSocket)
        connectSocket({servers.sockets.url().toString()});
    on<PKeywordQueryModel>(QueryModel, [this](PKeywordQueryModel *model) {
        model->setKeywordClient(get<PKeywordClient>(Client));
    });
    on<PKeywordQueryModel>(QueryModel,
                           [](PKeywordQueryModel *model) { model->setKeyword(q("/plant/tank1")); });
    showScreen();
    settle(transport);
}

void TeardownScene::showScreen()
{
    if (!objects[View] || !objects[Engine])
        return;
    QQmlComponent component(get<QQmlEngine>(Engine));
    component.setData(screen, QUrl(q("qrc:/screen.qml")));
    QVariantMap properties;
    const auto give = [&](const char *property, Part part) {
        if (QObject *const object = objects[part])
            properties.insert(q(property), QVariant::fromValue(object));
    };
    give("keywordClient", Client);
    give("plainProxy", PlainProxy);
    give("expressionProxy", ExpressionProxy);
    give("queryModel", QueryModel);
    give("filterModel", FilterModel);
    give("pathModel", PathModel);
    QObject *const root = component.createWithInitialProperties(properties);
    if (!root)
        qFatal("%s", qPrintable(component.errorString()));
    auto *const view = get<QQuickView>(View);
    if (!view) {
        delete root;
        return;
    }
    view->setContent(component.url(), nullptr, root);
    on<QQuickView>(View, [](QQuickView *view) { view->show(); });
}

bool TeardownScene::isLive() const
{
    const auto *const query = get<PKeywordQueryModel>(QueryModel);
    const auto *const view = get<QQuickView>(View);
    return get<PKeywordProxy>(PlainProxy)->value().isValid()
        && get<PKeywordProxy>(ExpressionProxy)->value().isValid() && query->rowCount() == 2
        && get<PKeywordQueryFilterProxyModel>(FilterModel)->rowCount() == 2
        && get<PKeywordPathModel>(PathModel)->rowCount() == 2
        && (!view || view->rootObject()->property("live").toBool());
}

void TeardownScene::waitUntilLive()
{
    const QDeadlineTimer deadline(10000);
    while (!isLive() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
}

void TeardownScene::play()
{
    KeywordServer &server = servers.keywords;
    const auto settled = [this] { settle(transport); };

    // Values, states and labels
    on<PPublisher>(Publisher, [](PPublisher *publisher) { publisher->publish(q("topic"), 1); });
    server.setValue(q("/plant/tank1/level"), 42.5);
    settled();
    server.setState(q("/plant/tank1/level"), true, false, false, true);
    settled();
    server.setLabel(q("/plant/tank1/volume"), q("Volume"));
    settled();

    // Other keywords, by name, by label and by expression
    on<PSubscriber>(Subscriber, [](PSubscriber *subscriber) { subscriber->setTopic(q("other")); });
    on<PKeywordProxy>(PlainProxy,
                      [](PKeywordProxy *proxy) { proxy->setKeyword(q("/plant/tank2/level")); });
    settled();
    on<PKeywordProxy>(
        PlainProxy, [](PKeywordProxy *proxy) { proxy->getKeywordLabel(q("/plant/tank1/level")); });
    settled();
    settled();
    on<PListPostfixKeywordExpression>(Expression, [](PListPostfixKeywordExpression *expression) {
        expression->setAggregation(PKeywordAggregation::Min);
    });
    on<PListPostfixKeywordExpression>(Expression, [](PListPostfixKeywordExpression *expression) {
        expression->setValues({q("/plant/tank2")});
    });
    settled();

    // Models
    on<PKeywordQueryFilterProxyModel>(
        FilterModel, [](PKeywordQueryFilterProxyModel *filter) { filter->setFilter(q("vol")); });
    on<PKeywordQueryModel>(QueryModel,
                           [](PKeywordQueryModel *model) { model->setKeyword(q("/plant")); });
    settled();
    on<PKeywordQueryFilterProxyModel>(
        FilterModel, [](PKeywordQueryFilterProxyModel *filter) { filter->setFilter(QString()); });
    on<PKeywordQueryModel>(QueryModel, [](PKeywordQueryModel *model) {
        model->setFilterAccess(PKeywordValueAccess::KVA_READWRITE);
    });
    on<PKeywordQueryModel>(QueryModel, [](PKeywordQueryModel *model) {
        model->setFilterType(PKeywordValueType::KVT_DOUBLE);
    });
    settled();
    on<PKeywordPathModel>(
        PathModel, [](PKeywordPathModel *path) { path->setKeyword(q("/plant/tank2/level")); });
    on<PKeywordPathModel>(
        PathModel, [](PKeywordPathModel *path) { path->setProviderDisplayName(q("Plant")); });
    settled();

    // Writing
    on<PKeywordProxy>(ExpressionProxy, [](PKeywordProxy *proxy) { proxy->update(12.5); });
    on<PKeywordProxy>(ExpressionProxy, [](PKeywordProxy *proxy) { proxy->updateRelative(-1); });
    settled();

    // The connection is lost, restored, and closed
    on<PPublisher>(Publisher, [](PPublisher *publisher) { publisher->setActive(false); });
    if (transport == Transport::InProcess) {
        on<PKeywordClient>(Client,
                           [](PKeywordClient *client) { client->publisher()->setActive(false); });
        on<PKeywordClient>(Client,
                           [](PKeywordClient *client) { client->publisher()->setActive(true); });
    } else {
        on<SocketClient>(Client, [](SocketClient *client) { client->setAutoReconnect(true); });
        const QString url = servers.sockets.url().toString();
        connectSocket({url, url}); // another list: closes the connection and opens it again
        settled();
        on<SocketClient>(Client, [](SocketClient *client) { client->setAutoReconnect(false); });
        servers.sockets.closeClients();
    }
    settled();
    on<PKeywordProxy>(ExpressionProxy,
                      [](PKeywordProxy *proxy) { proxy->setKeywordExpression(nullptr); });
    on<PKeywordProxy>(PlainProxy, [](PKeywordProxy *proxy) { proxy->resetClient(); });
    on<PKeywordQueryModel>(QueryModel,
                           [](PKeywordQueryModel *model) { model->setKeywordClient(nullptr); });
    on<PSubscriber>(Subscriber, [](PSubscriber *subscriber) { subscriber->setPublisher(nullptr); });
    settled();
}
