#include "targets/C_ScsiTarget.h"

#include <algorithm>
#include <cstring>

#include "foundation/StringUtil.h"
#include "module/C_Driver.h"
#include "targets/C_CommandBlock.h"
#include "targets/N_Cdb.h"
#include "targets/N_TargetOps.h"

namespace {

const std::uint32_t SENSE_LENGTH = C_CommandBlock::SCSI_SENSE_LENGTH;
const std::uint32_t INQUIRY_FLAGS = Driver::COMMAND_FLAG_40;
const int SERIAL_NUMBER_PAGE = 0x80;
const unsigned int VPD_BUFFER_LENGTH = 255;
const unsigned int REQUEST_SENSE_LENGTH = 255;

// A fixed-width text field with trailing blanks (0x20 only) removed.
std::string Field(const std::uint8_t* i_bytes, std::size_t i_length) {
  std::string text(reinterpret_cast<const char*>(i_bytes), i_length);
  TrimRight(text, ' ');
  return text;
}

}  // namespace

C_ScsiTarget::C_ScsiTarget() : m_deviceType(0) {
  std::memset(m_inquiry, 0, sizeof m_inquiry);
  RegisterOperation("ExecuteCommand", this, &C_ScsiTarget::OpExecuteCommand);
  RegisterOperation("Inquiry", this, &C_ScsiTarget::Inquiry);
  RegisterOperation("ModeSelect", this, &C_ScsiTarget::ModeSelect);
  RegisterOperation("ModeSense", this, &C_ScsiTarget::ModeSense);
  RegisterOperation("RequestSense", this, &C_ScsiTarget::RequestSense);
  RegisterOperation("StartStopUnit", this, &C_ScsiTarget::StartStopUnit);
  RegisterOperation("TestUnitReady", this, &C_ScsiTarget::TestUnitReady);
  RegisterOperation("WriteBuffer", this, &C_ScsiTarget::WriteBuffer);
  RegisterOperation("Flash", this, &C_ScsiTarget::Flash);
  RegisterOperation("Reset", this, &C_ScsiTarget::Reset);
  RegisterOperation("CmprModePage", this, &C_ScsiTarget::CmprModePage);
  RegisterOperation("VendorSpecificCmd", this, &C_ScsiTarget::VendorSpecificCmd);
  RegisterOperation("BlinkLeds", this, &C_ScsiTarget::BlinkLeds);
}

C_ScsiTarget::~C_ScsiTarget() = default;

bool C_ScsiTarget::FindChildren() { return false; }

bool C_ScsiTarget::Init() { return N_TargetOps::InitTarget(*this); }

int C_ScsiTarget::ForwardCommand(Driver::S_Command*, C_Device*) {
  return VEK_STATUS_UNKNOWN_OPERATION;
}

int C_ScsiTarget::ExecuteCommand(Driver::S_Command* i_command) {
  C_EntityNode* parent = GetParent();
  return parent ? parent->ForwardCommand(i_command, this) : VEK_STATUS_NO_PARENT;
}

void C_ScsiTarget::SetFirmwareRev(const std::string& i_revision) {
  m_firmwareRev = C_FirmwareRev(i_revision);
  AddAttribute("FirmwareRev", m_firmwareRev.Get());
}

const std::string& C_ScsiTarget::GetSerialNumber() {
  if (!m_serialNumber.empty()) return m_serialNumber;
  std::uint8_t page[VPD_BUFFER_LENGTH];
  if (GetVitalProductData(SERIAL_NUMBER_PAGE, page, sizeof page, 0) != VEK_STATUS_OK) {
    return m_serialNumber;
  }
  if (page[1] != SERIAL_NUMBER_PAGE || page[3] == 0) return m_serialNumber;
  // A length beyond the buffer is the drive's error; take what is there.
  const std::size_t length = std::min<std::size_t>(page[3], sizeof page - 4);
  m_serialNumber.assign(reinterpret_cast<const char*>(page + 4), length);
  return m_serialNumber;
}

