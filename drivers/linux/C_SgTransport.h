#ifndef VEK_DRIVERS_LINUX_C_SGTRANSPORT_H
#define VEK_DRIVERS_LINUX_C_SGTRANSPORT_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "targets/S_Command.h"

// The one road from the Linux driver to the kernel: open a SCSI generic
// node, send one command block through SG_IO, reset. C_SgTransport does it
// with libsgutils2's pass-through layer (sg_pt); tests give the driver a
// transport of their own and never touch a device.
//
// Each open node keeps one pass-through object, cleared between commands,
// so a command costs no allocation or device probe of its own.
//
// Threads: Send and Reset may run on several threads at once; commands to
// one descriptor are serialised.
struct sg_pt_base;
class C_SgTransport {
 public:
  struct S_Request {
    const std::uint8_t* cdb = nullptr;
    std::uint8_t cdbLength = 0;
    std::uint8_t* data = nullptr;  // null when nothing moves
    std::uint32_t dataLength = 0;
    Driver::E_Direction direction = Driver::DIRECTION_NONE;
    unsigned timeoutSeconds = 60;
  };

  // What came back. osError: an errno from submitting the command (the
  // command was then not sent, or its fate is unknown); hostStatus: the
  // transport's complaint (SG_IO's host_status: 0x03 the kernel timed the
  // command out and aborted it); driverError: the low-level driver failed
  // it without a host status; status: the SCSI status byte; sense: the
  // autosense bytes.
  struct S_Reply {
    int osError = 0;
    int hostStatus = 0;
    bool driverError = false;
    int status = 0;
    std::vector<std::uint8_t> sense;
    std::uint32_t transferred = 0;  // bytes that moved, either way
  };

  C_SgTransport();
  virtual ~C_SgTransport();
  C_SgTransport(const C_SgTransport&) = delete;
  C_SgTransport& operator=(const C_SgTransport&) = delete;

  // A descriptor for the node (read-write), or -1 with o_errno set.
  virtual int Open(const std::string& i_path, int& o_errno);
  virtual void Close(int i_fd);
  virtual S_Reply Send(int i_fd, const S_Request& i_request);
  // SG_SCSI_RESET of kind 1 logical unit, 2 target, 3 bus, 4 host: 0 or an
  // errno.
  virtual int Reset(int i_fd, int i_kind);

 private:
  struct S_Node;
  S_Node* Node(int i_fd);

  std::mutex m_mutex;
  std::map<int, std::unique_ptr<S_Node>> m_nodes;
};

#endif
