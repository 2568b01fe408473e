#include "drivers/sim/C_SimDrive.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include "drivers/sim/C_SimFirmwareImage.h"
#include "drivers/sim/C_SimModePages.h"
#include "drivers/sim/N_SimSense.h"
#include "host/C_Exception.h"
#include "foundation/StringUtil.h"
#include "targets/N_ByteOrder.h"

using namespace N_SimSense;

struct C_SimDrive::S_Opcode {
  std::uint8_t opcode;
  std::uint8_t cdbLength;
  std::uint8_t mask[16];  // valid bits of each CDB byte
  int (C_SimDrive::*handler)(Driver::S_Command&, bool&);
};

const C_SimDrive::S_Opcode C_SimDrive::sm_opcodes[] = {
    {0x00, 6, {0xFF, 0, 0, 0, 0, 0xFF}, &C_SimDrive::TestUnitReady},
    {0x03, 6, {0xFF, 0x01, 0, 0, 0xFF, 0xFF}, &C_SimDrive::RequestSense},
    {0x12, 6, {0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0xFF}, &C_SimDrive::Inquiry},
    {0x15, 6, {0xFF, 0x11, 0, 0, 0xFF, 0xFF}, &C_SimDrive::ModeSelect},
    {0x1A, 6, {0xFF, 0x08, 0xFF, 0xFF, 0xFF, 0xFF}, &C_SimDrive::ModeSense},
    {0x1B, 6, {0xFF, 0x01, 0, 0x0F, 0xF7, 0xFF}, &C_SimDrive::StartStopUnit},
    {0x3B, 10, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     &C_SimDrive::WriteBuffer},
    {0, 0, {}, nullptr},
};

namespace {

std::string Padded(const std::string& i_text, std::size_t i_width) {
  std::string text = i_text.substr(0, i_width);
  text.resize(i_width, ' ');
  return text;
}

}  // namespace

C_SimDrive::C_SimDrive(S_SimDrive& io_state, S_Transient& io_transient)
    : m_state(io_state), m_transient(io_transient) {}

int C_SimDrive::Fail(Driver::S_Command& io_command, std::uint8_t i_key, std::uint8_t i_asc,
                     std::uint8_t i_ascq, bool& o_changed) {
  m_state.sense = Fixed(i_key, i_asc, i_ascq);
  o_changed = true;
  if (io_command.senseBuffer && io_command.senseLength) {
    std::size_t n = std::min<std::size_t>(io_command.senseLength, m_state.sense.size());
    std::memcpy(io_command.senseBuffer, m_state.sense.data(), n);
  }
  return CHECK_CONDITION;
}

int C_SimDrive::DataIn(Driver::S_Command& io_command, const std::vector<std::uint8_t>& i_data) {
  std::uint32_t n = std::min<std::uint32_t>(io_command.dataLength,
                                            static_cast<std::uint32_t>(i_data.size()));
  if (io_command.dataBuffer && n) std::memcpy(io_command.dataBuffer, i_data.data(), n);
  io_command.dataLength = n;
  return GOOD;
}

int C_SimDrive::Execute(Driver::S_Command& io_command, bool& o_changed) {
  o_changed = false;
  const int result = Perform(io_command, o_changed);
  if (result == CHECK_CONDITION && m_state.kind == "ata" && io_command.cdb &&
      io_command.cdb[0] == 0xC6) {
    // The drive aborted the ATA command: ABRT in the error register; DRDY,
    // DSC and ERR in the status register.
    AddAtaRegisters(m_state.sense, 0x04, 0x51);
    if (io_command.senseBuffer && io_command.senseLength) {
      std::size_t n = std::min<std::size_t>(io_command.senseLength, m_state.sense.size());
      std::memcpy(io_command.senseBuffer, m_state.sense.data(), n);
    }
  }
  return result;
}

