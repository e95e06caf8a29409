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

// By RFC 4180, and what a spreadsheet would take for a formula as a text.
QString csvText(QString text)
{
    const bool formula = !text.isEmpty() && QStringLiteral("=+-@").contains(text.at(0));
    if (formula)
        text.prepend(u'\'');
    text.replace(u'"', QLatin1String("\"\""));
    return u'"' + text + u'"';
}

// Without a locale, which other programs may not share, and with all its digits.
QString csvNumber(double value)
{
    return std::isnan(value) ? QString()
                             : QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QString csvTime(const QDateTime &time)
{
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs);
}

// Goes through the samples of some histories by their time, all together.
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

    // Goes beyond all samples up to a time. The values that hold then are what is left of it.
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
    \inmodule PellixClientKeyword
    \inheaderfile extras/history/keywordhistories.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordHistories class keeps the histories of several keywords on one time axis.

    It has those that are declared in it, and then one for each of its keywords:

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
    \brief the client that all the histories use; \c nullptr by default. Not owned.

    Those that are declared keep their own as long as this is not set.
*/

/*!
    \property pellix::extras::PKeywordHistories::keywords
    \brief the keywords of which a history is made; none by default.

    The histories of those that are there already stay when it is set. A keyword that is empty, or
    there twice, counts once or not at all.
*/

/*!
    \property pellix::extras::PKeywordHistories::capacity
    \brief the capacity of each history that is made of keywords, see PKeywordHistory::capacity.
*/

/*!
    \property pellix::extras::PKeywordHistories::count
    \brief the number of histories.
*/

/*!
    \property pellix::extras::PKeywordHistories::error
    \brief why the last saveCsv() failed, in words for people; empty if it did not.
*/

/*!
    \property pellix::extras::PKeywordHistories::declared
    \brief the histories that are declared within, or added.
*/

/*!
    \fn void PKeywordHistories::historiesChanged()

    This signal is emitted when a history has come or gone.
*/

/*!
    \fn void PKeywordHistories::sampled()

    This signal is emitted when the samples of any history have changed.
*/

/*!
    \fn const QList<PKeywordHistory *> &PKeywordHistories::histories() const

    Returns the histories, those that are declared first.
*/

/*!
    Constructs an object without histories. \a parent owns it, if given.
*/
PKeywordHistories::PKeywordHistories(QObject *parent) : QObject(parent) { }

/*!
    Destroys the object, and the histories that it has made of keywords.
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
        history->deleteLater(); // who is told below may still hold it
    }
    const QList<PKeywordHistory *> mine = made;
    const QPointer<PKeywordHistories> self(this);
    rebuild();
    if (self)
        Q_EMIT keywordsChanged();
    // The server is asked when all is as it will be, since its handlers may change this.
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
    Returns the samples from the time \a from, or the first if it is invalid, to the time \a to, or
    the last if it is invalid, as comma-separated values by RFC 4180.

    The first line has the names. Each of the others has a time at which a sample of any keyword was
    taken, in ISO 8601 with milliseconds and the offset from UTC, and the values that hold then.
    They are numbers without a locale, and empty where nothing is known; a bool is 0 or 1. With
    \a from, the first line tells what holds then.
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
    Writes what toCsv() returns for \a from and \a to into \a file: a path, or an address that
    begins with \c {file:}.

    Returns whether that succeeded. If it did not, error says why, and a file of that name is as it
    was.
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
    Adds \a history, which is not owned and may be deleted at any time. One that is there already
    stays where it is.
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
    Takes \a history away, which has to be one that was added.
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
    added.erase(std::remove_if(added.begin(), added.end(), gone), added.end());
    made.erase(std::remove_if(made.begin(), made.end(), gone), made.end());
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
