#ifndef VEK_TESTS_TARGETS_TARGETTEST_H
#define VEK_TESTS_TARGETS_TARGETTEST_H

// Shared set-up of the drive-target tests: a root with the scripted driver,
// a scripted controller below it and the target under test below that.

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "Common/Localization/ValueFormat.h"
#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedController.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "module/C_Root.h"

typedef std::vector<std::uint8_t> T_Bytes;
typedef C_ScriptedDriver::S_Recorded T_Recorded;

// A recorded response from tests/data/targets: hex bytes, '#' comments.
T_Bytes LoadHex(const std::string& i_name);

// An address as it travels in an argument.
std::string AddressText(const void* i_address);

// Calls a named operation with argv[0] = the name and a terminating null.
int CallOp(C_Device& io_device, const std::vector<std::string>& i_args);

// The byte attribute form of a device: " %2x" per byte.
std::string ByteText(const T_Bytes& i_bytes);

// While alive, sleeps return at once and are recorded in milliseconds.
class C_SleepRecorder {
 public:
  C_SleepRecorder();
  ~C_SleepRecorder();
  static const std::vector<long>& Requests() { return s_requests; }

 private:
  static int Record(const struct timespec* i_request, struct timespec* o_remain);
  static std::vector<long> s_requests;
  T_SleepHook m_previous;
};

// The tree: root (owning the driver) -> controller -> target "array0:2".
template <class T>
class C_TargetFixture : public ::testing::Test {
 protected:
  C_TargetFixture()
      : m_root(new C_Root),
        m_driver(new C_ScriptedDriver),
        m_controller(new C_ScriptedController(m_driver)) {
    m_root->SetDriver(m_driver);
    m_driver->Attach(m_root.get(), m_controller, nullptr);
  }
  ~C_TargetFixture() override { m_root->Cleanup(); }

  // Attaches the target (taking ownership) without Init.
  T& Attach(T* i_target) {
    m_driver->Attach(m_controller, i_target, new C_QarnTargetId("array0", 2));
    m_target = i_target;
    return *i_target;
  }
  int Call(const std::vector<std::string>& i_args) { return CallOp(*m_target, i_args); }
  const std::vector<T_Recorded>& Commands() const { return m_driver->Commands(); }

  C_SleepRecorder m_sleeps;
  // Held by pointer: a tree node's destructor may throw, a test's may not.
  std::unique_ptr<C_Root> m_root;
  C_ScriptedDriver* m_driver;
  C_ScriptedController* m_controller;
  T* m_target = nullptr;
};

// Matchers on the recorded block beyond the opcode.
C_ScriptedDriver::T_Matcher StandardInquiry();
C_ScriptedDriver::T_Matcher VpdPage(std::uint8_t i_page);
C_ScriptedDriver::T_Matcher ControlRequest(std::uint8_t i_code);

#endif
