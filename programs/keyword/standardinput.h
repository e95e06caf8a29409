// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

QT_BEGIN_NAMESPACE
class QSocketNotifier;
QT_END_NAMESPACE

struct InputLine
{
    int number = 0; // from 1
    QString text; // without its end
    bool isUtf8 = true;

    // For messages: what is wrong with the line.
    QString complaint(const QString &problem) const;
};

// Standard input, line by line, as it comes and without waiting for it.
class StandardInput : public QObject
{
    Q_OBJECT

public:
    StandardInput();
    ~StandardInput() override;

    void start();
    void setPaused(bool paused); // reads nothing meanwhile

Q_SIGNALS:
    void linesRead(const QList<InputLine> &lines);
    void ended();
    void failed(const QString &problem);

private:
    void read();
    void takeLines(bool isEnd);
    void fail(int error);

    std::unique_ptr<QSocketNotifier> notifier;
    QByteArray pending; // not a whole line yet
    int lines = 0;
};
