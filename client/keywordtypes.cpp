// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/keywordtypes.h"

#include <QtCore/QDebug>

namespace pellix::client {

/*!
    \namespace pellix
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordtypes.h
    \brief Contains everything of this library.
*/

/*!
    \namespace pellix::client
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordtypes.h
    \brief Contains the classes and enumerations of the keyword client.

    QML reaches the enumerators of its three enumerations through the name \c PKeyword, as in
    \c {PKeyword.KVT_DOUBLE}.
*/

/*!
    \enum pellix::client::PKeywordAggregation

    How the value of a keyword with children is formed from the children.

    \value No     No aggregation.
    \value Min    The smallest value.
    \value Max    The greatest value.
    \value Equal  The value that all children have in common.
    \value Sum    The sum of the values.
    \value And    Whether all values are \c true.
    \value Or     Whether at least one value is \c true.
*/

/*!
    \enum pellix::client::PKeywordValueType

    The type of a keyword's value.

    \value KVT_NOPROP  No value, or of a type that is not known here.
    \value KVT_OBJECT  An object.
    \value KVT_BOOL    \c true or \c false.
    \value KVT_STRING  Text.
    \value KVT_DOUBLE  A floating point number.
    \value KVT_INT     A whole number.
*/

/*!
    \enum pellix::client::PKeywordValueAccess

    The access that a keyword grants; a filter of index queries.

    \value KVA_NONE       No particular access.
    \value KVA_READ       The value can be read.
    \value KVA_READ_META  What describes the value can be read.
    \value KVA_WRITE      The value can be written.
    \value KVA_READWRITE  The value can be read and written.
*/

/*!
    \class pellix::client::PKeywordValue
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordtypes.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordValue struct is the record of one keyword event.

    It travels inside a QVariant. The four flags are those of the server, as sent. Records have no
    equality: two variants that hold records never compare equal.
    \sa {The four state flags}
*/

/*!
    \variable pellix::client::PKeywordValue::value
    \brief the value: a \c double or \c qlonglong, a \c bool, a text, a list or a map. Null is a
    valid variant that holds a null pointer; an event without a value leaves it invalid.
*/

/*!
    \variable pellix::client::PKeywordValue::type
    \brief the type that the server declares. Nothing checks the value against it.
*/

/*!
    \variable pellix::client::PKeywordValue::connected
    \brief whether the server has a source for the keyword.
*/

/*!
    \variable pellix::client::PKeywordValue::online
    \brief whether the source delivers.
*/

/*!
    \variable pellix::client::PKeywordValue::consistent
    \brief whether the value agrees with all its sources.
*/

/*!
    \variable pellix::client::PKeywordValue::error
    \brief whether the keyword is in error, or a write to it was refused.
*/

/*!
    Writes \a value to \a debug: its value and the flags connected, online, consistent and error.
*/
QDebug operator<<(QDebug debug, const PKeywordValue &value)
{
    // Required: no separators, and the type is left out. Logs are read by programs that know it so.
    const QDebugStateSaver saver(debug);
    debug.nospace() << "PKeywordValue(" << value.value << value.connected << value.online
                    << value.consistent << value.error << ")";
    return debug;
}

} // namespace pellix::client
