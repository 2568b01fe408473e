// The simulated controller's commands: status, restart, and reset as the
// way out of a state file that cannot be read.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

using nlohmann::json;

namespace {

// Reset is also the way out of a state file that cannot be read.
TEST(VekctlSimTest, StatusShowsTheStateAndResetReturnsToTheFleet) {
  C_Vekctl vekctl;
  ASSERT_EQ(vekctl.Run({"flash", vekctl.Image("KS-4000", "0103"), "hba0:0", "--yes"}).status, 0);
  const json status = vekctl.Json({"sim", "status"});
  EXPECT_EQ(status["state"], vekctl.File("state.json"));
  ASSERT_EQ(status["controllers"].size(), 2u);
  EXPECT_EQ(status["controllers"][0]["drives"][0]["firmware"], "0103");
  EXPECT_EQ(status["controllers"][1]["drives"].size(), 4u);

  EXPECT_EQ(vekctl.Run({"sim", "reset"}).status, 0);
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");
  // Restart names only array controllers.
  EXPECT_EQ(vekctl.Json({"sim", "restart"})["restarted"],
            json::parse(R"([{"controller":"array0","requestsRun":0}])"));
  for (const char* name : {"hba0", "array9"}) {
    const C_Vekctl::S_Result result = vekctl.Run({"sim", "restart", name});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(Has(result.err, "no such array controller"));
  }

  WriteFileBytes(vekctl.File("state.json"), "{ not json");
  for (const auto& args : {std::vector<std::string>{"list"}, {"sim", "status"}}) {
    const C_Vekctl::S_Result result = vekctl.Run(args);
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(Has(result.err, vekctl.File("state.json")));
  }
  EXPECT_EQ(ReadFileBytes(vekctl.File("state.json")), "{ not json");
  EXPECT_EQ(vekctl.Run({"sim", "reset"}).status, 0);
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");
}

}  // namespace

#endif
