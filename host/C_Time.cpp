#include "host/C_Time.h"

C_Time::C_Time() : m_time(std::time(nullptr)) {}
C_Time::C_Time(std::time_t i_time) : m_time(i_time) {}

bool C_Time::GetLocalTime(std::tm& o_tm) const { return localtime_r(&m_time, &o_tm) != nullptr; }
