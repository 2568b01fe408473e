#ifndef VEK_DEVICE_C_DEVICEID_H
#define VEK_DEVICE_C_DEVICEID_H

#include <string>

#include "foundation/Export.h"

// A device's path-like identity in the tree: its parent's id, ":", its part.
class VEK_API C_DeviceId {
 public:
  C_DeviceId() = default;
  explicit C_DeviceId(const std::string& i_text) : m_text(i_text) {}
  C_DeviceId(const C_DeviceId& i_parent, const std::string& i_part) { Set(i_parent, i_part); }

  void Set(const std::string& i_text) { m_text = i_text; }
  // Parent text, ":", part. The separator is written even for an empty
  // parent, so a top-level id starts with ":".
  void Set(const C_DeviceId& i_parent, const std::string& i_part);
  const std::string& Get() const { return m_text; }
  bool operator==(const C_DeviceId& i_other) const { return m_text == i_other.m_text; }

 private:
  std::string m_text;
};

#endif
