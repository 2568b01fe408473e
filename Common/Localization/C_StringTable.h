#ifndef VEK_COMMON_LOCALIZATION_C_STRINGTABLE_H
#define VEK_COMMON_LOCALIZATION_C_STRINGTABLE_H

#include <string>

namespace Local {

// The message catalog of one facility for one wanted locale. The constructor
// finds the file; GetString reads it again at every call (catalogs are
// looked at only to show an error or status text, so nothing is cached).
//
// Catalog location: <dir>locale/<loc>/<name>.msg, where `facility` is either
// a bare name (<dir> is empty: "locale/" relative to the current directory)
// or a path whose last component is the name (<dir> is everything up to and
// including its last '/').
//
// Search: the wanted locale first, then the same name cut at its last '_',
// '.' or '@', again and again ("de_DE.UTF-8@euro", "de_DE.UTF-8", "de_DE",
// "de"); when nothing is left to cut, "en_US" and then "en" are tried, unless
// the name already was "en" ("en_GB" tries "en_GB" and "en" only). A file is
// taken only when ContentsAreOk holds for it and the locale being tried.
//
// Holds only the accepted path: a value object, no open file, no global
// state, so any number may exist on any threads.
class C_StringTable {
 public:
  // The catalog's signature key value (0x2BE1FEED).
  static constexpr long SIGNATURE = 736231149;

  C_StringTable(const std::string& i_facility, const std::string& i_locale);
  virtual ~C_StringTable();

  // True when a catalog was accepted.
  bool IsGood() const { return !m_fileName.empty(); }
  // The accepted catalog's path; empty when none.
  const std::string& GetFileName() const { return m_fileName; }
  // Nothing to open or close: kept for callers that bracket their lookups.
  bool Open() { return true; }
  void Close() {}

  // The template stored under the decimal key i_id ("%d"), from the
  // catalog's unnamed section; "" when the table is not good, the file has
  // gone, or there is no such key.
  std::string GetString(unsigned short i_id) const;

  // True only when the file's "Signature" is SIGNATURE (any strtol base-0
  // form), its "Locale" equals i_locale and its "Facility" equals
  // i_facilityName, byte for byte.
  static bool ContentsAreOk(const std::string& i_file, const std::string& i_locale,
                            const std::string& i_facilityName);
  // The same check on catalog text already in memory.
  static bool TextIsOk(const std::string& i_text, const std::string& i_locale,
                       const std::string& i_facilityName);

 private:
  std::string m_fileName;
};

}  // namespace Local

#endif
