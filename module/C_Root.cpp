#include "module/C_Root.h"

#include "module/C_Driver.h"

C_Root::C_Root() = default;

C_Root::~C_Root() = default;

void C_Root::SetDriver(C_Driver* i_driver) {
  (void)m_driver.release();
  m_driver.reset(i_driver);
}

bool C_Root::Init() { return m_driver ? m_driver->Init() : false; }

bool C_Root::FindChildren() { return m_driver ? m_driver->FindRootChildren(this) : false; }

int C_Root::ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) {
  return m_driver ? m_driver->ForwardCommand(i_command, i_origin) : 0;
}

void C_Root::Cleanup() {
  for (T_Children::iterator it = ChildrenBegin(); it != ChildrenEnd(); ++it) {
    if (*it) (*it)->Cleanup();
  }
  m_driver->Cleanup();
}
