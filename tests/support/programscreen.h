// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

#include <algorithm>

// A program with a window, from the view of a user with a keyboard and a screen reader: the
// displayed objects and the focus. The program is unchanged; it loads the plugin screenprobe.
class ProgramScreen
{
public:
    // Stops the program, which exits at the end of its input.
    ~ProgramScreen()
    {
        process.closeWriteChannel();
        if (process.state() != QProcess::NotRunning && !process.waitForFinished())
            process.kill();
    }

    // Returns whether there is an active window.
    bool start(const QString &program, const QStringList &arguments, const QString &plugins)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_PLUGIN_PATH"), plugins);
        environment.insert(QStringLiteral("QT_QPA_GENERIC_PLUGINS"), QStringLiteral("screenprobe"));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        return QTest::qWaitFor([this] { return ask(QStringLiteral("active")).toBool(); }, patience);
    }

    // The objects for a screen reader, each with a role, a name, a description, and more.
    QJsonArray objects() { return ask(QStringLiteral("screen")).toArray(); }

    // The first object with this role and name; with any name if name is empty.
    QJsonObject find(const QString &role, const QString &name = {})
    {
        const QJsonArray all = objects();
        for (const auto &object : all) {
            if (object[QLatin1String("role")].toString() == role
                && (name.isEmpty() || object[QLatin1String("name")].toString() == name))
                return object.toObject();
        }
        return {};
    }

    bool shows(const QString &text) { return !find(QStringLiteral("StaticText"), text).isEmpty(); }

    bool shows(const QRegularExpression &pattern)
    {
        const QJsonArray all = objects();
        return std::any_of(all.begin(), all.end(), [&](const QJsonValue &object) {
            return object[QLatin1String("name")].toString().contains(pattern);
        });
    }

    bool press(const QString &keys) { return ask(QStringLiteral("key ") + keys).toBool(); }

    // Moves the focus with the Tab key until this object has it.
    bool focus(const QString &role, const QString &name = {})
    {
        for (int i = 0; i < 40; ++i) {
            if (find(role, name).value(QLatin1String("focused")).toBool())
                return true;
            press(QStringLiteral("Tab"));
        }
        return false;
    }

    // The reply of screenprobe to a command.
    QJsonValue ask(const QString &command)
    {
        process.write(command.toUtf8() + '\n');
        const auto ready = [this] {
            return process.canReadLine() || process.state() == QProcess::NotRunning;
        };
        if (!QTest::qWaitFor(ready, patience) || !process.canReadLine())
            return {};
        return QJsonDocument::fromJson(process.readLine()).object().value(QLatin1String("answer"));
    }

    QString errors() { return QString::fromUtf8(process.readAllStandardError()); }

    static constexpr int patience = 30000; // in milliseconds

private:
    QProcess process;
};
