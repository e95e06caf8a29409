// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Keywords, one per line, processed by the rules for paths and compared with a
// character-by-character implementation. The line after a keyword is the distance to its parent.

#include "models/keywordpathmodel.h"
#include "models/keywordquerymodel.h"
#include "tests/fuzz/fuzz.h"

#include <QtTest/QAbstractItemModelTester>

using namespace pellix::client;

namespace {

// Replaces "//" with "/" in one pass, and adds a leading "/".
QString cleaned(const QString &keyword)
{
    QString result;
    for (qsizetype i = 0; i < keyword.size(); ++i) {
        result += keyword.at(i);
        if (keyword.at(i) == QLatin1Char('/') && i + 1 < keyword.size()
            && keyword.at(i + 1) == QLatin1Char('/'))
            ++i;
    }
    if (result.isEmpty() || result.at(0) != QLatin1Char('/'))
        result.prepend(QLatin1Char('/'));
    return result;
}

QStringList split(const QString &keyword)
{
    // Levels are separated by a regular expression, which does not match in invalid strings.
    if (!keyword.isValidUtf16())
        return {keyword};
    QStringList levels;
    QString level;
    for (const QChar c : keyword + QLatin1Char('/')) {
        if (c != QLatin1Char('/') && c != QLatin1Char('#')) {
            level += c;
        } else if (!level.isEmpty()) {
            levels += level;
            level.clear();
        }
    }
    return levels;
}

QString joined(const QStringList &levels)
{
    return cleaned(levels.join(QLatin1Char('/')));
}

} // namespace

void runInput(const QByteArray &input)
{
    const PKeywordQueryModel rules;
    PKeywordPathModel path;
    const QAbstractItemModelTester tester(&path,
                                          QAbstractItemModelTester::FailureReportingMode::Warning);
    QString stored;
    Lines lines(input);
    while (!lines.atEnd()) {
        const QString keyword = lines.text();
        const int distance = lines.bytes().toInt();
        const bool valid = keyword.isValidUtf16();

        const QString clean = rules.getCleanKeyword(keyword);
        FUZZ_CHECK(clean == cleaned(keyword));
        FUZZ_CHECK(clean.startsWith(QLatin1Char('/')));
        FUZZ_CHECK(clean.contains(QLatin1String("//")) == keyword.contains(QLatin1String("///")));

        const QStringList levels = rules.splitKeyword(keyword);
        FUZZ_CHECK(levels == split(keyword));
        FUZZ_CHECK(levels == rules.splitKeyword(clean) || !valid);
        FUZZ_CHECK(!levels.contains(QString()) || !valid);

        const QString normal = rules.joinKeyword(levels);
        FUZZ_CHECK(normal == joined(levels));
        FUZZ_CHECK(rules.splitKeyword(normal) == levels || !valid);
        FUZZ_CHECK(rules.joinKeyword(rules.splitKeyword(normal)) == normal || !valid);
        FUZZ_CHECK(rules.getCleanKeyword(normal) == normal || !valid);

        const QString parent = rules.getParentKeyword(keyword, distance);
        const auto kept = qMax(qint64(0), qint64(levels.size()) - qMax(0, distance));
        FUZZ_CHECK(parent == joined(levels.mid(0, kept)));
        FUZZ_CHECK(rules.getParentKeyword(keyword, 0) == normal);
        FUZZ_CHECK(rules.getParentKeyword(keyword, int(levels.size())) == QLatin1String("/"));

        if (clean != stored)
            stored = cleaned(clean);
        const QStringList rows = split(stored);
        path.setKeyword(keyword);
        FUZZ_CHECK(path.keyword() == stored);
        FUZZ_CHECK(path.normalizedKeyword() == joined(rows));
        FUZZ_CHECK(path.rowCount() == rows.size());
        // The keywords of all rows take quadratic time for a long path, so only the last rows are
        // checked.
        for (int row = qMax(0, path.rowCount() - 32); row < path.rowCount(); ++row) {
            const auto of = [&](int role) { return path.index(row, 0).data(role); };
            FUZZ_CHECK(of(PKeywordPathModel::PartRole).toString() == rows.at(row));
            FUZZ_CHECK(of(PKeywordPathModel::IndexRole).toInt() == row);
            FUZZ_CHECK(of(PKeywordPathModel::KeywordRole).toString()
                       == joined(rows.mid(0, row + 1)));
        }
    }
}
