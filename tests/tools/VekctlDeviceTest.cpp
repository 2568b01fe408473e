// vekctl's tree commands, device names, exit statuses and help, run as a
// subprocess on a fresh simulated fleet.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>
#include <unistd.h>

#include <iterator>
#include <sstream>

#include "drivers/sim/C_SimModePages.h"
#include "tools/C_OptionTable.h"

using nlohmann::json;

namespace {

TEST(VekctlDeviceTest, ListShowsTheFleetInTextAndJson) {
  C_Vekctl vekctl;
  const C_Vekctl::S_Result text = vekctl.Run({"list"});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(text.err.empty()) << text.err;
  EXPECT_TRUE(Has(text.out, "hba0/hba0:0"));
  EXPECT_TRUE(Has(text.out, "KS-4000"));

  const json list = vekctl.Json({"list"});
  ASSERT_EQ(list["devices"].size(), 8u);
  const char* expected[][6] = {  // id, path, kind, vendor, revision, serial
      {"hba0", "hba0", "controller", "VEKSIM", "2.10", ""},
      {"hba0:0", "hba0/hba0:0", "SCSI", "KESTREL", "0102", "KSL0A1B2C3"},
      {"hba0:1", "hba0/hba0:1", "SCSI", "HALCYON", "A310", "HC77Z09312"},
      {"array0", "array0", "controller", "VEKSIM", "4.02", ""},
      {"array0:0", "array0/array0:0", "ATA", "ZQ", "0210", "ZQA5000000000000A001"},
      {"array0:1", "array0/array0:1", "ATA", "ZQ", "0305", "ZQA7500000000000B002"},
      {"array0:2", "array0/array0:2", "deferred", "ZQ", "ZQ05", "ZQS146C003"},
      {"array0:3", "array0/array0:3", "deferred", "ZQ", "ZQ11", "ZQS300D004"}};
  for (std::size_t i = 0; i < 8; ++i) {
    SCOPED_TRACE(expected[i][0]);
    const char* keys[] = {"id", "path", "kind", "vendor", "revision", "serial"};
    for (int k = 0; k < 6; ++k) {
      EXPECT_EQ(list["devices"][i][keys[k]], expected[i][k]) << keys[k];
    }
  }
}

TEST(VekctlDeviceTest, DevicesAreNamedByIdSerialOrPath) {
  C_Vekctl vekctl;
  for (const char* name : {"hba0:1", "serial:HC77Z09312", "hba0/hba0:1"}) {
    SCOPED_TRACE(name);
    const json show = vekctl.Json({"show", name});
    EXPECT_EQ(show["device"]["id"], "hba0:1");
  }
  for (const char* name : {"hba0:9", "serial:NOPE", "array0/hba0:1", ""}) {
    SCOPED_TRACE(name);
    const C_Vekctl::S_Result result = vekctl.Run({"show", name});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.out.empty());
    EXPECT_TRUE(Has(result.err, "no such device"));
  }
  // "ops" lists what a device offers: a controller its own operations.
  const C_Vekctl::S_Result ops = vekctl.Run({"ops", "array0"});
  EXPECT_TRUE(Has(ops.out, "Restart\n"));
  int status = 0;
  const json error = vekctl.Json({"ops", "hba0:9"}, &status);
  EXPECT_EQ(status, 2);
  EXPECT_EQ(error["exitStatus"], 2);
  EXPECT_TRUE(Has(error["error"].get<std::string>(), "hba0:9"));
}

