// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/valuetemplate.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>

namespace pellix::gateway {

namespace {

constexpr qsizetype longestTemplate = 4096;

// The path between the braces, and the filter after it.
std::optional<ValueTemplate> readExpression(const QString &text)
{
    static const QRegularExpression whole(
        QStringLiteral("^(value|value_json)((?:\\.[A-Za-z_][A-Za-z0-9_]*|\\['[^'\\\\]*'\\]|"
                       "\\[\"[^\"\\\\]*\"\\]|\\[[0-9]{1,9}\\])*+)"
                       "\\s*(?:\\|\\s*(float|is_defined|string)\\s*)?$"));
    static const QRegularExpression step(
        QStringLiteral("\\.([A-Za-z0-9_]+)|\\['([^']*)'\\]|\\[\"([^\"]*)\"\\]|\\[([0-9]+)\\]"));
    const QRegularExpressionMatch match = whole.match(text);
    const QString path = match.captured(2);
    if (!match.hasMatch() || (match.captured(1) == QLatin1String("value") && !path.isEmpty()))
        return std::nullopt;

    ValueTemplate result {{}, match.captured(3)};
    for (auto steps = step.globalMatch(path); steps.hasNext();) {
        const QRegularExpressionMatch next = steps.next();
        QString name = next.captured(next.lastCapturedIndex());
        name.replace(QLatin1Char('~'), QLatin1String("~0"));
        name.replace(QLatin1Char('/'), QLatin1String("~1"));
        result.member += QLatin1Char('/') + name;
    }
    return result;
}

} // namespace

std::optional<ValueTemplate> readValueTemplate(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.size() > longestTemplate || trimmed.size() < 4
        || !trimmed.startsWith(QLatin1String("{{")) || !trimmed.endsWith(QLatin1String("}}")))
        return std::nullopt;
    return readExpression(trimmed.mid(2, trimmed.size() - 4).trimmed());
}

std::optional<CommandTemplate> readCommandTemplate(const QString &text)
{
    static const QRegularExpression place(QStringLiteral("(\"?)\\{\\{\\s*value\\s*\\}\\}(\"?)"));
    const QString trimmed = text.trimmed();
    if (trimmed.size() > longestTemplate || trimmed.contains(QLatin1String("$value")))
        return std::nullopt;
    const QRegularExpressionMatch match = place.match(trimmed);
    if (!match.hasMatch())
        return std::nullopt;
    if (match.capturedLength() == trimmed.size() && match.captured(1).isEmpty()
        && match.captured(2).isEmpty())
        return CommandTemplate();

    // Either both quotation marks or none, and valid JSON once a value is inserted.
    const bool isQuoted = !match.captured(1).isEmpty();
    const QString before = trimmed.left(match.capturedStart());
    const QString after = trimmed.mid(match.capturedEnd());
    const QString rest = before + after;
    const QByteArray example = (before + QLatin1Char('1') + after).toUtf8();
    if (isQuoted == match.captured(2).isEmpty() || rest.contains(QLatin1String("{{"))
        || rest.contains(QLatin1String("{%")) || rest.contains(QLatin1String("{#"))
        || QJsonDocument::fromJson(example).isNull())
        return std::nullopt;
    return CommandTemplate {(before + QLatin1String("$value") + after).toUtf8(), isQuoted};
}

} // namespace pellix::gateway
