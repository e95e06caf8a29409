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

class PKeywordProxy::Private final : public SubscriberListener
{
public:
    // What few of many proxies need.
    struct Rare
    {
        NotOwned<PAbstractKeywordExpression> keywordExpression;
        QMetaObject::Connection expressionConnection;

        QStringList labelParts;
        QStringList labelPrefixes;
        QString labelKeyword;
        // The last label of a finished lookup, whose result it must not replace; invalid otherwise.
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

    // As NotOwned does, which would take eight bytes more.
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
    bool isClientSet : 1; // also when it has been destroyed since
    bool dying : 1;
};

/*!
    \class pellix::client::PKeywordProxy
    \inmodule PellixClientKeyword
    \inheaderfile binding/keywordproxy.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordProxy class binds one keyword to a live, writable value.

    Given a client and a keyword, or an expression that computes one, a proxy asks the server for
    the keyword and follows it:

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

    The value is cleared, and the server asked again, whenever the link to the server comes or goes
    and whenever the keyword is set, also to what it was.

    Neither the client nor the expression is owned. After its destruction it reads as \c nullptr,
    and the proxy whose client was destroyed loses its value. Setting \c nullptr then is still a
    change, as if the object existed.

    An event of the keyword is taken over whole and signalled then: valueChanged() and
    valueValidChanged() if the value differs, valueTypeChanged() if the type does, and
    stateChanged() if one of the four flags does. valueValid alone changes after valueChanged().

    Handlers of the signals may do anything, including deleting the proxy or its client.
*/

/*!
    \property pellix::client::PKeywordProxy::client
    \brief the client whose server holds the keyword; \c nullptr by default. Not owned.
*/

/*!
    \property pellix::client::PKeywordProxy::keyword
    \brief the keyword that the proxy listens to; empty by default.

    With keywordExpression set, this is the keyword of the expression, and writing is refused with
    a warning. Setting the current keyword again clears the value and asks the server again.

    Without an expression, keywordChanged() and the valueChanged() that clears the old value come
    before the proxy changes to the new keyword: a handler, and a binding, still reads the old one
    there.
*/

/*!
    \property pellix::client::PKeywordProxy::keywordExpression
    \brief the expression that computes the keyword, in place of keyword; \c nullptr by default.
    Not owned.

    Cleared, the proxy goes back to the keyword that was set before. Its change signal is never
    emitted.

    An expression that is destroyed while it is in use leaves the proxy with the keyword that it had
    computed last, until this property is set (also to \c nullptr) or the subscription is
    established anew.
*/

/*!
    \property pellix::client::PKeywordProxy::value
    \brief the value of the keyword as the server sent it last; undefined while there is none.

    Numbers are \c double or \c qlonglong, arrays lists and objects maps, and null is a valid
    variant that holds a null pointer. Values are compared with QVariant's equality to decide
    whether they changed.

    A label lookup delivers its result here too, see getKeywordLabel().
*/

/*!
    \property pellix::client::PKeywordProxy::labelValue
    \brief always undefined, and its change signal is never emitted; the result of a label lookup
    is in value.
*/

/*!
    \property pellix::client::PKeywordProxy::valueValid
    \brief whether a value, null included, has arrived since keyword was last set to another one.

    It holds a \c bool. An expression that is set, or moves to another keyword, does not reset
    it. It stays \c true when the link to the server is lost, while value is cleared.
    valueValidChanged() is emitted at every change of the value, and with every other keyword that
    is set.
*/

/*!
    \property pellix::client::PKeywordProxy::valueLabelValid
    \brief whether the last label lookup has finished. It holds a \c bool.
*/

/*!
    \property pellix::client::PKeywordProxy::valueType
    \brief the type of the value as the server declares it; KVT_NOPROP while there is none.
*/

/*!
    \property pellix::client::PKeywordProxy::connected
    \brief whether the server has a source for the keyword, as its last event says; \c false
    without one.

    It says nothing of the link between client and server, which is
    PWebSocketKeywordClient::connected.
    \sa {The four state flags}
*/

/*!
    \property pellix::client::PKeywordProxy::online
    \brief whether the source delivers, as the keyword's last event says; \c false without one.
    \sa {The four state flags}
*/

/*!
    \property pellix::client::PKeywordProxy::consistent
    \brief whether the value agrees with all its sources, as the keyword's last event says; \c true
    without one, unlike the other flags.
    \sa {The four state flags}
*/

/*!
    \property pellix::client::PKeywordProxy::error
    \brief whether the keyword is in error, or the last write to it was refused, as its last event
    says; \c false without one.
    \sa {The four state flags}, {Setpoint and readback}
*/

/*!
    \fn void PKeywordProxy::keywordExpressionChanged()

    This signal is never emitted: keywordChanged() is, when the expression is replaced.
*/

/*!
    \fn void PKeywordProxy::labelValueChanged()

    This signal is never emitted: the result of a label lookup is in value.
*/

/*!
    \fn void PKeywordProxy::stateChanged()

    This signal is emitted once when at least one of connected, online, consistent and error
    changed.
*/

/*!
    Constructs a proxy that is bound to nothing. \a parent owns it, if given.
*/
PKeywordProxy::PKeywordProxy(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this))
{
    SubscriberListener::listen(d->subscriber, d.get());
}

