// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"

#include "binding/keywordexpression.h"
#include "client/keywordclient.h"
#include "pubsub/deletionwatch_p.h"
#include "pubsub/notowned_p.h"
#include "pubsub/subscriber.h"
#include "pubsub/subscriberlistener_p.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtCore/QStringList>

namespace pellix::client {

namespace {

Q_LOGGING_CATEGORY(lcKeywordProxy, "pellixclient.keyword.proxy", QtWarningMsg)

const QLatin1String labelPostfix("/Label");

} // namespace

class Q_DECL_HIDDEN PKeywordProxy::Private final : public SubscriberListener
{
public:
    // Data that most proxies do not need.
    struct Rare
    {
        NotOwned<PAbstractKeywordExpression> keywordExpression;
        QMetaObject::Connection expressionConnection;

        QStringList labelParts;
        QStringList labelPrefixes;
        QString labelKeyword;
        // The last label of a finished lookup, which must not replace the result; invalid
        // otherwise.
        QVariant takenLabel;
        bool isLabelValid = false;
    };

    explicit Private(PKeywordProxy *q)
        : q(q), valueType(PKeywordValueType::KVT_NOPROP),
          consistent(true), // Required: unlike the other three
          connected(false), online(false), error(false), valueValid(false), labelLookup(false),
          isClientSet(false), dying(false)
    { }

    void onActiveChanged() override { q->resetSubscription(); }
    void onPublisherActiveChanged() override { q->resetSubscription(); }
    void onValue(const QVariant &value) override { q->onSubscriberValue(value); }

    PAbstractKeywordExpression *keywordExpression() const
    {
        return rare ? rare->keywordExpression.data() : nullptr;
    }
    Rare &makeRare()
    {
        if (!rare)
            rare = std::make_unique<Rare>();
        return *rare;
    }
    void forgetTakenLabel()
    {
        if (rare)
            rare->takenLabel.clear();
    }

    // Like NotOwned, which would require eight more bytes.
    bool holdsClient(const PKeywordClient *other) const
    {
        return other ? client == other : !isClientSet;
    }
    void setClient(PKeywordClient *other)
    {
        client = other;
        isClientSet = other != nullptr;
    }

    PKeywordProxy *const q;

    QPointer<PKeywordClient> client;
    PSubscriber subscriber;
    QString keyword;
    QVariant value;
    std::unique_ptr<Rare> rare;
    DeletionWatch watch;

