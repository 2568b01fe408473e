#ifndef VEK_FOUNDATION_C_LINUXDL_H
#define VEK_FOUNDATION_C_LINUXDL_H

#include <string>

#include "host/C_LoadableModule.h"

// A loadable module that is a Linux shared library: the host's life cycle
// plus the library's name. Opens and closes no library itself.
class C_LinuxDL : public C_LoadableModule {
 public:
  explicit C_LinuxDL(const std::string& i_moduleName);
  ~C_LinuxDL() override;
  const std::string& GetModuleName() const override { return m_moduleName; }

 private:
  std::string m_moduleName;
};

#endif
