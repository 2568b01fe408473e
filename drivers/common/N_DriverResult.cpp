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
    // The Linux driver (drivers/linux/N_LinuxResult.h): 1100 + sense key,
    // then its own failures.
    {1101, "RECOVERED ERROR from the drive"},
    {1102, "NOT READY from the drive"},
    {1103, "MEDIUM ERROR from the drive"},
    {1104, "HARDWARE ERROR from the drive"},
    {1105, "ILLEGAL REQUEST from the drive"},
    {1106, "UNIT ATTENTION from the drive"},
    {1107, "DATA PROTECT from the drive"},
    {1108, "BLANK CHECK from the drive"},
    {1109, "VENDOR SPECIFIC from the drive"},
    {1110, "COPY ABORTED from the drive"},
    {1111, "ABORTED COMMAND from the drive"},
    {1112, "sense key 0Ch from the drive"},
    {1113, "VOLUME OVERFLOW from the drive"},
    {1114, "MISCOMPARE from the drive"},
    {1115, "COMPLETED from the drive"},
    {1120, "CHECK CONDITION without usable sense data"},
    {1121, "the drive answered with a SCSI status other than GOOD"},
    {1130, "timed out: the kernel aborted the command; its outcome is unknown"},
    {1131, "transport error: the path to the drive failed"},
    {1132, "SG_IO failed in the kernel"},
    {1133, "the drive's SCSI generic node cannot be opened"},
    {1140, "refused: the drive is in use (mounted or held); nothing was sent"},
    {1141, "a request this driver cannot carry; nothing was sent"},
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
