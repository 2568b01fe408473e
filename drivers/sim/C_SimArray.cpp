#include "drivers/sim/C_SimArray.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "ddff/C_CRC32.h"
#include "ddff/C_DDFF.h"
#include "ddff/C_Instruction.h"
#include "ddff/DDFFFormat.h"
#include "drivers/sim/C_SimStore.h"
#include "drivers/sim/N_SimSense.h"
#include "targets/N_ByteOrder.h"

using namespace N_SimSense;

namespace {

// Controller request CDB bytes (byte 0 opcode, byte 6 sub-function).
const std::uint8_t CMD_READ = 0x26, CMD_WRITE = 0x27;
const std::uint8_t SUB_WRITE_CHUNK = 0x36, SUB_READ_CHUNK = 0x26, SUB_SENSE_STATUS = 0x27,
                   SUB_SET_STATUS = 0x37;

// CAM status bytes the agent reports for a failing instruction.
const std::uint8_t CAM_COMMAND_FAILED = 0x04;
const std::uint8_t CAM_NO_DEVICE = 0x0A;

std::uint32_t Crc(const std::uint8_t* i_data, std::size_t i_size) {
  Crypt::C_CRC32 crc;
  crc.Update(i_data, static_cast<std::uint32_t>(i_size));
  return crc.GetCRC();
}

void Stamp(S_DDFF_Time& o_time) {
  std::memset(o_time.bytes, 0, sizeof o_time.bytes);
  std::time_t now = std::time(nullptr);
  std::tm tm;
  if (!localtime_r(&now, &tm)) return;
  o_time.bytes[0] = static_cast<std::uint8_t>(tm.tm_mday);
  o_time.bytes[1] = static_cast<std::uint8_t>(tm.tm_mon + 1);
  N_ByteOrder::PutLE16(o_time.bytes + 2, static_cast<std::uint16_t>(tm.tm_year + 1900));
  o_time.bytes[4] = static_cast<std::uint8_t>(tm.tm_sec);
  o_time.bytes[5] = static_cast<std::uint8_t>(tm.tm_min);
  o_time.bytes[6] = static_cast<std::uint8_t>(tm.tm_hour);
}

// Writes a new status block into a stored image and brings the status and
// header CRCs up to date, as the agent does with the request it keeps.
void PatchStatus(std::vector<std::uint8_t>& io_image, const S_DDFF_Status& i_status) {
  if (io_image.size() < DDFF::STATUS_OFFSET + DDFF::STATUS_SIZE) return;
  std::memcpy(&io_image[DDFF::STATUS_OFFSET], &i_status, DDFF::STATUS_SIZE);
  S_DDFF_Header header;
  std::memcpy(&header, io_image.data(), sizeof header);
  header.statusCrc = Crc(&io_image[DDFF::STATUS_OFFSET], DDFF::STATUS_SIZE);
  std::memcpy(io_image.data(), &header, sizeof header);
  header.headerCrc = Crc(io_image.data() + DDFF::HEADER_CRC_FROM,
                         DDFF::HEADER_SIZE - DDFF::HEADER_CRC_FROM);
  std::memcpy(io_image.data(), &header, sizeof header);
}

S_DDFF_Status StatusOf(const std::vector<std::uint8_t>& i_image) {
  S_DDFF_Status status;
  std::memset(&status, 0, sizeof status);
  if (i_image.size() >= DDFF::STATUS_OFFSET + DDFF::STATUS_SIZE) {
    std::memcpy(&status, &i_image[DDFF::STATUS_OFFSET], DDFF::STATUS_SIZE);
  }
  return status;
}

std::vector<std::uint8_t> ReadAll(const std::string& i_path) {
  std::ifstream in(i_path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in),
                                   std::istreambuf_iterator<char>());
}

}  // namespace

C_SimArray::C_SimArray(S_SimController& io_controller, const std::string& i_dataDirectory)
    : m_controller(io_controller), m_dataDirectory(i_dataDirectory) {}

S_SimDrive* C_SimArray::Drive(int i_number) {
  for (S_SimDrive& drive : m_controller.drives) {
    if (drive.number == i_number) return &drive;
  }
  return nullptr;
}

std::string C_SimArray::RequestPath(int i_drive) const {
  return m_dataDirectory + "/" + m_controller.name + "-" + std::to_string(i_drive) + ".ddff";
}

std::vector<std::uint8_t> C_SimArray::StoredRequest(int i_drive) const {
  for (const S_SimDrive& drive : m_controller.drives) {
    if (drive.number == i_drive && !drive.requestFile.empty()) return ReadAll(drive.requestFile);
  }
  return std::vector<std::uint8_t>();
}

