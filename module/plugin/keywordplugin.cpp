// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/moduleregistration_p.h"

#include <QtQml/QQmlEngineExtensionPlugin>

// Registers PellixClient.Keyword in programs that do not register it themselves, such as qml.
class PellixClientKeywordPlugin : public QQmlEngineExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlEngineExtensionInterface_iid)

public:
    PellixClientKeywordPlugin() { pellix::client::registerTypesOnImport(); }
};

#include "keywordplugin.moc"
