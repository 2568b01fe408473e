// "vekctl flash" as operators run it: one drive, refused images, --expect,
// fleets with a faulty drive, dry runs and the confirmation rule.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

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
    EXPECT_TRUE(Has(result.out, std::string(c.drive) + "  " + c.from + "  " + c.to + "  success"));
    EXPECT_EQ(vekctl.Revision(c.drive), c.to);
  }
}

// A fault on one drive of the built-in fleet, a flash, and the verdict:
// never a success that was not seen, the reason in the drive's words, and
// "list" telling what it knows of the drive.
TEST(VekctlFlashTest, FaultsGiveHonestVerdicts) {
  struct S_Case {
    const char* name;
    int controller, drive;  // indexes of the faulty drive
    json faults;
    std::vector<std::string> args;  // after "flash IMAGE DRIVE --yes"
    const char* product;            // the image's
    int exit;
    const char* result;
    const char* message;
    const char* listProblem;  // "": list shows none
  };
  const json ata = {{"failOpcode", 0xC6}, {"failSense", {0xB, 0, 0}}};
  const json inquiry = {{"failOpcode", 0x12}, {"failSense", {5, 0x24, 0}}};
  const S_Case cases[] = {
      {"another product: refused before sending", 0, 1, json::object(), {}, "KS-4000", 3,
       "refused", "the image is for KS-4000, the drive is a HC-900S; nothing was sent", ""},
      {"...and with --force, by the drive", 0, 1, json::object(), {"--force"}, "KS-4000", 3,
       "failed", "flash refused by drive: ILLEGAL REQUEST, invalid field in parameter list; "
       "firmware unchanged at A310", ""},
      {"busy forever", 0, 0, {{"busyForever", true}}, {}, "KS-4000", 3, "failed",
       "drive not ready after", ""},
      {"identity unreadable", 0, 1, inquiry, {}, "HC-900S", 3, "refused",
       "identity unreadable: INQUIRY failed: ILLEGAL REQUEST, invalid field in cdb",
       "identity unreadable: INQUIRY failed: ILLEGAL REQUEST"},
      {"...flashed with --force", 0, 1, inquiry, {"--force"}, "HC-900S", 4, "unverified",
       "revision cannot be read back", "identity unreadable"},
      {"driver throws", 0, 0, {{"throwOnOpcode", 0x12}}, {}, "KS-4000", 3, "refused",
       "The controller driver failed: simulated driver failure on opcode 0x12",
       "simulated driver failure on opcode 0x12"},
      {"ATA registers", 1, 0, ata, {"--force"}, "ZQ-ATA-500", 3, "failed",
       "ABORTED COMMAND; ATA status 0x51 (DRDY DSC ERR), error 0x04 (ABRT); firmware revision "
       "unknown",
       "IDENTIFY DEVICE failed: ABORTED COMMAND; ATA status 0x51"},
  };
  const char* ids[2][4] = {{"hba0:0", "hba0:1"}, {"array0:0", "array0:1", "array0:2", "array0:3"}};
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    C_Vekctl vekctl;
    vekctl.Env().push_back("VEK_SIM_INSTANT=1");  // a drive busy forever is busy for no time
    vekctl.SetDrive(c.controller, c.drive, {{"faults", c.faults}});
    const std::string id = ids[c.controller][c.drive];
    int status = 0;
    const json list = vekctl.Json({"list"}, &status);
    EXPECT_EQ(status, 0);
    std::string problem;
    for (const json& device : list["devices"]) {
      if (device["id"] == id) problem = device.value("problem", "");
    }
    EXPECT_TRUE(Has(problem, c.listProblem));
    EXPECT_EQ(problem.empty(), !*c.listProblem) << problem;

    std::vector<std::string> args = {"flash", vekctl.Image(c.product, "X999"), id, "--yes"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const json flash = vekctl.Json(args, &status);
    EXPECT_EQ(status, c.exit);
    EXPECT_EQ(flash["exitStatus"], c.exit);
    const json* drive = Drive(flash, id);
    ASSERT_NE(drive, nullptr) << flash.dump();
    EXPECT_EQ((*drive)["result"], c.result);
    EXPECT_EQ((*drive)["failed"], true);
    EXPECT_TRUE(Has((*drive).value("message", ""), c.message));
    EXPECT_EQ(flash["summary"][c.result], 1);
  }
}

