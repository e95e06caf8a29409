// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/keywordresource.h"

#include <QtCore/QFile>

#include <cstdio>

// Reads the file of a component without registering any type.
int main()
{
    pellix::client::initKeywordResource();
    pellix::client::initKeywordResource(); // has no effect
    std::printf("resource %s\n",
                QFile::exists(QStringLiteral(":/PKeywordPath.qml")) ? "found" : "missing");
    return 0;
}
