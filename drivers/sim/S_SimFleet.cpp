#include "drivers/sim/S_SimFleet.h"

#include <climits>
#include <stdexcept>
#include <set>

#include "drivers/sim/C_SimModePages.h"
#include "drivers/sim/N_SimSense.h"

using nlohmann::json;

namespace {

void RefuseUnknownKeys(const json& i_json, const std::set<std::string>& i_known,
                       const char* i_what) {
  if (!i_json.is_object()) throw std::invalid_argument(std::string(i_what) + " must be an object");
  for (const auto& item : i_json.items()) {
    if (!i_known.count(item.key())) {
      throw std::invalid_argument(std::string("unknown key \"") + item.key() + "\" in " + i_what);
    }
  }
}

template <class T>
void Optional(const json& i_json, const char* i_key, T& o_value) {
  if (i_json.contains(i_key)) i_json.at(i_key).get_to(o_value);
}

// Numbers are read through these, never through nlohmann's conversions,
// which take any number for any arithmetic type unchecked (a fraction, or a
// value out of the type's range, even with undefined behaviour).
long long Integer(const json& i_value, const char* i_key, long long i_min, long long i_max) {
  // An unsigned value is compared first: above LLONG_MAX it fits no long long.
  if (i_value.is_number_integer() &&
      !(i_value.is_number_unsigned() &&
        i_value.get<unsigned long long>() > static_cast<unsigned long long>(i_max))) {
    const long long value = i_value.get<long long>();
    if (value >= i_min && value <= i_max) return value;
  }
  throw std::invalid_argument(std::string(i_key) + " must be an integer from " + std::to_string(i_min) +
                              " to " + std::to_string(i_max) + ", not " + i_value.dump());
}

template <class T>
std::vector<T> Integers(const json& i_value, const char* i_key, long long i_min, long long i_max) {
  if (!i_value.is_array()) throw std::invalid_argument(std::string(i_key) + " must be an array");
  std::vector<T> values;
  for (const json& item : i_value) values.push_back(static_cast<T>(Integer(item, i_key, i_min, i_max)));
  return values;
}

void Optional(const json& i_json, const char* i_key, int& o_value) {
  if (i_json.contains(i_key)) {
    o_value = static_cast<int>(Integer(i_json.at(i_key), i_key, INT_MIN, INT_MAX));
  }
}

void Optional(const json& i_json, const char* i_key, std::vector<int>& o_value) {
  if (i_json.contains(i_key)) o_value = Integers<int>(i_json.at(i_key), i_key, 0, 255);
}

S_SimDrive Drive(int i_number, const char* i_kind, const char* i_vendor, const char* i_product,
                 const char* i_serial, const char* i_firmware) {
  S_SimDrive drive;
  drive.number = i_number;
  drive.kind = i_kind;
  drive.vendor = i_vendor;
  drive.product = i_product;
  drive.serial = i_serial;
  drive.firmware = i_firmware;
  drive.modePages = C_SimModePages::Defaults();
  drive.sense = N_SimSense::Fixed(N_SimSense::UNIT_ATTENTION, 0x29, 0x00);  // power on
  return drive;
}

}  // namespace

S_SimFleet S_SimFleet::Default() {
  S_SimFleet fleet;
  S_SimController hba;
  hba.name = "hba0";
  hba.kind = "hba";
  hba.vendor = "VEKSIM";
  hba.product = "SAS HBA 8i";
  hba.firmware = "2.10";
  hba.drives.push_back(Drive(0, "scsi", "KESTREL", "KS-4000", "KSL0A1B2C3", "0102"));
  hba.drives.push_back(Drive(1, "scsi", "HALCYON", "HC-900S", "HC77Z09312", "A310"));

  S_SimController array;
  array.name = "array0";
  array.kind = "array";
  array.vendor = "VEKSIM";
  array.product = "RAID 5i";
  array.firmware = "4.02";
  array.ddffVersion = "0101";
  array.drives.push_back(Drive(0, "ata", "ZQ", "ZQ-ATA-500", "ZQA5000000000000A001", "0210"));
  array.drives.push_back(Drive(1, "ata", "ZQ", "ZQ-ATA-750", "ZQA7500000000000B002", "0305"));
  array.drives.push_back(Drive(2, "deferred", "ZQ", "ZQ-SAS-146", "ZQS146C003", "ZQ05"));
  array.drives.push_back(Drive(3, "deferred", "ZQ", "ZQ-SAS-300", "ZQS300D004", "ZQ11"));
  fleet.controllers.push_back(hba);
  fleet.controllers.push_back(array);
  return fleet;
}

