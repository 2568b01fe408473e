#include "ddff/C_DDFF.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <ostream>

#include "ddff/C_CRC32.h"
#include "ddff/internal/Crc32Impl.h"
#include "ddff/internal/ReportLines.h"
#include "foundation/StringUtil.h"
#include "host/C_Exception.h"

using namespace DDFF;

namespace {

std::uint32_t Crc(const void* i_pData, std::uint32_t i_nSize) {
  Crypt::C_CRC32 crc;
  crc.Update(i_pData, i_nSize);
  return crc.GetCRC();
}

// The header CRC leaves out the signature, the header size and itself.
std::uint32_t HeaderCrc(const S_DDFF_Header& i_header) {
  return Crc(reinterpret_cast<const std::uint8_t*>(&i_header) + HEADER_CRC_FROM,
             HEADER_SIZE - HEADER_CRC_FROM);
}

void SetText(char* o_field, std::size_t i_nWidth, const std::string& i_text) {
  std::memset(o_field, ' ', i_nWidth);
  std::memcpy(o_field, i_text.data(), std::min(i_nWidth, i_text.size()));
}

std::string GetText(const char* i_field, std::size_t i_nWidth) {
  std::string text(i_field, std::find(i_field, i_field + i_nWidth, '\0'));
  TrimRight(text, ' ');
  return text;
}

void Stamp(S_DDFF_Time& o_time) {
  std::memset(&o_time, 0, sizeof o_time);
  const std::time_t now = std::time(nullptr);
  std::tm local;
  if (now == static_cast<std::time_t>(-1) || !localtime_r(&now, &local)) return;
  const unsigned year = static_cast<unsigned>(local.tm_year + 1900);
  o_time.bytes[0] = static_cast<std::uint8_t>(local.tm_mday);
  o_time.bytes[1] = static_cast<std::uint8_t>(local.tm_mon + 1);
  o_time.bytes[2] = static_cast<std::uint8_t>(year & 0xFF);
  o_time.bytes[3] = static_cast<std::uint8_t>(year >> 8);
  o_time.bytes[4] = static_cast<std::uint8_t>(local.tm_sec);
  o_time.bytes[5] = static_cast<std::uint8_t>(local.tm_min);
  o_time.bytes[6] = static_cast<std::uint8_t>(local.tm_hour);
}

// month/day/year hour:minute:second, plain decimal.
std::string FormatTime(const S_DDFF_Time& i_time) {
  const std::uint8_t* b = i_time.bytes;
  return stringFormat("%u/%u/%u %u:%u:%u", b[1], b[0], b[2] | b[3] << 8, b[6], b[5], b[4]);
}

}  // namespace

// Read goes through this interface so that a file and a memory buffer are
// checked by the same code. Seeking past the end succeeds, as it does on a
// file; reading at or past the end yields fewer bytes than asked for. Only a
// stream that cannot seek at all fails a seek.
class C_DDFF::C_Source {
 public:
  virtual ~C_Source() = default;
  virtual std::uint64_t Length() const = 0;
  virtual bool Seek(std::uint64_t i_nOffset) = 0;
  virtual std::size_t ReadBytes(void* o_pData, std::size_t i_nSize) = 0;
};

class C_DDFF::C_FileSource : public C_DDFF::C_Source {
 public:
  explicit C_FileSource(const std::string& i_name) : m_file(std::fopen(i_name.c_str(), "rb")), m_nLength(0) {
    struct stat info;
    if (m_file && fstat(fileno(m_file), &info) == 0 && S_ISREG(info.st_mode))
      m_nLength = static_cast<std::uint64_t>(info.st_size);
  }
  ~C_FileSource() override {
    if (m_file) std::fclose(m_file);
  }
  C_FileSource(const C_FileSource&) = delete;
  C_FileSource& operator=(const C_FileSource&) = delete;
  bool IsOpen() const { return m_file != nullptr; }
  std::uint64_t Length() const override { return m_nLength; }
  bool Seek(std::uint64_t i_nOffset) override {
    // Anywhere past the end reads nothing, so the end stands for it: an
    // offset that a 32-bit off_t cannot hold then seeks as well.
    return fseeko(m_file, static_cast<off_t>(std::min(i_nOffset, m_nLength)), SEEK_SET) == 0;
  }
  std::size_t ReadBytes(void* o_pData, std::size_t i_nSize) override {
    return std::fread(o_pData, 1, i_nSize, m_file);
  }

