#include "foundation/C_FileSpec.h"

#include <vector>

#include "foundation/N_FileUtilities.h"

std::string::size_type C_FileSpec::NameStart() const {
  std::string::size_type slash = m_path.rfind('/');
  return slash == std::string::npos ? 0 : slash + 1;
}

std::string C_FileSpec::GetDirectory() const { return m_path.substr(0, NameStart()); }

std::string C_FileSpec::GetName() const { return m_path.substr(NameStart()); }

std::string C_FileSpec::GetExtension() const {
  std::string name = GetName();
  std::string::size_type dot = name.rfind('.');
  // A dot that starts the name marks a hidden file, not an extension.
  if (dot == std::string::npos || dot == 0) return std::string();
  return name.substr(dot);
}

std::string C_FileSpec::GetBaseName() const {
  std::string name = GetName();
  return name.substr(0, name.size() - GetExtension().size());
}

C_FileSpec& C_FileSpec::SetName(const std::string& i_name) {
  m_path = GetDirectory() + i_name;
  return *this;
}

C_FileSpec& C_FileSpec::SetExtension(const std::string& i_extension) {
  std::string name = GetBaseName();
  if (!i_extension.empty() && i_extension[0] != '.') name += '.';
  return SetName(name + i_extension);
}

C_FileSpec& C_FileSpec::SetDirectory(const std::string& i_directory) {
  std::string name = GetName();
  m_path = i_directory;
  if (!m_path.empty() && m_path.back() != '/') m_path += '/';
  m_path += name;
  return *this;
}

C_FileSpec& C_FileSpec::Append(const std::string& i_path) {
  if (!i_path.empty() && i_path[0] == '/') {
    m_path = i_path;
  } else if (!i_path.empty()) {
    if (!m_path.empty() && m_path.back() != '/') m_path += '/';
    m_path += i_path;
  }
  return *this;
}

C_FileSpec& C_FileSpec::Normalize() {
  if (m_path.empty()) return *this;
  const bool absolute = IsAbsolute();
  const bool trailingSlash = m_path.back() == '/';
  std::vector<std::string> parts;
  std::string::size_type begin = 0;
  while (begin <= m_path.size()) {
    std::string::size_type end = m_path.find('/', begin);
    if (end == std::string::npos) end = m_path.size();
    std::string part = m_path.substr(begin, end - begin);
    if (part.empty() || part == ".") {
      // nothing: repeated '/' or the current directory
    } else if (part != "..") {
      parts.push_back(part);
    } else if (!parts.empty() && parts.back() != "..") {
      parts.pop_back();
    } else if (!absolute) {
      parts.push_back(part);  // above the start of a relative path: kept
    }
    begin = end + 1;
  }
  std::string result = absolute ? "/" : "";
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i) result += '/';
    result += parts[i];
  }
  if (result.empty()) result = ".";
  // A path written as a directory ("a/") keeps saying so.
  if (trailingSlash && result.back() != '/') result += '/';
  m_path = result;
  return *this;
}

bool C_FileSpec::MakeAbsolute() {
  if (!IsAbsolute()) {
    std::string cwd = N_FileUtilities::GetCurrentDirectory();
    if (cwd.empty()) return false;
    C_FileSpec joined(cwd);
    joined.Append(m_path);
    m_path = joined.m_path;
  }
  Normalize();
  return true;
}
