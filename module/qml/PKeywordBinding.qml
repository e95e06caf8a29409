// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

/*!
    \qmltype PKeywordBinding
    \inqmlmodule PellixClient.Keyword
    \inherits Binding
    \brief Drives a property of any object from a keyword.

    It is no type of the module and is loaded by its address, "qrc:/PKeywordBinding.qml". target and
    property say what is driven, proxy.client and proxy.keyword by what:

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

    client and keyword mirror those of the proxy. They are not meant to be assigned: that replaces
    the mirror and does not reach the proxy. The proxy signals a new keyword before it changes to
    it, so the mirror of keyword shows the one before.
*/
Binding {
    id: root

    /*! The proxy that follows the keyword; the binding makes and owns one. */
    property PKeywordProxy proxy: PKeywordProxy { }
    /*! Shows the client of the proxy. Set proxy.client instead of assigning it. */
    property PKeywordClient client: proxy.client
    /*! Shows the keyword of the proxy before the current one. Set proxy.keyword instead. */
    property string keyword: proxy.keyword

    value: proxy.value

    /*! Asks the server to set the keyword to \a value, like PKeywordProxy::update(). */
    function update(value) {
        proxy.update(value)
    }
}
