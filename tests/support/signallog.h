// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QStringList>

/*
    Records the names of an object's own signals in the order of their emission, so that an
    expectation fits on one line: "keywordChanged valueChanged".
*/
class SignalLog : public QObject
{
    Q_OBJECT

public:
    explicit SignalLog(QObject *sender);

    QString taken();

private Q_SLOTS:
    void note();

private:
    QStringList names;
};
