#ifndef VEK_DRIVERS_SIM_C_SIMFIRMWAREIMAGE_H
#define VEK_DRIVERS_SIM_C_SIMFIRMWAREIMAGE_H

#include <cstdint>
#include <string>
#include <vector>

// The firmware image format the simulated drives accept (doc/sim-firmware-image.md):
// a 64-byte little-endian header naming the product the image is for and the
// revision it installs, with a CRC-32 of the payload, then the payload.
class C_SimFirmwareImage {
 public:
  static const std::uint32_t MAGIC = 0x57464B56;  // "VKFW" in file order
  static const std::uint32_t HEADER_SIZE = 64;

  // Why an image is refused; FIRMWARE_OK when it is acceptable.
  enum E_Check {
    FIRMWARE_OK = 0,
    FIRMWARE_TRUNCATED,      // shorter than its header says
    FIRMWARE_BAD_MAGIC,      // not a firmware image at all
    FIRMWARE_BAD_CRC,        // payload damaged
    FIRMWARE_WRONG_PRODUCT,  // made for another product
    FIRMWARE_OVERSIZED       // longer than its header says
  };

  // Builds an image for i_product (blank-padded to 16) installing i_revision
  // (blank-padded to 8) with i_payload.
  static std::vector<std::uint8_t> Build(const std::string& i_product,
                                         const std::string& i_revision,
                                         const std::vector<std::uint8_t>& i_payload);
  // A payload of i_size bytes derived from the product and revision, so
  // sample images are reproducible.
  static std::vector<std::uint8_t> SamplePayload(const std::string& i_product,
                                                 const std::string& i_revision,
                                                 std::size_t i_size);

  // Parses i_bytes; Check() tells whether it fits a drive of i_product.
  C_SimFirmwareImage(const std::uint8_t* i_bytes, std::size_t i_size);
  E_Check Check(const std::string& i_product) const;
  // Check of an image that was not kept whole: these bytes are its header,
  // i_size bytes arrived in all, and i_payloadCrc is the CRC-32 of those
  // after the header.
  E_Check CheckReceived(const std::string& i_product, std::uint64_t i_size,
                        std::uint32_t i_payloadCrc) const;
  // The checks the 64-byte header allows alone: magic and product.
  E_Check CheckHeader(const std::string& i_product) const;
  // The total size the header announces (header + payload), 0 before the
  // header is complete.
  std::size_t DeclaredSize() const;
  // Trimmed texts of the header.
  std::string Product() const;
  std::string Revision() const;
  static const char* Describe(E_Check i_check);

 private:
  const std::uint8_t* m_bytes;
  std::size_t m_size;
};

#endif
