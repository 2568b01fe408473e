#include "module/VekExport.h"

#include <string>

#include "device/C_Device.h"
#include "host/C_ModuleServices.h"
#include "host/C_VekInstance.h"
#include "module/C_VekDevice.h"
#include "module/C_VekEnumContext.h"
#include "module/E_Status.h"

// No entry point catches anything: an exception reaches the host exactly as
// it was thrown (see the header).

namespace {

C_ModuleServices* ServicesOf(C_VekInstance* i_instance) {
  return i_instance ? i_instance->GetServices() : nullptr;
}

}  // namespace

C_VekEnumContext* VekExport::StartEnum(C_VekInstance* i_instance, C_VekDevice* i_parent) {
  C_ModuleServices* services = ServicesOf(i_instance);
  if (!services) return nullptr;
  C_EntityNode* node = nullptr;
  if (i_parent && i_parent->GetDevice()) {
    node = i_parent->GetDevice();
  } else {
    node = services->GetRootEntity();
  }
  if (!node) return nullptr;
  node->FindChildren();
  return new C_VekEnumContext(node);
}

C_VekDevice* VekExport::GetNextDevice(C_VekInstance*, C_VekEnumContext* i_context) {
  if (!i_context) return nullptr;
  C_Device* device = i_context->GetNext();
  return device ? new C_VekDevice(device) : nullptr;
}

void VekExport::CloseEnum(C_VekInstance*, C_VekEnumContext* i_context) { delete i_context; }

void VekExport::CloseDevice(C_VekInstance*, C_VekDevice* i_device) { delete i_device; }

int VekExport::GetAttrNames(C_VekInstance* i_instance, C_VekDevice* i_device, int i_count,
                            const char** o_names) {
  C_ModuleServices* services = ServicesOf(i_instance);
  if (!services || !i_device) return 0;
  return services->GetAttributeNames(i_device->GetDevice(), i_count, o_names);
}

const char* VekExport::GetAttribute(C_VekInstance* i_instance, C_VekDevice* i_device,
                                    const char* i_name) {
  C_ModuleServices* services = ServicesOf(i_instance);
  if (!services || !i_name) return nullptr;
  const std::string name(i_name);
  if (i_device) {
    std::string value = services->GetDeviceAttribute(i_device->GetDevice(), name);
    std::string& buffer = i_device->GetValueBuffer();
    buffer.swap(value);
    return buffer.c_str();
  }
  std::string value = services->GetInstanceAttribute(name);
  std::string& buffer = i_instance->GetValueBuffer();
  buffer.swap(value);
  return buffer.c_str();
}

int VekExport::GetOpNames(C_VekInstance* i_instance, C_VekDevice* i_device, int i_count,
                          const char** o_names) {
  C_ModuleServices* services = ServicesOf(i_instance);
  if (!services || !i_device) return 0;
  return services->GetOperationNames(i_device->GetDevice(), i_count, o_names);
}

int VekExport::CallOp(C_VekInstance* i_instance, C_VekDevice* i_device, const char* i_name,
                      int i_argc, const char** i_argv) {
  if (!i_instance) return VEK_STATUS_BAD_ARGUMENT;
  C_ModuleServices* services = i_instance->GetServices();
  if (!services) return VEK_STATUS_NO_SERVICES;
  if (!i_device || !i_name) return VEK_STATUS_BAD_ARGUMENT;
  return services->CallOperation(i_device->GetDevice(), i_name, i_argc, i_argv);
}
