// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/programrun.h"

#include <QtCore/QProcess>
#include <QtCore/QSet>
#include <QtGui/QImage>
#include <QtTest/QTest>

QMap<QString, QString> Run::values() const
{
    QMap<QString, QString> values;
    const QStringList lines = output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const qsizetype sign = line.indexOf(QLatin1String(" = "));
        if (sign > 0)
            values.insert(line.left(sign).trimmed(), line.mid(sign + 3));
    }
    return values;
}

QString webSocketAddress(quint16 port)
{
    return QStringLiteral("ws://127.0.0.1:%1").arg(port);
}

QProcessEnvironment Desk::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), directory.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), directory.path());
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.remove(QStringLiteral("QT_LOGGING_RULES"));
    return environment;
}

Run Desk::run(const QStringList &arguments) const
{
    return run(arguments, environment());
}

Run Desk::run(const QStringList &arguments, const QProcessEnvironment &environment) const
{
    QProcess process;
    process.setProcessEnvironment(environment);

    Run run;
    process.start(QStringLiteral(PROGRAM), arguments);
    run.finished =
        QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60000);
    if (!run.finished) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = QString::fromUtf8(process.readAllStandardOutput());
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

bool Desk::hasPicture(const QSize &size) const
{
    QImage image(picture());
    if (image.isNull() || image.size() != size)
        return false;
    image.convertTo(QImage::Format_RGB32);
    QSet<QRgb> colors;
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            colors.insert(line[x]);
    }
    return colors.size() > 100;
}

void verifyRefused(const QStringList &arguments, const QString &message, int exitCode)
{
    const Desk desk;
    const Run run = desk.run(arguments);

    QVERIFY(run.finished);
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(run.errors.contains(message), qPrintable(run.errors));
    QCOMPARE(run.output, QString());
}

void verifyAnswersWithoutDisplay(const QString &name)
{
    const Desk desk;
    QProcessEnvironment environment = desk.environment();
    for (const char *variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        environment.remove(QString::fromLatin1(variable));

    const Run help = desk.run({QStringLiteral("--help")}, environment);
    QCOMPARE(help.errors, QString());
    QCOMPARE(help.exitCode, 0);
    QVERIFY2(help.output.contains(QLatin1String("--screenshot")), qPrintable(help.output));

    const Run version = desk.run({QStringLiteral("--version")}, environment);
    QCOMPARE(version.errors, QString());
    QCOMPARE(version.exitCode, 0);
    QVERIFY2(version.output.startsWith(name + QLatin1Char(' ')), qPrintable(version.output));
}

void verifyHelpNames(const QStringList &options)
{
    const Desk desk;
    const Run run = desk.run({QStringLiteral("--help")});

    QVERIFY(run.finished);
    QCOMPARE(run.exitCode, 0);
    for (const QString &option : options)
        QVERIFY2(run.output.contains(option), qPrintable(option));
}
