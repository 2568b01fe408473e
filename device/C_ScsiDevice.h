#ifndef VEK_DEVICE_C_SCSIDEVICE_H
#define VEK_DEVICE_C_SCSIDEVICE_H

#include "device/C_Device.h"

// Base of the SCSI-addressed devices: the drive targets and the controller.
class VEK_API C_ScsiDevice : public C_Device {
 public:
  C_ScsiDevice();
  ~C_ScsiDevice() override;
};

#endif
