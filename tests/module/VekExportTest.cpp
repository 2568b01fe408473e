#include "module/VekExport.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "host/C_Exception.h"
#include "host/C_ModuleServices.h"
#include "host/C_VekInstance.h"
#include "module/C_Root.h"
#include "module/C_VekDevice.h"
#include "module/C_VekEnumContext.h"
#include "support/C_FakeDevice.h"

namespace {

// A plain node that is not a device.
class C_PlainNode : public C_EntityNode {
 public:
  bool FindChildren() override { return false; }
  bool Init() override { return true; }
  void Cleanup() override {}
  C_Driver* GetDriver() const override { return nullptr; }
  int ForwardCommand(Driver::S_Command*, C_Device*) override { return 0; }
};

class VekExportTest : public ::testing::Test {
 protected:
  VekExportTest() : m_services(&m_root), m_instance(&m_services) {
    m_driver = new C_ScriptedDriver;
    m_root.SetDriver(m_driver);
  }
  ~VekExportTest() noexcept override { m_root.Cleanup(); }  // frees the target ids
  C_FakeDevice* AddDevice(C_EntityNode* i_parent, const std::string& i_name) {
    C_FakeDevice* device = new C_FakeDevice(i_name);
    m_driver->Attach(i_parent, device, new C_QarnTargetId("c", 0));
    return device;
  }
  std::vector<std::string> Walk(C_VekDevice* i_parent) {
    std::vector<std::string> names;
    C_VekEnumContext* context = VekExport::StartEnum(&m_instance, i_parent);
    while (C_VekDevice* handle = VekExport::GetNextDevice(&m_instance, context)) {
      names.push_back(handle->GetDevice()->GetVendorId());
      VekExport::CloseDevice(&m_instance, handle);
    }
    VekExport::CloseEnum(&m_instance, context);
    return names;
  }

