// Fuzz target: any bytes as a cloaked file (C_CloakedFile::OpenInput and
// Read). Every input must either throw C_CloakException or read to the end
// with exactly GetSize() content bytes, and the contents must not depend on
// how the reads divide them.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cloak/C_CloakedFile.h"
#include "fuzz/FuzzFiles.h"

namespace {

// The whole contents, read in pieces of i_piece bytes; false on a header the
// reader refused.
bool ReadAll(const std::string& i_path, std::uint32_t i_piece, std::string& o_contents) {
  C_CloakedFile file;
  try {
    if (!file.OpenInput(i_path)) std::abort();  // the file is there
    char buffer[4096];
    while (std::uint32_t n = file.Read(buffer, i_piece)) o_contents.append(buffer, n);
    if (o_contents.size() != file.GetSize()) std::abort();
    return true;
  } catch (const C_CloakedFile::C_CloakException&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const std::string path = N_FuzzFiles::Write("cloaked", i_data, i_size);
  std::string whole, pieces;
  const bool read = ReadAll(path, 4096, whole);
  if (read != ReadAll(path, 1 + i_size % 7, pieces) || whole != pieces) std::abort();
  return 0;
}
