#ifndef VX_API_H
#define VX_API_H
// The host framework is linked into libOrvKit; the parts that the public
// headers expose (the archive) must stay visible to applications.
#define VX_API __attribute__((visibility("default")))
#endif
