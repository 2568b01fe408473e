#include "drivers/sim/C_SimFirmwareImage.h"

#include "ddff/C_CRC32.h"
#include "foundation/StringUtil.h"
#include "targets/N_ByteOrder.h"

namespace {

// Header layout.
const std::size_t OFF_MAGIC = 0, OFF_HEADER_SIZE = 4, OFF_PRODUCT = 8, OFF_REVISION = 24,
                  OFF_PAYLOAD_SIZE = 32, OFF_PAYLOAD_CRC = 36;
const std::size_t PRODUCT_WIDTH = 16, REVISION_WIDTH = 8;

std::string Field(const std::uint8_t* i_bytes, std::size_t i_width) {
  std::string text(reinterpret_cast<const char*>(i_bytes), i_width);
  TrimRight(text, ' ');
  return text;
}

void PutField(std::uint8_t* o_bytes, const std::string& i_text, std::size_t i_width) {
  for (std::size_t i = 0; i < i_width; ++i) o_bytes[i] = i < i_text.size() ? i_text[i] : ' ';
}

std::uint32_t Crc(const std::uint8_t* i_data, std::size_t i_size) {
  Crypt::C_CRC32 crc;
  crc.Update(i_data, static_cast<std::uint32_t>(i_size));
  return crc.GetCRC();
}

}  // namespace

std::vector<std::uint8_t> C_SimFirmwareImage::Build(const std::string& i_product,
                                                    const std::string& i_revision,
                                                    const std::vector<std::uint8_t>& i_payload) {
  std::vector<std::uint8_t> image(HEADER_SIZE + i_payload.size(), 0);
  N_ByteOrder::PutLE32(&image[OFF_MAGIC], MAGIC);
  N_ByteOrder::PutLE32(&image[OFF_HEADER_SIZE], HEADER_SIZE);
  PutField(&image[OFF_PRODUCT], i_product, PRODUCT_WIDTH);
  PutField(&image[OFF_REVISION], i_revision, REVISION_WIDTH);
  N_ByteOrder::PutLE32(&image[OFF_PAYLOAD_SIZE], static_cast<std::uint32_t>(i_payload.size()));
  N_ByteOrder::PutLE32(&image[OFF_PAYLOAD_CRC], Crc(i_payload.data(), i_payload.size()));
  std::copy(i_payload.begin(), i_payload.end(), image.begin() + HEADER_SIZE);
  return image;
}

std::vector<std::uint8_t> C_SimFirmwareImage::SamplePayload(const std::string& i_product,
                                                            const std::string& i_revision,
                                                            std::size_t i_size) {
  std::uint32_t state = Crc(reinterpret_cast<const std::uint8_t*>((i_product + i_revision).data()),
                            i_product.size() + i_revision.size());
  std::vector<std::uint8_t> payload(i_size);
  for (std::uint8_t& byte : payload) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<std::uint8_t>(state >> 16);
  }
  return payload;
}

C_SimFirmwareImage::C_SimFirmwareImage(const std::uint8_t* i_bytes, std::size_t i_size)
    : m_bytes(i_bytes), m_size(i_size) {}

std::size_t C_SimFirmwareImage::DeclaredSize() const {
  if (m_size < HEADER_SIZE || N_ByteOrder::GetLE32(m_bytes + OFF_MAGIC) != MAGIC) return 0;
  return HEADER_SIZE + N_ByteOrder::GetLE32(m_bytes + OFF_PAYLOAD_SIZE);
}

C_SimFirmwareImage::E_Check C_SimFirmwareImage::CheckHeader(const std::string& i_product) const {
  if (m_size < HEADER_SIZE) {
    return m_size >= 4 && N_ByteOrder::GetLE32(m_bytes) != MAGIC ? FIRMWARE_BAD_MAGIC
                                                                   : FIRMWARE_TRUNCATED;
  }
  if (N_ByteOrder::GetLE32(m_bytes + OFF_MAGIC) != MAGIC ||
      N_ByteOrder::GetLE32(m_bytes + OFF_HEADER_SIZE) != HEADER_SIZE) {
    return FIRMWARE_BAD_MAGIC;
  }
  return Product() == i_product ? FIRMWARE_OK : FIRMWARE_WRONG_PRODUCT;
}

C_SimFirmwareImage::E_Check C_SimFirmwareImage::Check(const std::string& i_product) const {
  E_Check header = CheckHeader(i_product);
  if (header != FIRMWARE_OK) return header;
  const std::size_t payload = m_size - HEADER_SIZE;
  const std::uint32_t crc = m_size == DeclaredSize() ? Crc(m_bytes + HEADER_SIZE, payload) : 0;
  return CheckReceived(i_product, m_size, crc);
}

C_SimFirmwareImage::E_Check C_SimFirmwareImage::CheckReceived(const std::string& i_product,
                                                              std::uint64_t i_size,
                                                              std::uint32_t i_payloadCrc) const {
  E_Check header = CheckHeader(i_product);
  if (header != FIRMWARE_OK) return header;
  const std::size_t declared = DeclaredSize();
  if (i_size < declared) return FIRMWARE_TRUNCATED;
  if (i_size > declared) return FIRMWARE_OVERSIZED;
  if (i_payloadCrc != N_ByteOrder::GetLE32(m_bytes + OFF_PAYLOAD_CRC)) return FIRMWARE_BAD_CRC;
  return FIRMWARE_OK;
}

std::string C_SimFirmwareImage::Product() const {
  return m_size >= HEADER_SIZE ? Field(m_bytes + OFF_PRODUCT, PRODUCT_WIDTH) : std::string();
}

std::string C_SimFirmwareImage::Revision() const {
  return m_size >= HEADER_SIZE ? Field(m_bytes + OFF_REVISION, REVISION_WIDTH) : std::string();
}

const char* C_SimFirmwareImage::Describe(E_Check i_check) {
  switch (i_check) {
    case FIRMWARE_OK: return "image accepted";
    case FIRMWARE_TRUNCATED: return "image truncated";
    case FIRMWARE_BAD_MAGIC: return "not a firmware image";
    case FIRMWARE_BAD_CRC: return "image payload CRC mismatch";
    case FIRMWARE_WRONG_PRODUCT: return "image made for another product";
    case FIRMWARE_OVERSIZED: return "image longer than its header says";
  }
  return "unknown";
}
