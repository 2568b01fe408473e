#include "Common/Localization/C_StringTable.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <set>

#include "foundation/N_FileUtilities.h"
#include "CatalogDir.h"
#include "support/TestSupport.h"

namespace {

// Which catalog the search takes, for installed locales and a wanted one.
TEST(C_StringTable, LocaleFallbackChain) {
  struct {
    const char* wanted;
    std::set<std::string> installed;
    const char* taken;  // "" for none
  } const cases[] = {
      {"de_DE.UTF-8@euro", {"de_DE.UTF-8@euro", "de"}, "de_DE.UTF-8@euro"},
      {"de_DE.UTF-8@euro", {"de_DE.UTF-8", "de"}, "de_DE.UTF-8"},
      {"de_DE.UTF-8@euro", {"de_DE", "de", "en_US"}, "de_DE"},
      {"de_DE.UTF-8@euro", {"de", "en_US"}, "de"},
      {"de_DE.UTF-8@euro", {"en_US"}, "en_US"},
      {"de_DE.UTF-8@euro", {"en"}, "en"},
      {"fr", {"en_US", "en"}, "en_US"},
      {"fr", {"en"}, "en"},
      {"fr", {}, ""},
      {"en_GB", {"en_US"}, ""},  // en_GB, en, and no second try of en_US
      {"en_GB", {"en", "en_US"}, "en"},
      {"en_US", {"en_US"}, "en_US"},
      {"C", {"en_US"}, "en_US"},
      {"C.UTF-8", {"C", "en_US"}, "C"},
      {"", {"en_US"}, "en_US"},
      {"en", {"en_US"}, ""},
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

// A file in the right place whose keys do not fit is passed over.
TEST(C_StringTable, ContentsChecked) {
  struct {
    const char* what;
    std::string header;  // for the de_DE file
    bool accepted;
  } const cases[] = {
      {"hexadecimal signature", "Signature=0x2BE1FEED\nLocale=de_DE\nFacility=disk\n", true},
      {"decimal signature", "Signature=736231149\nLocale=de_DE\nFacility=disk\n", true},
      {"octal signature", "Signature=05370377355\nLocale=de_DE\nFacility=disk\n", true},
      {"keys in any order, quoted", "Facility=\"disk\"\nLocale= de_DE \nSignature=736231149\n", true},
      {"wrong signature", "Signature=0x2BE1FEEE\nLocale=de_DE\nFacility=disk\n", false},
      {"no signature", "Locale=de_DE\nFacility=disk\n", false},
      {"locale of the shorter name", "Signature=0x2BE1FEED\nLocale=de\nFacility=disk\n", false},
      {"locale longer", "Signature=0x2BE1FEED\nLocale=de_DE.UTF-8\nFacility=disk\n", false},
      {"locale in other case", "Signature=0x2BE1FEED\nLocale=DE_de\nFacility=disk\n", false},
      {"other facility", "Signature=0x2BE1FEED\nLocale=de_DE\nFacility=disks\n", false},
      {"keys in a section", "[x]\nSignature=0x2BE1FEED\nLocale=de_DE\nFacility=disk\n", false},
      {"carriage returns", "Signature=0x2BE1FEED\r\nLocale=de_DE\r\nFacility=disk\r\n", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    C_CatalogDir catalogs;
    catalogs.Write("de_DE", "1=german\n", "disk", &c.header);
    catalogs.Write("de", "1=short\n");
    Local::C_StringTable table(catalogs.Facility(), "de_DE");
    EXPECT_EQ(table.GetString(1), c.accepted ? "german" : "short");
    EXPECT_EQ(Local::C_StringTable::ContentsAreOk(catalogs.Path("de_DE"), "de_DE", "disk"), c.accepted);
  }
}

TEST(C_StringTable, GetStringReadsTheFileEachTime) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=one\n7=  \"  seven \"\n65535=last\n12=first\n12=second\n");
  Local::C_StringTable table(catalogs.Facility(), "en_US");
  ASSERT_TRUE(table.IsGood());
  EXPECT_TRUE(table.Open());
  EXPECT_EQ(table.GetString(1), "one");
  EXPECT_EQ(table.GetString(7), "  seven ");
  EXPECT_EQ(table.GetString(65535), "last");
  EXPECT_EQ(table.GetString(12), "first");
  EXPECT_EQ(table.GetString(2), "");
  table.Close();
  // Nothing is cached: an edited catalog answers at once; a removed one
  // answers nothing.
  catalogs.Write("en_US", "1=changed\n");
  EXPECT_EQ(table.GetString(1), "changed");
  ASSERT_EQ(::unlink(catalogs.Path("en_US").c_str()), 0);
  EXPECT_EQ(table.GetString(1), "");
  EXPECT_TRUE(table.IsGood());
}

TEST(C_StringTable, BareFacilityNameIsRelativeToCurrentDirectory) {
  C_CatalogDir catalogs;
  catalogs.Write("en_US", "1=relative\n");
  std::string old = N_FileUtilities::GetCurrentDirectory();
  ASSERT_EQ(::chdir(catalogs.Dir().Path().c_str()), 0);
  Local::C_StringTable table("disk", "en_US");
  std::string name = table.GetFileName();
  std::string text = table.GetString(1);
  ASSERT_EQ(::chdir(old.c_str()), 0);
  EXPECT_EQ(name, "locale/en_US/disk.msg");
  EXPECT_EQ(text, "relative");
}

// Catalogs of any content never crash the reader and never throw.
TEST(C_StringTable, BadCatalogs) {
  static const char kGarbage[] = "\0\xff\x01[=\n=\"\n1=ok";
  const std::string header = "Signature=0x2BE1FEED\nLocale=en_US\nFacility=disk\n";
  struct {
    const char* what;
    std::string contents;
    bool good;
    const char* one;
  } const cases[] = {
      {"empty file", "", false, ""},
      {"no line feeds", "Signature=0x2BE1FEED Locale=en_US Facility=disk 1=x", false, ""},
      {"key with no value", header + "1=\n", true, ""},
      {"key with no '='", header + "1\n", true, ""},
      {"binary garbage after the keys", header + std::string(kGarbage, sizeof kGarbage - 1), true, "ok"},
      {"huge number key", header + "99999999999999999999=x\n1=y\n", true, "y"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    C_CatalogDir catalogs;
    catalogs.Write("en_US", "", "disk", &c.contents);
    Local::C_StringTable table(catalogs.Facility(), "en_US");
    EXPECT_EQ(table.IsGood(), c.good);
    EXPECT_EQ(table.GetString(1), c.one);
  }
  // A directory where the catalog should be is not a catalog.
  C_CatalogDir catalogs;
  N_FileUtilities::MakeDirectory(catalogs.Dir().Path() + "/locale");
  N_FileUtilities::MakeDirectory(catalogs.Dir().Path() + "/locale/en_US");
  N_FileUtilities::MakeDirectory(catalogs.Path("en_US"));
  EXPECT_FALSE(Local::C_StringTable(catalogs.Facility(), "en_US").IsGood());
}

}  // namespace
