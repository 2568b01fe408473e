#include "drivers/linux/C_LinuxTargetId.h"

C_LinuxTargetId::C_LinuxTargetId(int i_host) : m_isHost(true) { m_device.host = i_host; }

C_LinuxTargetId::C_LinuxTargetId(const N_LinuxSysfs::S_ScsiDevice& i_device)
    : m_device(i_device), m_isHost(false) {}

C_LinuxTargetId::~C_LinuxTargetId() = default;

std::string C_LinuxTargetId::GetString() const {
  if (m_isHost) return "host" + std::to_string(m_device.host);
  return m_device.block.empty() ? m_device.sg : m_device.block;
}

std::vector<std::string> C_LinuxTargetId::Names() const {
  if (m_isHost) return {GetString()};
  std::vector<std::string> names;
  for (const std::string& node : {m_device.block, m_device.sg}) {
    if (node.empty()) continue;
    names.push_back(node);
    names.push_back("/dev/" + node);
  }
  names.push_back(m_device.address);
  return names;
}
