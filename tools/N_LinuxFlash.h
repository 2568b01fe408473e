#ifndef VEK_TOOLS_N_LINUXFLASH_H
#define VEK_TOOLS_N_LINUXFLASH_H

#include <cstdint>
#include <string>

#include "tools/C_FlashJob.h"
#include "tools/C_Host.h"
#include "tools/S_Options.h"

// What vekctl checks before it flashes a drive of the Linux driver, and
// how it flashes a SATA drive there.
namespace N_LinuxFlash {

// The most a whole-image DOWNLOAD MICROCODE carries: its block count is 16
// bits of 512-byte blocks.
constexpr std::uint64_t ATA_WHOLE_IMAGE_LIMIT = 0xFFFFu * 512u;

// True for an ATA drive of the Linux driver: the module's ATA download
// sends every segment as a complete download with save and without its
// offset, which a real drive rejects after the first, so vekctl sends the
// whole image as one "WriteBuffer" (one DOWNLOAD MICROCODE) instead.
bool WholeImage(C_Host& io_host, const C_Host::S_Device& i_device);

// Throws C_Failure (3), before anything is sent, when the drive must not
// be flashed: it is in use (mounted, swap, held; unless --force), it
// reports no serial number (it cannot be told apart or locked; unless
// --force), or it takes the image whole and i_imageSize is not a multiple
// of 512. Nothing for drives of other drivers.
void Check(const S_Options& i_options, C_Host& io_host, const C_FlashJob& i_job,
           std::uint64_t i_imageSize);

// The driver's word on the drive's last failed command ("SG_IO: No such
// device"; for an ATA drive also its error and status registers), "" when
// it has none.
std::string Detail(C_Host& io_host, const C_Host::S_Device& i_device);

}  // namespace N_LinuxFlash

#endif
