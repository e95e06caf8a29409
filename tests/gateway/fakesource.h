// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/source.h"

#include <QtCore/QStringList>

#include <functional>
#include <vector>

// A source whose reports and replies to writes are controlled by the test.
class FakeSource : public pellix::gateway::Source
{
public:
    using Source::Source;

    void start() override
    {
        ++starts;
        if (isReadyAtOnce)
            go(State::Ready);
    }
    void stop() override
    {
        ++stops;
        if (!hangs)
            go(State::Stopped);
    }
    State state() const override { return now; }
    QString reason() const override { return why; }
    Statistics statistics() const override { return counts; }
    void request(const QString &path) override { requested.append(path); }
    void release(const QString &path) override { released.append(path); }
    void browse(const QString &path) override
    {
        browsed.append(path);
        if (onBrowse)
            onBrowse(path);
    }
    void write(const pellix::gateway::SourceWrite &write) override
    {
        writes.push_back(write);
        ++counts.writes;
        if (onWrite)
            onWrite(write);
    }

    void go(State state, const QString &reason = {})
    {
        now = state;
        why = reason;
        Q_EMIT stateChanged(state);
    }
    void declare(const QList<pellix::gateway::SourceKeyword> &keywords)
    {
        Q_EMIT reported({{}, keywords, {}});
    }
    void remove(const QString &path) { Q_EMIT reported({{path}, {}, {}}); }
    void report(const QString &path, const QVariant &value, qint64 time = 0)
    {
        pellix::gateway::SourceValue reported;
        reported.path = path;
        reported.value = value;
        reported.time = time;
        report(reported);
    }
    void report(const pellix::gateway::SourceValue &value)
    {
        ++counts.messages;
        Q_EMIT reported({{}, {}, {value}});
    }
    void answer(quint64 id, Outcome outcome, const QString &reason = {})
    {
        Q_EMIT writeAnswered(id, outcome, reason);
    }

    std::vector<pellix::gateway::SourceWrite> writes;
    std::function<void(const pellix::gateway::SourceWrite &)> onWrite;
    std::function<void(const QString &)> onBrowse;
    QStringList requested;
    QStringList released;
    QStringList browsed;
    State now = State::Stopped;
    QString why;
    Statistics counts;
    int starts = 0;
    int stops = 0;
    bool isReadyAtOnce = false;
    bool hangs = false; // does not stop when requested
};
