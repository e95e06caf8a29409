// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QLocale>

namespace pellix::extras {

// A locale without groups of digits: a number that is shown can be typed as it is, and looks the
// same in a table, on an axis and in a message.
inline QLocale withoutGroups(QLocale locale)
{
    locale.setNumberOptions(locale.numberOptions() | QLocale::OmitGroupSeparator);
    return locale;
}

// The user's.
inline QLocale numberLocale()
{
    return withoutGroups(QLocale());
}

} // namespace pellix::extras
