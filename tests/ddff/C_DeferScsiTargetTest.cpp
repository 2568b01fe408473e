// The deferred-flash target: the controller requests it sends (recorded
// byte for byte by the scripted driver), answered by the simulated array
// controller (drivers/sim's C_SimArray), which keeps the request it is sent.
// Cancelling, the attributes read back and the dump file. (The array's
// agent running a request: tests/sim.)

#include "ddff/C_DeferScsiTarget.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>

#include "ddff/C_DDFF.h"
#include "drivers/sim/C_SimArray.h"
#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"
#include "tests/targets/TargetTest.h"

namespace {

typedef C_DeferScsiTarget C_Target;

const std::uint8_t DRIVE = 2;  // the fixture's target "array0:2"

T_Bytes Pattern(std::size_t i_size) {
  T_Bytes bytes(i_size);
  for (std::size_t i = 0; i < i_size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 13 + i / 256);
  return bytes;
}

// A request with an instruction program, as a host fills it.
struct S_Program {
  C_DDFF request;
  S_Program() {
    const std::uint8_t writeBuffer[10] = {0x3B, 0x07};
    request.AddInstruction(C_DDFF::C_ScsiInstruction(writeBuffer, 10));
    request.AddInstruction(C_DDFF::C_ControllerInstruction(DDFF::DDFF_CMD_DEVICE_RESET));
  }
};

class DeferScsiTargetTest : public C_TargetFixture<C_Target> {
 protected:
  DeferScsiTargetTest() : m_array(m_controllerRecord, m_store.Path()) {
    // "Dump=true" writes to the working directory: make it a temporary one.
    EXPECT_EQ(0, ::chdir(m_dumps.Path().c_str()));
    m_controller->AddAttribute("HasDDFF", "true");
    m_controller->AddAttribute("DDFFVer", "0101");
    m_controllerRecord.name = "array0";
    m_controllerRecord.kind = "array";
    m_controllerRecord.drives.resize(1);
    m_controllerRecord.drives[0].number = DRIVE;
    m_controllerRecord.drives[0].kind = "deferred";
    // Controller requests go to the array unless m_fault answers them.
    m_driver->Reply([](const T_Recorded& c) { return c.requestType == 2; },
                    T_Script::Handler([this](Driver::S_Command& c, const T_Recorded& r) {
                      if (int code = m_fault ? m_fault(r) : 0) return code;
                      bool changed = false;
                      return m_array.Execute(c, m_transient, changed);
                    }));
  }
  ~DeferScsiTargetTest() override { EXPECT_EQ(0, ::chdir(m_previousDir.c_str())); }

  // Identifies the drive: "ACME", "DISK 9000/X", "A1B2", serial "SN12345".
  void Identify() {
    T_Bytes inquiry(56, ' ');
    const std::string identity = "ACME    DISK 9000/X     A1B2";
    std::copy(identity.begin(), identity.end(), inquiry.begin() + 8);
    m_driver->Reply(StandardInquiry(), T_Script::Data(inquiry));
    m_driver->Reply(VpdPage(0x80), T_Script::Data({0, 0x80, 0, 7, 'S', 'N', '1', '2', '3', '4', '5'}));
    ASSERT_FALSE(m_target->Init());
    m_driver->ClearCommands();
  }
  // Gives the array a request whose status block is i_status.
  void Store(const S_DDFF_Status& i_status) {
    C_DDFF request;
    T_Bytes image(request.GetRequest(), request.GetRequest() + request.GetRequestSize());
    std::memcpy(&image[48], &i_status, sizeof i_status);
    ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(image.data(), static_cast<std::uint32_t>(image.size()), 16384));
    m_driver->ClearCommands();
  }
  S_DDFF_Status StoredStatus() {
    S_DDFF_Status status = {};
    const T_Bytes stored = m_array.StoredRequest(DRIVE);
    if (stored.size() >= 92) std::memcpy(&status, &stored[48], sizeof status);
    return status;
  }
  std::vector<T_Recorded> ControllerRequests() const {
    std::vector<T_Recorded> out;
    for (const T_Recorded& c : m_driver->Commands()) {
      if (c.requestType == 2) out.push_back(c);
    }
    return out;
  }
  int DeferFlash(const T_Bytes& i_image, C_DDFF& io_request, const T_Args& i_switches = {}) {
    T_Args args = {"DeferFlash", AddressText(i_image.data()), std::to_string(i_image.size()),
                   AddressText(&io_request)};
    args.insert(args.end(), i_switches.begin(), i_switches.end());
    return Call(args);
  }

