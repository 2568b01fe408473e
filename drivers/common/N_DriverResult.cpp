#include "drivers/common/N_DriverResult.h"

#include <algorithm>
#include <cstdlib>

#include "Common/Localization/Local.h"
#include "Common/Localization/VekMessages.h"

namespace N_DriverResult {

namespace {

const S_Message s_messages[] = {
    {CHECK_CONDITION, "The drive refused the command (check condition)"},
    {NO_ANSWER, "No answer from the drive"},
    {BUSY, "The drive is busy"},
    {DRIVER_FAILED, "The controller driver failed"},
    {NOT_SENT, "Not sent: the host was stopping"},
};
const S_Message* const s_end = s_messages + sizeof s_messages / sizeof s_messages[0];

// Registered when the library is loaded, with the module's catalog folder.
struct C_FacilityRegistration {
  C_FacilityRegistration() {
    Local::Register(FACILITY_NAME, FACILITY_CODE,
                    N_VekMessages::CatalogDirectory(std::getenv("VEK_LOCALE_DIR"),
                                                    N_VekMessages::LibraryPath()));
  }
};
const C_FacilityRegistration s_registration;

const S_Message* Find(int i_code) {
  const S_Message* found =
      std::find_if(s_messages, s_end, [i_code](const S_Message& m) { return m.code == i_code; });
  return found == s_end ? nullptr : found;
}

}  // namespace

const S_Message* GetMessages(std::size_t& o_count) {
  o_count = static_cast<std::size_t>(s_end - s_messages);
  return s_messages;
}

bool Known(int i_code) { return Find(i_code) != nullptr; }

Local::C_Text Text(int i_code) {
  const S_Message* found = Find(i_code);
  return Local::C_Text(Local::MakeMsgId(FACILITY_CODE, static_cast<unsigned short>(i_code)),
                       found ? found->defaultText : "");
}

}  // namespace N_DriverResult
