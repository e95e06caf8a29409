// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

namespace pellix::server {
class KeywordServer;
}

namespace pellix::simulator {

class PELLIXCLIENT_SIMULATOR_EXPORT JsonScene : public QObject
{
    Q_OBJECT

public:
    explicit JsonScene(server::KeywordServer *server, QObject *parent = nullptr);
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
