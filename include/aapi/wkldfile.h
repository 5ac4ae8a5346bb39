/*
 * Workload files: what a discovery found, as a host reads it back. Plain C; compiles as C11 and as C++20.
 *
 * A workload file is a sequence of records without header, trailer, padding or checksum. A record is an
 * optional tag (8 bytes), a length (8 bytes) and so many bytes of data: one text with its NUL, which the
 * length counts. Numbers are in the machine's own byte order. Whether records carry a tag is not told in
 * the file; those that a discovery writes carry none.
 *
 * To read: open_wkld_file, wkldfile_read_record until it returns other than 0, close_wkld_file.
 * To write: create_wkld_file, cursor = buffer and room = sizeof(buffer), wkldfile_write_record for each
 * text, once more with a null text to flush, close_wkld_file.
 *
 * A handle belongs to one thread at a time.
 */
#ifndef AAPI_WKLDFILE_H
#define AAPI_WKLDFILE_H

#include "aapi/aapi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of the transfer buffer. */
#define WKLDFILE_BUFFER_SIZE 1048576u

/* Most data bytes of one record, its NUL included: what the buffer holds besides a length. */
#define WKLDFILE_LONGEST_DATA 1048568u

/* wkldfile_read_record at the end of the file, within a record too. */
#define WKLDFILE_END 2

/* An open workload file. Its buffer makes it large: made and released by the functions below only. */
typedef struct wkldfile_handle_s {
  uint64_t total;                    /* bytes moved through fd so far */
  char buffer[WKLDFILE_BUFFER_SIZE]; /* the transfer buffer */
  char* cursor;                      /* where the next record goes or comes from; null until primed or read */
  uint64_t room;                     /* writing: free bytes from the cursor on; reading: unread bytes there */
  int32_t fd;
  char path[1024]; /* the name given, for messages; cut to 1,023 bytes */
} wkldfile_handle_s;

/*
 * A record read. The reader never puts more than WKLDFILE_LONGEST_DATA bytes into data, and knows nothing
 * of the memory behind it: a host that lays out a smaller area of its own must be sure of its file.
 */
typedef struct wkldfile_record_s {
  uint64_t tag;    /* only with a tag flag */
  uint64_t length; /* bytes of data, the NUL included: 1 for an empty text */
  char data[WKLDFILE_LONGEST_DATA];
} wkldfile_record_s;

/*
 * Opens path for writing with mode 0600, creating it when absent; bytes of an existing file stay where no
 * new ones replace them. The handle is zero but for fd and path: see above for how to prime it. Null with
 * errno set when that fails; a null path gives EINVAL.
 */
AAPI_EXPORT wkldfile_handle_s* create_wkld_file(const char* path);

/* Opens path for reading. Null with errno set when that fails; a null path gives EINVAL. */
AAPI_EXPORT wkldfile_handle_s* open_wkld_file(const char* path);

/* Closes and releases the handle, without a flush. Returns close()'s result; 0 for a null handle. */
AAPI_EXPORT int close_wkld_file(wkldfile_handle_s* handle);

/* Removes the file. Returns unlink()'s result; -1 with EINVAL in errno for a null path. */
AAPI_EXPORT int delete_wkld_file(const char* path);

/*
 * Appends one record; a null text writes out what the buffer holds and appends nothing. The tag is stored
 * when one of the low 16 bits of tag_flag is set. Returns 0 or an errno value: that of a failed write, the
 * handle then as it was; EMSGSIZE for a text that no buffer holds; EINVAL for a null handle or one whose
 * room is larger than its buffer. A write that the system cuts short loses the rest of the buffer; an
 * error line tells so.
 */
AAPI_EXPORT int wkldfile_write_record(wkldfile_handle_s* handle, const char* text, uint64_t tag, uint32_t tag_flag);

/*
 * Reads the next record into record. Returns 0; WKLDFILE_END at the end of the file; or an errno value:
 * that of a failed read, EBADMSG for a length that no record has or data that does not end in a NUL,
 * EINVAL for null arguments or a handle whose room is larger than its buffer. After anything but 0 the
 * handle is only good for closing.
 */
AAPI_EXPORT int wkldfile_read_record(wkldfile_handle_s* handle, wkldfile_record_s* record, uint32_t tag_flag);

/*
 * Makes a directory and its missing parents through the shell, which sees the name as one word whatever
 * it holds. Returns 0, else the status of system(): the exit code times 256 as a rule; ENAMETOOLONG when
 * the command would be longer than 1,023 bytes, EINVAL for null.
 */
AAPI_EXPORT int create_out_dir(const char* directory);

/*
 * Runs a shell command, its output and its errors dropped unless it redirects them itself ('>' and '2>').
 * The command is the caller's own: nothing in it is quoted here. Returns the status of system();
 * ENAMETOOLONG for a command longer than 65,535 bytes, EINVAL for null.
 */
AAPI_EXPORT int execute_immediate_cmd(const char* command);

#ifdef __cplusplus
}
#endif

#if defined(__x86_64__) && defined(__linux__)
#ifdef __cplusplus
#define WKLDFILE_ASSERT(condition) static_assert(condition, "workload file layout")
#else
#define WKLDFILE_ASSERT(condition) _Static_assert(condition, "workload file layout")
#endif
WKLDFILE_ASSERT(sizeof(wkldfile_handle_s) == 1049632);
WKLDFILE_ASSERT(offsetof(wkldfile_handle_s, total) == 0);
WKLDFILE_ASSERT(offsetof(wkldfile_handle_s, buffer) == 8);
WKLDFILE_ASSERT(offsetof(wkldfile_handle_s, cursor) == 1048584);
WKLDFILE_ASSERT(offsetof(wkldfile_handle_s, room) == 1048592);
WKLDFILE_ASSERT(offsetof(wkldfile_handle_s, fd) == 1048600);
WKLDFILE_ASSERT(offsetof(wkldfile_handle_s, path) == 1048604);
WKLDFILE_ASSERT(offsetof(wkldfile_record_s, tag) == 0);
WKLDFILE_ASSERT(offsetof(wkldfile_record_s, length) == 8);
WKLDFILE_ASSERT(offsetof(wkldfile_record_s, data) == 16);
#undef WKLDFILE_ASSERT
#endif

#endif