 private:
  std::FILE* m_file;
  std::uint64_t m_nLength;  // 0 for what is not a regular file
};

class C_DDFF::C_MemorySource : public C_DDFF::C_Source {
 public:
  C_MemorySource(const void* i_pData, std::size_t i_nSize)
      : m_pData(static_cast<const std::uint8_t*>(i_pData)), m_nSize(i_pData ? i_nSize : 0), m_nPosition(0) {}
  std::uint64_t Length() const override { return m_nSize; }
  bool Seek(std::uint64_t i_nOffset) override {
    m_nPosition = static_cast<std::size_t>(std::min<std::uint64_t>(i_nOffset, m_nSize));
    return true;
  }
  std::size_t ReadBytes(void* o_pData, std::size_t i_nSize) override {
    const std::size_t count = std::min(i_nSize, m_nSize - m_nPosition);
    if (count) std::memcpy(o_pData, m_pData + m_nPosition, count);
    m_nPosition += count;
    return count;
  }

 private:
  const std::uint8_t* m_pData;
  std::size_t m_nSize;
  std::size_t m_nPosition;
};

C_DDFF::C_DDFF() : m_nOutputSize(0), m_pImage(nullptr), m_nImageSize(0) { Clear(); }

C_DDFF::~C_DDFF() = default;

void C_DDFF::Reset() {
  std::memset(&m_header, 0, sizeof m_header);
  std::memset(&m_status, 0, sizeof m_status);
  std::memset(&m_request, 0, sizeof m_request);
  m_instructions.clear();
}

void C_DDFF::Clear() {
  Reset();
  m_header.signature = SIGNATURE;
  m_header.headerSize = HEADER_SIZE;
  m_header.statusSize = STATUS_SIZE;
  m_header.requestSize = REQUEST_SIZE;
  m_status.statusSize = STATUS_SIZE;
  m_status.status = DDFF_STATUS_LOADING;
  Stamp(m_status.requestTime);
  Stamp(m_status.updateTime);
  SetText(m_status.oldRomRevision, sizeof m_status.oldRomRevision, "");
  m_request.requestSize = REQUEST_SIZE;
  m_request.flags = 0;
  SetComponentName(DEFAULT_COMPONENT, "");
  SetText(m_request.romVersion, sizeof m_request.romVersion, "");
  SetText(m_request.engineVersion, sizeof m_request.engineVersion, DEFAULT_ENGINE_VERSION);
  SetText(m_request.vendorId, sizeof m_request.vendorId, DEFAULT_VENDOR_ID);
  SetText(m_request.productId, sizeof m_request.productId, "");
  SetText(m_request.revision, sizeof m_request.revision, "");
  // The serial number stays zero-filled until it is set.
  m_request.instructionSize = INSTRUCTION_SIZE;
  m_output.reset();
  m_nOutputSize = 0;
  m_pImage = nullptr;
  m_nImageSize = 0;
}

void C_DDFF::SetComponentName(const std::string& i_name, const std::string& i_version) {
  SetText(m_request.componentName, sizeof m_request.componentName, i_name);
  SetText(m_request.componentVersion, sizeof m_request.componentVersion, i_version);
}

void C_DDFF::SetRomFileVersion(const std::string& i_text) {
  SetText(m_request.romVersion, sizeof m_request.romVersion, i_text);
}
void C_DDFF::SetRomOldRevision(const std::string& i_text) {
  SetText(m_status.oldRomRevision, sizeof m_status.oldRomRevision, i_text);
}
void C_DDFF::SetDriveVendorId(const std::string& i_text) {
  SetText(m_request.vendorId, sizeof m_request.vendorId, i_text);
}
void C_DDFF::SetDriveProductId(const std::string& i_text) {
  SetText(m_request.productId, sizeof m_request.productId, i_text);
}
void C_DDFF::SetDriveRevision(const std::string& i_text) {
  SetText(m_request.revision, sizeof m_request.revision, i_text);
}
void C_DDFF::SetDriveSerialNumber(const std::string& i_text) {
  SetText(m_request.serialNumber, sizeof m_request.serialNumber, i_text);
}

