#include "tools/N_FileIo.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/N_FileUtilities.h"
#include "tools/N_ExitStatus.h"

namespace N_FileIo {

namespace {

[[noreturn]] void Fail(const std::string& i_path, const char* i_what, int i_errno) {
  throw C_Failure(N_ExitStatus::FAILED,
                  i_path + ": cannot " + i_what + ": " + std::strerror(i_errno));
}

}  // namespace

std::vector<std::uint8_t> Read(const std::string& i_path) {
  const int fd = open(i_path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) Fail(i_path, "read", errno);
  struct stat info;
  if (fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
    close(fd);
    Fail(i_path, "read", EISDIR);
  }
  std::vector<std::uint8_t> bytes;
  std::uint8_t buffer[65536];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int error = errno;
      close(fd);
      Fail(i_path, "read", error);
    }
    if (n == 0) break;
    bytes.insert(bytes.end(), buffer, buffer + n);
  }
  close(fd);
  return bytes;
}

void WriteAtomically(const std::string& i_path, const std::uint8_t* i_data, std::size_t i_size) {
  if (const int error = N_FileUtilities::WriteFileAtomically(i_path, i_data, i_size)) {
    Fail(i_path, "write", error);
  }
}

void MakeDirectories(const std::string& i_path) {
  for (std::size_t slash = i_path.find('/', 1);; slash = i_path.find('/', slash + 1)) {
    const std::string part = i_path.substr(0, slash);
    if (!part.empty() && mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) {
      Fail(part, "create the directory", errno);
    }
    if (slash == std::string::npos) return;
  }
}

std::string Sha256(const std::vector<std::uint8_t>& i_bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(i_bytes.data(), i_bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
    throw C_Failure(N_ExitStatus::FAILED, "cannot compute a SHA-256 (libcrypto failed)");
  }
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) hex += fmt::format("{:02x}", digest[i]);
  return hex;
}

}  // namespace N_FileIo
