#include "SimFleetTest.h"

#include <atomic>
#include <ctime>

namespace {
std::atomic<int> g_sleeps{0};
int CountingSleep(const struct timespec*, struct timespec*) {
  ++g_sleeps;
  return 0;
}
T_SleepHook g_previous = nullptr;
C_SimDriver* NewDriver(const std::string& i_statePath, const std::string& i_fleetPath) {
  C_SimDriver::S_Options options;
  options.statePath = i_statePath;
  options.fleetPath = i_fleetPath;
  return new C_SimDriver(options);
}
}  // namespace

C_SimHost::C_SimHost(const std::string& i_statePath, const std::string& i_fleetPath)
    : m_driver(NewDriver(i_statePath, i_fleetPath)), m_services(&m_root), m_instance(&m_services) {
  g_sleeps = 0;
  g_previous = SetSleepHook(&CountingSleep);
  m_root.SetDriver(m_driver);
  EXPECT_TRUE(m_root.Init()) << m_driver->LastError();
  Enumerate();
}

C_SimHost::~C_SimHost() {
  for (auto& entry : m_handles) VekExport::CloseDevice(&m_instance, entry.second);
  m_root.Cleanup();
  SetSleepHook(g_previous);
}

int C_SimHost::Sleeps() { return g_sleeps; }

void C_SimHost::Enumerate() {
  for (auto& entry : m_handles) VekExport::CloseDevice(&m_instance, entry.second);
  m_handles.clear();
  m_order.clear();
  Walk(nullptr);
}

void C_SimHost::Walk(C_VekDevice* i_parent) {
  C_VekEnumContext* context = VekExport::StartEnum(&m_instance, i_parent);
  std::vector<C_VekDevice*> found;
  while (C_VekDevice* handle = VekExport::GetNextDevice(&m_instance, context)) {
    std::string id = VekExport::GetAttribute(&m_instance, handle, "DeviceId");
    m_handles[id] = handle;
    m_order.push_back(id);
    found.push_back(handle);
  }
  VekExport::CloseEnum(&m_instance, context);
  for (C_VekDevice* handle : found) Walk(handle);
}

C_VekDevice* C_SimHost::Device(const std::string& i_id) {
  auto it = m_handles.find(i_id);
  return it == m_handles.end() ? nullptr : it->second;
}

std::string C_SimHost::Attribute(const std::string& i_id, const std::string& i_name) {
  const char* value = VekExport::GetAttribute(&m_instance, Device(i_id), i_name.c_str());
  return value ? value : "<null>";
}

int C_SimHost::Call(const std::string& i_id, std::vector<std::string> i_args) {
  std::vector<const char*> argv;
  for (const std::string& arg : i_args) argv.push_back(arg.c_str());
  argv.push_back(nullptr);
  return VekExport::CallOp(&m_instance, Device(i_id), i_args[0].c_str(),
                           static_cast<int>(i_args.size()), argv.data());
}

int C_SimHost::Flash(const std::string& i_id, const std::vector<std::uint8_t>& i_image) {
  return Call(i_id, {"Flash", std::to_string(i_image.size()),
                     std::to_string(reinterpret_cast<unsigned long>(i_image.data()))});
}
