#include "drivers/linux/N_LinuxSysfs.h"

#include <dirent.h>
#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <tuple>

#include "foundation/StringUtil.h"

namespace N_LinuxSysfs {

namespace {

std::string Join(const std::string& i_root, const std::string& i_path) {
  if (i_root.empty() || i_root == "/") return "/" + i_path;
  return i_root + (i_root.back() == '/' ? "" : "/") + i_path;
}

std::string ReadLine(const std::string& i_path) {
  std::ifstream file(i_path);
  std::string line;
  std::getline(file, line);
  // Text attributes (vendor, model, rev) come padded with spaces.
  TrimLeft(line, ' ');
  TrimRight(line, ' ');
  return line;
}

std::vector<std::string> Entries(const std::string& i_path) {
  std::vector<std::string> names;
  if (DIR* dir = opendir(i_path.c_str())) {
    while (dirent* entry = readdir(dir)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The last component of the path a link leads to.
std::string LinkTarget(const std::string& i_path) {
  char resolved[PATH_MAX];
  if (!realpath(i_path.c_str(), resolved)) return std::string();
  const std::string path = resolved;
  return path.substr(path.find_last_of('/') + 1);
}

// The block device and its partitions: name and "major:minor".
std::vector<std::pair<std::string, std::string>> Parts(const std::string& i_root,
                                                      const std::string& i_block) {
  const std::string base = Join(i_root, "sys/block/" + i_block);
  std::vector<std::pair<std::string, std::string>> parts = {{i_block, ReadLine(base + "/dev")}};
  for (const std::string& entry : Entries(base)) {
    if (entry.compare(0, i_block.size(), i_block) == 0) {
      parts.emplace_back(entry, ReadLine(base + "/" + entry + "/dev"));
    }
  }
  return parts;
}

// mountinfo escapes blanks and a few others as \ooo.
std::string Unescaped(const std::string& i_text) {
  std::string out;
  for (std::size_t i = 0; i < i_text.size(); ++i) {
    if (i_text[i] == '\\' && i + 3 < i_text.size()) {
      out += static_cast<char>(std::stoi(i_text.substr(i + 1, 3), nullptr, 8));
      i += 3;
    } else {
      out += i_text[i];
    }
  }
  return out;
}

}  // namespace

std::vector<S_ScsiDevice> Scan(const std::string& i_root) {
  std::vector<S_ScsiDevice> devices;
  const std::string classDir = Join(i_root, "sys/class/scsi_generic");
  for (const std::string& sg : Entries(classDir)) {
    const std::string device = classDir + "/" + sg + "/device";
    S_ScsiDevice found;
    found.sg = sg;
    found.address = LinkTarget(device);
    if (std::sscanf(found.address.c_str(), "%d:%d:%d:%d", &found.host, &found.channel,
                    &found.target, &found.lun) != 4) {
      continue;
    }
    const std::string type = ReadLine(device + "/type");
    if (type.empty()) continue;
    found.type = std::atoi(type.c_str());
    found.vendor = ReadLine(device + "/vendor");
    found.model = ReadLine(device + "/model");
    found.revision = ReadLine(device + "/rev");
    const std::vector<std::string> blocks = Entries(device + "/block");
    if (!blocks.empty()) found.block = blocks.front();
    found.hostDriver = ReadLine(
        Join(i_root, "sys/class/scsi_host/host" + std::to_string(found.host) + "/proc_name"));
    devices.push_back(found);
  }
  std::sort(devices.begin(), devices.end(), [](const S_ScsiDevice& a, const S_ScsiDevice& b) {
    return std::tie(a.host, a.channel, a.target, a.lun) <
           std::tie(b.host, b.channel, b.target, b.lun);
  });
  return devices;
}

std::string TypeName(int i_type) {
  static const char* const NAMES[] = {
      "disk",          "tape",         "printer",       "processor", "write-once",
      "CD/DVD",        "scanner",      "optical",       "changer",   "communications",
      "type 0Ah",      "type 0Bh",     "storage array", "enclosure", "simplified disk",
      "optical card",  "type 10h",     "object storage", "automation", "security manager",
      "host managed zoned disk"};
  if (i_type >= 0 && i_type < static_cast<int>(sizeof(NAMES) / sizeof(NAMES[0]))) {
    return NAMES[i_type];
  }
  return "type " + std::to_string(i_type);
}

std::string InUse(const std::string& i_root, const std::string& i_block) {
  if (i_block.empty()) return std::string();
  const auto parts = Parts(i_root, i_block);

  std::ifstream mountinfo(Join(i_root, "proc/self/mountinfo"));
  for (std::string line; std::getline(mountinfo, line);) {
    // id parent major:minor root mountpoint options ... - fstype source ...
    std::istringstream fields(line);
    std::string id, parent, number, root, point;
    fields >> id >> parent >> number >> root >> point;
    const auto dash = line.find(" - ");
    std::string fstype, source;
    if (dash != std::string::npos) std::istringstream(line.substr(dash + 3)) >> fstype >> source;
    for (const auto& part : parts) {
      if ((!part.second.empty() && number == part.second) || source == "/dev/" + part.first) {
        return "mounted at " + Unescaped(point) + " (" + part.first + ")";
      }
    }
  }
  std::ifstream swaps(Join(i_root, "proc/swaps"));
  for (std::string line; std::getline(swaps, line);) {
    std::string name;
    std::istringstream(line) >> name;
    for (const auto& part : parts) {
      if (name == "/dev/" + part.first) return "active swap (" + part.first + ")";
    }
  }
  for (const auto& part : parts) {
    const std::string holders =
        Join(i_root, "sys/block/" + i_block + (part.first == i_block ? "" : "/" + part.first) +
                         "/holders");
    for (const std::string& holder : Entries(holders)) {
      const std::string name = ReadLine(Join(i_root, "sys/block/" + holder + "/dm/name"));
      return "held by " + holder + (name.empty() ? "" : " (" + name + ")") +
             (part.first == i_block ? "" : " through " + part.first);
    }
  }
  return std::string();
}

}  // namespace N_LinuxSysfs