int C_ScsiTarget::Inquiry(int argc, const char** argv) {
  if (!HasParent()) return VEK_STATUS_NO_PARENT;
  std::memset(m_inquiry, 0, sizeof m_inquiry);
  N_Cdb::T_Cdb6 cdb = N_Cdb::Inquiry(INQUIRY_LENGTH);
  C_CommandBlock block(cdb, m_inquiry, INQUIRY_LENGTH, SENSE_LENGTH,
                       INQUIRY_FLAGS | N_TargetOps::SwitchFlag(argc, argv), Driver::DIRECTION_IN,
                       Driver::REQUEST_DEVICE);

  std::string serial;
  if (block.PassThruOrForward(this) != VEK_STATUS_OK) {
    // Some parents cannot pass INQUIRY to the drive but know its identity.
    scsi::S_IDPhysicalDevice identity;
    std::memset(&identity, 0, sizeof identity);
    int status = GetParent()->IdentifyPhysicalDevice(&identity, this);
    if (status != VEK_STATUS_OK) return status;
    std::memcpy(m_inquiry + 8, identity.inquiry, sizeof identity.inquiry);
    serial.assign(reinterpret_cast<const char*>(identity.serialNumber),
                  sizeof identity.serialNumber);
    AddAttribute("SerialNumber", serial);
  }

  m_deviceType = 0;
  AddAttribute("DeviceType", stringFormat("%#02lX", static_cast<unsigned long>(m_deviceType)));

  m_vendorId = Field(m_inquiry + 8, 8);
  AddAttribute("VendorId", m_vendorId);

  if (C_Driver* driver = GetDriver()) SetDeviceId(C_DeviceId(driver->GetDeviceId(this)));
  AddAttribute("DeviceId", GetDeviceId().Get());

  m_productId.Set(Field(m_inquiry + 16, 16));
  AddAttribute("ProductId", m_productId.Get());

  m_firmwareRev.Set(Field(m_inquiry + 32, 4));
  AddAttribute("FirmwareRev", m_firmwareRev.Get());

  if (serial.empty()) serial = GetSerialNumber();
  if (!serial.empty()) AddAttribute("SerialNumber", serial);
  return VEK_STATUS_OK;
}

int C_ScsiTarget::ModeSelect(int argc, const char** argv) {
  return N_TargetOps::ModeSelect(this, argc, argv, SENSE_LENGTH);
}

int C_ScsiTarget::ModeSense(int argc, const char** argv) {
  return N_TargetOps::ModeSense(this, argc, argv, SENSE_LENGTH);
}

int C_ScsiTarget::RequestSense(int argc, const char** argv) {
  std::uint8_t data[REQUEST_SENSE_LENGTH];
  std::memset(data, 0, sizeof data);
  N_Cdb::T_Cdb6 cdb = N_Cdb::RequestSense(REQUEST_SENSE_LENGTH);
  C_CommandBlock block(cdb, data, sizeof data, 0, N_TargetOps::SwitchFlag(argc, argv),
                       Driver::DIRECTION_IN, Driver::REQUEST_DEVICE);
  int status = block.PassThruOrForward(this);
  if (status != VEK_STATUS_OK) return status;

  std::uint32_t length = std::min<std::uint32_t>(block.Transferred(), sizeof data);
  if (length == 0) return VEK_STATUS_OK;
  if (data[0] != 0x70 && data[0] != 0x71 && data[0] != 0x7F) return VEK_STATUS_OK;
  if (length > 11) {
    // The limit is taken from byte 12, not from the additional sense length
    // in byte 7: hosts read "$SenseData" in this form.
    const std::uint32_t limit = data[12] ? data[12] + 7u : 18u;
    length = std::min(length, limit);
  }
  AddAttribute("$SenseData", data, length);
  return VEK_STATUS_OK;
}

int C_ScsiTarget::StartStopUnit(int argc, const char** argv) {
  if (argc < 3) return VEK_STATUS_BAD_ARGUMENT;
  const std::uint8_t start = static_cast<std::uint8_t>(ParseSigned(argv[2]));
  const std::uint8_t immediate = argc > 3 ? static_cast<std::uint8_t>(ParseSigned(argv[3])) : 0;
  N_Cdb::T_Cdb6 cdb = N_Cdb::StartStopUnit(immediate, start);
  C_CommandBlock block(cdb, nullptr, 0, SENSE_LENGTH, N_TargetOps::SwitchFlag(argc, argv),
                       Driver::DIRECTION_NONE, Driver::REQUEST_DEVICE);
  return block.PassThruOrForward(this);
}

int C_ScsiTarget::TestUnitReady(int, const char**) {
  N_Cdb::T_Cdb6 cdb = N_Cdb::TestUnitReady();
  C_CommandBlock block(cdb, nullptr, 0, SENSE_LENGTH, 0, Driver::DIRECTION_NONE,
                       Driver::REQUEST_DEVICE);
  return block.PassThruOrForward(this);
}