std::string C_DDFF::GetRomFileVersion() const {
  return GetText(m_request.romVersion, sizeof m_request.romVersion);
}
std::string C_DDFF::GetRomOldRevision() const {
  return GetText(m_status.oldRomRevision, sizeof m_status.oldRomRevision);
}
std::string C_DDFF::GetDriveVendorId() const {
  return GetText(m_request.vendorId, sizeof m_request.vendorId);
}
std::string C_DDFF::GetDriveProductId() const {
  return GetText(m_request.productId, sizeof m_request.productId);
}
std::string C_DDFF::GetDriveRevision() const {
  return GetText(m_request.revision, sizeof m_request.revision);
}
std::string C_DDFF::GetDriveSerialNumber() const {
  return GetText(m_request.serialNumber, sizeof m_request.serialNumber);
}

void C_DDFF::SetRequestFlags(std::uint32_t i_flags) { m_request.flags = i_flags; }
std::uint32_t C_DDFF::GetRequestFlags() const { return m_request.flags; }

void C_DDFF::SetRomImage(const void* i_pImage, std::uint32_t i_nSize) {
  m_pImage = i_pImage;
  m_nImageSize = i_pImage ? i_nSize : 0;
}

void C_DDFF::Append(std::unique_ptr<C_Instruction> i_instruction) {
  m_instructions.push_back(std::move(i_instruction));
}

void C_DDFF::AddInstruction(const C_ScsiInstruction& i_instruction) {
  Append(std::make_unique<C_ScsiInstruction>(i_instruction));
}
void C_DDFF::AddInstruction(const C_ControllerInstruction& i_instruction) {
  Append(std::make_unique<C_ControllerInstruction>(i_instruction));
}
void C_DDFF::AddInstruction(const std::uint8_t* i_pbyData, std::uint32_t i_nSize) {
  Append(C_Instruction::New(i_pbyData, i_nSize));
}

const C_DDFF::C_Instruction& C_DDFF::GetInstruction(std::size_t i_index) const {
  return *m_instructions.at(i_index);
}

std::uint32_t C_DDFF::FixupHeader() {
  const std::uint64_t count = m_instructions.size();
  m_request.instructionOffset = REQUEST_SIZE;
  m_request.instructionCount = static_cast<std::uint32_t>(count);
  m_header.headerSize = HEADER_SIZE;
  m_header.statusOffset = STATUS_OFFSET;
  m_header.statusSize = STATUS_SIZE;
  m_header.requestOffset = REQUEST_OFFSET;
  m_status.statusSize = STATUS_SIZE;
  m_request.requestSize = REQUEST_SIZE;

  // The sizes count each record at the record size field, which is read and
  // never written here (40 after Clear; what a read image said otherwise).
  const std::uint64_t records = count * m_request.instructionSize;
  std::uint64_t total = INSTRUCTIONS_OFFSET + records;
  const std::uint64_t image = m_pImage ? m_nImageSize : 0;
  // Sizes are 32-bit fields and the padded image must stay addressable.
  if (total + image > 0xFFFFFFFFull - (PADDING - 1) ||
      INSTRUCTIONS_OFFSET + count * INSTRUCTION_SIZE + image > 0xFFFFFFFFull - (PADDING - 1))
    ThrowF("Request too large: %u instructions, %u image bytes",
           static_cast<unsigned>(std::min<std::uint64_t>(count, 0xFFFFFFFFu)), m_nImageSize);
  m_header.requestSize = static_cast<std::uint32_t>(REQUEST_SIZE + records);
  if (m_pImage) {
    m_header.dataOffset = static_cast<std::uint32_t>(total);
    m_header.dataSize = m_nImageSize;
    total += m_nImageSize;
  }
  return static_cast<std::uint32_t>(total);
}

