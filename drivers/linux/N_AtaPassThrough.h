#ifndef VEK_DRIVERS_LINUX_N_ATAPASSTHROUGH_H
#define VEK_DRIVERS_LINUX_N_ATAPASSTHROUGH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

// The ATA target's 12-byte pass-through block (opcode 0xC6) turned into the
// SCSI/ATA Translation command that Linux's libata (and SAS HBAs) carry to
// a SATA drive: ATA PASS-THROUGH(16), opcode 0x85.
//
// How the block is read (doc/linux-driver.md):
//   byte 1, low 4 bits   0 no data, 1 PIO data-in, 2 PIO data-out
//   byte 2               the ATA command
//   bytes 3 to 8         feature, count, LBA low, LBA mid, LBA high, device
//   bytes 9 to 11        not read: the transfer length is the record's
//                        dataLength, which must be a whole number of
//                        512-byte blocks (at most 255 for the data-in code;
//                        for DOWNLOAD MICROCODE exactly the blocks that count
//                        and LBA low give, low byte first)
// The 28-bit task file goes to the 16-byte command unchanged; the transfer
// length is counted in blocks in the count field (T_LENGTH 2, BYTE_BLOCK 1),
// CK_COND clear, so a refusal comes back as CHECK CONDITION with the ATA
// registers in the sense data.
namespace N_AtaPassThrough {

const std::uint8_t OP_ATA_PASS_THROUGH_16 = 0x85;
const std::size_t BLOCK_LENGTH = 12;
const std::uint32_t SECTOR = 512;
const std::uint8_t ATA_DOWNLOAD_MICROCODE = 0x92;
const std::uint8_t ATA_IDENTIFY_DEVICE = 0xEC;

typedef std::array<std::uint8_t, 16> T_Cdb16;

// Fills o_cdb from the 12-byte block. False, with o_why saying what is
// wrong, when the block is short, its protocol code is unknown, or the
// transfer length does not fit the protocol (data direction, whole blocks);
// nothing may then be sent.
bool Translate(const std::uint8_t* i_block, std::size_t i_length, std::uint32_t i_dataLength,
               T_Cdb16& o_cdb, std::string& o_why);

// The ATA command a block carries (byte 2), 0 for a short block.
std::uint8_t Command(const std::uint8_t* i_block, std::size_t i_length);

// IDENTIFY DEVICE data keeps its strings as 16-bit words, the first
// character in the high byte. The ATA target reads them in reading order
// (serial bytes 20 to 39, firmware 46 to 53, model 54 to 93), so the driver
// swaps each pair in those fields. i_length below 94 swaps what is there.
void SwapIdentifyStrings(std::uint8_t* io_data, std::size_t i_length);

}  // namespace N_AtaPassThrough

#endif
