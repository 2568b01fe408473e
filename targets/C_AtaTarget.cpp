#include "targets/C_AtaTarget.h"

#include <algorithm>
#include <cstring>

#include "Common/Localization/ValueFormat.h"
#include "foundation/StringUtil.h"
#include "module/C_Driver.h"
#include "targets/C_CommandBlock.h"
#include "targets/N_Cdb.h"
#include "targets/N_TargetOps.h"

namespace {

const std::uint32_t SENSE_LENGTH = C_CommandBlock::ATA_SENSE_LENGTH;
const int SERIAL_NUMBER_PAGE = 0x80;
const unsigned int VPD_BUFFER_LENGTH = 255;
// The drive needs this long to commit a downloaded image before it takes
// further commands.
const int DOWNLOAD_SETTLE_MS = 15000;

// Controllers whose drives report a drive type.
const char* const TYPED_CONTROLLERS[] = {"E0300A57", "E0100A57"};

// IDENTIFY DEVICE fields (byte offsets, lengths).
const std::size_t ID_SERIAL = 20, ID_SERIAL_LENGTH = 20;
const std::size_t ID_FIRMWARE = 46, ID_FIRMWARE_LENGTH = 8;
const std::size_t ID_MODEL = 54, ID_MODEL_LENGTH = 16;
// The revision proper follows a 4-character prefix in the firmware field.
const std::size_t FIRMWARE_PREFIX = 4, FIRMWARE_MAX = 7;

std::string Field(const std::uint8_t* i_bytes, std::size_t i_length) {
  std::string text(reinterpret_cast<const char*>(i_bytes), i_length);
  TrimRight(text, ' ');
  return text;
}

bool IsPrintable7Bit(std::uint8_t i_char) { return i_char >= 0x20 && i_char < 0x7F; }

}  // namespace

C_AtaTarget::C_AtaTarget(const std::string& i_controllerId, int i_driveType)
    : m_driveType(static_cast<unsigned int>(i_driveType)), m_controllerId(i_controllerId) {
  std::memset(m_identify, 0, sizeof m_identify);
  AddOperations();
}

C_AtaTarget::C_AtaTarget() : m_driveType(0) {
  std::memset(m_identify, 0, sizeof m_identify);
  AddOperations();
}

C_AtaTarget::~C_AtaTarget() = default;

void C_AtaTarget::AddOperations() {
  RegisterOperation("ExecuteCommand", this, &C_AtaTarget::OpExecuteCommand);
  RegisterOperation("Inquiry", this, &C_AtaTarget::Inquiry);
  RegisterOperation("ModeSelect", this, &C_AtaTarget::ModeSelect);
  RegisterOperation("ModeSense", this, &C_AtaTarget::ModeSense);
  RegisterOperation("RequestSense", this, &C_AtaTarget::RequestSense);
  RegisterOperation("StartStopUnit", this, &C_AtaTarget::StartStopUnit);
  RegisterOperation("TestUnitReady", this, &C_AtaTarget::TestUnitReady);
  RegisterOperation("WriteBuffer", this, &C_AtaTarget::WriteBuffer);
  RegisterOperation("Flash", this, &C_AtaTarget::Flash);
  RegisterOperation("Reset", this, &C_AtaTarget::Reset);
  RegisterOperation("CmprModePage", this, &C_AtaTarget::CmprModePage);
  RegisterOperation("VendorSpecificCmd", this, &C_AtaTarget::VendorSpecificCmd);
  RegisterOperation("BlinkLeds", this, &C_AtaTarget::BlinkLeds);
}

bool C_AtaTarget::FindChildren() { return false; }

bool C_AtaTarget::Init() { return N_TargetOps::InitTarget(*this); }

int C_AtaTarget::ForwardCommand(Driver::S_Command*, C_Device*) {
  return VEK_STATUS_UNKNOWN_OPERATION;
}

int C_AtaTarget::ExecuteCommand(Driver::S_Command* i_command) {
  C_EntityNode* parent = GetParent();
  return parent ? parent->ForwardCommand(i_command, this) : VEK_STATUS_NO_PARENT;
}

void C_AtaTarget::SetFirmwareRev(const std::string& i_revision) {
  m_firmwareRev = C_FirmwareRev(i_revision);
  AddAttribute("FirmwareRev", m_firmwareRev.Get());
}

const std::string& C_AtaTarget::GetSerialNumber() {
  if (!m_serialNumber.empty()) return m_serialNumber;
  std::uint8_t page[VPD_BUFFER_LENGTH];
  if (GetVitalProductData(SERIAL_NUMBER_PAGE, page, sizeof page, 0) != VEK_STATUS_OK) {
    return m_serialNumber;
  }
  if (page[1] != SERIAL_NUMBER_PAGE || page[3] == 0) return m_serialNumber;
  const std::uint8_t* at = page + 4;
  const std::uint8_t* end = page + 4 + std::min<std::size_t>(page[3], sizeof page - 4);
  while (at < end && *at == ' ') ++at;
  const std::uint8_t* stop = std::find_if_not(at, end, IsPrintable7Bit);
  std::string serial(at, stop);
  TrimRight(serial, ' ');
  if (!serial.empty()) m_serialNumber = serial;
  return m_serialNumber;
}

