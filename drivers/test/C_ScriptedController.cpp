#include "drivers/test/C_ScriptedController.h"

C_ScriptedController::C_ScriptedController(C_ScriptedDriver* i_driver) : m_driver(i_driver) {
  RegisterOperation("BlinkDriveLeds", this, &C_ScriptedController::OpBlinkDriveLeds);
}

C_ScriptedController::~C_ScriptedController() = default;

int C_ScriptedController::SCSIPassThruCommand(Driver::S_Command* i_command, C_Device* i_origin) {
  if (!m_passThru) return C_Controller::SCSIPassThruCommand(i_command, i_origin);
  return m_driver->Perform(i_command, i_origin, C_ScriptedDriver::ROUTE_PASSTHRU);
}

int C_ScriptedController::IdentifyPhysicalDevice(scsi::S_IDPhysicalDevice* o_identity,
                                                 C_Device* i_origin) {
  if (!m_identify) return C_Controller::IdentifyPhysicalDevice(o_identity, i_origin);
  return m_identify(o_identity);
}

int C_ScriptedController::OpBlinkDriveLeds(int argc, const char** argv) {
  std::vector<std::string> args;
  for (int i = 0; i < argc; ++i) args.push_back(argv[i] ? argv[i] : "");
  m_blinkCalls.push_back(args);
  return m_blinkResult;
}
