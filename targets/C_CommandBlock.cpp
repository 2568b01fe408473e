#include "targets/C_CommandBlock.h"

#include <algorithm>
#include <cstring>

#include "device/C_Device.h"
#include "module/E_Status.h"

C_CommandBlock::C_CommandBlock(std::uint8_t* i_block, std::uint8_t i_blockLength, void* i_data,
                               std::uint32_t i_dataLength, std::uint32_t i_senseLength,
                               std::uint32_t i_flags, Driver::E_Direction i_direction,
                               Driver::E_RequestType i_requestType) {
  // The whole record first, so the padding of the 8-bit slots goes out as 0.
  std::memset(&m_command, 0, sizeof m_command);
  std::memset(m_sense, 0, sizeof m_sense);
  const std::uint32_t senseLength = std::min(i_senseLength, SCSI_SENSE_LENGTH);
  m_command.cdb = i_block;
  m_command.cdbLength = i_blockLength;
  m_command.dataBuffer = static_cast<std::uint8_t*>(i_data);
  m_command.dataLength = i_dataLength;
  m_command.senseBuffer = senseLength ? m_sense : nullptr;
  m_command.senseLength = senseLength;
  m_command.flags = i_flags;
  m_command.direction = i_direction;
  m_command.requestType = i_requestType;
}

int C_CommandBlock::Forward(C_Device* i_origin) {
  C_EntityNode* parent = i_origin->GetParent();
  if (!parent) return VEK_STATUS_NO_PARENT;
  return parent->ForwardCommand(&m_command, i_origin);
}

int C_CommandBlock::PassThruOrForward(C_Device* i_origin) {
  C_EntityNode* parent = i_origin->GetParent();
  if (!parent) return VEK_STATUS_NO_PARENT;
  if (parent->SCSIPassThruCommand(&m_command, i_origin) == VEK_STATUS_OK) return VEK_STATUS_OK;
  return parent->ForwardCommand(&m_command, i_origin);
}
