// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/writing/keywordwrite.h"

#include "pubsub/publisher.h"

#include <chrono>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace pellix::extras {

namespace {

constexpr auto longestWait = 3s;

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

// An int that went out may come back as a double, and the other way round; but a text is no number.
bool isSame(const QVariant &sent, const QVariant &received)
{
    if (isNumber(sent) != isNumber(received))
        return false;
    return isNumber(sent) ? sent.toDouble() == received.toDouble() : sent == received;
}

} // namespace

PKeywordWrite::PKeywordWrite(QObject *parent) : QObject(parent)
{
    patience.setSingleShot(true);
    patience.setInterval(longestWait);
    connect(&patience, &QTimer::timeout, this,
            [this] { finish(!isRelative && isSame(sentValue, lastValue) ? Unchanged : NoAnswer); });
    connect(&subscriber, &PSubscriber::valueChanged, this, &PKeywordWrite::onEvent);
}

PKeywordWrite::~PKeywordWrite()
{
    subscriber.disconnect(this);
}

PKeywordClient *PKeywordWrite::client() const
{
    return target;
}

void PKeywordWrite::setClient(PKeywordClient *client)
{
    if (client == target)
        return;
    target = client;
    reset();
    subscriber.setPublisher(client ? client->publisher() : nullptr);
    Q_EMIT clientChanged();
}

QString PKeywordWrite::keyword() const
{
    return const_cast<PSubscriber &>(subscriber).topic();
}

void PKeywordWrite::setKeyword(const QString &keyword)
{
    if (keyword == this->keyword())
        return;
    reset();
    subscriber.setTopic(keyword);
    Q_EMIT keywordChanged();
}

PKeywordWrite::Outcome PKeywordWrite::outcome() const
{
    return result;
}

bool PKeywordWrite::relative() const
{
    return isRelative;
}

QVariant PKeywordWrite::sent() const
{
    return sentValue;
}

QVariant PKeywordWrite::received() const
{
    return receivedValue;
}

int PKeywordWrite::latency() const
{
    return static_cast<int>(answerTime);
}

void PKeywordWrite::write(const QVariant &value)
{
    if (begin(value, false) && !target->sendKeyUpdate(keyword(), value))
        finish(NotSent);
}

void PKeywordWrite::writeRelative(const QVariant &value)
{
    if (begin(value, true) && !target->sendKeyUpdateRelative(keyword(), value))
        finish(NotSent);
}

void PKeywordWrite::reset()
{
    patience.stop();
    result = Idle;
    lastValue = {};
    sentValue = {};
    receivedValue = {};
    answerTime = 0;
    Q_EMIT outcomeChanged();
}

bool PKeywordWrite::begin(const QVariant &value, bool relative)
{
    isRelative = relative;
    sentValue = value;
    receivedValue = {};
    answerTime = 0;
    sinceWrite.start();
    // The transports take a command also while there is no link, and lose it.
    const bool linked = target && subscriber.publisherActive();
    result = linked ? Waiting : NotSent;
    if (linked)
        patience.start();
    Q_EMIT outcomeChanged();
    return linked;
}

void PKeywordWrite::onEvent(const QVariant &published)
{
    const auto event = published.value<PKeywordValue>();
    lastValue = event.value;
    if (result != Waiting)
        return;
    receivedValue = event.value;
    if (event.error)
        finish(Refused);
    else if (isRelative || isSame(sentValue, event.value))
        finish(Taken);
    else
        finish(Different);
}

void PKeywordWrite::finish(Outcome outcome)
{
    patience.stop();
    answerTime = sinceWrite.isValid() ? sinceWrite.elapsed() : 0;
    result = outcome;
    Q_EMIT outcomeChanged();
}

} // namespace pellix::extras
