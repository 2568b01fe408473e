#include "device/C_DeviceId.h"

void C_DeviceId::Set(const C_DeviceId& i_parent, const std::string& i_part) {
  m_text = i_parent.m_text + ":" + i_part;
}
