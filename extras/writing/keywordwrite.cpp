// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/writing/keywordwrite.h"

#include "extras/writing/writtenvalue_p.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QLocale>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtCore/QUuid>

#include <chrono>
#include <limits>
#include <optional>
#include <utility>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace pellix::extras {

namespace {

// Longer than the 5 s after which a gateway says that a device has not confirmed a write, so that
// its answer is the one that is shown.
constexpr auto defaultConfirmWithin = 6000ms;

// While a slider moves: how long its newest value waits for the outcome of the previous one.
constexpr auto longestHold = 100ms;

// The reply of a server for a keyword that does not exist.
bool isUnknown(const PKeywordValue &event)
{
    return !event.connected && event.type == PKeywordValueType::KVT_NOPROP
        && isSameValue(event.value, {});
}

// The number to which a value is added: a double even if an integer arrived for it.
QVariant summand(const PKeywordValue &event)
{
    const bool isDouble =
        event.type == PKeywordValueType::KVT_DOUBLE && event.value.typeId() == QMetaType::LongLong;
    return isDouble ? QVariant(event.value.toDouble()) : event.value;
}

} // namespace

/*
    Only an event of the keyword acknowledges a write, and events also have other causes. They are
    distinguished as follows:

    - An event with the requested value is taken as the answer.
    - An index query, the fence, is sent after each write. A server that processes commands in order
      replies to it after all effects of the write: if there was no event by then, and the keyword
      already had the value, there was nothing to change; if there was one with another value, that
      is the outcome. An event before the reply to the fence of an earlier write may belong to that
      write.
    - A server that does not process commands in order replies to the fence early. So its reply
      applies only to the events before it. Afterwards, only the requested value, an error, or the
      timeout determines the outcome.
*/
class Q_DECL_HIDDEN PKeywordWrite::Private
{
public:
    struct Request
    {
        QVariant value; // plain; of the keyword's type once it is sent
        bool relative = false;
    };
    enum class Answer {
        None,
        Other,
        Error,
        SourceLost
    };

    explicit Private(PKeywordWrite *q) : q(q) { }

    bool isLinked() const { return client && subscriber.publisherActive() && !keyword.isEmpty(); }
    QString notLinked() const;
    void askServer();
    void onLink();
    void onEvent(const PKeywordValue &event);
    void onIndexResponse(const QUuid &id);
    void onClientDestroyed();

    void ask(const QVariant &given, bool relative);
    QString enqueue(const Request &request);
    WrittenValue converted(const Request &request) const;
    bool mayReplace(const Request &request) const;
    void advance();
    void send(const Request &request);
    void sendFence();
    void flush();
    void forget();

    bool matches(const QVariant &value, const PKeywordValue &previous) const;
    bool isRefusal(const PKeywordValue &event, const PKeywordValue &previous) const;
    void judge(const PKeywordValue &event, const PKeywordValue &previous, bool wasKnown);
    void onFence();
    void onPatience();
    void decide(bool timeIsUp);
    void settle(State outcome, const QString &reason = {});
    void conclude(State outcome, const QString &reason);
    void announce();
    void proceed();

    PKeywordWrite *const q;

    QPointer<PKeywordClient> client;
    QMetaObject::Connection destroyedConnection;
    QMetaObject::Connection indexConnection;
    PSubscriber subscriber;
    QString keyword;
    int confirmWithin = int(defaultConfirmWithin.count());
    bool typed = true;

    PKeywordValue last;
    bool known = false; // whether last is of this keyword and this connection
    bool refusedBefore = false; // the error in last was caused by a write of this object

    // The public state.
    State state = Idle;
    Request asked;
    QVariant received;
    bool unchanged = false;
    qint64 elapsed = 0;
    QString problem;

    std::optional<Request> queued; // not sent yet
    std::optional<Request> out; // sent, with unknown outcome
    QVariant wanted; // the expected value, if it is known
    bool lost = false; // the connection, since it was sent
    bool wasConnected = false; // the keyword to its source, when it was sent
    Answer answer = Answer::None; // the events that may be the answer
    QVariant answerValue;
    QUuid fence; // its reply follows that of the write
    QUuid earlierFence; // of the previous write, if it was not waited for
    bool sendsFence = false;
    QList<QUuid> answeredInside; // while it is sent