    quint32 resets = 0; // runs of resetSubscription()
    PKeywordValueType valueType : 8;
    bool consistent : 1;
    bool connected : 1;
    bool online : 1;
    bool error : 1;
    bool valueValid : 1;
    bool labelLookup : 1;
    bool isClientSet : 1; // even if it has been destroyed since
    bool dying : 1;
};

/*!
    \class pellix::client::PKeywordProxy
    \inmodule PellixClientKeyword
    \inheaderfile binding/keywordproxy.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordProxy class binds one keyword to a live, writable value.

    Set a client and a keyword, or an expression that computes one. The proxy then subscribes to the
    keyword:

    \qml
    Column {
        PKeywordProxy {
            id: setpoint
            client: keywordClient
            keyword: "/plant/tank1/setpoint"
        }
        Text { text: setpoint.value ?? "no value" }
        Button { text: "+5"; onClicked: setpoint.updateRelative(5) }
    }
    \endqml

    The proxy clears the value and subscribes again whenever the connection is established or lost,
    and whenever the keyword is set, even to the same value.

    The proxy owns neither the client nor the expression. If one of them is destroyed, the property
    becomes \c nullptr; without its client, the proxy loses its value. Setting the property to
    \c nullptr afterwards still counts as a change.

    When an event arrives, the proxy first updates its properties from the event and then emits the
    signals: valueChanged() and valueValidChanged() if the value differs, valueTypeChanged() if the
    type differs, and stateChanged() if any of the four flags differs. Only valueValid changes after
    valueChanged().

    Handlers of the signals may do anything, including deleting the proxy or its client.
*/

/*!
    \property pellix::client::PKeywordProxy::client
    \brief the client that is connected to the server. The default is \c nullptr. The proxy does not
    own the client.
*/

/*!
    \property pellix::client::PKeywordProxy::keyword
    \brief the keyword to which the proxy subscribes. The default is an empty string.

    If keywordExpression is set, this is the keyword of the expression, and writing to the property
    logs a warning and has no effect. Setting the current keyword again clears the value and
    subscribes again.

    Without an expression, keywordChanged() and the valueChanged() that clears the old value are
    emitted before the keyword changes: handlers and bindings still read the old keyword.
*/

/*!
    \property pellix::client::PKeywordProxy::keywordExpression
    \brief the expression that computes the keyword and overrides keyword. The default is
    \c nullptr. The proxy does not own the expression.

    The change signal is never emitted. When you clear the property, the proxy returns to the
    keyword that was set before.

    If an expression is destroyed while it is in use, the proxy keeps the last computed keyword
    until this property is set (even to \c nullptr) or the proxy subscribes again.
*/

/*!
    \property pellix::client::PKeywordProxy::value
    \brief the last value that the server sent. It is undefined if there is none.

    A number is a \c double or a \c qlonglong, an array is a list, an object is a map, and null is a
    valid variant that contains a null pointer. Whether a value has changed is determined by the
    equality of QVariant.

    The result of a label lookup also arrives here, see getKeywordLabel().
*/

/*!
    \property pellix::client::PKeywordProxy::labelValue
    \brief an undefined value. The change signal is never emitted. The result of a label lookup
    arrives in value.
*/

/*!
    \property pellix::client::PKeywordProxy::valueValid
    \brief whether a value, including null, has arrived since keyword was last set to another
    keyword.

    It is a \c bool. Setting an expression, or a change of its keyword, does not reset it. It stays
    \c true when the connection is lost, although value is cleared then. valueValidChanged() is
    emitted with every change of the value, and whenever another keyword is set.
*/

/*!
    \property pellix::client::PKeywordProxy::valueLabelValid
    \brief whether the last label lookup has finished. It is a \c bool.
*/

/*!
    \property pellix::client::PKeywordProxy::valueType
    \brief the type that the server declares for the value, or KVT_NOPROP if there is no value.
*/

/*!
    \property pellix::client::PKeywordProxy::connected
    \brief whether the server has a source for the keyword, according to its last event. It is
    \c false until an event arrives.

    For the state of the connection between client and server, see
    PWebSocketKeywordClient::connected.
    \sa {The four state flags}
*/

/*!
    \property pellix::client::PKeywordProxy::online
    \brief whether the source delivers data, according to the last event of the keyword. It is
    \c false until an event arrives.
    \sa {The four state flags}
*/

/*!
    \property pellix::client::PKeywordProxy::consistent
    \brief whether the value is consistent with all its sources, according to the last event of the
    keyword. Unlike the other flags, it is \c true until an event arrives.
    \sa {The four state flags}
*/

/*!
    \property pellix::client::PKeywordProxy::error
    \brief whether the keyword is in error, or the last write to it was refused, according to its
    last event. It is \c false until an event arrives.
    \sa {The four state flags}, {Setpoint and readback}
*/

/*!
    \fn void PKeywordProxy::keywordExpressionChanged()

    This signal is never emitted. When the expression is replaced, keywordChanged() is emitted.
*/

/*!
    \fn void PKeywordProxy::labelValueChanged()

    This signal is never emitted. The result of a label lookup arrives in value.
*/

/*!
    \fn void PKeywordProxy::stateChanged()

    This signal is emitted once if at least one of connected, online, consistent, and error has
    changed.
*/

/*!
    Constructs a proxy without a client and a keyword. If \a parent is given, it owns the proxy.
*/
PKeywordProxy::PKeywordProxy(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this))
{
    SubscriberListener::listen(d->subscriber, d.get());
}

/*!
    Destroys the proxy. If it was the last proxy on its keyword, the client unsubscribes from the
    keyword.
*/
PKeywordProxy::~PKeywordProxy()
{
    // Unsubscribing sends a command, whose handlers may call back: they must not reach a proxy that
    // is being destroyed.
    d->dying = true;
    SubscriberListener::listen(d->subscriber, nullptr);
    d->subscriber.setPublisher(nullptr);
}

PKeywordClient *PKeywordProxy::client() const
{
    return d->client;
}