int C_ScsiTarget::WriteBuffer(int argc, const char** argv) {
  N_TargetOps::S_WriteBufferArgs args;
  int status = N_TargetOps::ParseWriteBuffer(argc, argv, args);
  if (status != VEK_STATUS_OK) return status;
  return DoWriteBuffer(args.mode, args.image, args.offset, args.length, args.flags);
}

int C_ScsiTarget::Flash(int argc, const char** argv) {
  return N_TargetOps::Flash(*this, argc, argv);
}

int C_ScsiTarget::BlinkLeds(int argc, const char** argv) {
  C_EntityNode* parentNode = GetParent();
  if (!parentNode) return VEK_STATUS_NO_PARENT;
  C_Device* parent = dynamic_cast<C_Device*>(parentNode);
  if (!parent) return VEK_STATUS_BAD_ARGUMENT;
  scsi::S_Address address;
  int status = GetScsiAddress(&address);
  if (status != VEK_STATUS_OK) return status;

  const std::string duration = argc > 1 && argv[1] ? argv[1] : "0";
  const std::string byte0 = stringFormat("%d", address.bytes[0]);
  const std::string byte1 = stringFormat("%d", address.bytes[1]);
  const char* args[] = {"BlinkDriveLeds", duration.c_str(), byte0.c_str(), byte1.c_str(), nullptr};
  return parent->CallOperation("BlinkDriveLeds", 4, args);
}

int C_ScsiTarget::Reset(int argc, const char** argv) {
  return N_TargetOps::Reset(this, argc, argv, SENSE_LENGTH);
}

int C_ScsiTarget::CmprModePage(int argc, const char** argv) {
  return N_TargetOps::CompareModePage(this, argc, argv, SENSE_LENGTH);
}

int C_ScsiTarget::VendorSpecificCmd(int argc, const char** argv) {
  return N_TargetOps::VendorSpecific(this, argc, argv, SENSE_LENGTH, true);
}

int C_ScsiTarget::DoWriteBuffer(int i_mode, const char* i_image, unsigned int i_offset,
                                unsigned int i_length, unsigned int i_flags) {
  if (!HasParent()) return VEK_STATUS_NO_PARENT;
  N_Cdb::T_Cdb10 cdb =
      N_Cdb::WriteBuffer(static_cast<std::uint8_t>(i_mode), i_offset, i_length);
  // Data out: the driver reads the image and never writes it. The pointer
  // goes into the caller's image, which is not copied.
  char* data = i_image ? const_cast<char*>(i_image) + i_offset : nullptr;
  C_CommandBlock block(cdb, data, i_length, SENSE_LENGTH,
                       i_flags, Driver::DIRECTION_OUT, Driver::REQUEST_DEVICE);
  return block.PassThruOrForward(this);
}

int C_ScsiTarget::OpExecuteCommand(int argc, const char** argv) {
  return N_TargetOps::ExecuteHostCommand(this, argc, argv);
}

int C_ScsiTarget::GetVitalProductData(int i_page, void* o_buffer, unsigned int i_length,
                                      unsigned int i_flags) {
  std::memset(o_buffer, 0, i_length);
  N_Cdb::T_Cdb6 cdb =
      N_Cdb::InquiryVpd(static_cast<std::uint8_t>(i_page), static_cast<std::uint8_t>(i_length));
  C_CommandBlock block(cdb, o_buffer, i_length, SENSE_LENGTH, i_flags, Driver::DIRECTION_IN,
                       Driver::REQUEST_DEVICE);
  return block.PassThruOrForward(this);
}

int C_ScsiTarget::GetScsiAddress(scsi::S_Address* o_address) {
  C_EntityNode* parent = GetParent();
  if (!parent) return VEK_STATUS_NO_PARENT;
  if (!dynamic_cast<C_Device*>(parent)) return VEK_STATUS_BAD_ARGUMENT;
  std::memset(o_address, 0, sizeof *o_address);
  std::array<std::uint8_t, 1> control = {Driver::CONTROL_GET_ADDRESS};
  C_CommandBlock block(control, o_address->bytes, sizeof o_address->bytes, SENSE_LENGTH,
                       Driver::COMMAND_FLAG_40, Driver::DIRECTION_IN, Driver::REQUEST_CONTROL);
  return block.Forward(this);
}

C_SmartPtr<C_MPData> C_ScsiTarget::GetMPData() { return C_SmartPtr<C_MPData>(); }

void C_ScsiTarget::SetMPData(C_SmartPtr<C_MPData> i_data) { i_data.Release(); }