// "call": the exit status follows the module's status; the meaning comes
// with it.
TEST(VekctlDeviceTest, CallReportsTheStatusAndItsMeaning) {
  C_Vekctl vekctl;
  // The attributes a call changed come with its result: identifying the
  // drive took its power-on unit attention, asking again finds no sense.
  const json request = vekctl.Json({"call", "hba0:0", "RequestSense"});
  EXPECT_EQ(request["changed"]["$SenseData"].get<std::string>().substr(0, 9), " 70  0  0");
  EXPECT_FALSE(request["changed"].contains("FirmwareRev"));
  // Page 8 as the simulated drive keeps it, compared in full: no difference.
  const std::vector<std::uint8_t> page = C_SimModePages::Defaults()["08"];
  std::vector<std::string> compare = {
      "call", "hba0:0", "CmprModePage", "0", "8", "0", std::to_string(page.size() - 2)};
  for (std::size_t i = 2; i < page.size(); ++i) compare.push_back(std::to_string(page[i]));
  std::vector<std::string> differ = compare;
  differ.back() = std::to_string(page.back() ^ 1);

  struct S_Case {
    std::vector<std::string> args;
    int status;
    int exit;
    const char* meaning;
  };
  const S_Case cases[] = {
      {{"call", "hba0:0", "TestUnitReady"}, 0, 0, "Success"},
      {{"call", "hba0:0", "ModeSense", "0"}, 1025, 3, "Bad or missing argument"},
      {{"call", "hba0:0", "NoSuchOperation"}, 1024, 3, "Unknown operation"},
      {compare, 2000, 0, "0 bytes differ"},
      {differ, 2001, 3, "1 bytes differ"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.args[2]);
    int exit = -1;
    const json result = vekctl.Json(c.args, &exit);
    EXPECT_EQ(exit, c.exit);
    EXPECT_EQ(result["status"], c.status);
    EXPECT_EQ(result["exitStatus"], c.exit);
    EXPECT_TRUE(Has(result["meaning"].get<std::string>(), c.meaning));
  }
  const C_Vekctl::S_Result failed = vekctl.Run({"call", "hba0:0", "ModeSense", "0"});
  EXPECT_EQ(failed.err, "hba0:0: ModeSense: status 1025 (0x401): Bad or missing argument\n");
}

// "show" decodes the sense data the drive last reported, in a later process.
TEST(VekctlDeviceTest, ShowDecodesTheLastSenseData) {
  C_Vekctl vekctl;
  struct S_Case {
    std::vector<std::vector<std::string>> calls;  // each "call hba0:0 ..." and its status
    std::vector<int> statuses;
    int key;
    const char* keyText;
    json asc;
    const char* ascText;
  };
  const S_Case cases[] = {
      // The first process to identify the drive reads its power-on unit attention.
      {{}, {}, 6, "Unit Attention", 0x29, "Power on"},
      // Mode page 0x23 does not exist.
      {{{"ModeSense", "0", "0x23"}}, {1034}, 5, "Illegal Request", 0x24, "Invalid field in cdb"},
      // A stopped drive is NOT READY; the module keeps byte 12 + 7 bytes of
      // sense data, which for ASC 04h ends before the ASC itself.
      {{{"StartStopUnit", "0", "0"}, {"TestUnitReady"}}, {0, 1034}, 2, "Not Ready", nullptr, ""},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.keyText);
    for (std::size_t i = 0; i < c.calls.size(); ++i) {
      std::vector<std::string> args = {"call", "hba0:0"};
      args.insert(args.end(), c.calls[i].begin(), c.calls[i].end());
      EXPECT_EQ(vekctl.Json(args)["status"], c.statuses[i]);
    }
    const json show = vekctl.Json({"show", "hba0:0"});
    const json& sense = show["decoded"]["$SenseData"];
    EXPECT_EQ(show["attributes"]["$SenseData"].get<std::string>().substr(0, 9),
              "70 00 0" + std::to_string(c.key) + " ");
    EXPECT_EQ(sense["senseKey"], c.key);
    EXPECT_EQ(sense["senseKeyText"], c.keyText);
    EXPECT_EQ(sense["asc"], c.asc);
    if (!c.asc.is_null()) {
      EXPECT_EQ(sense["ascq"], 0);
    }
    EXPECT_TRUE(Has(sense.value("ascText", std::string()), c.ascText));
  }
  const C_Vekctl::S_Result text = vekctl.Run({"show", "hba0:0"});
  ASSERT_EQ(text.status, 0);
  EXPECT_TRUE(Has(text.out, "FirmwareRev"));
  EXPECT_TRUE(Has(text.out, "sense key 0h: No Sense"));
}

