// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/memory.h"

#include <QtCore/QFile>
#include <QtCore/QList>

#ifdef Q_OS_LINUX
#include <unistd.h>
#endif
#ifdef __GLIBC__
#include <malloc.h>
#endif

Memory Memory::now()
{
    Memory memory;
#ifdef Q_OS_LINUX
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (statm.open(QIODevice::ReadOnly))
        memory.resident =
            statm.readAll().split(' ').value(1).toLongLong() * ::sysconf(_SC_PAGESIZE);
#endif
#if defined(__GLIBC__) && (__GLIBC__ > 2 || __GLIBC_MINOR__ >= 33)
    const struct mallinfo2 info = ::mallinfo2();
    memory.heap = qint64(info.uordblks) + qint64(info.hblkhd);
#endif
    return memory;
}
