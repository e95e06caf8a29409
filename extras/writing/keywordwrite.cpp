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

// While a slider moves: how long its newest value waits for what became of the one before.
constexpr auto longestHold = 100ms;

// As a server answers for a keyword that it does not have.
bool isUnknown(const PKeywordValue &event)
{
    return !event.connected && event.type == PKeywordValueType::KVT_NOPROP
        && isSameValue(event.value, {});
}

// The number that is added to: a whole one of a double is none, however it came.
QVariant summand(const PKeywordValue &event)
{
    const bool isDouble =
        event.type == PKeywordValueType::KVT_DOUBLE && event.value.typeId() == QMetaType::LongLong;
    return isDouble ? QVariant(event.value.toDouble()) : event.value;
}

} // namespace

/*
    Nothing acknowledges a write but an event of the keyword, and events come for other reasons,
   too. What tells them apart:

    - An event with the value that is wanted is taken for the answer.
    - An index query is sent behind each write, the fence. A server that works in order answers it
      behind all that the write caused: if there was no event by then, and the keyword had the value
      before, nothing was to be changed; if there was one with another value, that is what became of
      it. What comes before the answer to the fence of an earlier write may belong to that one.
    - A server that does not work in order answers the fence early. So its answer decides only over
      what had come until then. Later, only the value wanted, an error or the end of the time
   decide.
*/
class PKeywordWrite::Private
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
        Error
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
    bool refusedBefore = false; // the error in last is due to a write from here

    // What is shown.
    State state = Idle;
    Request asked;
    QVariant received;
    bool unchanged = false;
    qint64 elapsed = 0;
    QString problem;

    std::optional<Request> queued; // not sent yet
    std::optional<Request> out; // sent, and not known what became of it
    QVariant wanted; // what should come, if that is known
    bool lost = false; // the connection, since it was sent
    Answer answer = Answer::None; // what came, and may be the answer
    QVariant answerValue;
    QUuid fence; // to be answered behind it
    QUuid earlierFence; // of the write before, if that one was not waited for
    bool sendsFence = false;
    QList<QUuid> answeredInside; // while it is sent

    QTimer patience;
    QTimer hold;
    QElapsedTimer sinceSent;
    quint32 sends = 0; // to notice what happens inside of sending
    quint32 requests = 0;
    bool rewires = false;
    bool hasNews = false; // a state that has not been announced
    bool isOver = false; // and is an end
};