void PKeywordProxy::setClient(PKeywordClient *client)
{
    if (d->holdsClient(client) || d->dying)
        return;

    const DeletionWatch::Scope self(d->watch);
    if (client) {
        d->setClient(client);
        d->subscriber.setPublisher(client->publisher());
    } else {
        const PKeywordClient *const left = d->client;
        d->subscriber.setPublisher(nullptr);
        if (self.deleted() || (d->client && d->client != left))
            return; // a handler has set another one, which stays
        d->setClient(nullptr);
    }
    if (self.deleted())
        return;
    Q_EMIT clientChanged();
    // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
    if (self.deleted())
        return;
    resetSubscription();
}

/*!
    Resets the client, like setting it to \c nullptr.
*/
void PKeywordProxy::resetClient()
{
    setClient(nullptr);
}

QString PKeywordProxy::keyword() const
{
    const PAbstractKeywordExpression *const expression = d->keywordExpression();
    return expression ? expression->keyword() : d->subscriber.topic();
}

/*!
    Subscribes to \a keyword. \a labelLookup marks a step of a label lookup; all other callers omit
    it.
*/
void PKeywordProxy::setKeyword(const QString &keyword, bool labelLookup)
{
    if (d->keywordExpression()) {
        qCWarning(lcKeywordProxy) << "Proxy is already using a keyword expression";
        return;
    }

    if (keyword != d->subscriber.topic()) {
        const auto newKeyword = QString(keyword); // handlers may destroy the argument
        const DeletionWatch::Scope self(d->watch);
        d->valueValid = false;
        Q_EMIT valueValidChanged(); // Required: also when it was false already
        if (self.deleted())
            return;
        d->labelLookup = labelLookup;
        qCDebug(lcKeywordProxy) << objectName() << "keyword:" << newKeyword;
        d->keyword = newKeyword;
        Q_EMIT keywordChanged();
        if (self.deleted())
            return;
    }
    resetSubscription();
}

PAbstractKeywordExpression *PKeywordProxy::keywordExpression() const
{
    return d->keywordExpression();
}

void PKeywordProxy::setKeywordExpression(PAbstractKeywordExpression *expression)
{
    if (d->rare ? d->rare->keywordExpression.holds(expression) : !expression)
        return;

    qCDebug(lcKeywordProxy) << objectName() << "keywordExpression:"
                            << (expression ? expression->keyword() : QStringLiteral("[nullptr]"));
    Private::Rare &rare = d->makeRare();
    if (rare.expressionConnection)
        disconnect(rare.expressionConnection);
    rare.keywordExpression = expression;

    // Required: keywordExpressionChanged() is not emitted.
    const DeletionWatch::Scope self(d->watch);
    Q_EMIT keywordChanged();
    if (self.deleted())
        return;
    resetSubscription();
    // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
    if (self.deleted() || !expression || rare.keywordExpression != expression)
        return; // a handler has replaced or deleted the expression
    disconnect(rare.expressionConnection); // a handler may have set the same one again
    rare.expressionConnection =
        connect(expression, &PAbstractKeywordExpression::keywordChanged, this, [this] {
            const DeletionWatch::Scope self(d->watch);
            Q_EMIT keywordChanged();
            if (!self.deleted())
                resetSubscription();
        });
}

QVariant PKeywordProxy::value() const
{
    return d->value;
}

QVariant PKeywordProxy::labelValue() const
{
    return QVariant(); // Required, as is that labelValueChanged() is never emitted
}

QVariant PKeywordProxy::valueValid() const
{
    return d->valueValid;
}

QVariant PKeywordProxy::valueLabelValid() const
{
    return d->rare && d->rare->isLabelValid;
}

PKeywordValueType PKeywordProxy::valueType() const
{
    return d->valueType;
}

bool PKeywordProxy::connected() const
{
    return d->connected;
}

bool PKeywordProxy::online() const
{
    return d->online;
}

bool PKeywordProxy::consistent() const
{
    return d->consistent;
}

bool PKeywordProxy::error() const
{
    return d->error;
}

