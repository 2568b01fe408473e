#ifndef VEK_COMMON_LOCALIZATION_VEKMESSAGES_H
#define VEK_COMMON_LOCALIZATION_VEKMESSAGES_H

#include <cstddef>
#include <string>

#include "Common/Localization/C_Text.h"
#include "Common/Localization/Local.h"
#include "foundation/Export.h"

// The module's own messages: facility "vek" with a fixed code, registered
// when the library is loaded, catalogs in locale/<locale>/vek.msg.
//
// Where the catalogs are looked for, decided once at load time:
//  1. $VEK_LOCALE_DIR when set and not empty: the catalog folder itself (the
//     one holding en_US/, de_DE/) when its last component is "locale",
//     otherwise the folder that holds "locale/";
//  2. the installed copy beside the loaded libvek.so:
//     <libdir>/../share/vek/locale, or <libdir>/../../share/vek/locale for a
//     multiarch libdir such as lib/x86_64-linux-gnu;
//  3. <libdir>/locale, a copy next to the library in a build tree.
// The first that exists is taken. Local::SetDirectory(FACILITY_CODE, ...)
// changes it later.
namespace N_VekMessages {

constexpr const char* FACILITY_NAME = "vek";
constexpr unsigned short FACILITY_CODE = 0x056;

// Message numbers (the catalog keys). The status-code texts use the status
// code itself as their number. Arguments each template takes are named.
enum E_Number : unsigned short {
  // Status codes (module/E_Status.h).
  MSG_STATUS_OK = 0,
  MSG_STATUS_UNKNOWN_OPERATION = 1024,
  MSG_STATUS_BAD_ARGUMENT = 1025,
  MSG_STATUS_NOT_SUPPORTED = 1027,
  MSG_STATUS_NO_PARENT = 1029,
  MSG_STATUS_NO_SERVICES = 1031,
  MSG_STATUS_BUSY = 1036,
  MSG_STATUS_COMPARED = 2000,  // DIFFERENCES: number of differing bytes
  MSG_STATUS_OTHER = 2100,     // CODE: a code passed on from the driver

  // Flash results, for hosts to report.
  MSG_FLASH_SUCCESS = 3000,
  MSG_FLASH_UNCHANGED = 3001,
  MSG_FLASH_REFUSED = 3002,
  MSG_DEFERRED_LOADING = 3010,
  MSG_DEFERRED_PENDING = 3011,
  MSG_DEFERRED_RUNNING = 3012,
  MSG_DEFERRED_CANCELLED = 3013,
  MSG_DEFERRED_SUCCESS = 3014,
  MSG_DEFERRED_ERROR = 3015,
  MSG_DEFERRED_OTHER = 3016,  // STATUS: the raw status value

  // Cloaked files: the frame, and the messages put into it as MSG.
  MSG_CLOAK_FRAME = 4000,  // MSG
  MSG_CLOAK_GET_SIZE = 4001,
  MSG_CLOAK_READ_HEADER = 4003,
  MSG_CLOAK_WRITE_HEADER = 4004,
  MSG_CLOAK_CLOSE = 4005,
  MSG_CLOAK_BAD_MAGIC = 4010,
  MSG_CLOAK_BAD_HEADER_SIZE = 4011,
  MSG_CLOAK_UNKNOWN_METHOD = 4012,
  MSG_CLOAK_UNKNOWN_VARIANT = 4013,
};

// The message id of a number in this facility.
constexpr unsigned Id(E_Number i_number) { return Local::MakeMsgId(FACILITY_CODE, i_number); }

struct S_Message {
  E_Number number;
  const char* defaultText;  // the English template, the same as en_US/vek.msg
};

// Every message of the facility in number order; o_count receives the count.
// The array is static and immutable.
VEK_API const S_Message* GetMessages(std::size_t& o_count);

// A text for the number with its default template and no arguments (an
// unknown number gives an empty default).
VEK_API Local::C_Text Text(E_Number i_number);
// The text for a status code: the listed codes have their own, 2000 is a
// comparison without differences, any other code is MSG_STATUS_OTHER.
VEK_API Local::C_Text StatusText(int i_status);
// The text for a result of "CmprModePage" (2000 + differing bytes).
VEK_API Local::C_Text ComparedText(int i_result);
// The text for a deferred-flash status value: one of the single bits 0x01
// (loading) to 0x20 (error), anything else MSG_DEFERRED_OTHER.
VEK_API Local::C_Text DeferredStatusText(unsigned i_status);

// The catalog directory (for Local::Register) chosen by the rules above
// from the value of VEK_LOCALE_DIR (null when unset) and the path of the
// loaded library. Checks only that folders exist.
VEK_API std::string CatalogDirectory(const char* i_environment, const std::string& i_libraryPath);
// The absolute path of the loaded libvek.so; "" when it cannot be had.
VEK_API std::string LibraryPath();

}  // namespace N_VekMessages

#endif
