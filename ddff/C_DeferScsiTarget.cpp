#include "ddff/C_DeferScsiTarget.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "ddff/C_CRC32.h"
#include "ddff/C_DDFF.h"
#include "device/C_QarnTargetId.h"
#include "foundation/StringUtil.h"
#include "targets/C_CommandBlock.h"
#include "targets/N_ByteOrder.h"

namespace {

typedef std::array<std::uint8_t, 10> T_ChunkCdb;
typedef std::array<std::uint8_t, 16> T_StatusCdb;

const std::uint32_t SENSE_LENGTH = C_CommandBlock::SCSI_SENSE_LENGTH;
const std::uint32_t STATUS_VALUE_LENGTH = 4;

// The named switches of "DeferFlash" and their bits.
struct S_Switch {
  const char* name;
  unsigned int bit;
};
const S_Switch SWITCHES[] = {{"Debug", DDFF::DDFF_RQ_DEBUG},
                             {"Downgrade", DDFF::DDFF_RQ_DOWNGRADE},
                             {"Reflash", DDFF::DDFF_RQ_REFLASH},
                             {"Fast", DDFF::DDFF_RQ_FAST},
                             {"Cancel", C_DeferScsiTarget::ARG_CANCEL},
                             {"Dump", C_DeferScsiTarget::ARG_DUMP}};

// Attributes read from the status block; removed before each reading so
// that none outlives the status it came from.
const char* const STATUS_ATTRIBUTES[] = {"DeferResult", "OldVersion", "RequestTime",
                                         "UpdateTime",  "CamStatus",  "SenseKey",
                                         "SenseASC",    "SenseASQ",   "Instruction"};

T_ChunkCdb ChunkCdb(bool i_write, std::uint8_t i_drive, std::uint32_t i_count,
                    std::uint32_t i_number, std::uint32_t i_length) {
  using C = C_DeferScsiTarget;
  T_ChunkCdb cdb = {};
  cdb[0] = i_write ? C::CDB_WRITE : C::CDB_READ;
  cdb[2] = i_drive;
  cdb[3] = static_cast<std::uint8_t>(i_count);
  cdb[4] = static_cast<std::uint8_t>(i_number);
  cdb[6] = i_write ? C::CDB_REQUEST_WRITE : C::CDB_REQUEST_READ;
  N_ByteOrder::PutBE16(&cdb[7], i_length);
  return cdb;
}

// One controller request to the parent; the record lives for the call.
int Send(C_Device* i_parent, std::uint8_t* io_cdb, std::uint8_t i_cdbLength, void* io_data,
         std::uint32_t i_length, Driver::E_Direction i_direction) {
  C_CommandBlock block(io_cdb, i_cdbLength, io_data, i_length, SENSE_LENGTH,
                       C_DeferScsiTarget::CONTROLLER_FLAGS, i_direction,
                       Driver::REQUEST_CONTROLLER);
  return i_parent->ExecuteCommand(block.Get());
}

bool IsFileNameCharacter(char i_char) {
  return (i_char >= 'A' && i_char <= 'Z') || (i_char >= 'a' && i_char <= 'z') ||
         (i_char >= '0' && i_char <= '9') || i_char == '.' || i_char == '_' || i_char == '-';
}

// Writes i_bytes to i_path, opened with mode "wb" (created or truncated), in
// pieces of at most READ_CHUNK bytes. False when it cannot be opened, a
// piece is refused or the close fails.
bool WriteDumpFile(const std::string& i_path, const std::vector<std::uint8_t>& i_bytes) {
  std::FILE* file = std::fopen(i_path.c_str(), "wb");
  if (!file) return false;
  bool ok = true;
  for (std::size_t done = 0; ok && done < i_bytes.size();) {
    const std::size_t piece =
        std::min<std::size_t>(i_bytes.size() - done, C_DeferScsiTarget::READ_CHUNK);
    ok = std::fwrite(i_bytes.data() + done, 1, piece, file) == piece;
    done += piece;
  }
  return std::fclose(file) == 0 && ok;
}

}  // namespace

// The time stamp's bytes: day, month, year (LE), second, minute, hour.
std::string C_DeferScsiTarget::GetTimeText(const S_DDFF_Time& i_time) {
  const std::uint8_t* b = i_time.bytes;
  return stringFormat("%02d/%02d/%04d %2d:%02d:%02d", b[1], b[0],
                      static_cast<int>(N_ByteOrder::GetLE16(b + 2)), b[6], b[5], b[4]);
}

