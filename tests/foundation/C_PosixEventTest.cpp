#include "foundation/C_PosixEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Spins until i_condition holds (threads need a moment to reach Wait).
template <class T_Condition>
bool Eventually(T_Condition i_condition) {
  for (int i = 0; i < 2000 && !i_condition(); ++i) std::this_thread::sleep_for(milliseconds(1));
  return i_condition();
}

TEST(C_PosixEventTest, ZeroWaitReportsTheStateAtOnce) {
  C_PosixEvent event;
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_TIMEOUT);
  event.Set();
  EXPECT_TRUE(event.IsSet());
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_SIGNALLED);
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_SIGNALLED);  // manual reset
  event.Clear();
  EXPECT_FALSE(event.IsSet());
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_TIMEOUT);
}

TEST(C_PosixEventTest, TimedWaitEndsAfterItsDeadline) {
  C_PosixEvent event;
  steady_clock::time_point start = steady_clock::now();
  // 1000 ms has no millisecond remainder, so the deadline is always valid.
  EXPECT_EQ(event.Wait(1000), C_PosixEvent::WAIT_TIMEOUT);
  EXPECT_GE(steady_clock::now() - start, milliseconds(990));
}

TEST(C_PosixEventTest, UncarriedMicrosecondsMakeTheWaitFail) {
  // 999 ms pushes the microsecond field past one million unless the clock
  // stands in its first millisecond; then the wait is real and times out.
  C_PosixEvent event;
  int result = C_PosixEvent::WAIT_TIMEOUT;
  for (int attempt = 0; attempt < 3 && result != C_PosixEvent::WAIT_FAILED; ++attempt) {
    result = event.Wait(999);
    ASSERT_TRUE(result == C_PosixEvent::WAIT_FAILED || result == C_PosixEvent::WAIT_TIMEOUT);
  }
  EXPECT_EQ(result, C_PosixEvent::WAIT_FAILED);
}

TEST(C_PosixEventThreadTest, SetWakesEveryWaiter) {
  C_PosixEvent event;
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      if (event.Wait(C_PosixEvent::INFINITE_WAIT) == C_PosixEvent::WAIT_SIGNALLED) ++woken;
    });
  }
  std::this_thread::sleep_for(milliseconds(50));
  event.Set();
  for (std::thread& t : waiters) t.join();
  EXPECT_EQ(woken.load(), 3);
  EXPECT_TRUE(event.IsSet());
}

TEST(C_PosixEventThreadTest, PulseWithoutWaiterIsLost) {
  C_PosixEvent event;
  event.Pulse();
  EXPECT_FALSE(event.IsSet());
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_TIMEOUT);
}

TEST(C_PosixEventThreadTest, PulseReleasesOneWaiterAndIsConsumed) {
  C_PosixEvent event;
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 2; ++i) {
    waiters.emplace_back([&] {
      // Finite waits so the test ends; 2000 ms has no remainder.
      if (event.Wait(2000) == C_PosixEvent::WAIT_SIGNALLED) ++woken;
    });
  }
  std::this_thread::sleep_for(milliseconds(100));
  event.Pulse();
  ASSERT_TRUE(Eventually([&] { return woken.load() == 1; }));
  for (std::thread& t : waiters) t.join();
  EXPECT_EQ(woken.load(), 1);
  EXPECT_FALSE(event.IsSet());
}

}  // namespace