int C_SimDrive::Perform(Driver::S_Command& io_command, bool& o_changed) {
  if (io_command.requestType == Driver::REQUEST_CONTROL) return Control(io_command, o_changed);
  if (!io_command.cdb || io_command.cdbLength == 0) {
    return Fail(io_command, ILLEGAL_REQUEST, 0x20, 0x00, o_changed);
  }
  const std::uint8_t opcode = io_command.cdb[0];
  if (opcode == m_state.faults.throwOnOpcode) {
    throw C_Exception(__FILE__, __LINE__,
                      stringFormat("simulated driver failure on opcode 0x%02X", opcode), EIO);
  }
  if (opcode == m_state.faults.failOpcode) {
    const std::vector<int>& s = m_state.faults.failSense;
    return Fail(io_command, static_cast<std::uint8_t>(s[0]), static_cast<std::uint8_t>(s[1]),
                static_cast<std::uint8_t>(s[2]), o_changed);
  }
  // A download left incomplete is abandoned by any other command.
  const bool downloadCommand =
      opcode == 0x3B || (opcode == 0xC6 && m_state.kind == "ata" && io_command.cdbLength >= 3 &&
                         io_command.cdb[2] == 0x92);
  if (!downloadCommand && m_transient.received) {
    m_transient = S_Transient();
    return Fail(io_command, ILLEGAL_REQUEST, 0x2C, 0x00, o_changed);  // command sequence error
  }
  if (opcode == 0xC6 && m_state.kind == "ata") return AtaPassThrough(io_command, o_changed);
  if (opcode >= 0xC0) return VendorSpecific(io_command, o_changed);

  for (const S_Opcode* entry = sm_opcodes; entry->handler; ++entry) {
    if (entry->opcode != opcode) continue;
    if (io_command.cdbLength < entry->cdbLength) {
      return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
    }
    for (std::uint8_t i = 0; i < entry->cdbLength; ++i) {
      if (io_command.cdb[i] & ~entry->mask[i]) {
        return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);  // invalid field in CDB
      }
    }
    return (this->*entry->handler)(io_command, o_changed);
  }
  return Fail(io_command, ILLEGAL_REQUEST, 0x20, 0x00, o_changed);  // invalid operation code
}

std::vector<std::uint8_t> C_SimDrive::InquiryData() const {
  std::vector<std::uint8_t> data(56, 0);
  data[2] = 0x06;  // SPC-4
  data[3] = 0x02;  // response data format
  data[4] = static_cast<std::uint8_t>(data.size() - 5);
  data[7] = 0x02;  // command queuing
  std::string text = Padded(m_state.vendor, 8) + Padded(m_state.product, 16) +
                     Padded(m_state.firmware, 4);
  std::copy(text.begin(), text.end(), data.begin() + 8);
  return data;
}

std::vector<std::uint8_t> C_SimDrive::IdentifyData() const {
  std::vector<std::uint8_t> data(512, 0);
  // Text lies in the buffer in reading order; the module does not swap bytes.
  std::string serial = Padded(m_state.serial, 20);
  std::string firmware = Padded("ZQAT" + m_state.firmware, 8);
  std::string model = Padded(m_state.product, 40);
  std::copy(serial.begin(), serial.end(), data.begin() + 20);
  std::copy(firmware.begin(), firmware.end(), data.begin() + 46);
  std::copy(model.begin(), model.end(), data.begin() + 54);
  return data;
}

int C_SimDrive::Inquiry(Driver::S_Command& io_command, bool& o_changed) {
  const std::uint8_t* cdb = io_command.cdb;
  if (!(cdb[1] & 0x01)) {
    if (cdb[2] != 0) return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
    return DataIn(io_command, InquiryData());
  }
  std::vector<std::uint8_t> page;
  if (cdb[2] == 0x00) {
    page = {0x00, 0x00, 0x00, 0x02, 0x00, 0x80};
  } else if (cdb[2] == 0x80) {
    page = {0x00, 0x80, 0x00, static_cast<std::uint8_t>(m_state.serial.size())};
    page.insert(page.end(), m_state.serial.begin(), m_state.serial.end());
  } else {
    return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
  }
  return DataIn(io_command, page);
}

int C_SimDrive::RequestSense(Driver::S_Command& io_command, bool& o_changed) {
  std::vector<std::uint8_t> sense = m_state.sense.empty() ? Fixed(NO_SENSE, 0, 0) : m_state.sense;
  if (!m_state.sense.empty()) {
    m_state.sense.clear();
    o_changed = true;
  }
  return DataIn(io_command, sense);
}

int C_SimDrive::TestUnitReady(Driver::S_Command& io_command, bool& o_changed) {
  if (m_state.busyLeft > 0) {
    // Busy without end changes nothing worth writing back.
    if (m_state.busyLeft != INT_MAX) {
      --m_state.busyLeft;
      o_changed = true;
    }
    return BUSY;
  }
  if (m_state.stopped) return Fail(io_command, NOT_READY, 0x04, 0x02, o_changed);
  return GOOD;
}

