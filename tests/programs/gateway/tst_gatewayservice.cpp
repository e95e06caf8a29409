// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

struct Analysis
{
    int exitCode = -1;
    QString output;
    QString errors;
};

Analysis analyze(const QStringList &arguments)
{
    QProcess process;
    process.start(q("systemd-analyze"), arguments);
    Analysis analysis;
    if (process.waitForFinished(60000))
        analysis.exitCode = process.exitCode();
    analysis.output = QString::fromUtf8(process.readAllStandardOutput());
    analysis.errors = QString::fromUtf8(process.readAllStandardError());
    return analysis;
}

} // namespace

// Tests the unit as it is installed, except that it starts the program that has been built.
class tst_GatewayService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void unit_isValid();
    void unit_isConfined();
    void mistakes_areFound_data();
    void mistakes_areFound();

private:
    bool copyUnit(const QByteArray &from = {}, const QByteArray &to = {}) const;
    QString unit() const { return folder.filePath(q("keyword-gateway.service")); }
    Analysis verified() const;
    Analysis rated() const;

    const QTemporaryDir folder;
};

void tst_GatewayService::initTestCase()
{
    if (QStandardPaths::findExecutable(q("systemd-analyze")).isEmpty())
        QSKIP("systemd-analyze is not installed");
    static const QRegularExpression version(q("^systemd (\\d+)"));
    const Analysis analysis = analyze({q("--version")});
    const int number = version.match(analysis.output).captured(1).toInt();
    QVERIFY2(number > 0, qPrintable(analysis.output));
    if (number < 250)
        QSKIP("systemd-analyze is too old: version 250 or later is required");
}

// Returns whether the unit contains the texts to replace.
bool tst_GatewayService::copyUnit(const QByteArray &from, const QByteArray &to) const
{
    QFile original(q(UNIT));
    QFile copy(unit());
    if (!original.open(QIODevice::ReadOnly) || !copy.open(QIODevice::WriteOnly))
        return false;
    QByteArray text = original.readAll();
    bool hasAll = text.contains(INSTALLED_PROGRAM " ");
    text.replace(INSTALLED_PROGRAM, PROGRAM);
    hasAll = hasAll && text.contains(from);
    if (!from.isEmpty())
        text.replace(from, to);
    copy.write(text);
    return hasAll;
}

// Only the problems of this unit count, not those of the units on this machine.
Analysis tst_GatewayService::verified() const
{
    return analyze({q("verify"), q("--man=no"), q("--recursive-errors=no"), unit()});
}

// The exit code is 1 if the exposure of the unit, from 0 to 100, exceeds the threshold.
Analysis tst_GatewayService::rated() const
{
    return analyze(
        {q("security"), q("--offline=true"), q("--no-pager"), q("--threshold=20"), unit()});
}

void tst_GatewayService::unit_isValid()
{
    QVERIFY(copyUnit());
    const Analysis analysis = verified();
    const QStringList lines = analysis.errors.split(QLatin1Char('\n'));
    QCOMPARE(lines.filter(q("keyword-gateway")), QStringList());
    QVERIFY2(analysis.exitCode == 0, qPrintable(analysis.errors));
}

void tst_GatewayService::unit_isConfined()
{
    QVERIFY(copyUnit());
    const Analysis analysis = rated();
    QVERIFY2(analysis.exitCode == 0, qPrintable(analysis.output + analysis.errors));
}

// Some versions of systemd-analyze only warn about these mistakes by default.
void tst_GatewayService::mistakes_areFound_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::addColumn<bool>("isValid");
    const auto row = [](const char *name, const char *from, const char *to, bool isValid) {
        QTest::newRow(name) << QByteArray(from) << QByteArray(to) << isValid;
    };
    row("unknown directive", "ProtectClock=", "ProtectClok=", false);
    row("unknown value", "ProtectHome=yes", "ProtectHome=yess", false);
    row("no such program", PROGRAM, PROGRAM "-none", false);
    row("all capabilities", "CapabilityBoundingSet=\n", "", true);
    row("all system calls", "SystemCallFilter=", "#", true);
}

void tst_GatewayService::mistakes_areFound()
{
    QFETCH(const QByteArray, from);
    QFETCH(const QByteArray, to);
    QFETCH(const bool, isValid);
    QVERIFY(copyUnit(from, to));
    const Analysis analysis = isValid ? rated() : verified();
    QVERIFY2(analysis.exitCode > 0, qPrintable(analysis.output + analysis.errors));
}

QTEST_GUILESS_MAIN(tst_GatewayService)
#include "tst_gatewayservice.moc"
