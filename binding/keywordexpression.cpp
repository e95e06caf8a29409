// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>

namespace pellix::client {

// Part of the library's set of categories; nothing here has anything to say yet.
Q_LOGGING_CATEGORY(lcKeywordExpression, "pellixclient.keyword.expression", QtWarningMsg)

namespace {

QString withPostfix(const QString &keyword, const QString &postfix)
{
    return postfix.isEmpty() ? keyword : keyword + QLatin1Char('/') + postfix;
}

} // namespace

class PAbstractKeywordExpression::Private
{
public:
    QString keyword;
    QStringList keywordChildren;
};

class PKeywordExpression::Private
{
public:
    QString value;
};

class PPostfixKeywordExpression::Private
{
public:
    QString postfix;
};

class PListPostfixKeywordExpression::Private
{
public:
    QString postfix;
    QStringList values;
    PKeywordAggregation aggregation = PKeywordAggregation::No;
};

/*!
    \class pellix::client::PAbstractKeywordExpression
    \inmodule PellixClientKeyword
    \inheaderfile binding/keywordexpression.h
    \ingroup PellixClientKeywordClasses
    \brief The PAbstractKeywordExpression class computes the keyword that a proxy binds to.

    An expression is given to PKeywordProxy::keywordExpression, which then follows keyword. The
    proxy does not own it.

    QML knows this class as \c PKeywordExpression, the name that the concrete class
    PKeywordExpression also has there; the later registration wins. A QML property of type
    \c PKeywordExpression therefore takes a PKeywordExpression or PPostfixKeywordExpression, but no
    PListPostfixKeywordExpression, which is assigned to a proxy directly.
*/

/*!
    \property pellix::client::PAbstractKeywordExpression::keyword
    \brief the computed keyword; empty when the expression is not valid().
*/

/*!
    \property pellix::client::PAbstractKeywordExpression::keywordChildren
    \brief the keywords over which the server forms the value of keyword; empty unless it is an
    aggregated one.
*/

/*!
    Constructs an expression with an empty keyword. \a parent owns it, if given.
*/
PAbstractKeywordExpression::PAbstractKeywordExpression(QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the expression. A proxy that uses it reads as having none from then on.
*/
PAbstractKeywordExpression::~PAbstractKeywordExpression() = default;

QString PAbstractKeywordExpression::keyword() const
{
    return d->keyword;
}

QStringList PAbstractKeywordExpression::keywordChildren() const
{
    return d->keywordChildren;
}

/*!
    Returns whether keyword is non-empty.
*/
bool PAbstractKeywordExpression::valid() const
{
    return !d->keyword.isEmpty();
}

/*!
    Returns how the server is to form the value from keywordChildren: PKeywordAggregation::No in
    this class.
*/
PKeywordAggregation PAbstractKeywordExpression::aggregation() const
{
    return PKeywordAggregation::No;
}

/*!
    \fn void PAbstractKeywordExpression::validChanged()

    This signal is never emitted; follow keywordChanged() instead.
*/

/*!
    \fn std::tuple<QString, QStringList> PAbstractKeywordExpression::calculateKeyword() const

    Returns the keyword and its children, computed from the properties of the subclass.
*/

/*!
    Computes keyword and keywordChildren anew and signals what changed. Subclasses call it after
    each change of a property.
*/
void PAbstractKeywordExpression::doUpdate()
{
    const auto [keyword, children] = calculateKeyword();
    const bool keywordDiffers = keyword != d->keyword;
    const bool childrenDiffer = children != d->keywordChildren;
    if (keywordDiffers)
        d->keyword = keyword;
    if (childrenDiffer)
        d->keywordChildren = children;

    // Required: validChanged() is not emitted, not even when valid() changes.
    const QPointer<PAbstractKeywordExpression> self(this);
    if (keywordDiffers)
        Q_EMIT keywordChanged();
    if (self && childrenDiffer)
        Q_EMIT keywordChildrenChanged();
}

/*!
    \class pellix::client::PKeywordExpression
    \inmodule PellixClientKeyword
    \inheaderfile binding/keywordexpression.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordExpression class is an expression whose keyword is its value.
*/

/*!
    \property pellix::client::PKeywordExpression::value
    \brief the keyword; empty by default.
*/

/*!
    Constructs an expression with an empty value. \a parent owns it, if given.
*/
PKeywordExpression::PKeywordExpression(QObject *parent)
    : PAbstractKeywordExpression(parent), d(std::make_unique<Private>())
{ }

/*!
    Constructs an expression with \a value. \a parent owns it, if given.
*/
PKeywordExpression::PKeywordExpression(const QString &value, QObject *parent)
    : PKeywordExpression(parent)
{
    PKeywordExpression::setValue(value);
}

/*!
    Destroys the expression. A proxy that uses it reads as having none from then on.
*/
PKeywordExpression::~PKeywordExpression() = default;

QString PKeywordExpression::value() const
{
    return d->value;
}

void PKeywordExpression::setValue(const QString &value)
{
    if (value == d->value)
        return;
    d->value = value;

    const QPointer<PKeywordExpression> self(this);
    Q_EMIT valueChanged();
    if (self)
        doUpdate();
}

/*!
    \reimp
*/
std::tuple<QString, QStringList> PKeywordExpression::calculateKeyword() const
{
    return {d->value, {}};
}

/*!
    \class pellix::client::PPostfixKeywordExpression
    \inmodule PellixClientKeyword
    \inheaderfile binding/keywordexpression.h
    \ingroup PellixClientKeywordClasses
    \brief The PPostfixKeywordExpression class appends a postfix to its value.

    The keyword is value and postfix with "/" between them, or the one of the two that is set.
*/

/*!
    \property pellix::client::PPostfixKeywordExpression::postfix
    \brief what is appended to value, without a leading "/"; empty by default.
*/

/*!
    Constructs an expression with empty value and postfix. \a parent owns it, if given.
*/
PPostfixKeywordExpression::PPostfixKeywordExpression(QObject *parent)
    : PKeywordExpression(parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the expression. A proxy that uses it reads as having none from then on.
*/
PPostfixKeywordExpression::~PPostfixKeywordExpression() = default;

QString PPostfixKeywordExpression::postfix() const
{
    return d->postfix;
}

void PPostfixKeywordExpression::setPostfix(const QString &postfix)
{
    if (postfix == d->postfix)
        return;
    d->postfix = postfix;

    const QPointer<PPostfixKeywordExpression> self(this);
    Q_EMIT postfixChanged();
    if (self)
        doUpdate();
}

/*!
    \reimp
*/
std::tuple<QString, QStringList> PPostfixKeywordExpression::calculateKeyword() const
{
    const QString keyword = value();
    return {keyword.isEmpty() ? d->postfix : withPostfix(keyword, d->postfix), {}};
}

/*!
    \class pellix::client::PListPostfixKeywordExpression
    \inmodule PellixClientKeyword
    \inheaderfile binding/keywordexpression.h
    \ingroup PellixClientKeywordClasses
    \brief The PListPostfixKeywordExpression class has the server aggregate several keywords.

    With two or more values, keyword is a path below "/store/aggregated/" made from a digest of the
    children and the aggregation, and keywordChildren holds each value with the postfix. A proxy
    asks the server to create that keyword and to form its value from the children. The order of
    the values and the aggregation are part of the address.

    One value gives a plain keyword, the value with the postfix; no value gives none.

    The children are digested without a separator between them, so lists whose texts coincide when
    joined, such as /a, /b/x and /a/b, /x, share a keyword. Replacing one by the other does not make
    a proxy ask the server again.
*/

/*!
    \property pellix::client::PListPostfixKeywordExpression::values
    \brief the keywords to aggregate, in order; empty by default.
*/

/*!
    \property pellix::client::PListPostfixKeywordExpression::postfix
    \brief what is appended to each of the values, without a leading "/"; empty by default.
*/

/*!
    \property pellix::client::PListPostfixKeywordExpression::aggregation
    \brief how the server forms the value; PKeywordAggregation::No by default.

    It plays no part with fewer than two values.
*/

/*!
    Constructs an expression without values. \a parent owns it, if given.
*/
PListPostfixKeywordExpression::PListPostfixKeywordExpression(QObject *parent)
    : PAbstractKeywordExpression(parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the expression. A proxy that uses it reads as having none from then on.
*/
PListPostfixKeywordExpression::~PListPostfixKeywordExpression() = default;

QStringList PListPostfixKeywordExpression::values() const
{
    return d->values;
}

void PListPostfixKeywordExpression::setValues(const QStringList &values)
{
    if (values == d->values)
        return;
    d->values = values;

    const QPointer<PListPostfixKeywordExpression> self(this);
    Q_EMIT valuesChanged();
    if (self)
        doUpdate();
}

QString PListPostfixKeywordExpression::postfix() const
{
    return d->postfix;
}

void PListPostfixKeywordExpression::setPostfix(const QString &postfix)
{
    if (postfix == d->postfix)
        return;
    d->postfix = postfix;

    const QPointer<PListPostfixKeywordExpression> self(this);
    Q_EMIT postfixChanged();
    if (self)
        doUpdate();
}

PKeywordAggregation PListPostfixKeywordExpression::aggregation() const
{
    return d->aggregation;
}

void PListPostfixKeywordExpression::setAggregation(PKeywordAggregation aggregation)
{
    if (aggregation == d->aggregation)
        return;
    d->aggregation = aggregation;

    const QPointer<PListPostfixKeywordExpression> self(this);
    Q_EMIT aggregationChanged();
    if (self)
        doUpdate();
}

/*!
    \reimp
*/
std::tuple<QString, QStringList> PListPostfixKeywordExpression::calculateKeyword() const
{
    if (d->values.isEmpty())
        return {};
    if (d->values.size() == 1)
        return {withPostfix(d->values.constFirst(), d->postfix), {}};

    QStringList children;
    children.reserve(d->values.size());
    for (const QString &value : d->values)
        children.append(withPostfix(value, d->postfix));

    // Required: no separator between the children; servers and other clients form the same address.
    const QString digestInput = children.join(QString()) + QLatin1Char('/')
        + QString::number(static_cast<int>(d->aggregation));
    const QByteArray digest =
        QCryptographicHash::hash(digestInput.toUtf8(), QCryptographicHash::Sha256).toHex();
    return {QLatin1String("/store/aggregated/") + QLatin1String(digest), children};
}

} // namespace pellix::client
