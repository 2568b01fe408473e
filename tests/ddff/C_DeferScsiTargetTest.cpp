// The deferred-flash target against the scripted driver: the controller
// requests it sends, the request image they carry, cancelling, the
// attributes read back and the dump file.

#include "ddff/C_DeferScsiTarget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ddff/C_DDFF.h"
#include "device/C_QarnTargetId.h"
#include "drivers/test/C_ScriptedController.h"
#include "drivers/test/C_ScriptedDriver.h"
#include "foundation/StringUtil.h"
#include "module/C_Root.h"
#include "support/TestSupport.h"

namespace {

typedef std::vector<std::uint8_t> T_Bytes;
typedef C_ScriptedDriver::S_Recorded T_Recorded;
typedef C_DeferScsiTarget C_Target;

const std::uint8_t DRIVE = 5;

std::string Text(const void* i_address) {
  return stringFormat("%#lx", reinterpret_cast<unsigned long>(i_address));
}

// A controller that keeps what the target uploads: write chunks are
// assembled in order, read chunks served from them, the status block is
// taken from the upload and changed by set-status requests. A fault, when
// it answers non-zero for a request, is that request's whole answer.
struct S_ControllerStore {
  T_Bytes request;
  S_DDFF_Status status = {};
  std::function<int(const T_Recorded&)> fault;
  std::size_t readOffset = 0;

  int Handle(Driver::S_Command& io_command, const T_Recorded& i_record) {
    if (fault) {
      if (int code = fault(i_record)) return code;
    }
    const std::uint8_t* cdb = i_record.cdb.data();
    if (cdb[0] == 0x27 && cdb[6] == 0x36) {
      if (cdb[4] == 1) request.clear();
      const std::uint8_t* chunk = io_command.dataBuffer;
      request.insert(request.end(), chunk, chunk + io_command.dataLength);
      if (cdb[4] == cdb[3] && request.size() >= 92) std::memcpy(&status, &request[48], 44);
    } else if (cdb[0] == 0x26 && cdb[6] == 0x26) {
      if (cdb[4] == 1) readOffset = 0;
      for (std::uint32_t i = 0; i < io_command.dataLength && readOffset < request.size(); ++i) {
        io_command.dataBuffer[i] = request[readOffset++];
      }
    } else if (cdb[0] == 0x26 && cdb[6] == 0x27) {
      const std::size_t length = std::min<std::size_t>(io_command.dataLength, 44);
      std::memcpy(io_command.dataBuffer, &status, length);
    } else if (cdb[0] == 0x27 && cdb[6] == 0x37) {
      std::memcpy(&status.status, io_command.dataBuffer, 4);
    }
    return 0;
  }
};

// A request with an instruction program, as a host fills it.
struct S_Program {
  C_DDFF request;
  S_Program() {
    const std::uint8_t writeBuffer[10] = {0x3B, 0x07};
    request.AddInstruction(C_DDFF::C_ScsiInstruction(writeBuffer, 10));
    request.AddInstruction(C_DDFF::C_ControllerInstruction(DDFF::DDFF_CMD_DEVICE_RESET));
  }
};

class DeferScsiTargetTest : public ::testing::Test {
 protected:
  DeferScsiTargetTest()
      : m_root(new C_Root),
        m_driver(new C_ScriptedDriver),
        m_controller(new C_ScriptedController(m_driver)) {
    // No test leaves a dump file in the working directory.
    C_Target::SetDumpDirectory(m_dumps.Path());
    m_root->SetDriver(m_driver);
    m_driver->Attach(m_root.get(), m_controller, nullptr);
    m_controller->AddAttribute("HasDDFF", "true");
    m_controller->AddAttribute("DDFFVer", "0101");
    m_target = new C_Target;
    m_driver->Attach(m_controller, m_target, new C_QarnTargetId("array0", DRIVE));
    m_driver->Reply([](const T_Recorded& c) { return c.requestType == 2; },
                    C_ScriptedDriver::Handler([this](Driver::S_Command& c, const T_Recorded& r) {
                      return m_store.Handle(c, r);
                    }));
  }
  ~DeferScsiTargetTest() override {
    m_root->Cleanup();
    C_Target::SetDumpDirectory("");
  }

