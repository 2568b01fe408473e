#include "foundation/C_PosixMultiLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "foundation/C_LockStrStream.h"
#include "foundation/C_PosixCriticalSection.h"

namespace {

using std::chrono::milliseconds;

// Two readers hold the lock; a writer waits for both to leave, and a reader
// that comes after the writer waits until the writer is done. Each thread
// notes the step at which it got in (and the writer when it left).
TEST(C_PosixMultiLockConcurrencyTest, WriterWaitsForReadersToDrainAndShutsNewReadersOut) {
  C_PosixMultiLock lock;
  std::atomic<int> step{0}, writerIn{0}, writerOut{0}, lateReaderIn{0};
  lock.GetLock(C_PosixMultiLock::SHARED);
  lock.GetLock(C_PosixMultiLock::SHARED);
  std::thread writer([&] {
    lock.GetLock(C_PosixMultiLock::EXCLUSIVE);
    writerIn = ++step;
    std::this_thread::sleep_for(milliseconds(50));
    writerOut = ++step;
    lock.ReleaseLock(C_PosixMultiLock::EXCLUSIVE);
  });
  std::this_thread::sleep_for(milliseconds(50));
  std::thread lateReader([&] {
    lock.GetLock(C_PosixMultiLock::SHARED);
    lateReaderIn = ++step;
    lock.ReleaseLock(C_PosixMultiLock::SHARED);
  });
  std::this_thread::sleep_for(milliseconds(50));
  lock.ReleaseLock(C_PosixMultiLock::SHARED);
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(step.load(), 0);  // one reader is still in
  lock.ReleaseLock(C_PosixMultiLock::SHARED);
  writer.join();
  lateReader.join();
  EXPECT_EQ(writerIn.load(), 1);
  EXPECT_EQ(writerOut.load(), 2);
  EXPECT_EQ(lateReaderIn.load(), 3);

  // The writer may also read (its lock is recursive); unknown lock types do
  // nothing, so another thread can take the lock afterwards.
  lock.GetLock(C_PosixMultiLock::EXCLUSIVE);
  lock.GetLock(C_PosixMultiLock::SHARED);
  lock.ReleaseLock(C_PosixMultiLock::SHARED);
  lock.ReleaseLock(C_PosixMultiLock::EXCLUSIVE);
  lock.GetLock(static_cast<C_PosixMultiLock::E_LockType>(7));
  lock.ReleaseLock(static_cast<C_PosixMultiLock::E_LockType>(7));
  std::thread other([&] {
    lock.GetLock(C_PosixMultiLock::EXCLUSIVE);
    lock.ReleaseLock(C_PosixMultiLock::EXCLUSIVE);
  });
  other.join();
}

// Two threads increment a plain counter 20000 times each inside i_locked.
template <class T_Locked>
int CountInTwoThreads(T_Locked i_locked) {
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) i_locked([&] { ++counter; });
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  return counter;
}

TEST(C_PosixCriticalSectionConcurrencyTest, RecursiveSectionAndStringStreamLockExclude) {
  C_PosixCriticalSection section;
  EXPECT_EQ(CountInTwoThreads([&](auto i_count) {
              section.Enter();
              section.Enter();
              i_count();
              section.Leave();
              section.Leave();
            }),
            40000);
  EXPECT_EQ(C_LockStrStream::GetInstance(), C_LockStrStream::GetInstance());
  EXPECT_EQ(CountInTwoThreads([](auto i_count) {
              C_LockStrStream::C_Lock lock;
              i_count();
            }),
            40000);
}

}  // namespace
