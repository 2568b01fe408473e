#ifndef VEK_MODULE_E_STATUS_H
#define VEK_MODULE_E_STATUS_H

// Status codes of the module's operations and entry points. 0 is success;
// any code not listed here comes from the host's driver and is passed on
// unchanged. What a host should do about each:
enum E_Status {
  // Done.
  VEK_STATUS_OK = 0,
  // Unknown operation name, or a command forwarded to a leaf target.
  // Stop: the caller asked for something this device does not have.
  VEK_STATUS_UNKNOWN_OPERATION = 0x400,  // 1024
  // Bad or missing argument, wrong argument count, or a parent that is not a
  // device. Stop and fix the call; retrying the same call fails the same way.
  VEK_STATUS_BAD_ARGUMENT = 0x401,  // 1025
  // The node does not offer this request (a route or a fallback). Callers
  // inside the module try the other route; a host should not retry.
  VEK_STATUS_NOT_SUPPORTED = 0x403,  // 1027
  // The target is not attached to the tree. Stop until the driver has
  // attached it (re-enumerate).
  VEK_STATUS_NO_PARENT = 0x405,  // 1029
  // The host instance has no service object. Stop until the host is set up.
  VEK_STATUS_NO_SERVICES = 0x407,  // 1031
  // A driver's answer to TEST UNIT READY while a drive is busy after a
  // download; the flash sequence polls it. Retry after a short wait.
  VEK_STATUS_BUSY = 0x40C,  // 1036
  // "CmprModePage" answers VEK_STATUS_COMPARED + the number of differing
  // bytes: a completed comparison, not an error.
  VEK_STATUS_COMPARED = 2000
};

#endif