TEST(VekctlDeviceTest, EveryCommandHasHelp) {
  C_Vekctl vekctl;
  for (const std::string& path : C_OptionTable::CommandPaths()) {
    SCOPED_TRACE(path);
    std::istringstream words(path);
    std::vector<std::string> args{std::istream_iterator<std::string>(words), {}};
    args.push_back("--help");
    const C_Vekctl::S_Result result = vekctl.Run(args);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(Has(result.out, "Usage:"));
    EXPECT_TRUE(Has(result.out, args[args.size() - 2]));
  }
  const std::pair<std::vector<std::string>, const char*> tops[] = {
      {{"--help"}, "Exit status"}, {{"help"}, "Exit status"}, {{"help", "flash"}, "Global options"},
      {{"--version"}, "vekctl "}, {{"-V"}, "vekctl "}};
  for (const auto& top : tops) {
    const C_Vekctl::S_Result result = vekctl.Run(top.first);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(Has(result.out, top.second));
  }
}

TEST(VekctlDeviceTest, UsageErrorsExitWithOne) {
  C_Vekctl vekctl;
  const struct {
    std::vector<std::string> args;
    const char* complaint;
  } calls[] = {
      {{}, "subcommand is required"},
      {{"frobnicate"}, "unknown command \"frobnicate\""},
      {{"show"}, "DEVICE is required"},
      {{"list", "--no-such-option"}, "--no-such-option"},
      {{"defer"}, "subcommand is required"},
      {{"--driver", "scsi", "list"}, "scsi"},
      {{"ddff", "build", "image.fw"}, "--output is required"},
      {{"ddff", "build", "image.fw", "-o", "x", "--flags", "turbo"}, "turbo"},
      {{"--driver", "linux", "--timeout", "0", "list"}, "--timeout"},
      {{"flash", "x", "hba0:0", "--jobs", "abc"}, "a number of drives from 1 to 64, not 'abc'"},
  };
  for (const auto& call : calls) {
    SCOPED_TRACE(testing::PrintToString(call.args));
    const C_Vekctl::S_Result result = vekctl.Run(call.args);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_TRUE(Has(result.err, call.complaint));
    EXPECT_TRUE(result.out.empty());
  }
}

// Every document has the same envelope, failures and usage errors too.
TEST(VekctlDeviceTest, EveryJsonDocumentHasTheEnvelope) {
  C_Vekctl vekctl;
  const struct {
    std::vector<std::string> args;
    const char* command;
    int exit;
  } cases[] = {{{"list"}, "list", 0},
               {{"defer", "status", "hba0:9"}, "defer status", 2},
               {{"show"}, "show", 1},
               {{"history"}, "history", 0},
               {{"bogus"}, "", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.command);
    int status = -1;
    const json document = vekctl.Json(c.args, &status);
    EXPECT_EQ(status, c.exit);
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["command"], c.command);
    EXPECT_EQ(document["exitStatus"], c.exit);
    EXPECT_EQ(document.contains("error"), c.exit != 0);
  }
}

// The module is loaded by path; the drivers are linked against one file and
// another copy would be a second module in the process: it is refused
// before it is loaded.
TEST(VekctlDeviceTest, ModuleOptionTakesOnlyTheLibraryTheDriversUse) {
  C_Vekctl vekctl;
  ASSERT_EQ(symlink(VEK_MODULE_FILE, vekctl.File("link.so").c_str()), 0);
  WriteFileBytes(vekctl.File("libvek.so"), ReadFileBytes(VEK_MODULE_FILE));
  struct S_Case {
    std::string module;
    const char* complaint;  // "": accepted
  };
  const S_Case cases[] = {{VEK_MODULE_FILE, ""},
                          {vekctl.File("link.so"), ""},
                          {vekctl.File("libvek.so"), "not the libvek.so the drivers"},
                          {vekctl.File("missing.so"), "cannot load the module: No such file"}};
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.module);
    const C_Vekctl::S_Result result = vekctl.Run({"list", "--module", c.module});
    EXPECT_EQ(result.status, *c.complaint ? 3 : 0);
    EXPECT_TRUE(Has(result.err, c.complaint));
    EXPECT_EQ(result.out.empty(), *c.complaint != 0);
  }
}

}  // namespace

#endif
