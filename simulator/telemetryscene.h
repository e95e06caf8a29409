// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

namespace pellix::server {
class KeywordServer;
}

namespace pellix::simulator {

class PELLIXCLIENT_SIMULATOR_EXPORT TelemetryScene : public QObject
{
    Q_OBJECT

public:
    explicit TelemetryScene(server::KeywordServer *server, QObject *parent = nullptr);
    ~TelemetryScene() override;

    void setRootFolder(const QString &folder);
    void start();
    void stop();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::simulator
