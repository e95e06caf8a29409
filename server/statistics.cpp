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
    \brief The Statistics struct is what a keyword server has counted.

    The first members tell what there is at this moment, the others what has happened since the
    server was made. \sa KeywordServer::statistics()
*/

/*!
    \variable pellix::server::Statistics::clients
    \brief open sessions.
*/

/*!
    \variable pellix::server::Statistics::keywords
    \brief declared keywords.
*/

/*!
    \variable pellix::server::Statistics::watchedKeywords
    \brief keywords that sessions watch, each spelling counted.
*/

/*!
    \variable pellix::server::Statistics::memoryBytes
    \brief an estimate of the memory for keywords and sessions.
*/

/*!
    \variable pellix::server::Statistics::sendingBytes
    \brief bytes of messages that wait for clients.
*/

/*!
    \variable pellix::server::Statistics::commands
    \brief commands received.
*/

/*!
    \variable pellix::server::Statistics::events
    \brief messages sent: events and answers.
*/

/*!
    \variable pellix::server::Statistics::bytesIn
    \brief bytes of the commands.
*/

/*!
    \variable pellix::server::Statistics::bytesOut
    \brief bytes of the messages.
*/

/*!
    \variable pellix::server::Statistics::skippedValues
    \brief values that were left out, as a newer one came before they were sent.
*/

/*!
    \variable pellix::server::Statistics::writes
    \brief writes received.
*/

/*!
    \variable pellix::server::Statistics::refusedWrites
    \brief writes refused, those included that nobody decided in time.
*/

/*!
    \variable pellix::server::Statistics::timedOutWrites
    \brief writes that nobody decided in time.
*/

/*!
    \variable pellix::server::Statistics::refusedCreates
    \brief keywords that a session asked for beyond its limits.
*/

/*!
    \variable pellix::server::Statistics::refusedDeclarations
    \brief keywords that were not declared, as there are too many.
*/

/*!
    \variable pellix::server::Statistics::cutAnswers
    \brief index answers that were cut.
*/

/*!
    \variable pellix::server::Statistics::delayedCommands
    \brief how often the commands of a session had to wait.
*/

/*!
    \variable pellix::server::Statistics::refusedClients
    \brief connections that were refused.
*/

/*!
    \variable pellix::server::Statistics::droppedClients
    \brief sessions that were dropped, as they made no progress.
*/

/*!
    \variable pellix::server::Statistics::certificateDays
    \brief days until the certificate of the listener expires; -1 without one.
*/

/*!
    Returns the figures in the text format of Prometheus, version 0.0.4.
*/
QByteArray Statistics::toPrometheus() const
{
    const Metric metrics[] = {
        {"clients", "gauge", "Open sessions.", clients},
        {"keywords", "gauge", "Declared keywords.", keywords},
        {"watched_keywords", "gauge", "Keywords that sessions watch.", watchedKeywords},
        {"memory_bytes", "gauge", "Memory for keywords and sessions.", memoryBytes},
        {"sending_bytes", "gauge", "Messages that wait for clients.", sendingBytes},
        {"certificate_days", "gauge", "Days until the certificate expires, -1 without one.",
         certificateDays},
        {"commands_total", "counter", "Commands received.", counted(commands)},
        {"events_total", "counter", "Messages sent.", counted(events)},
        {"received_bytes_total", "counter", "Bytes of commands.", counted(bytesIn)},
        {"sent_bytes_total", "counter", "Bytes of messages.", counted(bytesOut)},
        {"skipped_values_total", "counter",
         "Values left out, as a newer one came before they were sent.", counted(skippedValues)},
        {"writes_total", "counter", "Writes received.", counted(writes)},
        {"refused_writes_total", "counter", "Writes refused.", counted(refusedWrites)},
        {"timed_out_writes_total", "counter", "Writes refused, as nobody decided them in time.",
         counted(timedOutWrites)},
        {"refused_creates_total", "counter",
         "Keywords that a session may not watch beyond its limits.", counted(refusedCreates)},
        {"refused_declarations_total", "counter", "Keywords not declared, as there are too many.",
         counted(refusedDeclarations)},
        {"cut_answers_total", "counter", "Index answers that were too long.", counted(cutAnswers)},
        {"delayed_commands_total", "counter", "Commands that waited, as a session sent too many.",
         counted(delayedCommands)},
        {"refused_clients_total", "counter", "Connections refused.", counted(refusedClients)},
        {"dropped_clients_total", "counter", "Sessions dropped, as they made no progress.",
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
