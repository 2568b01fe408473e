#include "foundation/C_LinuxDL.h"

C_LinuxDL::C_LinuxDL(const std::string& i_moduleName) : m_moduleName(i_moduleName) {}

C_LinuxDL::~C_LinuxDL() = default;
