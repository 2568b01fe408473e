#ifndef VEK_COMMON_LOCALIZATION_LOCAL_H
#define VEK_COMMON_LOCALIZATION_LOCAL_H

#include <string>

#include "foundation/Export.h"

class C_Descriptor;

// The process-wide facility registry, the current locale, and the lookup of
// a message id's template.
//
// Message id (32 bits): bits 0-15 the message number (the catalog key),
// bits 16-26 the facility code, bits 27-31 belong to whoever made the id and
// pass through every function here unchanged.
//
// Facilities are registered by name with a fixed code, or by a component's
// descriptor with a dynamic code (0x8001, 0x8002, ... in registration
// order). They are never removed: Unregister only marks one dormant, its
// cached catalogs stay, and registering it again wakes it with the same code.
// Each facility keeps one catalog (C_StringTable) per locale asked for,
// found on first use and kept even when nothing was found, so a missing
// catalog costs one search per locale.
//
// Threads: the registry is guarded by one lock, so registration and lookups
// may come from any thread. The C library locale that SetLocale and
// SetDefaultLocale change is the whole process's: change it while no other
// thread formats text.
namespace Local {

constexpr unsigned MESSAGE_NUMBER_MASK = 0x0000FFFF;
constexpr unsigned FACILITY_MASK = 0x07FF0000;
constexpr unsigned CREATOR_MASK = 0xF8000000;
// The code before the first dynamic one.
constexpr unsigned short DYNAMIC_FACILITY_BASE = 0x8000;

// Makes a message id from an 11-bit facility code and a message number.
constexpr unsigned MakeMsgId(unsigned short i_facility, unsigned short i_number) {
  return ((static_cast<unsigned>(i_facility) << 16) & FACILITY_MASK) | i_number;
}

// SetDefaultLocale.
VEK_API void Initialize();
// The environment's locale (setlocale(LC_ALL, "")), else "en_US", else the
// name "en_US" without the C library agreeing. Becomes the current locale.
VEK_API void SetDefaultLocale();
// setlocale(LC_ALL, i_locale); when the C library does not have it,
// SetDefaultLocale. The current locale is the name in force afterwards.
VEK_API void SetLocale(const std::string& i_locale);
// The current locale; the default one when none was set yet.
VEK_API std::string GetLocale();

// Registers a facility by name with a fixed code (at most 0x7FF to fit a
// message id). The catalogs are <i_directory>locale/<locale>/<name>.msg:
// i_directory is put in front of the name as it is, so it ends in '/' (""
// means the current directory). A code that is already registered is only
// woken (its name and directory stay). Returns the code.
VEK_API unsigned short Register(const std::string& i_name, unsigned short i_code,
                                const std::string& i_directory);
// Registers a component's facility by its descriptor: a facility with the
// same key (compared ignoring case) is woken and keeps its code; otherwise a
// new one gets the next dynamic code. Name (and catalog base name) is the
// descriptor's name. The descriptor's two texts are copied: it need not
// outlive the registration.
VEK_API unsigned short Register(const C_Descriptor& i_descriptor, const std::string& i_directory);
// Marks the facility dormant (lookups still work). Unknown ones: nothing.
VEK_API void Unregister(unsigned short i_code);
VEK_API void Unregister(const C_Descriptor& i_descriptor);
// True while the facility is registered (not dormant, not unknown).
VEK_API bool IsRegistered(unsigned short i_code);
// Points a facility at another catalog directory and forgets its cached
// catalogs, so the next lookup searches again. False for an unknown code.
VEK_API bool SetDirectory(unsigned short i_code, const std::string& i_directory);

// i_id with its facility field set to the descriptor's facility code (only
// the low 11 bits of a dynamic code fit: 0x8001 becomes 0x001), or cleared
// when the descriptor has no facility. Bits 0-15 and 27-31 are kept.
VEK_API unsigned MapMsgId(unsigned i_id, const C_Descriptor& i_descriptor);
// The descriptor's name for a descriptor facility, the registered name for
// a named one, "" for an unknown code.
VEK_API std::string GetFacilityName(unsigned short i_code);

// The catalog template of message id i_id for the current locale / for
// i_locale; "" when the facility is unknown, has no catalog for the locale
// (nor its fallbacks), or the catalog has no such number.
VEK_API std::string GetString(unsigned i_id);
VEK_API std::string GetString(unsigned i_id, const std::string& i_locale);

}  // namespace Local

#endif
