// Uses the installed package as a host and its driver do: a driver that
// attaches one SCSI target and refuses every command block, the tree seen
// through the entry points, a deferred-flash request and a status text.
// Answers 0 when all of it behaves.
#include "Common/Localization/VekMessages.h"
#include "ddff/C_DDFF.h"
#include "device/C_QarnTargetId.h"
#include "host/C_ModuleServices.h"
#include "host/C_VekInstance.h"
#include "module/C_Driver.h"
#include "module/C_Root.h"
#include "module/VekExport.h"
#include "targets/C_ScsiTarget.h"

struct C_RefusingDriver : C_Driver {
  C_RefusingDriver() : C_Driver(0) {}
  bool Init() override { return true; }
  void Cleanup() override {}
  int ForwardCommand(Driver::S_Command*, C_Device*) override { return 42; }
  bool FindRootChildren(C_Root* i_root) override {
    C_ScsiTarget* target = new C_ScsiTarget;
    target->SetParent(i_root);
    target->SetTargetId(new C_QarnTargetId("c0", 1));
    return true;
  }
  bool FindDeviceChildren(C_Device*) override { return false; }
};

int main() {
  C_Root root;
  root.SetDriver(new C_RefusingDriver);
  C_ModuleServices services(&root);
  C_VekInstance instance(&services);
  C_VekEnumContext* context = VekExport::StartEnum(&instance, nullptr);
  C_VekDevice* device = VekExport::GetNextDevice(&instance, context);
  const char* argv[] = {"TestUnitReady", nullptr};
  const bool refused = device && VekExport::CallOp(&instance, device, argv[0], 1, argv) == 42;
  VekExport::CloseDevice(&instance, device);
  VekExport::CloseEnum(&instance, context);
  root.Cleanup();
  C_DDFF request;
  const bool built = request.GetRequestSize() == 512 && request.GetRequest() != nullptr;
  return refused && built && !N_VekMessages::StatusText(1025).GetString().empty() ? 0 : 1;
}
