#ifndef VEK_HOST_C_VEKINSTANCE_H
#define VEK_HOST_C_VEKINSTANCE_H

#include <string>

#include "host/HostExport.h"

class C_ModuleServices;

// The host's handle for one loaded module instance. The module never creates
// or destroys it. Layout: one pointer-sized word owned by the host, then the
// buffer that receives module-level attribute values; the first virtual
// operation after the destructor yields the service object.
class VEKHOST_API C_VekInstance {
 public:
  // i_services is not owned; it must outlive the instance's use.
  explicit C_VekInstance(C_ModuleServices* i_services = nullptr);
  virtual ~C_VekInstance();
  // The service object, or null when the instance has none.
  virtual C_ModuleServices* GetServices();

  void* GetHostWord() const { return m_hostWord; }
  void SetHostWord(void* i_word) { m_hostWord = i_word; }
  // Receives module-level attribute values (GetAttribute with no device).
  std::string& GetValueBuffer() { return m_value; }

 private:
  void* m_hostWord;
  std::string m_value;
  C_ModuleServices* m_services;
};

#endif
