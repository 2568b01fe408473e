// The standard instruction program of a deferred request, record by record.
// (The simulated array's agent runs it to the end in VekctlDeferTest.)
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

#include <cstring>

#include "ddff/C_DDFF.h"
#include "tools/N_StandardProgram.h"

namespace {

std::uint32_t LE32(const std::uint8_t* i_bytes) {
  std::uint32_t value;
  std::memcpy(&value, i_bytes, 4);
  return value;
}

TEST(N_StandardProgramTest, SegmentsCoverTheImageThenResetAndStart) {
  for (std::uint32_t size : {1u, 32768u, 32769u, 98368u}) {
    SCOPED_TRACE(size);
    C_DDFF request;
    N_StandardProgram::Add(request, size);
    const std::uint32_t segments = (size + 32767) / 32768;
    ASSERT_EQ(request.GetInstructionCount(), segments + 4);
    EXPECT_EQ(N_StandardProgram::InstructionCount(size), segments + 4);
    std::uint32_t covered = 0;
    for (std::uint32_t i = 0; i < segments; ++i) {
      const std::uint8_t* record = request.GetInstruction(i).GetAsData();
      EXPECT_EQ(record[0], 'S');
      EXPECT_EQ(record[24], 0x3B);  // WRITE BUFFER
      EXPECT_EQ(record[25], 0x07);  // mode 7
      const std::uint32_t offset = LE32(record + 8), length = LE32(record + 12);
      EXPECT_EQ(offset, covered);
      EXPECT_EQ(length, std::min<std::uint32_t>(32768, size - covered));
      // The CDB's buffer offset and length are the data's.
      EXPECT_EQ((record[27] << 16 | record[28] << 8 | record[29]), static_cast<int>(offset));
      EXPECT_EQ((record[30] << 16 | record[31] << 8 | record[32]), static_cast<int>(length));
      EXPECT_EQ(LE32(record + 4) & DDFF::DDFF_SCSI_DATA_OUT, DDFF::DDFF_SCSI_DATA_OUT);
      covered += length;
    }
    EXPECT_EQ(covered, size);
    const std::uint8_t* sleep = request.GetInstruction(segments).GetAsData();
    EXPECT_EQ(sleep[0], 'C');
    EXPECT_EQ(sleep[24], DDFF::DDFF_CMD_SLEEP);
    EXPECT_EQ(sleep[25] | sleep[26] << 8, N_StandardProgram::SETTLE_MS);
    EXPECT_EQ(request.GetInstruction(segments + 1).GetAsData()[24], DDFF::DDFF_CMD_DEVICE_RESET);
    const std::uint8_t* ready = request.GetInstruction(segments + 2).GetAsData();
    EXPECT_EQ(ready[24], 0x00);
    EXPECT_EQ(ready[16] | ready[17] << 8, N_StandardProgram::READY_REPEAT);
    const std::uint8_t* start = request.GetInstruction(segments + 3).GetAsData();
    EXPECT_EQ(start[24], 0x1B);
    EXPECT_EQ(start[28], 0x01);
  }
}

}  // namespace

#endif