/*!
    \class pellix::extras::PKeywordWrite
    \inmodule PellixClientKeyword
    \inheaderfile extras/writing/keywordwrite.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordWrite class writes a keyword and tells what became of it.

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

    The protocol acknowledges nothing; an event of the keyword is all that tells what became of a
    write. This class watches the keyword, writes, and compares what comes. state() is one of these:

    \table
    \header \li State \li Meaning
    \row \li \c Idle \li nothing was written yet, or reset() was called
    \row \li \c Pending \li sent, or about to be, and not known what became of it
    \row \li \c Taken \li the keyword has the value asked for; with unchanged, it had it before
    \row \li \c Changed \li the keyword got another value than the one asked for, which is received
    \row \li \c Refused \li the server refused it: the error flag came
    \row \li \c TimedOut \li nothing that could be the answer came in time, see confirmWithin; the
             write may have arrived
    \row \li \c NotSent \li nothing was sent; problem says why: there is no connection, or the value
             does not fit the keyword
    \endtable

    A number is the same whether it comes back as a whole one, in double or in single precision.
    Another client's change cannot be distinguished from the server's own in every case: when
    another value comes between the write and the server's answer to a query that was sent behind
    it, and the value asked for does not, that is \c Changed. When the value asked for comes at all,
    it is \c Taken, whoever wrote it. Of a relative write, the value expected is the sum with the
    one before, whatever other clients add meanwhile.

    \section1 Several writes

    While one is pending, set() replaces what has not been sent yet: the newest value is sent as
   soon as it is known what became of the one before, and after 100 ms at the latest. There is never
   more than one that waits, and the last one is always sent, also when the object is destroyed or
   gets another keyword. A slider may call it at each move. state stays \c Pending meanwhile and
   ends with the outcome of the last. add() adds up what waits, and what is relative waits for the
   one before to be known, so that no amount is lost or counted twice.

    \section1 Values

    Null, booleans, numbers, texts, lists and maps are written, also as arrays and objects of
    JavaScript. A Date is written as JSON.stringify() does, as "2026-11-22T09:30:00.000Z"; a URL, a
    color and the like as their text. undefined, a function, an object of QML, NaN, infinity, a
    whole number beyond 64 bits, and a list or map that contains itself or one of these, are not
   sent.

    The value becomes one of the keyword's type, which its first event tells. Texts are read as
    numbers and as "true" and "false" are, and with the digits, signs and decimal point of the
   user's language, but without groups, so what is in a text field can be written as it is: "007" to
   a keyword of the type int is 7, "7.5" is not sent. A whole number that a double cannot hold
   exactly is not sent to a keyword of type double. 0 and 1 stand for \c false and \c true, and the
   other way round. A keyword of type string takes the text of a number or bool; one of type object
   takes a list, a map, null, or a text that is JSON for one. With typed \c false the server
   decides.

    A write is sent once the server has told the keyword's value, which it does when asked for it:
    ready is \c true then. A write that cannot wait for that, since the object is destroyed or gets
    another keyword, is sent as it is.

    The client is not owned, and may be deleted at any time, as may the object, also in a handler.
    An aggregated keyword cannot be written.
*/

/*!
    \enum pellix::extras::PKeywordWrite::State

    What became of the last write.

    \value Idle nothing was written yet
    \value Pending sent, or about to be sent
    \value Taken the keyword has the value asked for
    \value Changed the keyword got another value
    \value Refused the server refused it
    \value TimedOut no answer in time
    \value NotSent nothing was sent
*/

/*!
    \property pellix::extras::PKeywordWrite::client
    \brief the client whose server holds the keyword; \c nullptr by default. Not owned.

    Another client makes state \c Idle. When the client is destroyed, a pending write ends.
*/

/*!
    \property pellix::extras::PKeywordWrite::keyword
    \brief the keyword to be written; empty by default.

    Another keyword makes state \c Idle; what still waits to be sent to the one before is sent.
*/

/*!
    \property pellix::extras::PKeywordWrite::confirmWithin
    \brief how long an answer is waited for, in milliseconds; 6000 by default.

    The time starts when a write is asked for, and anew when it is sent. 0 or less is no limit.
    Another value holds for the next write.
*/

/*!
    \property pellix::extras::PKeywordWrite::typed
    \brief whether a value is converted to the type of the keyword; \c true by default.

    With \c false it is sent as it is, and the server decides.
*/

/*!
    \property pellix::extras::PKeywordWrite::ready
    \brief whether there is a connection and the server has told the keyword's value.
*/

/*!
    \property pellix::extras::PKeywordWrite::current
    \brief the value that the keyword has; not valid (undefined) unless ready.
*/

/*!
    \property pellix::extras::PKeywordWrite::state
    \brief what became of the last write.
*/

/*!
    \property pellix::extras::PKeywordWrite::pending
    \brief whether state is \c Pending.
*/

/*!
    \property pellix::extras::PKeywordWrite::asked
    \brief the value asked for last, or the amount if it is relative.

    It is the value as it was sent: of the keyword's type. Not valid (undefined) at \c Idle, and for
    a value that cannot be sent.
*/

/*!
    \property pellix::extras::PKeywordWrite::relative
    \brief whether the last write was asked for by add().
*/

/*!
    \property pellix::extras::PKeywordWrite::received
    \brief the value that came as the answer; not valid (undefined) if none did.
*/

/*!
    \property pellix::extras::PKeywordWrite::unchanged
    \brief whether the write was taken without an event, as the keyword had the value already.
*/

