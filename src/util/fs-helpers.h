// File-system helpers of the process around the application: removing trees,
// making parent folders and the event FIFOs of the input devices.
#pragma once

#include "util/util-export.h"

// Removes a file or a whole tree; 0 on success (a path that does not exist
// included), -1 otherwise. Only absolute paths are touched: a null or
// relative path answers -1. Something other than a directory is removed only
// with `force` (and then the answer is 0 whatever unlink did); the entries of
// a directory are always removed by force. Symbolic links are removed, never
// followed. Paths inside the tree are built in 256 bytes: an entry whose path
// does not fit fails the removal with -1 (leaving the tree partly removed)
// rather than touching a truncated path.
[[nodiscard]] FIBERTEST_UTIL_EXPORT int ko_rmdir(const char* path, int force);

// Makes the directory that holds `path` (not `path` itself) with all that is
// missing above it, each with `mode`. Something other than a directory in the
// way is removed (ko_rmdir by force). 0 when the directory exists at the end,
// -1 for a null or empty path, a path longer than 255 bytes, or a failure.
[[nodiscard]] FIBERTEST_UTIL_EXPORT int ko_mkdir_parent(const char* path, int mode);

// Makes a FIFO at `path` with `mode`. An existing FIFO is kept; anything else
// there is removed first. Missing parents are made with mode 0644. 0 on
// success, -1 on failure.
[[nodiscard]] FIBERTEST_UTIL_EXPORT int ko_mkfifo(const char* path, int mode);

// For the input devices of the client `name`, sets PIPE_TS_EVENT,
// PIPE_VNC_MOUSE_EVENT, PIPE_KBD_EVENT and PIPE_VNC_KBD_EVENT (overwriting) to
// "/tmp/var/dev/p-event-ts-<name>" and its siblings, making each FIFO with mode
// 0775. A null name does nothing. The paths are built in 64 bytes; a name too
// long for any of them (over 32 bytes) does nothing at all, so that no
// variable ever names a truncated path.
FIBERTEST_UTIL_EXPORT void setupKeyboard(const char* name);
