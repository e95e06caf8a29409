// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>

namespace pellix::server {

// Waiting commands of a client, consecutively in the same memory: a separate string for each would
// take ten times as much memory as the client sends.
class CommandQueue
{
public:
    bool isEmpty() const { return head == buffer.size(); }
    qint64 bytes() const { return buffer.size() - head; }
    void enqueue(const QByteArray &command);
    QByteArrayView first() const; // valid until another one is queued or taken
    QByteArray dequeue();

private:
    QByteArray buffer; // the length of each before it
    qsizetype head = 0;
};

} // namespace pellix::server