std::string C_DeferScsiTarget::GetResultText(std::uint32_t i_status) {
  switch (i_status) {
    case DDFF::DDFF_STATUS_LOADING:
      return "loading";
    case DDFF::DDFF_STATUS_PENDING:
      return "pending";
    case DDFF::DDFF_STATUS_RUNNING:
      return "running";
    case DDFF::DDFF_STATUS_CANCELLED:
      return "cancelled";
    case DDFF::DDFF_STATUS_SUCCESS:
      return "success";
    case DDFF::DDFF_STATUS_ERROR:
      return "error";
    default:
      return stringFormat("%X", i_status);
  }
}

C_DeferScsiTarget::C_DeferScsiTarget() {
  RegisterOperation("DeferFlash", this, &C_DeferScsiTarget::OpDeferFlash);
}

C_DeferScsiTarget::~C_DeferScsiTarget() = default;

bool C_DeferScsiTarget::Init() {
  const bool failed = C_ScsiTarget::Init();
  PublishDeferAttributes();
  return failed;
}

void C_DeferScsiTarget::PublishDeferAttributes() {
  AddAttribute("ActiveFirmwareRev", GetActiveFwRev().Get());
  AddAttribute("DDFFVer", std::string(DDFF::DEFAULT_ENGINE_VERSION));

  std::string parentVersion;
  bool parentHas = false;
  if (const C_Device* parent = dynamic_cast<const C_Device*>(GetParent())) {
    parentVersion = parent->GetAttribute("DDFFVer");
    parentHas = parent->GetAttribute("HasDDFF") == "true";
  }
  AddAttribute("pDDFFVer", parentVersion);
  AddAttribute("pHasDDFF", parentHas ? "true" : "false");
  AddAttribute("HasDDFF", parentHas && !parentVersion.empty() ? "true" : "false");

  PublishStatusAttributes();
}

void C_DeferScsiTarget::PublishStatusAttributes() {
  for (const char* name : STATUS_ATTRIBUTES) RemoveAttribute(name);
  S_DDFF_Status status;
  if (DoSenseDeferredUpdateStatus(&status, sizeof status) != VEK_STATUS_OK) return;
  if (status.statusSize == 0) return;

  AddAttribute("DeferResult", GetResultText(status.status));
  std::string oldVersion(status.oldRomRevision,
                         strnlen(status.oldRomRevision, sizeof status.oldRomRevision));
  oldVersion.resize(sizeof status.oldRomRevision, ' ');
  AddAttribute("OldVersion", oldVersion);
  AddAttribute("RequestTime", GetTimeText(status.requestTime));
  AddAttribute("UpdateTime", GetTimeText(status.updateTime));
  if (status.status & DDFF::DDFF_STATUS_ERROR) {
    AddAttribute("CamStatus", stringFormat("%x", status.camStatus));
    AddAttribute("SenseKey", stringFormat("%x", status.senseKey));
    AddAttribute("SenseASC", stringFormat("%02x", status.asc));
    AddAttribute("SenseASQ", stringFormat("%02x", status.asq));
    AddAttribute("Instruction", stringFormat("%X", status.failingInstruction));
  }
}

int C_DeferScsiTarget::OpDeferFlash(int argc, const char** argv) {
  if (argc < 4 || !argv || !argv[1] || !argv[2] || !argv[3]) return VEK_STATUS_BAD_ARGUMENT;
  const void* image = ParseAddress<const void>(argv[1]);
  // Widened first: on a 64-bit host a length text may not fit 32 bits.
  const std::uint64_t length = ParseUnsigned(argv[2]);
  C_DDFF* request = ParseAddress<C_DDFF>(argv[3]);
  if (length > 0xFFFFFFFFu || !request || (!image && length)) return VEK_STATUS_BAD_ARGUMENT;

  unsigned int arguments = 0;
  for (int i = 4; i < argc; ++i) {
    const char* equals = argv[i] ? std::strchr(argv[i], '=') : nullptr;
    if (!equals) return VEK_STATUS_BAD_ARGUMENT;
    const std::string name(argv[i], equals);
    const S_Switch* found = std::find_if(std::begin(SWITCHES), std::end(SWITCHES),
                                         [&](const S_Switch& s) { return name == s.name; });
    if (found == std::end(SWITCHES)) return VEK_STATUS_BAD_ARGUMENT;
    // Only the text "true" sets a switch; any other value leaves it unset.
    if (std::strcmp(equals + 1, "true") == 0) {
      arguments |= found->bit;
    } else {
      arguments &= ~found->bit;
    }
  }
  return DeferFlash(image, static_cast<unsigned int>(length), request, arguments);
}

