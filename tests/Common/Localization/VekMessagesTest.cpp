#include "Common/Localization/VekMessages.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <vector>

#include "Common/Localization/C_StringTable.h"
#include "foundation/C_FileSpec.h"
#include "foundation/C_Glob.h"
#include "foundation/N_FileUtilities.h"
#include "module/E_Status.h"
#include "support/TestSupport.h"

namespace {

using namespace N_VekMessages;

const std::string kSourceCatalogs = VEK_SOURCE_DIR "/";

// Group 1 of every match of i_pattern, in text order.
std::vector<std::string> Matches(const std::string& i_text, const char* i_pattern) {
  std::vector<std::string> found;
  std::regex pattern(i_pattern);
  for (std::sregex_iterator it(i_text.begin(), i_text.end(), pattern), end; it != end; ++it) found.push_back((*it)[1]);
  return found;
}

// The argument names a template refers to.
std::set<std::string> Tags(const std::string& i_template) {
  const std::vector<std::string> tags = Matches(i_template, "<([A-Za-z_:][A-Za-z0-9_:.-]*)");
  return std::set<std::string>(tags.begin(), tags.end());
}

TEST(VekMessages, FacilityRegisteredAtLoad) {
  EXPECT_TRUE(Local::IsRegistered(FACILITY_CODE));
  EXPECT_EQ(Local::GetFacilityName(FACILITY_CODE), "vek");
  C_FileSpec library(LibraryPath());
  EXPECT_TRUE(library.IsAbsolute());
  EXPECT_EQ(library.GetDirectory(), C_FileSpec(VEK_MODULE_FILE).GetDirectory());
  EXPECT_EQ(library.GetName().compare(0, 8, "libvek.s"), 0) << library.GetName();
}

// Every message has a text in every shipped locale, each locale's catalog is
// found as itself (not through a fallback), English equals the built-in
// defaults, German is a translation with the same arguments, and no catalog
// carries a number twice or one the module does not know.
TEST(VekMessages, EveryMessageInEveryShippedLocale) {
  std::size_t count = 0;
  const S_Message* messages = GetMessages(count);
  ASSERT_GT(count, 20u);
  std::set<std::string> known;
  for (std::size_t i = 0; i < count; ++i) known.insert(std::to_string(messages[i].number));

  std::set<std::string> locales;
  for (const std::string& file : C_Glob(kSourceCatalogs + "locale/*/vek.msg")) {
    std::string dir = C_FileSpec(file).GetDirectory();
    dir.pop_back();
    const std::string locale = C_FileSpec(dir).GetName();
    SCOPED_TRACE(locale);
    locales.insert(locale);
    Local::C_StringTable table(kSourceCatalogs + "vek", locale);
    EXPECT_EQ(table.GetFileName(), file);
    for (std::size_t i = 0; i < count; ++i) {
      SCOPED_TRACE(messages[i].number);
      const std::string text = table.GetString(messages[i].number);
      EXPECT_FALSE(text.empty());
      EXPECT_EQ(Tags(text), Tags(messages[i].defaultText));
      if (locale == "en_US") { EXPECT_EQ(text, messages[i].defaultText); }
      if (locale == "de_DE" && messages[i].number != MSG_CLOAK_FRAME) {
        EXPECT_NE(text, messages[i].defaultText);
      }
    }
    std::set<std::string> seen;
    for (const std::string& key : Matches(ReadFileBytes(file), "(?:^|\n) *([0-9]+) *=")) {
      EXPECT_TRUE(known.count(key)) << "unknown message number " << key;
      EXPECT_TRUE(seen.insert(key).second) << "number " << key << " twice";
    }
    EXPECT_EQ(seen, known);
  }
  EXPECT_TRUE(locales.count("en_US") && locales.count("de_DE"));
}

class VekMessagesLocale : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(Local::SetDirectory(FACILITY_CODE, kSourceCatalogs)); }
};