int C_SimDrive::StartStopUnit(Driver::S_Command& io_command, bool& o_changed) {
  const bool stop = !(io_command.cdb[4] & 0x01);
  if (stop != m_state.stopped) {
    m_state.stopped = stop;
    o_changed = true;
  }
  return GOOD;
}

int C_SimDrive::ModeSense(Driver::S_Command& io_command, bool& o_changed) {
  const std::uint8_t control = io_command.cdb[2] >> 6;  // 0 current, 1 changeable, 2 default, 3 saved
  const std::uint8_t code = io_command.cdb[2] & 0x3F;
  auto it = m_state.modePages.find(C_SimModePages::Key(code));
  if (it == m_state.modePages.end()) return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
  std::vector<std::uint8_t> page;
  if (control == 1) {
    page = C_SimModePages::Changeable(code);
    page[0] = it->second[0];
    page[1] = it->second[1];
  } else if (control == 2) {
    page = C_SimModePages::Defaults()[it->first];
  } else {
    page = it->second;
  }
  // Mode parameter header (4 bytes), one block descriptor (8), the page.
  static const std::uint8_t kHeader[12] = {0, 0x00, 0x10, 8, 0, 0x10, 0, 0, 0, 0, 0x02, 0x00};
  std::vector<std::uint8_t> data(sizeof kHeader + page.size());
  std::copy(kHeader, kHeader + sizeof kHeader, data.begin());
  std::copy(page.begin(), page.end(), data.begin() + sizeof kHeader);
  data[0] = static_cast<std::uint8_t>(data.size() - 1);
  return DataIn(io_command, data);
}

int C_SimDrive::ModeSelect(Driver::S_Command& io_command, bool& o_changed) {
  const std::uint32_t length = std::min<std::uint32_t>(io_command.cdb[4], io_command.dataLength);
  const std::uint8_t* data = io_command.dataBuffer;
  if (!data || length < 4) return Fail(io_command, ILLEGAL_REQUEST, 0x1A, 0x00, o_changed);
  const std::uint32_t start = 4 + data[3];
  if (length < start + 2 || length < start + 2 + data[start + 1]) {
    return Fail(io_command, ILLEGAL_REQUEST, 0x1A, 0x00, o_changed);  // parameter list length error
  }
  const std::uint8_t code = data[start] & 0x3F;
  std::vector<std::uint8_t> page(data + start, data + start + 2 + data[start + 1]);
  auto it = m_state.modePages.find(C_SimModePages::Key(code));
  if (it == m_state.modePages.end() || !C_SimModePages::MayChange(code, it->second, page)) {
    return Fail(io_command, ILLEGAL_REQUEST, 0x26, 0x00, o_changed);  // invalid field in parameter list
  }
  page[0] = it->second[0];
  if (page != it->second) {
    it->second = page;
    o_changed = true;
  }
  return GOOD;
}

int C_SimDrive::WriteBuffer(Driver::S_Command& io_command, bool& o_changed) {
  const std::uint8_t mode = io_command.cdb[1] & 0x1F;
  const std::uint32_t offset = N_ByteOrder::GetBE24(io_command.cdb + 3);
  const std::uint32_t length = N_ByteOrder::GetBE24(io_command.cdb + 6);
  if ((mode != 5 && mode != 7) || length != io_command.dataLength ||
      io_command.direction != Driver::DIRECTION_OUT || (length && !io_command.dataBuffer)) {
    return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
  }
  if (mode == 5 && offset != 0) return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
  int result = Download(io_command, offset, o_changed);
  // Mode 5 carries the whole image: what is not complete now never will be.
  if (result == GOOD && mode == 5 && m_transient.received) {
    m_transient = S_Transient();
    return Fail(io_command, ILLEGAL_REQUEST, 0x26, 0x00, o_changed);
  }
  return result;
}

