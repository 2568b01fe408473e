#ifndef VEK_DDFF_C_DDFF_H
#define VEK_DDFF_C_DDFF_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "ddff/DDFFFormat.h"
#include "foundation/Export.h"

// One DDFF request: the self-checking image that tells the controller-side
// agent to flash a drive's firmware later (layout in doc/ddff-request.md).
// It holds the header, status and request blocks as they lie in the image,
// the ordered instruction program, the caller's firmware image (not owned)
// and the output buffer of the last GetRequest (owned).
//
// Building: Clear (the constructor does it), set the text fields and flags,
// AddInstruction for each step, SetRomImage, then GetRequest. Checking:
// Read from a file or a memory buffer validates every block and its CRC and
// throws C_DDFF::C_Exception naming the first fault.
//
// Text fields. The setters fill the field with spaces and copy at most the
// field's width of characters, without a terminating zero; longer texts are
// cut. The getters return the field up to its first zero byte with trailing
// spaces removed: a field set from "ACME" reads back as "ACME", and the
// zero-filled default serial number reads back as "". Identity texts of the
// drive targets are trimmed the same way, so they compare equal to what the
// getters return. The report (Dump) shows the raw full-width fields instead.
//
// Not copyable. One thread at a time; Read keeps no state outside the
// object, so separate objects may be used from separate threads.
class VEK_API C_DDFF {
 public:
  class C_Exception;
  class C_Instruction;
  class C_ScsiInstruction;
  class C_ControllerInstruction;

  // A cleared request (see Clear).
  C_DDFF();
  ~C_DDFF();
  C_DDFF(const C_DDFF&) = delete;
  C_DDFF& operator=(const C_DDFF&) = delete;

  // Zeroes the header, status and request blocks and destroys every
  // instruction. The output buffer and the attached image stay.
  void Reset();
  // Reset, then the defaults: signature and block sizes in the header and
  // blocks, status DDFF_STATUS_LOADING, request and update time stamped with
  // the local time now, old ROM revision four spaces, flags 0, component
  // "zqsetup", engine version "0101", vendor "MOLDUR", other texts spaces
  // except the serial number (zero bytes), record size 40. Releases the
  // output buffer and detaches the image.
  void Clear();

  // Component name (32) and version (4).
  void SetComponentName(const std::string& i_name, const std::string& i_version);
  void SetRomFileVersion(const std::string& i_text);     // 4, version of the firmware file
  void SetRomOldRevision(const std::string& i_text);     // 4, in the status block
  void SetDriveVendorId(const std::string& i_text);      // 8
  void SetDriveProductId(const std::string& i_text);     // 16
  void SetDriveRevision(const std::string& i_text);      // 4
  void SetDriveSerialNumber(const std::string& i_text);  // 20
  std::string GetRomFileVersion() const;
  std::string GetRomOldRevision() const;
  std::string GetDriveVendorId() const;
  std::string GetDriveProductId() const;
  std::string GetDriveRevision() const;
  std::string GetDriveSerialNumber() const;

  // DDFF_RQ_* bits.
  void SetRequestFlags(std::uint32_t i_flags);
  std::uint32_t GetRequestFlags() const;

  // Attaches the caller's firmware image. Not copied: it must stay valid
  // until the next GetRequest has returned. A null image detaches it.
  void SetRomImage(const void* i_pImage, std::uint32_t i_nSize);
  const void* GetRomImage() const { return m_pImage; }
  std::uint32_t GetRomImageSize() const { return m_nImageSize; }

  // Append a new instruction, owned by the request, to the end of the
  // program: a copy of the given one, or the one C_Instruction::New makes of
  // a 40-byte record (with its checks and exceptions).
  void AddInstruction(const C_ScsiInstruction& i_instruction);
  void AddInstruction(const C_ControllerInstruction& i_instruction);
  void AddInstruction(const std::uint8_t* i_pbyData, std::uint32_t i_nSize);
  std::size_t GetInstructionCount() const { return m_instructions.size(); }
  // The instruction at i_index (< GetInstructionCount()); owned by the request.
  const C_Instruction& GetInstruction(std::size_t i_index) const;