// Status texts are numbered by the status code itself, the deferred-flash
// states by their bit; German where the catalog has it, else the default.
TEST_F(VekMessagesLocale, StatusTextsGermanThenDefaultForMissingNumber) {
  for (int status : {VEK_STATUS_OK, VEK_STATUS_UNKNOWN_OPERATION, VEK_STATUS_BAD_ARGUMENT, VEK_STATUS_NOT_SUPPORTED,
                     VEK_STATUS_NO_PARENT, VEK_STATUS_NO_SERVICES, VEK_STATUS_BUSY, VEK_STATUS_COMPARED}) {
    EXPECT_EQ(StatusText(status).GetMsgId(), Id(static_cast<E_Number>(status)));
  }
  for (unsigned bit = 0; bit < 6; ++bit) {
    EXPECT_EQ(DeferredStatusText(1u << bit).GetMsgId(), Id(static_cast<E_Number>(MSG_DEFERRED_LOADING + bit)));
  }
  const Local::C_Text bad = StatusText(VEK_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(bad.GetString("en_US"), "Bad or missing argument");
  EXPECT_EQ(bad.GetString("de_DE.UTF-8@euro"), "Falsches oder fehlendes Argument");
  EXPECT_EQ(bad.GetString("de_AT"), "Bad or missing argument");
  EXPECT_EQ(StatusText(VEK_STATUS_COMPARED).GetString("en_US"), "Mode page compared: 0 bytes differ");
  EXPECT_EQ(ComparedText(2005).GetString("de_DE"), "Modusseite verglichen: 5 Bytes unterschiedlich");
  EXPECT_EQ(StatusText(-3).GetString("de_DE"), "Der Controller-Treiber meldete Code -3");
  EXPECT_EQ(DeferredStatusText(0x12).GetString("de_DE"), "Status des verzögerten Flashens 12");
  EXPECT_EQ(DeferredStatusText(0x40).GetString("en_US"), "Deferred flash status 40");
  // A number no catalog has: the default template, formatted.
  Local::C_Text missing(Id(static_cast<E_Number>(999)), "Fallback <N FMT='%02d'>");
  missing.AddArg("N", 5);
  EXPECT_EQ(missing.GetString("de_DE"), "Fallback 05");
  EXPECT_EQ(Text(static_cast<E_Number>(999)).GetString("en_US"), "");
}

TEST(VekMessages, CatalogDirectoryChoice) {
  C_TempDir tree;
  const std::string root = tree.Path();
  // Environment first, whatever exists.
  EXPECT_EQ(CatalogDirectory("/opt/x/locale/", root + "/lib/libvek.so.1"), "/opt/x/");
  EXPECT_EQ(CatalogDirectory("/opt/x/data", ""), "/opt/x/data/");
  EXPECT_EQ(CatalogDirectory("rel/./locale", ""), "rel/");

  // Then beside the library: build-tree copy only.
  for (const char* dir : {"/lib", "/lib/locale"}) N_FileUtilities::MakeDirectory(root + dir);
  EXPECT_EQ(CatalogDirectory("", root + "/lib/libvek.so.1"), root + "/lib/");
  // An install under share/vek wins over it, for a multiarch and a plain libdir.
  for (const char* dir : {"/share", "/share/vek", "/share/vek/locale", "/lib/x86_64-linux-gnu",
                          "/lib/x86_64-linux-gnu/locale"}) {
    N_FileUtilities::MakeDirectory(root + dir);
  }
  EXPECT_EQ(CatalogDirectory(nullptr, root + "/lib/x86_64-linux-gnu/libvek.so"), root + "/share/vek/");
  EXPECT_EQ(CatalogDirectory(nullptr, root + "/lib/libvek.so"), root + "/share/vek/");
  // Nothing anywhere: the install location, for the defaults to stand in.
  C_TempDir empty;
  EXPECT_EQ(CatalogDirectory(nullptr, empty.Path() + "/usr/lib/libvek.so"), empty.Path() + "/usr/share/vek/");
}

}  // namespace
