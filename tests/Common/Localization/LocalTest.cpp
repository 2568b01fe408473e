// The facility registry, message texts with their arguments, and the
// printf-format check.
#include "Common/Localization/Local.h"

#include <gtest/gtest.h>

#include <cstring>

#include "CatalogDir.h"
#include "Common/Localization/C_Text.h"
#include "Common/Localization/N_PrintfFormat.h"
#include "host/C_Descriptor.h"

namespace {

using Local::C_Text;

// Each test registers its own facility codes; codes stay registered for the
// life of the process, so no two tests share one.

TEST(Local, NamedRegistrationAndLookup) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=one\n2=two\n");
  EXPECT_EQ(Local::Register("disk", 0x101, catalogs.Directory()), 0x101);
  EXPECT_EQ(Local::GetFacilityName(0x101), "disk");
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x101, 2), "fr_FR"), "two");  // through en_US
  // Bits 27-31 belong to the id's maker and do not disturb the lookup.
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x101, 1) | 0xF8000000, "en_US"), "one");

  // Registering the code again wakes it; name and directory stay.
  Local::Unregister(0x101);
  EXPECT_FALSE(Local::IsRegistered(0x101));
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x101, 1), "en_US"), "one");  // dormant still answers
  EXPECT_EQ(Local::Register("other", 0x101, "/nowhere/"), 0x101);
  EXPECT_TRUE(Local::IsRegistered(0x101));
  EXPECT_EQ(Local::GetFacilityName(0x101), "disk");
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x101, 1), "en_US"), "one");

  // Unknown facilities answer nothing.
  EXPECT_EQ(Local::GetFacilityName(0x7FE), "");
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x7FE, 1), "en_US"), "");
  EXPECT_FALSE(Local::SetDirectory(0x7FE, "/"));
}

// A missing catalog is searched for once per locale; SetDirectory forgets.
TEST(Local, MissingCatalogIsCachedUntilSetDirectory) {
  C_CatalogDir catalogs;
  Local::Register("cached", 0x102, catalogs.Directory());
  const unsigned id = Local::MakeMsgId(0x102, 5);
  EXPECT_EQ(Local::GetString(id, "en_US"), "");
  catalogs.Write("en_US", "5=five\n", "cached");
  EXPECT_EQ(Local::GetString(id, "en_US"), "");      // not searched again
  EXPECT_EQ(Local::GetString(id, "de_DE"), "five");  // a new locale searches
  EXPECT_TRUE(Local::SetDirectory(0x102, catalogs.Directory()));
  EXPECT_EQ(Local::GetString(id, "en_US"), "five");
}

// All descriptor registrations of this test program happen here, so the
// first one is the first of the process.
TEST(Local, DescriptorRegistrationAndMapMsgId) {
  C_Descriptor first("First Component", "vendor.first");
  C_Descriptor sameKey("Renamed", "VENDOR.First");
  C_Descriptor second("Second", "vendor.second");
  C_Descriptor unknown("Nobody", "vendor.nobody");

  EXPECT_EQ(Local::Register(first, "/nowhere/"), 0x8001);
  EXPECT_EQ(Local::Register(sameKey, "/elsewhere/"), 0x8001);
  EXPECT_EQ(Local::Register(second, "/nowhere/"), 0x8002);
  EXPECT_EQ(Local::GetFacilityName(0x8001), "First Component");

  // Only 11 bits of the code fit: 0x8001 becomes 0x001; creator bits stay;
  // an unregistered descriptor clears the facility field.
  EXPECT_EQ(Local::MapMsgId(0xF8AB0042, first), 0xF8010042u);
  EXPECT_EQ(Local::MapMsgId(0x07FF0042, second), 0x00020042u);
  EXPECT_EQ(Local::MapMsgId(0x12345678, unknown), 0x10005678u);
  EXPECT_EQ(C_Text(0x07FF0001, sameKey, "d").GetMsgId(), 0x00010001u);
  C_Text text;
  text.SetMsgId(0xF7FF0001, unknown, "e");
  EXPECT_EQ(text.GetMsgId(), 0xF0000001u);

  Local::Unregister(sameKey);
  EXPECT_FALSE(Local::IsRegistered(0x8001));
  EXPECT_EQ(Local::MapMsgId(0x42, first), 0x00010042u);  // dormant facilities still map
  EXPECT_EQ(Local::Register(first, "/nowhere/"), 0x8001);
  EXPECT_TRUE(Local::IsRegistered(0x8001));
}

