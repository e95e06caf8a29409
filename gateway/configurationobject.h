// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <optional>

namespace pellix::gateway {

// An error in a configuration, and its location.
struct ConfigurationProblem
{
    QString pointer; // JSON pointer, such as "/sources/0/mount"
    QString text;
};
using ConfigurationProblems = QList<ConfigurationProblem>;

// An object of the configuration that is being read. Each known member must be requested once:
// finish() reports the others as unknown, and suggests the most similar name. A member of the wrong
// type is a problem and counts as missing, so one run reports all problems.
class ConfigurationObject
{
public:
    // Relative file names refer to the folder.
    ConfigurationObject(const QJsonObject &object, const QString &pointer,
                        ConfigurationProblems *problems, const QString &folder = {});

    QString pointer() const;
    QString pointerTo(const QString &name) const;
    QString pointerTo(const QString &name, qsizetype index) const;
    QJsonObject object() const;
    bool contains(const QString &name) const;
    QStringList names() const;

    std::optional<QString> text(const QString &name);
    std::optional<bool> boolean(const QString &name);
    std::optional<double> number(const QString &name);
    std::optional<int> integer(const QString &name, int least, int most);
    std::optional<QStringList> texts(const QString &name); // a single string is a list of one
    std::optional<QString> word(const QString &name, const QStringList &words); // one of the words
    // The name of a readable file. A relative name refers to the systemd credential of this name,
    // if it exists, and otherwise to the folder of the configuration.
    std::optional<QString> file(const QString &name);
    QJsonValue value(const QString &name); // of any type
    std::optional<ConfigurationObject> object(const QString &name);
    QList<ConfigurationObject> objects(const QString &name); // the elements of a list
    // The elements of a list, or the only value.
    QJsonArray values(const QString &name);
    ConfigurationObject objectAt(const QString &name, qsizetype index) const;

    void problem(const QString &text); // with the object as a whole
    void problem(const QString &name, const QString &text); // with a member
    // With an element of a list, or the only value.
    void problem(const QString &name, qsizetype index, const QString &text);
    int problemCount() const;
    void finish();

private:
    QJsonObject content;
    QString place;
    ConfigurationProblems *problems;
    QString folder;
    QStringList known;
};

} // namespace pellix::gateway
