#ifndef VEK_TOOLS_C_OBSERVINGDRIVER_H
#define VEK_TOOLS_C_OBSERVINGDRIVER_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "module/C_Driver.h"

// A driver that wraps the real one: every call is passed on unchanged, and
// every command block is shown to an observer once it has completed (its
// data-out bytes as sent, its data-in bytes as received, its result). That
// is how vekctl traces command blocks (-v) and measures flash progress,
// whatever the driver underneath.
//
// Dry run: while it is on, command blocks are shown to the observer with
// result 0 and are not passed on; a data-in buffer stays as the caller left
// it. Operations called then run to their end against a drive that accepts
// everything, which shows exactly the blocks they would send. The devices'
// own idea of the drive (attributes) may be wrong afterwards.
//
// Ownership: owns the wrapped driver. Threads: as safe as the wrapped
// driver; the observer runs on the thread that sent the block and must be
// set before commands flow.
class C_ObservingDriver : public C_Driver {
 public:
  typedef std::function<void(const Driver::S_Command&, C_Device*, int)> T_Observer;

  explicit C_ObservingDriver(std::unique_ptr<C_Driver> i_inner);
  ~C_ObservingDriver() override;

  C_Driver* Inner() const { return m_inner.get(); }
  void SetObserver(const T_Observer& i_observer) { m_observer = i_observer; }
  void SetDryRun(bool i_on) { m_dryRun = i_on; }

  bool Init() override;
  void CleanupDevice(C_Device* i_device) override;
  void Cleanup() override;
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) override;
  bool FindRootChildren(C_Root* i_root) override;
  bool FindDeviceChildren(C_Device* i_device) override;
  std::string GetDeviceId(C_Device* i_device) override;

 private:
  std::unique_ptr<C_Driver> m_inner;
  T_Observer m_observer;
  std::atomic<bool> m_dryRun;
};

#endif
