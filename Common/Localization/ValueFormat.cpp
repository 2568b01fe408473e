#include "Common/Localization/ValueFormat.h"

#include <atomic>
#include <cstdio>

namespace {

int RealNanoSleep(const struct timespec* i_request, struct timespec* o_remain) {
  return nanosleep(i_request, o_remain);
}

std::atomic<T_SleepHook> g_sleepHook{&RealNanoSleep};

}  // namespace

std::string FormatInterval(long i_seconds) {
  const long totalHours = i_seconds / 60 / 60;
  const long minutes = i_seconds / 60 - totalHours * 60;
  const long seconds = i_seconds % 60;
  const long days = totalHours / 24;
  const long hours = totalHours - days * 24;

  // Longest text: 19 digits of days, the fixed words and three fields.
  char text[80];
  if (days >= 1) {
    std::snprintf(text, sizeof text, "%ld days, %2ld:%02ld:%02ld", days, hours, minutes, seconds);
  } else {
    std::snprintf(text, sizeof text, "%2ld:%02ld:%02ld", hours, minutes, seconds);
  }
  return text;
}

bool SleepMilliSeconds(int i_milliseconds) {
  struct timespec request;
  request.tv_sec = i_milliseconds / 1000;
  request.tv_nsec = static_cast<long>(i_milliseconds % 1000) * 1000000L;
  return g_sleepHook.load()(&request, nullptr) == 0;
}

T_SleepHook SetSleepHook(T_SleepHook i_hook) {
  return g_sleepHook.exchange(i_hook ? i_hook : &RealNanoSleep);
}