  // Identifies the drive: "ACME", "DISK 9000/X", "A1B2", serial "SN12345".
  void Identify() {
    T_Bytes inquiry(56, ' ');
    const std::string identity = "ACME    DISK 9000/X     A1B2";
    std::copy(identity.begin(), identity.end(), inquiry.begin() + 8);
    m_driver->Reply([](const T_Recorded& c) { return c.Opcode() == 0x12 && c.cdb[1] == 0; },
                    C_ScriptedDriver::Data(inquiry));
    m_driver->Reply([](const T_Recorded& c) { return c.Opcode() == 0x12 && c.cdb[1] == 1; },
                    C_ScriptedDriver::Data({0, 0x80, 0, 7, 'S', 'N', '1', '2', '3', '4', '5'}));
    ASSERT_FALSE(m_target->Init());
    m_driver->ClearCommands();
  }
  std::vector<T_Recorded> ControllerRequests() const {
    std::vector<T_Recorded> out;
    for (const T_Recorded& c : m_driver->Commands()) {
      if (c.requestType == 2) out.push_back(c);
    }
    return out;
  }
  int Call(std::vector<std::string> i_args) {
    std::vector<const char*> argv;
    for (const std::string& arg : i_args) argv.push_back(arg.c_str());
    argv.push_back(nullptr);
    return m_target->CallOperation(i_args.at(0), static_cast<int>(i_args.size()), argv.data());
  }
  int DeferFlash(const T_Bytes& i_image, C_DDFF& io_request,
                 std::vector<std::string> i_switches = {}) {
    std::vector<std::string> args = {"DeferFlash", Text(i_image.data()),
                                     std::to_string(i_image.size()), Text(&io_request)};
    args.insert(args.end(), i_switches.begin(), i_switches.end());
    return Call(args);
  }

  C_TempDir m_dumps;
  std::unique_ptr<C_Root> m_root;
  C_ScriptedDriver* m_driver;
  C_ScriptedController* m_controller;
  C_Target* m_target;
  S_ControllerStore m_store;
};

T_Bytes Pattern(std::size_t i_size) {
  T_Bytes bytes(i_size);
  for (std::size_t i = 0; i < i_size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 13 + i / 256);
  return bytes;
}

TEST_F(DeferScsiTargetTest, TransfersAreNumberedChunksThroughTheParent) {
  const T_Bytes data = Pattern(40000);
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(data.data(), 40000, 16384));
  const std::vector<T_Recorded> sent = ControllerRequests();
  ASSERT_EQ(3u, sent.size());
  const std::uint32_t lengths[] = {16384, 16384, 7232};
  for (std::size_t i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    T_Bytes cdb = {0x27, 0, DRIVE, 3, 0, 0, 0x36, 0, 0, 0};
    cdb[4] = std::uint8_t(i + 1);
    cdb[7] = std::uint8_t(lengths[i] >> 8);
    cdb[8] = std::uint8_t(lengths[i]);
    EXPECT_EQ(cdb, sent[i].cdb);
    EXPECT_EQ(data.data() + 16384 * i, sent[i].dataBuffer);
    EXPECT_EQ(lengths[i], sent[i].dataLength);
    EXPECT_EQ(m_controller, sent[i].device);  // the parent's ExecuteCommand
  }
  EXPECT_EQ(data, m_store.request);

  T_Bytes back(40000);
  ASSERT_EQ(0, m_target->DoReadDeferredUpdate(back.data(), 40000, 16384));
  EXPECT_EQ(data, back);
  EXPECT_EQ(0x26, ControllerRequests()[4].cdb[6]);
  EXPECT_EQ(back.data() + 16384, ControllerRequests()[4].dataBuffer);
}