    QTimer patience;
    QTimer hold;
    QElapsedTimer sinceSent;
    quint32 sends = 0; // to detect changes during sending
    quint32 requests = 0;
    bool rewires = false;
    bool hasNews = false; // a state that has not been announced
    bool isOver = false; // and is an end
};

/*!
    \class pellix::extras::PKeywordWrite
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/writing/keywordwrite.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordWrite class writes a keyword and reports the outcome.

    \qml
    Column {
        PKeywordWrite {
            id: setpoint
            client: keywordClient
            keyword: "/plant/tank1/setpoint"
        }
        Slider { enabled: setpoint.ready; onMoved: setpoint.set(value) }
        Button { text: "+5"; onClicked: setpoint.add(5) }
        Text { text: setpoint.pending ? "..." : setpoint.problem }
    }
    \endqml

    The protocol has no acknowledgments: only an event of the keyword shows the outcome of a write.
    This class subscribes to the keyword, writes, and compares the events that follow. state() is
    one of these:

    \table
    \header \li State \li Meaning
    \row \li \c Idle \li nothing has been written yet, or reset() was called
    \row \li \c Pending \li the write is sent, or about to be sent, and its outcome is not known yet
    \row \li \c Taken \li the keyword has the requested value; if unchanged is set, it had it before
    \row \li \c Changed \li the keyword has another value than the requested one; see received
    \row \li \c Refused \li the server refused the write: an event with the error flag arrived, and
             the keyword is still connected to its source, or was not connected before
    \row \li \c TimedOut \li the outcome is not known: no event that could be the answer arrived in
             time, see confirmWithin, or an event with the error flag shows that the keyword is no
             longer connected to its source. The write may have been executed
    \row \li \c NotSent \li nothing was sent; see problem: there is no connection, or the value
             does not fit the keyword
    \endtable

    Numbers are compared regardless of whether they arrive as an integer, in double precision, or in
    single precision. Changes by other clients cannot always be distinguished from those by the
    server: if another value arrives between the write and the reply to the query that was sent
    after it, and the requested value does not, the outcome is \c Changed. If the requested value
    arrives, the outcome is \c Taken, regardless of which client wrote it. For a relative write, the
    expected value is the sum with the previous value, regardless of what other clients add in the
    meantime.

    \section1 Several writes

    While a write is pending, set() replaces the value that has not been sent yet: the newest value
    is sent as soon as the outcome of the previous write is known, and after 100 ms at the latest.
    At most one value is waiting, and the last one is always sent, even if the object is destroyed
    or its keyword changes. You can therefore call set() at each move of a slider. In the meantime,
    state is \c Pending, and it ends with the outcome of the last write. add() accumulates waiting
    amounts, and relative writes wait for the outcome of the previous write, so that no amount is
    lost or added twice.

    \section1 Values

    You can write null, Boolean values, numbers, strings, lists, and maps, including JavaScript
    arrays and objects. A Date is written as by JSON.stringify(), such as
    "2026-11-22T09:30:00.000Z"; URLs, colors, and similar values are written as strings. undefined,
    functions, QML objects, NaN, infinity, integers beyond 64 bits, and lists or maps that contain
    themselves or one of these are not sent.

    The value is converted to the type of the keyword, which is known after its first event. Strings
    are read as numbers or as "true" and "false". Numbers can use the digits, signs, and decimal
    separator of the user's language, but no group separators, so you can write the content of a
    text field directly: "007" for a keyword of type int is 7, and "7.5" is not sent. An integer
    that a double cannot represent exactly is not sent to a keyword of type double. 0 and 1 are
    converted to \c false and \c true, and vice versa. For a keyword of type string, a number or
    Boolean value is converted to a string. A keyword of type object accepts a list, a map, null, or
    a string that contains JSON for one of these. If typed is \c false, the value is not converted,
    and the server decides.

    A write is sent as soon as the first event of the keyword has arrived; ready is \c true then. If
    the object is destroyed or its keyword changes before that, the write is sent without
    conversion.

    The object does not own the client. Both may be deleted at any time, even in a handler. An
    aggregate cannot be written.
*/

