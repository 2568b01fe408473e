#include "drivers/common/C_ObservingDriver.h"

#include <algorithm>

#include "drivers/common/N_DriverResult.h"
#include "targets/S_Command.h"

C_ObservingDriver::C_ObservingDriver(std::unique_ptr<C_Driver> i_inner)
    : C_Driver(i_inner->GetCode()), m_inner(std::move(i_inner)), m_dryRun(false), m_stop(nullptr) {
  SetName(m_inner->GetName());
  SetVersion(m_inner->GetVersion());
  SetMinVersion(m_inner->GetMinVersion());
}

C_ObservingDriver::~C_ObservingDriver() = default;

bool C_ObservingDriver::Init() { return m_inner->Init(); }

void C_ObservingDriver::CleanupDevice(C_Device* i_device) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_failures.erase(i_device);
  }
  m_inner->CleanupDevice(i_device);
}

void C_ObservingDriver::Cleanup() { m_inner->Cleanup(); }

int C_ObservingDriver::ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) {
  // A null block is the driver's business to answer, even in a dry run.
  if (!i_command) return m_inner->ForwardCommand(i_command, i_device);
  int result = N_DriverResult::GOOD;
  std::string what;
  if (m_stop && m_stop->load()) {
    result = N_DriverResult::NOT_SENT;
  } else if (!m_dryRun) {
    try {
      result = m_inner->ForwardCommand(i_command, i_device);
    } catch (const std::exception& e) {
      result = N_DriverResult::DRIVER_FAILED;
      what = e.what();
    }
  }
  if (result != N_DriverResult::GOOD && result != N_DriverResult::BUSY) {
    Record(*i_command, i_device, result, what);
  }
  if (m_observer) m_observer(*i_command, i_device, result);
  return result;
}

void C_ObservingDriver::Record(const Driver::S_Command& i_command, C_Device* i_device,
                               int i_result, const std::string& i_what) {
  S_Failure failure;
  failure.result = i_result;
  failure.opcode = i_command.cdb && i_command.cdbLength ? i_command.cdb[0] : 0;
  failure.requestType = i_command.requestType;
  failure.what = i_what;
  // A driver may answer a check condition with a code of its own (Linux:
  // one per sense key): the sense bytes tell, whatever the code.
  failure.sense = SenseBytes(i_command);
  std::lock_guard<std::mutex> lock(m_mutex);
  m_failures[i_device] = failure;
}

std::vector<std::uint8_t> C_ObservingDriver::SenseBytes(const Driver::S_Command& i_command) {
  if (!i_command.senseBuffer || !i_command.senseLength || !i_command.senseBuffer[0]) return {};
  std::uint32_t length = i_command.senseLength;
  if (length >= 8) length = std::min<std::uint32_t>(length, 8u + i_command.senseBuffer[7]);
  return std::vector<std::uint8_t>(i_command.senseBuffer, i_command.senseBuffer + length);
}

C_ObservingDriver::S_Failure C_ObservingDriver::LastFailure(C_Device* i_device) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_failures.find(i_device);
  return it == m_failures.end() ? S_Failure() : it->second;
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
