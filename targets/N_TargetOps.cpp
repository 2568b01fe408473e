#include "targets/N_TargetOps.h"


#include "device/C_Device.h"
#include "targets/C_CommandBlock.h"

namespace N_TargetOps {

namespace {

std::uint8_t Byte(const char* i_text) { return static_cast<std::uint8_t>(ParseSigned(i_text)); }

}  // namespace

int SenseModePage(C_Device* i_origin, std::uint8_t i_page, std::uint32_t i_flags,
                  std::uint32_t i_senseLength, T_ModeBuffer& o_buffer) {
  o_buffer.fill(0);
  N_Cdb::T_Cdb6 cdb = N_Cdb::ModeSense6(i_page, 0xFF);
  C_CommandBlock block(cdb, o_buffer.data(), MODE_DATA_LENGTH, i_senseLength, i_flags,
                       Driver::DIRECTION_IN, Driver::REQUEST_DEVICE);
  return block.Forward(i_origin);
}

int ModeSense(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength) {
  if (argc != 3) return VEK_STATUS_BAD_ARGUMENT;
  if (!i_origin->HasParent()) return VEK_STATUS_NO_PARENT;
  T_ModeBuffer buffer;
  return SenseModePage(i_origin, static_cast<std::uint8_t>(ParseUnsigned(argv[2])),
                       SwitchFlag(argc, argv), i_senseLength, buffer);
}

int ModeSelect(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength) {
  if (argc < 4) return VEK_STATUS_BAD_ARGUMENT;
  if (!i_origin->HasParent()) return VEK_STATUS_NO_PARENT;
  const std::uint8_t page = static_cast<std::uint8_t>(ParseUnsigned(argv[2]));
  const std::uint32_t flags = SwitchFlag(argc, argv);
  T_ModeBuffer buffer;
  int status = SenseModePage(i_origin, page, flags, i_senseLength, buffer);
  if (status != VEK_STATUS_OK) return status;
  if (buffer[13] == 0) return VEK_STATUS_OK;  // the drive has no such page

  const long form = ParseSigned(argv[3]);
  if (form == 255) {
    // Whole page: code, length L, then at most L + 1 bytes (one more than
    // the length, the bound callers rely on), never past the buffer.
    buffer[12] = Byte(Arg(argc, argv, 4));
    buffer[13] = Byte(Arg(argc, argv, 5));
    const unsigned int limit = buffer[13] + 1u;
    std::size_t at = 14;
    for (int i = 6; i < argc && at - 14 < limit && at < buffer.size(); ++i) {
      buffer[at++] = Byte(argv[i]);
    }
  } else if (form >= -1) {
    // Edit triples (offset, op, value). An op other than 0, 1 or 2 does not
    // advance i, so the same triple is read again without end: callers must
    // send only these three ops (see the targets' headers).
    for (int i = 3; i < argc - 2;) {
      const long at = MODE_PAGE_OFFSET + ParseSigned(argv[i]);
      const long op = ParseSigned(argv[i + 1]);
      const std::uint8_t value = Byte(argv[i + 2]);
      if (at < 0 || at >= static_cast<long>(buffer.size())) return VEK_STATUS_BAD_ARGUMENT;
      switch (op) {
        case 0:
          buffer[at] = static_cast<std::uint8_t>(buffer[at] & ~value);
          i += 3;
          break;
        case 1:
          buffer[at] |= value;
          i += 3;
          break;
        case 2:
          buffer[at] = value;
          i += 3;
          break;
        default:
          break;
      }
    }
  } else {
    return VEK_STATUS_BAD_ARGUMENT;
  }

  // The mode data length and the medium type go back as 0, and the page
  // code is the one sensed, whatever a whole-page form carried.
  buffer[0] = 0;
  buffer[2] = 0;
  buffer[12] = page;
  const std::uint32_t length = buffer[13] + 14u;
  N_Cdb::T_Cdb6 cdb = N_Cdb::ModeSelect6(static_cast<std::uint8_t>(length));
  C_CommandBlock block(cdb, buffer.data(), length, i_senseLength, flags, Driver::DIRECTION_OUT,
                       Driver::REQUEST_DEVICE);
  return block.Forward(i_origin);
}

int CompareModePage(C_Device* i_origin, int argc, const char** argv,
                    std::uint32_t i_senseLength) {
  if (argc < 5) return VEK_STATUS_BAD_ARGUMENT;
  if (!i_origin->HasParent()) return VEK_STATUS_NO_PARENT;
  const std::uint8_t page = static_cast<std::uint8_t>(ParseSigned(argv[2]));
  const long offset = ParseSigned(argv[3]);
  long count = ParseSigned(argv[4]);
  T_ModeBuffer buffer;
  int status = SenseModePage(i_origin, page, SwitchFlag(argc, argv), i_senseLength, buffer);
  if (status != VEK_STATUS_OK) return status;

  if (count < buffer[13]) count = buffer[13];
  int differences = 0;
  for (long k = 0; k < count; ++k) {
    const long at = 14 + offset + k;
    if (at < 0 || at >= static_cast<long>(buffer.size())) return VEK_STATUS_BAD_ARGUMENT;
    if (ParseSigned(Arg(argc, argv, static_cast<int>(5 + k))) != buffer[at]) ++differences;
  }
  return VEK_STATUS_COMPARED + differences;
}

int VendorSpecific(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength,
                   bool i_twoRoute) {
  if (argc < 5) return VEK_STATUS_BAD_ARGUMENT;
  if (!i_origin->HasParent()) return VEK_STATUS_NO_PARENT;

  std::uint32_t flags = ParseUnsigned(argv[1]) & 0xFF;
  if (flags & 0x01) flags |= 0x04;
  const long cdbLength = ParseSigned(argv[2]);
  std::uint8_t* cdb = ParseAddress<std::uint8_t>(argv[3]);
  const unsigned long phase = ParseUnsigned(argv[4]);
  // Any length above 5 is taken; the block's length field keeps its low 8
  // bits (see the targets' headers).
  if (cdbLength <= 5 || !cdb || phase >= 3) return VEK_STATUS_BAD_ARGUMENT;

  void* data = nullptr;
  unsigned long dataLength = 0;
  Driver::E_Direction direction = Driver::DIRECTION_NONE;
  if (phase != 0) {
    if (argc < 7) return VEK_STATUS_BAD_ARGUMENT;
    dataLength = ParseUnsigned(argv[5]);
    data = ParseAddress<void>(argv[6]);
    if (dataLength == 0 || dataLength != static_cast<std::uint32_t>(dataLength) || !data) return VEK_STATUS_BAD_ARGUMENT;
    direction = phase == 1 ? Driver::DIRECTION_IN : Driver::DIRECTION_OUT;
  }
  C_CommandBlock block(cdb, static_cast<std::uint8_t>(cdbLength), data,
                       static_cast<std::uint32_t>(dataLength), i_senseLength, flags, direction,
                       Driver::REQUEST_DEVICE);
  return i_twoRoute ? block.PassThruOrForward(i_origin) : block.Forward(i_origin);
}

int Reset(C_Device* i_origin, int argc, const char** argv, std::uint32_t i_senseLength) {
  const std::uint8_t kind = argc > 1 ? Byte(argv[1]) : 1;
  std::array<std::uint8_t, 2> control = {Driver::CONTROL_RESET, kind};
  C_CommandBlock block(control, nullptr, 0, i_senseLength, 0, Driver::DIRECTION_NONE,
                       Driver::REQUEST_CONTROL);
  return i_origin->ExecuteCommand(block.Get());
}

int ExecuteHostCommand(C_Device* i_origin, int argc, const char** argv) {
  if (argc < 2) return VEK_STATUS_BAD_ARGUMENT;
  Driver::S_Command* command = ParseAddress<Driver::S_Command>(argv[1]);
  if (!command) return VEK_STATUS_BAD_ARGUMENT;
  return i_origin->ExecuteCommand(command);
}

int ParseWriteBuffer(int argc, const char** argv, S_WriteBufferArgs& o_args) {
  const long offset = ParseSigned(Arg(argc, argv, 3));
  const long length = ParseSigned(Arg(argc, argv, 4));
  o_args.mode = static_cast<int>(ParseUnsigned(Arg(argc, argv, 1)));
  o_args.image = ParseAddress<const char>(Arg(argc, argv, 2));
  o_args.offset = static_cast<unsigned int>(offset);
  o_args.length = static_cast<unsigned int>(length);
  o_args.flags = argc >= 6 ? static_cast<unsigned int>(ParseUnsigned(argv[5])) : FLASH_FLAGS;
  if (offset < 0 || length < 0 || (length > 0 && !o_args.image)) return VEK_STATUS_BAD_ARGUMENT;
  return VEK_STATUS_OK;
}

}  // namespace N_TargetOps
