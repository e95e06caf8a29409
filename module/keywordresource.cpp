// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/keywordresource.h"

#include <QtCore/QtGlobal>

// Q_INIT_RESOURCE must be outside any namespace.
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

    Ensures that the files of the QML components are in the resource system, at
    "qrc:/PKeywordPath.qml", "qrc:/PKeywordPathList.qml" and "qrc:/PKeywordBinding.qml".

    A shared library registers them when it is loaded. With a static library, they are available in
    any program that calls PellixClientKeywordModule::registerTypes(); call this function first if
    your program reads them without doing so. Calling it again has no effect.
*/
void initKeywordResource()
{
    initResource();
}

} // namespace pellix::client
