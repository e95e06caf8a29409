// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/tables/keywordalarm.h"

#include <QtCore/QtNumeric>

#include <cmath>

namespace pellix::extras {

namespace {

// Equal, or no limit both.
bool isSame(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

class PKeywordAlarm::Private
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
    \inmodule PellixClientKeyword
    \inheaderfile extras/tables/keywordalarm.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordAlarm class is a condition of a keyword that people are to be told of.

    It is one of the alarms of a PKeywordAlarms, which watches the keyword. The condition is there
    when any of what is set holds: a flag, a limit, or a value.

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

    The states that can be a condition.

    \value NoFlag         none
    \value Error          the keyword is in error
    \value NotOnline      its source does not deliver
    \value NotConnected   the server has no source for it
    \value NotConsistent  it differs from a source
*/

/*!
    \typedef pellix::extras::PKeywordAlarm::Flags

    Any number of PKeywordAlarm::Flag.
*/

/*!
    \property pellix::extras::PKeywordAlarm::keyword
    \brief the keyword whose state or value is the condition; empty by default, which is none.
*/

/*!
    \property pellix::extras::PKeywordAlarm::text
    \brief what the alarm list says when the condition comes; empty by default.
*/

/*!
    \property pellix::extras::PKeywordAlarm::priority
    \brief how grave it is: the greater, the further up among others; 0 by default.
*/

/*!
    \property pellix::extras::PKeywordAlarm::enabled
    \brief whether the condition is watched; \c true by default. One that is active goes when this
    becomes \c false.
*/

/*!
    \property pellix::extras::PKeywordAlarm::flags
    \brief the states of the keyword any of which is the condition; NoFlag by default.
*/

/*!
    \property pellix::extras::PKeywordAlarm::above
    \brief the value above which the condition comes; NaN, for no limit, by default.
*/

/*!
    \property pellix::extras::PKeywordAlarm::below
    \brief the value below which the condition comes; NaN, for no limit, by default.
*/

/*!
    \property pellix::extras::PKeywordAlarm::hysteresis
    \brief how far the value has to come back from a limit until the condition goes; 0 by default,
    and not less.
*/

/*!
    \property pellix::extras::PKeywordAlarm::equalTo
    \brief the value with which the condition is there; undefined, for none, by default.
*/

/*!
    \property pellix::extras::PKeywordAlarm::active
    \brief whether the condition is there, as far as is known; \c false by default.
*/

/*!
    Constructs a condition that is never there. \a parent owns it, if given.
*/
PKeywordAlarm::PKeywordAlarm(QObject *parent) : QObject(parent), d(std::make_unique<Private>()) { }

/*!
    Destroys the alarm. Its rows stay in the list; the one that is active goes.
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
