// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <optional>

namespace pellix::gateway {

// What is wrong in a configuration, and where.
struct ConfigurationProblem
{
    QString pointer; // JSON pointer, such as "/sources/0/mount"
    QString text;
};
using ConfigurationProblems = QList<ConfigurationProblem>;

// An object of the configuration that is being read. Each member has to be asked for: finish()
// tells which ones nobody knows, with the nearest name. A member of a wrong kind is a problem and
// counts as missing, so that one run says everything that is wrong.
class ConfigurationObject
{
public:
    // Relative file names are below the folder.
    ConfigurationObject(const QJsonObject &object, const QString &pointer,
                        ConfigurationProblems *problems, const QString &folder = {});

    QString pointer() const;
    QString pointerTo(const QString &name) const;
    QJsonObject object() const;
    bool contains(const QString &name) const;
    QStringList names() const;

    std::optional<QString> text(const QString &name);
    std::optional<bool> boolean(const QString &name);
    std::optional<double> number(const QString &name);
    std::optional<int> integer(const QString &name, int least, int most);
    std::optional<QStringList> texts(const QString &name); // a text alone is a list of one
    std::optional<QString> word(const QString &name, const QStringList &words); // one of them
    // The name of a file that can be read. A relative one is one of the credentials that systemd
    // hands to a service, if there is such a one, and otherwise below the folder of the
    // configuration.
    std::optional<QString> file(const QString &name);
    QJsonValue value(const QString &name); // of any kind
    std::optional<ConfigurationObject> object(const QString &name);
    QList<ConfigurationObject> objects(const QString &name); // of a list

    void problem(const QString &text); // of the object as a whole
    void problem(const QString &name, const QString &text); // of a member
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
