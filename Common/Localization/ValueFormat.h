#ifndef VEK_COMMON_LOCALIZATION_VALUEFORMAT_H
#define VEK_COMMON_LOCALIZATION_VALUEFORMAT_H

#include <ctime>
#include <string>

#include "foundation/Export.h"

// A duration in seconds as shown for power-on hours or remaining time:
// "%2ld:%02ld:%02ld" (hours, minutes, seconds) below one day, otherwise
// "%ld days, %2ld:%02ld:%02ld". The word stays "days" for one day. Division
// truncates toward zero, so a negative duration gives fields that carry the
// sign (-61 gives " 0:-1:-1") and never a day part.
VEK_API std::string FormatInterval(long i_seconds);

// Sleeps the calling thread for i_milliseconds with one nanosleep call
// (i_milliseconds / 1000 seconds and the rest in nanoseconds, no remainder
// argument). True when the sleep completed; an interrupted sleep is not
// resumed and answers false. Callers pass 0 or more.
VEK_API bool SleepMilliSeconds(int i_milliseconds);

// The sleep seam: the function SleepMilliSeconds calls in place of
// nanosleep, with nanosleep's contract (0 on success). Tests install a hook
// that records the request and returns at once, so code that polls with
// sleeps runs fast. Null restores nanosleep, the default. Returns the hook
// that was installed before (never null).
//
// Process-wide. Install it before the code under test runs and restore it
// afterwards; swapping it while another thread sleeps is safe, but that
// thread may use either function.
typedef int (*T_SleepHook)(const struct timespec* i_request, struct timespec* o_remain);
VEK_API T_SleepHook SetSleepHook(T_SleepHook i_hook);

#endif