/*!
    Destroys the proxy. If it was the last one on its keyword, its client tells the server.
*/
PKeywordProxy::~PKeywordProxy()
{
    // Leaving the keyword tells the server, whose handlers may come back here: not to a proxy that
    // is half gone.
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
    Takes the client away, like setting it to \c nullptr.
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
    Sets \a keyword as the one to listen to. \a labelLookup marks it as a step of a label lookup and
    is left at its default by all others.
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
        return; // a handler has replaced the expression, or it is gone
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

    Asks the server to set the keyword to \a value, which PKeywordClient::sendKeyUpdate() turns into
    JSON. The proxy's own value changes when the server's event comes back, not here.

    Numbers, texts and booleans of JavaScript are sent as such, null and undefined as null. Arrays
    and objects of JavaScript reach this function as a QJSValue, which Qt's conversion turns into
    null: hand over a list or map that comes from C++ instead.

    Returns what the client returns, or \c false without a client. That is not the server's answer:
    with a PWebSocketKeywordClient it is \c true also while there is no connection and the command
    is lost. \c false comes only from a missing client or an empty keyword.
*/
// NOLINTNEXTLINE(performance-unnecessary-value-param): part of the interface
bool PKeywordProxy::update(QVariant value)
{
    return d->client && d->client->sendKeyUpdate(d->subscriber.topic(), value);
}

/*!
    \fn bool PKeywordProxy::updateRelative(QVariant value)

    Asks the server to change the keyword by \a value. Otherwise, also in what it returns,
    like update().
*/
// NOLINTNEXTLINE(performance-unnecessary-value-param): part of the interface
bool PKeywordProxy::updateRelative(QVariant value)
{
    return d->client && d->client->sendKeyUpdateRelative(d->subscriber.topic(), value);
}

/*!
    \fn void PKeywordProxy::getKeywordLabel(QString key)

    Starts to look up the label of \a key, a keyword path: the proxy reads the "/Label" keyword of
    each level below the first in turn, and takes a level's own name where the label is empty.
    valueLabelValid is \c false meanwhile.

    The result, the labels joined with "/", is delivered in value, and valueLabelValid becomes
    \c true. The first level is never looked up. For /u1/k1/level with the label Main for /u1/k1
    and an empty one for the last level, the result is /u1/Main/level. A key with no second level is
    answered at once.

    The proxy's keyword walks through the label keywords and stays on the last one, whose later
    changes arrive as ordinary values: the first event with another label replaces the result. An
    event that repeats the label is no change, and leaves the result in place, until the proxy
    subscribes again: when the link to the server is lost, or another client or the keyword is
    set. Use a proxy for this alone.

    The key has to begin with "/", or its first level is lost; "#" separates no levels here.

    Nothing happens without a client, or when the same lookup is under way. One that is abandoned by
    setting keyword counts as under way for its key, and the levels that it had still to ask come
    first in the next one: let a lookup finish, or use another proxy. Starting another
    lookup from a handler of this one's signals is allowed; the new one then takes the proxy over.
*/
// The parameter is a part of the interface.
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
    // Required: becoming active has run this function again, which has asked the server, and it is
    // asked here once more.
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
        // The server may answer for the last label of a lookup more than once.
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

    // A handler may bind the proxy to another keyword or start a label lookup, for which this value
    // is no label.
    const bool lookingUp = d->labelLookup;
    const quint32 run = d->resets;
    const DeletionWatch::Scope self(d->watch);
    if (valueDiffers && !lookingUp) {
        Q_EMIT valueChanged();
        if (self.deleted())
            return;
        d->valueValid = true; // Required: also when a handler has bound the proxy anew
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

    // The prefix leaves the list first: a server that answers inside the call comes back here.
    if (!rare.labelPrefixes.isEmpty())
        setKeyword(rare.labelPrefixes.takeFirst() + labelPostfix, true);
    else
        finishLabelLookup(label);
}

void PKeywordProxy::finishLabelLookup(const QVariant &lastLabel)
{
    // Handlers may start the next lookup, which then owns the proxy: this one says no more.
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
