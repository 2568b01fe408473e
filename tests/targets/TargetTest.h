#ifndef VEK_TESTS_TARGETS_TARGETTEST_H
#define VEK_TESTS_TARGETS_TARGETTEST_H

// Shared set-up of the drive-target tests (header only, so that the tests of
// targets derived from these can use it too): a root with the scripted
// driver, a scripted controller below it and the target under test below
// that, and helpers to call operations and compare what was sent.

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "Common/Localization/ValueFormat.h"
#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedController.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "foundation/StringUtil.h"
#include "module/C_Root.h"

typedef std::vector<std::uint8_t> T_Bytes;
typedef std::vector<std::string> T_Args;
typedef C_ScriptedDriver::S_Recorded T_Recorded;
typedef C_ScriptedDriver T_Script;  // its matchers and replies

// A recorded response from tests/data/targets: hex bytes, '#' comments.
inline T_Bytes LoadHex(const std::string& i_name) {
  const std::string path = std::string(VEK_TEST_DATA_DIR) + "/targets/" + i_name;
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open fixture " + path);
  T_Bytes bytes;
  std::string line, word;
  while (std::getline(in, line)) {
    std::istringstream words(line.substr(0, line.find('#')));
    while (words >> word) bytes.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
  }
  return bytes;
}

// An address as it travels in an argument.
inline std::string AddressText(const void* i_address) {
  return stringFormat("%#lx", reinterpret_cast<unsigned long>(i_address));
}

// Calls a named operation with argv[0] = the name and a terminating null.
inline int CallOp(C_Device& io_device, const T_Args& i_args) {
  std::vector<const char*> argv;
  for (const std::string& arg : i_args) argv.push_back(arg.c_str());
  argv.push_back(nullptr);
  return io_device.CallOperation(i_args.at(0), static_cast<int>(i_args.size()), argv.data());
}

// The fields of a sent record that tests pin byte for byte, so that one
// comparison (printed whole on failure) covers a command: the CDB (the
// recorder copies cdbLength bytes, so this pins the length too), data
// length, sense length, flags, direction and request type.
typedef std::tuple<T_Bytes, std::uint32_t, std::uint32_t, std::uint32_t, int, std::uint32_t> T_Block;
inline T_Block Block(const T_Recorded& i_sent) {
  return T_Block(i_sent.cdb, i_sent.dataLength, i_sent.senseLength, i_sent.flags, i_sent.direction,
                 i_sent.requestType);
}

// A short code for what a recorded block is: the opcode; a control request
// as 0x100 + its code; an ATA pass-through block as 0xC600 + its command.
inline int Code(const T_Recorded& i_sent) {
  if (i_sent.requestType == 3) return 0x100 + i_sent.Opcode();
  return i_sent.Opcode() == 0xC6 && i_sent.cdb.size() > 2 ? 0xC600 + i_sent.cdb[2] : i_sent.Opcode();
}

// Each named attribute has the given value; a null value: not published.
inline void ExpectAttributes(const C_Device& i_device, const std::map<std::string, const char*>& i_expected) {
  for (const auto& expected : i_expected) {
    const bool has = i_device.GetAttributes().count(expected.first) != 0;
    EXPECT_EQ(expected.second ? expected.second : "(none)", has ? i_device.GetAttribute(expected.first) : "(none)")
        << expected.first;
  }
}

// While alive, sleeps return at once and are recorded in milliseconds.
class C_SleepRecorder {
 public:
  C_SleepRecorder() : m_previous(SetSleepHook(&Record)) { s_requests.clear(); }
  ~C_SleepRecorder() { SetSleepHook(m_previous); }
  static const std::vector<long>& Requests() { return s_requests; }

 private:
  static int Record(const struct timespec* i_request, struct timespec*) {
    s_requests.push_back(i_request->tv_sec * 1000 + i_request->tv_nsec / 1000000);
    return 0;
  }
  inline static std::vector<long> s_requests;
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
  std::vector<int> Codes() const {
    std::vector<int> codes;
    for (const T_Recorded& sent : Commands()) codes.push_back(Code(sent));
    return codes;
  }
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
inline T_Script::T_Matcher StandardInquiry() {
  return [](const T_Recorded& c) { return c.Opcode() == 0x12 && c.cdb.size() > 1 && c.cdb[1] == 0; };
}
inline T_Script::T_Matcher VpdPage(std::uint8_t i_page) {
  return [i_page](const T_Recorded& c) {
    return c.Opcode() == 0x12 && c.cdb.size() > 2 && c.cdb[1] == 1 && c.cdb[2] == i_page;
  };
}
inline T_Script::T_Matcher ControlRequest(std::uint8_t i_code) {
  return [i_code](const T_Recorded& c) { return c.requestType == 3 && c.Opcode() == i_code; };
}

#endif
