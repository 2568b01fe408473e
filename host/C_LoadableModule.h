#ifndef VEK_HOST_C_LOADABLEMODULE_H
#define VEK_HOST_C_LOADABLEMODULE_H

#include "host/C_Module.h"

// The host's base for a module that is loaded at run time. It keeps only
// whether the module is initialised; the name comes from the derived class.
class VEKHOST_API C_LoadableModule : public C_Module {
 public:
  C_LoadableModule();
  ~C_LoadableModule() override;
  bool InitModule() override;          // marks the module initialised; true
  bool CanCleanupModule() override;    // true: nothing is held
  void CleanupModule() override;       // marks the module not initialised
  bool IsInitialized() const { return m_initialized; }

 private:
  bool m_initialized;
};

#endif
