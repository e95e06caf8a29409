// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/animator_p.h"

#include <algorithm>
#include <cmath>

namespace pellix::simulator {

QVariant Animator::valueAt(double seconds)
{
    constexpr double pi = 3.14159265358979323846;
    const double rounds = seconds / period + phase;
    const double part = rounds - std::floor(rounds);

    double value = minimum + (maximum - minimum) * part;
    switch (kind) {
    case Kind::Ramp:
        break;
    case Kind::Toggle:
        return part >= 0.5;
    case Kind::Sine:
        value = minimum + (maximum - minimum) * (0.5 + 0.5 * std::sin(2 * pi * part));
        break;
    case Kind::RandomWalk: {
        // Not std::uniform_real_distribution, because its sequence depends on the standard library.
        const double unit = double(random()) / double(std::mt19937::max());
        position = std::clamp(position + step * (2 * unit - 1), minimum, maximum);
        value = position;
        break;
    }
    }
    if (type == QLatin1String("int"))
        return qlonglong(std::llround(value));
    return value;
}

} // namespace pellix::simulator
