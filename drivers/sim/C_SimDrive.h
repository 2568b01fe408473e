#ifndef VEK_DRIVERS_SIM_C_SIMDRIVE_H
#define VEK_DRIVERS_SIM_C_SIMDRIVE_H

#include <cstdint>
#include <vector>

#include "ddff/C_CRC32.h"
#include "drivers/sim/S_SimFleet.h"
#include "targets/S_Command.h"

// The behaviour of one simulated drive: it performs the command blocks that
// reach it (request type 1 commands and type 3 control requests) against its
// S_SimDrive record. SCSI commands are looked up in one table of
// {opcode, CDB length, valid-bit mask, handler}; reserved bits set in a CDB
// are refused in one place with ILLEGAL REQUEST. ATA drives also take the
// 12-byte pass-through block (opcode 0xC6) for IDENTIFY DEVICE and DOWNLOAD
// MICROCODE.
//
// A failing command returns N_SimSense::CHECK_CONDITION, leaves its sense
// data for the next REQUEST SENSE and copies it into the command's sense
// buffer; a failed ATA pass-through block's sense also carries the ATA
// error and status registers (N_SimSense::AddAtaRegisters). Not thread-safe: the driver serialises access to a drive.
class C_SimDrive {
 public:
  // What lives only as long as the process: the download under way. The
  // drive keeps the image's header; the rest is counted and checksummed as
  // it arrives, as a drive writes it to its flash.
  struct S_Transient {
    std::vector<std::uint8_t> header;  // up to C_SimFirmwareImage::HEADER_SIZE bytes
    std::uint64_t received = 0;        // bytes so far; 0: no download under way
    Crypt::C_CRC32 payload;            // of the bytes after the header
    int segments = 0;
  };

  C_SimDrive(S_SimDrive& io_state, S_Transient& io_transient);

  // Performs one command block. o_changed tells whether the persistent state
  // changed (the driver then writes it back).
  int Execute(Driver::S_Command& io_command, bool& o_changed);
  // A device or bus reset: activates a pending firmware download and raises
  // a unit attention.
  void Reset(bool& o_changed);

  // The 512 bytes of IDENTIFY DEVICE data for an ATA drive.
  std::vector<std::uint8_t> IdentifyData() const;
  // The 56 bytes of standard INQUIRY data.
  std::vector<std::uint8_t> InquiryData() const;

  struct S_Opcode;

 private:
  static const S_Opcode sm_opcodes[];

  // Execute without the ATA registers a failed pass-through block gets.
  int Perform(Driver::S_Command& io_command, bool& o_changed);
  int Fail(Driver::S_Command& io_command, std::uint8_t i_key, std::uint8_t i_asc,
           std::uint8_t i_ascq, bool& o_changed);
  int DataIn(Driver::S_Command& io_command, const std::vector<std::uint8_t>& i_data);
  // Adds a download segment; i_offset < 0 appends (ATA). Completes and checks
  // the image when it is whole.
  int Download(Driver::S_Command& io_command, long i_offset, bool& o_changed);

  int Inquiry(Driver::S_Command& io_command, bool& o_changed);
  int RequestSense(Driver::S_Command& io_command, bool& o_changed);
  int TestUnitReady(Driver::S_Command& io_command, bool& o_changed);
  int StartStopUnit(Driver::S_Command& io_command, bool& o_changed);
  int ModeSense(Driver::S_Command& io_command, bool& o_changed);
  int ModeSelect(Driver::S_Command& io_command, bool& o_changed);
  int WriteBuffer(Driver::S_Command& io_command, bool& o_changed);
  int VendorSpecific(Driver::S_Command& io_command, bool& o_changed);
  int AtaPassThrough(Driver::S_Command& io_command, bool& o_changed);
  int Control(Driver::S_Command& io_command, bool& o_changed);

  S_SimDrive& m_state;
  S_Transient& m_transient;
};

#endif
