// Deferred flashing through vekctl: the request goes to the array
// controller, its agent runs it when the controller restarts, and the
// status, cancel and dump commands read it back. Skipped while the module
// lacks the deferred-flash target.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

#include "ddff/C_DDFF.h"

using nlohmann::json;

namespace {

class VekctlDeferTest : public testing::Test {
 protected:
  C_Vekctl m_vekctl;
};

// --expect of a deferred flash is checked when the status is read: a
// pending request is not there yet. A second request replaces a pending
// one only with --replace.
TEST_F(VekctlDeferTest, FlashIsPendingUntilTheAgentRuns) {
  const std::string image = m_vekctl.Image("ZQ-SAS-146", "ZQ06");
  int status = -1;
  const json flash =
      m_vekctl.Json({"flash", image, "array0:2", "--yes", "--expect", "ZQ06"}, &status);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(flash["drives"].size(), 1u);
  EXPECT_EQ(flash["drives"][0]["result"], "pending");
  EXPECT_EQ(flash["drives"][0]["method"], "deferred request");
  EXPECT_TRUE(Has(flash["drives"][0]["message"].get<std::string>(),
                  "defer status array0:2 --expect ZQ06"));
  EXPECT_EQ(m_vekctl.Revision("array0:2"), "ZQ05");
  const json again = m_vekctl.Json({"flash", image, "array0:2", "--yes"}, &status);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(again["drives"][0]["result"], "refused");
  EXPECT_EQ(m_vekctl.Run({"flash", image, "array0:2", "--yes", "--replace"}).status, 0);

  const json before = m_vekctl.Json({"defer", "status", "array0:2", "--expect", "ZQ06"}, &status);
  EXPECT_EQ(status, 4);
  EXPECT_EQ(before["request"]["result"], "pending");
  EXPECT_EQ(before["request"]["oldRevision"], "ZQ05");
  EXPECT_EQ(m_vekctl.Json({"sim", "restart"})["restarted"][0]["requestsRun"], 1);

  const json after = m_vekctl.Json({"defer", "status", "array0:2", "--expect", "ZQ06"}, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(after["request"]["result"], "success") << after.dump();
  EXPECT_EQ(after["revision"], "ZQ06");
  EXPECT_EQ(m_vekctl.Revision("array0:2"), "ZQ06");
}

TEST_F(VekctlDeferTest, AFailedRequestReportsTheInstructionAndSense) {
  // An image for another product: the drive refuses its header with the
  // first WRITE BUFFER (instruction 0).
  m_vekctl.Run({"flash", m_vekctl.Image("ZQ-SAS-300", "ZQ12"), "array0:2", "--yes", "--force"});
  m_vekctl.Run({"sim", "restart", "array0"});
  int exit = 0;
  const json status = m_vekctl.Json({"defer", "status", "array0:2"}, &exit);
  EXPECT_EQ(exit, 3);
  EXPECT_EQ(status["request"]["result"], "error");
  const json& error = status["request"]["error"];
  EXPECT_EQ(error["instruction"], 0);
  EXPECT_EQ(error["senseKey"], 5);
  EXPECT_EQ(error["asc"], 0x26);
  EXPECT_EQ(error["sense"], "ILLEGAL REQUEST, invalid field in parameter list");
  EXPECT_EQ(m_vekctl.Revision("array0:2"), "ZQ05");
}

TEST_F(VekctlDeferTest, CancelOnlyAPendingRequest) {
  const json nothing = m_vekctl.Json({"defer", "cancel", "array0:3"});
  EXPECT_EQ(nothing["result"], "");
  EXPECT_EQ(nothing["cancelled"], false);

  m_vekctl.Run({"flash", m_vekctl.Image("ZQ-SAS-300", "ZQ12"), "array0:3", "--yes"});
  const json cancelled = m_vekctl.Json({"defer", "cancel", "array0:3"});
  EXPECT_EQ(cancelled["cancelled"], true);
  EXPECT_EQ(m_vekctl.Json({"sim", "restart"})["restarted"][0]["requestsRun"], 0);
  EXPECT_EQ(m_vekctl.Revision("array0:3"), "ZQ11");

  const C_Vekctl::S_Result again = m_vekctl.Run({"defer", "cancel", "array0:3"});
  EXPECT_EQ(again.status, 0);
  EXPECT_TRUE(Has(again.out, "already cancelled"));
  const json already = m_vekctl.Json({"defer", "cancel", "array0:3"});
  EXPECT_EQ(already["result"], "cancelled");
  EXPECT_EQ(already["cancelled"], false) << "this call cancelled nothing";
}

TEST_F(VekctlDeferTest, DumpWritesTheControllersCopyWhichVerifies) {
  const std::string image = m_vekctl.Image("ZQ-SAS-146", "ZQ06");
  m_vekctl.Run({"flash", image, "array0:2", "--yes"});
  const json dump = m_vekctl.Json({"defer", "dump", "array0:2", "--dir", m_vekctl.Dir()});
  const std::string file = dump["file"];
  EXPECT_EQ(file, m_vekctl.File("ZQ_ZQ-SAS-146_ZQS146C003_D.dat"));

  C_DDFF request;
  ASSERT_NO_THROW(request.Read(file));
  EXPECT_EQ(request.GetDriveSerialNumber(), "ZQS146C003");
  EXPECT_EQ(request.GetStatus().status, DDFF::DDFF_STATUS_PENDING);
  EXPECT_EQ(request.GetDataSize(), ReadFileBytes(image).size());
  EXPECT_EQ(m_vekctl.Run({"ddff", "verify", file}).status, 0);
}

// Refused before anything reaches the controller: the defer commands on a
// drive without deferred flash, and a request too large for the
// controller (255 chunks of 16384 bytes; this image alone fills them).
TEST_F(VekctlDeferTest, RefusalsSendNothing) {
  const std::string big = m_vekctl.Image("ZQ-SAS-146", "ZQ06", 255 * 16384);
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"defer", "status", "hba0:0"}, "not a deferred-flash drive"},
      {{"defer", "cancel", "hba0:0"}, "not a deferred-flash drive"},
      {{"defer", "dump", "hba0:0"}, "not a deferred-flash drive"},
      {{"flash", big, "array0:2", "--yes"}, "at most 4177920 bytes"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first[1]);
    const C_Vekctl::S_Result result = m_vekctl.Run(c.first);
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(Has(result.err, c.second));
  }
  EXPECT_EQ(m_vekctl.Json({"defer", "status", "array0:2"})["request"], nullptr);
}

}  // namespace

#endif
