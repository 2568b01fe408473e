#include "Common/Localization/ValueFormat.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace {

TEST(FormatIntervalTest, Table) {
  const struct { long seconds; const char* text; } cases[] = {
      {61, " 0:01:01"}, {86399, "23:59:59"}, {86400, "1 days,  0:00:00"},
      {10 * 86400 + 13 * 3600 + 7, "10 days, 13:00:07"}, {-61, " 0:-1:-1"},
      {-90061, "-1:-1:-1"},  // no day part below zero: hours keep only the remainder
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, FormatInterval(c.seconds)) << c.seconds;
}

std::vector<struct timespec> g_requests;
int g_answer = 0;

int RecordSleep(const struct timespec* i_request, struct timespec* o_remain) {
  g_requests.push_back(*i_request);
  EXPECT_EQ(nullptr, o_remain);  // an interrupted sleep is not resumed
  return g_answer;
}

TEST(SleepMilliSecondsTest, OneHookCallSplitIntoSecondsAndNanoseconds) {
  struct S_Restore {
    T_SleepHook hook;
    ~S_Restore() { SetSleepHook(hook); }
  } restore{SetSleepHook(&RecordSleep)};
  const struct { int milliseconds; long seconds, nanoseconds; int answer; } cases[] = {
      {999, 0, 999000000, 0}, {1000, 1, 0, 0}, {15500, 15, 500000000, -1}};
  for (const auto& c : cases) {
    g_requests.clear();
    g_answer = c.answer;
    EXPECT_EQ(SleepMilliSeconds(c.milliseconds), c.answer == 0);  // interrupted: false, once
    ASSERT_EQ(1u, g_requests.size());
    EXPECT_EQ(c.seconds, g_requests[0].tv_sec) << c.milliseconds;
    EXPECT_EQ(c.nanoseconds, g_requests[0].tv_nsec) << c.milliseconds;
  }
  // Null restores the real sleep.
  EXPECT_EQ(&RecordSleep, SetSleepHook(nullptr));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(SleepMilliSeconds(60));
  const auto slept = std::chrono::steady_clock::now() - start;
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(slept).count(), 60);
  EXPECT_EQ(1u, g_requests.size());
}

}  // namespace
