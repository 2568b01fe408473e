#include "device/C_Controller.h"

C_Controller::C_Controller() : m_deviceType(0) {}
C_Controller::~C_Controller() = default;

bool C_Controller::Init() { return true; }

int C_Controller::ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) {
  C_EntityNode* parent = GetParent();
  return parent ? parent->ForwardCommand(i_command, i_origin) : VEK_STATUS_NO_PARENT;
}

int C_Controller::ExecuteCommand(Driver::S_Command* i_command) {
  return ForwardCommand(i_command, this);
}
