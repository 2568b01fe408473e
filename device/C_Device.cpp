#include "device/C_Device.h"

#include <cstdio>
#include <iomanip>
#include <sstream>
#include <utility>

#include "foundation/C_LockStrStream.h"
#include "foundation/StringUtil.h"
#include "module/C_Driver.h"

C_Device::C_DeviceOperation::~C_DeviceOperation() = default;

C_Device::C_Device() : m_targetId(nullptr), m_operationTimeout(0), m_bmicIndex(0) {
  RegisterOperation("SetTimeout", this, &C_Device::OpSetTimeout);
}

C_Device::~C_Device() = default;

bool C_Device::FindChildren() {
  C_Driver* driver = GetDriver();
  return driver ? driver->FindDeviceChildren(this) : false;
}

void C_Device::Cleanup() {
  for (T_Operations::value_type& entry : m_operations) entry.second.reset();
  for (T_Children::iterator it = ChildrenBegin(); it != ChildrenEnd(); ++it) {
    if (*it) (*it)->Cleanup();
  }
  if (C_Driver* driver = GetDriver()) driver->CleanupDevice(this);
}

C_Driver* C_Device::GetDriver() const { return GetParent() ? GetParent()->GetDriver() : nullptr; }

const C_DeviceId& C_Device::GetDeviceId() const { return m_deviceId; }
void C_Device::SetTargetId(C_TargetId* i_targetId) { m_targetId = i_targetId; }
C_TargetId* C_Device::GetTargetId() const { return m_targetId; }
void C_Device::SetBMICIndex(unsigned char i_index) { m_bmicIndex = i_index; }
unsigned char C_Device::GetBMICIndex() const { return m_bmicIndex; }
int C_Device::DeferFlash(const void*, unsigned int, C_DDFF*, unsigned int) { return 1; }
int C_Device::DeferCancel() { return 1; }
void C_Device::SetOperationTimeout(int i_timeout) { m_operationTimeout = i_timeout; }
int C_Device::GetOperationTimeout() const { return m_operationTimeout; }

void C_Device::AddAttribute(const std::string& i_name, const std::string& i_value) {
  m_attributes[i_name] = i_value;
}

// The value is passed widened to long: formats with and without the "l"
// length modifier (the identity attributes use "%#02lX") then read it right
// on every platform.
void C_Device::AddAttribute(const std::string& i_name, int i_value, const char* i_format) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, i_format, static_cast<long>(i_value));
  AddAttribute(i_name, std::string(buffer));
}

void C_Device::AddAttribute(const std::string& i_name, unsigned int i_value,
                            const char* i_format) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, i_format, static_cast<unsigned long>(i_value));
  AddAttribute(i_name, std::string(buffer));
}

void C_Device::AddAttribute(const std::string& i_name, const void* i_data,
                            unsigned int i_length) {
  const unsigned char* bytes = static_cast<const unsigned char*>(i_data);
  std::string text;
  {
    C_LockStrStream::C_Lock lock;
    std::ostringstream out;
    out << std::hex;
    for (unsigned int i = 0; bytes && i < i_length; ++i) {
      out << ' ' << std::setw(2) << std::setfill(' ') << static_cast<unsigned int>(bytes[i]);
    }
    text = out.str();
  }
  AddAttribute(i_name, text);
}

void C_Device::ClearAttribute(const std::string& i_name) {
  T_Attributes::iterator it = m_attributes.find(i_name);
  if (it != m_attributes.end()) it->second.clear();
}

void C_Device::RemoveAttribute(const std::string& i_name) { m_attributes.erase(i_name); }

void C_Device::AddOperation(const std::string& i_name,
                            std::unique_ptr<C_DeviceOperation> i_operation) {
  std::unique_ptr<C_DeviceOperation>& entry = m_operations[i_name];
  // The earlier object, if any, leaves undestroyed: whoever registered over
  // it deletes it.
  (void)entry.release();
  entry = std::move(i_operation);
}

int C_Device::OpSetTimeout(int argc, const char** argv) {
  if (argc <= 0) return VEK_STATUS_BAD_ARGUMENT;
  long timeout = ParseSigned(argv[1]);
  if (timeout < 0) return VEK_STATUS_BAD_ARGUMENT;
  SetOperationTimeout(static_cast<int>(timeout));
  return VEK_STATUS_OK;
}
