#ifndef VEK_DEVICE_C_VERSION_H
#define VEK_DEVICE_C_VERSION_H

#include <string>

// A four-part version number packed into 32 bits, the first part in the most
// significant byte.
//
// Parsing ("a.b.c.d"): each part is read as a decimal number (leading blanks
// and a sign allowed, reading stops at the first non-digit) and only its low
// 8 bits are kept. A text without three "." separators fails: the object is
// left unchanged and an exception of type int* is thrown (a new int holding
// 1, which the catcher deletes). Callers that parse versions catch int*.
class C_Version {
 public:
  C_Version() : m_value(0) {}
  explicit C_Version(unsigned int i_value) : m_value(i_value) {}
  explicit C_Version(const std::string& i_text) : m_value(0) { Set(i_text); }

  void Set(unsigned int i_value) { m_value = i_value; }
  void Set(const std::string& i_text);
  C_Version& operator=(unsigned int i_value) {
    m_value = i_value;
    return *this;
  }
  unsigned int Get() const { return m_value; }
  // "%02d.%02d.%02d.%02d", most significant part first.
  std::string GetString() const;

  bool operator<(const C_Version& i_other) const { return m_value < i_other.m_value; }
  bool operator==(const C_Version& i_other) const { return m_value == i_other.m_value; }

 private:
  unsigned int m_value;
};

#endif
