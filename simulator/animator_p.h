// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <random>

namespace pellix::simulator {

// Animates the value of one keyword.
struct Animator
{
    enum class Kind {
        Ramp,
        Sine,
        RandomWalk,
        Toggle
    };

    Kind kind = Kind::Ramp;
    QString path;
    QString type;
    double minimum = 0;
    double maximum = 100;
    double period = 10; // seconds per cycle; a toggle changes twice in this time
    double step = 1; // the greatest change of a random walk per tick
    double phase = 0; // in cycles
    double position = 0; // of a random walk
    std::mt19937 random;

    QVariant valueAt(double seconds);
};

} // namespace pellix::simulator
