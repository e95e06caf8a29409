// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/keywordextrasmodule.h"

// Generated with the registration of the types, which takes place when the libraries are loaded.
extern void qml_register_types_PellixClient_Keyword_Extras_Core();
extern void qml_register_types_PellixClient_Keyword_Extras();

namespace pellix::extras {

/*!
    \namespace pellix::extras
    \inmodule PellixClientKeyword
    \inheaderfile extras/keywordextrasmodule.h
    \brief Contains additional classes for user interfaces.
*/

/*!
    \class pellix::extras::KeywordExtrasModule
    \inmodule PellixClientKeyword
    \inheaderfile extras/keywordextrasmodule.h
    \ingroup PellixClientKeywordClasses
    \brief The KeywordExtrasModule class makes the companions of the library known to QML.
*/

/*!
    Makes "PellixClient.Keyword.Extras" known to the QML engines of a program that links the
   library.

    The program calls it once, before it loads any QML that imports the module. It needs no import
    path then. A program that finds the installed plugin on its import path, such as \c qml, needs
    not call it, but may.

    \sa pellix::client::PellixClientKeywordModule::registerTypes()
*/
void KeywordExtrasModule::registerTypes()
{
    // A linker leaves out a library, or an object file of it, that nothing refers to.
    static void (*volatile const linked[])() = {
        qml_register_types_PellixClient_Keyword_Extras_Core,
        qml_register_types_PellixClient_Keyword_Extras,
    };
    static_cast<void>(linked[0]);
}

} // namespace pellix::extras
