#include "foundation/C_PosixEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

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
// carried into the seconds: 999 ms overflows the microsecond field (the
// wait fails at once) unless the clock stands in its first millisecond;
// then the wait is real and times out, and the next attempt fails.
TEST(C_PosixEventTest, TimedWaitDeadline) {
  C_PosixEvent event;
  int result = C_PosixEvent::WAIT_TIMEOUT;
  for (int attempt = 0; attempt < 3 && result != C_PosixEvent::WAIT_FAILED; ++attempt) {
    result = event.Wait(999);
    ASSERT_TRUE(result == C_PosixEvent::WAIT_FAILED || result == C_PosixEvent::WAIT_TIMEOUT);
  }
  EXPECT_EQ(result, C_PosixEvent::WAIT_FAILED);
}

// Starts i_count waiters on io_event, lets them reach their wait, calls
// i_wake with the count of those signalled so far, and answers the count
// once they are done.
template <class T_Wake>
int Wake(const C_PosixEvent& io_event, int i_count, unsigned i_milliseconds, T_Wake i_wake) {
  std::atomic<int> started{0}, woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < i_count; ++i) {
    waiters.emplace_back([&] {
      ++started;
      if (io_event.Wait(i_milliseconds) == C_PosixEvent::WAIT_SIGNALLED) ++woken;
    });
  }
  while (started.load() < i_count) std::this_thread::yield();
  std::this_thread::sleep_for(milliseconds(50));
  i_wake(woken);
  for (std::thread& t : waiters) t.join();
  return woken.load();
}

// Set wakes every waiter, also one in a timed wait of whole seconds (one
// whose seconds were lost would have timed out before the Set); a pulse
// wakes one waiter and is consumed by it (Set then releases the other).
TEST(C_PosixEventThreadTest, SetWakesEveryWaiterPulseOne) {
  C_PosixEvent set, timed, pulsed;
  EXPECT_EQ(Wake(set, 3, C_PosixEvent::INFINITE_WAIT, [&](std::atomic<int>&) { set.Set(); }), 3);
  EXPECT_EQ(Wake(timed, 1, 60000, [&](std::atomic<int>&) { timed.Set(); }), 1);
  Wake(pulsed, 2, C_PosixEvent::INFINITE_WAIT, [&](std::atomic<int>& i_woken) {
    pulsed.Pulse();
    for (int i = 0; i < 500 && i_woken.load() == 0; ++i) std::this_thread::sleep_for(milliseconds(10));
    std::this_thread::sleep_for(milliseconds(50));  // a second waiter woken would show by now
    EXPECT_EQ(i_woken.load(), 1);
    EXPECT_FALSE(pulsed.IsSet());
    pulsed.Set();
  });
}

}  // namespace
