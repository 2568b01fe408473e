#include "drivers/linux/N_AtaPassThrough.h"

#include <algorithm>

namespace N_AtaPassThrough {

namespace {

// One row per protocol code of byte 1: the SAT protocol (byte 1, bits 4 to
// 1) and byte 2 of ATA PASS-THROUGH(16) (T_DIR bit 3, BYTE_BLOCK bit 2,
// T_LENGTH bits 1 to 0).
struct S_Protocol {
  std::uint8_t code;
  std::uint8_t satProtocol;
  std::uint8_t byte2;
  bool dataIn;
  bool dataOut;
  const char* name;
};

const S_Protocol PROTOCOLS[] = {
    {0x0, 3, 0x00, false, false, "no data"},
    {0x1, 4, 0x0E, true, false, "PIO data-in"},
    {0x2, 5, 0x06, false, true, "PIO data-out"},
};

}  // namespace

std::uint8_t Command(const std::uint8_t* i_block, std::size_t i_length) {
  return i_block && i_length >= 3 ? i_block[2] : 0;
}

bool Translate(const std::uint8_t* i_block, std::size_t i_length, std::uint32_t i_dataLength,
               T_Cdb16& o_cdb, std::string& o_why) {
  o_cdb.fill(0);
  if (!i_block || i_length < BLOCK_LENGTH) {
    o_why = "ATA pass-through block shorter than 12 bytes";
    return false;
  }
  const std::uint8_t code = i_block[1] & 0x0F;
  const S_Protocol* protocol =
      std::find_if(std::begin(PROTOCOLS), std::end(PROTOCOLS),
                   [code](const S_Protocol& i_row) { return i_row.code == code; });
  if (protocol == std::end(PROTOCOLS)) {
    o_why = "ATA pass-through block with unknown protocol code " + std::to_string(code);
    return false;
  }
  const bool moves = protocol->dataIn || protocol->dataOut;
  if (moves != (i_dataLength != 0) || i_dataLength % SECTOR != 0) {
    o_why = std::string("ATA ") + protocol->name + " command with a transfer of " +
            std::to_string(i_dataLength) + " bytes";
    return false;
  }
  // The count field carries the block count of a data-in transfer; a
  // download carries its own 16-bit count in count and LBA low.
  if (protocol->dataIn && i_dataLength / SECTOR > 0xFF) {
    o_why = "ATA data-in transfer of more than 255 blocks";
    return false;
  }
  // DOWNLOAD MICROCODE counts its blocks in count (low) and LBA low (high):
  // the drive takes exactly that many, so the buffer must hold as many.
  const std::uint32_t blocks = i_block[4] | static_cast<std::uint32_t>(i_block[5]) << 8;
  if (i_block[2] == ATA_DOWNLOAD_MICROCODE && blocks * SECTOR != i_dataLength) {
    o_why = "DOWNLOAD MICROCODE of " + std::to_string(blocks) + " blocks with a transfer of " +
            std::to_string(i_dataLength) + " bytes";
    return false;
  }
  o_cdb[0] = OP_ATA_PASS_THROUGH_16;
  o_cdb[1] = static_cast<std::uint8_t>(protocol->satProtocol << 1);
  o_cdb[2] = protocol->byte2;
  o_cdb[4] = i_block[3];   // feature
  o_cdb[6] = protocol->dataIn ? static_cast<std::uint8_t>(i_dataLength / SECTOR) : i_block[4];
  o_cdb[8] = i_block[5];   // LBA low
  o_cdb[10] = i_block[6];  // LBA mid
  o_cdb[12] = i_block[7];  // LBA high
  o_cdb[13] = i_block[8];  // device
  o_cdb[14] = i_block[2];  // command
  return true;
}

void SwapIdentifyStrings(std::uint8_t* io_data, std::size_t i_length) {
  static const std::size_t FIELDS[][2] = {{20, 40}, {46, 54}, {54, 94}};
  for (const auto& field : FIELDS) {
    for (std::size_t i = field[0]; i + 1 < field[1] && i + 1 < i_length; i += 2) {
      std::swap(io_data[i], io_data[i + 1]);
    }
  }
}

}  // namespace N_AtaPassThrough
