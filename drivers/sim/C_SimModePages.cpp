#include "drivers/sim/C_SimModePages.h"

#include <cstdio>

namespace {

struct S_PageDef {
  std::uint8_t code;
  std::vector<std::uint8_t> values;
  std::vector<std::uint8_t> changeable;
};

const std::vector<S_PageDef>& Pages() {
  static const std::vector<S_PageDef> pages = {
      // Read-write error recovery: AWRE/ARRE/TB/PER/DTE/DCR bits and the
      // read retry count may change.
      {0x01,
       {0x01, 0x0A, 0xC0, 0x0B, 0x00, 0x00, 0x00, 0x00, 0x0B, 0x00, 0x00, 0x00},
       {0x00, 0x00, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00}},
      // Caching: WCE and RCD (byte 2 bits 2 and 0) may change.
      {0x08,
       {0x08, 0x12, 0x04, 0x00, 0xFF, 0xFF, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF,
        0x80, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
       {0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
      // Control: D_SENSE and GLTSD (byte 2 bits 2 and 1) and the queue
      // algorithm modifier (byte 3 high nibble) may change.
      {0x0A,
       {0x0A, 0x0A, 0x02, 0x10, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0x00},
       {0x00, 0x00, 0x06, 0xF0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
  };
  return pages;
}

const S_PageDef* Find(std::uint8_t i_code) {
  for (const S_PageDef& page : Pages()) {
    if (page.code == i_code) return &page;
  }
  return nullptr;
}

}  // namespace

C_SimModePages::T_Pages C_SimModePages::Defaults() {
  T_Pages pages;
  for (const S_PageDef& page : Pages()) pages[Key(page.code)] = page.values;
  return pages;
}

std::vector<std::uint8_t> C_SimModePages::Changeable(std::uint8_t i_pageCode) {
  const S_PageDef* page = Find(i_pageCode);
  return page ? page->changeable : std::vector<std::uint8_t>();
}

std::string C_SimModePages::Key(std::uint8_t i_pageCode) {
  char key[3];
  std::snprintf(key, sizeof key, "%02X", i_pageCode & 0x3F);
  return key;
}

bool C_SimModePages::MayChange(std::uint8_t i_pageCode, const std::vector<std::uint8_t>& i_current,
                               const std::vector<std::uint8_t>& i_new) {
  std::vector<std::uint8_t> mask = Changeable(i_pageCode);
  if (mask.empty() || i_new.size() != i_current.size() || i_new.size() != mask.size()) return false;
  if ((i_new[0] & 0x3F) != (i_current[0] & 0x3F) || i_new[1] != i_current[1]) return false;
  for (std::size_t i = 2; i < i_new.size(); ++i) {
    if ((i_new[i] ^ i_current[i]) & ~mask[i]) return false;
  }
  return true;
}