std::uint32_t C_DDFF::GetRequestSize() {
  const std::uint32_t total = FixupHeader();
  return (total + PADDING - 1) / PADDING * PADDING;
}

const std::uint8_t* C_DDFF::GetRequest() {
  const std::uint32_t total = FixupHeader();
  // The records are written one after another, 40 bytes each, and the image
  // right after them. With a record size field other than 40 that is not
  // where the sizes say: the buffer then holds whatever is longer, so
  // nothing is written past it, and the caller takes GetRequestSize bytes.
  const std::uint32_t written = static_cast<std::uint32_t>(
      INSTRUCTIONS_OFFSET + m_instructions.size() * INSTRUCTION_SIZE + (m_pImage ? m_nImageSize : 0));
  const std::uint32_t size = std::max((total + PADDING - 1) / PADDING * PADDING, written);
  // Every byte is written below, so a buffer of the same size is reused as
  // it is and a new one is left uninitialised.
  if (!m_output || m_nOutputSize != size) {
    m_output.reset();
    m_nOutputSize = 0;
    m_output.reset(new (std::nothrow) std::uint8_t[size]);
    if (!m_output) ::C_Exception::ThrowBadAlloc(__FILE__, __LINE__, size, "DDFF request image");
    m_nOutputSize = size;
  }
  std::uint8_t* out = m_output.get();

  m_header.statusCrc = Crc(&m_status, STATUS_SIZE);
  std::memcpy(out + STATUS_OFFSET, &m_status, STATUS_SIZE);

  Crypt::C_CRC32 requestCrc;
  requestCrc.Update(&m_request, REQUEST_SIZE);
  std::memcpy(out + REQUEST_OFFSET, &m_request, REQUEST_SIZE);
  std::uint8_t* position = out + INSTRUCTIONS_OFFSET;
  for (const auto& instruction : m_instructions) {
    const std::uint8_t* record = instruction->GetAsData();
    requestCrc.Update(record, INSTRUCTION_SIZE);
    std::memcpy(position, record, INSTRUCTION_SIZE);
    position += INSTRUCTION_SIZE;
  }
  m_header.requestCrc = requestCrc.GetCRC();

  // The image is the bulk of the request: copy and checksum it together.
  std::uint32_t dataRegister = 0xFFFFFFFFu;
  if (m_pImage) {
    dataRegister = Crypt::internal::Crc32Copy(dataRegister, position,
                                              static_cast<const std::uint8_t*>(m_pImage), m_nImageSize);
    position += m_nImageSize;
  }
  m_header.dataCrc = ~dataRegister;
  m_header.headerCrc = HeaderCrc(m_header);

  std::memset(position, 0, size - written);
  std::memcpy(out, &m_header, HEADER_SIZE);
  return out;
}

void C_DDFF::Read(const std::string& i_fileName) {
  Reset();
  SetRomImage(nullptr, 0);
  C_FileSource file(i_fileName);
  if (!file.IsOpen()) ThrowF("Cannot open request file.");
  Parse(file, i_fileName);
}

void C_DDFF::Read(const void* i_pData, std::size_t i_nSize, const std::string& i_name) {
  Reset();
  SetRomImage(nullptr, 0);
  C_MemorySource memory(i_pData, i_nSize);
  Parse(memory, i_name);
}

