// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/commandqueue_p.h"

#include <cstring>

namespace pellix::server {

namespace {

constexpr qsizetype lengthSize = qsizetype(sizeof(qsizetype));
constexpr qsizetype greatestGap = qsizetype(64) * 1024; // before the first one

} // namespace

void CommandQueue::enqueue(const QByteArray &command)
{
    const qsizetype length = command.size();
    buffer.append(reinterpret_cast<const char *>(&length), lengthSize);
    buffer.append(command);
}

QByteArrayView CommandQueue::first() const
{
    qsizetype length = 0;
    std::memcpy(&length, buffer.constData() + head, std::size_t(lengthSize));
    return QByteArrayView(buffer).sliced(head + lengthSize, length);
}

QByteArray CommandQueue::dequeue()
{
    QByteArray command = first().toByteArray();
    head += lengthSize + command.size();
    if (isEmpty()) {
        buffer.clear();
        head = 0;
    } else if (head > greatestGap && head > buffer.size() / 2) {
        buffer = buffer.mid(head); // which gives the memory back, too
        head = 0;
    }
    return command;
}

} // namespace pellix::server
