// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/keywordresource.h"

#include <QtCore/QtGlobal>

// Q_INIT_RESOURCE wants to be outside any namespace.
static void initResource()
{
    Q_INIT_RESOURCE(pellixclientkeyword);
}

namespace pellix::client {

/*!
    \headerfile <module/keywordresource.h>
    \inmodule PellixClientKeyword
    \title Keyword Resource
    \brief Provides the files of the QML components.
*/

/*!
    \fn void pellix::client::initKeywordResource()
    \relates <module/keywordresource.h>

    Makes sure that the files of the QML components are in the resource system, at
    "qrc:/PKeywordPath.qml", "qrc:/PKeywordPathList.qml" and "qrc:/PKeywordBinding.qml".

    A shared library puts them there when it is loaded. Linked statically, they are there from the
    start of any program that calls PellixClientKeywordModule::registerTypes(); one that reads them
    without doing so calls this first. Calling it again does nothing.
*/
void initKeywordResource()
{
    initResource();
}

} // namespace pellix::client
