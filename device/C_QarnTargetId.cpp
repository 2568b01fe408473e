#include "device/C_QarnTargetId.h"

C_QarnTargetId::C_QarnTargetId(const std::string& i_controller, unsigned char i_drive)
    : m_controller(i_controller), m_drive(i_drive) {}

C_QarnTargetId::~C_QarnTargetId() = default;

std::string C_QarnTargetId::GetString() const {
  return m_controller + ":" + std::to_string(static_cast<unsigned>(m_drive));
}
