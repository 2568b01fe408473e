#include "Common/Localization/VekMessages.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "Common/Localization/C_StringTable.h"
#include "foundation/C_FileSpec.h"
#include "foundation/C_Glob.h"
#include "foundation/N_FileUtilities.h"
#include "module/E_Status.h"
#include "support/TestSupport.h"

namespace {

using namespace N_VekMessages;

const std::string kSourceCatalogs = VEK_SOURCE_DIR "/";

// The argument names a template refers to.
std::set<std::string> Tags(const std::string& i_template) {
  std::set<std::string> tags;
  std::regex tag("<([A-Za-z_:][A-Za-z0-9_:.-]*)");
  for (std::sregex_iterator it(i_template.begin(), i_template.end(), tag), end; it != end; ++it) {
    tags.insert((*it)[1]);
  }
  return tags;
}

// The numeric keys of a catalog file, in file order.
std::vector<std::string> NumericKeys(const std::string& i_file) {
  std::vector<std::string> keys;
  std::ifstream in(i_file);
  std::string line;
  std::regex entry("^ *([0-9]+) *=");
  std::smatch match;
  while (std::getline(in, line)) {
    if (std::regex_search(line, match, entry)) keys.push_back(match[1]);
  }
  return keys;
}

TEST(VekMessages, FacilityRegisteredAtLoad) {
  EXPECT_TRUE(Local::IsRegistered(FACILITY_CODE));
  EXPECT_EQ(Local::GetFacilityName(FACILITY_CODE), "vek");
  EXPECT_EQ(Id(MSG_CLOAK_FRAME) >> 16, FACILITY_CODE);
  EXPECT_EQ(Id(MSG_CLOAK_FRAME) & 0xFFFF, 4000u);
  C_FileSpec library(LibraryPath());
  EXPECT_TRUE(library.IsAbsolute());
  EXPECT_EQ(library.GetDirectory(), C_FileSpec(VEK_MODULE_FILE).GetDirectory());
  EXPECT_EQ(library.GetName().compare(0, 8, "libvek.s"), 0) << library.GetName();
}

// Every message has a text in every shipped locale, each locale's catalog is
// found as itself (not through a fallback), English equals the built-in
// defaults, translations use the same arguments, and no catalog carries a
// number the module does not know.
TEST(VekMessages, EveryMessageInEveryShippedLocale) {
  std::size_t count = 0;
  const S_Message* messages = GetMessages(count);
  ASSERT_GT(count, 20u);
  std::set<std::string> known;
  for (std::size_t i = 0; i < count; ++i) {
    if (i) {
      EXPECT_LT(messages[i - 1].number, messages[i].number) << "table not in number order";
    }
    known.insert(std::to_string(messages[i].number));
  }

  C_Glob catalogs(kSourceCatalogs + "locale/*/vek.msg");
  ASSERT_GE(catalogs.size(), 2u);
  for (const std::string& file : catalogs) {
    std::string dir = C_FileSpec(file).GetDirectory();
    dir.pop_back();
    const std::string locale = C_FileSpec(dir).GetName();
    SCOPED_TRACE(locale);
    Local::C_StringTable table(kSourceCatalogs + "vek", locale);
    ASSERT_TRUE(table.IsGood());
    EXPECT_EQ(table.GetFileName(), file);
    for (std::size_t i = 0; i < count; ++i) {
      SCOPED_TRACE(messages[i].number);
      const std::string text = table.GetString(messages[i].number);
      EXPECT_FALSE(text.empty());
      EXPECT_EQ(Tags(text), Tags(messages[i].defaultText));
      if (locale == "en_US") {
        EXPECT_EQ(text, messages[i].defaultText);
      }
    }
    std::set<std::string> seen;
    for (const std::string& key : NumericKeys(file)) {
      EXPECT_TRUE(known.count(key)) << "unknown message number " << key;
      EXPECT_TRUE(seen.insert(key).second) << "number " << key << " twice";
    }
  }
  EXPECT_TRUE(N_FileUtilities::FileExists(kSourceCatalogs + "locale/en_US/vek.msg"));
  EXPECT_TRUE(N_FileUtilities::FileExists(kSourceCatalogs + "locale/de_DE/vek.msg"));
}

// The German catalog is a translation: every text differs from English but
// the frame that only carries a message.
TEST(VekMessages, GermanIsTranslated) {
  Local::C_StringTable german(kSourceCatalogs + "vek", "de_DE");
  std::size_t count = 0;
  const S_Message* messages = GetMessages(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (messages[i].number == MSG_CLOAK_FRAME) continue;
    EXPECT_NE(german.GetString(messages[i].number), messages[i].defaultText) << messages[i].number;
  }
}

class VekMessagesLocale : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(Local::SetDirectory(FACILITY_CODE, kSourceCatalogs)); }
};

TEST_F(VekMessagesLocale, GermanTextThenDefaultForMissingNumber) {
  EXPECT_EQ(StatusText(VEK_STATUS_BAD_ARGUMENT).GetString("en_US"), "Bad or missing argument");
  EXPECT_EQ(StatusText(VEK_STATUS_BAD_ARGUMENT).GetString("de_DE"), "Falsches oder fehlendes Argument");
  EXPECT_EQ(StatusText(VEK_STATUS_BAD_ARGUMENT).GetString("de_DE.UTF-8@euro"), "Falsches oder fehlendes Argument");
  EXPECT_EQ(StatusText(VEK_STATUS_BAD_ARGUMENT).GetString("de_AT"), "Bad or missing argument");
  EXPECT_EQ(ComparedText(2005).GetString("de_DE"), "Modusseite verglichen: 5 Bytes unterschiedlich");
  // A number no catalog has: the default template, formatted.
  Local::C_Text missing(Id(static_cast<E_Number>(999)), "Fallback <N FMT='%02d'>");
  missing.AddArg("N", 5);
  EXPECT_EQ(missing.GetString("de_DE"), "Fallback 05");
}

