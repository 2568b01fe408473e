#ifndef VEK_HOST_C_TIME_H
#define VEK_HOST_C_TIME_H

#include <ctime>

#include "host/HostExport.h"

// A point in time with one-second resolution.
class VEKHOST_API C_Time {
 public:
  C_Time();                             // now
  explicit C_Time(std::time_t i_time);
  std::time_t GetTime() const { return m_time; }
  // Broken-down local time; false when the C library cannot convert.
  bool GetLocalTime(std::tm& o_tm) const;

 private:
  std::time_t m_time;
};

#endif
