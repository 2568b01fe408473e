#ifndef VEK_TOOLS_C_MODULEAPI_H
#define VEK_TOOLS_C_MODULEAPI_H

#include <string>

class C_VekDevice;
class C_VekEnumContext;
class C_VekInstance;

// The module as a host sees it: libvek.so loaded at run time and its eight
// VekExport entry points found by their symbol names. Everything vekctl
// reads from or asks of a device goes through these.
//
// The drivers vekctl builds the tree with are linked against libvek.so, so
// the library loaded here must be that same file (by another path, say): the
// constructor refuses another one before loading it, since a second copy
// of the module would run its own start-up and its entry points would meet
// objects of the first.
//
// Not copyable; the library stays loaded for the life of the object. The
// entry points follow the module's threading rules (the host serialises
// calls per instance and per handle).
class C_ModuleApi {
 public:
  // i_path empty: DefaultPath(). Throws C_Failure (exit status 3) naming the
  // file and the reason when it does not exist, is not the library the
  // drivers use, cannot be loaded or lacks an entry point.
  explicit C_ModuleApi(const std::string& i_path);
  ~C_ModuleApi();
  C_ModuleApi(const C_ModuleApi&) = delete;
  C_ModuleApi& operator=(const C_ModuleApi&) = delete;

  // The libvek.so that vekctl is linked with (build tree or installed).
  static std::string DefaultPath();
  const std::string& Path() const { return m_path; }

  C_VekEnumContext* (*StartEnum)(C_VekInstance*, C_VekDevice*);
  C_VekDevice* (*GetNextDevice)(C_VekInstance*, C_VekEnumContext*);
  void (*CloseEnum)(C_VekInstance*, C_VekEnumContext*);
  void (*CloseDevice)(C_VekInstance*, C_VekDevice*);
  int (*GetAttrNames)(C_VekInstance*, C_VekDevice*, int, const char**);
  const char* (*GetAttribute)(C_VekInstance*, C_VekDevice*, const char*);
  int (*GetOpNames)(C_VekInstance*, C_VekDevice*, int, const char**);
  int (*CallOp)(C_VekInstance*, C_VekDevice*, const char*, int, const char**);

 private:
  template <class T>
  void Resolve(const char* i_symbol, T& o_function);

  std::string m_path;
  void* m_library;
};

#endif
