// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/keywordtypes.h"

#include <QtCore/QDebug>

namespace pellix::client {

/*!
    \namespace pellix
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordtypes.h
    \brief Contains the namespaces of this library.
*/

/*!
    \namespace pellix::client
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordtypes.h
    \brief Contains the classes and enumerations of the keyword client.

    In QML, the enumerators of its three enumerations are available under the name \c PKeyword, as
    in \c {PKeyword.KVT_DOUBLE}.
*/

/*!
    \enum pellix::client::PKeywordAggregation

    This enum describes how the server computes the value of a keyword from its children.

    \value No     No aggregation.
    \value Min    The smallest value.
    \value Max    The largest value.
    \value Equal  The value that all children have in common.
    \value Sum    The sum of the values.
    \value And    Whether all values are \c true.
    \value Or     Whether at least one value is \c true.
*/

/*!
    \enum pellix::client::PKeywordValueType

    This enum describes the type of the value of a keyword.

    \value KVT_NOPROP  No value, or a value of an unknown type.
    \value KVT_OBJECT  An object.
    \value KVT_BOOL    \c true or \c false.
    \value KVT_STRING  A string.
    \value KVT_DOUBLE  A floating-point number.
    \value KVT_INT     An integer.
*/

/*!
    \enum pellix::client::PKeywordValueAccess

    This enum describes the access that a keyword grants. Index queries can filter by it.

    \value KVA_NONE       No particular access.
    \value KVA_READ       The value can be read.
    \value KVA_READ_META  The metadata of the value can be read.
    \value KVA_WRITE      The value can be written.
    \value KVA_READWRITE  The value can be read and written.
*/

/*!
    \class pellix::client::PKeywordValue
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordtypes.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordValue struct contains the data of one keyword event.

    It is passed in a QVariant. The four flags are those that the server sent. Records cannot be
    compared: two variants that contain records are never equal.
    \sa {The four state flags}
*/

/*!
    \variable pellix::client::PKeywordValue::value
    \brief the value: a \c double or \c qlonglong, a \c bool, a string, a list, or a map. Null is a
    valid variant that contains a null pointer; after an event without a value, the variant is
    invalid.
*/

/*!
    \variable pellix::client::PKeywordValue::type
    \brief the type that the server declares. The value is not checked against it.
*/

/*!
    \variable pellix::client::PKeywordValue::connected
    \brief whether the server has a source for the keyword.
*/

/*!
    \variable pellix::client::PKeywordValue::online
    \brief whether the source delivers data.
*/

/*!
    \variable pellix::client::PKeywordValue::consistent
    \brief whether the value is consistent with all its sources.
*/

/*!
    \variable pellix::client::PKeywordValue::error
    \brief whether the keyword is in error, or a write to it was refused.
*/

/*!
    Writes \a value to \a debug: its value and the flags connected, online, consistent, and error.
*/
QDebug operator<<(QDebug debug, const PKeywordValue &value)
{
    // Required: no separators, and the type is omitted. Programs that read logs rely on this
    // format.
    const QDebugStateSaver saver(debug);
    debug.nospace() << "PKeywordValue(" << value.value << value.connected << value.online
                    << value.consistent << value.error << ")";
    return debug;
}

} // namespace pellix::client
