#ifndef VEK_MODULE_C_VEKDEVICE_H
#define VEK_MODULE_C_VEKDEVICE_H

#include <string>

#include "foundation/Export.h"

class C_Device;

// A device handle handed to the host by VekExport::GetNextDevice and freed
// only by VekExport::CloseDevice. It wraps a device that stays owned by the
// tree, and holds the last attribute value returned for it: that text stays
// valid until the next GetAttribute on this handle or until it is closed.
class VEK_API C_VekDevice {
 public:
  explicit C_VekDevice(C_Device* i_device) : m_device(i_device) {}
  virtual ~C_VekDevice();
  C_VekDevice(const C_VekDevice&) = delete;
  C_VekDevice& operator=(const C_VekDevice&) = delete;

  C_Device* GetDevice() const { return m_device; }
  std::string& GetValueBuffer() { return m_value; }

 private:
  C_Device* m_device;
  std::string m_value;
};

#endif
