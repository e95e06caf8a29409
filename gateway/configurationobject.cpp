// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/configurationobject.h"

#include "text/suggestion.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cmath>

namespace pellix::gateway {

namespace {

QString kindOf(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double:
        return QStringLiteral("a number");
    case QJsonValue::String:
        return QStringLiteral("a text");
    case QJsonValue::Array:
        return QStringLiteral("a list");
    case QJsonValue::Object:
        return QStringLiteral("an object");
    default:
        return QStringLiteral("null");
    }
}

QString wrongKind(const char *wanted, const QJsonValue &value)
{
    return QStringLiteral("must be %1, not %2").arg(QLatin1String(wanted), kindOf(value));
}

QString escaped(QString name)
{
    return name.replace(QLatin1Char('~'), QLatin1String("~0"))
        .replace(QLatin1Char('/'), QLatin1String("~1"));
}

QString below(const QString &pointer, const QString &name)
{
    return pointer + QLatin1Char('/') + escaped(name);
}

} // namespace

ConfigurationObject::ConfigurationObject(const QJsonObject &object, const QString &pointer,
                                         ConfigurationProblems *problems, const QString &folder)
    : content(object), place(pointer), problems(problems), folder(folder)
{ }

QString ConfigurationObject::pointer() const
{
    return place;
}

QString ConfigurationObject::pointerTo(const QString &name) const
{
    return below(place, name);
}

QString ConfigurationObject::pointerTo(const QString &name, qsizetype index) const
{
    const QString pointer = pointerTo(name);
    return content.value(name).isArray() ? below(pointer, QString::number(index)) : pointer;
}

QJsonObject ConfigurationObject::object() const
{
    return content;
}

bool ConfigurationObject::contains(const QString &name) const
{
    return content.contains(name);
}

QStringList ConfigurationObject::names() const
{
    return content.keys();
}

std::optional<QString> ConfigurationObject::text(const QString &name)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return {};
    if (given.isString())
        return given.toString();
    problem(name, wrongKind("a text", given));
    return {};
}

std::optional<bool> ConfigurationObject::boolean(const QString &name)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return {};
    if (given.isBool())
        return given.toBool();
    problem(name, wrongKind("true or false", given));
    return {};
}

std::optional<double> ConfigurationObject::number(const QString &name)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return {};
    if (given.isDouble())
        return given.toDouble();
    problem(name, wrongKind("a number", given));
    return {};
}

std::optional<int> ConfigurationObject::integer(const QString &name, int least, int most)
{
    const std::optional<double> given = number(name);
    if (!given)
        return {};
    if (*given >= least && *given <= most && std::floor(*given) == *given)
        return int(*given);
    problem(name, QStringLiteral("must be an integer from %1 to %2").arg(least).arg(most));
    return {};
}

std::optional<QStringList> ConfigurationObject::texts(const QString &name)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return {};
    if (given.isString())
        return QStringList {given.toString()};
    if (!given.isArray()) {
        problem(name, wrongKind("a string or a list of strings", given));
        return {};
    }
    const int before = problemCount();
    QStringList texts;
    const QJsonArray entries = given.toArray();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (entries.at(i).isString())
            texts.append(entries.at(i).toString());
        else
            problem(name, i, wrongKind("a text", entries.at(i)));
    }
    if (problemCount() > before)
        return {};
    return texts;
}

std::optional<QString> ConfigurationObject::word(const QString &name, const QStringList &words)
{
    std::optional<QString> given = text(name);
    if (!given || words.contains(*given))
        return given;
    problem(name,
            QStringLiteral("must be one of %1, not \"%2\"%3")
                .arg(words.join(QLatin1String(", ")), *given, suggestion(*given, words)));
    return {};
}

std::optional<QString> ConfigurationObject::file(const QString &name)
{
    const std::optional<QString> given = text(name);
    if (!given)
        return {};
    QString path = QDir(folder).filePath(*given);
    const QString credentials = qEnvironmentVariable("CREDENTIALS_DIRECTORY");
    if (!credentials.isEmpty() && QDir::isRelativePath(*given)
        && QFileInfo(QDir(credentials).filePath(*given)).isFile())
        path = QDir(credentials).filePath(*given);
    QFile file(path);
    if (QFileInfo(path).isDir())
        problem(name, QStringLiteral("cannot open %1: it is a folder").arg(path));
    else if (!file.open(QIODevice::ReadOnly))
        problem(name, QStringLiteral("cannot open %1: %2").arg(path, file.errorString()));
    else
        return path;
    return {};
}

QJsonValue ConfigurationObject::value(const QString &name)
{
    if (!known.contains(name))
        known.append(name);
    return content.value(name);
}

std::optional<ConfigurationObject> ConfigurationObject::object(const QString &name)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return {};
    if (given.isObject())
        return ConfigurationObject(given.toObject(), pointerTo(name), problems, folder);
    problem(name, wrongKind("an object", given));
    return {};
}

QList<ConfigurationObject> ConfigurationObject::objects(const QString &name)
{
    const QJsonValue given = value(name);
    QList<ConfigurationObject> objects;
    if (given.isUndefined())
        return objects;
    if (!given.isArray()) {
        problem(name, wrongKind("a list of objects", given));
        return objects;
    }
    const QJsonArray entries = given.toArray();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (entries.at(i).isObject())
            objects.append(objectAt(name, i));
        else
            problem(name, i, wrongKind("an object", entries.at(i)));
    }
    return objects;
}

QJsonArray ConfigurationObject::values(const QString &name)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return {};
    return given.isArray() ? given.toArray() : QJsonArray {given};
}

ConfigurationObject ConfigurationObject::objectAt(const QString &name, qsizetype index) const
{
    const QJsonValue given = content.value(name);
    const QJsonValue element = given.isArray() ? given.toArray().at(index) : given;
    return ConfigurationObject(element.toObject(), pointerTo(name, index), problems, folder);
}

void ConfigurationObject::problem(const QString &text)
{
    problems->append({place, text});
}

void ConfigurationObject::problem(const QString &name, const QString &text)
{
    problems->append({pointerTo(name), text});
}

void ConfigurationObject::problem(const QString &name, qsizetype index, const QString &text)
{
    problems->append({pointerTo(name, index), text});
}

int ConfigurationObject::problemCount() const
{
    return int(problems->size());
}

void ConfigurationObject::finish()
{
    for (const QString &name : names()) {
        if (known.contains(name))
            continue;
        QString hint = suggestion(name, known);
        if (hint.isEmpty() && !known.isEmpty())
            hint = QStringLiteral("; known here: ") + known.join(QLatin1String(", "));
        problem(name, QStringLiteral("unknown member \"%1\"%2").arg(name, hint));
    }
}

} // namespace pellix::gateway
