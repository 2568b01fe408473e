#include "foundation/C_PosixMultiLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "foundation/C_LockStrStream.h"
#include "foundation/C_PosixCriticalSection.h"

namespace {

using std::chrono::milliseconds;

TEST(C_PosixMultiLockConcurrencyTest, WriterWaitsForReadersToDrainAndShutsNewReadersOut) {
  C_PosixMultiLock lock;
  std::atomic<bool> writerIn{false}, lateReaderIn{false};

  lock.GetLock(C_PosixMultiLock::SHARED);
  lock.GetLock(C_PosixMultiLock::SHARED);  // two readers hold it

  std::thread writer([&] {
    lock.GetLock(C_PosixMultiLock::EXCLUSIVE);
    writerIn = true;
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_FALSE(lateReaderIn.load());  // no reader while the writer holds it
    lock.ReleaseLock(C_PosixMultiLock::EXCLUSIVE);
  });
  std::this_thread::sleep_for(milliseconds(50));
  std::thread lateReader([&] {
    lock.GetLock(C_PosixMultiLock::SHARED);
    lateReaderIn = true;
    lock.ReleaseLock(C_PosixMultiLock::SHARED);
  });
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(writerIn.load());
  EXPECT_FALSE(lateReaderIn.load());  // blocked behind the waiting writer

  lock.ReleaseLock(C_PosixMultiLock::SHARED);
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(writerIn.load());  // one reader is still in
  lock.ReleaseLock(C_PosixMultiLock::SHARED);

  writer.join();
  lateReader.join();
  EXPECT_TRUE(writerIn.load());
  EXPECT_TRUE(lateReaderIn.load());
}

TEST(C_PosixMultiLockConcurrencyTest, TheWriterMayAlsoReadAndUnknownTypesDoNothing) {
  C_PosixMultiLock lock;
  lock.GetLock(C_PosixMultiLock::EXCLUSIVE);
  lock.GetLock(C_PosixMultiLock::SHARED);  // recursive writer lock: no deadlock
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

TEST(C_PosixCriticalSectionConcurrencyTest, IsRecursiveAndExcludesOtherThreads) {
  C_PosixCriticalSection section;
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      section.Enter();
      section.Enter();
      ++counter;
      section.Leave();
      section.Leave();
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(counter, 40000);
}

TEST(C_LockStrStreamConcurrencyTest, OneInstanceGuardsEveryFormatter) {
  EXPECT_EQ(C_LockStrStream::GetInstance(), C_LockStrStream::GetInstance());
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      C_LockStrStream::C_Lock lock;
      ++counter;
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(counter, 40000);
}

}  // namespace
