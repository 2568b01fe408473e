#ifndef VEK_TARGETS_N_CDB_H
#define VEK_TARGETS_N_CDB_H

#include <array>
#include <cstdint>

#include "targets/N_ByteOrder.h"

// Builders of the command blocks the drive targets send. Each returns the
// whole block; bytes not named are 0. Arguments wider than their field keep
// their low bits. The blocks and the records that carry them are described
// in doc/driver-commands.md.
namespace N_Cdb {

typedef std::array<std::uint8_t, 6> T_Cdb6;
typedef std::array<std::uint8_t, 10> T_Cdb10;
typedef std::array<std::uint8_t, 12> T_Cdb12;

// SCSI operation codes.
const std::uint8_t OP_TEST_UNIT_READY = 0x00;
const std::uint8_t OP_REQUEST_SENSE = 0x03;
const std::uint8_t OP_INQUIRY = 0x12;
const std::uint8_t OP_MODE_SELECT6 = 0x15;
const std::uint8_t OP_MODE_SENSE6 = 0x1A;
const std::uint8_t OP_START_STOP_UNIT = 0x1B;
const std::uint8_t OP_WRITE_BUFFER = 0x3B;

// The pass-through opcode of the 12-byte ATA block, a contract with the
// controller driver, which turns the block into the ATA task file.
const std::uint8_t OP_ATA_PASSTHRU = 0xC6;
const std::uint8_t ATA_PROTOCOL_DATA_IN = 0x01;   // byte 1, low 4 bits
const std::uint8_t ATA_PROTOCOL_DATA_OUT = 0x02;  // byte 1, low 4 bits
const std::uint8_t ATA_BYTE1_DOWNLOAD = 0x80;     // byte 1, bit 7 of a download
const std::uint8_t ATA_IDENTIFY_DEVICE = 0xEC;
const std::uint8_t ATA_DOWNLOAD_MICROCODE = 0x92;
const std::uint8_t ATA_DOWNLOAD_SAVE = 0x07;  // feature: download with save

// INQUIRY: standard data (EVPD clear, page 0) or a vital product data page.
inline T_Cdb6 Inquiry(std::uint8_t i_allocation) { return {OP_INQUIRY, 0, 0, 0, i_allocation, 0}; }
inline T_Cdb6 InquiryVpd(std::uint8_t i_page, std::uint8_t i_allocation) {
  return {OP_INQUIRY, 0x01, i_page, 0, i_allocation, 0};
}

inline T_Cdb6 RequestSense(std::uint8_t i_allocation) {
  return {OP_REQUEST_SENSE, 0, 0, 0, i_allocation, 0};
}

inline T_Cdb6 ModeSense6(std::uint8_t i_page, std::uint8_t i_allocation) {
  return {OP_MODE_SENSE6, 0, i_page, 0, i_allocation, 0};
}

// Byte 1 = 0x11: page format and save pages.
inline T_Cdb6 ModeSelect6(std::uint8_t i_parameterLength) {
  return {OP_MODE_SELECT6, 0x11, 0, 0, i_parameterLength, 0};
}

// Byte 1 carries the immediate bit, byte 4 the start bit, as given.
inline T_Cdb6 StartStopUnit(std::uint8_t i_byte1, std::uint8_t i_byte4) {
  return {OP_START_STOP_UNIT, i_byte1, 0, 0, i_byte4, 0};
}

inline T_Cdb6 TestUnitReady() { return {OP_TEST_UNIT_READY, 0, 0, 0, 0, 0}; }

// Mode in the low 4 bits of byte 1; buffer offset (bytes 3-5) and transfer
// length (bytes 6-8) as 24-bit fields, most significant byte first.
inline T_Cdb10 WriteBuffer(std::uint8_t i_mode, std::uint32_t i_offset, std::uint32_t i_length) {
  T_Cdb10 cdb = {OP_WRITE_BUFFER, static_cast<std::uint8_t>(i_mode & 0x0F)};
  N_ByteOrder::PutBE24(&cdb[3], i_offset);
  N_ByteOrder::PutBE24(&cdb[6], i_length);
  return cdb;
}

// ATA IDENTIFY DEVICE, 512 bytes in.
inline T_Cdb12 AtaIdentify() {
  T_Cdb12 cdb = {OP_ATA_PASSTHRU, ATA_PROTOCOL_DATA_IN, ATA_IDENTIFY_DEVICE};
  cdb[11] = 1;
  return cdb;
}

// ATA DOWNLOAD MICROCODE with save: the sector count (length / 512) in
// bytes 4 and 10, length >> 17 in bytes 5 and 11, low 8 bits each.
inline T_Cdb12 AtaDownloadMicrocode(std::uint32_t i_length) {
  T_Cdb12 cdb = {OP_ATA_PASSTHRU,
                 static_cast<std::uint8_t>(ATA_BYTE1_DOWNLOAD | ATA_PROTOCOL_DATA_OUT),
                 ATA_DOWNLOAD_MICROCODE, ATA_DOWNLOAD_SAVE};
  cdb[4] = cdb[10] = static_cast<std::uint8_t>(i_length / 512);
  cdb[5] = cdb[11] = static_cast<std::uint8_t>(i_length >> 17);
  return cdb;
}

}  // namespace N_Cdb

#endif
