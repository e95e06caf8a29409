// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "extras/extrasglobal.h"

#include <QtCore/QObject>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordLink : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)
    QML_ELEMENT

public:
    explicit PKeywordLink(QObject *parent = nullptr);
    ~PKeywordLink() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    bool connected() const;

Q_SIGNALS:
    void clientChanged();
    void connectedChanged();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
