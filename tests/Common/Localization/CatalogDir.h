#ifndef VEK_TESTS_COMMON_LOCALIZATION_CATALOGDIR_H
#define VEK_TESTS_COMMON_LOCALIZATION_CATALOGDIR_H

#include <string>

#include "foundation/N_FileUtilities.h"
#include "support/TestSupport.h"

// A catalog directory in a fresh temporary folder: <tmp>/locale/<loc>/<name>.msg.
class C_CatalogDir {
 public:
  // The facility argument for C_StringTable: <tmp>/<name>.
  std::string Facility(const std::string& i_name = "disk") const { return m_dir.Path() + "/" + i_name; }
  std::string Path(const std::string& i_locale, const std::string& i_name = "disk") const {
    return m_dir.Path() + "/locale/" + i_locale + "/" + i_name + ".msg";
  }
  // Writes a catalog for i_locale; i_header replaces the three key lines.
  void Write(const std::string& i_locale, const std::string& i_body, const std::string& i_name = "disk",
             const std::string* i_header = nullptr) {
    N_FileUtilities::MakeDirectory(Directory() + "locale");
    N_FileUtilities::MakeDirectory(Directory() + "locale/" + i_locale);
    std::string header = i_header ? *i_header
                                  : "Signature=0x2BE1FEED\nLocale=" + i_locale + "\nFacility=" + i_name + "\n";
    WriteFileBytes(Path(i_locale, i_name), header + i_body);
  }
  // The directory argument for Local::Register: <tmp>/.
  std::string Directory() const { return m_dir.Path() + "/"; }

 private:
  C_TempDir m_dir;
};

#endif
