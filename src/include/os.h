// os: files, heap blocks, the texts of the message catalogue, and the host's name.
//
// A path that begins with "~/" names a file of the server's home (ext.h). Widths: a length is an int where a
// line or a message is meant, a size_t where memory is meant.
#ifndef OS_H
#define OS_H

#include <stddef.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Files ----

// An open stream with a buffer of its own.
typedef struct os_file os_file;

enum {
    OS_MAX_LINE = 8192,  // bytes of a line that is read in place, or written so
    OS_LINE_SLACK = 128  // bytes behind it that may be touched
};

// Returns non-zero when `path` names something that exists, else 0.
KV_EXPORT int os_fexists(const char *path);

// Opens the file `path`: for reading when `mode` is "r"; when it is "w" for writing, made with the
// permissions that the process gives new files, or emptied. Any other mode is refused. Returns the stream,
// which the caller closes with os_fclose, or null when it cannot be opened: it is missing, not readable, or a
// directory. Never waits for the other end of a pipe. Failures: memory exhausted, shutdown asked for.
KV_EXPORT os_file *os_fopen(const char *path, const char *mode);

// Reads one line with its newline into `buffer`, at most `capacity` - 1 characters (`capacity` at least 2),
// and terminates it; a longer line is continued by the next call. Returns how many characters were stored (a
// zero byte of the file counts as one), or 0 at the end of the file, when `buffer` is left as it was.
// Failures: (100, 904) the file cannot be read on; shutdown asked for.
KV_EXPORT int os_fgets(char *buffer, int capacity, os_file *file);

// Makes a stream of an open descriptor, which os_fclose then leaves open. `mode` is as for os_fopen. Returns
// null for another mode. Failure: memory exhausted.
KV_EXPORT os_file *os_fdopen(int descriptor, const char *mode);

// Reads one line as os_fgets does with a capacity of `limit` + 1, but leaves it where it is: returns a
// pointer to its bytes, which are not terminated, and their count in `*length`. OS_LINE_SLACK bytes behind
// them can be read. `limit` is at most OS_MAX_LINE. The line may be changed in place; it is valid until the
// next call for the stream. Null, and 0, at the end of the file. Failures as os_fgets.
KV_EXPORT char *os_fline(os_file *file, int limit, int *length);

// Returns the line that os_fline read last, as it stands in the buffer, and its count in `*length`; null, and
// 0, when there was none left, or none was read yet. Valid as long as the line is.
KV_EXPORT const char *os_flast(os_file *file, int *length);

// Writes `count` items of `size` bytes to a stream that is open for writing. Returns how many bytes were
// taken: fewer than there are when the file cannot be written on (a full disk, a reader gone), now or before.
// What was taken may still be in the stream's buffer. Failure: shutdown asked for.
KV_EXPORT size_t os_fwrite(const void *bytes, size_t size, size_t count, os_file *file);

// Makes room for `size` bytes (at most OS_MAX_LINE) in the buffer of a stream that is open for writing, and
// returns the place, to be filled before os_fcommit takes the first `length` of them; null when the file
// cannot be written on. OS_LINE_SLACK bytes behind them may be overwritten. Failure: shutdown asked for.
KV_EXPORT char *os_freserve(os_file *file, size_t size);
KV_EXPORT void os_fcommit(os_file *file, size_t length);

// Writes what is still in the buffer. Returns 0, or -1 when the file could not be written whole, now or
// before; errno is then what the write that failed has left.
KV_EXPORT int os_fflush(os_file *file);

// Closes the stream and releases it; null is accepted. What is still in its buffer is written first;
// os_fflush tells whether that works.
KV_EXPORT void os_fclose(os_file *file);

// Opens the file `path` as a descriptor; `flags` is 0, read only. Returns the descriptor, which the caller
// closes with mdc_close, or -1 when it cannot be opened. Never waits for the other end of a pipe. Failures:
// as os_fopen.
KV_EXPORT int os_open(const char *path, int flags);

// Reads up to `size` bytes from a descriptor; goes on after an interruption or a short read, so that fewer
// come only at the end of the input or when it cannot be read on. Returns how many were read, 0 at the end,
// -1 when it cannot be read at all. errno is left alone unless reading fails or is interrupted. Failure:
// shutdown asked for.
KV_EXPORT int os_read(int descriptor, void *buffer, int size);

// Writes `size` bytes to a descriptor; goes on after an interruption or a short write. Returns how many were
// written: fewer than `size` when the rest cannot be (a full disk, a reader gone). errno as for os_read.
// Failure: shutdown asked for.
KV_EXPORT int os_write(int descriptor, const void *bytes, int size);

// ---- Heap ----

// Returns a block of `size` bytes (at least one) that os_free releases. Failure: memory exhausted.
KV_EXPORT void *os_malloc(size_t size);

// Releases a block of this service; null is accepted.
KV_EXPORT void os_free(void *block);

// Returns a heap copy of `text`, released with os_free. Failure: memory exhausted.
KV_EXPORT char *os_strdup(const char *text);

// ---- Message catalogue ----

// Returns a scratch block of `size` bytes for a message, and releases it (null is accepted). Failure: memory
// exhausted.
KV_EXPORT void *os_MMGetSpace(int size);
KV_EXPORT void os_MMFreeSpace(void *block);

// Finds message `number` of the gateway's set (102), makes it the current message of this thread, and returns
// the length of its text without terminator; 0 when there is no such message.
KV_EXPORT int os_MCFindMessage(int number);

// Copies the first `length` characters of the current message's text, terminated, into `buffer`, which holds
// `length` + 1 bytes. Without a current message the text is empty.
KV_EXPORT void os_MCGetMessage(char *buffer, int length);

// ---- Host ----

// Copies the system's host name, cut to fit, into `buffer`, which holds `size` bytes (at least one). Returns
// 0, or -1 with the empty text when the system does not tell.
KV_EXPORT int os_gethostname(char *buffer, int size);

#ifdef __cplusplus
}
#endif

#endif
