// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/spellings.h"

#include <QtCore/QFile>

namespace {

std::vector<Spelling> readSpellings()
{
    QFile file(QStringLiteral(SPELLINGS));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s: %s", SPELLINGS, qPrintable(file.errorString()));
    std::vector<Spelling> spellings;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().chopped(1);
        if (line.startsWith('#'))
            continue;
        const QByteArrayList columns = line.split('\t');
        if (columns.size() != 4)
            qFatal("%s: not a spelling: %s", SPELLINGS, line.constData());
        spellings.push_back({columns[0], {columns[1], columns[2]}, columns[3]});
    }
    return spellings;
}

} // namespace

const std::vector<Spelling> &spellings()
{
    static const std::vector<Spelling> all = readSpellings();
    return all;
}

std::vector<QByteArray> textsInAllSpellings(int keywords)
{
    const std::vector<Spelling> &all = spellings();
    std::vector<QByteArray> texts;
    texts.reserve(size_t(keywords) * 2);
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < keywords; ++i)
            texts.push_back(all[size_t(i) % all.size()].text(i, round));
    }
    return texts;
}