  const std::string m_previousDir = N_FileUtilities::GetCurrentDirectory();
  C_TempDir m_dumps, m_store;
  S_SimController m_controllerRecord;
  C_SimArray::S_Transient m_transient;
  C_SimArray m_array;
  std::function<int(const T_Recorded&)> m_fault;
};

// Chunks numbered from 1 of the count, lengths most significant byte first,
// each pointing into the caller's buffer, through the parent's
// ExecuteCommand, with controller type 2, flags 0x04 and a 255-byte sense
// buffer; what is read back is what was written.
TEST_F(DeferScsiTargetTest, TransfersAreNumberedChunksThroughTheParent) {
  const T_Bytes data = Pattern(40000);
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(data.data(), 40000, 16384));
  T_Bytes back(40000);
  ASSERT_EQ(0, m_target->DoReadDeferredUpdate(back.data(), 40000, 16384));
  EXPECT_EQ(data, m_array.StoredRequest(DRIVE));
  EXPECT_EQ(data, back);
  const std::vector<T_Recorded> sent = ControllerRequests();
  ASSERT_EQ(6u, sent.size());
  const T_Bytes cdbs[] = {
      {0x27, 0, DRIVE, 3, 1, 0, 0x36, 0x40, 0x00, 0}, {0x27, 0, DRIVE, 3, 2, 0, 0x36, 0x40, 0x00, 0},
      {0x27, 0, DRIVE, 3, 3, 0, 0x36, 0x1C, 0x40, 0}, {0x26, 0, DRIVE, 3, 1, 0, 0x26, 0x40, 0x00, 0},
      {0x26, 0, DRIVE, 3, 2, 0, 0x26, 0x40, 0x00, 0}, {0x26, 0, DRIVE, 3, 3, 0, 0x26, 0x1C, 0x40, 0}};
  for (std::size_t i = 0; i < 6; ++i) {
    const std::uint32_t length = i % 3 == 2 ? 7232 : 16384;
    EXPECT_EQ(T_Block(cdbs[i], length, 255, 0x04, i < 3 ? 0 : 1, 2), Block(sent[i])) << i;
    EXPECT_EQ((i < 3 ? data.data() : back.data()) + 16384 * (i % 3), sent[i].dataBuffer);
    EXPECT_NE(nullptr, sent[i].senseBuffer);
    EXPECT_EQ(m_controller, sent[i].device);
  }
}

TEST_F(DeferScsiTargetTest, StatusRequests) {
  S_DDFF_Status status = {};
  status.statusSize = 44;
  status.status = DDFF::DDFF_STATUS_SUCCESS;
  Store(status);
  S_DDFF_Status read;
  ASSERT_EQ(0, m_target->DoSenseDeferredUpdateStatus(&read, 44));
  EXPECT_EQ(0, std::memcmp(&status, &read, 44));
  ASSERT_EQ(0, m_target->DoSetDeferredUpdateStatus(0x12345608));
  EXPECT_EQ(0x12345608u, StoredStatus().status);
  const std::vector<T_Recorded> sent = ControllerRequests();
  ASSERT_EQ(2u, sent.size());
  EXPECT_EQ(T_Block({0x26, 0, DRIVE, 0, 0, 0, 0x27, 0, 44, 0, 0, 0, 0, 0, 0, 0}, 44, 255, 0x04, 1, 2), Block(sent[0]));
  EXPECT_EQ(T_Block({0x27, 0, DRIVE, 0, 0, 0, 0x37, 0, 4, 0, 0, 0, 0, 0, 0, 0}, 4, 255, 0x04, 0, 2), Block(sent[1]));
  EXPECT_EQ((T_Bytes{0x08, 0x56, 0x34, 0x12}), sent[1].dataOut);
}

