#include "tools/N_Messages.h"

#include <cstdio>

#include "Common/Localization/VekMessages.h"
#include "drivers/common/N_DriverResult.h"
#include "module/E_Status.h"

namespace N_Messages {

void SetLocale(const std::string& i_locale) {
  if (i_locale.empty()) {
    Local::SetDefaultLocale();
  } else {
    Local::SetLocale(i_locale);
  }
}

std::string Status(int i_status) {
  // The drivers' codes have their own catalog; the module's texts win for
  // the one code both know (busy).
  if (i_status != VEK_STATUS_BUSY && N_DriverResult::Known(i_status)) {
    return N_DriverResult::Text(i_status).GetString();
  }
  return N_VekMessages::StatusText(i_status).GetString();
}
std::string Compared(int i_result) { return N_VekMessages::ComparedText(i_result).GetString(); }
std::string FlashSuccess() {
  return N_VekMessages::Text(N_VekMessages::MSG_FLASH_SUCCESS).GetString();
}
std::string FlashUnchanged() {
  return N_VekMessages::Text(N_VekMessages::MSG_FLASH_UNCHANGED).GetString();
}
std::string FlashRefused() {
  return N_VekMessages::Text(N_VekMessages::MSG_FLASH_REFUSED).GetString();
}
std::string DeferredStatus(unsigned i_status) {
  return N_VekMessages::DeferredStatusText(i_status).GetString();
}

}  // namespace N_Messages
