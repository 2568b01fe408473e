#include "drivers/sim/N_SimSense.h"

namespace N_SimSense {

std::vector<std::uint8_t> Fixed(std::uint8_t i_key, std::uint8_t i_asc, std::uint8_t i_ascq) {
  std::vector<std::uint8_t> sense(18, 0);
  sense[0] = 0x70;
  sense[2] = i_key & 0x0F;
  sense[7] = 10;
  sense[12] = i_asc;
  sense[13] = i_ascq;
  return sense;
}

void AddAtaRegisters(std::vector<std::uint8_t>& io_sense, std::uint8_t i_error,
                     std::uint8_t i_status) {
  if (io_sense.size() < 5) return;
  io_sense[0] |= 0x80;
  io_sense[3] = i_error;
  io_sense[4] = i_status;
}

}  // namespace N_SimSense
