#ifndef VEK_TESTS_TARGETS_TARGETTEST_H
#define VEK_TESTS_TARGETS_TARGETTEST_H

// Shared set-up of the drive-target tests: a root with the scripted driver,
// a scripted controller below it and the target under test below that.

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Common/Localization/ValueFormat.h"
#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedController.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "module/C_Root.h"

typedef std::vector<std::uint8_t> T_Bytes;
typedef std::vector<std::string> T_Args;
typedef C_ScriptedDriver::S_Recorded T_Recorded;
typedef C_ScriptedDriver T_Script;  // its matchers and replies

// A recorded response from tests/data/targets: hex bytes, '#' comments.
T_Bytes LoadHex(const std::string& i_name);

// An address as it travels in an argument.
std::string AddressText(const void* i_address);

// Calls a named operation with argv[0] = the name and a terminating null.
int CallOp(C_Device& io_device, const T_Args& i_args);

// The byte attribute form of a device: " %2x" per byte.
std::string ByteText(const T_Bytes& i_bytes);

// The fields of a sent record that tests pin byte for byte, so that one
// comparison (printed whole on failure) covers a command. The recorder
// copies cdbLength bytes of the block, so the block also pins that length.
struct S_Block {
  T_Bytes cdb;
  std::uint32_t dataLength, senseLength, flags;
  int direction;
  std::uint32_t requestType;
  bool operator==(const S_Block& i_other) const;
};
std::ostream& operator<<(std::ostream& io_out, const S_Block& i_block);
S_Block Block(const T_Recorded& i_sent);

// Each named attribute has the given value; a null value: not published.
void ExpectAttributes(const C_Device& i_device, const std::map<std::string, const char*>& i_expected);

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
  explicit C_TargetFixture(T* i_target = new T)
      : m_root(new C_Root), m_driver(new T_Script), m_controller(new C_ScriptedController(m_driver)) {
    m_root->SetDriver(m_driver);
    m_driver->Attach(m_root.get(), m_controller, nullptr);
    m_target = AttachAnother(i_target, new C_QarnTargetId("array0", 2));
  }
  ~C_TargetFixture() override { m_root->Cleanup(); }

  // A further target below the controller (owned by the tree), not Init'ed.
  template <class U>
  U* AttachAnother(U* i_target, C_TargetId* i_id = nullptr) {
    m_driver->Attach(m_controller, i_target, i_id);
    return i_target;
  }
  int Call(const T_Args& i_args) { return CallOp(*m_target, i_args); }
  std::string Attr(const std::string& i_name) { return m_target->GetAttribute(i_name); }
  bool HasAttr(const std::string& i_name) { return m_target->GetAttributes().count(i_name) != 0; }
  const std::vector<T_Recorded>& Commands() const { return m_driver->Commands(); }
  // Forgets the script and the record, then answers i_match with i_reply.
  void Restart(T_Script::T_Matcher i_match = nullptr, const T_Script::S_Reply& i_reply = {}) {
    m_driver->ClearScript();
    m_driver->ClearCommands();
    if (i_match) m_driver->Reply(i_match, i_reply);
  }

  C_SleepRecorder m_sleeps;
  // Held by pointer: a tree node's destructor may throw, a test's may not.
  std::unique_ptr<C_Root> m_root;
  T_Script* m_driver;
  C_ScriptedController* m_controller;
  T* m_target = nullptr;
};

// Matchers on the recorded block beyond the opcode.
T_Script::T_Matcher StandardInquiry();
T_Script::T_Matcher VpdPage(std::uint8_t i_page);
T_Script::T_Matcher ControlRequest(std::uint8_t i_code);

#endif
