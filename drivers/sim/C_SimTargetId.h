#ifndef VEK_DRIVERS_SIM_C_SIMTARGETID_H
#define VEK_DRIVERS_SIM_C_SIMTARGETID_H

#include <string>

#include "device/C_TargetId.h"

// The address of a simulated controller ("hba0") or of a drive on a host bus
// adapter ("hba0:1"): just its text. Drives behind an array controller get a
// C_QarnTargetId instead.
class C_SimTargetId : public C_TargetId {
 public:
  explicit C_SimTargetId(const std::string& i_text) : m_text(i_text) {}
  ~C_SimTargetId() override;
  std::string GetString() const override { return m_text; }

 private:
  std::string m_text;
};

#endif
