// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "extras/extrasglobal.h"
#include "extras/history/keywordsamples.h"
#include "pubsub/subscriber.h"

#include <QtCore/QDateTime>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtQml/qqmlregistration.h>

#include <vector>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordHistory : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(int capacity READ capacity WRITE setCapacity NOTIFY capacityChanged)
    Q_PROPERTY(bool known READ known NOTIFY changed)
    Q_PROPERTY(bool current READ current NOTIFY currentChanged)
    Q_PROPERTY(bool watched READ watched NOTIFY changed)
    Q_PROPERTY(QDateTime lastSeen READ lastSeen NOTIFY changed)
    Q_PROPERTY(QVariant lastValue READ lastValue NOTIFY changed)
    Q_PROPERTY(int valueType READ valueType NOTIFY changed)
    Q_PROPERTY(QDateTime lastChange READ lastChange NOTIFY changed)
    Q_PROPERTY(int changeCount READ changeCount NOTIFY changed)
    Q_PROPERTY(double changesPerSecond READ changesPerSecond NOTIFY changesPerSecondChanged)
    Q_PROPERTY(int sampleCount READ sampleCount NOTIFY sampled)
    QML_ELEMENT

public:
    explicit PKeywordHistory(QObject *parent = nullptr);
    ~PKeywordHistory() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);
    QString keyword() const;
    void setKeyword(const QString &keyword);
    QString name() const;
    void setName(const QString &name);
    int capacity() const;
    void setCapacity(int capacity);

    bool known() const;
    bool current() const;
    bool watched() const;
    QDateTime lastSeen() const;
    QVariant lastValue() const;
    int valueType() const;
    QDateTime lastChange() const;
    int changeCount() const;
    double changesPerSecond() const;
    int sampleCount() const;

    Q_INVOKABLE pellix::extras::PKeywordStatistics statistics(const QDateTime &from = {},
                                                              const QDateTime &to = {}) const;
    Q_INVOKABLE void clear();

    const PKeywordSamples &samples() const { return ring; }
    void append(const PKeywordSample &sample);

    static qint64 now();
    static QDateTime wallTime(qint64 time);
    static qint64 timeAt(const QDateTime &wallTime);

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void nameChanged();
    void capacityChanged();
    void changed();
    void currentChanged();
    void changesPerSecondChanged();
    void sampled();

private:
    void forget();
    void tellAll();
    void ask();
    void onEvent(const QVariant &published);
    void onLinkChanged();
    bool takeSample(double value);
    bool takeValue(const pellix::client::PKeywordValue &event);
    bool interrupt();
    void measure();

    QPointer<pellix::client::PKeywordClient> source;
    pellix::client::PSubscriber subscriber;
    QString givenName;
    pellix::client::PKeywordValue last;
    bool hasValue = false;
    bool isCurrent = false;
    bool isWatched = false;
    QDateTime seenUntil;
    QDateTime changedAt;
    int changes = 0;
    std::vector<qint64> recentChanges; // within the window of the rate
    double rate = 0;
    QTimer rateTimer;
    PKeywordSamples ring;
};

} // namespace pellix::extras
