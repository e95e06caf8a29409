// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

namespace pellix::simulator {

class KeywordServer;

class PELLIXCLIENT_SIMULATOR_EXPORT JsonScene : public QObject
{
    Q_OBJECT

public:
    explicit JsonScene(KeywordServer *server, QObject *parent = nullptr);
    ~JsonScene() override;

    bool load(const QString &fileName, QString *error = nullptr);
    bool loadData(const QByteArray &json, const QString &name, QString *error = nullptr);

    void start();
    void stop();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::simulator
