// The eight entry points, reached as a host reaches them: libvek.so opened
// with dlopen and each entry point found by its mangled name, with no
// link-time binding to them.
#include "module/VekExport.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

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
#include "support/C_FakeDevice.h"

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
  VekExportTest() : m_driver(new C_ScriptedDriver), m_services(&m_root), m_instance(&m_services) {
    m_root.SetDriver(m_driver);
  }
  ~VekExportTest() noexcept override {
    m_root.Cleanup();  // frees the target ids
    if (m_library) dlclose(m_library);
  }
  void SetUp() override {
    m_library = dlopen(VEK_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(m_library, nullptr) << dlerror();
    Resolve(m_library, "_ZN9VekExport9StartEnumEP13C_VekInstanceP11C_VekDevice", api.StartEnum);
    Resolve(m_library, "_ZN9VekExport13GetNextDeviceEP13C_VekInstanceP16C_VekEnumContext", api.GetNextDevice);
    Resolve(m_library, "_ZN9VekExport9CloseEnumEP13C_VekInstanceP16C_VekEnumContext", api.CloseEnum);
    Resolve(m_library, "_ZN9VekExport11CloseDeviceEP13C_VekInstanceP11C_VekDevice", api.CloseDevice);
    Resolve(m_library, "_ZN9VekExport12GetAttrNamesEP13C_VekInstanceP11C_VekDeviceiPPKc", api.GetAttrNames);
    Resolve(m_library, "_ZN9VekExport12GetAttributeEP13C_VekInstanceP11C_VekDevicePKc", api.GetAttribute);
    Resolve(m_library, "_ZN9VekExport10GetOpNamesEP13C_VekInstanceP11C_VekDeviceiPPKc", api.GetOpNames);
    Resolve(m_library, "_ZN9VekExport6CallOpEP13C_VekInstanceP11C_VekDevicePKciPS5_", api.CallOp);
  }
  C_FakeDevice* AddDevice(C_EntityNode* i_parent, const std::string& i_name) {
    C_FakeDevice* device = new C_FakeDevice(i_name);
    m_driver->Attach(i_parent, device, new C_QarnTargetId("c", 0));
    return device;
  }
  // The vendor ids of the devices an enumeration below i_parent gives; a
  // child that is not a device shows as "-".
  std::vector<std::string> Walk(C_VekDevice* i_parent, std::size_t i_steps = 0) {
    std::vector<std::string> names;
    C_VekEnumContext* context = api.StartEnum(&m_instance, i_parent);
    for (std::size_t step = 0; i_steps ? step < i_steps : true; ++step) {
      C_VekDevice* handle = api.GetNextDevice(&m_instance, context);
      if (!handle && !i_steps) break;
      names.push_back(handle ? handle->GetDevice()->GetVendorId() : "-");
      api.CloseDevice(&m_instance, handle);
    }
    api.CloseEnum(&m_instance, context);
    return names;
  }

  void* m_library = nullptr;
  S_EntryPoints api = {};
  C_Root m_root;
  C_ScriptedDriver* m_driver;
  C_ModuleServices m_services;
  C_VekInstance m_instance;
};