S_SimController* S_SimFleet::FindController(const std::string& i_name) {
  for (S_SimController& c : controllers) {
    if (c.name == i_name) return &c;
  }
  return nullptr;
}

S_SimDrive* S_SimFleet::FindDrive(const std::string& i_controller, int i_number) {
  S_SimController* c = FindController(i_controller);
  if (!c) return nullptr;
  for (S_SimDrive& d : c->drives) {
    if (d.number == i_number) return &d;
  }
  return nullptr;
}

void to_json(json& o_json, const S_SimFaults& i_faults) {
  o_json = json::object();
  if (i_faults.rejectChunk) o_json["rejectChunk"] = i_faults.rejectChunk;
  if (i_faults.busyForever) o_json["busyForever"] = true;
  if (i_faults.powerLossAtChunk) o_json["powerLossAtChunk"] = i_faults.powerLossAtChunk;
  if (i_faults.failOpcode >= 0) {
    o_json["failOpcode"] = i_faults.failOpcode;
    o_json["failSense"] = i_faults.failSense;
  }
  if (i_faults.throwOnOpcode >= 0) o_json["throwOnOpcode"] = i_faults.throwOnOpcode;
}

void from_json(const json& i_json, S_SimFaults& o_faults) {
  RefuseUnknownKeys(i_json,
                    {"rejectChunk", "busyForever", "powerLossAtChunk", "failOpcode", "failSense",
                     "throwOnOpcode"},
                    "faults");
  Optional(i_json, "rejectChunk", o_faults.rejectChunk);
  Optional(i_json, "busyForever", o_faults.busyForever);
  Optional(i_json, "powerLossAtChunk", o_faults.powerLossAtChunk);
  Optional(i_json, "failOpcode", o_faults.failOpcode);
  Optional(i_json, "failSense", o_faults.failSense);
  Optional(i_json, "throwOnOpcode", o_faults.throwOnOpcode);
  if (o_faults.failOpcode >= 0 && o_faults.failSense.size() != 3) {
    throw std::invalid_argument("failSense must hold sense key, ASC and ASCQ");
  }
}

void to_json(json& o_json, const S_SimDrive& i_drive) {
  json pages = json::object();
  for (const auto& page : i_drive.modePages) pages[page.first] = page.second;
  o_json = json{{"number", i_drive.number},     {"kind", i_drive.kind},
                {"vendor", i_drive.vendor},     {"product", i_drive.product},
                {"serial", i_drive.serial},     {"firmware", i_drive.firmware},
                {"pending", i_drive.pending},   {"stopped", i_drive.stopped},
                {"busyPolls", i_drive.busyPolls}, {"busyLeft", i_drive.busyLeft},
                {"sense", i_drive.sense},       {"modePages", pages},
                {"faults", i_drive.faults},     {"requestFile", i_drive.requestFile}};
}

void from_json(const json& i_json, S_SimDrive& o_drive) {
  RefuseUnknownKeys(i_json,
                    {"number", "kind", "vendor", "product", "serial", "firmware", "pending",
                     "stopped", "busyPolls", "busyLeft", "sense", "modePages", "faults",
                     "requestFile"},
                    "drive");
  o_drive = S_SimDrive();
  o_drive.number = static_cast<int>(Integer(i_json.at("number"), "number", INT_MIN, INT_MAX));
  i_json.at("kind").get_to(o_drive.kind);
  if (o_drive.kind != "scsi" && o_drive.kind != "ata" && o_drive.kind != "deferred") {
    throw std::invalid_argument("drive kind \"" + o_drive.kind +
                                "\" is not one of scsi, ata, deferred");
  }
  if (o_drive.number < 0 || o_drive.number > 254) {
    throw std::invalid_argument("drive number " + std::to_string(o_drive.number) +
                                " is outside 0..254");
  }
  i_json.at("vendor").get_to(o_drive.vendor);
  i_json.at("product").get_to(o_drive.product);
  i_json.at("serial").get_to(o_drive.serial);
  i_json.at("firmware").get_to(o_drive.firmware);
  Optional(i_json, "pending", o_drive.pending);
  Optional(i_json, "stopped", o_drive.stopped);
  Optional(i_json, "busyPolls", o_drive.busyPolls);
  Optional(i_json, "busyLeft", o_drive.busyLeft);
  if (i_json.contains("sense")) {
    o_drive.sense = Integers<std::uint8_t>(i_json.at("sense"), "sense", 0, 255);
  } else {
    o_drive.sense = N_SimSense::Fixed(N_SimSense::UNIT_ATTENTION, 0x29, 0x00);
  }
  // The drive models the pages it has by default, each with its shape: a
  // page of another code or length would not fit its mode sense and select.
  o_drive.modePages = C_SimModePages::Defaults();
  if (i_json.contains("modePages")) {
    for (const auto& page : i_json.at("modePages").items()) {
      auto known = o_drive.modePages.find(page.key());
      if (known == o_drive.modePages.end()) {
        throw std::invalid_argument("mode page \"" + page.key() + "\" is not one of 01, 08, 0A");
      }
      std::vector<std::uint8_t> bytes = Integers<std::uint8_t>(page.value(), "modePages", 0, 255);
      if (bytes.size() != known->second.size() || (bytes[0] & 0x3F) != known->second[0] ||
          bytes[1] != known->second[1]) {
        throw std::invalid_argument("mode page " + page.key() + " must be " +
                                    std::to_string(known->second.size()) +
                                    " bytes starting with its code and length");
      }
      known->second = bytes;
    }
  }
  Optional(i_json, "faults", o_drive.faults);
  Optional(i_json, "requestFile", o_drive.requestFile);
}

