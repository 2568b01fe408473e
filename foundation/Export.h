#ifndef VEK_FOUNDATION_EXPORT_H
#define VEK_FOUNDATION_EXPORT_H

// The one export macro of libvek. The library is built with hidden
// visibility; every public class and the entry points carry VEK_API.
#define VEK_API __attribute__((visibility("default")))

#endif
