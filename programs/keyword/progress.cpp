// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/progress.h"

#include "programs/keyword/output.h"

#include <cstdio>

namespace {

constexpr int interval = 100; // milliseconds

} // namespace

Progress::Progress() : visible(isTerminal(2)) { }

void Progress::show(const QString &text)
{
    if (!visible || (sinceShown.isValid() && sinceShown.elapsed() < interval))
        return;
    sinceShown.start();
    shown = true;
    std::fprintf(stderr, "\r%s\033[K", text.toLocal8Bit().constData());
    std::fflush(stderr);
}

void Progress::clear()
{
    if (!shown)
        return;
    shown = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}
