#ifndef VEK_DRIVERS_SIM_C_SIMCONTROLLER_H
#define VEK_DRIVERS_SIM_C_SIMCONTROLLER_H

#include "device/C_Controller.h"
#include "drivers/sim/S_SimFleet.h"

class C_SimDriver;

// A simulated controller in the device tree. Attributes: "DeviceId" (its
// name), "Kind" ("hba" or "array"), "VendorId", "ProductId", "FirmwareRev",
// "HasDDFF" ("true" for arrays) and, for arrays, "DDFFVer".
// Operations: "BlinkDriveLeds" (duration, bus, target; answers 0) and
// "Restart" (arrays: the controller-side agent runs the pending deferred
// requests; answers 0, or 1025 on a host bus adapter).
class C_SimController : public C_Controller {
 public:
  C_SimController(C_SimDriver* i_driver, const S_SimController& i_record);
  ~C_SimController() override;

  const std::string& GetName() const { return m_name; }
  bool IsArray() const { return m_array; }

 private:
  int OpBlinkDriveLeds(int argc, const char** argv);
  int OpRestart(int argc, const char** argv);

  C_SimDriver* m_driver;
  std::string m_name;
  bool m_array;
};

#endif
