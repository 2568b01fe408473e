#ifndef VEK_HOST_HOSTEXPORT_H
#define VEK_HOST_HOSTEXPORT_H

// Export macro of the host framework library (libvekhost).
#define VEKHOST_API __attribute__((visibility("default")))

#endif