/*!
    \enum pellix::extras::PKeywordWrite::State

    This enum describes the outcome of the last write.

    \value Idle nothing has been written yet
    \value Pending sent, or about to be sent
    \value Taken the keyword has the requested value
    \value Changed the keyword has another value
    \value Refused the server refused it
    \value TimedOut there was no reply in time, or the source of the keyword was lost; the outcome
   is not known \value NotSent nothing was sent
*/

/*!
    \property pellix::extras::PKeywordWrite::client
    \brief the client that is connected to the server. The default is \c nullptr. The object does
    not own the client.

    Setting another client sets state to \c Idle. If the client is destroyed, a pending write ends.
*/

/*!
    \property pellix::extras::PKeywordWrite::keyword
    \brief the keyword to write. The default is an empty string.

    Setting another keyword sets state to \c Idle. A waiting value of the previous keyword is sent.
*/

/*!
    \property pellix::extras::PKeywordWrite::confirmWithin
    \brief the time to wait for an answer, in milliseconds. The default is 6000.

    The time starts when a write is requested, and again when it is sent. With 0 or less, there is
    no limit. A new value applies to the next write.
*/

/*!
    \property pellix::extras::PKeywordWrite::typed
    \brief whether values are converted to the type of the keyword. The default is \c true.

    If it is \c false, values are sent unchanged, and the server decides.
*/

/*!
    \property pellix::extras::PKeywordWrite::ready
    \brief whether there is a connection and the first event of the keyword has arrived.
*/

/*!
    \property pellix::extras::PKeywordWrite::current
    \brief the current value of the keyword. It is invalid (undefined) unless ready.
*/

/*!
    \property pellix::extras::PKeywordWrite::state
    \brief the outcome of the last write.
*/

/*!
    \property pellix::extras::PKeywordWrite::pending
    \brief whether state is \c Pending.
*/

/*!
    \property pellix::extras::PKeywordWrite::asked
    \brief the last requested value, or the amount of a relative write.

    This is the value as it was sent, converted to the type of the keyword. It is invalid
    (undefined) if state is \c Idle, or if the value cannot be sent.
*/

/*!
    \property pellix::extras::PKeywordWrite::relative
    \brief whether the last write was a relative write with add().
*/

/*!
    \property pellix::extras::PKeywordWrite::received
    \brief the value that arrived as the answer. It is invalid (undefined) if there was none.
*/

/*!
    \property pellix::extras::PKeywordWrite::unchanged
    \brief whether the write was taken without an event, because the keyword already had the value.
*/

/*!
    \property pellix::extras::PKeywordWrite::elapsed
    \brief the time in milliseconds from sending to the answer or the timeout, and 0 otherwise.
*/

/*!
    \property pellix::extras::PKeywordWrite::problem
    \brief the reason why a write was not sent, was refused, or timed out, as text for the user. It
    is empty otherwise.
*/

/*!
    \fn void PKeywordWrite::currentChanged()

    This signal is emitted after each event of the keyword, and when the connection is established
    or lost.
*/

/*!
    \fn void PKeywordWrite::stateChanged()

    This signal is emitted when state or the associated properties may have changed.
*/

/*!
    \fn void PKeywordWrite::finished()

    This signal is emitted when the outcome of the last write is known, after stateChanged().
*/

/*!
    Constructs an object without a client and a keyword. If \a parent is given, it owns the object.
*/
PKeywordWrite::PKeywordWrite(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this))
{
    d->patience.setSingleShot(true);
    d->hold.setSingleShot(true);
    d->hold.setInterval(longestHold);
    connect(&d->patience, &QTimer::timeout, this, [this] { d->onPatience(); });
    connect(&d->hold, &QTimer::timeout, this, [this] { d->advance(); });
    connect(&d->subscriber, &PSubscriber::publisherActiveChanged, this, [this] { d->onLink(); });
    connect(&d->subscriber, &PSubscriber::valueChanged, this,
            [this](const QVariant &published) { d->onEvent(published.value<PKeywordValue>()); });
}

