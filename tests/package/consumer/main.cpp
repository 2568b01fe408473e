// Builds a tree with the installed headers and library and answers 0 when
// the module behaves.
#include "device/C_FirmwareRev.h"
#include "module/C_Root.h"

int main() {
  C_Root root;
  bool newer = C_FirmwareRev("0102") < C_FirmwareRev("0103");
  return (!root.Init() && newer) ? 0 : 1;
}
