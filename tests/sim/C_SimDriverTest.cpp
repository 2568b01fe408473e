// The simulated driver and its state file. Flashes, faults and the deferred
// flash as hosts see them are vekctl's tests (tests/tools); these are what
// only the driver can be asked: fleet files, discovery, and the state shared
// by threads and processes.
#include "drivers/sim/C_SimDriver.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>

#include "SimFleetTest.h"
#include "device/C_Device.h"
#include "drivers/sim/C_SimFirmwareImage.h"
#include "drivers/sim/N_SimSense.h"

namespace {

typedef std::vector<std::uint8_t> T_Bytes;

T_Bytes Image(const std::string& i_product, const std::string& i_revision) {
  return C_SimFirmwareImage::Build(i_product, i_revision,
                                   C_SimFirmwareImage::SamplePayload(i_product, i_revision, 70000));
}

TEST(C_SimDriverTest, FleetFilesAreCheckedAndDiscoveryKeepsItsDevices) {
  C_TempDir dir;
  // A fleet of one hba with one drive: its number, its kind and more keys.
  auto fleet = [](const std::string& i_drive) {
    return R"({"controllers":[{"name":"a","kind":"hba","drives":[{"number":)" + i_drive +
           R"(,"vendor":"v","product":"p","serial":"s","firmware":"f"}]}]})";
  };
  const std::pair<std::string, const char*> fleets[] = {
      {R"({"controllers":[{"name":"a","kind":"raid"}]})", "controller kind \"raid\""},
      {fleet(R"(1,"kind":"ata")"), "needs an array controller"},
      {fleet(R"(1,"kind":"scsi","fualts":{})"), "unknown key \"fualts\""},
      // Numbers that nlohmann would convert unchecked (found by fuzzing).
      {fleet(R"(0,"kind":"scsi","modePages":{"01":[1,6e75]})"),
       "modePages must be an integer from 0 to 255, not 6e+75"},
      {fleet(R"(4294967296,"kind":"scsi")"), "number must be an integer"},
      {R"({"version":1e300,"controllers":[]})", "unsupported fleet version"},
      // Pages the drive model cannot answer for (found by fuzzing).
      {fleet(R"(0,"kind":"scsi","modePages":{"3F":[63,1,0]})"),
       "mode page \"3F\" is not one of 01, 08, 0A"},
      {fleet(R"(0,"kind":"scsi","modePages":{"08":[]})"), "mode page 08 must be 20 bytes"},
  };
  C_SimDriver::S_Options options;
  options.statePath = dir.File("state.json");
  for (const auto& c : fleets) {
    WriteFileBytes(dir.File("bad.json"), c.first);
    options.fleetPath = dir.File("bad.json");
    try {
      C_SimDriver bad(options);
      ADD_FAILURE() << "accepted: " << c.first;
    } catch (const C_SimStore::C_Error& e) {
      EXPECT_NE(std::string(e.what()).find(c.second), std::string::npos) << e.what();
    }
  }

  C_SimHost host(dir.File("state.json"));
  EXPECT_EQ(host.Ids(), (std::vector<std::string>{"hba0", "array0", "hba0:0", "hba0:1", "array0:0",
                                                  "array0:1", "array0:2", "array0:3"}));
  EXPECT_EQ(host.Attribute("array0:1", "FirmwareRev"), "0305");  // identified in parallel
  host.Enumerate();  // keeps the devices and adds none
  EXPECT_EQ(host.Ids().size(), 8u);
}

// Two processes, each with its own copy of the state: one drive both
// change, one drive each. No change of either is lost: a drive is used by
// one process at a time, and a write merges its drives into the newest file.
TEST(C_SimDriverTest, ConcurrentProcessesNeverLoseAnUpdate) {
  C_TempDir dir;
  const int kRounds = 40;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  {
    C_SimStore store(dir.File("state.json"), S_SimFleet::Default());
    const std::pair<const char*, int> own = child == 0 ? std::make_pair("array0", 0)
                                                       : std::make_pair("hba0", 1);
    for (int i = 0; i < kRounds; ++i) {
      for (const auto& drive : {std::make_pair("hba0", 0), own}) {
        C_SimStore::C_Hold hold(store, drive.first, {drive.second});
        ++hold.Controller()->drives.at(0).busyPolls;
        hold.Commit();
      }
    }
  }
  if (child == 0) _exit(0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  S_SimFleet state = C_SimStore(dir.File("state.json"), S_SimFleet()).Read();
  EXPECT_EQ(state.FindDrive("hba0", 0)->busyPolls, 3 + 2 * kRounds);
  EXPECT_EQ(state.FindDrive("hba0", 1)->busyPolls, 3 + kRounds);
  EXPECT_EQ(state.FindDrive("array0", 0)->busyPolls, 3 + kRounds);
}

// One host thread per drive, as a fleet flash runs: each drive's changes
// are written through, together with the others', and another view of the
// state (another process's) sees all of them; a change made there is seen
// here at the next command.
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

  C_SimHost other(dir.File("state.json"));
  for (S_Job& job : jobs) {
    EXPECT_EQ(job.result, 0) << job.id;
    EXPECT_EQ(other.Attribute(job.id, "FirmwareRev"), job.revision) << job.id;
  }
  ASSERT_EQ(other.Call("hba0:1", {"StartStopUnit", "0", "0"}), 0);  // stop
  EXPECT_EQ(host.Call("hba0:1", {"TestUnitReady"}), N_SimSense::CHECK_CONDITION);
}

// A drive held by one command (here by another view of the state, as
// another process holds it) keeps out only that drive: a command for a
// second drive goes through, one for the same drive waits until it ends.
TEST(C_SimDriverConcurrencyTest, AHeldDriveKeepsOutOnlyItself) {
  C_TempDir dir;
  C_SimStore mine(dir.File("state.json"), S_SimFleet::Default());
  C_SimStore theirs(dir.File("state.json"), S_SimFleet::Default());
  auto bump = [&theirs](int i_drive) {
    return std::async(std::launch::async, [&theirs, i_drive] {
      C_SimStore::C_Hold hold(theirs, "hba0", {i_drive});
      ++hold.Controller()->drives.at(0).busyPolls;
      hold.Commit();
    });
  };
  std::future<void> other, same;
  {
    C_SimStore::C_Hold hold(mine, "hba0", {0});
    other = bump(1);
    EXPECT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    same = bump(0);
    EXPECT_EQ(same.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
  }
  other.get();
  same.get();
  S_SimFleet state = mine.Read();
  EXPECT_EQ(state.FindDrive("hba0", 0)->busyPolls, 4);
  EXPECT_EQ(state.FindDrive("hba0", 1)->busyPolls, 4);
}

}  // namespace
