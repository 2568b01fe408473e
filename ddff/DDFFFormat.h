#ifndef VEK_DDFF_DDFFFORMAT_H
#define VEK_DDFF_DDFFFORMAT_H

// Constants and block records of the DDFF request image; doc/ddff-request.md
// describes the format. Every integer of the image is little-endian and the
// records below hold them as native integers, so they are exact images of
// the blocks only on a little-endian processor (the module's only targets).
// Text fields are fixed-width ASCII padded with spaces, without a zero byte.

#include <cstddef>
#include <cstdint>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "DDFF block records are images of little-endian data");

namespace DDFF {

const std::uint32_t SIGNATURE = 0x436C4272;  // "rBlC" in file order

// Block placement: header, status, fixed request block, then the records.
const std::uint32_t HEADER_SIZE = 48;
const std::uint32_t STATUS_OFFSET = 48;
const std::uint32_t STATUS_SIZE = 44;
const std::uint32_t REQUEST_OFFSET = 92;
const std::uint32_t REQUEST_SIZE = 112;  // fixed part, without the records
const std::uint32_t INSTRUCTIONS_OFFSET = REQUEST_OFFSET + REQUEST_SIZE;  // 204
const std::uint32_t INSTRUCTION_SIZE = 40;
// The header CRC covers header bytes 12 to 47: not the signature, the header
// size or the CRC itself.
const std::uint32_t HEADER_CRC_FROM = 12;
// The whole image is padded with zero bytes to a multiple of this.
const std::uint32_t PADDING = 512;

// Status value: a bit set. 0 is DDFF_STATUS_UNKNOWN; values above 63 carry
// unknown bits.
const std::uint32_t DDFF_STATUS_UNKNOWN = 0;
const std::uint32_t DDFF_STATUS_LOADING = 0x01;
const std::uint32_t DDFF_STATUS_PENDING = 0x02;
const std::uint32_t DDFF_STATUS_RUNNING = 0x04;
const std::uint32_t DDFF_STATUS_CANCELLED = 0x08;
const std::uint32_t DDFF_STATUS_SUCCESS = 0x10;
const std::uint32_t DDFF_STATUS_ERROR = 0x20;
const std::uint32_t DDFF_STATUS_KNOWN = 0x3F;

// Request flags.
const std::uint32_t DDFF_RQ_DEBUG = 0x1;
const std::uint32_t DDFF_RQ_DOWNGRADE = 0x2;
const std::uint32_t DDFF_RQ_REFLASH = 0x4;
const std::uint32_t DDFF_RQ_FAST = 0x8;
const std::uint32_t DDFF_RQ_KNOWN = 0xF;

// Instruction flags (u16 at record offset 2); the other bits (0xFF8E) are
// unknown.
const std::uint16_t DDFF_INS_IGNORE_ERRORS = 0x01;  // a failure does not stop the request
const std::uint16_t DDFF_INS_SENSE_KEY = 0x10;      // the expected sense key is given
const std::uint16_t DDFF_INS_SENSE_ASC = 0x20;      // the expected ASC is given
const std::uint16_t DDFF_INS_SENSE_ASQ = 0x40;      // the expected ASQ is given
const std::uint16_t DDFF_INS_KNOWN = 0x71;

// SCSI parameter flag of a command that sends data to the drive; kept in
// step with the CDB's opcode by C_ScsiInstruction::Fixup.
const std::uint32_t DDFF_SCSI_DATA_OUT = 0x4;

// Record tags.
const std::uint8_t TAG_SCSI = 'S';
const std::uint8_t TAG_CONTROLLER = 'C';

// Controller commands (record byte 24 of a 'C' record).
const std::uint8_t DDFF_CMD_SLEEP = 1;         // u16 milliseconds at bytes 25-26
const std::uint8_t DDFF_CMD_DEVICE_RESET = 2;  // no parameter
const std::uint8_t DDFF_CMD_BUS_RESET = 3;     // no parameter

// Text defaults written by C_DDFF::Clear.
const char DEFAULT_COMPONENT[] = "zqsetup";
const char DEFAULT_ENGINE_VERSION[] = "0101";
const char DEFAULT_VENDOR_ID[] = "MOLDUR";

}  // namespace DDFF

