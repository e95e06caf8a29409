// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/keywordextrasmodule.h"

// Generated with the registration of the types, which takes place when the libraries are loaded.
extern void qml_register_types_PellixClient_Keyword_Extras_Core();
extern void qml_register_types_PellixClient_Keyword_Extras();

namespace pellix::extras {

/*!
    \namespace pellix::extras
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/keywordextrasmodule.h
    \brief Contains additional classes for user interfaces.
*/

/*!
    \class pellix::extras::KeywordExtrasModule
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/keywordextrasmodule.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The KeywordExtrasModule class registers the module PellixClient.Keyword.Extras with QML.
*/

/*!
    Registers "PellixClient.Keyword.Extras" with the QML engines of a program that links the
    library.

    Call this function once, before you load any QML that imports the module. The program does not
    need an import path then. If it finds the installed plugin on its import path, like \c qml, the
    call is optional.

    \sa pellix::client::PellixClientKeywordModule::registerTypes()
*/
void KeywordExtrasModule::registerTypes()
{
    // A linker omits a library, or an object file, without a reference.
    static void (*volatile const linked[])() = {
        qml_register_types_PellixClient_Keyword_Extras_Core,
        qml_register_types_PellixClient_Keyword_Extras,
    };
    static_cast<void>(linked[0]);
}

} // namespace pellix::extras
