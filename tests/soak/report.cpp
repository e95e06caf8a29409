// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/report.h"

#include <QtCore/QJsonDocument>

bool Report::open(const QString &fileName, QString *error)
{
    file.setFileName(fileName);
    if (file.open(QIODevice::WriteOnly))
        return true;
    *error = fileName + QLatin1String(": ") + file.errorString();
    return false;
}

bool Report::save(QString *error)
{
    if (!file.isOpen())
        return true;
    const QByteArray json = QJsonDocument(figures).toJson();
    if (file.write(json) == json.size() && file.flush())
        return true;
    *error = file.fileName() + QLatin1String(": ") + file.errorString();
    return false;
}