// Refused by vekctl before anything is sent, or by the drive: the exit
// status, the reason on standard error and the old firmware. Without a
// terminal --yes is required and nothing prompts.
TEST(VekctlFlashTest, RefusedFlashesLeaveTheOldFirmware) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  WriteFileBytes(vekctl.File("cut.fw"), ReadFileBytes(image).substr(0, 50000));
  WriteFileBytes(vekctl.File("empty.fw"), "");
  const struct {
    std::vector<std::string> args;  // after "flash IMAGE hba0:0"
    std::string image;
    const char* input;
    int exit;
    const char* complaint;
  } cases[] = {
      {{"--yes"}, vekctl.File("cut.fw"), "", 3,
       "image truncated: its header declares 98368 bytes, the file has 50000; nothing was sent"},
      // The drive takes it segment by segment and refuses it as a whole.
      {{"--yes", "--force"}, vekctl.File("cut.fw"), "", 3,
       "hba0:0: the drive refused the download: ILLEGAL REQUEST, command sequence error; "
       "firmware unchanged at 0102"},
      {{"--yes"}, vekctl.File("missing.fw"), "", 3, "cannot read"},
      {{"--yes"}, vekctl.File("empty.fw"), "", 3, "empty"},
      {{"--yes"}, vekctl.Dir(), "", 3, "cannot read"},
      {{"--yes"}, vekctl.Image("KS-4000", "0104", 17u << 20), "", 3, "at most 16777216 bytes"},
      {{}, image, "", 1, "--yes"},
      {{}, image, "y\n", 1, "--yes"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.image + " " + testing::PrintToString(c.args));
    std::vector<std::string> args = {"flash", c.image, "hba0:0"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const C_Vekctl::S_Result result = vekctl.Run(args, c.input);
    EXPECT_EQ(result.status, c.exit);
    EXPECT_TRUE(Has(result.err, c.complaint));
    EXPECT_EQ(result.err.find("[y/N]"), std::string::npos) << "no prompt without a terminal";
  }
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");
}

TEST(VekctlFlashTest, ExpectAndUnchangedRevisionsFailVerification) {
  C_Vekctl vekctl;
  int status = 0;
  const json mismatch = vekctl.Json(
      {"flash", vekctl.Image("KS-4000", "0103"), "hba0:0", "--yes", "--expect", "0104"}, &status);
  EXPECT_EQ(status, 4);
  EXPECT_EQ((*Drive(mismatch, "hba0:0"))["result"], "failed");
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
  EXPECT_EQ((*Drive(expected, "hba0:0"))["result"], "success");
  EXPECT_EQ((*Drive(expected, "hba0:0"))["message"],
            "hba0:0: revision unchanged at 0103, as --expect asked");
}

// A drive that refuses a segment, or whose driver throws, fails alone.
TEST(VekctlFlashTest, FleetFlashWithOneFaultyDriveFlashesTheOthers) {
  for (const json& fault : {json{{"rejectChunk", 2}}, json{{"throwOnOpcode", 0x3B}}}) {
    SCOPED_TRACE(fault.dump());
    C_Vekctl vekctl(FAULTY_FLEET);
    vekctl.SetDrive(0, 1, {{"faults", fault}});
    int status = 0;
    const json flash = vekctl.Json({"flash", vekctl.Image("KS-4000", "0103"), "--all",
                                    "--product", "KS-4000", "--yes", "--jobs", "2"},
                                   &status);
    EXPECT_EQ(status, 5);
    ASSERT_EQ(flash["drives"].size(), 3u) << flash.dump();
    for (const char* id : {"hba0:0", "hba0:1", "hba0:2"}) {
      const bool faulty = std::string(id) == "hba0:1";
      EXPECT_EQ((*Drive(flash, id))["result"], faulty ? "failed" : "success") << id;
      EXPECT_EQ(vekctl.Revision(id), faulty ? "0102" : "0103");
    }
    EXPECT_EQ(flash["summary"]["success"], 2);
    EXPECT_EQ(flash["summary"]["failed"], 1);
  }
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
      {{"--all", "--vendor", "ZQ", "--force"}, {"array0:0"}},
      {{"--all", "--skip-current", "0102"}, {"hba0:2"}},
      {{"hba0:0", "serial:S2", "hba0:0"}, {"hba0:0", "hba0:2"}},
      // Nothing left to do is no failure: a fleet script can run again.
      {{"--all", "--below", "0101"}, {}},
      {{"--all", "--vendor", "ZQ"}, {}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.selection));
    std::vector<std::string> args = {"flash", image, "--dry-run"};
    args.insert(args.end(), c.selection.begin(), c.selection.end());
    int status = -1;
    const json plan = vekctl.Json(args, &status);
    EXPECT_EQ(status, 0);
    std::vector<std::string> drives;
    for (const json& entry : plan.value("plan", json::array())) drives.push_back(entry["drive"]);
    EXPECT_EQ(drives, c.drives);
    EXPECT_EQ(plan.contains("reason"), c.drives.empty()) << plan.dump();
  }
  // Nothing matches; a controller is not a drive; the two ways to select
  // mix not; empty revisions select nothing.
  for (const auto& wrong : {std::vector<std::string>{"--all", "--product", "NONE"}, {"hba0"},
                            {"hba0:0", "--all"}, {"--product", "KS-4000"}, {},
                            {"--all", "--below", ""}, {"hba0:0", "--expect", ""}}) {
    std::vector<std::string> args = {"flash", image, "--dry-run"};
    args.insert(args.end(), wrong.begin(), wrong.end());
    EXPECT_EQ(vekctl.Run(args).status, wrong.size() == 3 && wrong[2] == "NONE" ? 2 : 1)
        << testing::PrintToString(args);
  }
}

