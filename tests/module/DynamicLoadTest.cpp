// Loads libvek.so the way a host does: dlopen, then the eight entry points
// by their mangled names, with no link-time binding to them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedController.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "host/C_ModuleServices.h"
#include "host/C_VekInstance.h"
#include "module/C_Root.h"
#include "support/C_FakeDevice.h"

class C_VekDevice;
class C_VekEnumContext;

namespace {

struct S_EntryPoints {
  C_VekEnumContext* (*StartEnum)(C_VekInstance*, C_VekDevice*);
  C_VekDevice* (*GetNextDevice)(C_VekInstance*, C_VekEnumContext*);
  void (*CloseEnum)(C_VekInstance*, C_VekEnumContext*);
  void (*CloseDevice)(C_VekInstance*, C_VekDevice*);
  int (*GetAttrNames)(C_VekInstance*, C_VekDevice*, int, const char**);
  const char* (*GetAttribute)(C_VekInstance*, C_VekDevice*, const char*);
  int (*GetOpNames)(C_VekInstance*, C_VekDevice*, int, const char**);
  int (*CallOp)(C_VekInstance*, C_VekDevice*, const char*, int, const char**);
};

template <class T>
void Resolve(void* i_library, const char* i_symbol, T& o_function) {
  void* address = dlsym(i_library, i_symbol);
  ASSERT_NE(address, nullptr) << i_symbol << ": " << dlerror();
  o_function = reinterpret_cast<T>(address);
}

class DynamicLoadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_library = dlopen(VEK_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(m_library, nullptr) << dlerror();
    Resolve(m_library, "_ZN9VekExport9StartEnumEP13C_VekInstanceP11C_VekDevice", m_api.StartEnum);
    Resolve(m_library, "_ZN9VekExport13GetNextDeviceEP13C_VekInstanceP16C_VekEnumContext",
            m_api.GetNextDevice);
    Resolve(m_library, "_ZN9VekExport9CloseEnumEP13C_VekInstanceP16C_VekEnumContext",
            m_api.CloseEnum);
    Resolve(m_library, "_ZN9VekExport11CloseDeviceEP13C_VekInstanceP11C_VekDevice",
            m_api.CloseDevice);
    Resolve(m_library, "_ZN9VekExport12GetAttrNamesEP13C_VekInstanceP11C_VekDeviceiPPKc",
            m_api.GetAttrNames);
    Resolve(m_library, "_ZN9VekExport12GetAttributeEP13C_VekInstanceP11C_VekDevicePKc",
            m_api.GetAttribute);
    Resolve(m_library, "_ZN9VekExport10GetOpNamesEP13C_VekInstanceP11C_VekDeviceiPPKc",
            m_api.GetOpNames);
    Resolve(m_library, "_ZN9VekExport6CallOpEP13C_VekInstanceP11C_VekDevicePKciPS5_",
            m_api.CallOp);
  }
  void TearDown() override {
    if (m_library) dlclose(m_library);
  }

  void* m_library = nullptr;
  S_EntryPoints m_api = {};
};

TEST_F(DynamicLoadTest, HostWalksTheTreeThroughTheEightEntryPoints) {
  // Set-up as a host does it: root, driver, Init.
  C_Root* root = new C_Root;
  C_ScriptedDriver* driver = new C_ScriptedDriver;
  root->SetDriver(driver);
  ASSERT_TRUE(root->Init());
  C_ScriptedController* controller = new C_ScriptedController(driver);
  controller->SetVendorId("CTRL");
  controller->AddAttribute("HasDDFF", std::string("true"));
  driver->Attach(root, controller, new C_QarnTargetId("array0", 0xFF));
  for (unsigned char n = 1; n <= 2; ++n) {
    C_FakeDevice* drive = new C_FakeDevice("drive" + std::to_string(n));
    drive->AddAttribute("DeviceId", "array0:" + std::to_string(n));
    driver->Attach(controller, drive, new C_QarnTargetId("array0", n));
  }
  C_ModuleServices services(root);
  C_VekInstance instance(&services);

  C_VekEnumContext* top = m_api.StartEnum(&instance, nullptr);
  ASSERT_NE(top, nullptr);
  C_VekDevice* ctrl = m_api.GetNextDevice(&instance, top);
  ASSERT_NE(ctrl, nullptr);
  EXPECT_EQ(m_api.GetNextDevice(&instance, top), nullptr);
  m_api.CloseEnum(&instance, top);

  EXPECT_STREQ(m_api.GetAttribute(&instance, ctrl, "HasDDFF"), "true");
  const char* ops[8] = {};
  int opCount = m_api.GetOpNames(&instance, ctrl, 8, ops);
  ASSERT_EQ(opCount, 2);
  EXPECT_STREQ(ops[0], "BlinkDriveLeds");
  EXPECT_STREQ(ops[1], "SetTimeout");
  const char* blink[] = {"BlinkDriveLeds", "5", "0", "1", nullptr};
  EXPECT_EQ(m_api.CallOp(&instance, ctrl, "BlinkDriveLeds", 4, blink), 0);
  ASSERT_EQ(controller->BlinkCalls().size(), 1u);
  EXPECT_EQ(controller->BlinkCalls()[0], (std::vector<std::string>{"BlinkDriveLeds", "5", "0", "1"}));

  // Nested enumeration below the controller.
  std::vector<std::string> ids;
  C_VekEnumContext* below = m_api.StartEnum(&instance, ctrl);
  std::vector<C_VekDevice*> handles;
  while (C_VekDevice* drive = m_api.GetNextDevice(&instance, below)) {
    handles.push_back(drive);
    ids.push_back(m_api.GetAttribute(&instance, drive, "DeviceId"));
    const char* names[4] = {};
    EXPECT_EQ(m_api.GetAttrNames(&instance, drive, 4, names), 1);
    EXPECT_STREQ(names[0], "DeviceId");
  }
  m_api.CloseEnum(&instance, below);
  EXPECT_EQ(ids, (std::vector<std::string>{"array0:1", "array0:2"}));

  // Tear-down in order: handles, Cleanup, destroy.
  for (C_VekDevice* handle : handles) m_api.CloseDevice(&instance, handle);
  m_api.CloseDevice(&instance, ctrl);
  root->Cleanup();
  EXPECT_EQ(driver->CleanedDevices().size(), 3u);
  EXPECT_EQ(driver->CleanupCalls(), 1);
  delete root;
}

}  // namespace
