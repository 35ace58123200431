// What the C library's heap does on request only.
#ifndef QV_PLATFORM_HEAP_H
#define QV_PLATFORM_HEAP_H

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

/// Gives the pages that no allocation lies in back to the system. glibc keeps those of its threads'
/// heaps otherwise (malloc_trim(3)); musl gives them back by itself.
inline void qv_release_free_pages() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

#endif