/*!
    Destroys the object. A waiting value is sent without waiting for its outcome.
*/
PKeywordWrite::~PKeywordWrite()
{
    d->subscriber.disconnect(this);
    disconnect(d->destroyedConnection);
    disconnect(d->indexConnection);
    d->flush();
}

PKeywordClient *PKeywordWrite::client() const
{
    return d->client;
}

void PKeywordWrite::setClient(PKeywordClient *client)
{
    if (client == d->client)
        return;
    const QPointer<PKeywordWrite> guard(this);
    const QPointer<PKeywordClient> alive(client);
    d->flush();
    if (!guard)
        return;
    disconnect(d->destroyedConnection);
    disconnect(d->indexConnection);
    d->forget();
    d->client = alive;
    if (alive) {
        d->destroyedConnection =
            connect(client, &QObject::destroyed, this, [this] { d->onClientDestroyed(); });
        d->indexConnection = connect(client, &PKeywordClient::keyIndexResponse, this,
                                     [this](const QUuid &id) { d->onIndexResponse(id); });
    }
    d->rewires = true; // the subscription follows below, once
    d->subscriber.setPublisher(alive ? alive->publisher() : nullptr);
    if (!guard)
        return;
    d->rewires = false;
    d->askServer();
    if (guard)
        Q_EMIT clientChanged();
    if (guard)
        Q_EMIT currentChanged();
    if (guard)
        d->announce();
}

QString PKeywordWrite::keyword() const
{
    return d->keyword;
}

void PKeywordWrite::setKeyword(const QString &keyword)
{
    if (keyword == d->keyword)
        return;
    const QPointer<PKeywordWrite> guard(this);
    d->flush();
    if (!guard)
        return;
    d->forget();
    d->keyword = keyword;
    d->subscriber.setTopic(keyword);
    if (!guard)
        return;
    d->askServer();
    if (guard)
        Q_EMIT keywordChanged();
    if (guard)
        Q_EMIT currentChanged();
    if (guard)
        d->announce();
}

int PKeywordWrite::confirmWithin() const
{
    return d->confirmWithin;
}

void PKeywordWrite::setConfirmWithin(int milliseconds)
{
    if (milliseconds == d->confirmWithin)
        return;
    d->confirmWithin = milliseconds;
    Q_EMIT confirmWithinChanged();
}

bool PKeywordWrite::isTyped() const
{
    return d->typed;
}

void PKeywordWrite::setTyped(bool typed)
{
    if (typed == d->typed)
        return;
    d->typed = typed;
    Q_EMIT typedChanged();
}

bool PKeywordWrite::isReady() const
{
    return d->known;
}

QVariant PKeywordWrite::current() const
{
    return d->last.value;
}

/*!
    Returns the last event of the keyword, or a default-constructed event unless ready.
*/
PKeywordValue PKeywordWrite::lastEvent() const
{
    return d->last;
}

PKeywordWrite::State PKeywordWrite::state() const
{
    return d->state;
}

bool PKeywordWrite::isPending() const
{
    return d->state == Pending;
}

QVariant PKeywordWrite::asked() const
{
    return d->asked.value;
}

bool PKeywordWrite::isRelative() const
{
    return d->asked.relative;
}

QVariant PKeywordWrite::received() const
{
    return d->received;
}

bool PKeywordWrite::isUnchanged() const
{
    return d->unchanged;
}

int PKeywordWrite::elapsed() const
{
    return int(qMin(d->elapsed, qint64(std::numeric_limits<int>::max())));
}

QString PKeywordWrite::problem() const
{
    return d->problem;
}

/*!
    Requests that the server set the keyword to \a value. While another write is pending, the value
    waits for its outcome.
*/
void PKeywordWrite::set(const QVariant &value)
{
    d->ask(value, false);
}

/*!
    Requests that the server add \a amount to the keyword. For a Boolean keyword, \c true toggles
    it. If two clients add 5 at the same time, the sum is 10.
*/
void PKeywordWrite::add(const QVariant &amount)
{
    d->ask(amount, true);
}

