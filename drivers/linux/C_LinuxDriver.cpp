#include "drivers/linux/C_LinuxDriver.h"

#include <algorithm>
#include <cstring>

#include "drivers/linux/C_LinuxHost.h"
#include "drivers/linux/C_LinuxTargetId.h"
#include "drivers/linux/N_AtaPassThrough.h"
#include "drivers/linux/N_LinuxResult.h"
#include "module/C_Root.h"
#include "targets/C_AtaTarget.h"
#include "targets/C_ScsiTarget.h"

namespace {

const std::uint8_t OP_TEST_UNIT_READY = 0x00;
const std::uint8_t OP_REQUEST_SENSE = 0x03;
const std::uint8_t OP_INQUIRY = 0x12;
const std::uint8_t OP_WRITE_BUFFER = 0x3B;
const std::uint8_t OP_ATA_BLOCK = 0xC6;
const std::uint8_t ATA_INFORMATION_PAGE = 0x89;

// Commands that only read the drive's state: sent to a drive in use too.
const std::uint8_t READ_ONLY_OPCODES[] = {
    0x00,  // TEST UNIT READY
    0x03,  // REQUEST SENSE
    0x12,  // INQUIRY
    0x1A,  // MODE SENSE(6)
    0x1C,  // RECEIVE DIAGNOSTIC RESULTS
    0x25,  // READ CAPACITY(10)
    0x3C,  // READ BUFFER
    0x4D,  // LOG SENSE
    0x5A,  // MODE SENSE(10)
    0x9E,  // SERVICE ACTION IN(16): READ CAPACITY(16)
    0xA0,  // REPORT LUNS
};
const std::uint8_t READ_ONLY_ATA_COMMANDS[] = {
    0xEC,  // IDENTIFY DEVICE
    0xA1,  // IDENTIFY PACKET DEVICE
    0xE5,  // CHECK POWER MODE
};
const std::uint8_t ATA_DOWNLOAD_COMMANDS[] = {0x92, 0x93};  // DOWNLOAD MICROCODE (DMA)

template <std::size_t N>
bool Contains(const std::uint8_t (&i_set)[N], std::uint8_t i_value) {
  return std::find(std::begin(i_set), std::end(i_set), i_value) != std::end(i_set);
}

std::string HostKey(int i_host) { return "host" + std::to_string(i_host); }

}  // namespace

C_LinuxDriver::C_LinuxDriver(const S_Options& i_options, std::unique_ptr<C_SgTransport> i_transport)
    : C_Driver(0x4C58),
      m_options(i_options),
      m_transport(i_transport ? std::move(i_transport)
                              : std::unique_ptr<C_SgTransport>(new C_SgTransport())) {
  SetName("vek Linux SCSI generic driver");
  SetVersion("1.0");
  SetMinVersion("1.0");
}

C_LinuxDriver::~C_LinuxDriver() { Cleanup(); }

bool C_LinuxDriver::Init() { return true; }

void C_LinuxDriver::Cleanup() {
  std::lock_guard<std::mutex> lock(m_mutex);
  for (auto& node : m_nodes) {
    m_transport->Close(node.second.fd);
    node.second.fd = -1;
  }
}

void C_LinuxDriver::CleanupDevice(C_Device* i_device) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_nodes.find(i_device);
    if (it != m_nodes.end()) {
      m_transport->Close(it->second.fd);
      m_nodes.erase(it);
    }
  }
  C_Driver::CleanupDevice(i_device);
}

bool C_LinuxDriver::Knows(const std::string& i_key) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return std::any_of(m_nodes.begin(), m_nodes.end(), [&](const auto& i_node) {
    return i_node.second.host ? HostKey(i_node.second.device.host) == i_key
                              : i_node.second.device.address == i_key;
  });
}

bool C_LinuxDriver::FindRootChildren(C_Root* i_root) {
  std::vector<N_LinuxSysfs::S_ScsiDevice> scan = N_LinuxSysfs::Scan(m_options.root);
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_scan = scan;
    m_skipped.clear();
  }
  for (const N_LinuxSysfs::S_ScsiDevice& device : scan) {
    if (Knows(HostKey(device.host))) continue;
    C_LinuxHost* host = new C_LinuxHost(device.host, device.hostDriver);
    host->SetParent(i_root);
    host->SetTargetId(new C_LinuxTargetId(device.host));
    S_Node node;
    node.host = true;
    node.device.host = device.host;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_nodes[host] = node;
    }
    host->Init();
  }
  return true;
}

