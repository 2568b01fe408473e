// Fuzz target: any bytes as a simulated drive's firmware image
// (C_SimFirmwareImage), checked alone and downloaded in pieces to a SCSI
// drive (WRITE BUFFER mode 7) and an ATA drive (DOWNLOAD MICROCODE) of the
// product the header names. An image the parser accepts must be taken by
// both drives, its revision pending. A drive may take only an image the
// parser accepts: for SCSI the input's first declared-size bytes; for ATA,
// whose segments carry no offset and start a new download once an image is
// complete, such an image beginning at any segment.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "drivers/sim/C_SimFirmwareImage.h"
#include "fuzz/SimFuzz.h"

namespace {

// Sends the image in pieces of i_piece bytes; the drive's pending revision
// afterwards.
std::string Download(const std::string& i_kind, const std::string& i_product,
                     const std::uint8_t* i_data, std::size_t i_size, std::size_t i_piece) {
  S_SimDrive drive;
  drive.kind = i_kind;
  drive.product = i_product;
  drive.firmware = "0001";
  C_SimDrive::S_Transient transient;
  for (std::size_t offset = 0; offset < i_size; offset += i_piece) {
    const std::size_t n = std::min(i_piece, i_size - offset);
    std::vector<std::uint8_t> data(i_data + offset, i_data + offset + n);
    const auto o = static_cast<std::uint32_t>(offset), l = static_cast<std::uint32_t>(n);
    std::vector<std::uint8_t> cdb =
        i_kind == "ata"
            ? std::vector<std::uint8_t>{0xC6, 0x02, 0x92, 0x07, 0, 0, 0, 0, 0, 0, 0, 0}
            : std::vector<std::uint8_t>{0x3B, 0x07, 0, std::uint8_t(o >> 16), std::uint8_t(o >> 8),
                                        std::uint8_t(o), std::uint8_t(l >> 16), std::uint8_t(l >> 8),
                                        std::uint8_t(l), 0};
    N_SimFuzz::Send(drive, transient, cdb, data, Driver::DIRECTION_OUT);
  }
  return drive.pending;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* i_data, std::size_t i_size) {
  const C_SimFirmwareImage image(i_data, i_size);
  const std::string product = image.Product();
  const C_SimFirmwareImage::E_Check check = image.Check(product);
  if (!*C_SimFirmwareImage::Describe(check) || !*C_SimFirmwareImage::Describe(image.Check("KS-4000")))
    std::abort();
  if (check == C_SimFirmwareImage::FIRMWARE_OK && i_size != image.DeclaredSize()) std::abort();
  // Pieces shorter than the header for small inputs; at most 32 pieces, so
  // that long inputs do not make the run crawl.
  std::size_t piece = 1 + i_size % 61;
  if (i_size / piece > 32) piece = i_size / 32 + 1;
  for (const char* kind : {"scsi", "ata"}) {
    const std::string pending = Download(kind, product, i_data, i_size, piece);
    if (check == C_SimFirmwareImage::FIRMWARE_OK && pending != image.Revision()) std::abort();
    if (pending.empty()) continue;
    bool accepted = false;
    for (std::size_t start = 0; start < i_size && !accepted; start += piece) {
      const std::size_t declared = C_SimFirmwareImage(i_data + start, i_size - start).DeclaredSize();
      const C_SimFirmwareImage taken(i_data + start, declared);
      accepted = declared && declared <= i_size - start &&
                 taken.Check(product) == C_SimFirmwareImage::FIRMWARE_OK && taken.Revision() == pending;
      if (std::string(kind) == "scsi") break;
    }
    if (!accepted) std::abort();
  }
  return 0;
}
