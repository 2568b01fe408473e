#include "host/C_VekInstance.h"

C_VekInstance::C_VekInstance(C_ModuleServices* i_services)
    : m_hostWord(nullptr), m_services(i_services) {}

C_VekInstance::~C_VekInstance() = default;

C_ModuleServices* C_VekInstance::GetServices() { return m_services; }