int C_SimDrive::Download(Driver::S_Command& io_command, long i_offset, bool& o_changed) {
  S_Transient& download = m_transient;
  if (i_offset == 0) download = S_Transient();
  const int segment = ++download.segments;
  auto abandon = [&download]() { download = S_Transient(); };
  if (i_offset >= 0 && static_cast<std::uint64_t>(i_offset) != download.received) {
    abandon();  // a gap or an overlap
    return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
  }
  if (segment == m_state.faults.powerLossAtChunk) {
    abandon();
    m_state.busyLeft = 0;
    m_state.sense = Fixed(UNIT_ATTENTION, 0x29, 0x01);  // power on occurred
    o_changed = true;
    return TRANSPORT_ERROR;
  }
  if (segment == m_state.faults.rejectChunk) {
    abandon();
    return Fail(io_command, ILLEGAL_REQUEST, 0x26, 0x00, o_changed);
  }
  const std::uint8_t* data = io_command.dataBuffer;
  const std::size_t toHeader = std::min<std::size_t>(
      io_command.dataLength, C_SimFirmwareImage::HEADER_SIZE - download.header.size());
  download.header.insert(download.header.end(), data, data + toHeader);
  download.payload.Update(data + toHeader,
                          static_cast<std::uint32_t>(io_command.dataLength - toHeader));
  download.received += io_command.dataLength;
  if (download.header.size() < C_SimFirmwareImage::HEADER_SIZE) return GOOD;

  C_SimFirmwareImage image(download.header.data(), download.header.size());
  C_SimFirmwareImage::E_Check header = image.CheckHeader(m_state.product);
  // A header for another drive or no image at all is refused at once.
  if (header == C_SimFirmwareImage::FIRMWARE_BAD_MAGIC ||
      header == C_SimFirmwareImage::FIRMWARE_WRONG_PRODUCT) {
    abandon();
    return Fail(io_command, ILLEGAL_REQUEST, 0x26, 0x00, o_changed);
  }
  if (download.received >= image.DeclaredSize()) {
    const C_SimFirmwareImage::E_Check check =
        image.CheckReceived(m_state.product, download.received, download.payload.GetCRC());
    const std::string revision = image.Revision();
    abandon();
    if (check != C_SimFirmwareImage::FIRMWARE_OK) {
      return Fail(io_command, ILLEGAL_REQUEST, 0x26, 0x02, o_changed);  // parameter value invalid
    }
    m_state.pending = revision;
    m_state.busyLeft = m_state.faults.busyForever ? INT_MAX : m_state.busyPolls;
    o_changed = true;
  }
  return GOOD;
}

int C_SimDrive::VendorSpecific(Driver::S_Command&, bool&) { return GOOD; }

int C_SimDrive::AtaPassThrough(Driver::S_Command& io_command, bool& o_changed) {
  if (io_command.cdbLength < 12) return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
  const std::uint8_t* cdb = io_command.cdb;
  switch (cdb[2]) {
    case 0xEC:  // IDENTIFY DEVICE
      if ((cdb[1] & 0x0F) != 1) return Fail(io_command, ILLEGAL_REQUEST, 0x24, 0x00, o_changed);
      return DataIn(io_command, IdentifyData());
    case 0x92:  // DOWNLOAD MICROCODE, feature 7: download with save
      if ((cdb[1] & 0x0F) != 2 || cdb[3] != 7 || !io_command.dataBuffer) {
        return Fail(io_command, ABORTED_COMMAND, 0x00, 0x00, o_changed);
      }
      // The block carries no offset: segments follow one another.
      return Download(io_command, m_transient.received ? -1 : 0, o_changed);
    default:
      return Fail(io_command, ABORTED_COMMAND, 0x00, 0x00, o_changed);
  }
}

int C_SimDrive::Control(Driver::S_Command& io_command, bool& o_changed) {
  if (!io_command.cdb || io_command.cdbLength < 1) return TRANSPORT_ERROR;
  switch (io_command.cdb[0]) {
    case Driver::CONTROL_GET_ADDRESS: {
      if (!io_command.dataBuffer || io_command.dataLength < 3) return TRANSPORT_ERROR;
      io_command.dataBuffer[0] = 0;  // bus
      io_command.dataBuffer[1] = static_cast<std::uint8_t>(m_state.number);  // target
      io_command.dataBuffer[2] = 0;  // lun
      return GOOD;
    }
    case Driver::CONTROL_RESET:
      m_transient = S_Transient();
      Reset(o_changed);
      return GOOD;
    default:
      return TRANSPORT_ERROR;
  }
}

void C_SimDrive::Reset(bool& o_changed) {
  if (!m_state.pending.empty()) {
    m_state.firmware = m_state.pending;
    m_state.pending.clear();
    m_state.sense = Fixed(UNIT_ATTENTION, 0x3F, 0x01);  // microcode has been changed
  } else {
    m_state.sense = Fixed(UNIT_ATTENTION, 0x29, 0x02);  // SCSI bus reset occurred
  }
  if (m_state.busyLeft != INT_MAX) m_state.busyLeft = 0;
  o_changed = true;
}