TEST(Local, CurrentLocale) {
  Local::SetDefaultLocale();
  const std::string environment = Local::GetLocale();
  EXPECT_FALSE(environment.empty());
  Local::SetLocale("C");
  EXPECT_EQ(Local::GetLocale(), "C");
  Local::SetLocale("xx_NOWHERE.bogus");  // the C library has no such locale
  EXPECT_EQ(Local::GetLocale(), environment);

  // GetString(id) asks for the current locale: "C" has its own catalog here.
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=english\n", "current");
  catalogs.Write("C", "1=c locale\n", "current");
  Local::Register("current", 0x103, catalogs.Directory());
  Local::SetLocale("C");
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x103, 1)), "c locale");
  EXPECT_EQ(Local::GetString(Local::MakeMsgId(0x103, 1), "POSIX"), "english");
}

// Catalog template first, default text when the catalog has none, and never
// a lookup for number 0xFFFE.
TEST(C_Text, TemplateChoice) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=catalog <n>\n65534=must not be used\n2=\n", "text");
  Local::Register("text", 0x110, catalogs.Directory());
  struct { unsigned short number; const char* defaultText; const char* expected; } const cases[] = {
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
  // Setting a name again overwrites the entry; the earlier argument is not
  // deleted: its owner deletes it (a text that deleted it: a double free).
  const C_Text::C_TextArg* earlier = source.GetArg("a");
  source.AddArg("a", std::string("replaced"));
  EXPECT_EQ(source.GetString("en_US"), "replaced 2.500000");
  delete earlier;
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
  // Any integer format fits any integer: the value goes at the width the
  // format names.
  ASSERT_TRUE(C_Text::C_Arg<int>(255).Format(buffer, sizeof buffer, "%#lX"));
  EXPECT_STREQ(buffer, "0XFF");
  ASSERT_TRUE(C_Text::C_Arg<unsigned long>(7).Format(buffer, sizeof buffer, "%03u"));
  EXPECT_STREQ(buffer, "007");
  EXPECT_FALSE(C_Text::C_StringArg("x").Format(buffer, sizeof buffer, "%d"));
  EXPECT_FALSE(C_Text::C_Arg<double>(1.0).Format(buffer, sizeof buffer, "%n"));
  EXPECT_FALSE(value.Format(buffer, 0, nullptr));

  C_Text::C_TimeArg time{C_Time(1719835200)};  // 2024-07-01 12:00 UTC: 2024 in every time zone
  char wide[64];
  ASSERT_TRUE(time.Format(wide, sizeof wide, nullptr));  // "%c"
  EXPECT_NE(std::strstr(wide, "2024"), nullptr);
  EXPECT_FALSE(time.Format(wide, 4, "%Y-%m-%d"));  // does not fit
}

// Results up to 255 characters fit the first buffer, one of 256 loses its
// last character by the lenient rule, longer ones get a 64 KiB buffer.
TEST(C_Text, FormatArgBuffers) {
  struct { std::size_t length; std::size_t shown; } const cases[] = {
      {255, 255}, {256, 255}, {5000, 5000}, {70000, 0}};
  for (const auto& c : cases) {
    C_Text text;
    text.AddArg("s", std::string(c.length, 's'));
    EXPECT_EQ(text.FormatArg("s", ""), std::string(c.shown, 's')) << c.length;
  }
  EXPECT_EQ(C_Text().FormatArg("absent", ""), "");
}

TEST(N_PrintfFormat, AcceptsOnlyFormatsThatFitTheKind) {
  using namespace Local::N_PrintfFormat;
  struct { const char* format; E_Kind kind; bool safe; } const cases[] = {
      {"%d", INT, true},           {"%-+ #0'8.3i", INT, true},   {"%hhx", UNSIGNED_INT, true},
      {"100%% of %u", UNSIGNED_INT, true},                       {"", STRING, true},
      {"%lX", UNSIGNED_LONG, true}, {"%d", LONG, true},          {"%lld", LONG, false},
      {"%ld", INT, true},          {"%lc", INT, false},          {"%hu", UNSIGNED_LONG, true},
      {"%.2le", DOUBLE, true},     {"%Lf", DOUBLE, false},       {"%f", INT, false},
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