TEST_F(DeferScsiTargetTest, TransferLimitsRefuseBeforeSending) {
  m_driver->SetRecordData(false);
  const T_Bytes data(255 * 16384 + 1);
  EXPECT_EQ(1025, m_target->DoWriteDeferredUpdate(data.data(), 255 * 16384 + 1, 16384));
  EXPECT_EQ(1025, m_target->DoWriteDeferredUpdate(data.data(), 100, 0));
  EXPECT_EQ(1025, m_target->DoWriteDeferredUpdate(data.data(), 100, 65536));
  EXPECT_EQ(1025, m_target->DoReadDeferredUpdate(nullptr, 100, 4096));
  // An image that fits but whose request does not: refused once built.
  S_Program program;
  EXPECT_EQ(1025, m_target->DeferFlash(data.data(), 255 * 16384, &program.request, 0));
  EXPECT_EQ(1025, m_target->DeferFlash(data.data(), 255 * 16384 + 1, &program.request, 0));
  EXPECT_TRUE(ControllerRequests().empty());
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(data.data(), 255 * 16384, 16384));
  ASSERT_EQ(255u, ControllerRequests().size());
  EXPECT_EQ(255, ControllerRequests().back().cdb[4]);
}

// The request is filled with the drive's identity, sent whole, then marked
// pending; a chunk refused stops it, and nothing is marked.
TEST_F(DeferScsiTargetTest, DeferFlashSendsTheIdentifiedRequestAndMarksItPending) {
  Identify();
  const T_Bytes image = Pattern(40000);
  S_Program program;
  ASSERT_EQ(0, DeferFlash(image, program.request, {"Debug=true", "Fast=true"}));

  const std::vector<T_Recorded> sent = ControllerRequests();
  const std::uint32_t size = program.request.GetRequestSize();  // 204 + 80 + 40000 -> 40448
  ASSERT_EQ(40448u, size);
  ASSERT_EQ(4u, sent.size());
  T_Bytes uploaded;
  for (std::size_t i = 0; i < 3; ++i) uploaded.insert(uploaded.end(), sent[i].dataOut.begin(), sent[i].dataOut.end());
  EXPECT_EQ(T_Bytes(program.request.GetRequest(), program.request.GetRequest() + size), uploaded);
  EXPECT_EQ((T_Bytes{0x27, 0, DRIVE, 0, 0, 0, 0x37, 0, 4, 0, 0, 0, 0, 0, 0, 0}), sent[3].cdb);

  const T_Bytes stored = m_array.StoredRequest(DRIVE);
  C_DDFF back;
  ASSERT_NO_THROW(back.Read(stored.data(), stored.size(), "sent"));
  EXPECT_EQ((T_Args{"ACME", "DISK 9000/X", "A1B2", "A1B2", "SN12345"}),
            (T_Args{back.GetDriveVendorId(), back.GetDriveProductId(), back.GetDriveRevision(),
                    back.GetRomOldRevision(), back.GetDriveSerialNumber()}));
  EXPECT_EQ(DDFF::DDFF_RQ_DEBUG | DDFF::DDFF_RQ_FAST, back.GetRequestFlags());
  EXPECT_EQ(2u, back.GetInstructionCount());
  EXPECT_EQ(40000u, back.GetDataSize());
  EXPECT_EQ(DDFF::DDFF_STATUS_PENDING, back.GetStatus().status);

  m_fault = [](const T_Recorded& r) { return r.cdb[0] == 0x27 && r.cdb[4] == 2 ? 0x4321 : 0; };
  m_driver->ClearCommands();
  EXPECT_EQ(0x4321, DeferFlash(image, program.request));
  ASSERT_EQ(2u, ControllerRequests().size());
  EXPECT_EQ(0x36, ControllerRequests()[1].cdb[6]);
  EXPECT_EQ(stored, m_array.StoredRequest(DRIVE));  // the earlier request, still as it was
}

