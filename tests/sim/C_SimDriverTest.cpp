#include "drivers/sim/C_SimDriver.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "SimFleetTest.h"
#include "drivers/sim/C_SimFirmwareImage.h"
#include "drivers/sim/N_SimSense.h"
#include "device/C_Device.h"
#include "host/C_Exception.h"

namespace {

typedef std::vector<std::uint8_t> T_Bytes;

T_Bytes Image(const std::string& i_product, const std::string& i_revision) {
  return C_SimFirmwareImage::Build(i_product, i_revision,
                                   C_SimFirmwareImage::SamplePayload(i_product, i_revision, 70000));
}

class C_SimDriverTest : public ::testing::Test {
 protected:
  std::string StatePath() const { return m_dir.File("state.json"); }
  C_TempDir m_dir;
};

TEST_F(C_SimDriverTest, DefaultFleetEnumeratesWithIdentities) {
  C_SimHost host(StatePath());
  EXPECT_EQ(host.Ids(), (std::vector<std::string>{"hba0", "array0", "hba0:0", "hba0:1", "array0:0",
                                                  "array0:1", "array0:2", "array0:3"}));
  struct S_Case {
    const char* id;
    const char* vendor;
    const char* product;
    const char* revision;
    const char* serial;
  } cases[] = {
      {"hba0:0", "KESTREL", "KS-4000", "0102", "KSL0A1B2C3"},
      {"hba0:1", "HALCYON", "HC-900S", "A310", "HC77Z09312"},
      {"array0:0", "ZQ", "ZQ-ATA-500", "0210", "ZQA5000000000000A001"},
      {"array0:2", "ZQ", "ZQ-SAS-146", "ZQ05", "ZQS146C003"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(host.Attribute(c.id, "VendorId"), c.vendor);
    EXPECT_EQ(host.Attribute(c.id, "ProductId"), c.product);
    EXPECT_EQ(host.Attribute(c.id, "FirmwareRev"), c.revision);
    EXPECT_EQ(host.Attribute(c.id, "SerialNumber"), c.serial);
  }
  EXPECT_EQ(host.Attribute("array0:0", "DeviceType"), "0X9");
  EXPECT_EQ(host.Attribute("array0:0", "pHasDDFF"), "true");
  EXPECT_EQ(host.Attribute("array0", "HasDDFF"), "true");
  EXPECT_EQ(host.Attribute("hba0", "HasDDFF"), "false");
  // A second enumeration keeps the devices and adds none.
  host.Enumerate();
  EXPECT_EQ(host.Ids().size(), 8u);
}

// Direct flash of each kind; a refused image leaves the old revision, and the
// sense says why. A new host (as a new process would) sees the outcome.
TEST_F(C_SimDriverTest, DirectFlashShowsTheNewRevisionOrKeepsTheOld) {
  struct S_Case {
    const char* id;
    const char* product;
    const char* image;
    int status;
    const char* revision;
    const char* sense;  // "$SenseData" after RequestSense: bytes 0-2, then 12-13
  } cases[] = {
      // The unit attention of the new firmware (3F/01) waits for REQUEST SENSE.
      {"hba0:0", "KS-4000", "0103", 0, "0103", " 70  0  6 3f  1"},
      {"array0:0", "ZQ-ATA-500", "0211", 0, "0211", nullptr},
      // An image for another product: ILLEGAL REQUEST, invalid field in parameter list.
      {"hba0:1", "KS-4000", "0103", N_SimSense::CHECK_CONDITION, "A310", " 70  0  5 26  0"},
  };
  {
    C_SimHost host(StatePath());
    for (const S_Case& c : cases) {
      SCOPED_TRACE(c.id);
      EXPECT_EQ(host.Flash(c.id, Image(c.product, c.image)), c.status);
      if (!c.sense) continue;
      EXPECT_EQ(host.Call(c.id, {"RequestSense"}), 0);
      const std::string sense = host.Attribute(c.id, "$SenseData");
      EXPECT_EQ(sense.substr(0, 9) + sense.substr(36, 6), c.sense) << sense;
    }
    EXPECT_GT(C_SimHost::Sleeps(), 0);  // the drives were busy for a few polls
  }
  C_SimHost later(StatePath());
  for (const S_Case& c : cases) {
    EXPECT_EQ(later.Attribute(c.id, "FirmwareRev"), c.revision) << c.id;
  }
}

TEST_F(C_SimDriverTest, DriverFaultsReachTheHost) {
  const std::string fleetPath = m_dir.File("fleet.json");
  nlohmann::json fleet = S_SimFleet::Default();
  fleet["controllers"][0]["drives"][0]["faults"] = {{"throwOnOpcode", 0x1B}};
  fleet["controllers"][0]["drives"][1]["faults"] = {{"rejectChunk", 2}};
  std::ofstream(fleetPath) << fleet.dump();
  C_SimHost host(StatePath(), fleetPath);
  EXPECT_THROW(host.Call("hba0:0", {"StartStopUnit", "0", "1"}), C_Exception);
  EXPECT_EQ(host.Flash("hba0:1", Image("HC-900S", "A311")), N_SimSense::CHECK_CONDITION);
  EXPECT_EQ(host.Attribute("hba0:1", "FirmwareRev"), "A310");
}

TEST_F(C_SimDriverTest, UnusableStateOrFleetFilesAreReportedAndKept) {
  WriteFileBytes(StatePath(), "{ not json");
  C_SimDriver::S_Options options;
  options.statePath = StatePath();
  C_SimDriver driver(options);
  EXPECT_FALSE(driver.Init());
  EXPECT_NE(driver.LastError().find(StatePath()), std::string::npos) << driver.LastError();
  EXPECT_EQ(ReadFileBytes(StatePath()), "{ not json");  // never overwritten
  driver.ResetState();
  EXPECT_TRUE(driver.Init());

  struct S_Case {
    const char* text;
    const char* complaint;
  } fleets[] = {
      {R"({"controllers":[{"name":"a","kind":"raid"}]})", "controller kind \"raid\""},
      {R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":1,"kind":"ata","vendor":"v","product":"p","serial":"s","firmware":"f"}]}]})",
       "needs an array controller"},
      {R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":1,"kind":"scsi","vendor":"v","product":"p","serial":"s","firmware":"f","fualts":{}}]}]})",
       "unknown key \"fualts\""},
      // Numbers that nlohmann would convert unchecked (found by fuzzing).
      {R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":0,"kind":"scsi","vendor":"v","product":"p","serial":"s","firmware":"f","modePages":{"01":[1,6e75]}}]}]})",
       "modePages must be an integer from 0 to 255, not 6e+75"},
      {R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":4294967296,"kind":"scsi","vendor":"v","product":"p","serial":"s","firmware":"f"}]}]})",
       "number must be an integer"},
      {R"({"version":1e300,"controllers":[]})", "unsupported fleet version"},
      // Pages the drive model cannot answer for (found by fuzzing).
      {R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":0,"kind":"scsi","vendor":"v","product":"p","serial":"s","firmware":"f","modePages":{"3F":[63,1,0]}}]}]})",
       "mode page \"3F\" is not one of 01, 08, 0A"},
      {R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":0,"kind":"scsi","vendor":"v","product":"p","serial":"s","firmware":"f","modePages":{"08":[]}}]}]})",
       "mode page 08 must be 20 bytes"},
  };
  for (const S_Case& c : fleets) {
    WriteFileBytes(m_dir.File("bad.json"), c.text);
    options.fleetPath = m_dir.File("bad.json");
    try {
      C_SimDriver bad(options);
      ADD_FAILURE() << "accepted: " << c.text;
    } catch (const C_SimStore::C_Error& e) {
      EXPECT_NE(std::string(e.what()).find(c.complaint), std::string::npos) << e.what();
    }
  }
}

TEST_F(C_SimDriverTest, ConcurrentProcessesNeverLoseAnUpdate) {
  C_SimStore store(StatePath(), S_SimFleet::Default());
  store.Update([](S_SimFleet& f) { f.controllers[0].drives[0].busyPolls = 0; return true; });
  const int kRounds = 40;
  pid_t child = fork();
  ASSERT_GE(child, 0);
  for (int i = 0; i < kRounds; ++i) {
    store.Update([](S_SimFleet& f) {
      ++f.controllers[0].drives[0].busyPolls;
      return true;
    });
  }
  if (child == 0) _exit(0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(store.Read().controllers[0].drives[0].busyPolls, 2 * kRounds);
}

}  // namespace

namespace {

// One host thread per drive, as a fleet flash runs: the driver's shared
// state is locked, so every drive ends on its new revision.
TEST(C_SimDriverConcurrencyTest, DrivesFlashInParallelFromSeveralThreads) {
  C_TempDir dir;
  C_SimHost host(dir.File("state.json"));
  struct S_Job {
    std::string id, product, revision;
    T_Bytes image;
    int result = -1;
  };
  std::vector<S_Job> jobs = {{"hba0:0", "KS-4000", "0103", {}},
                             {"hba0:1", "HC-900S", "A311", {}},
                             {"array0:0", "ZQ-ATA-500", "0211", {}},
                             {"array0:1", "ZQ-ATA-750", "0306", {}}};
  for (S_Job& job : jobs) job.image = Image(job.product, job.revision);
  // Handles and their buffers are per thread; the tree is only read.
  std::vector<std::thread> threads;
  for (S_Job& job : jobs) {
    threads.emplace_back([&host, &job] {
      C_Device* device = host.Device(job.id)->GetDevice();
      std::string length = std::to_string(job.image.size());
      std::string address = std::to_string(reinterpret_cast<unsigned long>(job.image.data()));
      const char* argv[] = {"Flash", length.c_str(), address.c_str(), nullptr};
      job.result = device->CallOperation("Flash", 3, argv);
    });
  }
  for (std::thread& t : threads) t.join();
  for (S_Job& job : jobs) {
    EXPECT_EQ(job.result, 0) << job.id;
    EXPECT_EQ(host.Attribute(job.id, "FirmwareRev"), job.revision) << job.id;
  }
}

}  // namespace
