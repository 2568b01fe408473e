#ifndef VEK_TARGETS_S_COMMAND_H
#define VEK_TARGETS_S_COMMAND_H

#include <cstddef>
#include <cstdint>

// The one command record every target fills and hands up the tree to the
// host's driver. Owned by the caller (a local of the operation that builds
// it); the driver completes the command before returning and frees nothing.
// Builders zero-fill the record, then set the fields in order.
//
// Layout is part of the driver interface: nine consecutive 32-bit slots on
// i386 (36 bytes), each 8-bit field in the first byte of its slot.
namespace Driver {

// requestType values.
enum E_RequestType : std::uint32_t {
  REQUEST_DEVICE = 1,      // command block for the drive
  REQUEST_CONTROLLER = 2,  // controller request (deferred-flash target)
  REQUEST_CONTROL = 3      // control request to the parent path itself
};

// direction values.
enum E_Direction : std::uint8_t { DIRECTION_OUT = 0, DIRECTION_IN = 1, DIRECTION_NONE = 2 };

// flags bits the module sets; their meaning belongs to the driver.
const std::uint32_t COMMAND_FLAG_04 = 0x04;
const std::uint32_t COMMAND_FLAG_40 = 0x40;

// Control block byte 0 of a control request.
const std::uint8_t CONTROL_GET_ADDRESS = 0x02;  // data: a 3-byte scsi::S_Address
const std::uint8_t CONTROL_RESET = 0x03;        // byte 1: reset kind

struct S_Command {
  std::uint8_t* cdb;           // command block (CDB, ATA block or control block)
  std::uint8_t cdbLength;      // valid bytes at cdb
  std::uint8_t* dataBuffer;    // transfer buffer, or null
  std::uint32_t dataLength;    // bytes to transfer; on return, bytes transferred
  std::uint8_t* senseBuffer;   // sense data of a failed command, or null
  std::uint32_t senseLength;   // size of senseBuffer
  std::uint32_t flags;         // request flags, passed to the driver untouched
  std::uint8_t direction;      // E_Direction
  std::uint32_t requestType;   // E_RequestType
};

#if defined(__i386__)
static_assert(sizeof(S_Command) == 36, "S_Command is nine 32-bit slots on i386");
static_assert(offsetof(S_Command, cdbLength) == 4 && offsetof(S_Command, dataBuffer) == 8 &&
                  offsetof(S_Command, dataLength) == 12 && offsetof(S_Command, senseBuffer) == 16 &&
                  offsetof(S_Command, senseLength) == 20 && offsetof(S_Command, flags) == 24 &&
                  offsetof(S_Command, direction) == 28 && offsetof(S_Command, requestType) == 32,
              "S_Command slot order");
#endif

}  // namespace Driver

namespace scsi {

// Identity that a parent fills in the INQUIRY fallback: bytes 0-31 as bytes
// 8-39 of standard INQUIRY data, bytes 32-71 the serial number.
struct S_IDPhysicalDevice {
  std::uint8_t inquiry[32];
  std::uint8_t serialNumber[40];
};
static_assert(sizeof(S_IDPhysicalDevice) == 72, "S_IDPhysicalDevice is 72 bytes");

// A target's address as the parent path reports it; its layout is the
// parent's business.
struct S_Address {
  std::uint8_t bytes[3];
};
static_assert(sizeof(S_Address) == 3, "S_Address is 3 bytes");

}  // namespace scsi

#endif
