// vek-sim-image: makes firmware images for the simulated drives.
//   vek-sim-image --product P --revision R [--size N] -o FILE
//   vek-sim-image --samples DIR    one image per product of the built-in
//                                  fleet, named <product>-<revision>.fw
#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <cstdio>
#include <string>

#include "drivers/sim/C_SimFirmwareImage.h"
#include "drivers/sim/C_SimStore.h"
#include "drivers/sim/S_SimFleet.h"

namespace {

void Write(const std::string& i_path, const std::vector<std::uint8_t>& i_image) {
  C_SimStore::WriteFile(i_path, std::string(i_image.begin(), i_image.end()));
}

// The revision a sample image installs: the drive's revision with its last
// character stepped on, so every sample really changes the drive.
std::string NextRevision(std::string i_revision) {
  if (i_revision.empty()) return "0001";
  char& last = i_revision.back();
  last = last == '9' ? 'A' : last == 'Z' ? '0' : static_cast<char>(last + 1);
  return i_revision;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Makes firmware images for the simulated drives of vek"};
  std::string product, revision, output, samples;
  std::size_t size = 96 * 1024;
  app.add_option("--product", product, "product the image is for");
  app.add_option("--revision", revision, "revision the image installs");
  app.add_option("--size", size, "payload size in bytes")->check(CLI::Range(0, 16 << 20));
  app.add_option("-o,--output", output, "image file to write");
  app.add_option("--samples", samples, "write one sample image per product of the built-in fleet here");
  CLI11_PARSE(app, argc, argv);
  try {
    if (!samples.empty()) {
      for (const S_SimController& controller : S_SimFleet::Default().controllers) {
        for (const S_SimDrive& drive : controller.drives) {
          const std::string next = NextRevision(drive.firmware);
          const std::string path = samples + "/" + drive.product + "-" + next + ".fw";
          Write(path, C_SimFirmwareImage::Build(
                          drive.product, next,
                          C_SimFirmwareImage::SamplePayload(drive.product, next, size)));
          fmt::print("{}\n", path);
        }
      }
      return 0;
    }
    if (product.empty() || revision.empty() || output.empty()) {
      fmt::print(stderr, "vek-sim-image: --product, --revision and -o are needed (or --samples DIR)\n");
      return 1;
    }
    Write(output, C_SimFirmwareImage::Build(product, revision,
                                            C_SimFirmwareImage::SamplePayload(product, revision, size)));
    return 0;
  } catch (const std::exception& e) {
    fmt::print(stderr, "vek-sim-image: {}\n", e.what());
    return 1;
  }
}
