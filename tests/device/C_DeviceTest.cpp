#include "device/C_Device.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "module/C_Root.h"
#include "support/C_FakeDevice.h"

namespace {

TEST(C_DeviceTest, SetTimeoutParsesWithBaseDetection) {
  const struct {
    std::vector<const char*> args;  // argv without the terminating null
    int expectedStatus;
    int expectedTimeout;
  } cases[] = {
      {{"SetTimeout", "0x1e"}, 0, 30}, {{"SetTimeout", "017"}, 0, 15},
      {{"SetTimeout", "42s"}, 0, 42},  // trailing text ignored
      {{"SetTimeout", "-5"}, VEK_STATUS_BAD_ARGUMENT, 7},
      {{"SetTimeout"}, 0, 0},  // the terminating null reads as 0
      {{}, VEK_STATUS_BAD_ARGUMENT, 7},
  };
  for (const auto& c : cases) {
    C_FakeDevice device;
    device.SetOperationTimeout(7);
    std::vector<const char*> argv(c.args);
    argv.push_back(nullptr);
    EXPECT_EQ(device.CallOperation("SetTimeout", static_cast<int>(c.args.size()), argv.data()), c.expectedStatus);
    EXPECT_EQ(device.GetOperationTimeout(), c.expectedTimeout) << c.args.size();
  }
}

TEST(C_DeviceTest, CallOperationPassesArgumentsAndResultsUnchanged) {
  C_FakeDevice device;
  device.AddEcho("Echo", 1);
  const C_Device::C_DeviceOperation* earlier = device.GetOperations().at("Echo").get();
  // Registering a name again takes the new operation; the earlier object is
  // not destroyed, now or by Cleanup: its owner deletes it (a device that
  // deleted it: a double free).
  device.AddEcho("Echo", 1234);
  device.Cleanup();
  delete earlier;
  device.AddEcho("Echo", 1234);  // after Cleanup, to call it
  const char* argv[] = {"Echo", "a", "b", nullptr};
  EXPECT_EQ(device.CallOperation("Echo", 3, argv), 1234);
  EXPECT_EQ(device.m_lastArgs, (std::vector<std::string>{"Echo", "a", "b"}));
  EXPECT_EQ(device.CallOperation("echo", 3, argv), VEK_STATUS_UNKNOWN_OPERATION);
  EXPECT_EQ(device.GetOperations().size(), 2u);  // "Echo" and "SetTimeout"
  // A plain device does no deferred flash.
  EXPECT_EQ(device.DeferFlash(nullptr, 0, nullptr, 0), 1);
  EXPECT_EQ(device.DeferCancel(), 1);
}

TEST(C_DeviceTest, Attributes) {
  C_FakeDevice device;
  device.AddAttribute("Vendor", std::string("ACME"));
  device.AddAttribute("Vendor", std::string("ZQ"));
  EXPECT_EQ(device.GetAttribute("Vendor"), "ZQ");
  EXPECT_EQ(device.GetAttribute("vendor"), "");  // names are case-sensitive
  device.ClearAttribute("Vendor");
  device.ClearAttribute("Unknown");
  EXPECT_EQ(device.GetAttributes(), (C_Device::T_Attributes{{"Vendor", ""}}));  // cleared, still listed
  device.RemoveAttribute("Vendor");
  EXPECT_TRUE(device.GetAttributes().empty());

  // Numbers in the caller's format; bytes in hex padded with blanks, not zeros.
  device.AddAttribute("DeviceType", 0u, "%#02lX");
  device.AddAttribute("Wide", 0x1Fu, "%#02lX");
  device.AddAttribute("Signed", -12, "%d");
  const unsigned char sense[] = {0x12, 0x05, 0xab, 0x00};
  device.AddAttribute("$SenseData", sense, sizeof sense);
  device.AddAttribute("Empty", sense, 0);
  EXPECT_EQ(device.GetAttributes(), (C_Device::T_Attributes{{"DeviceType", "00"},
                                                              {"Wide", "0X1F"},
                                                              {"Signed", "-12"},
                                                              {"$SenseData", " 12  5 ab  0"},
                                                              {"Empty", ""}}));
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
  EXPECT_EQ(driver->CleanedDevices(), (std::vector<C_Device*>{child1, child2, parent}));
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

  C_Root root;
  C_ScriptedDriver* driver = new C_ScriptedDriver;
  root.SetDriver(driver);
  C_FakeDevice* controller = new C_FakeDevice;
  C_FakeDevice* drive = new C_FakeDevice;
  controller->SetParent(&root);
  drive->SetParent(controller);
  std::vector<C_EntityNode*> seen;
  driver->OnDiscover([&seen](C_EntityNode* node) { seen.push_back(node); });
  EXPECT_TRUE(drive->FindChildren());
  EXPECT_TRUE(root.FindChildren());
  EXPECT_EQ(seen, (std::vector<C_EntityNode*>{drive, &root}));
}

}  // namespace
