#ifndef VEK_TOOLS_N_MESSAGES_H
#define VEK_TOOLS_N_MESSAGES_H

#include <string>

// Texts of the module's message catalog in the current locale, for what
// vekctl reports: status codes, flash outcomes, deferred-flash states.
// A module built without its message catalogs gives the English defaults
// that vekctl carries for the few texts it needs.
namespace N_Messages {

// Sets the module's locale: i_locale, or the environment's when empty.
void SetLocale(const std::string& i_locale);
// The meaning of an operation's status ("Bad or missing argument"; 2000 +
// n: the comparison's result); a driver's result code from the drivers'
// catalog (drivers/common/N_DriverResult.h).
std::string Status(int i_status);
// The meaning of a "CmprModePage" result (2000 + differing bytes).
std::string Compared(int i_result);
// Outcomes of a flash.
std::string FlashSuccess();
std::string FlashUnchanged();
std::string FlashRefused();
// A deferred request's state from its status value (0x01 ... 0x20, or
// another value).
std::string DeferredStatus(unsigned i_status);

}  // namespace N_Messages

#endif