// Only a pending request (0x02, or 0x40) is cancelled, and nothing else is
// done; a status that cannot be read cancels nothing and is no error.
TEST_F(DeferScsiTargetTest, CancelOnlyCancels) {
  const struct { std::uint32_t statusSize, status; int senseResult, setResult; bool setsCancelled; int result; }
  cases[] = {
      {44, 0x02, 0, 0, true, 0},   {44, 0x40, 0, 0, true, 0},  {44, 0x02, 0, 77, true, 77},
      {44, 0x04, 0, 0, false, 0},  {44, 0x22, 0, 0, false, 0}, {0, 0x02, 0, 0, false, 0},
      {44, 0x02, 99, 0, false, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(stringFormat("status %#x size %u", c.status, c.statusSize));
    S_DDFF_Status status = {};
    status.statusSize = c.statusSize;
    status.status = c.status;
    m_fault = nullptr;
    Store(status);
    m_fault = [&c](const T_Recorded& r) {
      return r.cdb[6] == 0x27 ? c.senseResult : r.cdb[6] == 0x37 ? c.setResult : 0;
    };
    const T_Bytes image = Pattern(1000);
    S_Program program;
    EXPECT_EQ(c.result, DeferFlash(image, program.request, {"Debug=true", "Cancel=true", "Dump=true"}));
    const std::vector<T_Recorded> sent = ControllerRequests();
    ASSERT_EQ(c.setsCancelled ? 2u : 1u, sent.size());
    EXPECT_EQ(0x27, sent[0].cdb[6]);
    EXPECT_EQ(c.setsCancelled ? T_Bytes({0x08, 0, 0, 0}) : T_Bytes(), sent.back().dataOut);
    EXPECT_EQ(c.setsCancelled && !c.result ? 0x08 : c.status, StoredStatus().status);
    EXPECT_EQ(0u, program.request.GetRequestFlags());  // the request is not touched
  }
}

TEST_F(DeferScsiTargetTest, InitPublishesTheStatusBlock) {
  // The status block as the controller returns it; the status (byte 8) and
  // the old revision (byte 28) are set per case.
  const T_Bytes block = {44, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // size, reserved, status
                         9, 3, 0xD3, 0x07, 5, 4, 7, 0,  // requested 03/09/2003 7:04:05
                         9, 3, 0xD3, 0x07, 5, 4, 23, 0,  // updated 03/09/2003 23:04:05
                         0, 0, 0, 0, 0x6C, 0, 0, 0, 0, 0, 0, 0,  // old revision, failing instruction, target
                         0x04, 0x0B, 0x04, 0x01};  // CAM status, sense key, ASC, ASQ
  const char* const NAMES[] = {"DeferResult", "OldVersion", "RequestTime", "UpdateTime", "CamStatus",
                               "SenseKey",    "SenseASC",   "SenseASQ",    "Instruction"};
  // The published values in the order of NAMES, "-" where not published.
  const std::string times = " 03/09/2003  7:04:05 03/09/2003 23:04:05";
  const struct { std::uint32_t status; const char* oldRevision; std::string published; } cases[] = {
      {DDFF::DDFF_STATUS_SUCCESS, "ZQ07", "success ZQ07" + times + " - - - - -"},
      {DDFF::DDFF_STATUS_PENDING, "ZQ07", "pending ZQ07" + times + " - - - - -"},
      {DDFF::DDFF_STATUS_ERROR, "Q1\0\0", "error Q1  " + times + " 4 b 04 01 6C"},
      {0x22, "ZQ07", "22 ZQ07" + times + " 4 b 04 01 6C"},  // pending and error
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.published);
    S_DDFF_Status status;
    std::memcpy(&status, block.data(), 44);
    status.status = c.status;
    std::memcpy(status.oldRomRevision, c.oldRevision, 4);
    Store(status);
    Identify();
    std::string published;
    for (const char* name : NAMES) {
      const bool has = m_target->GetAttributes().count(name) != 0;
      published += (published.empty() ? "" : " ") + (has ? m_target->GetAttribute(name) : "-");
    }
    EXPECT_EQ(c.published, published);
    EXPECT_EQ("A1B2", m_target->GetAttribute("ActiveFirmwareRev"));
  }
}

