// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "extras/extrasglobal.h"
#include "pubsub/subscriber.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtQml/qqmlregistration.h>

namespace pellix::extras {

// Writes a keyword and watches what comes back. The protocol has no acknowledgement: the next event
// of the keyword is all that tells what became of a write.
class PELLIXCLIENT_EXTRAS_EXPORT PKeywordWrite : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(Outcome outcome READ outcome NOTIFY outcomeChanged)
    Q_PROPERTY(bool relative READ relative NOTIFY outcomeChanged)
    // Qt 6.4 compiles "sent ?? 0" and comparisons wrongly; as an argument of a function it is
    // right.
    Q_PROPERTY(QVariant sent READ sent NOTIFY outcomeChanged)
    Q_PROPERTY(QVariant received READ received NOTIFY outcomeChanged)
    Q_PROPERTY(int latency READ latency NOTIFY outcomeChanged)
    QML_ELEMENT

public:
    enum Outcome {
        Idle, // nothing was written yet
        Waiting, // sent, and nothing has come back
        Taken, // the event has the value that was sent; for a relative write, a value without error
        Different, // the event has another value than the one sent
        Refused, // the event has the error flag
        Unchanged, // no event came, and the keyword has had that value already
        NoAnswer, // no event came within the time
        NotSent, // there is no link to send it over
    };
    Q_ENUM(Outcome)

    explicit PKeywordWrite(QObject *parent = nullptr);
    ~PKeywordWrite() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);
    QString keyword() const;
    void setKeyword(const QString &keyword);

    Outcome outcome() const;
    bool relative() const;
    QVariant sent() const;
    QVariant received() const;
    int latency() const; // milliseconds from the write to what came back

    Q_INVOKABLE void write(const QVariant &value);
    Q_INVOKABLE void writeRelative(const QVariant &value);

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void outcomeChanged();

private:
    void reset();
    bool begin(const QVariant &value, bool relative);
    void onEvent(const QVariant &published);
    void finish(Outcome outcome);

    QPointer<pellix::client::PKeywordClient> target;
    pellix::client::PSubscriber subscriber;
    QTimer patience;
    QElapsedTimer sinceWrite;
    Outcome result = Idle;
    bool isRelative = false;
    QVariant lastValue; // of the last event
    QVariant sentValue;
    QVariant receivedValue;
    qint64 answerTime = 0;
};

} // namespace pellix::extras