int C_AtaTarget::Inquiry(int argc, const char** argv) {
  C_EntityNode* parent = GetParent();
  if (!parent) return VEK_STATUS_NO_PARENT;
  std::memset(m_identify, 0, sizeof m_identify);
  N_Cdb::T_Cdb12 cdb = N_Cdb::AtaIdentify();
  C_CommandBlock block(cdb, m_identify, IDENTIFY_LENGTH, SENSE_LENGTH,
                       N_TargetOps::SwitchFlag(argc, argv), Driver::DIRECTION_IN,
                       Driver::REQUEST_DEVICE);
  int status = block.Forward(this);
  if (status != VEK_STATUS_OK) return status;

  C_Device* parentDevice = dynamic_cast<C_Device*>(parent);
  const bool parentHasDDFF = parentDevice && parentDevice->GetAttribute("HasDDFF") == "true";
  AddAttribute("pHasDDFF", parentHasDDFF ? "true" : "false");

  for (const char* controller : TYPED_CONTROLLERS) {
    if (m_controllerId == controller) {
      AddAttribute("DeviceType", stringFormat("%#02lX", static_cast<unsigned long>(m_driveType)));
      break;
    }
  }

  m_vendorId = "ZQ";
  AddAttribute("VendorId", m_vendorId);

  if (C_Driver* driver = GetDriver()) SetDeviceId(C_DeviceId(driver->GetDeviceId(this)));
  AddAttribute("DeviceId", GetDeviceId().Get());

  m_productId.Set(Field(m_identify + ID_MODEL, ID_MODEL_LENGTH));
  AddAttribute("ProductId", m_productId.Get());

  // substr throws std::out_of_range when fewer than 4 characters remain:
  // such a field is not a revision this target can read.
  const std::string firmware = Field(m_identify + ID_FIRMWARE, ID_FIRMWARE_LENGTH);
  m_firmwareRev.Set(firmware.substr(FIRMWARE_PREFIX, FIRMWARE_MAX));
  AddAttribute("FirmwareRev", m_firmwareRev.Get());

  AddAttribute("SerialNumber",
               std::string(reinterpret_cast<const char*>(m_identify + ID_SERIAL), ID_SERIAL_LENGTH));
  return VEK_STATUS_OK;
}

int C_AtaTarget::ModeSelect(int argc, const char** argv) {
  return N_TargetOps::ModeSelect(this, argc, argv, SENSE_LENGTH);
}

int C_AtaTarget::ModeSense(int argc, const char** argv) {
  return N_TargetOps::ModeSense(this, argc, argv, SENSE_LENGTH);
}

// SCSI-only operations: an ATA drive has nothing to do for them.
int C_AtaTarget::RequestSense(int, const char**) { return VEK_STATUS_OK; }
int C_AtaTarget::StartStopUnit(int, const char**) { return VEK_STATUS_OK; }
int C_AtaTarget::TestUnitReady(int, const char**) { return VEK_STATUS_OK; }
int C_AtaTarget::CmprModePage(int, const char**) { return VEK_STATUS_OK; }
int C_AtaTarget::BlinkLeds(int, const char**) { return VEK_STATUS_OK; }

int C_AtaTarget::WriteBuffer(int argc, const char** argv) {
  N_TargetOps::S_WriteBufferArgs args;
  int status = N_TargetOps::ParseWriteBuffer(argc, argv, args);
  if (status != VEK_STATUS_OK) return status;
  status = DoWriteBuffer(args.mode, args.image, args.offset, args.length, args.flags);
  if (status != VEK_STATUS_OK) return status;
  SleepMilliSeconds(DOWNLOAD_SETTLE_MS);
  return VEK_STATUS_OK;
}

int C_AtaTarget::Flash(int argc, const char** argv) {
  return N_TargetOps::Flash(*this, argc, argv);
}

int C_AtaTarget::Reset(int argc, const char** argv) {
  return N_TargetOps::Reset(this, argc, argv, SENSE_LENGTH);
}

int C_AtaTarget::VendorSpecificCmd(int argc, const char** argv) {
  return N_TargetOps::VendorSpecific(this, argc, argv, SENSE_LENGTH, false);
}

int C_AtaTarget::DoWriteBuffer(int, const char* i_image, unsigned int i_offset,
                               unsigned int i_length, unsigned int i_flags) {
  if (!HasParent()) return VEK_STATUS_NO_PARENT;
  N_Cdb::T_Cdb12 cdb = N_Cdb::AtaDownloadMicrocode(i_length);
  // Data out: read by the driver, never written; not copied.
  char* data = i_image ? const_cast<char*>(i_image) + i_offset : nullptr;
  C_CommandBlock block(cdb, data, i_length, SENSE_LENGTH, i_flags, Driver::DIRECTION_OUT,
                       Driver::REQUEST_DEVICE);
  return block.Forward(this);
}

int C_AtaTarget::OpExecuteCommand(int argc, const char** argv) {
  return N_TargetOps::ExecuteHostCommand(this, argc, argv);
}

int C_AtaTarget::GetVitalProductData(int i_page, void* o_buffer, unsigned int i_length,
                                     unsigned int i_flags) {
  std::memset(o_buffer, 0, i_length);
  N_Cdb::T_Cdb6 cdb =
      N_Cdb::InquiryVpd(static_cast<std::uint8_t>(i_page), static_cast<std::uint8_t>(i_length));
  C_CommandBlock block(cdb, o_buffer, i_length, SENSE_LENGTH, i_flags, Driver::DIRECTION_IN,
                       Driver::REQUEST_DEVICE);
  return ExecuteCommand(block.Get());
}

C_SmartPtr<C_MPData> C_AtaTarget::GetMPData() { return C_SmartPtr<C_MPData>(); }

void C_AtaTarget::SetMPData(C_SmartPtr<C_MPData> i_data) { i_data.Release(); }
