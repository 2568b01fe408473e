#ifndef VEK_DRIVERS_SIM_C_SIMMODEPAGES_H
#define VEK_DRIVERS_SIM_C_SIMMODEPAGES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// The mode pages a simulated drive keeps: read-write error recovery (0x01),
// caching (0x08) and control (0x0A), each with a mask of the bits a MODE
// SELECT may change.
class C_SimModePages {
 public:
  typedef std::map<std::string, std::vector<std::uint8_t>> T_Pages;

  // Current values of the three pages, keyed "01", "08", "0A"; each page
  // starts with its code and length bytes.
  static T_Pages Defaults();
  // The changeable-bits mask of a page (same length), or empty for a page
  // the drive does not have.
  static std::vector<std::uint8_t> Changeable(std::uint8_t i_pageCode);
  static std::string Key(std::uint8_t i_pageCode);
  // True when i_new differs from i_current only in changeable bits and has
  // the same code and length.
  static bool MayChange(std::uint8_t i_pageCode, const std::vector<std::uint8_t>& i_current,
                        const std::vector<std::uint8_t>& i_new);
};

#endif
