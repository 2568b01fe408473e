#ifndef VEK_TARGETS_N_TARGETOPS_H
#define VEK_TARGETS_N_TARGETOPS_H

#include <array>
#include <cstdint>

#include "Common/Localization/ValueFormat.h"
#include "foundation/StringUtil.h"
#include "module/E_Status.h"
#include "targets/N_Cdb.h"

class C_Device;

// What the SCSI and the ATA target share: argument reading, the mode page
// operations, the vendor command, the reset request and the direct flash
// sequence. Internal to the module (not exported); the targets' headers
// describe the operations to callers.
namespace N_TargetOps {

// The direct flash sequence.
const std::uint32_t FLASH_CHUNK = 0x8000;  // bytes per WRITE BUFFER
const int FLASH_MODE = 7;                  // download microcode with offsets and save
const std::uint32_t FLASH_FLAGS = 0x04;    // also the default flags of "WriteBuffer"
const int POLL_LIMIT = 999;                // TEST UNIT READY calls per polling phase
const int POLL_INTERVAL_MS = 100;

// The mode parameter buffer of MODE SENSE(6) and MODE SELECT(6): a 4-byte
// header and one 8-byte block descriptor precede the page, so page byte k
// is buffer byte 12 + k; byte 13 is the page length. 269 bytes hold the
// largest page (length 255) with its 14 bytes of header, code and length.
const std::size_t MODE_BUFFER_SIZE = 269;
const std::uint32_t MODE_DATA_LENGTH = 255;
const int MODE_PAGE_OFFSET = 12;
typedef std::array<std::uint8_t, MODE_BUFFER_SIZE> T_ModeBuffer;

// argv[i] when i < argc, otherwise null. Operations that read arguments
// without a count check read a missing one as null, which parses as 0, the
// value the host's terminating null entry gives.
inline const char* Arg(int argc, const char** argv, int i) {
  return (argv && i >= 0 && i < argc) ? argv[i] : nullptr;
}

// The first-argument switch: 0x04 unless argv[1] is present and parses
// (base detected) to a non-zero number.
inline std::uint32_t SwitchFlag(int argc, const char** argv) {
  const char* first = Arg(argc, argv, 1);
  return (first && ParseSigned(first) != 0) ? 0 : 0x04;
}

// MODE SENSE(6) of i_page into o_buffer (zero-filled first), single route.
int SenseModePage(C_Device* i_origin, std::uint8_t i_page, std::uint32_t i_flags,
                  std::uint32_t i_senseLength, T_ModeBuffer& o_buffer);

// The named operations both targets implement alike. Each checks its
// argument count (1025), then the parent (1029), then its arguments, as the
// targets' headers describe; i_senseLength is the target's sense buffer size.
int ModeSense(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength);
int ModeSelect(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength);
int CompareModePage(C_Device* i_origin, int argc, const char** argv,
                    std::uint32_t i_senseLength);
// i_twoRoute: the pass-through route first (SCSI); otherwise forward only.
int VendorSpecific(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength,
                   bool i_twoRoute);
// The reset control request through the origin's ExecuteCommand.
int Reset(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength);
// argv[1] is the address of a host-built S_Command, sent by the origin's
// ExecuteCommand.
int ExecuteHostCommand(C_Device* i_origin, int argc, const char** argv);

// "WriteBuffer": parses the arguments and calls the target's DoWriteBuffer.
// Fills the four arguments and the flags; 1025 for a negative offset or
// length, or a null image with a non-zero length.
struct S_WriteBufferArgs {
  int mode;
  const char* image;
  unsigned int offset;
  unsigned int length;
  unsigned int flags;
};
int ParseWriteBuffer(int argc, const char** argv, S_WriteBufferArgs& o_args);

// One polling phase: TEST UNIT READY until it answers anything but busy
// (1036), at most 999 times, sleeping 100 ms after each busy answer.
// A target's Init: RequestSense (result ignored), then Inquiry, whose status
// becomes the bool (true on failure, as the status is non-zero).
template <class T>
bool InitTarget(T& io_target) {
  const char* senseArgs[] = {"RequestSense", nullptr};
  io_target.RequestSense(1, senseArgs);
  const char* inquiryArgs[] = {"Inquiry", nullptr};
  return io_target.Inquiry(1, inquiryArgs) != VEK_STATUS_OK;
}

template <class T>
void PollWhileBusy(T& io_target) {
  const char* argv[] = {"TestUnitReady", nullptr};
  for (int attempt = 1; attempt <= POLL_LIMIT; ++attempt) {
    if (io_target.TestUnitReady(1, argv) != VEK_STATUS_BUSY) return;
    SleepMilliSeconds(POLL_INTERVAL_MS);
  }
}

// "Flash": every call goes through the target's virtual members, so a
// derived target's versions run.
template <class T>
int Flash(T& io_target, int argc, const char** argv) {
  const long length = ParseSigned(Arg(argc, argv, 1));
  const char* image = ParseAddress<const char>(Arg(argc, argv, 2));
  if (length < 0 || (length > 0 && !image)) return VEK_STATUS_BAD_ARGUMENT;

  unsigned long remaining = static_cast<unsigned long>(length);
  unsigned long offset = 0;
  unsigned long chunk = FLASH_CHUNK;
  while (remaining != 0) {
    if (remaining < chunk) chunk = remaining;
    int status = io_target.DoWriteBuffer(FLASH_MODE, image, static_cast<unsigned int>(offset),
                                         static_cast<unsigned int>(chunk), FLASH_FLAGS);
    if (status != VEK_STATUS_OK) return status;  // chunks sent stay sent; no reset
    remaining -= chunk;
    offset += chunk;
  }

  // Every chunk is in: what follows brings the drive back, and its results
  // no longer change the answer.
  PollWhileBusy(io_target);
  const char* resetArgs[] = {"Reset", nullptr};
  io_target.Reset(1, resetArgs);
  PollWhileBusy(io_target);
  const char* inquiryArgs[] = {"Inquiry", nullptr};
  io_target.Inquiry(1, inquiryArgs);
  const char* startArgs[] = {"StartStopUnit", "0", "1", "1", nullptr};
  io_target.StartStopUnit(4, startArgs);
  return VEK_STATUS_OK;
}

}  // namespace N_TargetOps

#endif
