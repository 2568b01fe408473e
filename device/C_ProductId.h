#ifndef VEK_DEVICE_C_PRODUCTID_H
#define VEK_DEVICE_C_PRODUCTID_H

#include <string>

#include "foundation/Export.h"

// The product text a drive reports, normalised for comparison: it never ends
// in a blank once set.
class VEK_API C_ProductId {
 public:
  C_ProductId() = default;
  explicit C_ProductId(const std::string& i_text) { Set(i_text); }
  C_ProductId(const void* i_data, unsigned int i_length) { Set(i_data, i_length); }

  // Assigns the text and removes trailing blanks (0x20 only).
  void Set(const std::string& i_text);
  // A fixed-width field: the text ends at the first zero byte or after
  // i_length bytes, then trailing blanks are removed.
  void Set(const void* i_data, unsigned int i_length);
  const std::string& Get() const { return m_text; }
  bool operator==(const C_ProductId& i_other) const { return m_text == i_other.m_text; }

 private:
  std::string m_text;
};

#endif
