#ifndef VEK_DEVICE_C_QARNTARGETID_H
#define VEK_DEVICE_C_QARNTARGETID_H

#include <string>

#include "device/C_TargetId.h"

// The address of a drive behind an array controller: the controller's name
// and the drive's 8-bit number on it. Text form "<controller>:<drive>", for
// example "array0:2". The deferred-flash target puts the drive number into
// every controller request.
class VEK_API C_QarnTargetId : public C_TargetId {
 public:
  C_QarnTargetId(const std::string& i_controller, unsigned char i_drive);
  ~C_QarnTargetId() override;
  std::string GetString() const override;
  const std::string& GetController() const { return m_controller; }
  unsigned char GetDriveNumber() const { return m_drive; }

 private:
  std::string m_controller;
  unsigned char m_drive;
};

#endif
