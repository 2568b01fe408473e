#ifndef VEK_DEVICE_C_FIRMWAREREV_H
#define VEK_DEVICE_C_FIRMWAREREV_H

#include <string>

#include "foundation/Export.h"

// A drive's firmware revision text, ordered by the maker's revision scheme.
//
// operator< (a < b), in this order:
//  1. lengths 3 and 4 (either way round): only the last two characters of
//     each are compared, as unsigned bytes;
//  2. unless both texts start with "ZQ": plain byte-wise comparison;
//  3. both start with "ZQ": third characters that differ even upper-cased
//     make the pair unordered (both a < b and b < a are false); equal third
//     characters compare the fourth as signed chars; third characters that
//     differ only in case: a < b exactly when b's is upper case.
// Rule 3 throws std::out_of_range for "ZQ" texts shorter than it needs
// (3 characters to look at the third, 4 for the fourth).
class VEK_API C_FirmwareRev {
 public:
  C_FirmwareRev() : m_text("0000") {}
  explicit C_FirmwareRev(const std::string& i_text) : m_text(i_text) {}

  void Set(const std::string& i_text) {
    if (&i_text != &m_text) m_text = i_text;
  }
  const std::string& Get() const { return m_text; }

  bool operator==(const C_FirmwareRev& i_other) const { return m_text == i_other.m_text; }
  bool operator<(const C_FirmwareRev& i_other) const;

 private:
  std::string m_text;
};

#endif
