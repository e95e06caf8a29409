// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/metrics.h"

#include "gateway/sourcemount.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <functional>

#ifdef Q_OS_LINUX
#include <unistd.h>
#endif

namespace pellix::gateway {

namespace {

struct SourceMetric
{
    const char *name;
    const char *kind;
    const char *help;
    std::function<double(const Gateway::SourceStatus &)> value;
};

QByteArray number(double value)
{
    return QByteArray::number(value, 'g', 17);
}

QByteArray header(const QByteArray &name, const char *kind, const char *help)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + kind + '\n';
}

// Names of sources contain only letters, digits, and a few other characters, so they need no
// escaping.
QByteArray labelOf(const Gateway::SourceStatus &source)
{
    return "{source=\"" + source.name.toUtf8() + "\"} ";
}

QByteArray contentOf(const char *file)
{
    QFile opened(QString::fromLatin1(file));
    return opened.open(QIODevice::ReadOnly) ? opened.readAll() : QByteArray();
}

QByteArray metric(const QByteArray &name, const char *kind, const char *help, double value)
{
    return header(name, kind, help) + name + ' ' + number(value) + '\n';
}

} // namespace

QByteArray sourceMetrics(const QList<Gateway::SourceStatus> &sources)
{
    using Status = Gateway::SourceStatus;
    const auto counted = [](auto member) {
        return [member](const Status &s) {
            return s.source ? double(s.source->statistics().*member) : 0;
        };
    };
    const auto mounted = [](auto member) {
        return [member](const Status &s) { return double(s.mount->statistics().*member); };
    };
    // The source finds some of them itself, and does not report them to its mount.
    const auto both = [&](auto inSource, auto inMount) {
        return [source = counted(inSource), mount = mounted(inMount)](const Status &s) {
            return source(s) + mount(s);
        };
    };
    const SourceMetric metrics[] = {
        {"source_up", "gauge", "Whether the source is connected and subscribed.",
         [](const Status &s) { return s.isReady ? 1 : 0; }},
        {"connections_total", "counter", "Connections made to the source.",
         counted(&Source::Statistics::connections)},
        {"source_refused_subscriptions", "gauge", "Subscriptions that the source refuses.",
         counted(&Source::Statistics::refusedFilters)},
        {"messages_total", "counter", "Messages received from the source.",
         counted(&Source::Statistics::messages)},
        {"received_bytes_total", "counter", "Bytes of these messages.",
         counted(&Source::Statistics::bytes)},
        {"unreadable_messages_total", "counter", "Messages that could not be read as a value.",
         counted(&Source::Statistics::unreadable)},
        {"skipped_descriptions_total", "counter", "Descriptions that could not be mapped.",
         counted(&Source::Statistics::skipped)},
        {"sent_writes_total", "counter", "Writes sent to the source.",
         counted(&Source::Statistics::writes)},
        {"unheard_writes_total", "counter", "Writes sent to topics without a subscriber.",
         counted(&Source::Statistics::unheardWrites)},
        {"source_keywords", "gauge", "Keywords that the source serves.",
         mounted(&SourceMount::Statistics::keywords)},
        {"source_online_keywords", "gauge", "Keywords with a current value.",
         mounted(&SourceMount::Statistics::online)},
        {"source_values_total", "counter", "Values that the source reported.",
         mounted(&SourceMount::Statistics::values)},
        {"source_misfits_total", "counter", "Values that do not fit the type of their keyword.",
         both(&Source::Statistics::misfits, &SourceMount::Statistics::misfits)},
        {"source_conflicts_total", "counter", "Keywords not served, because their path is in use.",
         both(&Source::Statistics::conflicts, &SourceMount::Statistics::conflicts)},
        {"source_refused_keywords_total", "counter",
         "Keywords not served, because there are too many.",
         mounted(&SourceMount::Statistics::refusedDeclarations)},
        {"source_waiting_keywords", "gauge", "Keywords not served now, because there are too many.",
         mounted(&SourceMount::Statistics::waiting)},
        {"source_writes_total", "counter", "Writes of clients.",
         mounted(&SourceMount::Statistics::writes)},
        {"source_refused_writes_total", "counter", "Writes of clients that were refused.",
         mounted(&SourceMount::Statistics::refusedWrites)},
        {"source_unconfirmed_writes_total", "counter",
         "Writes refused, because their outcome is unknown.",
         mounted(&SourceMount::Statistics::unconfirmedWrites)},
    };
    QByteArray text;
    for (const SourceMetric &metric : metrics) {
        const QByteArray name = QByteArrayLiteral("keyword_gateway_") + metric.name;
        text += header(name, metric.kind, metric.help);
        for (const Status &source : sources)
            text += name + labelOf(source) + number(metric.value(source)) + '\n';
    }
    return text;
}

QByteArray processMetrics()
{
    QByteArray text;
#ifdef Q_OS_LINUX
    // The second field is a name in parentheses, which may contain any character.
    const QByteArray all = contentOf("/proc/self/stat");
    const QList<QByteArray> stat = all.mid(all.lastIndexOf(')') + 2).split(' ');
    const auto ticks = double(sysconf(_SC_CLK_TCK));
    if (stat.size() > 21 && ticks > 0) {
        text += metric("process_cpu_seconds_total", "counter", "Processor time.",
                       (stat.at(11).toDouble() + stat.at(12).toDouble()) / ticks);
        text += metric("process_resident_memory_bytes", "gauge", "Resident memory.",
                       stat.at(21).toDouble() * double(sysconf(_SC_PAGESIZE)));
        const QByteArray system = contentOf("/proc/stat");
        const qsizetype boot = system.indexOf("\nbtime ");
        if (boot >= 0) {
            const double seconds = system.mid(boot + 7).split('\n').constFirst().toDouble();
            text += metric("process_start_time_seconds", "gauge",
                           "Start time of the process, since 1970.",
                           seconds + stat.at(19).toDouble() / ticks);
        }
    }
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    const auto open = descriptors.entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System);
    if (!open.isEmpty())
        text += metric("process_open_fds", "gauge", "Open files and sockets.", double(open.size()));
#endif
    return text;
}

} // namespace pellix::gateway