TEST(VekctlFlashTest, DryRunSendsNothingAndTracesWhatItWouldSend) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  const C_Vekctl::S_Result plain = vekctl.Run({"flash", image, "hba0:0", "--dry-run"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_TRUE(Has(plain.out, "nothing was sent"));
  EXPECT_EQ(plain.err.find("3B 07"), std::string::npos);

  const C_Vekctl::S_Result traced = vekctl.Run({"flash", image, "hba0:0", "--dry-run", "-v"});
  EXPECT_EQ(traced.status, 0) << traced.err;
  // Four WRITE BUFFER blocks (mode 7) at offsets 0, 32768, 65536, 98304.
  for (const char* cdb : {"[3B 07 00 00 00 00 00 80 00 00]", "[3B 07 00 00 80 00 00 80 00 00]",
                          "[3B 07 00 01 00 00 00 80 00 00]", "[3B 07 00 01 80 00 00 00 40 00]"}) {
    EXPECT_TRUE(Has(traced.err, cdb));
  }
  EXPECT_EQ(vekctl.Json({"flash", image, "hba0:0", "--dry-run"})["plan"][0]["transferBytes"], 98368);
  EXPECT_EQ(vekctl.Json({"sim", "status"})["controllers"][0]["drives"][0]["pending"], "");
}

// Waits (at most 20 s) until the named background run's standard error
// holds i_text.
bool AwaitError(C_Vekctl& io_vekctl, const std::string& i_name, const std::string& i_text) {
  for (int tries = 0; tries < 400; ++tries, usleep(50000)) {
    if (ReadFileBytes(io_vekctl.File(i_name + "stderr")).find(i_text) != std::string::npos)
      return true;
  }
  return false;
}

// SIGINT while the drive is busy after its download: the block in flight
// completes, nothing more is sent, the drive's state is told, and "list"
// shows the image waiting for a reset.
TEST(VekctlFlashTest, InterruptTellsWhereTheDriveWasLeft) {
  C_Vekctl vekctl;
  vekctl.SetDrive(0, 0, {{"faults", {{"busyForever", true}}}});
  const int pid =
      vekctl.Spawn({"flash", vekctl.Image("KS-4000", "0103"), "hba0:0", "--yes", "--json"}, "a");
  ASSERT_TRUE(AwaitError(vekctl, "a", "waiting for the drive to become ready"));
  kill(pid, SIGINT);
  const C_Vekctl::S_Result run = vekctl.Wait(pid, "a");
  EXPECT_EQ(run.status, 7);
  EXPECT_TRUE(Has(run.err, "hba0:0: interrupted: image downloaded, not activated: the drive runs "
                           "0102 until it is reset; next: run the same flash again"));
  const json flash = json::parse(run.out);
  EXPECT_EQ(flash["drives"][0]["result"], "interrupted");
  EXPECT_EQ(flash["drives"][0]["leftIn"]["state"], "downloaded");
  const json listed = vekctl.Json({"list"})["devices"][1];
  EXPECT_EQ(listed["revision"], "0102");
  EXPECT_TRUE(Has(listed.value("pendingActivation", ""), "image downloaded, not activated"));
  const json history = vekctl.Json({"history", "serial:KSL0A1B2C3"});
  ASSERT_EQ(history["entries"].size(), 1u);
  EXPECT_EQ(history["entries"][0]["exitStatus"], 7);
}

// Two processes, one drive: the second is refused at once and names the
// first; with --wait it flashes after it, from the revision the first left.
// A third process on another drive journals alongside: no line is lost.
TEST(VekctlFlashTest, ConcurrentFlashesOfOneDriveTakeTurns) {
  C_Vekctl vekctl;
  vekctl.SetDrive(0, 0, {{"busyPolls", 30}});  // 3 s of polling: time enough for the second
  const int first =
      vekctl.Spawn({"flash", vekctl.Image("KS-4000", "0103"), "hba0:0", "--yes"}, "a");
  const int other =
      vekctl.Spawn({"flash", vekctl.Image("HC-900S", "A311"), "hba0:1", "--yes"}, "b");
  ASSERT_TRUE(AwaitError(vekctl, "a", "hba0:0: flashing"));
  const std::string next = vekctl.Image("KS-4000", "0104");
  const C_Vekctl::S_Result refused = vekctl.Run({"flash", next, "hba0:0", "--yes"});
  EXPECT_EQ(refused.status, 6);
  EXPECT_TRUE(
      Has(refused.err, "hba0:0 is being flashed by process " + std::to_string(first) + " since "));
  int status = -1;
  const json waited = vekctl.Json({"flash", next, "hba0:0", "--yes", "--wait"}, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(waited["drives"][0]["oldRevision"], "0103");
  EXPECT_EQ(waited["drives"][0]["newRevision"], "0104");
  EXPECT_EQ(vekctl.Wait(first, "a").status, 0);
  EXPECT_EQ(vekctl.Wait(other, "b").status, 0);
  EXPECT_EQ(vekctl.Json({"history"})["entries"].size(), 4u);
  EXPECT_EQ(vekctl.Json({"history", "hba0:1"})["entries"].size(), 1u);
}

}  // namespace

#endif