int C_DeferScsiTarget::DeferFlash(const void* i_image, unsigned int i_length, C_DDFF* i_request,
                                  unsigned int i_arguments) {
  if (i_arguments & ~ARG_KNOWN) return VEK_STATUS_BAD_ARGUMENT;
  if (i_arguments & ARG_CANCEL) return DeferCancel();
  // An image that alone exceeds what the controller takes is refused before
  // the request is built (which could not even size it).
  if (!i_request || (!i_image && i_length) ||
      static_cast<std::uint64_t>(i_length) > std::uint64_t(MAX_CHUNKS) * WRITE_CHUNK) {
    return VEK_STATUS_BAD_ARGUMENT;
  }

  const std::string revision = GetActiveFwRev().Get();
  i_request->SetRequestFlags(i_arguments & ARG_REQUEST_FLAGS);
  i_request->SetRomImage(i_image, i_length);
  i_request->SetDriveVendorId(GetVendorId());
  i_request->SetDriveProductId(GetProductId().Get());
  i_request->SetDriveRevision(revision);
  i_request->SetDriveSerialNumber(GetSerialNumber());
  // The revision the flash replaces, for the agent's downgrade check.
  i_request->SetRomOldRevision(revision);

  const std::uint32_t size = i_request->GetRequestSize();
  const std::uint8_t* bytes = i_request->GetRequest();
  int result = DoWriteDeferredUpdate(bytes, size, WRITE_CHUNK);
  // A request that did not arrive whole must not look pending to the agent.
  if (result == VEK_STATUS_OK) result = DoSetDeferredUpdateStatus(DDFF::DDFF_STATUS_PENDING);
  if (i_arguments & ARG_DUMP) {
    const int dumped = Dump(".");
    if (result == VEK_STATUS_OK) result = dumped;
  }
  return result;
}

int C_DeferScsiTarget::DeferCancel() {
  S_DDFF_Status status;
  if (DoSenseDeferredUpdateStatus(&status, sizeof status) != VEK_STATUS_OK) return VEK_STATUS_OK;
  if (status.statusSize == 0) return VEK_STATUS_OK;
  // 0x40 has no status name but the agent accepts its cancellation.
  if (status.status == DDFF::DDFF_STATUS_PENDING || status.status == 0x40) {
    return DoSetDeferredUpdateStatus(DDFF::DDFF_STATUS_CANCELLED);
  }
  return VEK_STATUS_OK;
}

int C_DeferScsiTarget::Flash(int, const char**) { return DEFER_NOT_DONE; }

int C_DeferScsiTarget::Flash(void*, unsigned int) { return DEFER_NOT_DONE; }

int C_DeferScsiTarget::Dump(const std::string& i_directory) {
  std::vector<std::uint8_t> bytes(DDFF::HEADER_SIZE, 0);
  int result = DoReadDeferredUpdate(bytes.data(), DDFF::HEADER_SIZE, READ_CHUNK);
  if (result != VEK_STATUS_OK) return result;

  S_DDFF_Header header;
  std::memcpy(&header, bytes.data(), sizeof header);
  Crypt::C_CRC32 crc;
  crc.Update(bytes.data() + DDFF::HEADER_CRC_FROM, DDFF::HEADER_SIZE - DDFF::HEADER_CRC_FROM);
  if (header.signature == DDFF::SIGNATURE && crc.GetCRC() == header.headerCrc) {
    // The request ends with its data: data offset + data size, padded.
    const std::uint64_t end = std::uint64_t(header.dataOffset) + header.dataSize;
    const std::uint64_t size = (end + DDFF::PADDING - 1) / DDFF::PADDING * DDFF::PADDING;
    if (size > std::uint64_t(MAX_CHUNKS) * READ_CHUNK) return VEK_STATUS_BAD_ARGUMENT;
    bytes.assign(size, 0);
    result = DoReadDeferredUpdate(bytes.data(), static_cast<std::uint32_t>(size), READ_CHUNK);
    if (result != VEK_STATUS_OK) return result;
  }
  // Otherwise the header is not a request: keep what was read, for a look.
  return WriteDumpFile(GetDumpFileName(i_directory), bytes) ? result : DEFER_NOT_DONE;
}

