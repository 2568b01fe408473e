#include "Common/Localization/VekMessages.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>

#include "foundation/C_FileSpec.h"
#include "foundation/N_FileUtilities.h"
#include "module/E_Status.h"

namespace N_VekMessages {

namespace {

const S_Message s_messages[] = {
    {MSG_STATUS_OK, "Success"},
    {MSG_STATUS_UNKNOWN_OPERATION, "Unknown operation, or a command sent to a device that cannot forward it"},
    {MSG_STATUS_BAD_ARGUMENT, "Bad or missing argument"},
    {MSG_STATUS_NOT_SUPPORTED, "Request not supported by this device"},
    {MSG_STATUS_NO_PARENT, "The device is not attached to a parent"},
    {MSG_STATUS_NO_SERVICES, "The host instance provides no service object"},
    {MSG_STATUS_BUSY, "The drive is busy"},
    {MSG_STATUS_COMPARED, "Mode page compared: <DIFFERENCES> bytes differ"},
    {MSG_STATUS_OTHER, "The controller driver returned code <CODE>"},
    {MSG_FLASH_SUCCESS, "Firmware flashed"},
    {MSG_FLASH_UNCHANGED, "Firmware unchanged"},
    {MSG_FLASH_REFUSED, "Flash refused"},
    {MSG_DEFERRED_LOADING, "Deferred flash loading"},
    {MSG_DEFERRED_PENDING, "Deferred flash pending"},
    {MSG_DEFERRED_RUNNING, "Deferred flash running"},
    {MSG_DEFERRED_CANCELLED, "Deferred flash cancelled"},
    {MSG_DEFERRED_SUCCESS, "Deferred flash succeeded"},
    {MSG_DEFERRED_ERROR, "Deferred flash failed"},
    {MSG_DEFERRED_OTHER, "Deferred flash status <STATUS FMT='%X'>"},
    {MSG_CLOAK_FRAME, "C_CloakedFile: <MSG>"},
    {MSG_CLOAK_GET_SIZE, "Cannot get file size"},
    {MSG_CLOAK_READ_HEADER, "Cannot read header"},
    {MSG_CLOAK_WRITE_HEADER, "Cannot write header"},
    {MSG_CLOAK_CLOSE, "Cannot close file"},
    {MSG_CLOAK_BAD_MAGIC, "Bad magic number"},
    {MSG_CLOAK_BAD_HEADER_SIZE, "Bad header size"},
    {MSG_CLOAK_UNKNOWN_METHOD, "Unknown cloaking method"},
    {MSG_CLOAK_UNKNOWN_VARIANT, "Unknown XOR variant"},
};

// Registers the facility when the library is loaded, before any text of
// the module can be shown.
struct C_FacilityRegistration {
  C_FacilityRegistration() {
    Local::Register(FACILITY_NAME, FACILITY_CODE,
                    CatalogDirectory(std::getenv("VEK_LOCALE_DIR"), LibraryPath()));
  }
};
const C_FacilityRegistration s_registration;

}  // namespace

const S_Message* GetMessages(std::size_t& o_count) {
  o_count = sizeof s_messages / sizeof s_messages[0];
  return s_messages;
}

Local::C_Text Text(E_Number i_number) {
  const S_Message* end = s_messages + sizeof s_messages / sizeof s_messages[0];
  const S_Message* found = std::find_if(s_messages, end, [i_number](const S_Message& m) { return m.number == i_number; });
  return Local::C_Text(Id(i_number), found == end ? "" : found->defaultText);
}

Local::C_Text StatusText(int i_status) {
  switch (i_status) {
    case VEK_STATUS_OK: return Text(MSG_STATUS_OK);
    case VEK_STATUS_UNKNOWN_OPERATION: return Text(MSG_STATUS_UNKNOWN_OPERATION);
    case VEK_STATUS_BAD_ARGUMENT: return Text(MSG_STATUS_BAD_ARGUMENT);
    case VEK_STATUS_NOT_SUPPORTED: return Text(MSG_STATUS_NOT_SUPPORTED);
    case VEK_STATUS_NO_PARENT: return Text(MSG_STATUS_NO_PARENT);
    case VEK_STATUS_NO_SERVICES: return Text(MSG_STATUS_NO_SERVICES);
    case VEK_STATUS_BUSY: return Text(MSG_STATUS_BUSY);
    case VEK_STATUS_COMPARED: return ComparedText(i_status);
    default: {
      Local::C_Text text = Text(MSG_STATUS_OTHER);
      text.AddArg("CODE", i_status);
      return text;
    }
  }
}

Local::C_Text ComparedText(int i_result) {
  Local::C_Text text = Text(MSG_STATUS_COMPARED);
  text.AddArg("DIFFERENCES", i_result - VEK_STATUS_COMPARED);
  return text;
}

Local::C_Text DeferredStatusText(unsigned i_status) {
  switch (i_status) {
    case 0x01: return Text(MSG_DEFERRED_LOADING);
    case 0x02: return Text(MSG_DEFERRED_PENDING);
    case 0x04: return Text(MSG_DEFERRED_RUNNING);
    case 0x08: return Text(MSG_DEFERRED_CANCELLED);
    case 0x10: return Text(MSG_DEFERRED_SUCCESS);
    case 0x20: return Text(MSG_DEFERRED_ERROR);
    default: {
      Local::C_Text text = Text(MSG_DEFERRED_OTHER);
      text.AddArg("STATUS", i_status);
      return text;
    }
  }
}

std::string CatalogDirectory(const char* i_environment, const std::string& i_libraryPath) {
  if (i_environment && *i_environment) {
    C_FileSpec folder(i_environment);
    folder.Normalize();
    std::string path = folder.GetPath();
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    // The facility directory is the folder that holds "locale/".
    if (C_FileSpec(path).GetName() == "locale") return C_FileSpec(path).GetDirectory();
    return path + "/";
  }
  C_FileSpec library(i_libraryPath);
  const std::string libdir = library.GetDirectory();
  const char* const candidates[] = {"../share/vek/", "../../share/vek/", ""};
  for (const char* candidate : candidates) {
    C_FileSpec dir(libdir + candidate);
    dir.Normalize();
    if (N_FileUtilities::DirectoryExists(dir.GetPath() + "locale")) return dir.GetPath();
  }
  C_FileSpec installed(libdir + candidates[0]);
  return installed.Normalize().GetPath();
}

std::string LibraryPath() {
  Dl_info info;
  if (!::dladdr(static_cast<const void*>(&s_registration), &info) || !info.dli_fname) return std::string();
  C_FileSpec path(info.dli_fname);
  // Relative when the host loaded the library by a relative path: resolve it
  // now, while the current directory is still the one it was loaded from.
  if (!path.MakeAbsolute()) return std::string();
  return path.GetPath();
}

}  // namespace N_VekMessages