bool C_LinuxDriver::FindDeviceChildren(C_Device* i_device) {
  std::vector<N_LinuxSysfs::S_ScsiDevice> scan;
  int host;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_nodes.find(i_device);
    if (it == m_nodes.end() || !it->second.host) return true;  // drives have no children
    host = it->second.device.host;
    scan = m_scan;
  }
  for (const N_LinuxSysfs::S_ScsiDevice& device : scan) {
    if (device.host != host || Knows(device.address)) continue;
    std::string reason;
    int fd = -1;
    if (device.type != 0) {
      reason = "peripheral device type " + std::to_string(device.type) + " (" +
               N_LinuxSysfs::TypeName(device.type) + "), not a disk";
    } else {
      const std::string path =
          (m_options.root == "/" ? std::string() : m_options.root) + "/dev/" + device.sg;
      int error = 0;
      fd = m_transport->Open(path, error);
      if (fd < 0) {
        reason = "cannot open /dev/" + device.sg + ": " + std::strerror(error) +
                 (error == EACCES || error == EPERM ? " (root, or read-write access to the node, "
                                                      "is needed)"
                                                    : "");
      }
    }
    if (!reason.empty()) {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_skipped.push_back(S_Skipped{device, reason});
      continue;
    }
    S_Node node;
    node.device = device;
    node.fd = fd;
    node.ata = IsAta(fd, device);
    C_Device* target = node.ata ? static_cast<C_Device*>(new C_AtaTarget())
                                : static_cast<C_Device*>(new C_ScsiTarget());
    target->SetParent(i_device);
    target->SetTargetId(new C_LinuxTargetId(device));
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_nodes[target] = node;
    }
    target->Init();
  }
  return true;
}

bool C_LinuxDriver::IsAta(int i_fd, const N_LinuxSysfs::S_ScsiDevice& i_device) {
  if (i_device.vendor == "ATA") return true;
  // A SCSI/ATA translation layer lists the ATA Information page; emulated
  // disks may list it too, so the drive must also answer IDENTIFY DEVICE
  // through ATA PASS-THROUGH.
  std::uint8_t data[512] = {};
  const std::uint8_t pages[6] = {OP_INQUIRY, 0x01, 0x00, 0x00, 255, 0x00};
  const std::uint8_t identify[12] = {OP_ATA_BLOCK, 0x01, N_AtaPassThrough::ATA_IDENTIFY_DEVICE};
  N_AtaPassThrough::T_Cdb16 ata;
  std::string why;
  N_AtaPassThrough::Translate(identify, sizeof(identify), sizeof(data), ata, why);
  C_SgTransport::S_Request request;
  request.cdb = pages;
  request.cdbLength = sizeof(pages);
  request.data = data;
  request.dataLength = 255;
  request.direction = Driver::DIRECTION_IN;
  request.timeoutSeconds = m_options.commandTimeout;
  C_SgTransport::S_Reply reply = m_transport->Send(i_fd, request);
  if (N_LinuxResult::Classify(reply, false) != N_LinuxResult::GOOD || reply.transferred < 4) {
    return false;
  }
  const std::size_t end = std::min<std::size_t>(reply.transferred, 4u + data[3]);
  if (std::find(data + 4, data + end, ATA_INFORMATION_PAGE) == data + end) return false;
  request.cdb = ata.data();
  request.cdbLength = static_cast<std::uint8_t>(ata.size());
  request.dataLength = sizeof(data);
  reply = m_transport->Send(i_fd, request);
  return N_LinuxResult::Classify(reply, false) == N_LinuxResult::GOOD &&
         reply.transferred == sizeof(data);
}

