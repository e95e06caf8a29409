// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/history/keywordhistories.h"

#include <QtCore/QLocale>
#include <QtCore/QSaveFile>
#include <QtCore/QUrl>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

using namespace pellix::client;

namespace pellix::extras {

namespace {

// As in RFC 4180; text that a spreadsheet would interpret as a formula is escaped.
QString csvText(QString text)
{
    const bool formula = !text.isEmpty() && QStringLiteral("=+-@").contains(text.at(0));
    if (formula)
        text.prepend(u'\'');
    text.replace(u'"', QLatin1String("\"\""));
    return u'"' + text + u'"';
}

// Independent of the locale, which other programs may not share, and with all digits.
QString csvNumber(double value)
{
    return std::isnan(value) ? QString()
                             : QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QString csvTime(const QDateTime &time)
{
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs);
}

// Iterates over the samples of several histories in the order of their times.
class MergedSamples
{
public:
    MergedSamples(const QList<PKeywordHistory *> &histories, qint64 from)
    {
        for (const PKeywordHistory *history : histories) {
            const PKeywordSamples &samples = history->samples();
            columns.push_back({&samples, samples.lowerBound(from)});
        }
    }

    // The time of the next samples, or the greatest time if there are none.
    qint64 nextTime() const
    {
        qint64 time = std::numeric_limits<qint64>::max();
        for (const Column &column : columns) {
            if (column.next < column.samples->size())
                time = std::min(time, column.samples->at(column.next).time);
        }
        return time;
    }

    // Advances past all samples up to a time. The current values are then those at this time.
    void pass(qint64 time)
    {
        for (Column &column : columns) {
            while (column.next < column.samples->size()
                   && column.samples->at(column.next).time <= time)
                ++column.next;
        }
    }

