// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/topicsync.h"

#include <QtTest/QTest>

using pellix::gateway::TopicSync;
using Verdict = TopicSync::Verdict;

namespace {

constexpr qint64 settled = TopicSync::settlingTime; // time after the last live message
constexpr qint64 longAfter = TopicSync::laggingTime;

} // namespace

class tst_TopicSync : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstCopy_isNew();
    void sameCopy_isKnown();
    void missedValue_isNew();
    void justAfterALiveMessage_isDoubtful();
    void laggingCopy_isOldForLonger();
    void notRetainedMessage_isNotOverwritten();
    void notRetainedMessage_isNotOverwrittenByANewerRetainedOneThatWasSeen();
    void retainedAgain_isNew();
    void withoutFlags_theCopyWinsAtFirst();
    void withoutFlags_aTopicThatIsRetainedStaysOne();
};

void tst_TopicSync::firstCopy_isNew()
{
    TopicSync sync;
    QCOMPARE(sync.takeCopy(1, 0), Verdict::New);
}

void tst_TopicSync::sameCopy_isKnown()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    QCOMPARE(sync.takeCopy(1, 0), Verdict::Known);
    sync.takeLive(2, std::nullopt, 0);
    QCOMPARE(sync.takeCopy(2, 0), Verdict::Known); // at any time
    QCOMPARE(sync.takeCopy(2, settled), Verdict::Known);
}

void tst_TopicSync::missedValue_isNew()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    QCOMPARE(sync.takeCopy(2, 0), Verdict::New);
    QCOMPARE(sync.takeCopy(2, 0), Verdict::Known);
    sync.takeLive(3, std::nullopt, 0);
    QCOMPARE(sync.takeCopy(4, settled), Verdict::New);
}

// In a cluster, a copy may be older.
void tst_TopicSync::justAfterALiveMessage_isDoubtful()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    sync.takeLive(2, std::nullopt, 100);
    QCOMPARE(sync.takeCopy(1, 100), Verdict::Doubtful);
    QCOMPARE(sync.takeCopy(3, 100 + settled - 1), Verdict::Doubtful);
    QCOMPARE(sync.takeCopy(2, 100 + settled - 1), Verdict::Known);
    QCOMPARE(sync.takeCopy(3, 100 + settled), Verdict::New);
}

// A copy from a lagging node has been seen live before. A copy that has not been seen was missed.
void tst_TopicSync::laggingCopy_isOldForLonger()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    for (size_t i = 2; i <= 5; ++i)
        sync.takeLive(i, std::nullopt, 0);
    QCOMPARE(sync.takeCopy(1, settled), Verdict::Old);
    QCOMPARE(sync.takeCopy(3, settled), Verdict::Old);
    QCOMPARE(sync.takeCopy(4, longAfter - 1), Verdict::Old);
    QCOMPARE(sync.takeCopy(6, settled), Verdict::New);
    sync.takeLive(7, std::nullopt, 0);
    QCOMPARE(sync.takeCopy(4, longAfter), Verdict::New);
}

void tst_TopicSync::notRetainedMessage_isNotOverwritten()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    sync.takeLive(2, false, 0);
    for (int i = 0; i < 10; ++i)
        QCOMPARE(sync.takeCopy(1, settled + i), Verdict::Old);
    QCOMPARE(sync.takeCopy(3, settled), Verdict::New); // it was retained later, and missed
}

void tst_TopicSync::notRetainedMessage_isNotOverwrittenByANewerRetainedOneThatWasSeen()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    sync.takeLive(2, true, 0);
    sync.takeLive(3, false, 0);
    QCOMPARE(sync.takeCopy(2, settled), Verdict::Old);
}

void tst_TopicSync::retainedAgain_isNew()
{
    TopicSync sync;
    sync.takeLive(1, true, 0);
    sync.takeLive(2, true, 0);
    QCOMPARE(sync.takeCopy(1, longAfter - 1), Verdict::Old);
    QCOMPARE(sync.takeCopy(1, longAfter), Verdict::New); // 1 was published again, and missed
}

// Either the message was published again and missed, or the retained message never changed.
void tst_TopicSync::withoutFlags_theCopyWinsAtFirst()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    for (int i = 0; i < 2; ++i) {
        sync.takeLive(2, std::nullopt, 0);
        QCOMPARE(sync.takeCopy(1, settled), Verdict::Old);
        QCOMPARE(sync.takeCopy(1, longAfter), Verdict::New);
    }
    sync.takeLive(2, std::nullopt, 0);
    QCOMPARE(sync.takeCopy(1, longAfter), Verdict::Old);
    QCOMPARE(sync.takeCopy(1, longAfter), Verdict::Old);
    QCOMPARE(sync.takeCopy(3, settled), Verdict::New);
}

void tst_TopicSync::withoutFlags_aTopicThatIsRetainedStaysOne()
{
    TopicSync sync;
    sync.takeCopy(1, 0);
    for (int i = 0; i < 10; ++i) {
        sync.takeLive(2, std::nullopt, 0);
        QCOMPARE(sync.takeCopy(1, longAfter), Verdict::New);
        sync.takeLive(2, std::nullopt, 0);
        QCOMPARE(sync.takeCopy(2, settled), Verdict::Known);
        sync.takeLive(1, std::nullopt, 0);
        QCOMPARE(sync.takeCopy(1, settled), Verdict::Known);
    }
}

QTEST_GUILESS_MAIN(tst_TopicSync)
#include "tst_topicsync.moc"
