#include "host/C_ModuleServices.h"

#include "device/C_Device.h"

// Only inline members of C_Device are used here, so the host framework
// needs the module's headers but not its library.

namespace {

template <class T_Map>
int FillNames(const T_Map& i_table, int i_count, const char** o_names) {
  int n = 0;
  for (const typename T_Map::value_type& entry : i_table) {
    if (o_names && n < i_count) o_names[n] = entry.first.c_str();
    ++n;
  }
  return n;
}

}  // namespace

C_ModuleServices::C_ModuleServices(C_EntityNode* i_root) : m_root(i_root) {}

C_ModuleServices::~C_ModuleServices() = default;

C_EntityNode* C_ModuleServices::GetRootEntity() { return m_root; }

int C_ModuleServices::GetAttributeNames(C_Device* i_device, int i_count, const char** o_names) {
  return i_device ? FillNames(i_device->GetAttributes(), i_count, o_names) : 0;
}

std::string C_ModuleServices::GetDeviceAttribute(C_Device* i_device, const std::string& i_name) {
  return i_device ? i_device->GetAttribute(i_name) : std::string();
}

std::string C_ModuleServices::GetInstanceAttribute(const std::string& i_name) {
  std::map<std::string, std::string>::const_iterator it = m_instanceAttributes.find(i_name);
  return it == m_instanceAttributes.end() ? std::string() : it->second;
}

int C_ModuleServices::GetOperationNames(C_Device* i_device, int i_count, const char** o_names) {
  return i_device ? FillNames(i_device->GetOperations(), i_count, o_names) : 0;
}

int C_ModuleServices::CallOperation(C_Device* i_device, const char* i_name, int i_argc,
                                    const char** i_argv) {
  if (!i_device || !i_name) return VEK_STATUS_BAD_ARGUMENT;
  return i_device->CallOperation(i_name, i_argc, i_argv);
}

void C_ModuleServices::SetInstanceAttribute(const std::string& i_name,
                                            const std::string& i_value) {
  m_instanceAttributes[i_name] = i_value;
}
