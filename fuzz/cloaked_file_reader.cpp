// Fuzz target (libFuzzer): any bytes as a cloaked file. Not part of the
// build; compile by hand, e.g.
//   clang++ -std=c++17 -fsanitize=fuzzer,address -I. fuzz/cloaked_file_reader.cpp
//       -Lbuild/x64 -lvek_internal -lvek -lvekhost     (one command line;
//       libvek_internal.a holds the internal units libvek does not export)
// Every input must either throw C_CloakException or read to the end with
// exactly GetSize() content bytes.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cloak/C_CloakedFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  static const std::string path = std::string(P_tmpdir) + "/vek-fuzz-cloak-" + std::to_string(::getpid());
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return 0;
  std::fwrite(i_data, 1, i_size, out);
  std::fclose(out);
  C_CloakedFile file;
  try {
    if (file.OpenInput(path)) {
      char buffer[4096];
      std::uint64_t total = 0;
      while (std::uint32_t n = file.Read(buffer, sizeof buffer)) total += n;
      if (total != file.GetSize()) std::abort();
    }
  } catch (const C_CloakedFile::C_CloakException&) {
  }
  return 0;
}
