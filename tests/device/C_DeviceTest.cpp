#include "device/C_Device.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "module/C_Root.h"
#include "support/C_FakeDevice.h"

namespace {

struct S_TimeoutCase {
  std::vector<const char*> args;  // argv without the terminating null
  int expectedStatus;
  int expectedTimeout;
};

TEST(C_DeviceTest, SetTimeoutParsesWithBaseDetection) {
  const S_TimeoutCase cases[] = {
      {{"SetTimeout", "0x1e"}, 0, 30},
      {{"SetTimeout", "017"}, 0, 15},
      {{"SetTimeout", "42s"}, 0, 42},     // trailing text ignored
      {{"SetTimeout", "abc"}, 0, 0},      // no digits: 0
      {{"SetTimeout", "-5"}, VEK_STATUS_BAD_ARGUMENT, 7},
      {{"SetTimeout"}, 0, 0},             // the terminating null reads as 0
  };
  for (const S_TimeoutCase& c : cases) {
    SCOPED_TRACE(c.args.size() > 1 ? c.args[1] : "(none)");
    C_FakeDevice device;
    device.SetOperationTimeout(7);
    std::vector<const char*> argv(c.args);
    argv.push_back(nullptr);
    EXPECT_EQ(device.CallOperation("SetTimeout", static_cast<int>(c.args.size()), argv.data()),
              c.expectedStatus);
    EXPECT_EQ(device.GetOperationTimeout(), c.expectedTimeout);
  }
  C_FakeDevice device;
  const char* argv[] = {nullptr};
  EXPECT_EQ(device.CallOperation("SetTimeout", 0, argv), VEK_STATUS_BAD_ARGUMENT);
}

TEST(C_DeviceTest, CallOperationPassesArgumentsAndResultsUnchanged) {
  C_FakeDevice device;
  device.AddEcho("Echo", 1234);
  const char* argv[] = {"Echo", "a", "b", nullptr};
  EXPECT_EQ(device.CallOperation("Echo", 3, argv), 1234);
  EXPECT_EQ(device.m_lastArgs, (std::vector<std::string>{"Echo", "a", "b"}));
  EXPECT_EQ(device.CallOperation("echo", 3, argv), VEK_STATUS_UNKNOWN_OPERATION);
  EXPECT_EQ(device.CallOperation("Nope", 1, argv), VEK_STATUS_UNKNOWN_OPERATION);
}

TEST(C_DeviceTest, ReRegisteringANameTakesTheNewOperation) {
  C_FakeDevice device;
  device.AddEcho("Echo", 1);
  device.AddEcho("Echo", 2);  // the echo result is shared; the entry is new
  const char* argv[] = {"Echo", nullptr};
  EXPECT_EQ(device.CallOperation("Echo", 1, argv), 2);
  EXPECT_EQ(device.GetOperations().size(), 2u);  // "Echo" and "SetTimeout"
}

TEST(C_DeviceTest, AttributesSetReplaceClearAndRemove) {
  C_FakeDevice device;
  device.AddAttribute("Vendor", std::string("ACME"));
  device.AddAttribute("Vendor", std::string("ZQ"));
  EXPECT_EQ(device.GetAttribute("Vendor"), "ZQ");
  EXPECT_EQ(device.GetAttribute("vendor"), "");  // names are case-sensitive
  device.ClearAttribute("Vendor");
  EXPECT_EQ(device.GetAttribute("Vendor"), "");
  EXPECT_EQ(device.GetAttributes().count("Vendor"), 1u);  // still listed
  device.ClearAttribute("Unknown");
  EXPECT_EQ(device.GetAttributes().count("Unknown"), 0u);
  device.RemoveAttribute("Vendor");
  device.RemoveAttribute("Unknown");
  EXPECT_TRUE(device.GetAttributes().empty());
}

TEST(C_DeviceTest, NumericAttributesUseTheCallersFormat) {
  C_FakeDevice device;
  device.AddAttribute("DeviceType", 0u, "%#02lX");
  device.AddAttribute("Wide", 0x1Fu, "%#02lX");
  device.AddAttribute("Signed", -12, "%d");
  device.AddAttribute("Hex", 0xABCDu, "%x");
  EXPECT_EQ(device.GetAttribute("DeviceType"), "00");
  EXPECT_EQ(device.GetAttribute("Wide"), "0X1F");
  EXPECT_EQ(device.GetAttribute("Signed"), "-12");
  EXPECT_EQ(device.GetAttribute("Hex"), "abcd");
}

TEST(C_DeviceTest, ByteAttributesArePaddedWithBlanksNotZeros) {
  struct S_Case {
    std::vector<unsigned char> bytes;
    const char* text;
  } cases[] = {
      {{0x12, 0x05, 0xab}, " 12  5 ab"},
      {{0x00, 0x0f}, "  0  f"},
      {{0xff}, " ff"},
      {{}, ""},
  };
  for (const S_Case& c : cases) {
    C_FakeDevice device;
    device.AddAttribute("$SenseData", c.bytes.data(), static_cast<unsigned>(c.bytes.size()));
    EXPECT_EQ(device.GetAttribute("$SenseData"), c.text);
  }
}

// Cleanup: operations first, then children in order, then the driver for
// the device itself, which frees the target id.
TEST(C_DeviceTest, CleanupOrderAndTargetIdRelease) {
  C_Root root;
  C_ScriptedDriver* driver = new C_ScriptedDriver;
  root.SetDriver(driver);
  C_FakeDevice* parent = new C_FakeDevice("parent");
  C_FakeDevice* child1 = new C_FakeDevice("child1");
  C_FakeDevice* child2 = new C_FakeDevice("child2");
  driver->Attach(&root, parent, new C_QarnTargetId("c", 0));
  driver->Attach(parent, child1, new C_QarnTargetId("c", 1));
  driver->Attach(parent, child2, new C_QarnTargetId("c", 2));
  parent->AddEcho("Echo", 0);

  root.Cleanup();
  EXPECT_EQ(driver->CleanedDevices(),
            (std::vector<C_Device*>{child1, child2, parent}));
  EXPECT_EQ(parent->GetTargetId(), nullptr);
  EXPECT_EQ(child2->GetTargetId(), nullptr);
  EXPECT_EQ(driver->CleanupCalls(), 1);
  // The names stay listed, but nothing can be called any more.
  EXPECT_EQ(parent->GetOperations().count("Echo"), 1u);
  const char* argv[] = {"Echo", nullptr};
  EXPECT_EQ(parent->CallOperation("Echo", 1, argv), VEK_STATUS_UNKNOWN_OPERATION);
}

TEST(C_DeviceTest, FindChildrenReachesTheDriverThroughTheParents) {
  C_FakeDevice orphan;
  EXPECT_FALSE(orphan.FindChildren());
  EXPECT_EQ(orphan.GetDriver(), nullptr);

  C_Root root;
  C_ScriptedDriver* driver = new C_ScriptedDriver;
  root.SetDriver(driver);
  C_FakeDevice* controller = new C_FakeDevice;
  C_FakeDevice* drive = new C_FakeDevice;
  controller->SetParent(&root);
  drive->SetParent(controller);
  std::vector<C_EntityNode*> seen;
  driver->OnDiscover([&seen](C_EntityNode* node) { seen.push_back(node); });
  EXPECT_EQ(drive->GetDriver(), driver);
  EXPECT_TRUE(drive->FindChildren());
  EXPECT_TRUE(root.FindChildren());
  EXPECT_EQ(seen, (std::vector<C_EntityNode*>{drive, &root}));
}

TEST(C_DeviceTest, DeferredFlashIsNotDoneByAPlainDevice) {
  C_FakeDevice device;
  EXPECT_EQ(device.DeferFlash(nullptr, 0, nullptr, 0), 1);
  EXPECT_EQ(device.DeferCancel(), 1);
}

}  // namespace
