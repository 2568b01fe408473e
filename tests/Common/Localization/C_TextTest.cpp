#include "Common/Localization/C_Text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "CatalogDir.h"
#include "Common/Localization/Local.h"
#include "Common/Localization/N_PrintfFormat.h"

namespace {

using Local::C_Text;

// Catalog template first, default text when the catalog has none, and never
// a lookup for number 0xFFFE.
TEST(C_Text, TemplateChoice) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=catalog <n>\n65534=must not be used\n2=\n", "text");
  Local::Register("text", 0x110, catalogs.Directory());
  struct {
    unsigned short number;
    const char* defaultText;
    const char* expected;
  } const cases[] = {
      {1, "default <n>", "catalog 3"},
      {9, "default <n>", "default 3"},
      {2, "default for empty <n>", "default for empty 3"},
      {Local::NOT_IN_CATALOG, "formatted &lt;<n>&gt;", "formatted <3>"},
  };
  for (const auto& c : cases) {
    C_Text text(Local::MakeMsgId(0x110, c.number), c.defaultText);
    text.AddArg("n", 3);
    EXPECT_EQ(text.GetString("en_US"), c.expected);
  }
  EXPECT_EQ(C_Text().GetString("en_US"), "");
}

TEST(C_Text, CopiesAreDeep) {
  C_Text source(0x10001, "<a> <b>");
  source.AddArg("a", std::string("alpha"));
  source.AddArg("b", 2.5);
  C_Text copy(source);
  copy.ClearArgs();
  EXPECT_EQ(copy.GetString("en_US"), " ");
  EXPECT_EQ(source.GetString("en_US"), "alpha 2.500000");

  C_Text assigned;
  assigned = source;
  EXPECT_NE(assigned.GetArg("a"), source.GetArg("a"));  // cloned, not shared
  EXPECT_EQ(assigned.GetMsgId(), 0x10001u);
  source.AddArg("a", std::string("replaced"));  // replacing deletes the old argument
  EXPECT_EQ(source.GetString("en_US"), "replaced 2.500000");
  assigned = assigned;
  EXPECT_EQ(assigned.GetString("en_US"), "alpha 2.500000");
}

// snprintf's result of exactly the buffer size still counts as success;
// formats that do not fit the value are refused, not run.
TEST(C_TextArg, LenientRuleAndRefusedFormats) {
  char buffer[8];
  C_Text::C_Arg<int> value(42);
  ASSERT_TRUE(value.Format(buffer, 4, "%04d"));
  EXPECT_STREQ(buffer, "004");
  EXPECT_FALSE(value.Format(buffer, 3, "%04d"));
  EXPECT_FALSE(value.Format(buffer, sizeof buffer, "%s"));
  EXPECT_FALSE(C_Text::C_StringArg("x").Format(buffer, sizeof buffer, "%d"));
  EXPECT_FALSE(C_Text::C_Arg<double>(1.0).Format(buffer, sizeof buffer, "%n"));
  EXPECT_FALSE(value.Format(buffer, 0, nullptr));

  std::tm when{};
  when.tm_year = 2024 - 1900;
  when.tm_mon = 1;
  when.tm_mday = 29;
  when.tm_isdst = -1;
  C_Text::C_TimeArg time{C_Time(std::mktime(&when))};
  char wide[64];
  ASSERT_TRUE(time.Format(wide, sizeof wide, nullptr));  // "%c"
  EXPECT_NE(std::strstr(wide, "2024"), nullptr);
  EXPECT_FALSE(time.Format(wide, 4, "%Y-%m-%d"));  // does not fit
}

TEST(C_Text, FormatArgBuffers) {
  C_Text text;
  text.AddArg("short", std::string(255, 's'));
  text.AddArg("exact", std::string(256, 'e'));
  text.AddArg("long", std::string(5000, 'l'));
  text.AddArg("huge", std::string(70000, 'h'));
  std::string out;
  ASSERT_TRUE(text.FormatArg("short", "", out));
  EXPECT_EQ(out, std::string(255, 's'));
  ASSERT_TRUE(text.FormatArg("exact", "", out));
  EXPECT_EQ(out, std::string(255, 'e'));  // the lenient rule loses the last one
  ASSERT_TRUE(text.FormatArg("long", "", out));
  EXPECT_EQ(out, std::string(5000, 'l'));
  EXPECT_FALSE(text.FormatArg("huge", "", out));
  EXPECT_EQ(out, "");
  EXPECT_FALSE(text.FormatArg("absent", "", out));
}

TEST(N_PrintfFormat, AcceptsOnlyFormatsThatFitTheKind) {
  using namespace Local::N_PrintfFormat;
  struct {
    const char* format;
    E_Kind kind;
    bool safe;
  } const cases[] = {
      {"%d", INT, true},           {"%-+ #0'8.3i", INT, true},   {"%hhx", UNSIGNED_INT, true},
      {"100%% of %u", UNSIGNED_INT, true},                       {"", STRING, true},
      {"%lX", UNSIGNED_LONG, true}, {"%d", LONG, false},         {"%lld", LONG, false},
      {"%ld", INT, false},         {"%.2le", DOUBLE, true},      {"%Lf", DOUBLE, false},
      {"%d", DOUBLE, false},       {"%-20.5s", STRING, true},    {"%ls", STRING, false},
      {"%c", STRING, false},       {"%n", INT, false},           {"%*d", INT, false},
      {"%1$d", INT, false},        {"%d %d", INT, false},        {"abc%", STRING, false},
      {"%9999d", INT, true},       {"%10000d", INT, false},      {"%.10000f", DOUBLE, false},
      {"%zu", UNSIGNED_LONG, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    EXPECT_EQ(IsSafe(c.format, c.kind), c.safe);
  }
  EXPECT_FALSE(IsSafe(nullptr, INT));
}

}  // namespace