TEST_F(DeferScsiTargetTest, ControllerRequestBlocks) {
  std::uint8_t buffer[300] = {};
  S_DDFF_Status status;
  struct S_Case {
    const char* name;
    std::function<int()> call;
    T_Bytes cdb;
    std::uint8_t direction;
    std::uint32_t dataLength;
    T_Bytes dataOut;
  } const cases[] = {
      {"write", [&] { return m_target->DoWriteDeferredUpdate(buffer, 300, 4096); },
       {0x27, 0, DRIVE, 1, 1, 0, 0x36, 0x01, 0x2C, 0}, 0, 300, T_Bytes(300, 0)},
      {"read", [&] { return m_target->DoReadDeferredUpdate(buffer, 48, 4096); },
       {0x26, 0, DRIVE, 1, 1, 0, 0x26, 0, 48, 0}, 1, 48, {}},
      {"sense status", [&] { return m_target->DoSenseDeferredUpdateStatus(&status, 44); },
       {0x26, 0, DRIVE, 0, 0, 0, 0x27, 0, 44, 0, 0, 0, 0, 0, 0, 0}, 1, 44, {}},
      {"set status", [&] { return m_target->DoSetDeferredUpdateStatus(0x12345608); },
       {0x27, 0, DRIVE, 0, 0, 0, 0x37, 0, 4, 0, 0, 0, 0, 0, 0, 0}, 0, 4, {0x08, 0x56, 0x34, 0x12}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_driver->ClearCommands();
    ASSERT_EQ(0, c.call());
    ASSERT_EQ(1u, m_driver->Commands().size());
    const T_Recorded& r = m_driver->Commands()[0];
    EXPECT_EQ(c.cdb, r.cdb);
    EXPECT_EQ(c.cdb.size(), r.cdbLength);
    EXPECT_EQ(c.direction, r.direction);
    EXPECT_EQ(c.dataLength, r.dataLength);
    EXPECT_EQ(c.dataOut, r.dataOut);
    EXPECT_EQ(2u, r.requestType);
    EXPECT_EQ(0x04u, r.flags);
    EXPECT_EQ(255u, r.senseLength);
    EXPECT_NE(nullptr, r.senseBuffer);
  }
}

TEST_F(DeferScsiTargetTest, TransferLimitsRefuseBeforeSending) {
  m_driver->SetRecordData(false);
  const T_Bytes data(255 * 16384 + 1);
  EXPECT_EQ(1025, m_target->DoWriteDeferredUpdate(data.data(), 255 * 16384 + 1, 16384));
  EXPECT_EQ(1025, m_target->DoWriteDeferredUpdate(data.data(), 100, 0));
  EXPECT_EQ(1025, m_target->DoWriteDeferredUpdate(data.data(), 100, 65536));
  EXPECT_EQ(1025, m_target->DoReadDeferredUpdate(nullptr, 100, 4096));
  EXPECT_TRUE(m_driver->Commands().empty());
  // An image that fits but whose request does not: refused once built.
  S_Program program;
  EXPECT_EQ(1025, m_target->DeferFlash(data.data(), 255 * 16384, &program.request, 0));
  EXPECT_EQ(1025, m_target->DeferFlash(data.data(), 255 * 16384 + 1, &program.request, 0));
  EXPECT_TRUE(ControllerRequests().empty());
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(data.data(), 255 * 16384, 16384));
  ASSERT_EQ(255u, ControllerRequests().size());
  EXPECT_EQ(255, ControllerRequests().back().cdb[4]);
}

