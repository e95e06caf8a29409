// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QSettings>
#include <QtCore/QSize>
#include <QtCore/QStringList>
#include <QtQml/qqmlregistration.h>

#include <memory>

// The settings that the browser stores between sessions. Each change is written immediately.
class Preferences : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList pinned READ pinned WRITE setPinned NOTIFY pinnedChanged)
    Q_PROPERTY(int aggregation READ aggregation WRITE setAggregation NOTIFY aggregationChanged)
    Q_PROPERTY(bool dark READ dark WRITE setDark NOTIFY darkChanged)
    Q_PROPERTY(QSize windowSize READ windowSize WRITE setWindowSize NOTIFY windowSizeChanged)
    QML_ELEMENT
    QML_UNCREATABLE("The program creates the preferences")

public:
    // Uses the INI file of this name, or the user's settings of this program if it is empty.
    explicit Preferences(const QString &fileName = {}, QObject *parent = nullptr);

    QStringList pinned() const;
    void setPinned(const QStringList &pinned);
    Q_INVOKABLE void pin(const QString &keyword); // no effect if already pinned
    Q_INVOKABLE void unpin(const QString &keyword);

    int aggregation() const; // a PKeywordAggregation
    void setAggregation(int aggregation);

    bool dark() const;
    void setDark(bool dark);

    QSize windowSize() const;
    void setWindowSize(const QSize &size);

    // The name of a file that does not exist yet, in the user's documents folder, to save values.
    Q_INVOKABLE QString exportFile(const QString &baseName) const;
    Q_INVOKABLE bool fileExists(const QString &path) const;

Q_SIGNALS:
    void pinnedChanged();
    void aggregationChanged();
    void darkChanged();
    void windowSizeChanged();

private:
    const std::unique_ptr<QSettings> settings;
};
