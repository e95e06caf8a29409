// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

#include <QtCore/QStringView>

namespace pellix::extras {

PELLIXCLIENT_EXTRAS_EXPORT int compareNaturally(QStringView a, QStringView b);

} // namespace pellix::extras
