#ifndef VEK_HOST_C_DESCRIPTOR_H
#define VEK_HOST_C_DESCRIPTOR_H

#include <string>

#include "host/HostExport.h"

// Describes a component of the host: a display name (its first text field)
// and an identifying key that the host compares case-insensitively.
class VEKHOST_API C_Descriptor {
 public:
  C_Descriptor(const std::string& i_name, const std::string& i_key);
  virtual ~C_Descriptor();
  const std::string& GetName() const { return m_name; }
  const std::string& GetKey() const { return m_key; }

 private:
  std::string m_name;
  std::string m_key;
};

#endif