// "pHasDDFF" is the parent's "HasDDFF" of exactly "true", "pDDFFVer" its
// "DDFFVer"; "HasDDFF" needs both; without a status none of it is published.
TEST_F(DeferScsiTargetTest, InitDerivesTheVersionAttributesFromTheParent) {
  const struct { const char *hasDDFF, *version, *pHas, *has; } cases[] = {
      {"true", "0101", "true", "true"}, {"true", "", "true", "false"},
      {"TRUE", "0101", "false", "false"}, {"", "0102", "false", "false"},
  };
  m_fault = [](const T_Recorded&) { return 5; };
  for (const auto& c : cases) {
    SCOPED_TRACE(stringFormat("%s %s", c.hasDDFF, c.version));
    m_controller->AddAttribute("HasDDFF", c.hasDDFF);
    m_controller->AddAttribute("DDFFVer", c.version);
    Identify();
    EXPECT_EQ((T_Args{c.version, c.pHas, c.has, "0101"}),
              (T_Args{m_target->GetAttribute("pDDFFVer"), m_target->GetAttribute("pHasDDFF"),
                      m_target->GetAttribute("HasDDFF"), m_target->GetAttribute("DDFFVer")}));
    EXPECT_EQ(0u, m_target->GetAttributes().count("DeferResult"));
  }
}

// Without a controller's target id a transfer answers 2, without a parent
// 1; the target has no direct flash either (1).
TEST_F(DeferScsiTargetTest, NoControllerIdNoParentNoDirectFlash) {
  T_Bytes data(100);
  S_DDFF_Status status;
  C_QarnTargetId qarn("array0", 1);
  C_Target orphan;
  orphan.SetTargetId(&qarn);
  C_TargetId* own = m_target->GetTargetId();
  m_target->SetTargetId(nullptr);
  const std::pair<C_Target*, int> cases[] = {{m_target, 2}, {&orphan, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.second, c.first->DoWriteDeferredUpdate(data.data(), 100, 16384));
    EXPECT_EQ(c.second, c.first->DoSenseDeferredUpdateStatus(&status, 44));
    EXPECT_EQ(c.second, c.first->DoSetDeferredUpdateStatus(8));
  }
  orphan.SetTargetId(nullptr);
  m_target->SetTargetId(own);  // the tree frees it
  EXPECT_EQ(1, Call({"Flash", "100", AddressText(data.data())}));
  EXPECT_EQ(1, m_target->Flash(data.data(), 100));
  EXPECT_TRUE(m_driver->Commands().empty());
}

// Records what the named operation hands to the virtual DeferFlash.
class C_RecordingTarget : public C_DeferScsiTarget {
 public:
  int DeferFlash(const void* i_image, unsigned int i_length, C_DDFF* i_request, unsigned int i_arguments) override {
    std::tie(image, length, request, arguments) = std::make_tuple(i_image, i_length, i_request, i_arguments);
    return 42;
  }
  const void* image = nullptr;
  C_DDFF* request = nullptr;
  unsigned int length = 0, arguments = 0;
};

