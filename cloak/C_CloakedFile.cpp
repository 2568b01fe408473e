#include "cloak/C_CloakedFile.h"

#include <cstdio>
#include <ctime>
#include <vector>

#include "Common/Localization/VekMessages.h"
#include "cloak/Cloak.h"
#include "cloak/CloakedFileFormat.h"

namespace {

using namespace N_CloakedFileFormat;

std::uint32_t GetU32(const unsigned char* i_bytes) {
  return static_cast<std::uint32_t>(i_bytes[0]) | static_cast<std::uint32_t>(i_bytes[1]) << 8 |
         static_cast<std::uint32_t>(i_bytes[2]) << 16 | static_cast<std::uint32_t>(i_bytes[3]) << 24;
}
std::uint16_t GetU16(const unsigned char* i_bytes) {
  return static_cast<std::uint16_t>(i_bytes[0] | i_bytes[1] << 8);
}
void PutU32(unsigned char* o_bytes, std::uint32_t i_value) {
  for (int i = 0; i < 4; ++i) o_bytes[i] = static_cast<unsigned char>(i_value >> (8 * i));
}
void PutU16(unsigned char* o_bytes, std::uint16_t i_value) {
  o_bytes[0] = static_cast<unsigned char>(i_value);
  o_bytes[1] = static_cast<unsigned char>(i_value >> 8);
}

// Writes go out through a bounded scratch buffer: cloaking a copy keeps the
// caller's data intact without doubling the memory of a large write. 1 MiB
// pieces keep the number of write calls low enough that the file system,
// not the copying, sets the pace.
constexpr std::uint32_t SCRATCH_SIZE = 1024 * 1024;
constexpr std::uint32_t READ_PIECE = 1024 * 1024;

}  // namespace

C_CloakedFile::C_CloakException::C_CloakException(const char* i_file, int i_line,
                                                  const Local::C_Text& i_text, E_Errno i_errno)
    : C_Exception(i_file, i_line, i_text.GetString(), i_errno), m_text(i_text) {}

C_CloakedFile::C_CloakException::~C_CloakException() = default;

C_Exception* C_CloakedFile::C_CloakException::Clone() const { return new C_CloakException(*this); }

C_CloakedFile::C_CloakedFile()
    : m_magic(0), m_headerSize(0), m_method(0), m_variant(0), m_seed(0), m_state(0) {}

// A close failing here cannot be reported; Close() is the way to learn of it.
C_CloakedFile::~C_CloakedFile() { m_file.Close(); }

bool C_CloakedFile::OpenInput(const std::string& i_fileName) {
  Close();
  if (!m_file.Open(i_fileName, "rb")) return false;
  ReadHeader();
  m_state = m_seed;
  return true;
}

bool C_CloakedFile::OpenInput() {
  Close();
  m_file.Attach(stdin, false);
  ReadHeader();
  m_state = m_seed;
  return true;
}

bool C_CloakedFile::OpenOutput(const std::string& i_fileName) {
  Close();
  if (!m_file.Open(i_fileName, "wb")) return false;
  WriteHeader();
  m_state = m_seed;
  return true;
}

bool C_CloakedFile::OpenOutput() {
  Close();
  m_file.Attach(stdout, false);
  WriteHeader();
  m_state = m_seed;
  return true;
}

std::uint32_t C_CloakedFile::Read(void* o_buffer, std::uint32_t i_size) {
  // Large reads go in pieces that are uncloaked while the kernel's copy of
  // them is still in the cache.
  unsigned char* buffer = static_cast<unsigned char*>(o_buffer);
  std::uint32_t total = 0;
  while (total < i_size) {
    std::uint32_t piece = i_size - total < READ_PIECE ? i_size - total : READ_PIECE;
    std::size_t got = m_file.Read(buffer + total, piece);
    m_state = Crypt::Cloak(buffer + total, static_cast<long>(got), m_state);
    total += static_cast<std::uint32_t>(got);
    if (got != piece) break;
  }
  return total;
}

std::uint32_t C_CloakedFile::Write(const void* i_data, std::uint32_t i_size) {
  if (i_size == 0 || !m_file.IsOpen()) return 0;
  const std::uint32_t wanted = i_size < SCRATCH_SIZE ? i_size : SCRATCH_SIZE;
  if (m_scratch.size() < wanted) m_scratch.resize(wanted);
  unsigned char* scratch = m_scratch.data();
  const unsigned char* data = static_cast<const unsigned char*>(i_data);
  std::uint32_t written = 0;
  while (written < i_size) {
    std::uint32_t piece = i_size - written < SCRATCH_SIZE ? i_size - written : SCRATCH_SIZE;
    std::uint32_t before = m_state;
    Crypt::CloakCopy(data + written, scratch, static_cast<long>(piece), m_state);
    std::size_t out = m_file.Write(scratch, piece);
    // The state follows what reached the file, so a caller may write the
    // rest again after a short write.
    m_state = Crypt::Advance(before, out);
    written += static_cast<std::uint32_t>(out);
    if (out != piece) break;
  }
  return written;
}

