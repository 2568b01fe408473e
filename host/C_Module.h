#ifndef VEK_HOST_C_MODULE_H
#define VEK_HOST_C_MODULE_H

#include <string>

#include "host/HostExport.h"

// Every loadable part of a host is a module with an initialise / clean-up
// life and a name.
class VEKHOST_API C_Module {
 public:
  virtual ~C_Module();
  // Prepares the module for use; false when it cannot be used.
  virtual bool InitModule() = 0;
  // True when the module holds nothing that would stop CleanupModule.
  virtual bool CanCleanupModule() = 0;
  virtual void CleanupModule() = 0;
  virtual const std::string& GetModuleName() const = 0;
};

#endif
