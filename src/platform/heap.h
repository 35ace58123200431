// How glibc's heap deals with large blocks and long queues; with musl these do nothing.
#ifndef QV_PLATFORM_HEAP_H
#define QV_PLATFORM_HEAP_H

/// To be called before there are threads. A block larger than any report, as a controller's text
/// may be, has pages of its own from then on and gives them back, whatever came before it.
void qv_settle_heap();

/// Gives pages that hold nothing any more back to the system, malloc_trim(3). Walks the whole
/// heap.
void qv_trim_heap();

#endif