    QString row() const
    {
        QString text;
        for (const Column &column : columns) {
            text += u',';
            if (column.next > 0)
                text += csvNumber(column.samples->at(column.next - 1).value);
        }
        return text;
    }

private:
    struct Column
    {
        const PKeywordSamples *samples;
        std::size_t next;
    };
    std::vector<Column> columns;
};

} // namespace

/*!
    \class pellix::extras::PKeywordHistories
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/history/keywordhistories.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordHistories class records the histories of several keywords on a common time
    axis.

    It contains the histories that are declared in it, followed by one for each of its keywords:

    \qml
    PKeywordHistories {
        client: keywordClient
        keywords: ["/plant/tank1/level", "/plant/tank2/level"]

        PKeywordHistory { keyword: "/plant/power"; name: qsTr("Power"); capacity: 100000 }
    }
    \endqml

    Handlers of the signals may do anything, including deleting this object, a history or the
    client.

    \sa {Trends}
*/

/*!
    \property pellix::extras::PKeywordHistories::client
    \brief the client that all histories use. The default is \c nullptr. This object does not own
    the client.

    Declared histories keep their own client as long as this property is not set.
*/

/*!
    \property pellix::extras::PKeywordHistories::keywords
    \brief the keywords for which histories are created. The default is an empty list.

    When you set the property, existing histories of the same keywords are kept. Empty keywords and
    duplicates are ignored.
*/

/*!
    \property pellix::extras::PKeywordHistories::capacity
    \brief the capacity of each history that is created for keywords, see PKeywordHistory::capacity.
*/

/*!
    \property pellix::extras::PKeywordHistories::count
    \brief the number of histories.
*/

/*!
    \property pellix::extras::PKeywordHistories::error
    \brief the reason why the last saveCsv() failed, as text for the user. It is empty if the call
    succeeded.
*/

/*!
    \property pellix::extras::PKeywordHistories::declared
    \brief the histories that are declared in this object or were added.
*/

/*!
    \fn void PKeywordHistories::historiesChanged()

    This signal is emitted when a history was added or removed.
*/

/*!
    \fn void PKeywordHistories::sampled()

    This signal is emitted when the samples of any history have changed.
*/

/*!
    \fn const QList<PKeywordHistory *> &PKeywordHistories::histories() const

    Returns the histories, with the declared ones first.
*/

/*!
    Constructs an object without histories. If \a parent is given, it owns the object.
*/
PKeywordHistories::PKeywordHistories(QObject *parent) : QObject(parent) { }

/*!
    Destroys the object and the histories that it has created for keywords.
*/
PKeywordHistories::~PKeywordHistories()
{
    for (PKeywordHistory *history : std::as_const(all))
        history->disconnect(this);
}

PKeywordClient *PKeywordHistories::client() const
{
    return source;
}

void PKeywordHistories::setClient(PKeywordClient *client)
{
    if (client == source)
        return;
    source = client;
    const QPointer<PKeywordHistories> self(this);
    const QList<PKeywordHistory *> snapshot = all;
    for (PKeywordHistory *history : snapshot) {
        if (all.contains(history))
            history->setClient(client);
        if (!self || source != client)
            return;
    }
    Q_EMIT clientChanged();
}

QStringList PKeywordHistories::keywords() const
{
    return list;
}

void PKeywordHistories::setKeywords(const QStringList &keywords)
{
    if (keywords == list)
        return;
    list = keywords;
    QStringList wanted = keywords;
    wanted.removeAll(QString());
    wanted.removeDuplicates();

    QList<PKeywordHistory *> left = made;
    made.clear();
    for (const QString &keyword : std::as_const(wanted)) {
        const auto same = std::find_if(left.cbegin(), left.cend(), [&](const auto *history) {
            return history->keyword() == keyword;
        });
        if (same == left.cend()) {
            made.append(createHistory(keyword));
        } else {
            made.append(*same);
            left.erase(same);
        }
    }
    for (PKeywordHistory *history : std::as_const(left)) {
        history->disconnect(this);
        history->deleteLater(); // receivers of the signals below may still use it
    }
    const QList<PKeywordHistory *> mine = made;
    const QPointer<PKeywordHistories> self(this);
    rebuild();
    if (self)
        Q_EMIT keywordsChanged();
    // Subscribe after all changes, since the server's handlers may change this object.
    for (PKeywordHistory *history : mine) {
        if (self && made.contains(history))
            history->setClient(source);
    }
}

int PKeywordHistories::capacity() const
{
    return samples;
}

void PKeywordHistories::setCapacity(int capacity)
{
    if (capacity == samples)
        return;
    samples = capacity;
    const QPointer<PKeywordHistories> self(this);
    const QList<PKeywordHistory *> snapshot = made;
    for (PKeywordHistory *history : snapshot) {
        if (self && made.contains(history))
            history->setCapacity(capacity);
    }
    if (self)
        Q_EMIT capacityChanged();
}

int PKeywordHistories::count() const
{
    return static_cast<int>(all.size());
}

QString PKeywordHistories::error() const
{
    return problem;
}

/*!
    Returns the history at \a index, or \c nullptr if there is none.
*/
PKeywordHistory *PKeywordHistories::at(int index) const
{
    return all.value(index);
}

/*!
    Returns the history of \a keyword, or \c nullptr if there is none.
*/
PKeywordHistory *PKeywordHistories::find(const QString &keyword) const
{
    const auto found = std::find_if(all.cbegin(), all.cend(), [&](const PKeywordHistory *history) {
        return history->keyword() == keyword;
    });
    return found == all.cend() ? nullptr : *found;
}

/*!
    Returns the samples from \a from to \a to as comma-separated values, as defined in RFC 4180. If
    \a from is invalid, the first sample is used, and if \a to is invalid, the last one.

    The first line contains the names. Each of the other lines contains a time at which a sample of
    any keyword was taken, in ISO 8601 with milliseconds and the offset from UTC, and the values at
    that time. Numbers are independent of the locale, and empty where no value is known; a Boolean
    value is 0 or 1. If \a from is given, the first of these lines contains the values at that time.
*/
QString PKeywordHistories::toCsv(const QDateTime &from, const QDateTime &to) const
{
    constexpr qint64 earliest = std::numeric_limits<qint64>::min();
    constexpr qint64 latest = std::numeric_limits<qint64>::max();
    const qint64 first = from.isValid() ? PKeywordHistory::timeAt(from) : earliest;
    const qint64 last = to.isValid() ? PKeywordHistory::timeAt(to) : latest;
    const qint64 offset = PKeywordHistory::now();
    const QDateTime wallTime = PKeywordHistory::wallTime(offset);

    QString text = csvText(tr("Time"));
    for (const PKeywordHistory *history : all)
        text += u',' + csvText(history->name());
    text += QLatin1String("\r\n");
    MergedSamples samples(all, first);
    const auto addRow = [&](qint64 time) {
        samples.pass(time);
        text += csvTime(wallTime.addMSecs(time - offset)) + samples.row() + QLatin1String("\r\n");
    };
    if (from.isValid() && first <= last && samples.nextTime() != first && count() > 0)
        addRow(first);
    for (qint64 time = samples.nextTime(); time <= last && time != latest;
         time = samples.nextTime())
        addRow(time);
    return text;
}

/*!
    Writes the result of toCsv() for \a from and \a to into \a file: a path, or a URL that begins
    with \c {file:}.

    Returns whether the file was written. If not, error contains the reason, and an existing file of
    that name is not changed.
*/
bool PKeywordHistories::saveCsv(const QString &file, const QDateTime &from, const QDateTime &to)
{
    const bool isAddress = file.startsWith(QLatin1String("file:"));
    const QString path = isAddress ? QUrl(file).toLocalFile() : file;
    if (path.isEmpty()) {
        setError(tr("No file name is given"));
        return false;
    }
    QSaveFile out(path);
    const QByteArray text = toCsv(from, to).toUtf8();
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size() || !out.commit()) {
        setError(tr("Cannot write %1: %2").arg(path, out.errorString()));
        return false;
    }
    setError({});
    return true;
}

