#include "tools/C_ObservingDriver.h"

#include "targets/S_Command.h"

C_ObservingDriver::C_ObservingDriver(std::unique_ptr<C_Driver> i_inner)
    : C_Driver(i_inner->GetCode()), m_inner(std::move(i_inner)), m_dryRun(false) {
  SetName(m_inner->GetName());
  SetVersion(m_inner->GetVersion());
  SetMinVersion(m_inner->GetMinVersion());
}

C_ObservingDriver::~C_ObservingDriver() = default;

bool C_ObservingDriver::Init() { return m_inner->Init(); }

void C_ObservingDriver::CleanupDevice(C_Device* i_device) { m_inner->CleanupDevice(i_device); }

void C_ObservingDriver::Cleanup() { m_inner->Cleanup(); }

int C_ObservingDriver::ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) {
  // A null block is the driver's business to answer, even in a dry run.
  if (!i_command) return m_inner->ForwardCommand(i_command, i_device);
  const int result = m_dryRun ? 0 : m_inner->ForwardCommand(i_command, i_device);
  if (m_observer) m_observer(*i_command, i_device, result);
  return result;
}

bool C_ObservingDriver::FindRootChildren(C_Root* i_root) {
  return m_inner->FindRootChildren(i_root);
}

bool C_ObservingDriver::FindDeviceChildren(C_Device* i_device) {
  return m_inner->FindDeviceChildren(i_device);
}

std::string C_ObservingDriver::GetDeviceId(C_Device* i_device) {
  return m_inner->GetDeviceId(i_device);
}