std::uint64_t C_CloakedFile::GetSize() {
  if (!m_file.IsOpen()) return 0;
  std::uint64_t size = 0;
  if (!m_file.GetSize(size)) {
    ThrowException(N_VekMessages::Text(N_VekMessages::MSG_CLOAK_GET_SIZE), ERRNO_GET_SIZE);
  }
  return size > m_headerSize ? size - m_headerSize : 0;
}

void C_CloakedFile::Close() {
  if (!m_file.IsOpen()) return;
  if (!m_file.Close()) ThrowException(N_VekMessages::Text(N_VekMessages::MSG_CLOAK_CLOSE), ERRNO_WRITE);
}

void C_CloakedFile::ReadHeader() {
  using namespace N_VekMessages;
  unsigned char header[HEADER_SIZE];
  if (std::fread(header, 8, 1, m_file.Get()) != 1) {
    ThrowException(Text(MSG_CLOAK_READ_HEADER), ERRNO_READ_HEADER);
  }
  m_magic = GetU32(header + OFFSET_MAGIC);
  m_headerSize = GetU32(header + OFFSET_HEADER_SIZE);
  if (m_magic != MAGIC) ThrowException(Text(MSG_CLOAK_BAD_MAGIC), ERRNO_BAD_HEADER);
  if (m_headerSize < HEADER_SIZE) ThrowException(Text(MSG_CLOAK_BAD_HEADER_SIZE), ERRNO_BAD_HEADER);
  if (std::fread(header + 8, 8, 1, m_file.Get()) != 1) {
    ThrowException(Text(MSG_CLOAK_READ_HEADER), ERRNO_READ_HEADER);
  }
  m_method = GetU16(header + OFFSET_METHOD);
  m_variant = GetU16(header + OFFSET_VARIANT);
  m_seed = GetU32(header + OFFSET_SEED);
  if (m_method != METHOD_XOR) ThrowException(Text(MSG_CLOAK_UNKNOWN_METHOD), ERRNO_BAD_HEADER);
  if (m_variant != XOR_VARIANT_LCG) ThrowException(Text(MSG_CLOAK_UNKNOWN_VARIANT), ERRNO_BAD_HEADER);
  if (m_headerSize > HEADER_SIZE && !m_file.Seek(m_headerSize, SEEK_SET)) {
    // A stream that cannot seek (standard input from a pipe): skip by
    // reading. Running out early only means the contents are empty, as
    // seeking past the end of a file would.
    std::uint32_t skip = m_headerSize - HEADER_SIZE;
    char discard[4096];
    while (skip) {
      std::size_t got = m_file.Read(discard, skip < sizeof discard ? skip : sizeof discard);
      if (got == 0) break;
      skip -= static_cast<std::uint32_t>(got);
    }
  }
}

void C_CloakedFile::WriteHeader() {
  m_magic = MAGIC;
  m_headerSize = HEADER_SIZE;
  m_method = METHOD_XOR;
  m_variant = XOR_VARIANT_LCG;
  m_seed = static_cast<std::uint32_t>(std::time(nullptr));
  unsigned char header[HEADER_SIZE] = {};
  PutU32(header + OFFSET_MAGIC, m_magic);
  PutU32(header + OFFSET_HEADER_SIZE, m_headerSize);
  PutU16(header + OFFSET_METHOD, m_method);
  PutU16(header + OFFSET_VARIANT, m_variant);
  PutU32(header + OFFSET_SEED, m_seed);
  if (std::fwrite(header, sizeof header, 1, m_file.Get()) != 1) {
    ThrowException(N_VekMessages::Text(N_VekMessages::MSG_CLOAK_WRITE_HEADER), ERRNO_WRITE);
  }
}

void C_CloakedFile::ThrowException(const Local::C_Text& i_message, E_Errno i_errno) const {
  Local::C_Text text = N_VekMessages::Text(N_VekMessages::MSG_CLOAK_FRAME);
  text.AddArg("MSG", i_message.GetString());
  throw C_CloakException(__FILE__, __LINE__, text, i_errno);
}
