// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QStringList>

// The resources that a process has used.
struct Usage
{
    double processorSeconds = 0;
    qint64 residentKib = 0;
};

// A program that is stopped when this one ends, even if this one is killed.
class ChildProcess : public QObject
{
    Q_OBJECT

public:
    explicit ChildProcess(const QString &name, QObject *parent = nullptr);
    ~ChildProcess() override;

    // Appends standard error to the file. Also appends standard output if withOutput is set;
    // lineRead() is then not emitted.
    void setLog(const QString &fileName, bool withOutput);
    void setCores(const QList<int> &cores); // that it may run on; all if empty
    bool start(const QString &program, const QStringList &arguments);
    void signal(int number);
    bool terminate(); // and waits until it has ended
    void kill();
    bool isRunning() const { return process.state() == QProcess::Running; }
    Usage usage() const;
    void write(const QByteArray &line);

Q_SIGNALS:
    void lineRead(const QByteArray &line);
    void ended(); // not for the destructor

private:
    QProcess process;
    QList<int> cores;
};