/*!
    Sets state to \c Idle. A waiting value is sent, and the outcome of the last write is no longer
    tracked.
*/
void PKeywordWrite::reset()
{
    const QPointer<PKeywordWrite> guard(this);
    d->flush();
    if (!guard)
        return;
    const PKeywordValue last = d->last;
    const bool known = d->known;
    const bool refusedBefore = d->refusedBefore;
    d->forget();
    d->last = last;
    d->known = known;
    d->refusedBefore = refusedBefore;
    d->announce();
}

QString PKeywordWrite::Private::notLinked() const
{
    if (!client)
        return PKeywordWrite::tr("there is no client");
    return keyword.isEmpty() ? PKeywordWrite::tr("there is no keyword")
                             : PKeywordWrite::tr("there is no connection");
}

void PKeywordWrite::Private::askServer()
{
    if (isLinked())
        client->sendKeyCreate(keyword);
}

void PKeywordWrite::Private::onLink()
{
    if (rewires)
        return;
    if (isLinked()) {
        askServer();
        return;
    }
    last = {};
    known = false;
    refusedBefore = false;
    answer = Answer::None;
    fence = {};
    earlierFence = {};
    lost = out.has_value();
    if (queued) {
        queued.reset();
        out.reset();
        conclude(NotSent, PKeywordWrite::tr("the connection was lost"));
    }
    const QPointer<PKeywordWrite> guard(q);
    Q_EMIT q->currentChanged();
    if (guard)
        announce();
}

void PKeywordWrite::Private::onClientDestroyed()
{
    if (out)
        settle(TimedOut, PKeywordWrite::tr("the connection was lost"));
    const QPointer<PKeywordWrite> guard(q);
    Q_EMIT q->clientChanged();
    if (guard)
        announce();
}

// Evaluated before the event is signaled: handlers may write again.
void PKeywordWrite::Private::onEvent(const PKeywordValue &event)
{
    const PKeywordValue previous = std::exchange(last, event);
    const bool wasKnown = std::exchange(known, true);
    judge(event, previous, wasKnown);
    const QPointer<PKeywordWrite> guard(q);
    Q_EMIT q->currentChanged();
    if (guard)
        proceed();
}

void PKeywordWrite::Private::onIndexResponse(const QUuid &id)
{
    if (sendsFence)
        answeredInside.append(id);
    if (id.isNull())
        return;
    if (id == earlierFence) {
        earlierFence = {};
        answer = Answer::None; // caused by the previous write
    } else if (id == fence) {
        onFence();
    }
}

void PKeywordWrite::Private::ask(const QVariant &given, bool relative)
{
    const quint32 request = ++requests;
    const QPointer<PKeywordWrite> guard(q);
    const WrittenValue plain = plainValue(given);
    QString obstacle = isLinked() ? plain.problem : notLinked();
    const Request wish {plain.value, relative};
    if (obstacle.isEmpty() && known)
        obstacle = isUnknown(last) ? PKeywordWrite::tr("there is no such keyword")
                                   : converted(wish).problem;
    const std::optional<Request> waiting = queued;
    if (obstacle.isEmpty())
        obstacle = enqueue(wish);
    if (!obstacle.isEmpty()) {
        queued = waiting;
        flush(); // the previous request was valid
        if (!guard || request != requests)
            return;
        out.reset();
    }
    asked = queued ? *queued : wish;
    received = {};
    unchanged = false;
    elapsed = 0;
    if (!obstacle.isEmpty()) {
        conclude(NotSent, obstacle);
        announce();
        return;
    }
    state = Pending;
    problem.clear();
    isOver = false;
    hasNews = true;
    if (!out && confirmWithin > 0)
        patience.start(confirmWithin);
    announce();
    if (guard && request == requests)
        advance();
}

// Returns why it cannot be, if so.
QString PKeywordWrite::Private::enqueue(const Request &request)
{
    if (!queued || !request.relative) {
        queued = request;
        return {};
    }
    // A waiting relative value may be a Boolean toggle: accumulating toggles it as well.
    const WrittenValue before = known ? converted(*queued) : WrittenValue {queued->value, {}};
    const WrittenValue amount = known ? converted(request) : WrittenValue {request.value, {}};
    const WrittenValue sum = sumOf(before.value, amount.value);
    if (!sum.isGood())
        return sum.problem;
    if (!sum.value.isValid())
        return PKeywordWrite::tr("nothing can be added to the value that is waiting to be written");
    queued->value = sum.value;
    return {};
}