TEST_F(DeferScsiTargetTest, DeferFlashSendsTheIdentifiedRequestAndMarksItPending) {
  Identify();
  const T_Bytes image = Pattern(40000);
  S_Program program;
  ASSERT_EQ(0, DeferFlash(image, program.request, {"Debug=true", "Fast=true"}));

  const std::vector<T_Recorded> sent = ControllerRequests();
  const std::uint32_t size = program.request.GetRequestSize();  // 204 + 80 + 40000 -> 40448
  ASSERT_EQ(40448u, size);
  ASSERT_EQ(4u, sent.size());
  EXPECT_EQ(sent[0].dataBuffer + 32768, sent[2].dataBuffer);
  EXPECT_EQ((T_Bytes{0x27, 0, DRIVE, 0, 0, 0, 0x37, 0, 4, 0, 0, 0, 0, 0, 0, 0}), sent[3].cdb);
  EXPECT_EQ(DDFF::DDFF_STATUS_PENDING, m_store.status.status);

  C_DDFF back;
  ASSERT_NO_THROW(back.Read(m_store.request.data(), m_store.request.size(), "sent"));
  EXPECT_EQ(size, m_store.request.size());
  // The request's own image, rebuilt from the same fields.
  EXPECT_EQ(0, std::memcmp(program.request.GetRequest(), m_store.request.data(), size));
  EXPECT_EQ("ACME", back.GetDriveVendorId());
  EXPECT_EQ("DISK 9000/X", back.GetDriveProductId());
  EXPECT_EQ("A1B2", back.GetDriveRevision());
  EXPECT_EQ("A1B2", back.GetRomOldRevision());
  EXPECT_EQ("SN12345", back.GetDriveSerialNumber());
  EXPECT_EQ(DDFF::DDFF_RQ_DEBUG | DDFF::DDFF_RQ_FAST, back.GetRequestFlags());
  EXPECT_EQ(2u, back.GetInstructionCount());
  EXPECT_EQ(40000u, back.GetDataSize());
}

TEST_F(DeferScsiTargetTest, FailedChunkStopsAndLeavesTheRequestNotPending) {
  m_store.fault = [](const T_Recorded& r) {
    return r.cdb[0] == 0x27 && r.cdb[4] == 2 ? 0x4321 : 0;
  };
  const T_Bytes image = Pattern(40000);
  S_Program program;
  EXPECT_EQ(0x4321, DeferFlash(image, program.request));
  const std::vector<T_Recorded> sent = ControllerRequests();
  ASSERT_EQ(2u, sent.size());
  EXPECT_EQ(0x36, sent[1].cdb[6]);
  EXPECT_EQ(0u, m_store.status.status);
}

TEST_F(DeferScsiTargetTest, CancelOnlyCancelsAPendingRequest) {
  struct S_Case {
    std::uint32_t statusSize, status;
    int senseResult, setResult;
    bool setsCancelled;
    int result;
  } const cases[] = {
      {44, 0x02, 0, 0, true, 0},  {44, 0x40, 0, 0, true, 0},   {44, 0x02, 0, 77, true, 77},
      {44, 0x04, 0, 0, false, 0}, {44, 0x01, 0, 0, false, 0},  {44, 0x10, 0, 0, false, 0},
      {44, 0x22, 0, 0, false, 0}, {0, 0x02, 0, 0, false, 0},   {44, 0x02, 99, 0, false, 0},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(stringFormat("status %#x size %u", c.status, c.statusSize));
    m_driver->ClearCommands();
    m_store.status.statusSize = c.statusSize;
    m_store.status.status = c.status;
    m_store.fault = [&c](const T_Recorded& r) {
      return r.cdb[6] == 0x27 ? c.senseResult : r.cdb[6] == 0x37 ? c.setResult : 0;
    };
    S_Program program;
    const T_Bytes image = Pattern(1000);
    EXPECT_EQ(c.result,
              DeferFlash(image, program.request, {"Debug=true", "Cancel=true", "Dump=true"}));
    const std::vector<T_Recorded> sent = ControllerRequests();
    ASSERT_EQ(c.setsCancelled ? 2u : 1u, sent.size());
    EXPECT_EQ(0x27, sent[0].cdb[6]);
    if (c.setsCancelled) {
      EXPECT_EQ((T_Bytes{0x08, 0, 0, 0}), sent[1].dataOut);
    }
    EXPECT_EQ(0u, program.request.GetRequestFlags());  // the request is not touched
  }
}

