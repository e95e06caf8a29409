// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/mqttlink.h"
#include "gateway/mqtt/reportlist.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/source.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

QT_BEGIN_NAMESPACE
class QTimer;
QT_END_NAMESPACE

namespace pellix::gateway {

// What a worker has to tell, in its order, between its thread and the one of its source.
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
        ReportList reports; // that are added
        SourceReport report; // that is taken
        Source::State state = Source::State::Stopped;
        QString reason;
        quint64 write = 0;
        Source::Outcome outcome = Source::Outcome::Refused;
    };

    // Whether somebody has to be told that there is something. Reports are kept in bounds: where
    // the reader is slow, the newest value of each keyword is left.
    bool add(Item item);
    // The next item, or a slice of it. None if there is none: then the reader is told again of the
    // next one.
    std::optional<Item> take(qsizetype most);

    struct Counters
    {
        std::atomic<quint64> messages {0};
        std::atomic<quint64> bytes {0};
        std::atomic<quint64> writes {0};
        std::atomic<quint64> unreadable {0};
        std::atomic<quint64> skipped {0};
        std::atomic<quint64> connections {0};
    };
    Counters counters;

private:
    std::mutex mutex;
    std::deque<Item> items;
    qsizetype compactAt = 0;
    bool isTold = false;
};

// The part of a source that lives in a thread of its own: the link and the mapping.
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
    std::unique_ptr<TopicMapping> mapping;
    const std::shared_ptr<MqttNews> news;
    const QString name;
    const std::chrono::milliseconds resyncPeriod; // 0: never
    int qos;
    Source::State state = Source::State::Stopped;
    QByteArrayList refusedFilters;
    int asked = 0; // the answer that tells that everything is there
    int quietAnswers = 0;
    quint64 fresh = 0; // first messages of retained topics since it was asked
    QElapsedTimer subscribing; // or resyncing
    bool isResyncing = false;
    bool isFirstResync = false; // of the connection
    quint64 copies = 0; // since an answer was asked for
    quint64 recovered = 0; // before this resync
    qint64 syncedAt = 0; // on the wall clock; when what was missed since was not there yet
    qint64 resyncStart = 0;
    QElapsedTimer sinceResync;
    QElapsedTimer clock;
    qint64 turn = -1; // the time, as long as messages are read
    quint64 messages = 0; // not counted yet
    quint64 bytes = 0;
};

} // namespace pellix::gateway
