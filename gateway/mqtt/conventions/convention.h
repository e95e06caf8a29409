// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/topickeyword.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

namespace pellix::gateway {

// The changes caused by a description. Keywords are identified by their path.
struct ConventionChange
{
    QList<QString> removed; // paths; applied first: a path that is also declared loses its value
    QList<TopicKeyword> declared; // new keywords, or changed ones, which keep their value
    QStringList subscribe; // additional topic filters
    QStringList unsubscribe;
    QStringList messages; // for the log: the skipped parts, with the reason; each only once
};

struct ConventionOptions
{
    QString base; // first levels of the topics; the default of the convention if empty
    bool sleepingIsOnline = false; // Homie: a sleeping device is available
    bool alertsAreErrors = false; // Homie: an alert of a device sets the flag of its keywords

    bool operator==(const ConventionOptions &other) const
    {
        return base == other.base && sleepingIsOnline == other.sleepingIsOnline
            && alertsAreErrors == other.alertsAreErrors;
    }
};

// Reads the topics by which devices describe themselves, and creates keywords from them. It stores
// the descriptions, does not depend on the link, and is used in one thread only.
class Convention
{
public:
    virtual ~Convention();

    virtual QString name() const = 0; // the word that enables it, such as "homie"
    // Topic filters of the descriptions. Messages on these topics may also contain values, such as
    // a state that determines the availability of a device.
    virtual QStringList subscriptions() const = 0;
    // Processes a message on one of these topics. An empty payload removes a description.
    virtual ConventionChange take(const QString &topic, const QByteArray &payload) = 0;
    virtual int skipped() const = 0; // entities that could not be mapped
    virtual void clear() = 0; // discards all descriptions

    // The convention with this name, or null.
    static std::unique_ptr<Convention> create(const QString &name,
                                              const ConventionOptions &options = {});
    static QStringList names();
};

} // namespace pellix::gateway
