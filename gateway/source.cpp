// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/source.h"

namespace pellix::gateway {

Source::~Source() = default;

void Source::request(const QString &) { }

void Source::release(const QString &) { }

void Source::browse(const QString &) { }

} // namespace pellix::gateway
