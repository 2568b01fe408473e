#include "device/C_FirmwareRev.h"

#include <cctype>

namespace {

bool StartsWithZQ(const std::string& i_text) { return i_text.compare(0, 2, "ZQ") == 0; }

// Byte-wise as unsigned characters, a prefix sorting first.
bool BytewiseLess(const std::string& a, const std::string& b) { return a.compare(b) < 0; }

}  // namespace

bool C_FirmwareRev::operator<(const C_FirmwareRev& i_other) const {
  const std::string& a = m_text;
  const std::string& b = i_other.m_text;
  const std::size_t la = a.size(), lb = b.size();
  if ((la == 3 && lb == 4) || (la == 4 && lb == 3)) {
    return BytewiseLess(a.substr(la - 2), b.substr(lb - 2));
  }
  const bool pa = StartsWithZQ(a), pb = StartsWithZQ(b);
  if (pa != pb || !pa) return BytewiseLess(a, b);

  const char ca = a.at(2), cb = b.at(2);
  if (std::toupper(static_cast<unsigned char>(ca)) != std::toupper(static_cast<unsigned char>(cb))) {
    return false;  // different letters: neither revision is newer
  }
  if (ca == cb) {
    return static_cast<signed char>(a.at(3)) < static_cast<signed char>(b.at(3));
  }
  return std::isupper(static_cast<unsigned char>(cb)) != 0;
}
