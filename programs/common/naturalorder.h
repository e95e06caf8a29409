// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QStringView>

namespace programs {

// Compares two texts as people order them: runs of digits by the number that they are, however
// long, and the rest without regard to case. "item 9" comes before "Item 10".
//
// Negative if a comes first, positive if b does, 0 only for equal texts: those that differ in case
// or leading zeros alone have an order, too. It is the same in every locale and a strict order, so
// it can be sorted by.
int compareNaturally(QStringView a, QStringView b);

} // namespace programs
