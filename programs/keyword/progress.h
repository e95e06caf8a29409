// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

// A line on standard error that is overwritten, if that is a terminal, and nothing otherwise.
class Progress
{
public:
    Progress();
    ~Progress() { clear(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(const QString &text); // not more often than is good for the eye
    void clear();

private:
    const bool visible;
    bool shown = false;
    QElapsedTimer sinceShown;
};
