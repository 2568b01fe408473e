#ifndef VEK_CLOAK_C_CLOAKEDFILE_H
#define VEK_CLOAK_C_CLOAKEDFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "Common/Localization/C_Text.h"
#include "foundation/C_File.h"
#include "foundation/Export.h"
#include "host/C_Exception.h"

// A cloaked file read or written sequentially: a 16-byte header (magic,
// header size, method, variant, seed; doc/cloaked-file.md) and contents
// exclusive-or'ed with the Crypt::Cloak stream that starts at the seed.
// Contents must be read in the order they were written, in any division
// into Read calls.
//
// One object, one open file at a time, one thread at a time. Every failure
// other than "cannot open" throws C_CloakException, whose text is the
// localized "C_CloakedFile: <MSG>" and whose GetErrno() is an E_Errno.
//
// Writing goes straight to the named file: OpenOutput creates or truncates
// it at once (fopen "wb"), so an existing file's old contents are gone from
// that moment, and a failure part way leaves a partial file. A caller that
// must keep the old file until the new one is whole writes to a temporary
// name and renames it itself. Destruction closes but cannot report a
// failing close: call Close.
class VEK_API C_CloakedFile {
 public:
  enum E_Errno {
    ERRNO_GET_SIZE = 1,      // "Cannot get file size"
    ERRNO_READ_HEADER = 3,   // "Cannot read header"
    ERRNO_WRITE = 4,         // "Cannot write header", "Cannot close file"
    ERRNO_BAD_HEADER = 5,    // "Bad magic number", "Bad header size",
                             // "Unknown cloaking method", "Unknown XOR variant"
  };

  // What every failure throws. GetString()/what() hold the text formatted
  // for the locale current when it was thrown; GetText() is the frame as a
  // C_Text (its MSG argument already a string of that locale).
  class VEK_API C_CloakException : public C_Exception {
   public:
    C_CloakException(const char* i_file, int i_line, const Local::C_Text& i_text, E_Errno i_errno);
    ~C_CloakException() override;
    C_Exception* Clone() const override;
    const Local::C_Text& GetText() const { return m_text; }

   private:
    Local::C_Text m_text;
  };

  C_CloakedFile();  // closed, header fields zero
  virtual ~C_CloakedFile();
  C_CloakedFile(const C_CloakedFile&) = delete;
  C_CloakedFile& operator=(const C_CloakedFile&) = delete;

  // Closes what is open, opens the file (or standard input) for reading and
  // checks its header. False when the file cannot be opened; throws on a
  // header that cannot be read or is not valid (the stream then stays open
  // until Close).
  bool OpenInput(const std::string& i_fileName);
  bool OpenInput();
  // Closes what is open, opens the file for writing, created or truncated
  // (see above), or takes standard output, and writes a new header whose
  // seed is the current time. False when the file cannot be opened.
  bool OpenOutput(const std::string& i_fileName);
  bool OpenOutput();

  // Reads up to i_size bytes and uncloaks them in place; returns their
  // number (0 at end of file, state unchanged).
  std::uint32_t Read(void* o_buffer, std::uint32_t i_size);
  // Cloaks a copy of the bytes (the caller's stay as they are) and writes
  // it; returns the number of bytes written (short when the file system
  // refuses more). 0 for size 0.
  std::uint32_t Write(const void* i_data, std::uint32_t i_size);
  // The number of content bytes: the file's size less the header size; 0
  // when nothing is open (or the file is shorter than its header).
  std::uint64_t GetSize();
  // Closes the file. Throws "Cannot close file" when that fails (pending
  // output could not be written).
  void Close();
  bool IsOpen() const { return m_file.IsOpen(); }

  // The header of the open file (zero when none was read or written).
  std::uint32_t GetMagic() const { return m_magic; }
  std::uint32_t GetHeaderSize() const { return m_headerSize; }
  std::uint16_t GetMethod() const { return m_method; }
  std::uint16_t GetVariant() const { return m_variant; }
  std::uint32_t GetSeed() const { return m_seed; }
  // The running cloak state: the seed after opening, advanced by every byte.
  std::uint32_t GetState() const { return m_state; }

 protected:
  // Reads and checks the header: magic, then header size, then method, then
  // variant; skips to the header size when it is above 16.
  void ReadHeader();
  // Writes a new header with the current time as seed.
  void WriteHeader();
  [[noreturn]] void ThrowException(const Local::C_Text& i_message, E_Errno i_errno) const;

 private:
  C_File m_file;
  std::uint32_t m_magic;
  std::uint32_t m_headerSize;
  std::uint16_t m_method;
  std::uint16_t m_variant;
  std::uint32_t m_seed;
  std::uint32_t m_state;
  std::vector<unsigned char> m_scratch;  // cloaked copies on their way out (at most 1 MiB)
};

#endif