int C_LinuxDriver::ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) {
  if (!i_command) return N_LinuxResult::INVALID_REQUEST;
  S_Node node;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_nodes.find(i_device);
    if (it == m_nodes.end() || (!it->second.host && it->second.fd < 0)) {
      return N_LinuxResult::NO_DEVICE;
    }
    node = it->second;
  }
  if (node.host) return N_LinuxResult::INVALID_REQUEST;
  if (i_command->requestType == Driver::REQUEST_CONTROL) {
    return Control(*i_command, i_device, node);
  }
  if (i_command->requestType != Driver::REQUEST_DEVICE || !i_command->cdb ||
      i_command->cdbLength == 0) {
    return N_LinuxResult::INVALID_REQUEST;
  }
  const std::uint8_t opcode = i_command->cdb[0];

  // The kernel took the sense data of the failed command from the drive
  // already: REQUEST SENSE answers with what was kept.
  if (opcode == OP_REQUEST_SENSE && !node.sense.empty() && i_command->dataBuffer &&
      i_command->direction == Driver::DIRECTION_IN) {
    const std::uint32_t length =
        std::min<std::uint32_t>(i_command->dataLength, static_cast<std::uint32_t>(node.sense.size()));
    std::memcpy(i_command->dataBuffer, node.sense.data(), length);
    i_command->dataLength = length;
    Keep(i_device, {}, node.detail);
    return N_LinuxResult::GOOD;
  }

  const std::uint8_t* cdb = i_command->cdb;
  std::uint8_t cdbLength = i_command->cdbLength;
  bool readOnly = Contains(READ_ONLY_OPCODES, opcode);
  bool download = opcode == OP_WRITE_BUFFER;
  N_AtaPassThrough::T_Cdb16 ata;
  std::uint8_t ataCommand = 0;
  if (opcode == OP_ATA_BLOCK && node.ata) {
    std::string why;
    if (!N_AtaPassThrough::Translate(i_command->cdb, i_command->cdbLength, i_command->dataLength,
                                     ata, why)) {
      return N_LinuxResult::INVALID_REQUEST;
    }
    cdb = ata.data();
    cdbLength = static_cast<std::uint8_t>(ata.size());
    ataCommand = N_AtaPassThrough::Command(i_command->cdb, i_command->cdbLength);
    readOnly = Contains(READ_ONLY_ATA_COMMANDS, ataCommand);
    download = Contains(ATA_DOWNLOAD_COMMANDS, ataCommand);
  }
  if (!readOnly && !MayChange(i_device, node)) return N_LinuxResult::IN_USE;
  const int result =
      Send(*i_command, i_device, node, cdb, cdbLength,
           download ? m_options.downloadTimeout : m_options.commandTimeout,
           opcode == OP_TEST_UNIT_READY);
  if (result == N_LinuxResult::GOOD && ataCommand == N_AtaPassThrough::ATA_IDENTIFY_DEVICE &&
      i_command->dataBuffer) {
    N_AtaPassThrough::SwapIdentifyStrings(i_command->dataBuffer, i_command->dataLength);
  }
  return result;
}

int C_LinuxDriver::Send(Driver::S_Command& io_command, C_Device* i_device, const S_Node& i_node,
                        const std::uint8_t* i_cdb, std::uint8_t i_cdbLength, unsigned i_timeout,
                        bool i_testUnitReady) {
  C_SgTransport::S_Request request;
  request.cdb = i_cdb;
  request.cdbLength = i_cdbLength;
  if (io_command.direction != Driver::DIRECTION_NONE) {
    request.data = io_command.dataBuffer;
    request.dataLength = io_command.dataBuffer ? io_command.dataLength : 0;
  }
  request.direction = static_cast<Driver::E_Direction>(io_command.direction);
  request.timeoutSeconds = i_timeout;

  C_SgTransport::S_Reply reply = m_transport->Send(i_node.fd, request);
  int result = N_LinuxResult::Classify(reply, i_testUnitReady);
  if (result == N_LinuxResult::SENSE_BASE + N_LinuxResult::KEY_UNIT_ATTENTION) {
    // A unit attention reports an event (a reset, new microcode), not the
    // command's fault: the command was not run. Once more.
    reply = m_transport->Send(i_node.fd, request);
    result = N_LinuxResult::Classify(reply, i_testUnitReady);
  }
  if (request.data) io_command.dataLength = reply.transferred;
  std::string detail;
  if (reply.osError) {
    detail = std::string("SG_IO: ") + std::strerror(reply.osError);
  } else if (result == N_LinuxResult::TIMEOUT) {
    detail = "no answer within " + std::to_string(i_timeout) + " s";
  } else if (result == N_LinuxResult::TRANSPORT) {
    detail = "host status " + std::to_string(reply.hostStatus);
  }
  Keep(i_device, result == N_LinuxResult::GOOD ? std::vector<std::uint8_t>() : reply.sense, detail);
  if (io_command.senseBuffer && io_command.senseLength && !reply.sense.empty()) {
    std::memcpy(io_command.senseBuffer, reply.sense.data(),
                std::min<std::size_t>(io_command.senseLength, reply.sense.size()));
  }
  return result;
}

