#ifndef VEK_HOST_C_MODULESERVICES_H
#define VEK_HOST_C_MODULESERVICES_H

#include <map>
#include <string>

#include "host/HostExport.h"

class C_Device;
class C_EntityNode;

// The host's service object behind a module instance: the entry points hand
// every call to one of these six operations. This stand-alone version reads
// the device's own attribute and operation tables and calls
// C_Device::CallOperation.
//
// Name arrays (GetAttrNames, GetOpNames): the names are written in table
// order (byte-wise name order) into o_names[0 .. min(count, total) - 1]; the
// result is always the total number of names, so a caller may first ask
// with count 0 (o_names may then be null) and then with an array of that
// size. The pointers stay valid while the device's table keeps that entry.
class VEKHOST_API C_ModuleServices {
 public:
  explicit C_ModuleServices(C_EntityNode* i_root = nullptr);
  virtual ~C_ModuleServices();

  virtual C_EntityNode* GetRootEntity();
  virtual int GetAttributeNames(C_Device* i_device, int i_count, const char** o_names);
  virtual std::string GetDeviceAttribute(C_Device* i_device, const std::string& i_name);
  // Module-level values set by the host with SetInstanceAttribute; "" when
  // unknown.
  virtual std::string GetInstanceAttribute(const std::string& i_name);
  virtual int GetOperationNames(C_Device* i_device, int i_count, const char** o_names);
  // The operation's status; 1024 for an unknown name.
  virtual int CallOperation(C_Device* i_device, const char* i_name, int i_argc,
                            const char** i_argv);

  void SetRootEntity(C_EntityNode* i_root) { m_root = i_root; }
  void SetInstanceAttribute(const std::string& i_name, const std::string& i_value);

 private:
  C_EntityNode* m_root;  // not owned
  std::map<std::string, std::string> m_instanceAttributes;
};

#endif