void C_SimArray::Store(S_SimDrive& io_drive, const std::vector<std::uint8_t>& i_image,
                       bool& o_changed) {
  const std::string path = RequestPath(io_drive.number);
  C_SimStore::WriteFile(path, std::string(i_image.begin(), i_image.end()));
  if (io_drive.requestFile != path) {
    io_drive.requestFile = path;
    o_changed = true;
  }
}

int C_SimArray::Execute(Driver::S_Command& io_command, S_Transient& io_transient,
                        bool& o_changed) {
  o_changed = false;
  const std::uint8_t* cdb = io_command.cdb;
  if (!cdb || io_command.cdbLength < 10) return TRANSPORT_ERROR;
  S_SimDrive* drive = Drive(cdb[2]);
  if (!drive || drive->kind != "deferred") return TRANSPORT_ERROR;
  const int number = drive->number;
  const std::uint32_t length = N_ByteOrder::GetBE16(cdb + 7);

  if (cdb[0] == CMD_WRITE && cdb[6] == SUB_WRITE_CHUNK) {
    const unsigned total = cdb[3], chunk = cdb[4];
    std::vector<std::uint8_t>& incoming = io_transient.incoming;
    if (chunk == 1) incoming.clear();
    if (chunk == 0 || chunk > total || !io_command.dataBuffer || length != io_command.dataLength ||
        (chunk > 1 && incoming.empty())) {
      incoming.clear();
      return CHECK_CONDITION;
    }
    incoming.insert(incoming.end(), io_command.dataBuffer, io_command.dataBuffer + length);
    if (chunk == total) {
      Store(*drive, incoming, o_changed);
      incoming.clear();
    }
    return GOOD;
  }
  if (cdb[0] == CMD_READ && cdb[6] == SUB_READ_CHUNK) {
    const unsigned chunk = cdb[4];
    if (chunk == 1) io_transient.readStride = length;
    const std::uint32_t stride = io_transient.readStride;
    std::vector<std::uint8_t> image = StoredRequest(number);
    const std::size_t offset = static_cast<std::size_t>(chunk ? chunk - 1 : 0) * stride;
    if (chunk == 0 || !io_command.dataBuffer || offset + length > image.size()) {
      return CHECK_CONDITION;
    }
    std::memcpy(io_command.dataBuffer, image.data() + offset, length);
    io_command.dataLength = length;
    return GOOD;
  }
  if (cdb[0] == CMD_READ && cdb[6] == SUB_SENSE_STATUS) {
    S_DDFF_Status status = StatusOf(StoredRequest(number));
    const std::uint32_t n = std::min<std::uint32_t>({length, io_command.dataLength, DDFF::STATUS_SIZE});
    if (io_command.dataBuffer) std::memcpy(io_command.dataBuffer, &status, n);
    io_command.dataLength = n;
    return GOOD;
  }
  if (cdb[0] == CMD_WRITE && cdb[6] == SUB_SET_STATUS) {
    std::vector<std::uint8_t> image = StoredRequest(number);
    if (image.empty() || !io_command.dataBuffer || io_command.dataLength < 4) return CHECK_CONDITION;
    S_DDFF_Status status = StatusOf(image);
    status.status = N_ByteOrder::GetLE32(io_command.dataBuffer);
    Stamp(status.updateTime);
    PatchStatus(image, status);
    Store(*drive, image, o_changed);
    return GOOD;
  }
  return CHECK_CONDITION;
}

int C_SimArray::RunPending(const T_RunCommand& i_run, const T_Reset& i_reset,
                           const T_Sleep& i_sleep, bool& o_changed) {
  int count = 0;
  for (S_SimDrive& drive : m_controller.drives) {
    if (drive.kind != "deferred" || drive.requestFile.empty()) continue;
    if (StatusOf(StoredRequest(drive.number)).status != DDFF::DDFF_STATUS_PENDING) continue;
    Run(drive, i_run, i_reset, i_sleep, o_changed);
    ++count;
  }
  return count;
}

