// vek_fuzz_seeds DIR LOCALE_DIR: writes the seed corpus of every fuzz target
// into DIR/<target>/, made with the project's own writers so that the seeds
// follow the formats as they change. LOCALE_DIR is the source tree's
// locale/ folder (its catalogs are seeds too).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "cloak/C_CloakedFile.h"
#include "ddff/C_DDFF.h"
#include "drivers/sim/C_SimFirmwareImage.h"
#include "drivers/sim/C_SimModePages.h"
#include "drivers/sim/N_SimSense.h"
#include "drivers/sim/S_SimFleet.h"
#include "foundation/N_FileUtilities.h"
#include "tools/N_StandardProgram.h"

namespace fs = std::filesystem;

namespace {

std::string g_root;

[[noreturn]] void Fail(const std::string& i_what) {
  std::fprintf(stderr, "vek_fuzz_seeds: %s\n", i_what.c_str());
  std::exit(1);
}

std::string PathOf(const std::string& i_target, const std::string& i_name) {
  fs::create_directories(g_root + "/" + i_target);
  return g_root + "/" + i_target + "/" + i_name;
}

void Write(const std::string& i_target, const std::string& i_name, const std::string& i_bytes) {
  const std::string path = PathOf(i_target, i_name);
  std::ofstream out(path, std::ios::binary);
  out << i_bytes;
  if (!out.flush()) Fail("cannot write " + path);
}

std::string Bytes(const std::vector<std::uint8_t>& i_bytes) {
  return std::string(i_bytes.begin(), i_bytes.end());
}

std::string ReadText(const std::string& i_path) {
  std::string text;
  if (!N_FileUtilities::ReadFile(i_path, text)) Fail("cannot read " + i_path);
  return text;
}

// A deferred request for a simulated firmware image, as "vekctl ddff build"
// makes it; with no image, a cleared request.
std::string Request(const std::vector<std::uint8_t>& i_image) {
  C_DDFF request;
  if (!i_image.empty()) {
    request.SetDriveVendorId("ZQ");
    request.SetDriveProductId("ZQ-SAS-146");
    request.SetDriveRevision("ZQ05");
    request.SetDriveSerialNumber("ZQS146C003");
    request.SetRequestFlags(DDFF::DDFF_RQ_REFLASH);
    N_StandardProgram::Add(request, static_cast<std::uint32_t>(i_image.size()));
    request.SetRomImage(i_image.data(), static_cast<std::uint32_t>(i_image.size()));
  }
  const std::uint8_t* bytes = request.GetRequest();
  return std::string(reinterpret_cast<const char*>(bytes), request.GetRequestSize());
}

void Cloaked(const std::string& i_name, const std::string& i_contents) {
  const std::string path = PathOf("cloaked_file_reader", i_name);
  C_CloakedFile file;
  if (!file.OpenOutput(path) || file.Write(i_contents.data(), static_cast<std::uint32_t>(i_contents.size())) !=
                                    i_contents.size()) {
    Fail("cannot write " + path);
  }
  file.Close();
}

// A small fleet after some use: one drive of each kind, a download
// pending, sense waiting, a changed mode page and faults set.
S_SimFleet UsedFleet() {
  S_SimFleet fleet = S_SimFleet::Default();
  std::vector<S_SimDrive>& hba = fleet.controllers[0].drives;
  std::vector<S_SimDrive>& array = fleet.controllers[1].drives;
  hba.resize(1);
  array.erase(array.begin() + 1);
  array.resize(2);
  hba[0].pending = "0103";
  hba[0].busyLeft = 2;
  hba[0].sense = N_SimSense::Fixed(N_SimSense::UNIT_ATTENTION, 0x3F, 0x01);
  hba[0].modePages[C_SimModePages::Key(0x08)][2] = 0x01;
  hba[0].faults.rejectChunk = 2;
  array[0].stopped = true;
  array[0].faults.failOpcode = 0x12;
  array[0].faults.failSense = {5, 0x24, 0};
  array[0].faults.throwOnOpcode = 0x1A;
  array[1].requestFile = "array0-2.ddff";
  return fleet;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) Fail("usage: vek_fuzz_seeds DIR LOCALE_DIR");
  g_root = argv[1];
  const std::string locale = argv[2];
  const std::vector<std::uint8_t> image = C_SimFirmwareImage::Build(
      "ZQ-SAS-146", "ZQ06", C_SimFirmwareImage::SamplePayload("ZQ-SAS-146", "ZQ06", 700));

  Write("ddff_reader", "cleared.dat", Request({}));
  Write("ddff_reader", "standard.dat", Request(image));

  const std::string catalog = ReadText(locale + "/en_US/vek.msg");
  Cloaked("empty.cloak", "");
  Cloaked("abc.cloak", "abc");
  Cloaked("catalog.cloak", catalog);

  for (const char* name : {"en_US", "de_DE"}) {
    Write("catalog_reader", std::string(name) + ".msg", ReadText(locale + "/" + name + "/vek.msg"));
  }

  // Every catalog template with markup, and one with each argument kind.
  int count = 0;
  std::istringstream lines(catalog + ReadText(locale + "/de_DE/vek.msg"));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos && line.find_first_of("<&", equals) != std::string::npos) {
      Write("text_format", "catalog-" + std::to_string(++count), line.substr(equals + 1));
    }
  }
  Write("text_format", "kinds",
        "i=<i> u=<u FMT='%04u'> l=<l> ul=<ul FMT=\"%lx\"> d=<d FMT='%.2f'> s=<s> t=<t FMT='%Y'>"
        " &lt;&#65;&#x42;&amp;&quot;<none> <s other='&apos;x'>");

  const char* const revisions[] = {"ZQ05\nZQ07", "ZQ05\nZQA5", "zq05\nZQ07", "ZQa1\nZQA1",
                                   "123\nA124", "0102\n0103", "2.10.0.255\n1.2.3", "256.1.1.1\n 1.-2.3.4abc"};
  count = 0;
  for (const char* pair : revisions) Write("revision_version", "pair-" + std::to_string(++count), pair);

  Write("sim_firmware_image", "ZQ-SAS-146-ZQ06.fw", Bytes(image));
  Write("sim_firmware_image", "KS-4000-0103.fw",
        Bytes(C_SimFirmwareImage::Build("KS-4000", "0103",
                                        C_SimFirmwareImage::SamplePayload("KS-4000", "0103", 300))));
  Write("sim_firmware_image", "empty-payload.fw", Bytes(C_SimFirmwareImage::Build("HC-900S", "A311", {})));

  // A state file as C_SimStore writes it; a fleet file has the same form.
  // The seeds stay small (no indentation): JSON readers run at a speed
  // proportional to the length of their input.
  for (const char* target : {"sim_state_reader", "fleet_file_reader"}) {
    Write(target, "used.json", nlohmann::json(UsedFleet()).dump(1) + "\n");
    Write(target, "used-compact.json", nlohmann::json(UsedFleet()).dump());
  }
  return 0;
}
