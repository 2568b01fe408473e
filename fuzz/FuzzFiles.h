#ifndef VEK_FUZZ_FUZZFILES_H
#define VEK_FUZZ_FUZZFILES_H

// For fuzz targets whose reader takes a file name: each process gets one
// scratch directory, removed when it exits normally (a crashed run may leave
// it behind). It lies under $TMPDIR, else in /dev/shm: rewriting a file on
// a disk file system costs a write-back at every close, which would make
// these targets several times slower.

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace N_FuzzFiles {

// The process's scratch directory, made on first use.
inline const std::string& Directory() {
  static const std::string directory = [] {
    const char* tmp = std::getenv("TMPDIR");
    std::error_code error;
    const char* base = tmp && *tmp ? tmp : std::filesystem::is_directory("/dev/shm", error) ? "/dev/shm" : "/tmp";
    std::string path = std::string(base) + "/vek-fuzz-XXXXXX";
    if (!mkdtemp(&path[0])) {
      std::perror("vek fuzz: mkdtemp");
      std::abort();
    }
    static const std::string removed = path;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(removed, ignored);
    });
    return path;
  }();
  return directory;
}

// Writes i_size bytes to i_name in the scratch directory (creating the
// folders of i_name) and returns the path. Aborts when the file cannot be
// written: a fuzz run that cannot write its input tests nothing.
inline std::string Write(const std::string& i_name, const std::uint8_t* i_data, std::size_t i_size) {
  const std::string path = Directory() + "/" + i_name;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (!out || (i_size && std::fwrite(i_data, 1, i_size, out) != i_size) || std::fclose(out) != 0) {
    std::perror(path.c_str());
    std::abort();
  }
  return path;
}

}  // namespace N_FuzzFiles

#endif
