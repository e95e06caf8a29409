// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QTextStream>

// The report of a run of the program soak: prints its lines at once, and saves its figures to a
// file.
class Report
{
public:
    // Opens the file before the run, so that an invalid name is reported before hours of work.
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
