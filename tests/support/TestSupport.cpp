#include "support/TestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

C_TempDir::C_TempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/vek-test-XXXXXX";
  if (!mkdtemp(&pattern[0])) throw std::runtime_error("mkdtemp failed for " + pattern);
  m_path = pattern;
}

C_TempDir::~C_TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string C_TempDir::File(const std::string& i_name) const { return m_path + "/" + i_name; }

std::string ReadFileBytes(const std::string& i_path) {
  std::ifstream in(i_path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + i_path);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteFileBytes(const std::string& i_path, const std::string& i_bytes) {
  std::ofstream out(i_path, std::ios::binary | std::ios::trunc);
  out.write(i_bytes.data(), static_cast<std::streamsize>(i_bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + i_path);
}
