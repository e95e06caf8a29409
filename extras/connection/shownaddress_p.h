// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

#include <QtCore/QString>

namespace pellix::extras {

// The address as it may be shown, logged or recorded: a password, a token in the path (/t/TOKEN)
// and the values of a query that carry a secret, such as a token, read "***". A text that is no
// address is treated the same way as far as it looks like one.
PELLIXCLIENT_EXTRAS_EXPORT QString shownAddress(const QString &text);

// A message that may quote addresses, with each of them as shownAddress() shows it.
PELLIXCLIENT_EXTRAS_EXPORT QString withoutSecrets(const QString &message);

} // namespace pellix::extras
