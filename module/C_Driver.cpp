#include "module/C_Driver.h"

#include "device/C_Device.h"
#include "device/C_TargetId.h"

C_Driver::C_Driver(unsigned int i_code) : m_code(i_code) {}

C_Driver::~C_Driver() = default;

void C_Driver::CleanupDevice(C_Device* i_device) {
  if (!i_device) return;
  C_TargetId* id = i_device->GetTargetId();
  if (id) {
    i_device->SetTargetId(nullptr);
    delete id;
  }
}

std::string C_Driver::GetDeviceId(C_Device* i_device) {
  if (!i_device) return "<no device>";
  C_TargetId* id = i_device->GetTargetId();
  return id ? id->GetString() : "<no target ID>";
}