/*!
    Adds \a history, which is not owned and may be deleted at any time. If it was added before, the
    call has no effect.
*/
void PKeywordHistories::add(PKeywordHistory *history)
{
    if (!history || all.contains(history))
        return;
    added.append(history);
    follow(history);
    const QPointer<PKeywordHistories> self(this);
    rebuild();
    if (self && source && added.contains(history))
        history->setClient(source);
}

/*!
    Removes \a history, which must have been added with addHistory().
*/
void PKeywordHistories::remove(PKeywordHistory *history)
{
    if (!added.removeOne(history))
        return;
    history->disconnect(this);
    rebuild();
}

QQmlListProperty<PKeywordHistory> PKeywordHistories::declaredList()
{
    return {this, nullptr, appendDeclared, countDeclared, atDeclared, clearDeclared};
}

void PKeywordHistories::appendDeclared(QQmlListProperty<PKeywordHistory> *list,
                                       PKeywordHistory *history)
{
    static_cast<PKeywordHistories *>(list->object)->add(history);
}

qsizetype PKeywordHistories::countDeclared(QQmlListProperty<PKeywordHistory> *list)
{
    return static_cast<PKeywordHistories *>(list->object)->added.size();
}

PKeywordHistory *PKeywordHistories::atDeclared(QQmlListProperty<PKeywordHistory> *list,
                                               qsizetype index)
{
    return static_cast<PKeywordHistories *>(list->object)->added.value(index);
}

void PKeywordHistories::clearDeclared(QQmlListProperty<PKeywordHistory> *list)
{
    auto *self = static_cast<PKeywordHistories *>(list->object);
    for (PKeywordHistory *history : std::as_const(self->added))
        history->disconnect(self);
    self->added.clear();
    self->rebuild();
}

PKeywordHistory *PKeywordHistories::createHistory(const QString &keyword)
{
    auto *history = new PKeywordHistory(this);
    history->setCapacity(samples);
    history->setKeyword(keyword);
    follow(history);
    return history;
}

void PKeywordHistories::follow(PKeywordHistory *history)
{
    connect(history, &PKeywordHistory::sampled, this, &PKeywordHistories::sampled);
    connect(history, &QObject::destroyed, this, &PKeywordHistories::onDestroyed);
}

void PKeywordHistories::onDestroyed(QObject *history)
{
    const auto gone = [history](const PKeywordHistory *one) {
        return static_cast<const QObject *>(one) == history;
    };
    added.removeIf(gone);
    made.removeIf(gone);
    rebuild();
}

void PKeywordHistories::rebuild()
{
    const QList<PKeywordHistory *> now = added + made;
    if (now == all)
        return;
    all = now;
    Q_EMIT historiesChanged();
}

void PKeywordHistories::setError(const QString &text)
{
    if (text == problem)
        return;
    problem = text;
    Q_EMIT errorChanged();
}

} // namespace pellix::extras