/*!
    \property pellix::extras::PKeywordWrite::elapsed
    \brief the milliseconds from sending to the answer, or to the end of the time; else 0.
*/

/*!
    \property pellix::extras::PKeywordWrite::problem
    \brief why a write was not sent, was refused, or timed out, for the user; else empty.
*/

/*!
    \fn void PKeywordWrite::currentChanged()

    This signal is emitted after each event of the keyword, and when the connection comes or goes.
*/

/*!
    \fn void PKeywordWrite::stateChanged()

    This signal is emitted when state or what belongs to it may have changed.
*/

/*!
    \fn void PKeywordWrite::finished()

    This signal is emitted when it is known what became of the last write, after stateChanged().
*/

/*!
    Constructs an object that watches and writes nothing yet. \a parent owns it, if given.
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
    Destroys the object. A value that waits is sent; what became of it is not waited for.
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
    d->rewires = true; // the server is asked below, once
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
    Returns the last event of the keyword; a default one unless ready.
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
    Asks the server to set the keyword to \a value, or has it wait for the write before.
*/
void PKeywordWrite::set(const QVariant &value)
{
    d->ask(value, false);
}

/*!
    Asks the server to add \a amount to the keyword; where the keyword is a bool, \c true toggles
    it. Two clients that add 5 at the same time have added 10.
*/
void PKeywordWrite::add(const QVariant &amount)
{
    d->ask(amount, true);
}

/*!
    Makes state \c Idle. A value that waits is sent, and what becomes of the last write is not
    followed any more.
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

// Judged before anybody hears of the event: handlers may write anew.
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
        answer = Answer::None; // it was the earlier write's
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
        flush(); // what was asked for before was good
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
    // What waits and is relative may be a bool that toggles: adding up does so, too.
    const WrittenValue before = known ? converted(*queued) : WrittenValue {queued->value, {}};
    const WrittenValue amount = known ? converted(request) : WrittenValue {request.value, {}};
    const WrittenValue sum = sumOf(before.value, amount.value);
    if (!sum.isGood())
        return sum.problem;
    if (!sum.value.isValid())
        return PKeywordWrite::tr("nothing can be added to what is still to be written");
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

// Whether it need not wait any more for what becomes of the one before.
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
    answer = Answer::None;
    sinceSent.start();
    hold.start();
    if (confirmWithin > 0)
        patience.start(confirmWithin);

    // The server may answer inside, and handlers may do anything.
    const quint32 sending = ++sends;
    const QPointer<PKeywordWrite> guard(q);
    const bool isTaken = request.relative ? client->sendKeyUpdateRelative(keyword, request.value)
                                          : client->sendKeyUpdate(keyword, request.value);
    if (!guard || sending != sends || !out)
        return;
    if (!isTaken) {
        settle(NotSent, PKeywordWrite::tr("the client does not send it"));
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

// Sends what waits, without following it.
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

// What others write meanwhile is what a relative write adds to.
bool PKeywordWrite::Private::matches(const QVariant &value, const PKeywordValue &previous) const
{
    if (!out->relative)
        return isSameValue(wanted, value);
    if (!wanted.isValid())
        return true; // what it adds to is not known
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
    // A keyword in error to begin with stays so; its refusal repeats the value. An error that is
    // due to a refusal ends when a write is taken, also one of the same value.
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
        // It may have arrived before the connection was lost. Nothing else can be said any more.
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
        answer = Answer::Error;
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

// All that a server that works in order had to say of the write has been said.
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
        conclude(TimedOut, PKeywordWrite::tr("the server does not tell the keyword's value"));
    }
    proceed();
}

// By what came so far.
void PKeywordWrite::Private::decide(bool timeIsUp)
{
    if (answer != Answer::None) {
        received = answerValue;
        if (answer == Answer::Error)
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
                    : PKeywordWrite::tr("nothing came back within %1 s")
                          .arg(QLocale().toString(confirmWithin / 1000.0)));
    }
}

// It is known what became of what was sent. If something newer waits, that does not matter.
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
