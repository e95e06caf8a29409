// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>

namespace pellix::client {

// Part of the library's set of categories; nothing is logged here yet.
Q_LOGGING_CATEGORY(lcKeywordExpression, "pellixclient.keyword.expression", QtWarningMsg)

namespace {

QString withPostfix(const QString &keyword, const QString &postfix)
{
    return postfix.isEmpty() ? keyword : keyword + QLatin1Char('/') + postfix;
}

} // namespace

class Q_DECL_HIDDEN PAbstractKeywordExpression::Private
{
public:
    QString keyword;
    QStringList keywordChildren;
};

class Q_DECL_HIDDEN PKeywordExpression::Private
{
public:
    QString value;
};

class Q_DECL_HIDDEN PPostfixKeywordExpression::Private
{
public:
    QString postfix;
};

class Q_DECL_HIDDEN PListPostfixKeywordExpression::Private
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

    Assign an expression to PKeywordProxy::keywordExpression: the proxy then subscribes to the
    computed keyword. The proxy does not own the expression.

    In QML, this class has the name \c PKeywordExpression, like the concrete class
    PKeywordExpression; the later registration takes precedence. A QML property of type
    \c PKeywordExpression therefore accepts a PKeywordExpression or a PPostfixKeywordExpression, but
    not a PListPostfixKeywordExpression. Assign the latter directly to a proxy.
*/

/*!
    \property pellix::client::PAbstractKeywordExpression::keyword
    \brief the computed keyword, or an empty string if the expression is not valid().
*/

/*!
    \property pellix::client::PAbstractKeywordExpression::keywordChildren
    \brief the keywords from which the server computes the value of keyword. It is empty unless
    keyword is an aggregate.
*/

/*!
    Constructs an expression with an empty keyword. If \a parent is given, it owns the expression.
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
    Returns whether keyword is not empty.
*/
bool PAbstractKeywordExpression::valid() const
{
    return !d->keyword.isEmpty();
}

/*!
    Returns how the server computes the value from keywordChildren. This implementation returns
    PKeywordAggregation::No.
*/
PKeywordAggregation PAbstractKeywordExpression::aggregation() const
{
    return PKeywordAggregation::No;
}

/*!
    \fn void PAbstractKeywordExpression::validChanged()

    This signal is never emitted. Use keywordChanged() instead.
*/

/*!
    \fn std::tuple<QString, QStringList> PAbstractKeywordExpression::calculateKeyword() const

    Returns the keyword and its children, computed from the properties of the subclass.
*/

/*!
    Computes keyword and keywordChildren, and emits the signals of those that have changed.
    Subclasses call this function after each change of a property.
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
    \brief The PKeywordExpression class provides a fixed keyword.
*/

/*!
    \property pellix::client::PKeywordExpression::value
    \brief the keyword. The default is an empty string.
*/

/*!
    Constructs an expression with an empty value. If \a parent is given, it owns the expression.
*/
PKeywordExpression::PKeywordExpression(QObject *parent)
    : PAbstractKeywordExpression(parent), d(std::make_unique<Private>())
{ }

/*!
    Constructs an expression with \a value. If \a parent is given, it owns the expression.
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

    The keyword is value and postfix, separated by "/". If only one of the two is set, the keyword
    is that one.
*/

/*!
    \property pellix::client::PPostfixKeywordExpression::postfix
    \brief the string to append to value, without a leading "/". The default is an empty string.
*/

/*!
    Constructs an expression with an empty value and postfix. If \a parent is given, it owns the
    expression.
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
    \brief The PListPostfixKeywordExpression class lets the server aggregate several keywords.

    With two or more values, keyword is a path below "/store/aggregated/" that contains a digest of
    the children and the aggregation, and keywordChildren contains each value with the postfix. A
    proxy requests that the server create this keyword and compute its value from the children. The
    order of the values and the aggregation are part of the path.

    With one value, keyword is that value with the postfix. With no value, it is empty.

    The digest of the children is computed without a separator. Lists with the same concatenation,
    such as /a, /b/x and /a/b, /x, therefore share a keyword, and replacing one with the other does
    not make a proxy subscribe again.
*/

/*!
    \property pellix::client::PListPostfixKeywordExpression::values
    \brief the keywords to aggregate, in order. The default is an empty list.
*/

/*!
    \property pellix::client::PListPostfixKeywordExpression::postfix
    \brief the string to append to each value, without a leading "/". The default is an empty
    string.
*/

/*!
    \property pellix::client::PListPostfixKeywordExpression::aggregation
    \brief how the server computes the value. The default is PKeywordAggregation::No.

    The property has no effect with fewer than two values.
*/

/*!
    Constructs an expression without values. If \a parent is given, it owns the expression.
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

    // Required: no separator between the children; servers and other clients compute the same path.
    const QString digestInput = children.join(QString()) + QLatin1Char('/')
        + QString::number(static_cast<int>(d->aggregation));
    const QByteArray digest =
        QCryptographicHash::hash(digestInput.toUtf8(), QCryptographicHash::Sha256).toHex();
    return {QLatin1String("/store/aggregated/") + QLatin1String(digest), children};
}

} // namespace pellix::client
