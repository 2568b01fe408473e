#ifndef VEK_TESTS_SUPPORT_C_FAKEDEVICE_H
#define VEK_TESTS_SUPPORT_C_FAKEDEVICE_H

#include <functional>
#include <string>

#include "device/C_Device.h"
#include "device/C_FirmwareRev.h"
#include "device/C_ProductId.h"

// The smallest concrete device: identity from fields, commands go to the
// parent's ForwardCommand. Hooks let a test watch construction order and
// destruction, or make the destructor throw.
class C_FakeDevice : public C_Device {
 public:
  explicit C_FakeDevice(const std::string& i_name = "fake") : m_vendor(i_name) {}
  ~C_FakeDevice() override {
    if (m_onDestroy) m_onDestroy(this);
    if (m_throwOnDestroy) throw std::runtime_error("destructor of " + m_vendor);
  }

  bool Init() override { return true; }
  int ForwardCommand(Driver::S_Command*, C_Device*) override { return VEK_STATUS_UNKNOWN_OPERATION; }
  unsigned int GetDeviceType() const override { return 0; }
  const std::string& GetVendorId() const override { return m_vendor; }
  const C_ProductId& GetProductId() const override { return m_product; }
  const C_FirmwareRev& GetFirmwareRev() const override { return m_rev; }
  const C_FirmwareRev& GetActiveFwRev() const override { return m_rev; }
  int ExecuteCommand(Driver::S_Command* i_command) override {
    return GetParent() ? GetParent()->ForwardCommand(i_command, this) : VEK_STATUS_NO_PARENT;
  }

  // Registers i_name as an operation that records its arguments and
  // answers i_result.
  void AddEcho(const std::string& i_name, int i_result) {
    m_echoResult = i_result;
    RegisterOperation(i_name, this, &C_FakeDevice::Echo);
  }
  int Echo(int argc, const char** argv) {
    m_lastArgs.assign(argv, argv + argc);
    return m_echoResult;
  }

  std::function<void(C_FakeDevice*)> m_onDestroy;
  bool m_throwOnDestroy = false;
  std::vector<std::string> m_lastArgs;

 private:
  std::string m_vendor;
  C_ProductId m_product;
  C_FirmwareRev m_rev;
  int m_echoResult = 0;
};

#endif
