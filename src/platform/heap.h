// How the C library's heap deals with large reports. Where it has no such settings, it needs none.
#ifndef QV_PLATFORM_HEAP_H
#define QV_PLATFORM_HEAP_H

/// To be called before there are threads. A report's text, tens of KiB with a hundred stations,
/// has pages of its own from then on and gives them back: in the heap it would lie among the small
/// blocks of the next report, because another thread frees it when it is sent.
void qv_settle_heap();

/// Gives pages that hold nothing any more back to the system. Takes some 0.1 ms.
void qv_trim_heap();

#endif