TEST_F(DeferScsiTargetTest, InitPublishesTheStatusBlock) {
  S_DDFF_Status error = {};
  error.statusSize = 44;
  error.status = DDFF::DDFF_STATUS_ERROR;
  const std::uint8_t stamp[8] = {9, 3, 0xD3, 0x07, 5, 4, 7, 0};  // 03/09/2003 7:04:05
  std::memcpy(&error.requestTime, stamp, 8);
  std::memcpy(&error.updateTime, stamp, 8);
  error.updateTime.bytes[6] = 23;
  std::memcpy(error.oldRomRevision, "Q1\0\0", 4);
  error.failingInstruction = 0x6C;
  error.camStatus = 0x4;
  error.senseKey = 0xB;
  error.asc = 0x4;
  error.asq = 0x1;
  S_DDFF_Status success = error;
  success.status = DDFF::DDFF_STATUS_SUCCESS;
  std::memcpy(success.oldRomRevision, "ZQ07", 4);
  S_DDFF_Status pending = success;
  pending.status = DDFF::DDFF_STATUS_PENDING;
  S_DDFF_Status mixed = success;
  mixed.status = 0x22;

  typedef std::map<std::string, std::string> T_Attrs;
  const T_Attrs common = {{"ActiveFirmwareRev", "A1B2"},
                          {"DDFFVer", "0101"},
                          {"pDDFFVer", "0101"},
                          {"pHasDDFF", "true"},
                          {"HasDDFF", "true"},
                          {"RequestTime", "03/09/2003  7:04:05"},
                          {"UpdateTime", "03/09/2003 23:04:05"}};
  const T_Attrs errorOnly = {{"CamStatus", "4"}, {"SenseKey", "b"}, {"SenseASC", "04"},
                             {"SenseASQ", "01"}, {"Instruction", "6C"}};
  struct S_Case {
    const char* name;
    S_DDFF_Status status;
    T_Attrs expected;
  } const cases[] = {
      {"success", success, {{"DeferResult", "success"}, {"OldVersion", "ZQ07"}}},
      {"pending", pending, {{"DeferResult", "pending"}, {"OldVersion", "ZQ07"}}},
      {"error", error, {{"DeferResult", "error"}, {"OldVersion", "Q1  "}}},
      {"pending and error", mixed, {{"DeferResult", "22"}, {"OldVersion", "ZQ07"}}},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_store.status = c.status;
    Identify();
    T_Attrs expected = common;
    expected.insert(c.expected.begin(), c.expected.end());
    if (c.status.status & DDFF::DDFF_STATUS_ERROR) {
      expected.insert(errorOnly.begin(), errorOnly.end());
    }
    for (const auto& name : {"ActiveFirmwareRev", "DDFFVer", "pDDFFVer", "pHasDDFF", "HasDDFF",
                             "DeferResult", "OldVersion", "RequestTime", "UpdateTime", "CamStatus",
                             "SenseKey", "SenseASC", "SenseASQ", "Instruction"}) {
      SCOPED_TRACE(name);
      EXPECT_EQ(expected.count(name), m_target->GetAttributes().count(name));
      EXPECT_EQ(expected[name], m_target->GetAttribute(name));
    }
  }
}

TEST_F(DeferScsiTargetTest, InitDerivesTheVersionAttributesFromTheParent) {
  struct S_Case {
    const char* hasDDFF;
    const char* version;
    const char* pHas;
    const char* has;
  } const cases[] = {
      {"true", "0101", "true", "true"}, {"true", "", "true", "false"},
      {"TRUE", "0101", "false", "false"}, {"", "0102", "false", "false"},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(stringFormat("%s %s", c.hasDDFF, c.version));
    m_controller->AddAttribute("HasDDFF", c.hasDDFF);
    m_controller->AddAttribute("DDFFVer", c.version);
    m_store.fault = [](const T_Recorded&) { return 5; };  // no status: none published
    Identify();
    EXPECT_EQ(c.version, m_target->GetAttribute("pDDFFVer"));
    EXPECT_EQ(c.pHas, m_target->GetAttribute("pHasDDFF"));
    EXPECT_EQ(c.has, m_target->GetAttribute("HasDDFF"));
    EXPECT_EQ("0101", m_target->GetAttribute("DDFFVer"));
    EXPECT_EQ(0u, m_target->GetAttributes().count("DeferResult"));
  }
}

