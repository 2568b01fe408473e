#ifndef VEK_TOOLS_N_STANDARDPROGRAM_H
#define VEK_TOOLS_N_STANDARDPROGRAM_H

#include <cstdint>

class C_DDFF;

// The standard instruction program of a deferred request: what the array
// controller's agent does to the drive when it runs the request. Used by
// "vekctl flash" for deferred-flash drives and by "vekctl ddff build".
//
// For an image of n bytes, in this order:
//  1. WRITE BUFFER mode 7 (download microcode with offsets, save) for each
//     SEGMENT_SIZE piece of the image, the last one short: CDB buffer offset
//     and transfer length are the piece's offset and size, and so are the
//     instruction's data offset and size in the request's data area.
//     Timeout WRITE_TIMEOUT seconds each.
//  2. A controller sleep of SETTLE_MS milliseconds: the drive commits the
//     image to its medium.
//  3. A device reset: the drive starts the new firmware.
//  4. TEST UNIT READY, repeated up to READY_REPEAT times READY_DELAY_MS
//     apart, until the drive answers (it is busy, or reports the reset's
//     unit attention, for a while).
//  5. START UNIT (START STOP UNIT with start set), so the drive spins up
//     on the new firmware.
// No instruction ignores errors: the first failure ends the request with
// its position and sense in the status block.
namespace N_StandardProgram {

const std::uint32_t SEGMENT_SIZE = 32768;
const std::uint8_t WRITE_TIMEOUT = 60;
const std::uint16_t SETTLE_MS = 1000;
const std::uint16_t READY_REPEAT = 60;
const std::uint16_t READY_DELAY_MS = 1000;
const std::uint8_t READY_TIMEOUT = 30;

// Appends the program for an image of i_imageSize bytes (not 0) to
// io_request's instructions. The image itself is attached by the caller
// (SetRomImage, or the deferred-flash target).
void Add(C_DDFF& io_request, std::uint32_t i_imageSize);

// The number of instructions Add appends for i_imageSize bytes.
std::uint32_t InstructionCount(std::uint32_t i_imageSize);

}  // namespace N_StandardProgram

#endif
