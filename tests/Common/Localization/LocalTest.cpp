#include "Common/Localization/Local.h"

#include <gtest/gtest.h>

#include "CatalogDir.h"
#include "Common/Localization/C_Text.h"
#include "host/C_Descriptor.h"

namespace {

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
  EXPECT_EQ(Local::C_Text(0x07FF0001, sameKey, "d").GetMsgId(), 0x00010001u);
  Local::C_Text text;
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

}  // namespace
