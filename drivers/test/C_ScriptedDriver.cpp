#include "drivers/test/C_ScriptedDriver.h"

#include <algorithm>
#include <cstring>

#include "device/C_Device.h"
#include "device/C_TargetId.h"
#include "module/C_Root.h"

C_ScriptedDriver::C_ScriptedDriver() : C_Driver(0x7E57) { SetName("scripted"); }

C_ScriptedDriver::~C_ScriptedDriver() = default;

void C_ScriptedDriver::Attach(C_EntityNode* i_parent, C_Device* i_device, C_TargetId* i_targetId,
                              bool i_init) {
  i_device->SetParent(i_parent);
  i_device->SetTargetId(i_targetId);
  if (i_init) i_device->Init();
}

void C_ScriptedDriver::Reply(T_Matcher i_match, S_Reply i_reply, int i_times) {
  m_rules.push_back(S_Rule{std::move(i_match), std::move(i_reply), i_times});
}

C_ScriptedDriver::T_Matcher C_ScriptedDriver::Any() {
  return [](const S_Recorded&) { return true; };
}

C_ScriptedDriver::T_Matcher C_ScriptedDriver::Opcode(std::uint8_t i_opcode) {
  return [i_opcode](const S_Recorded& c) { return c.Opcode() == i_opcode; };
}

C_ScriptedDriver::T_Matcher C_ScriptedDriver::Opcode(std::uint8_t i_opcode, E_Route i_route) {
  return [i_opcode, i_route](const S_Recorded& c) {
    return c.Opcode() == i_opcode && c.route == i_route;
  };
}

C_ScriptedDriver::S_Reply C_ScriptedDriver::Status(int i_status) {
  S_Reply reply;
  reply.status = i_status;
  return reply;
}

C_ScriptedDriver::S_Reply C_ScriptedDriver::Data(const std::vector<std::uint8_t>& i_data,
                                                 int i_status) {
  S_Reply reply;
  reply.status = i_status;
  reply.hasData = true;
  reply.data = i_data;
  return reply;
}

C_ScriptedDriver::S_Reply C_ScriptedDriver::Sense(int i_status,
                                                  const std::vector<std::uint8_t>& i_sense) {
  S_Reply reply;
  reply.status = i_status;
  reply.sense = i_sense;
  return reply;
}

C_ScriptedDriver::S_Reply C_ScriptedDriver::Handler(
    std::function<int(Driver::S_Command&, const S_Recorded&)> i_handler) {
  S_Reply reply;
  reply.handler = std::move(i_handler);
  return reply;
}

int C_ScriptedDriver::Perform(Driver::S_Command* i_command, C_Device* i_device, E_Route i_route) {
  S_Recorded rec;
  rec.route = i_route;
  rec.device = i_device;
  rec.cdbLength = i_command->cdbLength;
  if (i_command->cdb) rec.cdb.assign(i_command->cdb, i_command->cdb + i_command->cdbLength);
  rec.dataBuffer = i_command->dataBuffer;
  rec.dataLength = i_command->dataLength;
  if (m_recordData && i_command->direction == Driver::DIRECTION_OUT && i_command->dataBuffer) {
    rec.dataOut.assign(i_command->dataBuffer, i_command->dataBuffer + i_command->dataLength);
  }
  rec.senseBuffer = i_command->senseBuffer;
  rec.senseLength = i_command->senseLength;
  rec.flags = i_command->flags;
  rec.direction = i_command->direction;
  rec.requestType = i_command->requestType;
  m_commands.push_back(rec);

  for (S_Rule& rule : m_rules) {
    if (rule.times == 0 || !rule.match(rec)) continue;
    if (rule.times > 0) --rule.times;
    const S_Reply& reply = rule.reply;
    if (reply.handler) return reply.handler(*i_command, rec);
    if (reply.hasData) {
      std::uint32_t n = std::min<std::uint32_t>(i_command->dataLength,
                                                static_cast<std::uint32_t>(reply.data.size()));
      if (i_command->dataBuffer && n) std::memcpy(i_command->dataBuffer, reply.data.data(), n);
      i_command->dataLength = n;
    }
    if (!reply.sense.empty() && i_command->senseBuffer) {
      std::uint32_t n = std::min<std::uint32_t>(i_command->senseLength,
                                                static_cast<std::uint32_t>(reply.sense.size()));
      std::memcpy(i_command->senseBuffer, reply.sense.data(), n);
    }
    return reply.status;
  }
  return 0;
}

bool C_ScriptedDriver::Init() {
  ++m_initCalls;
  return true;
}

void C_ScriptedDriver::CleanupDevice(C_Device* i_device) {
  m_cleaned.push_back(i_device);
  C_Driver::CleanupDevice(i_device);
}

void C_ScriptedDriver::Cleanup() { ++m_cleanupCalls; }

int C_ScriptedDriver::ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) {
  return Perform(i_command, i_device, ROUTE_FORWARD);
}

bool C_ScriptedDriver::FindRootChildren(C_Root* i_root) {
  ++m_discoverCalls;
  if (m_discover) m_discover(i_root);
  return true;
}

bool C_ScriptedDriver::FindDeviceChildren(C_Device* i_device) {
  ++m_discoverCalls;
  if (m_discover) m_discover(i_device);
  return true;
}
