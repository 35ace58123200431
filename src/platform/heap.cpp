#include "platform/heap.h"

#include <cstdlib> // defines __GLIBC__ where it is the C library
#ifdef __GLIBC__
#include <malloc.h>

/// Bytes from which a block has its own pages, mallopt(3): less than the texts that matter, more
/// than what is allocated often. Once set, glibc no longer raises it by itself.
constexpr int OWN_PAGES_FROM = 16384;

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
