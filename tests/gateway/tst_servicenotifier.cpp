// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/servicenotifier.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <cstddef>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace pellix::gateway;

namespace {

// The socket that receives the notifications.
class Listener
{
public:
    explicit Listener(const QByteArray &name)
    {
        sockaddr_un address {};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.constData(), std::size_t(name.size()));
        if (name.startsWith('@'))
            address.sun_path[0] = '\0';
        descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        isBound = ::bind(descriptor, reinterpret_cast<const sockaddr *>(&address),
                         socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(name.size())))
            == 0;
    }
    ~Listener() { ::close(descriptor); }
    QByteArray next() const
    {
        char bytes[1000];
        const auto size = ::recv(descriptor, bytes, sizeof(bytes), 0);
        return size < 0 ? QByteArray() : QByteArray(bytes, qsizetype(size));
    }

    int descriptor = -1;
    bool isBound = false;
};

} // namespace

class tst_ServiceNotifier : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void states_areTold_data();
    void states_areTold();
    void watchdog_isFed_data();
    void watchdog_isFed();
    void nobody_isTold();
};

void tst_ServiceNotifier::cleanup()
{
    qunsetenv("NOTIFY_SOCKET");
    qunsetenv("WATCHDOG_USEC");
    qunsetenv("WATCHDOG_PID");
}

void tst_ServiceNotifier::states_areTold_data()
{
    QTest::addColumn<bool>("isAbstract");
    QTest::newRow("file") << false;
    QTest::newRow("abstract") << true;
}

void tst_ServiceNotifier::states_areTold()
{
    QFETCH(bool, isAbstract);
    const QTemporaryDir folder;
    const QByteArray name = isAbstract
        ? "@tst_servicenotifier" + QByteArray::number(QCoreApplication::applicationPid())
        : folder.filePath(QStringLiteral("notify")).toUtf8();
    const Listener listener(name);
    QVERIFY(listener.isBound);
    qputenv("NOTIFY_SOCKET", name);
    ServiceNotifier notifier;
    QVERIFY(notifier.isWanted());
    QVERIFY(!qEnvironmentVariableIsSet("NOTIFY_SOCKET"));
    notifier.ready();
    QCOMPARE(listener.next(), QByteArray("READY=1"));
    notifier.reloading();
    const QByteArray reloading = listener.next();
    QVERIFY2(reloading.startsWith("RELOADING=1\nMONOTONIC_USEC="), reloading);
    QVERIFY(reloading.split('=').constLast().toLongLong() > 0);
    notifier.setStatus(QStringLiteral("1 client\nREADY=1"));
    QCOMPARE(listener.next(), QByteArray("STATUS=1 client READY=1"));
    notifier.setStatus(QStringLiteral("1 client\nREADY=1"));
    QCOMPARE(listener.next(), QByteArray());
    notifier.stopping();
    QCOMPARE(listener.next(), QByteArray("STOPPING=1"));
    QCOMPARE(listener.next(), QByteArray());
}

void tst_ServiceNotifier::watchdog_isFed_data()
{
    QTest::addColumn<QByteArray>("process");
    QTest::addColumn<bool>("isFed");
    QTest::newRow("of any") << QByteArray() << true;
    QTest::newRow("of ours") << QByteArray::number(QCoreApplication::applicationPid()) << true;
    QTest::newRow("of another") << QByteArray("1") << false;
}

void tst_ServiceNotifier::watchdog_isFed()
{
    QFETCH(QByteArray, process);
    QFETCH(bool, isFed);
    const QTemporaryDir folder;
    const QByteArray name = folder.filePath(QStringLiteral("notify")).toUtf8();
    const Listener listener(name);
    qputenv("NOTIFY_SOCKET", name);
    qputenv("WATCHDOG_USEC", "20000");
    if (!process.isEmpty())
        qputenv("WATCHDOG_PID", process);
    const ServiceNotifier notifier;
    QByteArray told;
    const auto isTold = [&] {
        told = listener.next();
        return !told.isEmpty();
    };
    if (isFed) {
        for (int i = 0; i < 2; ++i) {
            QVERIFY(QTest::qWaitFor(isTold));
            QCOMPARE(told, QByteArray("WATCHDOG=1"));
        }
        return;
    }
    QVERIFY(!QTest::qWaitFor(isTold, 100));
}

void tst_ServiceNotifier::nobody_isTold()
{
    ServiceNotifier none;
    QVERIFY(!none.isWanted());
    none.ready();
    qputenv("NOTIFY_SOCKET", "/nowhere/at/all");
    ServiceNotifier gone;
    gone.ready();
    qputenv("NOTIFY_SOCKET", QByteArray(200, 'a'));
    ServiceNotifier tooLong;
    tooLong.ready();
}

QTEST_GUILESS_MAIN(tst_ServiceNotifier)
#include "tst_servicenotifier.moc"
