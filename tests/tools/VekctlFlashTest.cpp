// "vekctl flash" as operators run it: one drive, refused images, --expect,
// fleets with a faulty drive, dry runs and the confirmation rule.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

using nlohmann::json;

namespace {

// hba0 with three drives of one product, the middle one refusing its second
// download segment; array0 as usual but with one ATA drive.
const char FAULTY_FLEET[] = R"({
  "format": "vek-sim-fleet", "version": 1,
  "controllers": [
    { "name": "hba0", "kind": "hba", "vendor": "VEKSIM", "product": "SAS HBA 8i", "firmware": "2.10",
      "drives": [
        { "number": 0, "kind": "scsi", "vendor": "KESTREL", "product": "KS-4000", "serial": "S0", "firmware": "0102" },
        { "number": 1, "kind": "scsi", "vendor": "KESTREL", "product": "KS-4000", "serial": "S1", "firmware": "0102",
          "faults": { "rejectChunk": 2 } },
        { "number": 2, "kind": "scsi", "vendor": "KESTREL", "product": "KS-4000", "serial": "S2", "firmware": "0101" } ] },
    { "name": "array0", "kind": "array", "vendor": "VEKSIM", "product": "RAID 5i", "firmware": "4.02",
      "ddffVersion": "0101", "drives": [
        { "number": 0, "kind": "ata", "vendor": "ZQ", "product": "ZQ-ATA-500", "serial": "A0", "firmware": "0210" } ] } ]
})";

const json* Drive(const json& i_flash, const std::string& i_id) {
  for (const json& drive : i_flash["drives"]) {
    if (drive["drive"] == i_id) return &drive;
  }
  return nullptr;
}

