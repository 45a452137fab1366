#ifndef VX_HOST_GUARD_H
#define VX_HOST_GUARD_H
// Headers in this folder are host conveniences for tests and tools; the
// library codes only against ../include, which a platform build replaces.
#ifdef OrvKit_EXPORTS
#error "host-only framework header included by a library source"
#endif
#endif