std::string C_DeferScsiTarget::GetDumpFileName(const std::string& i_directory) {
  const std::string identity = GetVendorId() + "_" + GetProductId().Get() + "_" + GetSerialNumber();
  std::string base;
  std::copy_if(identity.begin(), identity.end(), std::back_inserter(base), IsFileNameCharacter);
  return (i_directory.empty() ? "." : i_directory) + "/" + base + "_D.dat";
}

int C_DeferScsiTarget::FindController(std::uint8_t& o_drive, C_Device*& o_parent) const {
  const C_QarnTargetId* id = dynamic_cast<const C_QarnTargetId*>(GetTargetId());
  if (!id) return DEFER_NO_CONTROLLER_ID;
  o_parent = dynamic_cast<C_Device*>(GetParent());
  if (!o_parent) return DEFER_NOT_DONE;
  o_drive = id->GetDriveNumber();
  return VEK_STATUS_OK;
}

int C_DeferScsiTarget::Transfer(std::uint8_t* io_data, std::uint32_t i_size, std::uint32_t i_chunk,
                                bool i_write) {
  if (i_chunk == 0 || i_chunk > MAX_CHUNK_SIZE || (!io_data && i_size)) {
    return VEK_STATUS_BAD_ARGUMENT;
  }
  const std::uint32_t count =
      static_cast<std::uint32_t>((std::uint64_t(i_size) + i_chunk - 1) / i_chunk);
  if (count > MAX_CHUNKS) return VEK_STATUS_BAD_ARGUMENT;
  std::uint8_t drive = 0;
  C_Device* parent = nullptr;
  int result = FindController(drive, parent);
  if (result != VEK_STATUS_OK) return result;

  for (std::uint32_t number = 1, offset = 0; number <= count; ++number, offset += i_chunk) {
    const std::uint32_t length = std::min(i_size - offset, i_chunk);
    T_ChunkCdb cdb = ChunkCdb(i_write, drive, count, number, length);
    result = Send(parent, cdb.data(), static_cast<std::uint8_t>(cdb.size()), io_data + offset,
                  length, i_write ? Driver::DIRECTION_OUT : Driver::DIRECTION_IN);
    if (result != VEK_STATUS_OK) return result;
  }
  return VEK_STATUS_OK;
}

int C_DeferScsiTarget::DoWriteDeferredUpdate(const void* i_data, std::uint32_t i_size,
                                             std::uint32_t i_chunk) {
  // Data out: the driver reads the chunks and never writes them.
  return Transfer(static_cast<std::uint8_t*>(const_cast<void*>(i_data)), i_size, i_chunk, true);
}

int C_DeferScsiTarget::DoReadDeferredUpdate(void* o_data, std::uint32_t i_size,
                                            std::uint32_t i_chunk) {
  return Transfer(static_cast<std::uint8_t*>(o_data), i_size, i_chunk, false);
}

int C_DeferScsiTarget::DoSenseDeferredUpdateStatus(S_DDFF_Status* o_status, std::uint32_t i_size) {
  if (!o_status || i_size > MAX_CHUNK_SIZE) return VEK_STATUS_BAD_ARGUMENT;
  std::memset(o_status, 0, i_size);
  std::uint8_t drive = 0;
  C_Device* parent = nullptr;
  int result = FindController(drive, parent);
  if (result != VEK_STATUS_OK) return result;
  T_StatusCdb cdb = {};
  cdb[0] = CDB_READ;
  cdb[2] = drive;
  cdb[6] = CDB_STATUS_SENSE;
  N_ByteOrder::PutBE16(&cdb[7], i_size);
  return Send(parent, cdb.data(), static_cast<std::uint8_t>(cdb.size()), o_status, i_size,
              Driver::DIRECTION_IN);
}

int C_DeferScsiTarget::DoSetDeferredUpdateStatus(std::uint32_t i_status, bool) {
  std::uint8_t drive = 0;
  C_Device* parent = nullptr;
  int result = FindController(drive, parent);
  if (result != VEK_STATUS_OK) return result;
  T_StatusCdb cdb = {};
  cdb[0] = CDB_WRITE;
  cdb[2] = drive;
  cdb[6] = CDB_STATUS_SET;
  cdb[8] = STATUS_VALUE_LENGTH;
  std::uint8_t value[STATUS_VALUE_LENGTH];
  N_ByteOrder::PutLE32(value, i_status);
  return Send(parent, cdb.data(), static_cast<std::uint8_t>(cdb.size()), value, sizeof value,
              Driver::DIRECTION_OUT);
}
