// Reference counting under contention. Also run under ThreadSanitizer
// (the suite name matches the threaded-test filter of ./run).
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Blob/C_Blob.h"

namespace {

const int kThreads = 8;
const int kRounds = 20000;

std::atomic<int> s_frees{0};

// Frees the buffer and counts how often that happens.
void CountingDeleter(void* i_instance) {
  s_frees.fetch_add(1);
  C_NonConstReference<C_BlobData>::StandardDeleter(i_instance);
}

// Starts all threads together so that they really overlap.
template <class F>
void RunTogether(F i_work) {
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&go, &i_work, t] {
      while (!go.load()) std::this_thread::yield();
      i_work(t);
    });
  }
  go.store(true);
  for (std::thread& thread : threads) thread.join();
}

// Threads copy, assign and drop handles to one buffer; the count must come
// back to exactly the main thread's one reference, and the bytes stay put.
TEST(C_BlobConcurrencyTest, CopiesAndDropsKeepTheCount) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
  C_Blob shared(bytes, sizeof bytes, false);
  std::atomic<int> badReads{0};
  RunTogether([&](int) {
    C_Blob mine;
    for (int i = 0; i < kRounds; ++i) {
      C_Blob copy(shared);
      mine = copy;
      unsigned length = 0;
      const unsigned char* data = mine.GetData(length);
      if (length != sizeof bytes || data[7] != 8) badReads.fetch_add(1);
      if (i % 3 == 0) mine.ClearData();
    }
  });
  EXPECT_EQ(badReads.load(), 0);
  EXPECT_EQ(shared.GetSharedData().GetReferenceCount(), 1);
}

// The last reference is dropped by whichever thread gets there last; the
// buffer is freed exactly once.
TEST(C_BlobConcurrencyTest, BufferFreedExactlyOnce) {
  for (int trial = 0; trial < 20; ++trial) {
    s_frees.store(0);
    const unsigned char bytes[64] = {42};
    C_SmartPtr<C_BlobData> shared(
        new C_NonConstReference<C_BlobData>(new C_BlobData(bytes, sizeof bytes, false), &CountingDeleter));
    std::vector<C_SmartPtr<C_BlobData>> handed(kThreads, shared);
    shared.Release();  // only the threads hold it now
    RunTogether([&](int i_thread) {
      C_SmartPtr<C_BlobData> own = handed[i_thread];
      handed[i_thread].Release();
      for (int i = 0; i < kRounds / 20; ++i) {
        C_SmartPtr<C_BlobData> copy(own);
        C_SmartPtr<C_BlobData> other;
        other = copy;
      }
    });
    ASSERT_EQ(s_frees.load(), 1) << "trial " << trial;
  }
}

}  // namespace