// Header, image offset 0. The size and CRC fields of each block are what the
// reader checks.
struct S_DDFF_Header {
  std::uint32_t signature;      // DDFF::SIGNATURE
  std::uint32_t headerSize;     // 48
  std::uint32_t headerCrc;      // CRC-32 of header bytes 12 to 47
  std::uint32_t statusOffset;   // 48
  std::uint32_t statusSize;     // 44
  std::uint32_t statusCrc;      // CRC-32 of the 44 status bytes
  std::uint32_t requestOffset;  // 92
  std::uint32_t requestSize;    // 112 + 40 x N
  std::uint32_t requestCrc;     // CRC-32 of the request block and all records
  std::uint32_t dataOffset;     // 204 + 40 x N with an image, else 0
  std::uint32_t dataSize;       // image length, else 0
  std::uint32_t dataCrc;        // CRC-32 of the image (0 for none)
};
static_assert(sizeof(S_DDFF_Header) == DDFF::HEADER_SIZE, "header is 48 bytes");

// Time stamp from the local time: all zero when the time was unavailable.
// Bytes: day 1-31, month 1-12, year (u16), second, minute, hour 0-23, 0.
struct S_DDFF_Time {
  std::uint8_t bytes[8];
};
static_assert(sizeof(S_DDFF_Time) == 8, "time stamp is 8 bytes");

// Status block, image offset 48. The controller-side agent updates it as it
// works; the deferred-flash target exchanges it with the controller as is.
struct S_DDFF_Status {
  std::uint32_t statusSize;           // 44
  std::uint32_t reserved;             // 0
  std::uint32_t status;               // DDFF_STATUS_* bit set
  S_DDFF_Time requestTime;            // when the request was made
  S_DDFF_Time updateTime;             // last status update
  char oldRomRevision[4];             // firmware the flash replaces
  std::uint32_t failingInstruction;   // see C_DDFF::GetStatusInstructionNumber
  std::uint8_t target[3];             // drive the failure was met on, as the agent fills it
  std::uint8_t reserved2;             // 0
  std::uint8_t camStatus;             // transport status of the failing command
  std::uint8_t senseKey;
  std::uint8_t asc;
  std::uint8_t asq;
};
static_assert(sizeof(S_DDFF_Status) == DDFF::STATUS_SIZE, "status block is 44 bytes");
static_assert(offsetof(S_DDFF_Status, oldRomRevision) == 28 &&
                  offsetof(S_DDFF_Status, failingInstruction) == 32 &&
                  offsetof(S_DDFF_Status, camStatus) == 40,
              "status block layout");

// Fixed part of the request block, image offset 92.
struct S_DDFF_Request {
  std::uint32_t requestSize;        // 112
  std::uint32_t flags;              // DDFF_RQ_* bits
  char componentName[32];
  char componentVersion[4];
  char romVersion[4];               // version of the firmware file
  char engineVersion[4];
  char vendorId[8];                 // of the drive to flash
  char productId[16];
  char revision[4];
  char serialNumber[20];            // zero-filled by default, space-padded when set
  std::uint32_t instructionOffset;  // 112, relative to the request block
  std::uint32_t instructionCount;   // N
  std::uint32_t instructionSize;    // 40
};
static_assert(sizeof(S_DDFF_Request) == DDFF::REQUEST_SIZE, "request block is 112 bytes");
static_assert(offsetof(S_DDFF_Request, componentName) == 8 &&
                  offsetof(S_DDFF_Request, serialNumber) == 80 &&
                  offsetof(S_DDFF_Request, instructionOffset) == 100,
              "request block layout");

// One 40-byte instruction record. Bytes 23 and 24-39 differ by tag: a SCSI
// record holds the CDB length and the CDB (zero-filled after its length); a
// controller record holds the parameter length (bytes used from 24, the
// command byte included), the command byte and up to 15 parameter bytes.
struct S_DDFF_Instruction {
  std::uint8_t tag;               // 'S' or 'C'
  std::uint8_t timeout;           // seconds; 0: none given
  std::uint16_t flags;            // DDFF_INS_* bits
  std::uint32_t scsiParamFlags;   // 0 in a controller record
  std::uint32_t dataOffset;       // into the request's data area (the image)
  std::uint32_t dataSize;
  std::uint16_t repeatCount;
  std::uint16_t repeatDelay;
  std::uint8_t senseKey;          // expected sense, see DDFF_INS_SENSE_*
  std::uint8_t asc;
  std::uint8_t asq;
  std::uint8_t length;            // CDB length, or parameter length
  std::uint8_t bytes[16];         // CDB, or command and parameters
};
static_assert(sizeof(S_DDFF_Instruction) == DDFF::INSTRUCTION_SIZE, "record is 40 bytes");
static_assert(offsetof(S_DDFF_Instruction, repeatCount) == 16 &&
                  offsetof(S_DDFF_Instruction, length) == 23 &&
                  offsetof(S_DDFF_Instruction, bytes) == 24,
              "record layout");

#endif