void C_DDFF::Parse(C_Source& io_source, const std::string& i_name) {
  const char* name = i_name.c_str();
  const std::uint64_t length = io_source.Length();
  if (length < HEADER_SIZE) ThrowF("Cannot access request file: %s", name);
  if (io_source.ReadBytes(&m_header, HEADER_SIZE) < HEADER_SIZE)
    ThrowF("Cannot read request header: %s", name);
  if (m_header.signature != SIGNATURE) ThrowF("Invalid signature: %#x", m_header.signature);
  if (m_header.headerSize < HEADER_SIZE || m_header.headerSize > length)
    ThrowF("Invalid header size: %#x", m_header.headerSize);
  if (HeaderCrc(m_header) != m_header.headerCrc) ThrowF("Invalid header CRC: %#x", m_header.headerCrc);

  if (!io_source.Seek(m_header.statusOffset)) ThrowF("Cannot seek to Status.");
  if (io_source.ReadBytes(&m_status, STATUS_SIZE) < STATUS_SIZE)
    ThrowF("Cannot read request status: %s", name);
  if (m_status.statusSize < STATUS_SIZE) ThrowF("Invalid status size: %#x", m_status.statusSize);
  if (Crc(&m_status, STATUS_SIZE) != m_header.statusCrc)
    ThrowF("Invalid Status CRC: %#x", m_header.statusCrc);

  if (!io_source.Seek(m_header.requestOffset)) ThrowF("Cannot seek to Request.");
  if (io_source.ReadBytes(&m_request, REQUEST_SIZE) < REQUEST_SIZE)
    ThrowF("Cannot read request: %s", name);
  if (m_request.requestSize < REQUEST_SIZE) ThrowF("Invalid request size: %#x", m_request.requestSize);
  // The records follow the fixed part, 40 bytes each, whatever the offset
  // and size fields say. A count larger than the file stops at its end.
  Crypt::C_CRC32 requestCrc;
  requestCrc.Update(&m_request, REQUEST_SIZE);
  for (std::uint32_t i = 0; i < m_request.instructionCount; ++i) {
    std::uint8_t record[INSTRUCTION_SIZE];
    if (io_source.ReadBytes(record, INSTRUCTION_SIZE) < INSTRUCTION_SIZE)
      ThrowF("Cannot read instruction[%d]", static_cast<int>(i));
    requestCrc.Update(record, INSTRUCTION_SIZE);
    Append(C_Instruction::New(record, INSTRUCTION_SIZE));
  }
  if (requestCrc.GetCRC() != m_header.requestCrc) ThrowF("Invalid Request CRC: %#x", m_header.requestCrc);

  if (!io_source.Seek(m_header.dataOffset)) ThrowF("Cannot seek to data.");
  Crypt::C_CRC32 dataCrc;
  std::uint8_t piece[4096];
  for (std::uint32_t left = m_header.dataSize; left > 0;) {
    const std::size_t got = io_source.ReadBytes(piece, std::min<std::uint32_t>(left, sizeof piece));
    if (got == 0) break;
    dataCrc.Update(piece, static_cast<std::uint32_t>(got));
    left -= static_cast<std::uint32_t>(got);
  }
  if (dataCrc.GetCRC() != m_header.dataCrc) ThrowF("Invalid Data CRC: %#x", m_header.dataCrc);
}

std::int64_t C_DDFF::GetStatusInstructionNumber() const {
  const std::uint32_t failing = m_status.failingInstruction;
  const std::uint32_t base = m_status.statusSize;
  const std::uint32_t record = m_request.instructionSize;
  if (failing < base || record == 0) return -1;
  return (failing - base) / record;
}

void C_DDFF::ThrowF(const char* i_format, ...) {
  char text[256];
  va_list args;
  va_start(args, i_format);
  std::vsnprintf(text, sizeof text, i_format, args);
  va_end(args);
  throw C_DDFF::C_Exception(text);
}

