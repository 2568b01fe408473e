#include "foundation/C_PosixEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(C_PosixEventTest, ManualResetAndLostPulse) {
  C_PosixEvent event;
  event.Pulse();  // no waiter: lost
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_TIMEOUT);
  event.Set();
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_SIGNALLED);
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_SIGNALLED);  // manual reset
  event.Clear();
  EXPECT_FALSE(event.IsSet());
  EXPECT_EQ(event.Wait(0), C_PosixEvent::WAIT_TIMEOUT);
}

// The deadline is the time of day plus the wait, the microseconds not
// carried into the seconds.
TEST(C_PosixEventTest, TimedWaitDeadline) {
  C_PosixEvent event;
  steady_clock::time_point start = steady_clock::now();
  EXPECT_EQ(event.Wait(1000), C_PosixEvent::WAIT_TIMEOUT);  // no millisecond remainder: always valid
  EXPECT_GE(steady_clock::now() - start, milliseconds(990));
  // 999 ms pushes the microsecond field past one million unless the clock
  // stands in its first millisecond; then the wait is real and times out.
  int result = C_PosixEvent::WAIT_TIMEOUT;
  for (int attempt = 0; attempt < 3 && result != C_PosixEvent::WAIT_FAILED; ++attempt) {
    result = event.Wait(999);
    ASSERT_TRUE(result == C_PosixEvent::WAIT_FAILED || result == C_PosixEvent::WAIT_TIMEOUT);
  }
  EXPECT_EQ(result, C_PosixEvent::WAIT_FAILED);
}

// Starts i_count waiters on io_event that count how many were signalled
// within i_milliseconds, and calls i_wake once they had time to wait.
template <class T_Wake>
int WaitersWoken(const C_PosixEvent& io_event, int i_count, unsigned i_milliseconds, T_Wake i_wake) {
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < i_count; ++i) {
    waiters.emplace_back([&] {
      if (io_event.Wait(i_milliseconds) == C_PosixEvent::WAIT_SIGNALLED) ++woken;
    });
  }
  std::this_thread::sleep_for(milliseconds(100));
  i_wake();
  for (std::thread& t : waiters) t.join();
  return woken.load();
}

TEST(C_PosixEventThreadTest, SetWakesEveryWaiterPulseOne) {
  C_PosixEvent set, pulsed;
  EXPECT_EQ(WaitersWoken(set, 3, C_PosixEvent::INFINITE_WAIT, [&] { set.Set(); }), 3);
  EXPECT_TRUE(set.IsSet());
  // Finite waits so the test ends (2000 ms has no remainder); the pulse is
  // consumed by the one waiter it wakes.
  EXPECT_EQ(WaitersWoken(pulsed, 2, 2000, [&] { pulsed.Pulse(); }), 1);
  EXPECT_FALSE(pulsed.IsSet());
}

}  // namespace
