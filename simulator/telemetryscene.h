// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

namespace pellix::simulator {

class KeywordServer;

class PELLIXCLIENT_SIMULATOR_EXPORT TelemetryScene : public QObject
{
    Q_OBJECT

public:
    explicit TelemetryScene(KeywordServer *server, QObject *parent = nullptr);
    ~TelemetryScene() override;

    void setRootFolder(const QString &folder);
    void start();
    void stop();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::simulator
