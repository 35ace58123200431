#include "platform/heap.h"

#include <cstdlib> // defines __GLIBC__ where it is the C library
#ifdef __GLIBC__
#include <malloc.h>

/// Bytes from which a block has its own pages, mallopt(3): more than a report's packet, for which
/// new pages would be made every time. Once set, glibc no longer raises it by itself.
constexpr int OWN_PAGES_FROM = 131072;

void qv_settle_heap() {
    mallopt(M_MMAP_THRESHOLD, OWN_PAGES_FROM);
}

void qv_trim_heap() {
    malloc_trim(0);
}

#else

void qv_settle_heap() {}

void qv_trim_heap() {}

#endif
