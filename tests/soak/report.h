// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QTextStream>

// One run of the program soak: its lines go to standard output at once, its figures to a file.
class Report
{
public:
    // Opened before the run, so that hours are not spent for a file that cannot be written.
    bool open(const QString &fileName, QString *error);
    bool save(QString *error);

    template <typename... Parts> void line(const Parts &...parts)
    {
        (out << ... << parts) << Qt::endl;
    }

    QJsonObject figures;

private:
    QTextStream out {stdout};
    QFile file;
};
