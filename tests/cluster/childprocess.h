// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QStringList>

// What a process has used.
struct Usage
{
    double processorSeconds = 0;
    qint64 residentKib = 0;
};

// A program that ends with this one, however that ends.
class ChildProcess : public QObject
{
    Q_OBJECT

public:
    explicit ChildProcess(const QString &name, QObject *parent = nullptr);
    ~ChildProcess() override;

    // Its standard error goes to the file, and its output as well if nobody reads it.
    void setLog(const QString &fileName, bool withOutput);
    void setCores(const QList<int> &cores); // which it may run on; all if empty
    bool start(const QString &program, const QStringList &arguments);
    void signal(int number);
    bool terminate(); // and wait for its end
    void kill();
    bool isRunning() const { return process.state() == QProcess::Running; }
    Usage usage() const;
    void write(const QByteArray &line);

Q_SIGNALS:
    void lineRead(const QByteArray &line);

private:
    QProcess process;
    QList<int> cores;
};
