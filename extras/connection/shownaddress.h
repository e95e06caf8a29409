// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

#include <QtCore/QString>

namespace pellix::extras {

PELLIXCLIENT_EXTRAS_EXPORT QString shownAddress(const QString &text);

PELLIXCLIENT_EXTRAS_EXPORT QString withoutSecrets(const QString &message);

} // namespace pellix::extras
