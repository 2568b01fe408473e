#include "tools/N_StandardProgram.h"

#include <algorithm>

#include "ddff/C_DDFF.h"

namespace N_StandardProgram {

namespace {

const std::uint8_t OP_TEST_UNIT_READY = 0x00;
const std::uint8_t OP_START_STOP_UNIT = 0x1B;
const std::uint8_t OP_WRITE_BUFFER = 0x3B;
const std::uint8_t WRITE_BUFFER_DOWNLOAD_SAVE_OFFSETS = 0x07;

void PutBE24(std::uint8_t* o_bytes, std::uint32_t i_value) {
  o_bytes[0] = static_cast<std::uint8_t>(i_value >> 16);
  o_bytes[1] = static_cast<std::uint8_t>(i_value >> 8);
  o_bytes[2] = static_cast<std::uint8_t>(i_value);
}

}  // namespace

std::uint32_t InstructionCount(std::uint32_t i_imageSize) {
  return (i_imageSize + SEGMENT_SIZE - 1) / SEGMENT_SIZE + 4;
}

void Add(C_DDFF& io_request, std::uint32_t i_imageSize) {
  for (std::uint32_t offset = 0; offset < i_imageSize; offset += SEGMENT_SIZE) {
    const std::uint32_t size = std::min(SEGMENT_SIZE, i_imageSize - offset);
    std::uint8_t cdb[10] = {OP_WRITE_BUFFER, WRITE_BUFFER_DOWNLOAD_SAVE_OFFSETS};
    PutBE24(cdb + 3, offset);
    PutBE24(cdb + 6, size);
    C_DDFF::C_ScsiInstruction write(cdb, sizeof cdb);
    write.SetData(offset, size);
    write.SetTimeout(WRITE_TIMEOUT);
    io_request.AddInstruction(write);
  }

  C_DDFF::C_ControllerInstruction settle(DDFF::DDFF_CMD_SLEEP);
  settle.AddWORDParameter(SETTLE_MS);
  io_request.AddInstruction(settle);

  io_request.AddInstruction(C_DDFF::C_ControllerInstruction(DDFF::DDFF_CMD_DEVICE_RESET));

  const std::uint8_t testUnitReady[6] = {OP_TEST_UNIT_READY};
  C_DDFF::C_ScsiInstruction ready(testUnitReady, sizeof testUnitReady);
  ready.SetRepeat(READY_REPEAT, READY_DELAY_MS);
  ready.SetTimeout(READY_TIMEOUT);
  io_request.AddInstruction(ready);

  const std::uint8_t startUnit[6] = {OP_START_STOP_UNIT, 0, 0, 0, 0x01, 0};
  C_DDFF::C_ScsiInstruction start(startUnit, sizeof startUnit);
  start.SetTimeout(READY_TIMEOUT);
  io_request.AddInstruction(start);
}

}  // namespace N_StandardProgram
