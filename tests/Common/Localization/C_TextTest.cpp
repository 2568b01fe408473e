#include "Common/Localization/C_Text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "CatalogDir.h"
#include "Common/Localization/Local.h"
#include "Common/Localization/N_PrintfFormat.h"
#include "host/C_Descriptor.h"

namespace {

using Local::C_Text;

TEST(C_Text, NewTextIsEmpty) {
  C_Text text;
  EXPECT_EQ(text.GetMsgId(), Local::NO_MESSAGE_ID);
  EXPECT_EQ(text.GetString("en_US"), "");
  EXPECT_EQ(text.GetString(), "");
}

// Catalog template first, default text when the catalog has none, and never
// a lookup for number 0xFFFE.
TEST(C_Text, TemplateChoice) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=catalog <n>\n65534=must not be used\n2=\n", "text");
  Local::Register("text", 0x110, catalogs.Directory());

  C_Text found(Local::MakeMsgId(0x110, 1), "default <n>");
  found.AddArg("n", 3);
  EXPECT_EQ(found.GetString("en_US"), "catalog 3");

  C_Text missing(Local::MakeMsgId(0x110, 9), "default <n>");
  missing.AddArg("n", 3);
  EXPECT_EQ(missing.GetString("en_US"), "default 3");

  C_Text empty(Local::MakeMsgId(0x110, 2), "default for empty");
  EXPECT_EQ(empty.GetString("en_US"), "default for empty");

  C_Text never(Local::MakeMsgId(0x110, Local::NOT_IN_CATALOG), "formatted &lt;<n>&gt;");
  never.AddArg("n", 4);
  EXPECT_EQ(never.GetString("en_US"), "formatted <4>");
}

TEST(C_Text, CopiesAreDeep) {
  C_Text source(0x10001, "<a> <b>");
  source.AddArg("a", std::string("alpha"));
  source.AddArg("b", 2.5);
  C_Text copy(source);
  copy.ClearArgs();
  EXPECT_EQ(copy.GetString("en_US"), " ");
  EXPECT_EQ(source.GetString("en_US"), "alpha 2.500000");
  ASSERT_NE(source.GetArg("a"), nullptr);

  C_Text assigned;
  assigned = source;
  EXPECT_NE(assigned.GetArg("a"), source.GetArg("a"));  // cloned, not shared
  EXPECT_EQ(assigned.GetMsgId(), 0x10001u);
  EXPECT_EQ(assigned.GetString("en_US"), "alpha 2.500000");
  source.AddArg("a", std::string("replaced"));  // replacing deletes the old argument
  EXPECT_EQ(assigned.GetString("en_US"), "alpha 2.500000");
  EXPECT_EQ(source.GetString("en_US"), "replaced 2.500000");
  assigned = assigned;
  EXPECT_EQ(assigned.GetString("en_US"), "alpha 2.500000");
}

TEST(C_Text, DescriptorIdIsMapped) {
  // An unregistered descriptor clears the facility field (registration
  // itself is covered by LocalTest, which owns the dynamic codes).
  C_Descriptor nobody("Nobody", "text.test.nobody");
  C_Text text(0x12345678, nobody, "d");
  EXPECT_EQ(text.GetMsgId(), 0x10005678u);
  text.SetMsgId(0xF7FF0001, nobody, "e");
  EXPECT_EQ(text.GetMsgId(), 0xF0000001u);
  EXPECT_EQ(text.GetDefaultText(), "e");
}