void C_SimArray::Run(S_SimDrive& io_drive, const T_RunCommand& i_run, const T_Reset& i_reset,
                     const T_Sleep& i_sleep, bool& o_changed) {
  std::vector<std::uint8_t> image = StoredRequest(io_drive.number);
  S_DDFF_Status status = StatusOf(image);
  auto finish = [&](std::uint32_t i_value) {
    status.status = i_value;
    Stamp(status.updateTime);
    PatchStatus(image, status);
    Store(io_drive, image, o_changed);
  };

  C_DDFF request;
  try {
    request.Read(image.data(), image.size(), RequestPath(io_drive.number));
  } catch (const std::exception&) {
    // A damaged request is not run: it ends in error before its first
    // instruction, with no sense.
    status.failingInstruction = 0;
    status.camStatus = CAM_COMMAND_FAILED;
    finish(DDFF::DDFF_STATUS_ERROR);
    return;
  }
  finish(DDFF::DDFF_STATUS_RUNNING);

  const std::uint8_t* rom = image.data() + request.GetHeader().dataOffset;
  const std::size_t romSize = request.GetHeader().dataSize;
  for (std::size_t index = 0; index < request.GetInstructionCount(); ++index) {
    const std::uint8_t* record = request.GetInstruction(index).GetAsData();
    const std::uint16_t flags = N_ByteOrder::GetLE16(record + 2);
    const std::uint32_t dataOffset = N_ByteOrder::GetLE32(record + 8);
    const std::uint32_t dataSize = N_ByteOrder::GetLE32(record + 12);
    const unsigned repeat = std::max<unsigned>(1, N_ByteOrder::GetLE16(record + 16));
    const unsigned delay = N_ByteOrder::GetLE16(record + 18);

    int result = GOOD;
    std::uint8_t sense[255] = {};
    std::uint8_t cam = 0;
    if (record[0] == DDFF::TAG_CONTROLLER) {
      switch (record[24]) {
        case DDFF::DDFF_CMD_SLEEP: i_sleep(N_ByteOrder::GetLE16(record + 25)); break;
        case DDFF::DDFF_CMD_DEVICE_RESET: i_reset(io_drive.number); break;
        case DDFF::DDFF_CMD_BUS_RESET: i_reset(-1); break;
        default: result = CHECK_CONDITION; cam = CAM_COMMAND_FAILED; break;
      }
    } else {
      if (static_cast<std::uint64_t>(dataOffset) + dataSize > romSize) {
        result = CHECK_CONDITION;
        cam = CAM_COMMAND_FAILED;
      }
      for (unsigned attempt = 0; attempt < repeat && cam == 0; ++attempt) {
        if (attempt) i_sleep(delay);
        std::uint8_t cdb[16];
        std::memcpy(cdb, record + 24, sizeof cdb);
        Driver::S_Command command = {};
        command.cdb = cdb;
        command.cdbLength = std::min<std::uint8_t>(record[23], 16);
        command.dataBuffer = dataSize ? const_cast<std::uint8_t*>(rom + dataOffset) : nullptr;
        command.dataLength = dataSize;
        command.senseBuffer = sense;
        command.senseLength = sizeof sense;
        command.direction = dataSize ? Driver::DIRECTION_OUT : Driver::DIRECTION_NONE;
        command.requestType = Driver::REQUEST_DEVICE;
        std::memset(sense, 0, sizeof sense);
        result = i_run(io_drive.number, command);
        if (result == GOOD) break;
      }
      if (result != GOOD && cam == 0) cam = result == TRANSPORT_ERROR ? CAM_NO_DEVICE : CAM_COMMAND_FAILED;
      // An expected sense turns a failure into success.
      if (result == CHECK_CONDITION && (flags & (DDFF::DDFF_INS_SENSE_KEY | DDFF::DDFF_INS_SENSE_ASC |
                                                 DDFF::DDFF_INS_SENSE_ASQ))) {
        bool expected = (!(flags & DDFF::DDFF_INS_SENSE_KEY) || (sense[2] & 0x0F) == record[20]) &&
                        (!(flags & DDFF::DDFF_INS_SENSE_ASC) || sense[12] == record[21]) &&
                        (!(flags & DDFF::DDFF_INS_SENSE_ASQ) || sense[13] == record[22]);
        if (expected) result = GOOD;
      }
    }
    if (result == GOOD || (flags & DDFF::DDFF_INS_IGNORE_ERRORS)) continue;

    status.failingInstruction =
        status.statusSize + static_cast<std::uint32_t>(index) * DDFF::INSTRUCTION_SIZE;
    status.target[0] = 0;
    status.target[1] = static_cast<std::uint8_t>(io_drive.number);
    status.target[2] = 0;
    status.camStatus = cam ? cam : CAM_COMMAND_FAILED;
    status.senseKey = sense[2] & 0x0F;
    status.asc = sense[12];
    status.asq = sense[13];
    finish(DDFF::DDFF_STATUS_ERROR);
    return;
  }
  finish(DDFF::DDFF_STATUS_SUCCESS);
}
