#include "Common/Localization/C_StringTable.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <set>

#include "CatalogDir.h"
#include "foundation/N_FileUtilities.h"

namespace {

// Which catalog the search takes, for installed locales and a wanted one.
TEST(C_StringTable, LocaleFallbackChain) {
  const struct { const char* wanted; std::set<std::string> installed; const char* taken; /* "" none */ } cases[] = {
      {"de_DE.UTF-8@euro", {"de_DE.UTF-8@euro", "de"}, "de_DE.UTF-8@euro"},
      {"de_DE.UTF-8@euro", {"de_DE.UTF-8", "de"}, "de_DE.UTF-8"},
      {"de_DE.UTF-8@euro", {"de_DE", "de", "en_US"}, "de_DE"},
      {"de_DE.UTF-8@euro", {"de", "en_US"}, "de"},
      {"de_DE.UTF-8@euro", {"en_US"}, "en_US"},
      {"de_DE.UTF-8@euro", {"en"}, "en"},
      {"fr", {}, ""},
      {"en_GB", {"en_US"}, ""},  // en_GB, en, and no second try of en_US
      {"en_GB", {"en", "en_US"}, "en"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wanted);
    C_CatalogDir catalogs;
    for (const std::string& loc : c.installed) catalogs.Write(loc, "1=" + loc + "\n");
    Local::C_StringTable table(catalogs.Facility(), c.wanted);
    EXPECT_EQ(table.IsGood(), *c.taken != '\0');
    EXPECT_EQ(table.GetFileName(), *c.taken ? catalogs.Path(c.taken) : "");
    EXPECT_EQ(table.GetString(1), c.taken);
  }
}

TEST(C_StringTable, GetStringReadsTheFileEachTime) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=one\n7=  \"  seven \"\n65535=last\n12=first\n12=second\n");
  Local::C_StringTable table(catalogs.Facility(), "en_US");
  EXPECT_EQ(table.GetString(7), "  seven ");
  EXPECT_EQ(table.GetString(65535), "last");
  EXPECT_EQ(table.GetString(12), "first");
  EXPECT_EQ(table.GetString(2), "");
  // Nothing is cached: an edited catalog answers at once; a removed one
  // answers nothing.
  catalogs.Write("en_US", "1=changed\n");
  EXPECT_EQ(table.GetString(1), "changed");
  ASSERT_EQ(::unlink(catalogs.Path("en_US").c_str()), 0);
  EXPECT_EQ(table.GetString(1), "");
}

TEST(C_StringTable, BareFacilityNameIsRelativeToCurrentDirectory) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=relative\n");
  std::string old = N_FileUtilities::GetCurrentDirectory();
  ASSERT_EQ(::chdir(catalogs.Directory().c_str()), 0);
  Local::C_StringTable table("disk", "en_US");
  std::string name = table.GetFileName();
  std::string text = table.GetString(1);
  ASSERT_EQ(::chdir(old.c_str()), 0);
  EXPECT_EQ(name, "locale/en_US/disk.msg");
  EXPECT_EQ(text, "relative");
}

// A file in the right place is taken only when its keys fit; files of any
// content never crash the reader and never throw.
TEST(C_StringTable, ContentsChecked) {
  static const char kGarbage[] = "\0\xff\x01[=\n=\"\n1=ok";
  const std::string header = "Signature=0x2BE1FEED\nLocale=en_US\nFacility=disk\n";
  struct { const char* what; std::string contents; bool good; const char* one; } const cases[] = {
      {"hexadecimal signature", header + "1=x\n", true, "x"},
      {"decimal signature, keys in any order, quoted",
       "Facility=\"disk\"\nLocale= en_US \nSignature=736231149\n1=x", true, "x"},
      {"wrong signature", "Signature=0x2BE1FEEE\nLocale=en_US\nFacility=disk\n1=x\n", false, ""},
      {"locale of the shorter name", "Signature=0x2BE1FEED\nLocale=en\nFacility=disk\n1=x\n", false, ""},
      {"locale in other case", "Signature=0x2BE1FEED\nLocale=EN_us\nFacility=disk\n1=x\n", false, ""},
      {"locale longer", "Signature=0x2BE1FEED\nLocale=en_US.UTF-8\nFacility=disk\n1=x\n", false, ""},
      {"other facility", "Signature=0x2BE1FEED\nLocale=en_US\nFacility=disks\n1=x\n", false, ""},
      {"keys in a section", "[x]\n" + header + "1=x\n", false, ""},
      {"carriage returns", "Signature=0x2BE1FEED\r\nLocale=en_US\r\nFacility=disk\r\n1=x\n", false, ""},
      {"empty file", "", false, ""},
      {"no line feeds", "Signature=0x2BE1FEED Locale=en_US Facility=disk 1=x", false, ""},
      {"key with no value", header + "1=\n", true, ""},
      {"binary garbage after the keys", header + std::string(kGarbage, sizeof kGarbage - 1), true, "ok"},
      {"huge number key", header + "99999999999999999999=x\n1=y\n", true, "y"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    C_CatalogDir catalogs;
    catalogs.Write("en_US", "", "disk", &c.contents);
    Local::C_StringTable table(catalogs.Facility(), "en_US");
    EXPECT_EQ(table.GetString(1), c.one);
    EXPECT_EQ(table.IsGood(), c.good);
    EXPECT_EQ(Local::C_StringTable::ContentsAreOk(catalogs.Path("en_US"), "en_US", "disk"), c.good);
  }
}

}  // namespace