// The operation's own status; 1025 for a missing instance, handle or name,
// 1031 without a service object (found before the handle is looked at).
TEST_F(VekExportTest, CallOpAnswersTheOperationsStatus) {
  C_FakeDevice* device = AddDevice(&m_root, "d");
  device->AddEcho("Echo", 77);
  C_VekDevice handle(device);
  C_VekInstance bare;
  const char* argv[] = {"Echo", "x", nullptr};
  EXPECT_EQ(api.CallOp(&m_instance, &handle, "Echo", 2, argv), 77);
  EXPECT_EQ(device->m_lastArgs, (std::vector<std::string>{"Echo", "x"}));
  EXPECT_EQ(api.CallOp(&m_instance, &handle, "Missing", 1, argv), VEK_STATUS_UNKNOWN_OPERATION);
  EXPECT_EQ(api.CallOp(&bare, nullptr, nullptr, 1, argv), VEK_STATUS_NO_SERVICES);
  EXPECT_EQ(api.CallOp(nullptr, &handle, "Echo", 1, argv), VEK_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(api.CallOp(&m_instance, nullptr, "Echo", 1, argv), VEK_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(api.CallOp(&m_instance, &handle, nullptr, 1, argv), VEK_STATUS_BAD_ARGUMENT);
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
    api.CallOp(&m_instance, &handle, "Host", 1, argv);
    FAIL() << "no exception";
  } catch (const C_Exception& e) {
    EXPECT_EQ(e.GetString(), "host failure");
    EXPECT_EQ(e.GetErrno(), 5);
  }
  EXPECT_THROW(api.CallOp(&m_instance, &handle, "Std", 1, argv), std::out_of_range);
  EXPECT_THROW(api.CallOp(&m_instance, &handle, "Int", 1, argv), int);
}

// A null parent or a handle without a device walks the root; each walk
// refreshes its node first, so devices that appeared since are seen; a
// child that is not a device gives null and the walk goes on past it.
TEST_F(VekExportTest, EnumerationRefreshesAndWalksTheChosenNode) {
  C_FakeDevice* controller = AddDevice(&m_root, "controller");
  AddDevice(controller, "drive");
  (new C_PlainNode)->SetParent(&m_root);
  AddDevice(&m_root, "last");
  C_VekDevice controllerHandle(controller), empty(nullptr);

  EXPECT_EQ(Walk(nullptr, 5), (std::vector<std::string>{"controller", "-", "last", "-", "-"}));
  EXPECT_EQ(Walk(&empty), (std::vector<std::string>{"controller"}));
  EXPECT_EQ(Walk(&controllerHandle), (std::vector<std::string>{"drive"}));
  EXPECT_EQ(m_driver->DiscoverCalls(), 3);
  m_driver->OnDiscover([this, controller](C_EntityNode* node) {
    if (node == controller) AddDevice(controller, "hot-plugged");
    m_driver->OnDiscover(nullptr);
  });
  EXPECT_EQ(Walk(&controllerHandle), (std::vector<std::string>{"drive", "hot-plugged"}));

  // No instance, no service object, no root: no cursor.
  C_VekInstance bare;
  C_ModuleServices rootless;
  C_VekInstance noRoot(&rootless);
  for (C_VekInstance* instance : {static_cast<C_VekInstance*>(nullptr), &bare, &noRoot}) {
    EXPECT_EQ(api.StartEnum(instance, nullptr), nullptr);
  }
  EXPECT_EQ(api.GetNextDevice(&m_instance, nullptr), nullptr);
}

// Each handle owns the text of its last GetAttribute; the instance owns
// that of a null handle (the instance's own attributes).
TEST_F(VekExportTest, AttributeTextIsOwnedByItsHandle) {
  C_FakeDevice* device = AddDevice(&m_root, "d");
  device->AddAttribute("A", std::string("first value"));
  device->AddAttribute("B", std::string("second"));
  C_VekDevice handle(device), other(device);

  const char* a = api.GetAttribute(&m_instance, &handle, "A");
  const char* onOther = api.GetAttribute(&m_instance, &other, "A");
  EXPECT_STREQ(a, "first value");
  const char* b = api.GetAttribute(&m_instance, &handle, "B");
  EXPECT_EQ(a, b);  // one buffer per handle
  EXPECT_STREQ(a, "second");
  EXPECT_STREQ(onOther, "first value");  // another handle keeps its own
  EXPECT_STREQ(api.GetAttribute(&m_instance, &handle, "Missing"), "");
  EXPECT_EQ(api.GetAttribute(&m_instance, &handle, nullptr), nullptr);
  EXPECT_EQ(api.GetAttribute(nullptr, &handle, "A"), nullptr);

  m_services.SetInstanceAttribute("ModuleName", "vek");
  const char* module = api.GetAttribute(&m_instance, nullptr, "ModuleName");
  EXPECT_STREQ(module, "vek");
  EXPECT_EQ(module, m_instance.GetValueBuffer().c_str());
}

// The total is always the answer; as many names as fit are filled, in
// table order.
TEST_F(VekExportTest, NameArraysReportTheTotalAndFillWhatFits) {
  C_FakeDevice* device = AddDevice(&m_root, "d");
  for (const char* name : {"B", "A", "C"}) device->AddAttribute(name, std::string("1"));
  device->AddEcho("Echo", 0);
  C_VekDevice handle(device);

  EXPECT_EQ(api.GetAttrNames(&m_instance, &handle, 0, nullptr), 3);
  const char* names[2] = {nullptr, nullptr};
  EXPECT_EQ(api.GetAttrNames(&m_instance, &handle, 2, names), 3);
  EXPECT_STREQ(names[0], "A");
  EXPECT_STREQ(names[1], "B");
  const char* ops[4] = {};
  EXPECT_EQ(api.GetOpNames(&m_instance, &handle, 4, ops), 2);
  EXPECT_STREQ(ops[0], "Echo");
  EXPECT_STREQ(ops[1], "SetTimeout");
  EXPECT_EQ(api.GetAttrNames(nullptr, &handle, 2, names), 0);
  EXPECT_EQ(api.GetOpNames(&m_instance, nullptr, 2, names), 0);
}

}  // namespace