// A target id that is not a controller's.
class C_OtherTargetId : public C_TargetId {
 public:
  std::string GetString() const override { return "other"; }
};

TEST_F(DeferScsiTargetTest, NoControllerIdAnswers2AndNoParentAnswers1) {
  T_Bytes data(100);
  S_DDFF_Status status;
  S_Program program;
  const std::function<int(C_Target&)> calls[] = {
      [&](C_Target& t) { return t.DoWriteDeferredUpdate(data.data(), 100, 16384); },
      [&](C_Target& t) { return t.DoReadDeferredUpdate(data.data(), 100, 16384); },
      [&](C_Target& t) { return t.DoSenseDeferredUpdateStatus(&status, 44); },
      [&](C_Target& t) { return t.DoSetDeferredUpdateStatus(8); },
      [&](C_Target& t) { return t.DeferFlash(data.data(), 100, &program.request, 0); },
      [&](C_Target& t) { return t.Dump(); },
  };
  C_OtherTargetId other;
  C_QarnTargetId qarn("array0", 1);
  C_Target orphan;
  orphan.SetTargetId(&qarn);
  m_driver->ClearCommands();
  for (std::size_t i = 0; i < sizeof calls / sizeof calls[0]; ++i) {
    SCOPED_TRACE(i);
    C_TargetId* own = m_target->GetTargetId();
    m_target->SetTargetId(nullptr);
    EXPECT_EQ(2, calls[i](*m_target));
    m_target->SetTargetId(&other);
    EXPECT_EQ(2, calls[i](*m_target));
    m_target->SetTargetId(own);
    EXPECT_EQ(1, calls[i](orphan));
  }
  orphan.SetTargetId(nullptr);
  EXPECT_TRUE(ControllerRequests().empty());
}

// Records what the named operation hands to the virtual DeferFlash.
class C_RecordingTarget : public C_DeferScsiTarget {
 public:
  int DeferFlash(const void* i_image, unsigned int i_length, C_DDFF* i_request,
                 unsigned int i_arguments) override {
    image = i_image;
    length = i_length;
    request = i_request;
    arguments = i_arguments;
    return 42;
  }
  const void* image = nullptr;
  unsigned int length = 0;
  C_DDFF* request = nullptr;
  unsigned int arguments = 0;
};

TEST(DeferScsiTargetArgumentsTest, DeferFlashArguments) {
  C_RecordingTarget target;
  C_DDFF request;
  const std::string image = Text(&target);
  const std::string req = Text(&request);
  struct S_Case {
    std::vector<std::string> args;
    int result;
    unsigned int arguments;
  } const cases[] = {
      {{"DeferFlash", image, "0x20", req}, 42, 0},
      {{"DeferFlash", image, "32", req, "Debug=true", "Downgrade=true", "Reflash=true",
        "Fast=true"},
       42, 0xF},
      {{"DeferFlash", image, "32", req, "Cancel=true", "Dump=true", "Cancel=true"}, 42, 0x300},
      {{"DeferFlash", "0", "0", req}, 42, 0},
      {{"DeferFlash", image, "32"}, 1025, 0},
      {{"DeferFlash", image, "32", "0"}, 1025, 0},
      {{"DeferFlash", "0", "32", req}, 1025, 0},
      {{"DeferFlash", image, "32", req, "Debug=false"}, 1025, 0},
      {{"DeferFlash", image, "32", req, "Debug"}, 1025, 0},
      {{"DeferFlash", image, "32", req, "debug=true"}, 1025, 0},
      {{"DeferFlash", image, "32", req, "Verify=true"}, 1025, 0},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.args.size() > 4 ? c.args[4] : c.args[1]);
    target.request = nullptr;
    std::vector<const char*> argv;
    for (const std::string& a : c.args) argv.push_back(a.c_str());
    argv.push_back(nullptr);
    const int argc = static_cast<int>(c.args.size());
    EXPECT_EQ(c.result, target.CallOperation("DeferFlash", argc, argv.data()));
    if (c.result != 42) {
      EXPECT_EQ(nullptr, target.request);
      continue;
    }
    EXPECT_EQ(&request, target.request);
    EXPECT_EQ(c.arguments, target.arguments);
    EXPECT_EQ(c.args[1] == "0" ? nullptr : static_cast<const void*>(&target), target.image);
    EXPECT_EQ(ParseUnsigned(c.args[2].c_str()), target.length);
  }
  if (sizeof(unsigned long) > 4) {
    const char* tooLong[] = {"DeferFlash", image.c_str(), "0x100000000", req.c_str(), nullptr};
    EXPECT_EQ(1025, target.CallOperation("DeferFlash", 4, tooLong));
  }
  C_DeferScsiTarget plain;
  EXPECT_EQ(1025, plain.DeferFlash(nullptr, 0, &request, 0x400));
  EXPECT_EQ(1025, plain.DeferFlash(nullptr, 10, &request, 0));
  EXPECT_EQ(1025, plain.DeferFlash(nullptr, 0, nullptr, 0));
}