/*!
    \fn bool PKeywordProxy::update(QVariant value)

    Requests that the server set the keyword to \a value, which PKeywordClient::sendKeyUpdate()
    converts to JSON. The property value changes when the event from the server arrives, not
    immediately.

    JavaScript numbers, strings, and Boolean values are sent as such, null and undefined as null.
    JavaScript arrays and objects reach this function as a QJSValue, which Qt converts to null: pass
    a list or a map that comes from C++ instead.

    Returns the return value of the client, or \c false if there is no client. This is not the reply
    of the server: a PWebSocketKeywordClient returns \c true even if there is no connection and the
    command is lost. The function returns \c false only if there is no client or the keyword is
    empty.
*/
// NOLINTNEXTLINE(performance-unnecessary-value-param): part of the interface
bool PKeywordProxy::update(QVariant value)
{
    return d->client && d->client->sendKeyUpdate(d->subscriber.topic(), value);
}

/*!
    \fn bool PKeywordProxy::updateRelative(QVariant value)

    Requests a relative write: the server adds \a value to a number, and toggles a Boolean value if
    \a value is \c true. Otherwise, the function behaves like update() and has the same return
    value.
*/
// NOLINTNEXTLINE(performance-unnecessary-value-param): part of the interface
bool PKeywordProxy::updateRelative(QVariant value)
{
    return d->client && d->client->sendKeyUpdateRelative(d->subscriber.topic(), value);
}

/*!
    \fn void PKeywordProxy::getKeywordLabel(QString key)

    Looks up the label of \a key, a keyword path. The proxy reads the "/Label" keyword of each level
    below the first in turn. If a label is empty, it uses the name of the level. valueLabelValid is
    \c false during the lookup.

    The result, the labels joined with "/", arrives in value, and then valueLabelValid becomes
    \c true. The first level is never looked up. For /u1/k1/level with the label Main for /u1/k1 and
    an empty one for the last level, the result is /u1/Main/level. For a key without a second level,
    the result arrives immediately.

    During the lookup, the proxy sets its keyword to each label keyword in turn, and it keeps the
    last one. Later changes of that keyword arrive as ordinary values: the first event with a
    different label replaces the result. An event that repeats the label is not a change and leaves
    the result in place, until the proxy subscribes again: when the connection is lost, or when the
    client or the keyword is set. Use a separate proxy for lookups.

    The key must begin with "/", otherwise its first level is lost. "#" does not separate levels
    here.

    The function does nothing if there is no client, or if the same lookup is pending. If you
    interrupt a lookup by setting keyword, it still counts as pending for its key, and the next
    lookup first requests the remaining levels of the interrupted one: let a lookup finish, or use
    another proxy. A handler of a signal of this lookup may start another one, which then replaces
    it.
*/
// The parameter is part of the interface.
// cppcheck-suppress passedByValue
void PKeywordProxy::getKeywordLabel(QString key) // NOLINT(performance-unnecessary-value-param)
{
    if (!d->client || key == (d->rare ? d->rare->labelKeyword : QString()))
        return;
    Private::Rare &rare = d->makeRare();

    const DeletionWatch::Scope self(d->watch);
    rare.isLabelValid = false;
    Q_EMIT valueLabelValidChanged();
    if (self.deleted())
        return;

    d->labelLookup = true;
    rare.takenLabel.clear();
    rare.labelParts.clear();
    rare.labelKeyword = key;

    const QStringList parts = key.split(QLatin1Char('/')).mid(1);
    // Required: prefixes left from an abandoned lookup stay in front of the new ones.
    QString prefix;
    for (const QString &part : parts) {
        prefix += QLatin1Char('/') + part;
        rare.labelPrefixes.append(prefix);
    }
    if (!rare.labelPrefixes.isEmpty())
        rare.labelParts.append(rare.labelPrefixes.takeFirst());

    if (rare.labelPrefixes.isEmpty())
        finishLabelLookup(QVariant());
    else
        setKeyword(rare.labelPrefixes.takeFirst() + labelPostfix, true);
}

