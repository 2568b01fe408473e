#ifndef VEK_TOOLS_N_FILEIO_H
#define VEK_TOOLS_N_FILEIO_H

#include <cstdint>
#include <string>
#include <vector>

// Whole-file reading and writing for vekctl's commands. Failures throw
// C_Failure (exit status 3) naming the file and the system's reason.
namespace N_FileIo {

std::vector<std::uint8_t> Read(const std::string& i_path);
// N_FileUtilities::WriteFileAtomically: an existing file is either replaced
// whole or left as it was.
void WriteAtomically(const std::string& i_path, const std::uint8_t* i_data, std::size_t i_size);
// Creates i_path and its missing parents (mode 0755).
void MakeDirectories(const std::string& i_path);
// The SHA-256 of the bytes as 64 lower-case hex digits (OpenSSL's libcrypto).
std::string Sha256(const std::vector<std::uint8_t>& i_bytes);

}  // namespace N_FileIo

#endif
