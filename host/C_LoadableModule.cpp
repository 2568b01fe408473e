#include "host/C_LoadableModule.h"

C_Module::~C_Module() = default;

C_LoadableModule::C_LoadableModule() : m_initialized(false) {}
C_LoadableModule::~C_LoadableModule() = default;

bool C_LoadableModule::InitModule() {
  m_initialized = true;
  return true;
}

bool C_LoadableModule::CanCleanupModule() { return true; }

void C_LoadableModule::CleanupModule() { m_initialized = false; }
