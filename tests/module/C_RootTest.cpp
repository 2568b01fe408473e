#include "module/C_Root.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "support/C_FakeDevice.h"
#include "targets/S_Command.h"

namespace {

// A driver that notes when it goes, to check it goes once and first.
class C_WatchedDriver : public C_ScriptedDriver {
 public:
  explicit C_WatchedDriver(std::vector<std::string>* io_log) : m_log(io_log) {}
  ~C_WatchedDriver() override { m_log->push_back("driver"); }

 private:
  std::vector<std::string>* m_log;
};

// Without a driver every request is answered empty; with one, commands reach
// it with their origin, and it is destroyed once, before the devices it made.
TEST(C_RootTest, ForwardsToItsDriverAndDestroysItFirst) {
  std::vector<std::string> log;
  {
    C_Root root;
    EXPECT_FALSE(root.Init());
    EXPECT_EQ(root.ForwardCommand(nullptr, nullptr), 0);
    C_WatchedDriver* driver = new C_WatchedDriver(&log);
    root.SetDriver(driver);
    driver->Reply(C_ScriptedDriver::Any(), C_ScriptedDriver::Status(0x1234));
    C_FakeDevice* device = new C_FakeDevice("device");
    driver->Attach(&root, device, new C_QarnTargetId("c", 1));
    device->m_onDestroy = [&log](C_FakeDevice*) { log.push_back("device"); };
    std::uint8_t cdb[6] = {0x00};
    Driver::S_Command command = {cdb, 6, nullptr, 0, nullptr, 0, 0, 0, 0};
    EXPECT_EQ(root.ForwardCommand(&command, device), 0x1234);
    ASSERT_EQ(driver->Commands().size(), 1u);
    EXPECT_EQ(driver->Commands()[0].device, device);
    root.Cleanup();
  }
  EXPECT_EQ(log, (std::vector<std::string>{"driver", "device"}));
}

TEST(C_DriverTest, DeviceIdsAndTargetIdRelease) {
  C_ScriptedDriver driver;
  C_FakeDevice device;
  EXPECT_EQ(driver.GetDeviceId(nullptr), "<no device>");
  EXPECT_EQ(driver.GetDeviceId(&device), "<no target ID>");
  driver.CleanupDevice(&device);  // no target id: nothing happens
  device.SetTargetId(new C_QarnTargetId("array0", 3));
  EXPECT_EQ(driver.GetDeviceId(&device), "array0:3");
  driver.CleanupDevice(&device);
  EXPECT_EQ(device.GetTargetId(), nullptr);
}

}  // namespace
