#ifdef VEK_HAVE_LINUX_DRIVER
#include "drivers/linux/N_AtaPassThrough.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

typedef std::vector<std::uint8_t> T_Bytes;

// Blocks exactly as the ATA target builds them, and the ATA PASS-THROUGH(16)
// each must become (empty: refused).
TEST(N_AtaPassThrough, TranslatesTheTargetsBlocksByteForByte) {
  const struct { const char* name; T_Bytes block; std::uint32_t dataLength; T_Bytes cdb; } cases[] = {
      {"IDENTIFY DEVICE", {0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 512,
       {0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC, 0}},
      {"DOWNLOAD MICROCODE 64 KiB", {0xC6, 0x82, 0x92, 7, 128, 0, 0, 0, 0, 0, 128, 0}, 65536,
       {0x85, 0x0A, 0x06, 0, 7, 0, 128, 0, 0, 0, 0, 0, 0, 0, 0x92, 0}},
      {"DOWNLOAD MICROCODE 128 KiB", {0xC6, 0x82, 0x92, 7, 0, 1, 0, 0, 0, 0, 0, 1}, 131072,
       {0x85, 0x0A, 0x06, 0, 7, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0x92, 0}},
      {"no-data command", {0xC6, 0x00, 0xE7, 0, 0, 0, 0, 0, 0xA0, 0, 0, 0}, 0,
       {0x85, 0x06, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xA0, 0xE7, 0}},
      {"download not a whole number of blocks", {0xC6, 0x82, 0x92, 7, 192, 0, 0, 0, 0, 0, 192, 0},
       98368, {}},
      {"download count differs from the buffer", {0xC6, 0x82, 0x92, 7, 1, 0, 0, 0, 0, 0, 1, 0},
       1024, {}},
      {"data-in without a buffer", {0xC6, 0x01, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 0, {}},
      {"unknown protocol code", {0xC6, 0x03, 0xEC, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 512, {}},
      {"short block", {0xC6, 0x01, 0xEC, 0, 0, 0}, 512, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    N_AtaPassThrough::T_Cdb16 cdb;
    std::string why;
    const bool ok = N_AtaPassThrough::Translate(c.block.data(), c.block.size(), c.dataLength, cdb, why);
    EXPECT_EQ(ok, !c.cdb.empty());
    if (ok) {
      EXPECT_EQ(T_Bytes(cdb.begin(), cdb.end()), c.cdb);
    } else {
      EXPECT_FALSE(why.empty());
    }
  }
}

}  // namespace
#endif
