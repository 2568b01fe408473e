#ifndef VEK_DRIVERS_COMMON_C_OBSERVINGDRIVER_H
#define VEK_DRIVERS_COMMON_C_OBSERVINGDRIVER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "module/C_Driver.h"

// A driver that wraps the real one: every call is passed on, and every
// command block is shown to one observer once it has completed (its
// data-out bytes as sent, its data-in bytes as received, its result). That
// is how a host traces command blocks and measures and judges a flash,
// whatever the driver underneath; it is the one observer of command blocks.
//
// What it adds to any driver:
//  - An exception thrown by the wrapped driver's ForwardCommand is that
//    command's failure: the block answers N_DriverResult::DRIVER_FAILED and
//    the exception's text is kept (LastFailure). One faulty drive never
//    takes the enumeration or a fleet flash down with it.
//  - The last failed block of each device (result, opcode, sense bytes,
//    the driver's text), so a host can say why a command failed after the
//    module returned only a code.
//  - Stop: once the stop flag is up, blocks are not passed on; they answer
//    N_DriverResult::NOT_SENT. The block in flight when it rises completes.
//  - Dry run: while it is on, blocks are shown to the observer with result 0
//    and are not passed on; a data-in buffer stays as the caller left it.
//    Operations then run to their end against a drive that accepts
//    everything, which shows exactly the blocks they would send. The
//    devices' own idea of the drive (attributes) may be wrong afterwards.
//
// Ownership: owns the wrapped driver. Threads: as safe as the wrapped
// driver; LastFailure and the flags may be used from any thread. The
// observer runs on the thread that sent the block and must be set before
// commands flow.
class C_ObservingDriver : public C_Driver {
 public:
  typedef std::function<void(const Driver::S_Command&, C_Device*, int)> T_Observer;

  // The last failed block of a device.
  struct S_Failure {
    int result = 0;  // 0: none recorded
    std::uint8_t opcode = 0;
    std::uint32_t requestType = 0;
    std::vector<std::uint8_t> sense;  // the block's sense buffer, up to its additional length
    std::string what;                 // the driver's exception text (DRIVER_FAILED)
  };

  explicit C_ObservingDriver(std::unique_ptr<C_Driver> i_inner);
  ~C_ObservingDriver() override;

  C_Driver* Inner() const { return m_inner.get(); }
  void SetObserver(const T_Observer& i_observer) { m_observer = i_observer; }
  void SetDryRun(bool i_on) { m_dryRun = i_on; }
  // i_stop (null: never) is read before each block; it must outlive the
  // driver. A signal handler may set it.
  void SetStopFlag(const std::atomic<bool>* i_stop) { m_stop = i_stop; }
  S_Failure LastFailure(C_Device* i_device) const;
  // A block's sense bytes, up to the additional length its data gives
  // (fixed and descriptor formats both carry it in byte 7); empty when the
  // block holds none.
  static std::vector<std::uint8_t> SenseBytes(const Driver::S_Command& i_command);

  bool Init() override;
  void CleanupDevice(C_Device* i_device) override;
  void Cleanup() override;
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) override;
  bool FindRootChildren(C_Root* i_root) override;
  bool FindDeviceChildren(C_Device* i_device) override;
  std::string GetDeviceId(C_Device* i_device) override;

 private:
  void Record(const Driver::S_Command& i_command, C_Device* i_device, int i_result,
              const std::string& i_what);

  std::unique_ptr<C_Driver> m_inner;
  T_Observer m_observer;
  std::atomic<bool> m_dryRun;
  const std::atomic<bool>* m_stop;
  mutable std::mutex m_mutex;  // m_failures
  std::map<C_Device*, S_Failure> m_failures;
};

#endif
