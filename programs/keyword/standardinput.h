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
    int number = 0; // starts with 1
    QString text; // without the line break
    bool isUtf8 = true;

    // The text of a message about a problem with this line.
    QString complaint(const QString &problem) const;
};

// Reads standard input line by line as it arrives, without blocking.
class StandardInput : public QObject
{
    Q_OBJECT

public:
    StandardInput();
    ~StandardInput() override;

    void start();
    void setPaused(bool paused); // reads nothing while paused

Q_SIGNALS:
    void linesRead(const QList<InputLine> &lines);
    void ended();
    void failed(const QString &problem);

private:
    void read();
    void takeLines(bool isEnd);
    void fail(const QString &problem);

    std::unique_ptr<QSocketNotifier> notifier;
    QByteArray pending; // an incomplete line
    qsizetype searched = 0; // the number of its bytes that contain no line break
    int lines = 0;
};
