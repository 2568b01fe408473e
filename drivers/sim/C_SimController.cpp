#include "drivers/sim/C_SimController.h"

#include "drivers/sim/C_SimDriver.h"
#include "module/E_Status.h"

C_SimController::C_SimController(C_SimDriver* i_driver, const S_SimController& i_record)
    : m_driver(i_driver), m_name(i_record.name), m_array(i_record.kind == "array") {
  SetVendorId(i_record.vendor);
  SetProductId(C_ProductId(i_record.product));
  SetFirmwareRev(C_FirmwareRev(i_record.firmware));
  SetActiveFwRev(C_FirmwareRev(i_record.firmware));
  SetDeviceId(C_DeviceId(i_record.name));
  AddAttribute("DeviceId", i_record.name);
  AddAttribute("Kind", i_record.kind);
  AddAttribute("VendorId", i_record.vendor);
  AddAttribute("ProductId", i_record.product);
  AddAttribute("FirmwareRev", i_record.firmware);
  AddAttribute("HasDDFF", std::string(m_array ? "true" : "false"));
  if (m_array) AddAttribute("DDFFVer", i_record.ddffVersion);
  RegisterOperation("BlinkDriveLeds", this, &C_SimController::OpBlinkDriveLeds);
  RegisterOperation("Restart", this, &C_SimController::OpRestart);
}

C_SimController::~C_SimController() = default;

int C_SimController::OpBlinkDriveLeds(int argc, const char**) {
  return argc >= 4 ? VEK_STATUS_OK : VEK_STATUS_BAD_ARGUMENT;
}

int C_SimController::OpRestart(int, const char**) {
  if (!m_array) return VEK_STATUS_BAD_ARGUMENT;
  m_driver->RestartController(m_name);
  return VEK_STATUS_OK;
}