TEST(VekctlFlashTest, DirectFlashOfScsiAndAtaDrives) {
  C_Vekctl vekctl;
  struct S_Case {
    const char* drive;
    const char* product;
    const char* from;
    const char* to;
  };
  for (const S_Case& c : {S_Case{"hba0:0", "KS-4000", "0102", "0103"},
                          S_Case{"array0:0", "ZQ-ATA-500", "0210", "0211"}}) {
    SCOPED_TRACE(c.drive);
    const std::string image = vekctl.Image(c.product, c.to);
    const C_Vekctl::S_Result result = vekctl.Run({"flash", image, c.drive, "--yes"});
    EXPECT_EQ(result.status, 0) << result.err;
    // The result table: drive, old, new, result.
    EXPECT_NE(result.out.find(std::string(c.drive) + "  " + c.from + "  " + c.to + "  success"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(vekctl.Revision(c.drive), c.to);
  }
}

TEST(VekctlFlashTest, RefusedImageLeavesTheRevisionAndSaysWhy) {
  C_Vekctl vekctl;
  const std::string wrongProduct = vekctl.Image("HC-900S", "A311");
  int status = 0;
  const json flash = vekctl.Json({"flash", wrongProduct, "hba0:0", "--yes"}, &status);
  EXPECT_EQ(status, 3);
  const json* drive = Drive(flash, "hba0:0");
  ASSERT_NE(drive, nullptr) << flash.dump();
  EXPECT_EQ((*drive)["result"], "failed");
  EXPECT_EQ((*drive)["status"], 1034);
  EXPECT_EQ((*drive)["sense"]["senseKey"], 5);
  EXPECT_EQ((*drive)["newRevision"], "0102");
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");

  const C_Vekctl::S_Result text = vekctl.Run({"flash", wrongProduct, "hba0:0", "--yes"});
  EXPECT_EQ(text.status, 3);
  EXPECT_NE(text.err.find(
                "hba0:0: flash refused by drive: ILLEGAL REQUEST, invalid field in parameter list; "
                "firmware unchanged at 0102\n"),
            std::string::npos)
      << text.err;
}

TEST(VekctlFlashTest, ExpectAndUnchangedRevisionsFailVerification) {
  C_Vekctl vekctl;
  int status = 0;
  const json mismatch = vekctl.Json(
      {"flash", vekctl.Image("KS-4000", "0103"), "hba0:0", "--yes", "--expect", "0104"}, &status);
  EXPECT_EQ(status, 4);
  EXPECT_EQ((*Drive(mismatch, "hba0:0"))["result"], "unexpected");
  EXPECT_EQ((*Drive(mismatch, "hba0:0"))["newRevision"], "0103");

  // The same revision again: taken, yet nothing changed.
  const std::string same = vekctl.Image("KS-4000", "0103");
  const json unchanged = vekctl.Json({"flash", same, "hba0:0", "--yes"}, &status);
  EXPECT_EQ(status, 4);
  EXPECT_EQ((*Drive(unchanged, "hba0:0"))["result"], "unchanged");
  // ...unless the operator said that revision is the one to end at.
  const json expected =
      vekctl.Json({"flash", same, "hba0:0", "--yes", "--expect", "0103"}, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ((*Drive(expected, "hba0:0"))["result"], "unchanged");
}

TEST(VekctlFlashTest, FleetFlashWithOneFaultyDriveFlashesTheOthers) {
  C_Vekctl vekctl(FAULTY_FLEET);
  int status = 0;
  const json flash = vekctl.Json({"flash", vekctl.Image("KS-4000", "0103"), "--all", "--product",
                                  "KS-4000", "--yes", "--jobs", "2"},
                                 &status);
  EXPECT_EQ(status, 5);
  ASSERT_EQ(flash["drives"].size(), 3u) << flash.dump();
  EXPECT_EQ((*Drive(flash, "hba0:0"))["result"], "success");
  EXPECT_EQ((*Drive(flash, "hba0:1"))["result"], "failed");
  EXPECT_EQ((*Drive(flash, "hba0:2"))["result"], "success");
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0103");
  EXPECT_EQ(vekctl.Revision("hba0:1"), "0102");
  EXPECT_EQ(vekctl.Revision("hba0:2"), "0103");
}

TEST(VekctlFlashTest, SelectionFilters) {
  C_Vekctl vekctl(FAULTY_FLEET);
  const std::string image = vekctl.Image("KS-4000", "0103");
  struct S_Case {
    std::vector<std::string> selection;
    std::vector<std::string> drives;
  };
  const S_Case cases[] = {
      {{"--all", "--below", "0102"}, {"hba0:2"}},
      {{"--all", "--vendor", "KESTREL"}, {"hba0:0", "hba0:1", "hba0:2"}},
      {{"--all", "--vendor", "ZQ"}, {"array0:0"}},
      {{"--all", "--skip-current", "0102"}, {"hba0:2", "array0:0"}},
      {{"hba0:0", "serial:S2", "hba0:0"}, {"hba0:0", "hba0:2"}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.selection));
    std::vector<std::string> args = {"flash", image, "--dry-run"};
    args.insert(args.end(), c.selection.begin(), c.selection.end());
    int status = -1;
    const json plan = vekctl.Json(args, &status);
    EXPECT_EQ(status, 0);
    std::vector<std::string> drives;
    for (const json& entry : plan["plan"]) drives.push_back(entry["drive"]);
    EXPECT_EQ(drives, c.drives);
  }
  // Nothing matches; a controller is not a drive; the two ways to select mix not.
  for (const auto& wrong : {std::vector<std::string>{"--all", "--product", "NONE"}, {"hba0"},
                            {"hba0:0", "--all"}, {"--product", "KS-4000"}, {}}) {
    std::vector<std::string> args = {"flash", image, "--dry-run"};
    args.insert(args.end(), wrong.begin(), wrong.end());
    EXPECT_EQ(vekctl.Run(args).status, wrong.size() == 3 ? 2 : 1) << testing::PrintToString(args);
  }
}

TEST(VekctlFlashTest, DryRunSendsNothingAndTracesWhatItWouldSend) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  const C_Vekctl::S_Result plain = vekctl.Run({"flash", image, "hba0:0", "--dry-run"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_NE(plain.out.find("nothing was sent"), std::string::npos);
  EXPECT_EQ(plain.err.find("3B 07"), std::string::npos);

  const C_Vekctl::S_Result traced = vekctl.Run({"flash", image, "hba0:0", "--dry-run", "-v"});
  EXPECT_EQ(traced.status, 0) << traced.err;
  // Four WRITE BUFFER blocks (mode 7) at offsets 0, 32768, 65536, 98304.
  for (const char* cdb : {"[3B 07 00 00 00 00 00 80 00 00]", "[3B 07 00 00 80 00 00 80 00 00]",
                          "[3B 07 00 01 00 00 00 80 00 00]", "[3B 07 00 01 80 00 00 00 40 00]"}) {
    EXPECT_NE(traced.err.find(cdb), std::string::npos) << cdb << "\n" << traced.err;
  }
  EXPECT_EQ(vekctl.Json({"flash", image, "hba0:0", "--dry-run"})["plan"][0]["transferBytes"], 98368);
  EXPECT_EQ(vekctl.Json({"sim", "status"})["controllers"][0]["drives"][0]["pending"], "");
}

TEST(VekctlFlashTest, WithoutATerminalYesIsRequired) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  for (const char* answer : {"", "y\n"}) {
    const C_Vekctl::S_Result result = vekctl.Run({"flash", image, "hba0:0"}, answer);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("--yes"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("[y/N]"), std::string::npos) << "no prompt without a terminal";
  }
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");
}

TEST(VekctlFlashTest, BadImagesAreRefusedBeforeAnythingIsSent) {
  C_Vekctl vekctl;
  WriteFileBytes(vekctl.File("empty.fw"), "");
  struct S_Case {
    std::string image;
    const char* complaint;
  };
  const S_Case cases[] = {{vekctl.File("missing.fw"), "cannot read"},
                          {vekctl.File("empty.fw"), "empty"},
                          {vekctl.Dir(), "cannot read"},
                          {vekctl.Image("KS-4000", "0103", 17u << 20), "at most 16777216 bytes"}};
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.image);
    const C_Vekctl::S_Result result = vekctl.Run({"flash", c.image, "hba0:0", "--yes"});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find(c.complaint), std::string::npos) << result.err;
    EXPECT_TRUE(result.out.empty()) << result.out;
  }
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");
}

}  // namespace

#endif