// Switching the process locale needs the C library to know a German
// locale. When the system has none, one is compiled with localedef into a
// temporary folder named by LOCPATH; without localedef the test is skipped
// (the lookups above use explicit locale names and always run).
TEST_F(VekMessagesLocale, SetLocaleSwitchesTheLanguage) {
  C_TempDir compiled;
  struct S_Restore {
    ~S_Restore() {
      ::unsetenv("LOCPATH");
      Local::SetLocale("C");
    }
  } restore;
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) {
    const std::string command = "localedef -i de_DE -f UTF-8 " + compiled.Path() + "/de_DE.UTF-8 >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) GTEST_SKIP() << "no German locale and no localedef";
    ::setenv("LOCPATH", compiled.Path().c_str(), 1);
  }
  Local::SetLocale("de_DE.UTF-8");
  ASSERT_EQ(Local::GetLocale(), "de_DE.UTF-8");
  EXPECT_EQ(Text(MSG_FLASH_UNCHANGED).GetString(), "Firmware unverändert");
  EXPECT_EQ(ComparedText(2012).GetString(), "Modusseite verglichen: 12 Bytes unterschiedlich");
  Local::SetLocale("C");
  EXPECT_EQ(Text(MSG_FLASH_UNCHANGED).GetString(), "Firmware unchanged");
}

TEST_F(VekMessagesLocale, StatusAndResultTexts) {
  struct {
    int status;
    E_Number number;
  } const statuses[] = {
      {VEK_STATUS_OK, MSG_STATUS_OK},
      {VEK_STATUS_UNKNOWN_OPERATION, MSG_STATUS_UNKNOWN_OPERATION},
      {VEK_STATUS_BAD_ARGUMENT, MSG_STATUS_BAD_ARGUMENT},
      {VEK_STATUS_NOT_SUPPORTED, MSG_STATUS_NOT_SUPPORTED},
      {VEK_STATUS_NO_PARENT, MSG_STATUS_NO_PARENT},
      {VEK_STATUS_NO_SERVICES, MSG_STATUS_NO_SERVICES},
      {VEK_STATUS_BUSY, MSG_STATUS_BUSY},
      {VEK_STATUS_COMPARED, MSG_STATUS_COMPARED},
      {7, MSG_STATUS_OTHER},
  };
  for (const auto& s : statuses) {
    SCOPED_TRACE(s.status);
    EXPECT_EQ(StatusText(s.status).GetMsgId(), Id(s.number));
  }
  EXPECT_EQ(StatusText(VEK_STATUS_COMPARED).GetString("en_US"), "Mode page compared: 0 bytes differ");
  EXPECT_EQ(StatusText(-3).GetString("en_US"), "The controller driver returned code -3");
  EXPECT_EQ(StatusText(-3).GetString("de_DE"), "Der Controller-Treiber meldete Code -3");

  const struct {
    unsigned status;
    const char* english;
  } deferred[] = {
      {0x01, "Deferred flash loading"},   {0x02, "Deferred flash pending"},
      {0x04, "Deferred flash running"},   {0x08, "Deferred flash cancelled"},
      {0x10, "Deferred flash succeeded"}, {0x20, "Deferred flash failed"},
      {0x40, "Deferred flash status 40"}, {0x12, "Deferred flash status 12"},
  };
  for (const auto& d : deferred) EXPECT_EQ(DeferredStatusText(d.status).GetString("en_US"), d.english);
  EXPECT_EQ(Text(static_cast<E_Number>(999)).GetString("en_US"), "");
}

TEST(VekMessages, CatalogDirectoryChoice) {
  C_TempDir tree;
  const std::string root = tree.Path();
  // Environment first, whatever exists.
  EXPECT_EQ(CatalogDirectory("/opt/x/locale", root + "/lib/libvek.so.1"), "/opt/x/");
  EXPECT_EQ(CatalogDirectory("/opt/x/locale/", ""), "/opt/x/");
  EXPECT_EQ(CatalogDirectory("/opt/x/data", ""), "/opt/x/data/");
  EXPECT_EQ(CatalogDirectory("rel/./locale", ""), "rel/");

  // Then beside the library: build-tree copy only.
  N_FileUtilities::MakeDirectory(root + "/lib");
  N_FileUtilities::MakeDirectory(root + "/lib/locale");
  EXPECT_EQ(CatalogDirectory(nullptr, root + "/lib/libvek.so.1"), root + "/lib/");
  EXPECT_EQ(CatalogDirectory("", root + "/lib/libvek.so.1"), root + "/lib/");
  // A multiarch install wins over it.
  N_FileUtilities::MakeDirectory(root + "/share");
  N_FileUtilities::MakeDirectory(root + "/share/vek");
  N_FileUtilities::MakeDirectory(root + "/share/vek/locale");
  N_FileUtilities::MakeDirectory(root + "/lib/x86_64-linux-gnu");
  N_FileUtilities::MakeDirectory(root + "/lib/x86_64-linux-gnu/locale");
  EXPECT_EQ(CatalogDirectory(nullptr, root + "/lib/x86_64-linux-gnu/libvek.so"), root + "/share/vek/");
  // And a plain install.
  EXPECT_EQ(CatalogDirectory(nullptr, root + "/lib/libvek.so"), root + "/share/vek/");
  // Nothing anywhere: the install location, for the defaults to stand in.
  C_TempDir empty;
  EXPECT_EQ(CatalogDirectory(nullptr, empty.Path() + "/usr/lib/libvek.so"), empty.Path() + "/usr/share/vek/");
}

}  // namespace
