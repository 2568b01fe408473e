#include "tools/C_ModuleApi.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "Common/Localization/ValueFormat.h"
#include "tools/N_ExitStatus.h"

namespace {

// The file that holds the code at i_address, as the dynamic loader knows it.
std::string FileOf(const void* i_address) {
  Dl_info info;
  if (!dladdr(i_address, &info) || !info.dli_fname) return std::string();
  return info.dli_fname;
}

bool SameFile(const std::string& i_a, const std::string& i_b) {
  struct stat a, b;
  if (stat(i_a.c_str(), &a) != 0 || stat(i_b.c_str(), &b) != 0) return false;
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A function of the module that vekctl links; its address says which file
// the linked module came from.
const void* LinkedModuleAddress() { return reinterpret_cast<const void*>(&SetSleepHook); }

}  // namespace

std::string C_ModuleApi::DefaultPath() { return FileOf(LinkedModuleAddress()); }

template <class T>
void C_ModuleApi::Resolve(const char* i_symbol, T& o_function) {
  void* address = dlsym(m_library, i_symbol);
  if (!address) {
    throw C_Failure(N_ExitStatus::FAILED,
                    m_path + ": not a vek module: entry point " + i_symbol + " is missing");
  }
  o_function = reinterpret_cast<T>(address);
}

C_ModuleApi::C_ModuleApi(const std::string& i_path)
    : m_path(i_path.empty() ? DefaultPath() : i_path), m_library(nullptr) {
  if (m_path.empty())
    throw C_Failure(N_ExitStatus::FAILED, "cannot tell where libvek.so is; use --module");
  // Checked before loading: a second copy of the module would run its own
  // start-up and share names with the first.
  struct stat info;
  if (stat(m_path.c_str(), &info) != 0) {
    throw C_Failure(N_ExitStatus::FAILED,
                    m_path + ": cannot load the module: " + std::strerror(errno));
  }
  const std::string linked = DefaultPath();
  if (!SameFile(m_path, linked)) {
    throw C_Failure(N_ExitStatus::FAILED,
                    m_path + ": not the libvek.so the drivers of this vekctl are built against (" +
                        linked + ")");
  }
  m_library = dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!m_library) {
    const char* why = dlerror();
    throw C_Failure(N_ExitStatus::FAILED,
                    m_path + ": cannot load the module: " + (why ? why : "?"));
  }
  try {
    Resolve("_ZN9VekExport9StartEnumEP13C_VekInstanceP11C_VekDevice", StartEnum);
    Resolve("_ZN9VekExport13GetNextDeviceEP13C_VekInstanceP16C_VekEnumContext", GetNextDevice);
    Resolve("_ZN9VekExport9CloseEnumEP13C_VekInstanceP16C_VekEnumContext", CloseEnum);
    Resolve("_ZN9VekExport11CloseDeviceEP13C_VekInstanceP11C_VekDevice", CloseDevice);
    Resolve("_ZN9VekExport12GetAttrNamesEP13C_VekInstanceP11C_VekDeviceiPPKc", GetAttrNames);
    Resolve("_ZN9VekExport12GetAttributeEP13C_VekInstanceP11C_VekDevicePKc", GetAttribute);
    Resolve("_ZN9VekExport10GetOpNamesEP13C_VekInstanceP11C_VekDeviceiPPKc", GetOpNames);
    Resolve("_ZN9VekExport6CallOpEP13C_VekInstanceP11C_VekDevicePKciPS5_", CallOp);
  } catch (...) {
    dlclose(m_library);
    throw;
  }
}

C_ModuleApi::~C_ModuleApi() { dlclose(m_library); }
