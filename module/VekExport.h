#ifndef VEK_MODULE_VEKEXPORT_H
#define VEK_MODULE_VEKEXPORT_H

#include "foundation/Export.h"

class C_VekInstance;
class C_VekDevice;
class C_VekEnumContext;

// The module's whole outside surface. Hosts find these eight static members
// by their mangled names at run time.
//
// Order of calls: StartEnum (null parent) and GetNextDevice until null, then
// CloseEnum; for each device handle any number of GetAttrNames, GetAttribute,
// GetOpNames, CallOp, and a nested StartEnum with the handle as parent; at the
// end CloseDevice on every handle. The instance argument of GetNextDevice,
// CloseEnum and CloseDevice is not looked at.
//
// Bad arguments give null, 0 or the codes below. Exceptions: none is caught
// or turned into a status code; whatever the service object, the devices,
// the targets or the driver throw (the host framework's C_Exception, the
// standard exceptions, anything else) reaches the host exactly as thrown.
// Nothing is locked: the host serialises calls that share an instance or a
// handle.
class VEK_API VekExport {
 public:
  // A cursor over the children of i_parent's device (null parent, or a
  // handle without a device: the root's children). Refreshes the children
  // first (FindChildren). Null without an instance, services or node.
  static C_VekEnumContext* StartEnum(C_VekInstance* i_instance, C_VekDevice* i_parent);
  // A new handle for the next device, or null (see C_VekEnumContext::GetNext).
  static C_VekDevice* GetNextDevice(C_VekInstance* i_instance, C_VekEnumContext* i_context);
  static void CloseEnum(C_VekInstance* i_instance, C_VekEnumContext* i_context);
  static void CloseDevice(C_VekInstance* i_instance, C_VekDevice* i_device);
  // The service object's answer; 0 without instance, services or handle.
  static int GetAttrNames(C_VekInstance* i_instance, C_VekDevice* i_device, int i_count,
                          const char** o_names);
  // The value, owned by the handle (or, with a null handle, by the instance)
  // until the next GetAttribute on it. Null without instance, services or name.
  static const char* GetAttribute(C_VekInstance* i_instance, C_VekDevice* i_device,
                                  const char* i_name);
  static int GetOpNames(C_VekInstance* i_instance, C_VekDevice* i_device, int i_count,
                        const char** o_names);
  // 1025: null instance, handle or name; 1031: no service object (checked
  // after the instance). Otherwise the operation's own status.
  static int CallOp(C_VekInstance* i_instance, C_VekDevice* i_device, const char* i_name,
                    int i_argc, const char** i_argv);
};

#endif