json ControllerHead(const S_SimController& i_controller) {
  json head = json{{"name", i_controller.name},     {"kind", i_controller.kind},
                   {"vendor", i_controller.vendor}, {"product", i_controller.product},
                   {"firmware", i_controller.firmware}};
  if (!i_controller.ddffVersion.empty()) head["ddffVersion"] = i_controller.ddffVersion;
  return head;
}

void to_json(json& o_json, const S_SimController& i_controller) {
  o_json = ControllerHead(i_controller);
  o_json["drives"] = i_controller.drives;
}

void from_json(const json& i_json, S_SimController& o_controller) {
  RefuseUnknownKeys(i_json, {"name", "kind", "vendor", "product", "firmware", "ddffVersion", "drives"},
                    "controller");
  o_controller = S_SimController();
  i_json.at("name").get_to(o_controller.name);
  i_json.at("kind").get_to(o_controller.kind);
  if (o_controller.kind != "hba" && o_controller.kind != "array") {
    throw std::invalid_argument("controller kind \"" + o_controller.kind +
                                "\" is not one of hba, array");
  }
  Optional(i_json, "vendor", o_controller.vendor);
  Optional(i_json, "product", o_controller.product);
  Optional(i_json, "firmware", o_controller.firmware);
  Optional(i_json, "ddffVersion", o_controller.ddffVersion);
  if (o_controller.kind == "array" && o_controller.ddffVersion.empty()) {
    o_controller.ddffVersion = "0101";
  }
  Optional(i_json, "drives", o_controller.drives);
  std::set<int> numbers;
  for (const S_SimDrive& d : o_controller.drives) {
    if (!numbers.insert(d.number).second) {
      throw std::invalid_argument("drive number " + std::to_string(d.number) + " is used twice on " +
                                  o_controller.name);
    }
    if (d.kind != "scsi" && o_controller.kind != "array") {
      throw std::invalid_argument(d.kind + " drive " + std::to_string(d.number) +
                                  " needs an array controller, not " + o_controller.name);
    }
  }
}

void to_json(json& o_json, const S_SimFleet& i_fleet) {
  o_json = json{{"format", "vek-sim-fleet"}, {"version", 1}, {"controllers", i_fleet.controllers}};
}

void from_json(const json& i_json, S_SimFleet& o_fleet) {
  RefuseUnknownKeys(i_json, {"format", "version", "controllers"}, "fleet");
  if (i_json.value("format", std::string("vek-sim-fleet")) != "vek-sim-fleet") {
    throw std::invalid_argument("not a simulated fleet (format is not \"vek-sim-fleet\")");
  }
  if (i_json.contains("version") &&
      !(i_json.at("version").is_number_integer() && i_json.at("version") == 1)) {
    throw std::invalid_argument("unsupported fleet version " + i_json.at("version").dump());
  }
  o_fleet = S_SimFleet();
  i_json.at("controllers").get_to(o_fleet.controllers);
  std::set<std::string> names;
  for (const S_SimController& c : o_fleet.controllers) {
    if (!names.insert(c.name).second) {
      throw std::invalid_argument("controller name \"" + c.name + "\" is used twice");
    }
  }
}
