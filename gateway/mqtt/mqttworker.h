// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/mqttlink.h"
#include "gateway/mqtt/reportlist.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/source.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QSet>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

QT_BEGIN_NAMESPACE
class QTimer;
QT_END_NAMESPACE

namespace pellix::gateway {

// A queue of reports and state changes from the thread of a worker to the thread of its source.
class MqttNews
{
public:
    struct Item
    {
        enum class Kind {
            Reports,
            State,
            Answer
        };
        Kind kind = Kind::Reports;
        ReportList reports; // set when the item is added
        SourceReport report; // set when the item is taken
        Source::State state = Source::State::Stopped;
        QString reason;
        quint64 write = 0;
        Source::Outcome outcome = Source::Outcome::Refused;
    };

    // Returns whether the reader must be notified. The number of queued reports is limited: if the
    // reader is slow, only the newest value of each keyword is kept.
    bool add(Item item);
    // Returns the next item, or a slice of it. If the queue is empty, it returns nothing, and the
    // reader is notified of the next item.
    std::optional<Item> take(qsizetype most);

    struct Counters
    {
        std::atomic<quint64> messages {0};
        std::atomic<quint64> bytes {0};
        std::atomic<quint64> writes {0};
        std::atomic<quint64> unheardWrites {0};
        std::atomic<quint64> unreadable {0};
        std::atomic<quint64> misfits {0};
        std::atomic<quint64> conflicts {0};
        std::atomic<quint64> skipped {0};
        std::atomic<quint64> connections {0};
        std::atomic<quint64> refusedFilters {0};
    };
    Counters counters;

private:
    std::mutex mutex;
    std::deque<Item> items;
    qsizetype compactAt = 0;
    bool isTold = false;
};

// The part of a source that lives in a separate thread: the link and the mapping.
class MqttWorker : public QObject
{
    Q_OBJECT

public:
    MqttWorker(const MqttOptions &options, int qos, const MappingOptions &mapping,
               const std::shared_ptr<MqttNews> &news);
    ~MqttWorker() override;

    void start();
    void stop();
    void setMapping(const MappingOptions &mapping, int qos);
    void write(const SourceWrite &write);
    QList<ServedTopic> served() const;

Q_SIGNALS:
    void newsAdded();

private:
    void takeMessage(const MqttMessage &message);
    void onStateChanged(MqttLink::State state);
    void onSubscribed();
    void onAnswered(int number);
    void subscribe(const QByteArrayList &filters,
                   MqttLink::Retained retained = MqttLink::Retained::Sent);
    void onFilterRefused(const QByteArray &filter, const QString &reason);
    void onUnheard(const QByteArray &topic);
    void tellRefusals();
    void forgetRefusals(const QByteArrayList &filters);
    void retryRefused();
    void subscribeNew();
    void resync();
    std::chrono::milliseconds untilResync() const; // the next one that is due
    void endResync();
    void flush();
    void setState(Source::State state);
    void answer(quint64 id, Source::Outcome outcome, const QString &reason);
    void add(MqttNews::Item item);

    MqttLink *const link;
    QTimer *const expiry;
    QTimer *const resyncTimer;
    QTimer *const retryTimer; // while subscriptions are refused
    std::unique_ptr<TopicMapping> mapping;
    const std::shared_ptr<MqttNews> news;
    const QString name;
    const std::chrono::milliseconds resyncPeriod; // 0: never
    int qos;
    Source::State state = Source::State::Stopped;
    QByteArrayList refusedFilters;
    QByteArrayList retriedFilters; // were refused before; the reply is pending
    QSet<QByteArray> unheardTopics; // that the log contains
    QByteArrayList toldRefusals; // the refused filters that the source knows
    int asked = 0; // number of the reply after which all retained messages have arrived
    int quietAnswers = 0;
    quint64 fresh = 0; // first messages of retained topics since the last request
    QElapsedTimer subscribing; // or resyncing
    bool isResyncing = false;
    bool isFirstResync = false; // of the connection
    quint64 copies = 0; // since the last request
    quint64 recovered = 0; // before this resync
    qint64 syncedAt = 0; // on the wall clock; missed messages are newer
    qint64 resyncStart = 0;
    QElapsedTimer sinceResync;
    QElapsedTimer clock;
    qint64 turn = -1; // the time at which the current messages are read; -1: not reading
    quint64 messages = 0; // not yet added to the counters
    quint64 bytes = 0;
};

} // namespace pellix::gateway