WrittenValue PKeywordWrite::Private::converted(const Request &request) const
{
    if (!typed)
        return {request.value, {}};
    return request.relative ? amountForType(request.value, last.type)
                            : valueForType(request.value, last.type);
}

// Whether it need not wait for the outcome of the previous write any longer.
bool PKeywordWrite::Private::mayReplace(const Request &request) const
{
    return !request.relative && !hold.isActive();
}

void PKeywordWrite::Private::advance()
{
    if (!queued || !known || !isLinked() || (out && !mayReplace(*queued)))
        return;
    Request next = *std::exchange(queued, std::nullopt);
    WrittenValue value = isUnknown(last)
        ? WrittenValue {{}, PKeywordWrite::tr("there is no such keyword")}
        : converted(next);
    if (value.isGood()) {
        next.value = value.value;
        if (next.relative)
            value = sumOf(summand(last), next.value);
    }
    if (!value.isGood()) {
        out.reset();
        conclude(NotSent, value.problem);
        announce();
        return;
    }
    wanted = value.value;
    send(next);
}

void PKeywordWrite::Private::send(const Request &request)
{
    if (!out)
        earlierFence = {};
    else if (!fence.isNull())
        earlierFence = fence;
    fence = {};
    out = request;
    asked = request;
    lost = false;
    wasConnected = last.connected;
    answer = Answer::None;
    sinceSent.start();
    hold.start();
    if (confirmWithin > 0)
        patience.start(confirmWithin);

    // The reply may arrive inside the call, and handlers may do anything.
    const quint32 sending = ++sends;
    const QPointer<PKeywordWrite> guard(q);
    const bool isTaken = request.relative ? client->sendKeyUpdateRelative(keyword, request.value)
                                          : client->sendKeyUpdate(keyword, request.value);
    if (!guard || sending != sends || !out)
        return;
    if (!isTaken) {
        settle(NotSent, PKeywordWrite::tr("the client did not accept the command"));
        announce();
    } else if (!lost && isLinked()) {
        sendFence();
    }
}

void PKeywordWrite::Private::sendFence()
{
    const quint32 sending = sends;
    const QPointer<PKeywordWrite> guard(q);
    answeredInside.clear();
    sendsFence = true;
    const QUuid id =
        client->sendKeyIndex(keyword, PKeywordValueType::KVT_NOPROP, PKeywordValueAccess::KVA_NONE);
    if (!guard)
        return;
    sendsFence = false;
    if (sending != sends || !out || lost)
        return;
    fence = id;
    if (answeredInside.contains(id))
        onFence();
}

// Sends the waiting value without tracking its outcome.
void PKeywordWrite::Private::flush()
{
    if (!queued)
        return;
    const Request next = *std::exchange(queued, std::nullopt);
    if (!isLinked())
        return;
    const WrittenValue value = known ? converted(next) : WrittenValue {next.value, {}};
    if (!value.isGood())
        return;
    ++sends;
    if (next.relative)
        client->sendKeyUpdateRelative(keyword, value.value);
    else
        client->sendKeyUpdate(keyword, value.value);
}

void PKeywordWrite::Private::forget()
{
    patience.stop();
    hold.stop();
    ++sends;
    ++requests;
    last = {};
    known = false;
    refusedBefore = false;
    queued.reset();
    out.reset();
    wanted = {};
    lost = false;
    answer = Answer::None;
    fence = {};
    earlierFence = {};
    hasNews = hasNews || state != Idle;
    isOver = false;
    state = Idle;
    asked = {};
    received = {};
    unchanged = false;
    elapsed = 0;
    problem.clear();
}

// A relative write adds to the value that others write in the meantime.
bool PKeywordWrite::Private::matches(const QVariant &value, const PKeywordValue &previous) const
{
    if (!out->relative)
        return isSameValue(wanted, value);
    if (!wanted.isValid())
        return true; // the value to which it adds is not known
    const WrittenValue sum = sumOf(summand(previous), out->value);
    return sum.value.isValid() && isSameValue(sum.value, value);
}

