// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <random>

namespace pellix::simulator {

// Makes the value of one keyword move.
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
    double period = 10; // seconds for one round; for a toggle, from one change to the next and back
    double step = 1; // of a random walk, at the most, per tick
    double phase = 0; // rounds
    double position = 0; // of a random walk
    std::mt19937 random;

    QVariant valueAt(double seconds);
};

} // namespace pellix::simulator
