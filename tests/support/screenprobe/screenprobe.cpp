// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTextStream>
#include <QtGui/QAccessible>
#include <QtGui/QGenericPlugin>
#include <QtGui/QGuiApplication>
#include <QtGui/QKeySequence>
#include <QtGui/QPalette>
#include <QtQuick/QQuickWindow>
#include <QtTest/QTest>

#include <array>
#include <unistd.h>

namespace {

QJsonObject described(QAccessibleInterface *interface)
{
    const QAccessible::State state = interface->state();
    QJsonObject object {
        {QStringLiteral("role"), QLatin1String(qAccessibleRoleString(interface->role()))},
        {QStringLiteral("name"), interface->text(QAccessible::Name)},
        {QStringLiteral("description"), interface->text(QAccessible::Description)},
        {QStringLiteral("checked"), bool(state.checked)},
        {QStringLiteral("focused"), bool(state.focused)},
        {QStringLiteral("selected"), bool(state.selected)},
    };
    if (QAccessibleValueInterface *const value = interface->valueInterface())
        object.insert(QStringLiteral("value"), QJsonValue::fromVariant(value->currentValue()));
    return object;
}

void collect(QAccessibleInterface *interface, QJsonArray *objects)
{
    if (!interface || interface->state().invisible)
        return;
    objects->append(described(interface));
    for (int i = 0; i < interface->childCount(); ++i)
        collect(interface->child(i), objects);
}

QPalette darkPalette()
{
    QPalette palette(QColor(0x34, 0x39, 0x3f), QColor(0x23, 0x27, 0x2b));
    palette.setColor(QPalette::Base, QColor(0x1a, 0x1d, 0x20));
    return palette;
}

// Executes the commands from standard input, one per line, and replies to each with one line.
class ScreenProbe : public QObject
{
    Q_OBJECT

public:
    ScreenProbe()
    {
        QAccessible::setActive(true); // as with a screen reader
        connect(&input, &QSocketNotifier::activated, this, &ScreenProbe::read);
    }

private:
    void read();
    QJsonValue obey(const QString &command, const QString &argument);
    static QQuickWindow *window();
    static QJsonValue screen();

    QSocketNotifier input {STDIN_FILENO, QSocketNotifier::Read};
    QByteArray pending;
};

void ScreenProbe::read()
{
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0) {
        QCoreApplication::quit();
        return;
    }
    pending.append(buffer.data(), int(count));
    for (auto end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n')) {
        const QString line = QString::fromUtf8(pending.left(end));
        pending.remove(0, end + 1);
        const QJsonObject answer {
            {QStringLiteral("answer"),
             obey(line.section(QLatin1Char(' '), 0, 0), line.section(QLatin1Char(' '), 1))}};
        QTextStream(stdout) << QJsonDocument(answer).toJson(QJsonDocument::Compact) << Qt::endl;
    }
}

QQuickWindow *ScreenProbe::window()
{
    const QList<QWindow *> windows = QGuiApplication::topLevelWindows();
    return windows.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(windows.constFirst());
}

QJsonValue ScreenProbe::screen()
{
    QJsonArray objects;
    if (QQuickWindow *const shown = window())
        collect(QAccessible::queryAccessibleInterface(shown), &objects);
    return objects;
}

QJsonValue ScreenProbe::obey(const QString &command, const QString &argument)
{
    if (command == QLatin1String("screen"))
        return screen();
    if (command == QLatin1String("active"))
        return window() && window()->isActive();
    if (command == QLatin1String("key") && window()) {
        const QKeySequence keys(argument, QKeySequence::PortableText);
        QTest::keyClick(window(), keys[0].key(), keys[0].keyboardModifiers());
        return true;
    }
    if (command == QLatin1String("dark")) {
        QGuiApplication::setPalette(darkPalette());
        return true;
    }
    if (command == QLatin1String("size") && window()) {
        window()->resize(argument.section(QLatin1Char('x'), 0, 0).toInt(),
                         argument.section(QLatin1Char('x'), 1).toInt());
        return true;
    }
    if (command == QLatin1String("grab") && window())
        return window()->grabWindow().save(argument);
    return false;
}

// Loaded into a program with QT_QPA_GENERIC_PLUGINS=screenprobe, it reports the objects on the
// screen to a test, like a screen reader, and presses keys.
class ScreenProbePlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "screenprobe.json")

public:
    QObject *create(const QString &key, const QString &) override
    {
        return key == QLatin1String("screenprobe") ? new ScreenProbe : nullptr;
    }
};

} // namespace

#include "screenprobe.moc"
