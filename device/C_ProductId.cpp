#include "device/C_ProductId.h"

#include <cstring>

#include "foundation/StringUtil.h"

void C_ProductId::Set(const std::string& i_text) {
  m_text = i_text;
  TrimRight(m_text, ' ');
}

void C_ProductId::Set(const void* i_data, unsigned int i_length) {
  const char* bytes = static_cast<const char*>(i_data);
  const void* zero = i_data ? std::memchr(bytes, 0, i_length) : nullptr;
  std::size_t n = zero ? static_cast<const char*>(zero) - bytes : (i_data ? i_length : 0);
  Set(std::string(bytes ? bytes : "", n));
}