void C_DDFF::Dump(std::ostream& io_stream) {
  using namespace DDFF::report;
  if (m_header.signature != SIGNATURE) {
    io_stream << "Error: Invalid signature: " << Hex(m_header.signature) << "\n";
    return;
  }
  FixupHeader();

  io_stream << "Status:\n";
  const std::uint32_t status = m_status.status;
  static const struct {
    std::uint32_t bit;
    const char* name;
  } STATUS_NAMES[] = {{DDFF_STATUS_LOADING, "DDFF_STATUS_LOADING"},
                      {DDFF_STATUS_PENDING, "DDFF_STATUS_PENDING"},
                      {DDFF_STATUS_RUNNING, "DDFF_STATUS_RUNNING"},
                      {DDFF_STATUS_CANCELLED, "DDFF_STATUS_CANCELLED"},
                      {DDFF_STATUS_SUCCESS, "DDFF_STATUS_SUCCESS"},
                      {DDFF_STATUS_ERROR, "DDFF_STATUS_ERROR"}};
  if (status == DDFF_STATUS_UNKNOWN) io_stream << "    DDFF_STATUS_UNKNOWN\n";
  for (const auto& entry : STATUS_NAMES)
    if (status & entry.bit) io_stream << "    " << entry.name << "\n";
  if (status > DDFF_STATUS_KNOWN) io_stream << "    <Unknown :" << Hex(status) << ">\n";
  io_stream << "Requested:\t" << FormatTime(m_status.requestTime) << "\n";
  io_stream << "Updated:\t" << FormatTime(m_status.updateTime) << "\n";
  io_stream << "    Old ROM: \t" << Raw(m_status.oldRomRevision, sizeof m_status.oldRomRevision)
            << "\n";
  if (status & DDFF_STATUS_ERROR) {
    io_stream << "      Instruction: \t" << Hex(m_status.failingInstruction);
    const std::int64_t number = GetStatusInstructionNumber();
    if (number != -1) io_stream << " [" << number << "]";
    io_stream << "\n";
    io_stream << "      Target: \t"
              << stringFormat("%u:%u:%u", m_status.target[0], m_status.target[1], m_status.target[2])
              << "\n";
    io_stream << "      CAM Status: \t" << stringFormat("0x%02x", m_status.camStatus) << "\n";
    io_stream << "      Sense Key: \t" << stringFormat("0x%02x", m_status.senseKey) << "\n";
    io_stream << "      ASC: \t" << stringFormat("0x%02x", m_status.asc) << "\n";
    io_stream << "      ASQ: \t" << stringFormat("0x%02x", m_status.asq) << "\n";
  }

  io_stream << "Request:\n";
  const std::uint32_t flags = m_request.flags;
  io_stream << "    Flags: \t" << Hex(flags) << "\n";
  static const struct {
    std::uint32_t bit;
    const char* name;
  } FLAG_NAMES[] = {{DDFF_RQ_DEBUG, "DDFF_RQ_DEBUG"},
                    {DDFF_RQ_DOWNGRADE, "DDFF_RQ_DOWNGRADE"},
                    {DDFF_RQ_REFLASH, "DDFF_RQ_REFLASH"},
                    {DDFF_RQ_FAST, "DDFF_RQ_FAST"}};
  for (const auto& entry : FLAG_NAMES)
    if (flags & entry.bit) io_stream << "      " << entry.name << "\n";
  if (flags & ~DDFF_RQ_KNOWN) io_stream << "    <Unknown :" << Hex(flags) << ">\n";

  const struct {
    const char* label;
    const char* field;
    std::size_t width;
  } TEXTS[] = {{"    Component: ", m_request.componentName, sizeof m_request.componentName},
               {"    Version: ", m_request.componentVersion, sizeof m_request.componentVersion},
               {"    ROM Version: ", m_request.romVersion, sizeof m_request.romVersion},
               {"    Engine Version: ", m_request.engineVersion, sizeof m_request.engineVersion},
               {"    Vendor ID: ", m_request.vendorId, sizeof m_request.vendorId},
               {"    Product ID: ", m_request.productId, sizeof m_request.productId},
               {"    Revision: ", m_request.revision, sizeof m_request.revision},
               {"    Serial: ", m_request.serialNumber, sizeof m_request.serialNumber}};
  for (const auto& text : TEXTS) io_stream << text.label << "\t" << Raw(text.field, text.width) << "\n";

  io_stream << "    Instructions: \t" << m_instructions.size() << "\n";
  for (std::size_t i = 0; i < m_instructions.size(); ++i) {
    io_stream << "    " << stringFormat("%3u", static_cast<unsigned>(i)) << " ";
    m_instructions[i]->Dump(io_stream);
  }
}