// Image address, length, request address, then named switches "Name=value":
// a switch is set only by the text "true"; any other value leaves it unset
// and the flash goes ahead. Names the operation does not know are refused.
TEST(DeferScsiTargetArgumentsTest, DeferFlashArguments) {
  C_RecordingTarget target;
  C_DDFF request;
  const std::string image = AddressText(&target), req = AddressText(&request);
  const struct { T_Args args; int result; unsigned int arguments; } cases[] = {
      {{"DeferFlash", image, "0x20", req}, 42, 0},
      {{"DeferFlash", image, "32", req, "Debug=true", "Downgrade=true", "Reflash=true", "Fast=true"}, 42, 0xF},
      {{"DeferFlash", image, "32", req, "Cancel=true", "Dump=true", "Cancel=true"}, 42, 0x300},
      {{"DeferFlash", "0", "0", req}, 42, 0},
      {{"DeferFlash", image, "32"}, 1025, 0},
      {{"DeferFlash", image, "32", "0"}, 1025, 0},
      {{"DeferFlash", "0", "32", req}, 1025, 0},
      {{"DeferFlash", image, "32", req, "Dump=false", "Debug=TRUE", "Fast=1", "Reflash=true"}, 42, 0x4},
      {{"DeferFlash", image, "32", req, "Cancel=true", "Cancel=false", "Debug="}, 42, 0},  // the last one counts
      {{"DeferFlash", image, "32", req, "Verify=true"}, 1025, 0},
      {{"DeferFlash", image, "32", req, "Debug"}, 1025, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    target.request = nullptr;
    EXPECT_EQ(c.result, CallOp(target, c.args));
    if (c.result != 42) {
      EXPECT_EQ(nullptr, target.request);
      continue;
    }
    EXPECT_EQ(&request, target.request);
    EXPECT_EQ(c.arguments, target.arguments);
    EXPECT_EQ(c.args[1] == "0" ? nullptr : static_cast<const void*>(&target), target.image);
    EXPECT_EQ(ParseUnsigned(c.args[2].c_str()), target.length);
  }
  // A length past 32 bits, where a pointer is wider.
  EXPECT_EQ(sizeof(unsigned long) > 4 ? 1025 : 42, CallOp(target, {"DeferFlash", image, "0x100000000", req}));
  C_DeferScsiTarget plain;
  EXPECT_EQ(1025, plain.DeferFlash(nullptr, 0, &request, 0x400));
  EXPECT_EQ(1025, plain.DeferFlash(nullptr, 10, &request, 0));
  EXPECT_EQ(1025, plain.DeferFlash(nullptr, 0, nullptr, 0));
}

TEST_F(DeferScsiTargetTest, DumpWritesTheHeldRequestToTheNamedFile) {
  const C_TempDir& dir = m_dumps;
  Identify();
  const std::string file = dir.File("ACME_DISK9000X_SN12345_D.dat");
  EXPECT_EQ(file, m_target->GetDumpFileName(dir.Path()));

  // 204 + 80 + 9000 -> 9728 bytes: the 48-byte header, then 3 reads.
  const T_Bytes image = Pattern(9000);  // the request keeps pointing at it
  S_Program program;
  ASSERT_EQ(0, DeferFlash(image, program.request, {"Dump=true"}));
  const std::vector<T_Recorded> sent = ControllerRequests();
  ASSERT_EQ(1u + 1u + 1u + 3u, sent.size());
  EXPECT_EQ((T_Bytes{0x26, 0, DRIVE, 1, 1, 0, 0x26, 0, 48, 0}), sent[2].cdb);
  EXPECT_EQ((T_Bytes{0x26, 0, DRIVE, 3, 3, 0, 0x26, 0x06, 0x00, 0}), sent[5].cdb);
  EXPECT_EQ(9728u - 8192u, sent[5].dataLength);
  const T_Bytes stored = m_array.StoredRequest(DRIVE);
  EXPECT_EQ(std::string(stored.begin(), stored.end()), ReadFileBytes(file));

  // Not a request: the 48 bytes read are kept for a look.
  const T_Bytes other(512, 0xEE);
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(other.data(), 512, 16384));
  ASSERT_EQ(0, m_target->Dump(dir.Path()));
  EXPECT_EQ(std::string(48, '\xEE'), ReadFileBytes(file));

  // The size read is data offset + data size, rounded up to 512: for a
  // request without data that is nothing after the header read.
  C_DDFF noData;
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(noData.GetRequest(), 512, 16384));
  ASSERT_EQ(0, m_target->Dump(dir.Path()));
  EXPECT_EQ("", ReadFileBytes(file));

  // A failing read leaves no file and nothing else behind.
  std::filesystem::remove(file);
  ASSERT_EQ(0, m_target->DoWriteDeferredUpdate(stored.data(), 9728, 16384));
  m_fault = [](const T_Recorded& r) { return r.cdb[6] == 0x26 && r.cdb[4] == 2 ? 31 : 0; };
  EXPECT_EQ(31, m_target->Dump(dir.Path()));
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));

  // A file that cannot be opened (a directory holds its name): 1.
  m_fault = nullptr;
  std::filesystem::create_directories(file + "/keep");
  EXPECT_EQ(1, m_target->Dump(dir.Path()));
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(dir.Path()), {}));
  std::filesystem::remove_all(file);

  // A directory that cannot take the file: 1.
  EXPECT_EQ(1, m_target->Dump(dir.File("missing")));
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

}  // namespace
