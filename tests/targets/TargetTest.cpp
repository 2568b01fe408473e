#include "TargetTest.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "foundation/StringUtil.h"

std::vector<long> C_SleepRecorder::s_requests;

T_Bytes LoadHex(const std::string& i_name) {
  const std::string path = std::string(VEK_TEST_DATA_DIR) + "/targets/" + i_name;
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open fixture " + path);
  T_Bytes bytes;
  std::string line;
  while (std::getline(in, line)) {
    line = line.substr(0, line.find('#'));
    std::istringstream words(line);
    std::string word;
    while (words >> word) bytes.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
  }
  return bytes;
}

std::string AddressText(const void* i_address) {
  return stringFormat("%#lx", reinterpret_cast<unsigned long>(i_address));
}

int CallOp(C_Device& io_device, const std::vector<std::string>& i_args) {
  std::vector<const char*> argv;
  for (const std::string& arg : i_args) argv.push_back(arg.c_str());
  argv.push_back(nullptr);
  return io_device.CallOperation(i_args.at(0), static_cast<int>(i_args.size()), argv.data());
}

std::string ByteText(const T_Bytes& i_bytes) {
  std::string text;
  for (std::uint8_t b : i_bytes) text += stringFormat(" %2x", b);
  return text;
}

bool S_Block::operator==(const S_Block& i_other) const {
  return std::tie(cdb, dataLength, senseLength, flags, direction, requestType) ==
         std::tie(i_other.cdb, i_other.dataLength, i_other.senseLength, i_other.flags,
                  i_other.direction, i_other.requestType);
}

std::ostream& operator<<(std::ostream& io_out, const S_Block& i_block) {
  return io_out << "cdb" << ByteText(i_block.cdb) << ", data " << i_block.dataLength << ", sense "
                << i_block.senseLength << ", flags " << i_block.flags << ", direction "
                << i_block.direction << ", request " << i_block.requestType;
}

// The recorder copies cdbLength bytes of the block, so the block compared
// also pins its length byte.
S_Block Block(const T_Recorded& i_sent) {
  return {i_sent.cdb, i_sent.dataLength, i_sent.senseLength, i_sent.flags, i_sent.direction,
          i_sent.requestType};
}

void ExpectAttributes(const C_Device& i_device, const std::map<std::string, const char*>& i_expected) {
  for (const auto& expected : i_expected) {
    const bool has = i_device.GetAttributes().count(expected.first) != 0;
    EXPECT_EQ(expected.second ? expected.second : "(none)", has ? i_device.GetAttribute(expected.first) : "(none)")
        << expected.first;
  }
}

C_SleepRecorder::C_SleepRecorder() {
  s_requests.clear();
  m_previous = SetSleepHook(&Record);
}

C_SleepRecorder::~C_SleepRecorder() { SetSleepHook(m_previous); }

int C_SleepRecorder::Record(const struct timespec* i_request, struct timespec*) {
  s_requests.push_back(i_request->tv_sec * 1000 + i_request->tv_nsec / 1000000);
  return 0;
}

C_ScriptedDriver::T_Matcher StandardInquiry() {
  return [](const T_Recorded& c) { return c.Opcode() == 0x12 && c.cdb.size() > 1 && c.cdb[1] == 0; };
}

C_ScriptedDriver::T_Matcher VpdPage(std::uint8_t i_page) {
  return [i_page](const T_Recorded& c) {
    return c.Opcode() == 0x12 && c.cdb.size() > 2 && c.cdb[1] == 1 && c.cdb[2] == i_page;
  };
}

C_ScriptedDriver::T_Matcher ControlRequest(std::uint8_t i_code) {
  return [i_code](const T_Recorded& c) { return c.requestType == 3 && c.Opcode() == i_code; };
}
