#include "Common/Localization/ValueFormat.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <vector>

namespace {

TEST(FormatIntervalTest, Table) {
  struct S_Case {
    long seconds;
    const char* text;
  } cases[] = {
      {0, " 0:00:00"},
      {59, " 0:00:59"},
      {61, " 0:01:01"},
      {3600, " 1:00:00"},
      {86399, "23:59:59"},
      {86400, "1 days,  0:00:00"},
      {90061, "1 days,  1:01:01"},
      {10 * 86400 + 13 * 3600 + 7, "10 days, 13:00:07"},
      {-61, " 0:-1:-1"},
      {-3661, "-1:-1:-1"},
      {-90061, "-1:-1:-1"},  // no day part below zero: hours keep only the remainder
  };
  for (const S_Case& c : cases) {
    EXPECT_EQ(c.text, FormatInterval(c.seconds)) << c.seconds;
  }
}

std::vector<struct timespec> g_requests;
int g_answer = 0;

int RecordSleep(const struct timespec* i_request, struct timespec* o_remain) {
  g_requests.push_back(*i_request);
  EXPECT_EQ(nullptr, o_remain);  // an interrupted sleep is not resumed
  return g_answer;
}

class SleepHookTest : public ::testing::Test {
 protected:
  SleepHookTest() {
    g_requests.clear();
    g_answer = 0;
    m_previous = SetSleepHook(&RecordSleep);
  }
  ~SleepHookTest() override { SetSleepHook(m_previous); }
  T_SleepHook m_previous;
};

TEST_F(SleepHookTest, OneCallSplitIntoSecondsAndNanoseconds) {
  struct S_Case {
    int milliseconds;
    long seconds, nanoseconds;
  } cases[] = {{0, 0, 0}, {100, 0, 100000000}, {999, 0, 999000000}, {1000, 1, 0},
               {1500, 1, 500000000}, {15000, 15, 0}};
  for (const S_Case& c : cases) {
    g_requests.clear();
    EXPECT_TRUE(SleepMilliSeconds(c.milliseconds));
    ASSERT_EQ(1u, g_requests.size());
    EXPECT_EQ(c.seconds, g_requests[0].tv_sec) << c.milliseconds;
    EXPECT_EQ(c.nanoseconds, g_requests[0].tv_nsec) << c.milliseconds;
  }
}

TEST_F(SleepHookTest, InterruptedSleepAnswersFalseOnce) {
  g_answer = -1;
  errno = EINTR;
  EXPECT_FALSE(SleepMilliSeconds(250));
  EXPECT_EQ(1u, g_requests.size());
}

TEST_F(SleepHookTest, NullRestoresTheRealSleep) {
  EXPECT_EQ(&RecordSleep, SetSleepHook(nullptr));
  T_SleepHook real = SetSleepHook(&RecordSleep);
  EXPECT_NE(nullptr, real);
  EXPECT_NE(&RecordSleep, real);
}

TEST(SleepMilliSecondsTest, DefaultReallySleeps) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(SleepMilliSeconds(60));
  const auto slept = std::chrono::steady_clock::now() - start;
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(slept).count(), 60);
}

}  // namespace
