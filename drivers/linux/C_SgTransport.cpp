#include "drivers/linux/C_SgTransport.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <scsi/sg_pt.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <algorithm>
#include <memory>

namespace {

const int SENSE_MAX = 252;

// The kernel's value; older C library headers lack it.
#ifndef SG_SCSI_RESET_TARGET
const int SG_SCSI_RESET_TARGET = 4;
#endif  // the most a fixed or descriptor sense can hold

}  // namespace

struct C_SgTransport::S_Node {
  std::mutex mutex;
  sg_pt_base* object = nullptr;
  ~S_Node() {
    if (object) destruct_scsi_pt_obj(object);
  }
};

C_SgTransport::C_SgTransport() = default;
C_SgTransport::~C_SgTransport() = default;

C_SgTransport::S_Node* C_SgTransport::Node(int i_fd) {
  std::lock_guard<std::mutex> lock(m_mutex);
  std::unique_ptr<S_Node>& node = m_nodes[i_fd];
  if (!node) node.reset(new S_Node());
  return node.get();
}

int C_SgTransport::Open(const std::string& i_path, int& o_errno) {
  // O_NONBLOCK: the open never waits for a device that is being set up;
  // SG_IO itself still blocks until the command completes.
  const int fd = open(i_path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  o_errno = fd < 0 ? errno : 0;
  return fd;
}

void C_SgTransport::Close(int i_fd) {
  if (i_fd < 0) return;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nodes.erase(i_fd);
  }
  close(i_fd);
}

C_SgTransport::S_Reply C_SgTransport::Send(int i_fd, const S_Request& i_request) {
  S_Reply reply;
  S_Node* node = Node(i_fd);
  std::lock_guard<std::mutex> lock(node->mutex);
  if (node->object) {
    partial_clear_scsi_pt_obj(node->object);  // keeps the descriptor and its type
  } else {
    node->object = construct_scsi_pt_obj_with_fd(i_fd, 0);
    if (!node->object) {
      reply.osError = ENOMEM;
      return reply;
    }
  }
  sg_pt_base* object = node->object;
  std::uint8_t sense[SENSE_MAX] = {};
  set_scsi_pt_cdb(object, i_request.cdb, i_request.cdbLength);
  set_scsi_pt_sense(object, sense, sizeof(sense));
  if (i_request.data && i_request.dataLength) {
    if (i_request.direction == Driver::DIRECTION_IN) {
      set_scsi_pt_data_in(object, i_request.data, static_cast<int>(i_request.dataLength));
    } else if (i_request.direction == Driver::DIRECTION_OUT) {
      set_scsi_pt_data_out(object, i_request.data, static_cast<int>(i_request.dataLength));
    }
  }
  const int started = do_scsi_pt(object, i_fd, static_cast<int>(i_request.timeoutSeconds), 0);
  if (started < 0) {
    reply.osError = -started;
    return reply;
  }
  if (started != SCSI_PT_DO_START_OK) {
    reply.osError = started == SCSI_PT_DO_NOT_SUPPORTED ? ENOTSUP : EINVAL;
    return reply;
  }
  reply.osError = get_scsi_pt_os_err(object);
  reply.hostStatus = get_scsi_pt_transport_err(object);
  reply.driverError = reply.hostStatus == 0 &&
                      get_scsi_pt_result_category(object) == SCSI_PT_RESULT_TRANSPORT_ERR;
  reply.status = get_scsi_pt_status_response(object);
  const int senseLength = get_scsi_pt_sense_len(object);
  if (senseLength > 0) reply.sense.assign(sense, sense + std::min(senseLength, SENSE_MAX));
  const int resid = get_scsi_pt_resid(object);
  reply.transferred = i_request.data ? i_request.dataLength - static_cast<std::uint32_t>(
                                           std::min<long>(std::max(resid, 0), i_request.dataLength))
                                     : 0;
  return reply;
}

int C_SgTransport::Reset(int i_fd, int i_kind) {
  int value;
  switch (i_kind) {
    case 1: value = SG_SCSI_RESET_DEVICE; break;
    case 2: value = SG_SCSI_RESET_TARGET; break;
    case 3: value = SG_SCSI_RESET_BUS; break;
    case 4: value = SG_SCSI_RESET_HOST; break;
    default: return EINVAL;
  }
  return ioctl(i_fd, SG_SCSI_RESET, &value) == 0 ? 0 : errno;
}
