#ifndef VEK_TARGETS_C_COMMANDBLOCK_H
#define VEK_TARGETS_C_COMMANDBLOCK_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "targets/S_Command.h"

class C_Device;

// One command as a target sends it: the S_Command record and room for the
// sense data that comes back with a failed command. Built on the sending
// operation's stack for the duration of one call; not copyable, because the
// record points into the object.
//
// The constructor zero-fills the record and sets its fields in order. The
// command block and the data buffer stay the caller's: they must outlive the
// send, and nothing is copied (a download's data pointer points into the
// caller's image). The module does not read the sense data; it is there for
// drivers that return it.
//
// Sending is the one place where a target's command meets its parent:
//  - Forward: the parent's ForwardCommand only;
//  - PassThruOrForward: the parent's SCSIPassThruCommand first; when that
//    answers anything but 0, the parent's ForwardCommand with the same record.
//    The first route's code is dropped.
// Both answer 1029 (VEK_STATUS_NO_PARENT) when the origin has no parent, and
// otherwise the parent's code unchanged (0 success, anything else the
// driver's).
class C_CommandBlock {
 public:
  static constexpr std::uint32_t SCSI_SENSE_LENGTH = 255;
  static constexpr std::uint32_t ATA_SENSE_LENGTH = 40;

  // i_senseLength 0: no sense buffer; larger than 255 is cut to 255.
  C_CommandBlock(std::uint8_t* i_block, std::uint8_t i_blockLength, void* i_data,
                 std::uint32_t i_dataLength, std::uint32_t i_senseLength, std::uint32_t i_flags,
                 Driver::E_Direction i_direction, Driver::E_RequestType i_requestType);
  template <std::size_t N>
  C_CommandBlock(std::array<std::uint8_t, N>& i_block, void* i_data, std::uint32_t i_dataLength,
                 std::uint32_t i_senseLength, std::uint32_t i_flags,
                 Driver::E_Direction i_direction, Driver::E_RequestType i_requestType)
      : C_CommandBlock(i_block.data(), static_cast<std::uint8_t>(N), i_data, i_dataLength,
                       i_senseLength, i_flags, i_direction, i_requestType) {
    static_assert(N <= 255, "a command block is at most 255 bytes");
  }
  C_CommandBlock(const C_CommandBlock&) = delete;
  C_CommandBlock& operator=(const C_CommandBlock&) = delete;

  Driver::S_Command* Get() { return &m_command; }
  // After a send: the bytes the driver transferred (its dataLength).
  std::uint32_t Transferred() const { return m_command.dataLength; }

  int Forward(C_Device* i_origin);
  int PassThruOrForward(C_Device* i_origin);

 private:
  Driver::S_Command m_command;
  std::uint8_t m_sense[SCSI_SENSE_LENGTH];
};

#endif
