// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

/*!
    \qmltype PKeywordBinding
    \inqmlmodule PellixClient.Keyword
    \inherits Binding
    \brief Sets a property of any object to the value of a keyword.

    This component is not a type of the module. Load it by its URL, "qrc:/PKeywordBinding.qml". Set
    target and property to the property to be set, and proxy.client and proxy.keyword to the
    keyword:

    \code
    Loader {
        source: "qrc:/PKeywordBinding.qml"
        onLoaded: {
            item.property = "text"
            item.target = label
            item.proxy.client = keywordClient
            item.proxy.keyword = "/plant/name"
        }
    }
    \endcode

    client and keyword reflect the properties of the proxy. Do not assign values to them: this
    breaks the binding and has no effect on the proxy. The proxy signals a new keyword before it
    changes, so keyword contains the previous keyword.
*/
Binding {
    id: root

    /*! The proxy that is subscribed to the keyword. The binding creates and owns it. */
    property PKeywordProxy proxy: PKeywordProxy { }
    /*! The client of the proxy. Set proxy.client instead of this property. */
    property PKeywordClient client: proxy.client
    /*! The previous keyword of the proxy. Set proxy.keyword instead of this property. */
    property string keyword: proxy.keyword

    value: proxy.value

    /*! Requests that the server set the keyword to \a value, like PKeywordProxy::update(). */
    function update(value) {
        proxy.update(value)
    }
}