  C_Root m_root;
  C_ScriptedDriver* m_driver;
  C_ModuleServices m_services;
  C_VekInstance m_instance;
};

TEST_F(VekExportTest, CallOpChecksInstanceThenServicesThenHandleAndName) {
  C_FakeDevice* device = AddDevice(&m_root, "d");
  device->AddEcho("Echo", 77);
  C_VekDevice handle(device);
  C_VekInstance bare;  // no service object
  const char* argv[] = {"Echo", nullptr};

  EXPECT_EQ(VekExport::CallOp(nullptr, &handle, "Echo", 1, argv), VEK_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(VekExport::CallOp(&bare, &handle, "Echo", 1, argv), VEK_STATUS_NO_SERVICES);
  EXPECT_EQ(VekExport::CallOp(&bare, nullptr, nullptr, 1, argv), VEK_STATUS_NO_SERVICES);
  EXPECT_EQ(VekExport::CallOp(&m_instance, nullptr, "Echo", 1, argv), VEK_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(VekExport::CallOp(&m_instance, &handle, nullptr, 1, argv), VEK_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(VekExport::CallOp(&m_instance, &handle, "Echo", 1, argv), 77);
  EXPECT_EQ(VekExport::CallOp(&m_instance, &handle, "Missing", 1, argv),
            VEK_STATUS_UNKNOWN_OPERATION);
}

TEST_F(VekExportTest, EnumerationStepsOverANonDeviceChild) {
  AddDevice(&m_root, "first");
  C_PlainNode* plain = new C_PlainNode;
  plain->SetParent(&m_root);
  AddDevice(&m_root, "last");

  C_VekEnumContext* context = VekExport::StartEnum(&m_instance, nullptr);
  ASSERT_NE(context, nullptr);
  std::unique_ptr<C_VekDevice> first(VekExport::GetNextDevice(&m_instance, context));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->GetDevice()->GetVendorId(), "first");
  EXPECT_EQ(VekExport::GetNextDevice(&m_instance, context), nullptr);  // the plain node
  std::unique_ptr<C_VekDevice> last(VekExport::GetNextDevice(&m_instance, context));
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(last->GetDevice()->GetVendorId(), "last");
  EXPECT_EQ(VekExport::GetNextDevice(&m_instance, context), nullptr);
  EXPECT_EQ(VekExport::GetNextDevice(&m_instance, context), nullptr);
  VekExport::CloseEnum(&m_instance, context);
}

TEST_F(VekExportTest, StartEnumRefreshesAndChoosesTheNodeToWalk) {
  C_FakeDevice* controller = AddDevice(&m_root, "controller");
  AddDevice(controller, "drive");
  C_VekDevice controllerHandle(controller);
  C_VekDevice empty(nullptr);

  EXPECT_EQ(Walk(nullptr), (std::vector<std::string>{"controller"}));
  EXPECT_EQ(Walk(&empty), (std::vector<std::string>{"controller"}));  // no device: the root
  EXPECT_EQ(Walk(&controllerHandle), (std::vector<std::string>{"drive"}));
  EXPECT_EQ(m_driver->DiscoverCalls(), 3);  // each walk refreshed its node

  // Devices that appear between enumerations are seen by the next one.
  m_driver->OnDiscover([this, controller](C_EntityNode* node) {
    if (node == controller) AddDevice(controller, "hot-plugged");
    m_driver->OnDiscover(nullptr);
  });
  EXPECT_EQ(Walk(&controllerHandle), (std::vector<std::string>{"drive", "hot-plugged"}));

  C_VekInstance bare;
  EXPECT_EQ(VekExport::StartEnum(nullptr, nullptr), nullptr);
  EXPECT_EQ(VekExport::StartEnum(&bare, nullptr), nullptr);
  C_ModuleServices rootless;
  C_VekInstance noRoot(&rootless);
  EXPECT_EQ(VekExport::StartEnum(&noRoot, nullptr), nullptr);
}

TEST_F(VekExportTest, AttributeTextIsOwnedByItsHandle) {
  C_FakeDevice* device = AddDevice(&m_root, "d");
  device->AddAttribute("A", std::string("first value"));
  device->AddAttribute("B", std::string("second"));
  C_VekDevice handle(device);
  C_VekDevice other(device);

  const char* a = VekExport::GetAttribute(&m_instance, &handle, "A");
  const char* onOther = VekExport::GetAttribute(&m_instance, &other, "A");
  EXPECT_STREQ(a, "first value");
  const char* b = VekExport::GetAttribute(&m_instance, &handle, "B");
  EXPECT_STREQ(b, "second");
  EXPECT_EQ(a, b);  // one buffer per handle
  EXPECT_STREQ(a, "second");
  EXPECT_STREQ(onOther, "first value");  // another handle keeps its own
  EXPECT_STREQ(VekExport::GetAttribute(&m_instance, &handle, "Missing"), "");
  EXPECT_EQ(VekExport::GetAttribute(&m_instance, &handle, nullptr), nullptr);
  EXPECT_EQ(VekExport::GetAttribute(nullptr, &handle, "A"), nullptr);

  m_services.SetInstanceAttribute("ModuleName", "vek");
  const char* module = VekExport::GetAttribute(&m_instance, nullptr, "ModuleName");
  EXPECT_STREQ(module, "vek");
  EXPECT_EQ(module, m_instance.GetValueBuffer().c_str());
}

TEST_F(VekExportTest, NameArraysReportTheTotalAndFillWhatFits) {
  C_FakeDevice* device = AddDevice(&m_root, "d");
  device->AddAttribute("B", std::string("2"));
  device->AddAttribute("A", std::string("1"));
  device->AddAttribute("C", std::string("3"));
  C_VekDevice handle(device);

  EXPECT_EQ(VekExport::GetAttrNames(&m_instance, &handle, 0, nullptr), 3);
  const char* names[2] = {nullptr, nullptr};
  EXPECT_EQ(VekExport::GetAttrNames(&m_instance, &handle, 2, names), 3);
  EXPECT_STREQ(names[0], "A");
  EXPECT_STREQ(names[1], "B");
  const char* ops[4] = {};
  EXPECT_EQ(VekExport::GetOpNames(&m_instance, &handle, 4, ops), 1);
  EXPECT_STREQ(ops[0], "SetTimeout");

  C_VekInstance bare;
  EXPECT_EQ(VekExport::GetAttrNames(nullptr, &handle, 2, names), 0);
  EXPECT_EQ(VekExport::GetAttrNames(&bare, &handle, 2, names), 0);
  EXPECT_EQ(VekExport::GetOpNames(&m_instance, nullptr, 2, names), 0);
}

class C_ThrowingDevice : public C_FakeDevice {
 public:
  C_ThrowingDevice() {
    RegisterOperation("Host", this, &C_ThrowingDevice::ThrowHost);
    RegisterOperation("Std", this, &C_ThrowingDevice::ThrowStd);
    RegisterOperation("Int", this, &C_ThrowingDevice::ThrowInt);
  }
  int ThrowHost(int, const char**) { throw C_Exception(__FILE__, __LINE__, "host failure", 5); }
  int ThrowStd(int, const char**) { throw std::out_of_range("range"); }
  int ThrowInt(int, const char**) { throw 42; }
};

TEST_F(VekExportTest, ExceptionsReachTheHostUnchanged) {
  C_ThrowingDevice* device = new C_ThrowingDevice;
  m_driver->Attach(&m_root, device, nullptr);
  C_VekDevice handle(device);
  const char* argv[] = {"x", nullptr};
  try {
    VekExport::CallOp(&m_instance, &handle, "Host", 1, argv);
    FAIL() << "no exception";
  } catch (const C_Exception& e) {
    EXPECT_EQ(e.GetString(), "host failure");
    EXPECT_EQ(e.GetErrno(), 5);
  }
  EXPECT_THROW(VekExport::CallOp(&m_instance, &handle, "Std", 1, argv), std::out_of_range);
  EXPECT_THROW(VekExport::CallOp(&m_instance, &handle, "Int", 1, argv), int);
}

TEST_F(VekExportTest, ClosingNullHandlesDoesNothing) {
  VekExport::CloseEnum(&m_instance, nullptr);
  VekExport::CloseDevice(nullptr, nullptr);
  EXPECT_EQ(VekExport::GetNextDevice(&m_instance, nullptr), nullptr);
}

}  // namespace