TEST_F(DeferScsiTargetTest, FlashAnswers1AndSendsNothing) {
  const T_Bytes image = Pattern(100);
  EXPECT_EQ(1, Call({"Flash", "100", Text(image.data())}));
  EXPECT_EQ(1, m_target->Flash(const_cast<std::uint8_t*>(image.data()), 100));
  EXPECT_TRUE(m_driver->Commands().empty());
}

TEST_F(DeferScsiTargetTest, DumpWritesTheHeldRequestToTheNamedFile) {
  const C_TempDir& dir = m_dumps;
  Identify();
  const std::string file = dir.File("ACME_DISK9000X_SN12345_D.dat");
  EXPECT_EQ(file, m_target->GetDumpFileName());

  const T_Bytes image = Pattern(9000);  // 204 + 80 + 9000 -> 9728: 48 bytes, then 3 reads
  S_Program program;
  ASSERT_EQ(0, DeferFlash(image, program.request, {"Dump=true"}));
  const std::vector<T_Recorded> sent = ControllerRequests();
  ASSERT_EQ(1u + 1u + 1u + 3u, sent.size());
  EXPECT_EQ((T_Bytes{0x26, 0, DRIVE, 1, 1, 0, 0x26, 0, 48, 0}), sent[2].cdb);
  EXPECT_EQ(3, sent[5].cdb[3]);
  EXPECT_EQ(3, sent[5].cdb[4]);
  EXPECT_EQ(9728u - 8192u, sent[5].dataLength);
  const std::string dumped = ReadFileBytes(file);
  EXPECT_EQ(std::string(m_store.request.begin(), m_store.request.end()), dumped);
  C_DDFF back;
  ASSERT_NO_THROW(back.Read(file));
  EXPECT_EQ(9000u, back.GetDataSize());

  // Not a request: the 48 bytes read are kept for a look.
  m_store.request.assign(512, 0xEE);
  ASSERT_EQ(0, m_target->Dump());
  EXPECT_EQ(std::string(48, '\xEE'), ReadFileBytes(file));

  // A failing read leaves no file and nothing else behind.
  std::filesystem::remove(file);
  m_store.request.assign(program.request.GetRequest(), program.request.GetRequest() + 9728);
  m_store.fault = [](const T_Recorded& r) {
    return r.cdb[6] == 0x26 && r.cdb[4] == 2 ? 31 : 0;
  };
  EXPECT_EQ(31, m_target->Dump());
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));

  // A file that cannot be put in place (a directory holds its name): 1, and
  // the temporary file is gone.
  m_store.fault = nullptr;
  std::filesystem::create_directories(file + "/keep");
  EXPECT_EQ(1, m_target->Dump());
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(dir.Path()), {}));
  std::filesystem::remove_all(file);

  // A directory that cannot take the file: 1.
  C_Target::SetDumpDirectory(dir.File("missing"));
  EXPECT_EQ(1, m_target->Dump());
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

}  // namespace