TEST(C_TextArg, DefaultFormatsOfEachKind) {
  char buffer[64];
  struct {
    const C_Text::C_TextArg& arg;
    const char* expected;
  } const cases[] = {
      {C_Text::C_Arg<int>(-42), "-42"},
      {C_Text::C_Arg<unsigned int>(4000000000u), "4000000000"},
      {C_Text::C_Arg<long>(-7), "-7"},
      {C_Text::C_Arg<unsigned long>(123456789ul), "123456789"},
      {C_Text::C_Arg<double>(0.5), "0.500000"},
      {C_Text::C_StringArg("text"), "text"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    std::memset(buffer, 'x', sizeof buffer);
    ASSERT_TRUE(c.arg.Format(buffer, sizeof buffer, nullptr));
    EXPECT_STREQ(buffer, c.expected);
    std::unique_ptr<C_Text::C_TextArg> clone(c.arg.Clone());
    ASSERT_TRUE(clone->Format(buffer, sizeof buffer, nullptr));
    EXPECT_STREQ(buffer, c.expected);
  }
  EXPECT_STREQ(C_Text::C_Arg<int>::sm_stdFormat, "%d");
  EXPECT_STREQ(C_Text::C_Arg<unsigned long>::sm_stdFormat, "%lu");
}

TEST(C_TextArg, ExplicitFormatsAndTheLenientRule) {
  char buffer[8];
  C_Text::C_Arg<int> value(42);
  ASSERT_TRUE(value.Format(buffer, sizeof buffer, "%04d"));
  EXPECT_STREQ(buffer, "0042");
  // Exactly the buffer size: one character lost, still success.
  ASSERT_TRUE(value.Format(buffer, 4, "%04d"));
  EXPECT_STREQ(buffer, "004");
  EXPECT_FALSE(value.Format(buffer, 3, "%04d"));
  // Formats that do not fit the value are refused, not run.
  EXPECT_FALSE(value.Format(buffer, sizeof buffer, "%s"));
  EXPECT_FALSE(value.Format(buffer, sizeof buffer, "%d%d"));
  EXPECT_FALSE(C_Text::C_StringArg("x").Format(buffer, sizeof buffer, "%d"));
  EXPECT_FALSE(C_Text::C_Arg<double>(1.0).Format(buffer, sizeof buffer, "%n"));
  EXPECT_FALSE(value.Format(buffer, 0, nullptr));
}

TEST(C_TextArg, TimeUsesStrftime) {
  std::tm when{};
  when.tm_year = 2024 - 1900;
  when.tm_mon = 1;
  when.tm_mday = 29;
  when.tm_hour = 13;
  when.tm_min = 5;
  when.tm_isdst = -1;
  C_Text::C_TimeArg arg{C_Time(std::mktime(&when))};
  char buffer[64];
  ASSERT_TRUE(arg.Format(buffer, sizeof buffer, "%Y-%m-%d %H:%M"));
  EXPECT_STREQ(buffer, "2024-02-29 13:05");
  ASSERT_TRUE(arg.Format(buffer, sizeof buffer, nullptr));  // "%c"
  EXPECT_NE(std::strstr(buffer, "2024"), nullptr);
  EXPECT_FALSE(arg.Format(buffer, 4, "%Y-%m-%d"));  // does not fit
}

TEST(C_Text, FormatArgBuffers) {
  C_Text text;
  text.AddArg("short", std::string(255, 's'));
  text.AddArg("exact", std::string(256, 'e'));
  text.AddArg("long", std::string(5000, 'l'));
  text.AddArg("huge", std::string(70000, 'h'));
  text.AddArg("n", 7u);
  std::string out;
  ASSERT_TRUE(text.FormatArg("short", "", out));
  EXPECT_EQ(out, std::string(255, 's'));
  ASSERT_TRUE(text.FormatArg("exact", "", out));
  EXPECT_EQ(out, std::string(255, 'e'));  // the lenient rule loses the last one
  ASSERT_TRUE(text.FormatArg("long", "", out));
  EXPECT_EQ(out, std::string(5000, 'l'));
  EXPECT_FALSE(text.FormatArg("huge", "", out));
  EXPECT_EQ(out, "");
  ASSERT_TRUE(text.FormatArg("n", "%#x", out));
  EXPECT_EQ(out, "0x7");
  EXPECT_FALSE(text.FormatArg("absent", "", out));
}

TEST(N_PrintfFormat, AcceptsOnlyFormatsThatFitTheKind) {
  using namespace Local::N_PrintfFormat;
  struct {
    const char* format;
    E_Kind kind;
    bool safe;
  } const cases[] = {
      {"%d", INT, true},           {"%-+ #0'8.3i", INT, true}, {"%hhx", UNSIGNED_INT, true},
      {"%c", INT, true},           {"100%% of %u", UNSIGNED_INT, true},
      {"plain text", INT, true},   {"", STRING, true},
      {"%ld", LONG, true},         {"%lX", UNSIGNED_LONG, true}, {"%d", LONG, false},
      {"%lld", LONG, false},       {"%ld", INT, false},
      {"%f", DOUBLE, true},        {"%.2le", DOUBLE, true},      {"%Lf", DOUBLE, false},
      {"%d", DOUBLE, false},       {"%s", STRING, true},         {"%-20.5s", STRING, true},
      {"%ls", STRING, false},      {"%s", INT, false},           {"%c", STRING, false},
      {"%n", INT, false},          {"%*d", INT, false},          {"%.*s", STRING, false},
      {"%1$d", INT, false},        {"%d %d", INT, false},        {"%", INT, false},
      {"abc%", STRING, false},     {"%9999d", INT, true},        {"%10000d", INT, false},
      {"%.10000f", DOUBLE, false}, {"%p", UNSIGNED_LONG, false}, {"%zu", UNSIGNED_LONG, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    EXPECT_EQ(IsSafe(c.format, c.kind), c.safe);
  }
  EXPECT_FALSE(IsSafe(nullptr, INT));
}

}  // namespace
