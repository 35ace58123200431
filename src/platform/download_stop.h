// Ends downloads at the agent's end: file_request itself has no way to be told.
#ifndef QV_PLATFORM_DOWNLOAD_STOP_H
#define QV_PLATFORM_DOWNLOAD_STOP_H

/// From now on, for good, the stand-in's file_request fails: one under way within a second, a
/// later one at once. The maker's library does not ask and ends in its own time. From any thread,
/// not from a signal handler.
void qv_stop_downloads();

/// Whether qv_stop_downloads was called.
bool qv_downloads_stopped();

#endif