void PKeywordProxy::resetSubscription()
{
    const bool valueCleared = d->value.isValid();
    const bool typeCleared = d->valueType != PKeywordValueType::KVT_NOPROP;
    const bool stateCleared = !d->consistent || d->connected || d->online || d->error;

    d->forgetTakenLabel();
    if (valueCleared)
        d->value.clear();
    d->valueType = PKeywordValueType::KVT_NOPROP;
    d->connected = false;
    d->online = false;
    d->consistent = true;
    d->error = false;

    const DeletionWatch::Scope self(d->watch);
    if (valueCleared)
        Q_EMIT valueChanged();
    if (!self.deleted() && typeCleared)
        Q_EMIT valueTypeChanged();
    if (!self.deleted() && stateCleared)
        Q_EMIT stateChanged();
    if (self.deleted())
        return;

    ++d->resets;
    const PAbstractKeywordExpression *expression = d->keywordExpression();
    d->subscriber.setTopic(expression ? expression->keyword() : d->keyword);
    if (self.deleted())
        return;
    // Required: becoming active has called this function recursively, which has subscribed, and it
    // subscribes once more here.
    if (!d->client || !d->subscriber.active() || !d->subscriber.publisherActive())
        return;
    expression = d->keywordExpression();
    if (expression) {
        if (expression->valid())
            d->client->sendKeyCreate(expression->keyword(), expression->keywordChildren(),
                                     expression->aggregation());
    } else if (!d->keyword.isEmpty()) {
        d->client->sendKeyCreate(d->keyword, QStringList(), PKeywordAggregation::No);
    }
}

void PKeywordProxy::onSubscriberValue(const QVariant &published)
{
    PKeywordValue converted;
    const PKeywordValue *record = &converted;
    if (published.metaType() == QMetaType::fromType<PKeywordValue>()) {
        record = static_cast<const PKeywordValue *>(published.constData());
    } else {
        QMetaType::convert(published.metaType(), published.constData(),
                           QMetaType::fromType<PKeywordValue>(), &converted);
    }

    bool valueDiffers = record->value != d->value;
    if (d->rare && d->rare->takenLabel.isValid()) {
        // The server may send the last label of a lookup more than once.
        if (record->value == d->rare->takenLabel)
            valueDiffers = false;
        else
            d->rare->takenLabel.clear();
    }
    const bool typeDiffers = record->type != d->valueType;
    const bool stateDiffers = record->consistent != d->consistent
        || record->connected != d->connected || record->online != d->online
        || record->error != d->error;

    if (valueDiffers)
        d->value = record->value;
    d->valueType = record->type;
    d->consistent = record->consistent;
    d->connected = record->connected;
    d->online = record->online;
    d->error = record->error;

    // A handler may set another keyword or start a label lookup, for which this value is not a
    // label.
    const bool lookingUp = d->labelLookup;
    const quint32 run = d->resets;
    const DeletionWatch::Scope self(d->watch);
    if (valueDiffers && !lookingUp) {
        Q_EMIT valueChanged();
        if (self.deleted())
            return;
        d->valueValid = true; // Required: even if a handler has set another keyword
        Q_EMIT valueValidChanged(); // Required: at every change of the value
    }
    if (!self.deleted() && typeDiffers)
        Q_EMIT valueTypeChanged();
    if (!self.deleted() && stateDiffers)
        Q_EMIT stateChanged();
    if (self.deleted())
        return;

    if (valueDiffers && lookingUp && d->resets == run && d->rare
        && !d->rare->labelKeyword.isEmpty())
        takeLabelStep(record->value);
}

void PKeywordProxy::takeLabelStep(const QVariant &label)
{
    Private::Rare &rare = *d->rare;
    const QString text = label.isNull() ? QString() : label.toString();
    if (!text.isEmpty())
        rare.labelParts.append(text);
    else
        rare.labelParts.append(d->keyword.section(QLatin1Char('/'), -2, -2));

    // Remove the prefix first: a server that replies inside the call causes a recursive call.
    if (!rare.labelPrefixes.isEmpty())
        setKeyword(rare.labelPrefixes.takeFirst() + labelPostfix, true);
    else
        finishLabelLookup(label);
}

void PKeywordProxy::finishLabelLookup(const QVariant &lastLabel)
{
    // Handlers may start the next lookup, which then owns the proxy: nothing more is signaled for
    // this one.
    const DeletionWatch::Scope self(d->watch);
    Private::Rare &rare = *d->rare;
    rare.labelKeyword.clear();
    rare.takenLabel = lastLabel;
    d->value = rare.labelParts.join(QLatin1Char('/'));
    Q_EMIT valueChanged();
    if (self.deleted() || !rare.labelKeyword.isEmpty())
        return;
    rare.isLabelValid = true;
    Q_EMIT valueLabelValidChanged();
    if (self.deleted() || !rare.labelKeyword.isEmpty())
        return;
    d->labelLookup = false;
}

} // namespace pellix::client
