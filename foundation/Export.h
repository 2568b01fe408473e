#ifndef VEK_FOUNDATION_EXPORT_H
#define VEK_FOUNDATION_EXPORT_H

// The one export macro of libvek. The library is built with hidden
// visibility; the classes and functions of the module's surface (the headers
// a host or a driver uses, VEK_PUBLIC_HEADERS in CMakeLists.txt, which are
// also the installed ones) carry VEK_API, and nothing else does.
#define VEK_API __attribute__((visibility("default")))

#endif
