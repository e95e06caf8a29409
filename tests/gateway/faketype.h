// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/sourcetype.h"
#include "tests/gateway/fakesource.h"

#include <QtCore/QPointer>

#include <memory>
#include <vector>

// A type of sources with the member "fake", a text that names the source for the test. Running
// sources accept another "hint".
class FakeType : public pellix::gateway::SourceType
{
public:
    class Settings : public pellix::gateway::SourceSettings
    {
    public:
        std::unique_ptr<pellix::gateway::Source> create() const override
        {
            auto source = std::make_unique<FakeSource>();
            source->setObjectName(name);
            source->isReadyAtOnce = type->areReadyAtOnce;
            source->hangs = type->hang;
            type->made.push_back(source.get());
            return source;
        }
        bool apply(const SourceSettings &other, pellix::gateway::Source *source) const override
        {
            const auto &next = static_cast<const Settings &>(other);
            if (next.name != name)
                return false;
            source->setProperty("hint", next.hint);
            return true;
        }
        bool operator==(const SourceSettings &other) const override
        {
            const auto &next = static_cast<const Settings &>(other);
            return next.name == name && next.hint == hint;
        }

        const FakeType *type = nullptr;
        QString name;
        QString hint;
    };

    QString name() const override { return QStringLiteral("fake"); }
    std::shared_ptr<const pellix::gateway::SourceSettings>
    read(pellix::gateway::ConfigurationObject &source) const override
    {
        auto settings = std::make_shared<Settings>();
        const std::optional<QString> name = source.text(QStringLiteral("fake"));
        settings->type = this;
        settings->hint = source.text(QStringLiteral("hint")).value_or(QString());
        if (!name)
            return nullptr;
        settings->name = *name;
        return settings;
    }

    FakeSource *source(const char *name) const
    {
        for (auto i = made.rbegin(); i != made.rend(); ++i) {
            if (*i && (*i)->objectName() == QLatin1String(name))
                return i->data();
        }
        return nullptr;
    }

    mutable std::vector<QPointer<FakeSource>> made;
    bool areReadyAtOnce = true;
    bool hang = false;
};
