#include "Common/Localization/C_StringTable.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/N_FileUtilities.h"

namespace Local {

C_StringTable::C_StringTable(const std::string& i_facility, const std::string& i_locale) {
  std::string::size_type slash = i_facility.rfind('/');
  const std::string dir =
      (slash == std::string::npos ? std::string() : i_facility.substr(0, slash + 1)) + "locale/";
  const std::string name = slash == std::string::npos ? i_facility : i_facility.substr(slash + 1);

  std::string loc = i_locale;
  for (;;) {
    m_fileName = dir + loc + "/" + name + ".msg";
    if (N_FileUtilities::FileExists(m_fileName) && ContentsAreOk(m_fileName, loc, name)) return;
    std::string::size_type cut = loc.find_last_of("_.@");
    if (cut != std::string::npos) {
      loc.erase(cut);
    } else if (loc == "en") {
      break;
    } else {
      // English is the last resort; "en_US" only once, and not at all when
      // the wanted locale was already English ("en_GB" -> "en" -> done).
      loc = "en_US";
    }
  }
  m_fileName.clear();
}

C_StringTable::~C_StringTable() = default;

std::string C_StringTable::GetString(unsigned short i_id) const {
  if (m_fileName.empty()) return std::string();
  char key[16];
  std::snprintf(key, sizeof key, "%d", static_cast<int>(i_id));
  std::string value;
  N_FileUtilities::GetPrivateProfileString("", key, "", value, m_fileName);
  return value;
}

namespace {
bool CheckKeys(const std::string& i_text, const std::string& i_locale,
               const std::string& i_facilityName) {
  std::string signature, locale, facility;
  N_FileUtilities::FindProfileValue(i_text, "", "Signature", signature);
  N_FileUtilities::FindProfileValue(i_text, "", "Locale", locale);
  N_FileUtilities::FindProfileValue(i_text, "", "Facility", facility);
  return !signature.empty() && std::strtol(signature.c_str(), nullptr, 0) == C_StringTable::SIGNATURE &&
         locale == i_locale && facility == i_facilityName;
}
}  // namespace

bool C_StringTable::ContentsAreOk(const std::string& i_file, const std::string& i_locale,
                                  const std::string& i_facilityName) {
  std::string text;
  return N_FileUtilities::ReadFile(i_file, text) && CheckKeys(text, i_locale, i_facilityName);
}

bool C_StringTable::TextIsOk(const std::string& i_text, const std::string& i_locale,
                             const std::string& i_facilityName) {
  return CheckKeys(i_text, i_locale, i_facilityName);
}

}  // namespace Local
