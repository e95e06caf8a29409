// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/statistics.h"

namespace pellix::server {

namespace {

struct Metric
{
    const char *name;
    const char *kind;
    const char *help;
    qint64 value;
    const char *label = ""; // of one of several values with the same name, which are consecutive
};

qint64 counted(quint64 value)
{
    return qint64(value);
}

} // namespace

/*!
    \class pellix::server::Statistics
    \inmodule PellixClientServer
    \inheaderfile server/statistics.h
    \ingroup PellixClientServerClasses
    \brief The Statistics struct contains the statistics of a keyword server.

    The first members describe the current state, the others count events since the server was
    created.

    \sa KeywordServer::statistics()
*/

/*!
    \variable pellix::server::Statistics::clients
    \brief the number of open sessions.
*/

/*!
    \variable pellix::server::Statistics::keywords
    \brief the number of declared keywords.
*/

/*!
    \variable pellix::server::Statistics::watchedKeywords
    \brief the number of keywords to which sessions are subscribed, counting each spelling.
*/

/*!
    \variable pellix::server::Statistics::memoryBytes
    \brief an estimate of the memory for the names of keywords, and for the subscriptions,
   aggregates, waiting replies, and pending writes of sessions. It includes neither values nor
   labels.
*/

/*!
    \variable pellix::server::Statistics::sendingBytes
    \brief the size in bytes of the messages that wait for clients.
*/

/*!
    \variable pellix::server::Statistics::commands
    \brief the number of received commands.
*/

/*!
    \variable pellix::server::Statistics::events
    \brief the number of sent messages: events and replies.
*/

/*!
    \variable pellix::server::Statistics::bytesIn
    \brief the size in bytes of the received commands.
*/

/*!
    \variable pellix::server::Statistics::bytesOut
    \brief the size in bytes of the sent messages.
*/

/*!
    \variable pellix::server::Statistics::skippedValues
    \brief the number of values that were skipped, because a newer value arrived before they were
    sent.
*/

/*!
    \variable pellix::server::Statistics::writes
    \brief the number of received writes.
*/

/*!
    \variable pellix::server::Statistics::refusedWrites
    \brief the number of refused writes, including those that timed out.
*/

/*!
    \variable pellix::server::Statistics::timedOutWrites
    \brief the number of writes that timed out without a decision.
*/

/*!
    \variable pellix::server::Statistics::refusedCreates
    \brief the number of subscriptions beyond the limits of a session.
*/

/*!
    \variable pellix::server::Statistics::refusedDeclarations
    \brief the number of keywords that were not declared, because there are too many.
*/

/*!
    \variable pellix::server::Statistics::cutAnswers
    \brief the number of truncated index replies.
*/

/*!
    \variable pellix::server::Statistics::delayedCommands
    \brief the number of times that the commands of a session had to wait.
*/

/*!
    \variable pellix::server::Statistics::refusedClients
    \brief the number of refused connections.
*/

/*!
    \variable pellix::server::Statistics::droppedClients
    \brief the number of clients that the server has disconnected, because they made no progress.
*/

/*!
    \variable pellix::server::Statistics::certificateDays
    \brief the number of days until the certificate of the listener expires, or -1 without a
    certificate.
*/

/*!
    \variable pellix::server::Statistics::longCommands
    \brief the number of commands beyond Limits::commandBytes.
*/

/*!
    \variable pellix::server::Statistics::sendingPauses
    \brief the number of times that a session was paused because of Limits::totalSendingBytes.
*/

/*!
    \variable pellix::server::Statistics::delayedAggregates
    \brief the number of times that the computation of an aggregate was delayed, because its
    session requires too many.
*/

/*!
    \variable pellix::server::Statistics::droppedHandshakes
    \brief the number of connections that were closed before they became a WebSocket, because they
    took too long or there were too many.
*/

/*!
    \variable pellix::server::Statistics::createsBeyondKeywords
    \brief the number of subscriptions beyond Limits::watchedKeywords. They are part of \l
   refusedCreates, as are createsBeyondChildren and createsBeyondMemory.
*/

/*!
    \variable pellix::server::Statistics::createsBeyondChildren
    \brief the number of subscriptions to aggregates beyond Limits::aggregatedKeywords.
*/

/*!
    \variable pellix::server::Statistics::createsBeyondMemory
    \brief the number of subscriptions beyond Limits::sessionBytes.
*/

/*!
    \variable pellix::server::Statistics::writesBeyondLength
    \brief the number of writes beyond Limits::valueBytes. They are part of \l refusedWrites, as are
    writesBeyondMemory.
*/

/*!
    \variable pellix::server::Statistics::writesBeyondMemory
    \brief the number of writes refused because too many were pending: beyond Limits::sessionBytes,
    or of all sessions together.
*/

/*!
    \variable pellix::server::Statistics::badRequests
    \brief the number of clients refused for WebSocketKeywordServer::Refusal::BadRequest. They are
   part of \l refusedClients, as are those of the following reasons.
*/

/*!
    \variable pellix::server::Statistics::foreignOrigins
    \brief the number of clients refused for WebSocketKeywordServer::Refusal::ForeignOrigin.
*/

/*!
    \variable pellix::server::Statistics::missingCredentials
    \brief the number of clients refused for WebSocketKeywordServer::Refusal::NoCredentials.
*/

/*!
    \variable pellix::server::Statistics::wrongCredentials
    \brief the number of clients refused for WebSocketKeywordServer::Refusal::WrongCredentials.
*/

/*!
    \variable pellix::server::Statistics::excessAttempts
    \brief the number of clients refused for WebSocketKeywordServer::Refusal::TooManyAttempts.
*/

/*!
    \variable pellix::server::Statistics::excessClients
    \brief the number of clients refused for WebSocketKeywordServer::Refusal::TooManyClients.
*/

/*!
    Returns the statistics in the text format of Prometheus, version 0.0.4. Refused clients have a
    label \e reason, and refused subscriptions and writes a label \e limit: the sum over the labels
    is the total.
*/
QByteArray Statistics::toPrometheus() const
{
    const Metric metrics[] = {
        {"clients", "gauge", "Open sessions.", clients},
        {"keywords", "gauge", "Declared keywords.", keywords},
        {"watched_keywords", "gauge", "Keywords to which sessions are subscribed.",
         watchedKeywords},
        {"memory_bytes", "gauge", "Memory for keywords and sessions, without values.", memoryBytes},
        {"sending_bytes", "gauge", "Messages that wait for clients.", sendingBytes},
        {"certificate_days", "gauge", "Days until the certificate expires, or -1 without one.",
         certificateDays},
        {"commands_total", "counter", "Commands received.", counted(commands)},
        {"events_total", "counter", "Messages sent.", counted(events)},
        {"received_bytes_total", "counter", "Bytes of commands.", counted(bytesIn)},
        {"sent_bytes_total", "counter", "Bytes of messages.", counted(bytesOut)},
        {"skipped_values_total", "counter",
         "Values skipped, because a newer one arrived before they were sent.",
         counted(skippedValues)},
        {"writes_total", "counter", "Writes received.", counted(writes)},
        {"refused_writes_total", "counter", "Writes refused, by the limit, if there was one.",
         counted(writesBeyondLength), "limit=\"value_bytes\""},
        {"refused_writes_total", "", "", counted(writesBeyondMemory), "limit=\"session_bytes\""},
        {"refused_writes_total", "", "",
         counted(refusedWrites - writesBeyondLength - writesBeyondMemory), "limit=\"none\""},
        {"timed_out_writes_total", "counter",
         "Writes refused, because they were not decided in time.", counted(timedOutWrites)},
        {"refused_creates_total", "counter",
         "Subscriptions refused beyond the limits of a session, by the limit.",
         counted(createsBeyondKeywords), "limit=\"watched_keywords\""},
        {"refused_creates_total", "", "", counted(createsBeyondChildren),
         "limit=\"aggregated_keywords\""},
        {"refused_creates_total", "", "", counted(createsBeyondMemory), "limit=\"session_bytes\""},
        {"refused_declarations_total", "counter",
         "Keywords not declared, because there are too many.", counted(refusedDeclarations)},
        {"cut_answers_total", "counter", "Index replies truncated.", counted(cutAnswers)},
        {"delayed_commands_total", "counter", "Commands delayed, because a session sent too many.",
         counted(delayedCommands)},
        {"long_commands_total", "counter", "Commands that were too long.", counted(longCommands)},
        {"delayed_aggregates_total", "counter",
         "Computations of aggregates delayed, because a session requires too many.",
         counted(delayedAggregates)},
        {"sending_pauses_total", "counter",
         "Sessions paused, because too many bytes wait for all clients.", counted(sendingPauses)},
        {"refused_clients_total", "counter", "Connections refused, by the reason.",
         counted(badRequests), "reason=\"bad_request\""},
        {"refused_clients_total", "", "", counted(foreignOrigins), "reason=\"foreign_origin\""},
        {"refused_clients_total", "", "", counted(missingCredentials), "reason=\"no_credentials\""},
        {"refused_clients_total", "", "", counted(wrongCredentials),
         "reason=\"wrong_credentials\""},
        {"refused_clients_total", "", "", counted(excessAttempts), "reason=\"too_many_attempts\""},
        {"refused_clients_total", "", "", counted(excessClients), "reason=\"too_many_clients\""},
        {"dropped_handshakes_total", "counter",
         "Connections closed before they became a WebSocket.", counted(droppedHandshakes)},
        {"dropped_clients_total", "counter", "Clients disconnected, because they made no progress.",
         counted(droppedClients)},
    };
    QByteArray text;
    for (const Metric &metric : metrics) {
        const QByteArray name = QByteArrayLiteral("pellix_") + metric.name;
        if (*metric.help)
            text += "# HELP " + name + ' ' + metric.help + "\n# TYPE " + name + ' ' + metric.kind
                + '\n';
        text += name;
        if (*metric.label)
            text += QByteArrayLiteral("{") + metric.label + '}';
        text += ' ' + QByteArray::number(metric.value) + '\n';
    }
    return text;
}

} // namespace pellix::server