bool PKeywordWrite::Private::isRefusal(const PKeywordValue &event,
                                       const PKeywordValue &previous) const
{
    if (!event.error)
        return false;
    if (!previous.error)
        return true;
    // If a keyword was already in error, it stays so; a refusal repeats the value. An error caused
    // by a refusal ends when a write is taken, even one with the same value.
    const bool repeats = isSameValue(event.value, previous.value);
    const bool isWanted = matches(event.value, previous);
    return refusedBefore ? repeats || isWanted : repeats && !isWanted;
}

void PKeywordWrite::Private::judge(const PKeywordValue &event, const PKeywordValue &previous,
                                   bool wasKnown)
{
    if (!event.error)
        refusedBefore = false;
    if (!out)
        return;
    if (lost) {
        // It may have arrived before the connection was lost. The outcome remains unknown.
        if (!out->relative && !event.error && matches(event.value, previous)) {
            received = event.value;
            settle(Taken);
        }
        return;
    }
    if (!wasKnown)
        return;
    if (isRefusal(event, previous)) {
        refusedBefore = true;
        // A server that loses the source in the meantime cannot know whether it was executed.
        answer = wasConnected && !event.connected ? Answer::SourceLost : Answer::Error;
        answerValue = event.value;
        if (earlierFence.isNull())
            decide(false);
    } else if (matches(event.value, previous)) {
        received = event.value;
        settle(Taken);
    } else {
        answer = Answer::Other;
        answerValue = event.value;
    }
}

// A server that processes commands in order has sent all effects of the write.
void PKeywordWrite::Private::onFence()
{
    fence = {};
    earlierFence = {};
    decide(false);
    proceed();
}

void PKeywordWrite::Private::onPatience()
{
    if (out) {
        decide(true);
    } else if (queued) {
        queued.reset();
        conclude(TimedOut, PKeywordWrite::tr("the server has not sent the value of the keyword"));
    }
    proceed();
}

// Based on the events so far.
void PKeywordWrite::Private::decide(bool timeIsUp)
{
    if (answer != Answer::None) {
        received = answerValue;
        if (answer == Answer::SourceLost)
            settle(TimedOut, PKeywordWrite::tr("outcome not known: the source was lost"));
        else if (answer == Answer::Error)
            settle(Refused, PKeywordWrite::tr("the server refused it"));
        else
            settle(Changed);
    } else if (known && !lost && !refusedBefore && wanted.isValid()
               && isSameValue(wanted, last.value)) {
        unchanged = true;
        settle(Taken);
    } else if (timeIsUp) {
        settle(TimedOut,
               lost ? PKeywordWrite::tr("the connection was lost")
                    : PKeywordWrite::tr("no reply within %1 s")
                          .arg(QLocale().toString(confirmWithin / 1000.0)));
    }
}

// The outcome of the sent value is known. If a newer value is waiting, it does not matter.
void PKeywordWrite::Private::settle(State outcome, const QString &reason)
{
    out.reset();
    fence = {};
    earlierFence = {};
    answer = Answer::None;
    hold.stop();
    if (queued) {
        received = {};
        unchanged = false;
        return;
    }
    elapsed = outcome == NotSent ? 0 : sinceSent.elapsed();
    conclude(outcome, reason);
}

void PKeywordWrite::Private::conclude(State outcome, const QString &reason)
{
    patience.stop();
    hold.stop();
    state = outcome;
    problem = reason;
    hasNews = true;
    isOver = true;
}

void PKeywordWrite::Private::announce()
{
    if (!hasNews)
        return;
    hasNews = false;
    const bool ended = std::exchange(isOver, false);
    const quint32 request = requests;
    const QPointer<PKeywordWrite> guard(q);
    Q_EMIT q->stateChanged();
    if (guard && ended && request == requests)
        Q_EMIT q->finished();
}

void PKeywordWrite::Private::proceed()
{
    const QPointer<PKeywordWrite> guard(q);
    announce();
    if (guard && !out)
        advance();
}

} // namespace pellix::extras
