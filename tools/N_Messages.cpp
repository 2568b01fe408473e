#include "tools/N_Messages.h"

#include <cstdio>

#include "module/E_Status.h"

#if __has_include("Common/Localization/VekMessages.h")
#include "Common/Localization/VekMessages.h"
#define VEKCTL_HAVE_CATALOG 1
#endif

namespace N_Messages {

#ifdef VEKCTL_HAVE_CATALOG

void SetLocale(const std::string& i_locale) {
  if (i_locale.empty()) {
    Local::SetDefaultLocale();
  } else {
    Local::SetLocale(i_locale);
  }
}

std::string Status(int i_status) { return N_VekMessages::StatusText(i_status).GetString(); }
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

#else

// Without the module's catalogs: the module's own English texts.
void SetLocale(const std::string&) {}

std::string Status(int i_status) {
  switch (i_status) {
    case VEK_STATUS_OK: return "Success";
    case VEK_STATUS_UNKNOWN_OPERATION:
      return "Unknown operation, or a command sent to a device that cannot forward it";
    case VEK_STATUS_BAD_ARGUMENT: return "Bad or missing argument";
    case VEK_STATUS_NOT_SUPPORTED: return "Request not supported by this device";
    case VEK_STATUS_NO_PARENT: return "The device is not attached to a parent";
    case VEK_STATUS_NO_SERVICES: return "The host instance provides no service object";
    case VEK_STATUS_BUSY: return "The drive is busy";
    case VEK_STATUS_COMPARED: return Compared(i_status);
    default: return "The controller driver returned code " + std::to_string(i_status);
  }
}
std::string Compared(int i_result) {
  return "Mode page compared: " + std::to_string(i_result - VEK_STATUS_COMPARED) + " bytes differ";
}
std::string FlashSuccess() { return "Firmware flashed"; }
std::string FlashUnchanged() { return "Firmware unchanged"; }
std::string FlashRefused() { return "Flash refused"; }
std::string DeferredStatus(unsigned i_status) {
  switch (i_status) {
    case 0x01: return "Deferred flash loading";
    case 0x02: return "Deferred flash pending";
    case 0x04: return "Deferred flash running";
    case 0x08: return "Deferred flash cancelled";
    case 0x10: return "Deferred flash succeeded";
    case 0x20: return "Deferred flash failed";
    default: {
      char text[48];
      std::snprintf(text, sizeof text, "Deferred flash status %X", i_status);
      return text;
    }
  }
}

#endif

}  // namespace N_Messages
