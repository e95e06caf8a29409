// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/tables/keywordalarm.h"

#include <QtCore/QtNumeric>

#include <cmath>

namespace pellix::extras {

namespace {

// Equal, or both without a limit.
bool isSame(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

class Q_DECL_HIDDEN PKeywordAlarm::Private
{
public:
    QString keyword;
    QString text;
    int priority = 0;
    bool enabled = true;
    Flags flags = NoFlag;
    double above = qQNaN();
    double below = qQNaN();
    double hysteresis = 0;
    QVariant equalTo;
    bool active = false;
};

/*!
    \class pellix::extras::PKeywordAlarm
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/tables/keywordalarm.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordAlarm class defines a condition of a keyword that is reported in an alarm
    list.

    Add it to a PKeywordAlarms object, which subscribes to the keyword. The condition is active when
    any of its criteria is met: a flag, a limit, or a value.

    \code
    PKeywordAlarm {
        keyword: "/plant/tank1/level"
        above: 90
        hysteresis: 2
        text: qsTr("Tank 1 is full")
    }
    PKeywordAlarm {
        keyword: "/plant/pump"
        flags: PKeywordAlarm.NotOnline | PKeywordAlarm.Error
    }
    \endcode
*/

/*!
    \enum pellix::extras::PKeywordAlarm::Flag

    This enum describes the states that can be a condition.

    \value NoFlag         none
    \value Error          the keyword is in error
    \value NotOnline      its source does not deliver data
    \value NotConnected   the server has no source for it
    \value NotConsistent  its value is not consistent with all its sources
*/

/*!
    \typedef pellix::extras::PKeywordAlarm::Flags

    A combination of PKeywordAlarm::Flag values.
*/

/*!
    \property pellix::extras::PKeywordAlarm::keyword
    \brief the keyword whose state or value is the condition. The default is an empty string, for no
    condition.
*/

/*!
    \property pellix::extras::PKeywordAlarm::text
    \brief the text in the alarm list when the condition occurs. The default is an empty string.
*/

/*!
    \property pellix::extras::PKeywordAlarm::priority
    \brief the priority of the alarm. Alarms with a higher priority are listed first. The default is
    0.
*/

/*!
    \property pellix::extras::PKeywordAlarm::enabled
    \brief whether the condition is monitored. The default is \c true. An active condition is
    cleared when the property becomes \c false.
*/

/*!
    \property pellix::extras::PKeywordAlarm::flags
    \brief the states of the keyword, any of which is the condition. The default is NoFlag.
*/

/*!
    \property pellix::extras::PKeywordAlarm::above
    \brief the value above which the condition occurs. The default is NaN, for no limit.
*/

/*!
    \property pellix::extras::PKeywordAlarm::below
    \brief the value below which the condition occurs. The default is NaN, for no limit.
*/

/*!
    \property pellix::extras::PKeywordAlarm::hysteresis
    \brief the distance from a limit at which the condition is cleared. The default is 0; negative
    values count as 0.
*/

/*!
    \property pellix::extras::PKeywordAlarm::equalTo
    \brief the value with which the condition is active. The default is undefined, for no value.
*/

/*!
    \property pellix::extras::PKeywordAlarm::active
    \brief whether the condition is active, as far as is known. The default is \c false.
*/

/*!
    Constructs a condition that is never active. If \a parent is given, it owns the alarm.
*/
PKeywordAlarm::PKeywordAlarm(QObject *parent) : QObject(parent), d(std::make_unique<Private>()) { }

/*!
    Destroys the alarm. Its rows remain in the list; an active one is cleared.
*/
PKeywordAlarm::~PKeywordAlarm() = default;

QString PKeywordAlarm::keyword() const
{
    return d->keyword;
}

void PKeywordAlarm::setKeyword(const QString &keyword)
{
    if (keyword == d->keyword)
        return;
    d->keyword = keyword;
    Q_EMIT keywordChanged();
}

QString PKeywordAlarm::text() const
{
    return d->text;
}

void PKeywordAlarm::setText(const QString &text)
{
    if (text == d->text)
        return;
    d->text = text;
    Q_EMIT textChanged();
}

int PKeywordAlarm::priority() const
{
    return d->priority;
}

void PKeywordAlarm::setPriority(int priority)
{
    if (priority == d->priority)
        return;
    d->priority = priority;
    Q_EMIT priorityChanged();
}

bool PKeywordAlarm::enabled() const
{
    return d->enabled;
}

void PKeywordAlarm::setEnabled(bool enabled)
{
    if (enabled == d->enabled)
        return;
    d->enabled = enabled;
    Q_EMIT enabledChanged();
}

PKeywordAlarm::Flags PKeywordAlarm::flags() const
{
    return d->flags;
}

void PKeywordAlarm::setFlags(Flags flags)
{
    if (flags == d->flags)
        return;
    d->flags = flags;
    Q_EMIT flagsChanged();
}

double PKeywordAlarm::above() const
{
    return d->above;
}

void PKeywordAlarm::setAbove(double limit)
{
    if (isSame(limit, d->above))
        return;
    d->above = limit;
    Q_EMIT aboveChanged();
}

double PKeywordAlarm::below() const
{
    return d->below;
}

void PKeywordAlarm::setBelow(double limit)
{
    if (isSame(limit, d->below))
        return;
    d->below = limit;
    Q_EMIT belowChanged();
}

double PKeywordAlarm::hysteresis() const
{
    return d->hysteresis;
}

void PKeywordAlarm::setHysteresis(double hysteresis)
{
    hysteresis = hysteresis > 0 ? hysteresis : 0;
    if (hysteresis == d->hysteresis)
        return;
    d->hysteresis = hysteresis;
    Q_EMIT hysteresisChanged();
}

QVariant PKeywordAlarm::equalTo() const
{
    return d->equalTo;
}

void PKeywordAlarm::setEqualTo(const QVariant &value)
{
    if (value == d->equalTo && value.typeId() == d->equalTo.typeId())
        return;
    d->equalTo = value;
    Q_EMIT equalToChanged();
}

bool PKeywordAlarm::active() const
{
    return d->active;
}

void PKeywordAlarm::setActive(bool active)
{
    if (active == d->active)
        return;
    d->active = active;
    Q_EMIT activeChanged();
}

} // namespace pellix::extras