  // Recomputes the layout fields (block offsets and sizes, instruction
  // offset and count; data offset and size when an image is attached, else
  // they are left as they are) and returns the total size without padding.
  // The record size field (request block offset 200) is read, not written:
  // request size = 112 + N * record size, total = 204 + N * record size
  // (+ the image). It is 40 after Clear; after a bare Reset it is 0, and
  // after Read it is what the image said, so the CRCs of such a request
  // and GetStatusInstructionNumber follow that value. Throws C_Exception
  // when the request would not fit the 32-bit size fields.
  std::uint32_t FixupHeader();
  // FixupHeader's total rounded up to a multiple of 512.
  std::uint32_t GetRequestSize();
  // Builds the image and returns it: GetRequestSize() bytes, every CRC
  // filled in, zero padding at the end. The records are written 40 bytes
  // each, one after another from offset 204, and the image right after
  // them, whatever the record size field says (see FixupHeader); the
  // buffer is large enough for all of it, and its first GetRequestSize()
  // bytes are the request. The buffer belongs to the request and
  // stays valid until the next GetRequest, Clear or destruction. The image
  // data is copied and checksummed in one pass. Fails only as FixupHeader
  // does or when memory runs out (the host framework's out-of-memory
  // exception).
  const std::uint8_t* GetRequest();

  // Read and validate a request image from a file, or from i_nSize bytes at
  // i_pData (i_name stands for the file name in the messages). First Reset
  // and detach the image; then each block is read straight into its field
  // and checked in image order. The first fault throws C_Exception with one
  // of these messages (%#x shows the value found in the image):
  //   "Cannot open request file."            (file only)
  //   "Cannot access request file: <name>"   (47 bytes or less)
  //   "Cannot read request header: <name>"
  //   "Invalid signature: %#x"
  //   "Invalid header size: %#x"             (under 48 or past the end)
  //   "Invalid header CRC: %#x"
  //   "Cannot seek to Status."               (a stream that cannot seek)
  //   "Cannot read request status: <name>"   (also at an offset past the end)
  //   "Invalid status size: %#x"
  //   "Invalid Status CRC: %#x"
  //   "Cannot seek to Request."
  //   "Cannot read request: <name>"          (also past the end)
  //   "Invalid request size: %#x"
  //   "Cannot read instruction[<i>]"         (records follow the fixed part)
  //   the messages of C_Instruction::New
  //   "Invalid Request CRC: %#x"
  //   "Cannot seek to data."
  //   "Invalid Data CRC: %#x"                (also for a short data area)
  // Seeking past the end of the image succeeds, as on any file; the read
  // that follows is what fails. So a request whose data size and data CRC
  // are 0 reads whatever its data offset says.
  // The image data is checked, not kept. On failure the object holds what
  // was read so far: Clear before reusing it.
  void Read(const std::string& i_fileName);
  void Read(const void* i_pData, std::size_t i_nSize, const std::string& i_name);

  // The failing instruction's index from the status block, or -1: with p
  // the failing-instruction field, s the status size field and r the record
  // size field, -1 when p < s or r == 0, else (p - s) / r. (The agent counts
  // from the status size; keep it so.)
  std::int64_t GetStatusInstructionNumber() const;
  // The data size field of the header.
  std::uint32_t GetDataSize() const { return m_header.dataSize; }

  // The blocks as they stand.
  const S_DDFF_Header& GetHeader() const { return m_header; }
  const S_DDFF_Status& GetStatus() const { return m_status; }
  const S_DDFF_Request& GetRequestBlock() const { return m_request; }
  // Replaces the status block as is, e.g. with one sensed from the
  // controller, to report it.
  void SetStatus(const S_DDFF_Status& i_status) { m_status = i_status; }

  // Formats a message printf-style (cut to 255 characters) and throws it as
  // C_Exception.
  [[noreturn]] static void ThrowF(const char* i_format, ...) __attribute__((format(printf, 1, 2)));

  // Writes the text report of the request and of each instruction.
  // Brings the layout fields up to date first (FixupHeader), unless the
  // signature is wrong: then the only line is the error.
  void Dump(std::ostream& io_stream);

 private:
  class C_Source;
  class C_FileSource;
  class C_MemorySource;
  void Parse(C_Source& io_source, const std::string& i_name);
  void Append(std::unique_ptr<C_Instruction> i_instruction);

  S_DDFF_Header m_header;
  S_DDFF_Status m_status;
  S_DDFF_Request m_request;
  std::vector<std::unique_ptr<C_Instruction>> m_instructions;
  std::unique_ptr<std::uint8_t[]> m_output;  // the last GetRequest
  std::uint32_t m_nOutputSize;
  const void* m_pImage;  // the caller's, not owned
  std::uint32_t m_nImageSize;
};

// The nested classes, so that including this header is enough to use them.
#include "ddff/C_DDFFException.h"
#include "ddff/C_Instruction.h"
#include "ddff/C_ScsiInstruction.h"
#include "ddff/C_ControllerInstruction.h"

#endif
