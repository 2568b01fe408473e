#include "Common/Localization/Local.h"

#include <strings.h>

#include <clocale>
#include <map>
#include <memory>
#include <mutex>

#include "Common/Localization/C_StringTable.h"
#include "host/C_Descriptor.h"

namespace Local {

namespace {

class C_Facility {
 public:
  C_Facility(const std::string& i_name, unsigned short i_code, const std::string& i_directory,
             bool i_byDescriptor, const std::string& i_key)
      : m_name(i_name),
        m_directory(i_directory),
        m_code(i_code),
        m_byDescriptor(i_byDescriptor),
        m_key(i_key) {}

  // The cached table for i_locale, searched for on first use and kept even
  // when it found nothing.
  const C_StringTable& GetStringTable(const std::string& i_locale) {
    std::unique_ptr<C_StringTable>& table = m_tables[i_locale];
    if (!table) table.reset(new C_StringTable(m_directory + m_name, i_locale));
    return *table;
  }
  void SetDir(const std::string& i_directory) {
    m_directory = i_directory;
    m_tables.clear();
  }
  bool HasKey(const std::string& i_key) const {
    return m_byDescriptor && ::strcasecmp(m_key.c_str(), i_key.c_str()) == 0;
  }

  std::string m_name;
  std::string m_directory;
  std::map<std::string, std::unique_ptr<C_StringTable>> m_tables;
  bool m_registered = true;
  unsigned short m_code;
  bool m_byDescriptor;
  std::string m_key;  // the descriptor's identifying key, when by descriptor
};

struct S_Registry {
  std::mutex lock;
  std::map<unsigned short, std::unique_ptr<C_Facility>> facilities;
  std::string locale;
  unsigned short dynamicCode = DYNAMIC_FACILITY_BASE;
};

// Created on first use and never destroyed: the module registers its own
// facility from a static initialiser, and texts may be shown from other
// static destructors, so the registry must outlive every static of the
// process whatever the order of construction and destruction.
S_Registry& Registry() {
  static S_Registry* s_registry = new S_Registry;
  return *s_registry;
}

C_Facility* FindByKey(S_Registry& io_registry, const std::string& i_key) {
  for (auto& entry : io_registry.facilities) {
    if (entry.second->HasKey(i_key)) return entry.second.get();
  }
  return nullptr;
}

C_Facility* FindByCode(S_Registry& io_registry, unsigned short i_code) {
  auto found = io_registry.facilities.find(i_code);
  return found == io_registry.facilities.end() ? nullptr : found->second.get();
}

// Caller holds the lock.
void SetDefaultLocaleLocked(S_Registry& io_registry) {
  const char* name = std::setlocale(LC_ALL, "");
  if (!name) name = std::setlocale(LC_ALL, "en_US");
  io_registry.locale = name ? name : "en_US";
}

std::string LookupMsg(unsigned short i_facility, unsigned short i_number,
                      const std::string& i_locale) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  C_Facility* facility = FindByCode(registry, i_facility);
  if (!facility) return std::string();
  const C_StringTable& table = facility->GetStringTable(i_locale);
  return table.IsGood() ? table.GetString(i_number) : std::string();
}

}  // namespace

void Initialize() { SetDefaultLocale(); }

void SetDefaultLocale() {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  SetDefaultLocaleLocked(registry);
}

void SetLocale(const std::string& i_locale) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  const char* name = std::setlocale(LC_ALL, i_locale.c_str());
  if (name) {
    registry.locale = name;
  } else {
    SetDefaultLocaleLocked(registry);
  }
}

std::string GetLocale() {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  if (registry.locale.empty()) SetDefaultLocaleLocked(registry);
  return registry.locale;
}

unsigned short Register(const std::string& i_name, unsigned short i_code,
                        const std::string& i_directory) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  if (C_Facility* facility = FindByCode(registry, i_code)) {
    facility->m_registered = true;
    return i_code;
  }
  registry.facilities[i_code].reset(new C_Facility(i_name, i_code, i_directory, false, std::string()));
  return i_code;
}

unsigned short Register(const C_Descriptor& i_descriptor, const std::string& i_directory) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  if (C_Facility* facility = FindByKey(registry, i_descriptor.GetKey())) {
    facility->m_registered = true;
    return facility->m_code;
  }
  unsigned short code = ++registry.dynamicCode;
  registry.facilities[code].reset(
      new C_Facility(i_descriptor.GetName(), code, i_directory, true, i_descriptor.GetKey()));
  return code;
}

void Unregister(unsigned short i_code) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  if (C_Facility* facility = FindByCode(registry, i_code)) facility->m_registered = false;
}

void Unregister(const C_Descriptor& i_descriptor) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  if (C_Facility* facility = FindByKey(registry, i_descriptor.GetKey())) facility->m_registered = false;
}

bool IsRegistered(unsigned short i_code) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  C_Facility* facility = FindByCode(registry, i_code);
  return facility && facility->m_registered;
}

bool SetDirectory(unsigned short i_code, const std::string& i_directory) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  C_Facility* facility = FindByCode(registry, i_code);
  if (!facility) return false;
  facility->SetDir(i_directory);
  return true;
}

unsigned MapMsgId(unsigned i_id, const C_Descriptor& i_descriptor) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  unsigned id = i_id & (CREATOR_MASK | MESSAGE_NUMBER_MASK);
  if (C_Facility* facility = FindByKey(registry, i_descriptor.GetKey())) {
    // Dynamic codes are 16 bits wide but the id has room for 11: the high
    // bits are dropped on purpose and the id keeps only the low ones.
    id |= (static_cast<unsigned>(facility->m_code) << 16) & FACILITY_MASK;
  }
  return id;
}

std::string GetFacilityName(unsigned short i_code) {
  S_Registry& registry = Registry();
  std::lock_guard<std::mutex> hold(registry.lock);
  C_Facility* facility = FindByCode(registry, i_code);
  return facility ? facility->m_name : std::string();
}

std::string GetString(unsigned i_id) { return GetString(i_id, GetLocale()); }

std::string GetString(unsigned i_id, const std::string& i_locale) {
  return LookupMsg(static_cast<unsigned short>((i_id & FACILITY_MASK) >> 16),
                   static_cast<unsigned short>(i_id & MESSAGE_NUMBER_MASK), i_locale);
}

}  // namespace Local
