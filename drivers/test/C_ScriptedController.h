#ifndef VEK_DRIVERS_TEST_C_SCRIPTEDCONTROLLER_H
#define VEK_DRIVERS_TEST_C_SCRIPTEDCONTROLLER_H

#include <functional>

#include "device/C_Controller.h"
#include "drivers/test/C_ScriptedDriver.h"

// A controller for tests that can offer the direct routes of a parent: the
// pass-through route (recorded by the driver as ROUTE_PASSTHRU and answered
// from the same script) and the INQUIRY identity fallback. Both are off by
// default, so the controller behaves like the base (1027). It also offers a
// "BlinkDriveLeds" operation that records its arguments.
class C_ScriptedController : public C_Controller {
 public:
  explicit C_ScriptedController(C_ScriptedDriver* i_driver);
  ~C_ScriptedController() override;

  void OfferPassThru(bool i_offer) { m_passThru = i_offer; }
  // Answers IdentifyPhysicalDevice: the function fills the record and
  // returns the status. Unset: 1027.
  void OfferIdentify(std::function<int(scsi::S_IDPhysicalDevice*)> i_identify) {
    m_identify = i_identify;
  }
  void SetBlinkResult(int i_result) { m_blinkResult = i_result; }
  const std::vector<std::vector<std::string>>& BlinkCalls() const { return m_blinkCalls; }

  int SCSIPassThruCommand(Driver::S_Command* i_command, C_Device* i_origin) override;
  int IdentifyPhysicalDevice(scsi::S_IDPhysicalDevice* o_identity, C_Device* i_origin) override;

 private:
  int OpBlinkDriveLeds(int argc, const char** argv);

  C_ScriptedDriver* m_driver;
  bool m_passThru = false;
  std::function<int(scsi::S_IDPhysicalDevice*)> m_identify;
  int m_blinkResult = 0;
  std::vector<std::vector<std::string>> m_blinkCalls;
};

#endif