int C_LinuxDriver::Control(Driver::S_Command& io_command, C_Device* i_device,
                           const S_Node& i_node) {
  if (!io_command.cdb || io_command.cdbLength < 1) return N_LinuxResult::INVALID_REQUEST;
  switch (io_command.cdb[0]) {
    case Driver::CONTROL_GET_ADDRESS:
      if (!io_command.dataBuffer || io_command.dataLength < 3) {
        return N_LinuxResult::INVALID_REQUEST;
      }
      io_command.dataBuffer[0] = static_cast<std::uint8_t>(i_node.device.channel);
      io_command.dataBuffer[1] = static_cast<std::uint8_t>(i_node.device.target);
      io_command.dataBuffer[2] = static_cast<std::uint8_t>(i_node.device.lun);
      io_command.dataLength = 3;
      return N_LinuxResult::GOOD;
    case Driver::CONTROL_RESET: {
      const int kind = io_command.cdbLength >= 2 ? io_command.cdb[1] : 1;
      if (kind < 1 || kind > 4) return N_LinuxResult::INVALID_REQUEST;
      if (!MayChange(i_device, i_node)) return N_LinuxResult::IN_USE;
      Keep(i_device, {});
      const int error = m_transport->Reset(i_node.fd, kind);
      if (error == 0) return N_LinuxResult::GOOD;
      Keep(i_device, {}, std::string("SG_SCSI_RESET: ") + std::strerror(error));
      return N_LinuxResult::OS_ERROR;
    }
    default:
      return N_LinuxResult::INVALID_REQUEST;
  }
}

bool C_LinuxDriver::MayChange(C_Device* i_device, const S_Node& i_node) {
  if (m_options.force) return true;
  const auto now = std::chrono::steady_clock::now();
  if (now - i_node.foundFree < std::chrono::seconds(1)) return true;
  if (!N_LinuxSysfs::InUse(m_options.root, i_node.device.block).empty()) return false;
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_nodes.find(i_device);
  if (it != m_nodes.end()) it->second.foundFree = now;
  return true;
}

void C_LinuxDriver::Keep(C_Device* i_device, const std::vector<std::uint8_t>& i_sense,
                         const std::string& i_detail) {
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_nodes.find(i_device);
  if (it == m_nodes.end()) return;
  it->second.sense = i_sense;
  it->second.detail = i_detail;
}

std::string C_LinuxDriver::LastDetail(C_Device* i_device) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_nodes.find(i_device);
  return it == m_nodes.end() ? std::string() : it->second.detail;
}

std::vector<C_LinuxDriver::S_Skipped> C_LinuxDriver::Skipped() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_skipped;
}

std::vector<std::string> C_LinuxDriver::Names(C_Device* i_device) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (m_nodes.find(i_device) == m_nodes.end()) return {};
  const C_LinuxTargetId* id = dynamic_cast<const C_LinuxTargetId*>(i_device->GetTargetId());
  return id ? id->Names() : std::vector<std::string>();
}

std::string C_LinuxDriver::InUse(C_Device* i_device) const {
  std::string block;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_nodes.find(i_device);
    if (it == m_nodes.end()) return std::string();
    block = it->second.device.block;
  }
  return N_LinuxSysfs::InUse(m_options.root, block);
}

std::vector<std::uint8_t> C_LinuxDriver::LastSense(C_Device* i_device) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_nodes.find(i_device);
  return it == m_nodes.end() ? std::vector<std::uint8_t>() : it->second.sense;
}
