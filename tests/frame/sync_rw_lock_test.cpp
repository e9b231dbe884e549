// The reader-writer lock's order of turns. Threads are told apart by the ids that the operations take, so
// that one real thread plays a reader that already holds the lock while others really wait.
#include "frame/sync_rw_lock.h"

#include <gtest/gtest.h>

#include "tests/frame/caller.h"

namespace optimizer {
namespace {

using frame_test::Caller;

TEST(SyncRWLock, NestedReadPassesAWaitingWriterAndANewReaderQueuesBehindIt) {
    CSyncRWLock lock;
    lock.LockRead(1);
    Caller writer([&] { lock.LockWrite(2); });
    ASSERT_TRUE(writer.IsBlocked());

    lock.LockRead(1);  // would hang here if it queued behind the writer
    Caller reader([&] { lock.LockRead(3); });
    ASSERT_TRUE(reader.IsBlocked());

    lock.UnlockRead(1);
    ASSERT_TRUE(writer.IsBlocked());
    lock.UnlockRead(1);
    ASSERT_TRUE(writer.Finishes());
    EXPECT_TRUE(reader.IsBlocked()) << "the writer goes before readers that came after it";

    lock.UnlockWrite(2);
    ASSERT_TRUE(reader.Finishes());
    lock.UnlockRead(3);
}

TEST(SyncRWLock, AfterAWriterOneWriterGoesThenAllReadersTogether) {
    CSyncRWLock lock;
    lock.LockWrite(1);
    Caller writer([&] { lock.LockWrite(2); });
    ASSERT_TRUE(writer.IsBlocked());
    Caller reader3([&] { lock.LockRead(3); });
    Caller reader4([&] { lock.LockRead(4); });
    ASSERT_TRUE(reader3.IsBlocked());
    ASSERT_TRUE(reader4.IsBlocked());

    lock.UnlockWrite(1);
    ASSERT_TRUE(writer.Finishes());
    EXPECT_TRUE(reader3.IsBlocked());
    lock.UnlockWrite(2);
    ASSERT_TRUE(reader3.Finishes());
    ASSERT_TRUE(reader4.Finishes());
    lock.UnlockRead(3);
    lock.UnlockRead(4);
}

}  // namespace
}  // namespace optimizer
