// How glibc's heap deals with large blocks and long queues; with musl these do nothing.
#ifndef QV_PLATFORM_HEAP_H
#define QV_PLATFORM_HEAP_H

/// To be called before there are threads. A report that waits for its session, tens of KiB with a
/// hundred stations, has pages of its own from then on and gives them back: in the heap it would
/// lie among the small blocks of the next ones, because another thread frees it when it is sent.
void qv_settle_heap();

/// Gives pages that hold nothing any more back to the system, malloc_trim(3). Walks the whole
/// heap.
void qv_trim_heap();

#endif
