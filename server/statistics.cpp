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
    \brief an estimate of the memory for keywords and sessions.
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
    Returns the statistics in the text format of Prometheus, version 0.0.4.
*/
QByteArray Statistics::toPrometheus() const
{
    const Metric metrics[] = {
        {"clients", "gauge", "Open sessions.", clients},
        {"keywords", "gauge", "Declared keywords.", keywords},
        {"watched_keywords", "gauge", "Keywords to which sessions are subscribed.",
         watchedKeywords},
        {"memory_bytes", "gauge", "Memory for keywords and sessions.", memoryBytes},
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
        {"refused_writes_total", "counter", "Writes refused.", counted(refusedWrites)},
        {"timed_out_writes_total", "counter",
         "Writes refused, because they were not decided in time.", counted(timedOutWrites)},
        {"refused_creates_total", "counter",
         "Subscriptions refused beyond the limits of a session.", counted(refusedCreates)},
        {"refused_declarations_total", "counter",
         "Keywords not declared, because there are too many.", counted(refusedDeclarations)},
        {"cut_answers_total", "counter", "Index replies truncated.", counted(cutAnswers)},
        {"delayed_commands_total", "counter", "Commands delayed, because a session sent too many.",
         counted(delayedCommands)},
        {"refused_clients_total", "counter", "Connections refused.", counted(refusedClients)},
        {"dropped_clients_total", "counter", "Clients disconnected, because they made no progress.",
         counted(droppedClients)},
    };
    QByteArray text;
    for (const Metric &metric : metrics) {
        const QByteArray name = QByteArrayLiteral("pellix_") + metric.name;
        text += "# HELP " + name + ' ' + metric.help + "\n# TYPE " + name + ' ' + metric.kind + '\n'
            + name + ' ' + QByteArray::number(metric.value) + '\n';
    }
    return text;
}

} // namespace pellix::server
