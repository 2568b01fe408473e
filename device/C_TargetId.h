#ifndef VEK_DEVICE_C_TARGETID_H
#define VEK_DEVICE_C_TARGETID_H

#include <string>

#include "foundation/Export.h"

// The abstract address of a target below its controller. The driver creates
// target ids, hands them to devices with SetTargetId and destroys them
// through this base in C_Driver::CleanupDevice.
class VEK_API C_TargetId {
 public:
  virtual ~C_TargetId();
  // The address as text; the driver reports it as the device's "DeviceId".
  virtual std::string GetString() const = 0;
};

#endif
