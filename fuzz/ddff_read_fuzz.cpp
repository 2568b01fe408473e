// libFuzzer target for C_DDFF::Read on a memory buffer. Every input must end
// in a successful read or a C_DDFF::C_Exception; anything else (a crash, a
// sanitizer report, another exception) is a finding. Built by hand, e.g.
// with clang from the top of the tree:
//
//   clang++ -std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -I. \
//     fuzz/ddff_read_fuzz.cpp ddff/*.cpp foundation/StringUtil.cpp host/C_Exception.cpp \
//     -o ddff_read_fuzz
//   ./ddff_read_fuzz -max_len=8192 tests/data/ddff
//
// The checked-in request image under tests/data/ddff makes a good seed.

#include <cstddef>
#include <cstdint>
#include <sstream>

#include "ddff/C_DDFF.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_pData, std::size_t i_nSize) {
  C_DDFF request;
  try {
    request.Read(i_pData, i_nSize, "fuzz");
  } catch (const C_DDFF::C_Exception&) {
    return 0;
  }
  // What was read must also report and build again without fault.
  std::ostringstream report;
  request.Dump(report);
  request.GetRequest();
  return 0;
}
