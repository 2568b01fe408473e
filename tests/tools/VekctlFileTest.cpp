// vekctl's file commands: request files built, verified, dumped and
// damaged on purpose; cloaked files; hex dumps.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

#include "ddff/C_DDFF.h"

using nlohmann::json;

namespace {

TEST(VekctlFileTest, BuildVerifyAndDumpARequest) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("ZQ-SAS-146", "ZQ06");
  const std::string file = vekctl.File("request.ddff");
  const C_Vekctl::S_Result build =
      vekctl.Run({"ddff", "build", image, "-o", file, "--vendor", "ZQ", "--product", "ZQ-SAS-146",
                  "--revision", "ZQ05", "--serial", "ZQS146C003", "--flags", "debug,fast"});
  ASSERT_EQ(build.status, 0) << build.err;

  const json verify = vekctl.Json({"ddff", "verify", file});
  EXPECT_EQ(verify["valid"], true);
  EXPECT_EQ(verify["instructions"], 8);  // 4 segments, sleep, reset, TEST UNIT READY, START UNIT
  EXPECT_EQ(verify["imageBytes"], ReadFileBytes(image).size());
  EXPECT_EQ(verify["flags"], DDFF::DDFF_RQ_DEBUG | DDFF::DDFF_RQ_FAST);
  EXPECT_EQ(verify["serial"], "ZQS146C003");
  EXPECT_EQ(verify["revision"], "ZQ05");

  // The report is the module's own.
  const C_Vekctl::S_Result dump = vekctl.Run({"ddff", "dump", file});
  EXPECT_EQ(dump.status, 0);
  C_DDFF request;
  request.Read(file);
  std::ostringstream report;
  request.Dump(report);
  EXPECT_EQ(dump.out, report.str());
}

TEST(VekctlFileTest, VerifyNamesTheFirstFault) {
  C_Vekctl vekctl;
  const std::string file = vekctl.File("request.ddff");
  ASSERT_EQ(vekctl.Run({"ddff", "build", vekctl.Image("ZQ-SAS-146", "ZQ06"), "-o", file}).status,
            0);
  const std::string good = ReadFileBytes(file);
  struct S_Case {
    const char* name;
    std::size_t offset;  // byte flipped; npos: cut in half
    const char* complaint;
  };
  const S_Case cases[] = {{"signature", 0, "Invalid signature"},
                          {"status block", 60, "Invalid Status CRC"},
                          {"instruction", 204 + 40 + 24, "Invalid Request CRC"},
                          {"image", 600, "Invalid Data CRC"},
                          {"truncated", std::string::npos, "Invalid Data CRC"}};
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string bad = good;
    if (c.offset == std::string::npos) {
      bad.resize(bad.size() / 2);
    } else {
      bad[c.offset] = static_cast<char>(bad[c.offset] ^ 0x01);
    }
    WriteFileBytes(file, bad);
    const C_Vekctl::S_Result verify = vekctl.Run({"ddff", "verify", file});
    EXPECT_EQ(verify.status, 4);
    EXPECT_TRUE(Has(verify.err, c.complaint));
    EXPECT_EQ(vekctl.Run({"ddff", "dump", file}).status, 4);
  }
  EXPECT_EQ(vekctl.Run({"ddff", "verify", vekctl.File("missing")}).status, 3);
}

TEST(VekctlFileTest, CloakAndUncloakRoundTrip) {
  C_Vekctl vekctl;
  const std::string plain = vekctl.Image("KS-4000", "0103", 5000);
  const C_Vekctl::S_Result cloak = vekctl.Run({"cloak", plain, vekctl.File("cloaked")});
  ASSERT_EQ(cloak.status, 0) << cloak.err;
  const std::string cloaked = ReadFileBytes(vekctl.File("cloaked"));
  EXPECT_EQ(cloaked.size(), ReadFileBytes(plain).size() + 16);
  EXPECT_EQ(cloaked.find(ReadFileBytes(plain).substr(64, 32)), std::string::npos);
  ASSERT_EQ(vekctl.Run({"uncloak", vekctl.File("cloaked"), vekctl.File("back")}).status, 0);
  EXPECT_EQ(ReadFileBytes(vekctl.File("back")), ReadFileBytes(plain));

  // Not a cloaked file, or no folder to write to: refused with the reason
  // (no class name), and the output is not created.
  const struct {
    const char* command;
    std::string out;
    const char* complaint;
  } cases[] = {{"uncloak", vekctl.File("never"), "not a cloaked file: bad magic number\n"},
               {"cloak", vekctl.File("none/never"), ": No such file or directory\n"}};
  for (const auto& c : cases) {
    const C_Vekctl::S_Result bad = vekctl.Run({c.command, plain, c.out});
    EXPECT_EQ(bad.status, 3);
    EXPECT_TRUE(Has(bad.err, c.complaint));
    EXPECT_EQ(access(c.out.c_str(), F_OK), -1);
  }
}

TEST(VekctlFileTest, HexdumpIsTheModulesDump) {
  C_Vekctl vekctl;
  WriteFileBytes(vekctl.File("bytes"), std::string("A\nC\x00\x01\x02\x03\x04xyz", 12));
  const C_Vekctl::S_Result dump = vekctl.Run({"hexdump", vekctl.File("bytes")});
  EXPECT_EQ(dump.status, 0);
  EXPECT_EQ(dump.out,
            "00000000: 41 0A 43 00 01 02 03 04 : A.C.....\n"
            "00000008: 78 79 7A 00             : xyz.    \n");
}

}  // namespace

#endif
