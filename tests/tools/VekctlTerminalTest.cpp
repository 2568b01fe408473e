// vekctl on a real (pseudo-)terminal: the confirmation prompt, the
// progress bars and colour, and NO_COLOR.
#include "C_Vekctl.h"

#ifdef VEKCTL_FILE

#include <gtest/gtest.h>

namespace {

const char PROMPT[] = "[y/N] ";

TEST(VekctlTerminalTest, PromptThenProgressBarsThenColouredTable) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  const C_Vekctl::S_Result run =
      vekctl.RunOnTerminal({"flash", image, "hba0:0", "hba0:1", "--force"}, PROMPT, "y\n");
  EXPECT_EQ(run.status, 5) << run.out;  // hba0:1 is another product and refuses the image
  EXPECT_TRUE(Has(run.out, "to 2 drives? [y/N] "));
  // A bar per drive, redrawn in place, ending full for the drive that took it all.
  EXPECT_TRUE(Has(run.out, "hba0:0  [########################] 100%  96.1 KiB/96.1 KiB"));
  // The refusing drive's bar never moves: its first segment was refused.
  EXPECT_TRUE(Has(run.out, "hba0:1  [------------------------]   0%  0 B/96.1 KiB"));
  EXPECT_TRUE(Has(run.out, "\033[2A"));
  EXPECT_TRUE(Has(run.out, "\033[32msuccess\033[0m"));
  EXPECT_TRUE(Has(run.out, "\033[31mfailed\033[0m"));
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0103");
  EXPECT_EQ(vekctl.Revision("hba0:1"), "A310");
}

TEST(VekctlTerminalTest, AnythingButYesSendsNothing) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  for (const char* answer : {"n\n", "\n", "yess\n"}) {
    SCOPED_TRACE(answer);
    const C_Vekctl::S_Result run = vekctl.RunOnTerminal({"flash", image, "hba0:0"}, PROMPT, answer);
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_TRUE(Has(run.out, "not confirmed; nothing was sent"));
  }
  EXPECT_EQ(vekctl.Revision("hba0:0"), "0102");
}

// On a narrow terminal every bar is cut to fit: a line that wraps leaves
// stale copies behind at each redraw.
TEST(VekctlTerminalTest, NoColorKeepsTheTerminalPlainAndBarsFitItsWidth) {
  C_Vekctl vekctl;
  const std::string image = vekctl.Image("KS-4000", "0103");
  const C_Vekctl::S_Result run =
      vekctl.RunOnTerminal({"flash", image, "hba0:0", "--yes"}, "", "", {"NO_COLOR=1"}, 50);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Has(run.out, "100%"));
  EXPECT_EQ(run.out.find("\033[3"), std::string::npos) << "no colour: " << run.out;
  EXPECT_EQ(run.out.find("\033[1m"), std::string::npos);
  int bars = 0;
  for (std::size_t at = run.out.find('\r'); at != std::string::npos;
       at = run.out.find('\r', at + 1)) {
    const std::size_t end = run.out.find("\033[K", at);
    if (end == std::string::npos) break;
    if (run.out.find('\n', at) < end) continue;  // a line end, not a redraw
    EXPECT_LT(end - at - 1, 50u) << run.out.substr(at + 1, end - at - 1);
    ++bars;
  }
  EXPECT_GT(bars, 0);
}

}  // namespace

#endif
