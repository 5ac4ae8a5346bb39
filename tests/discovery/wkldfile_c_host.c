/* A host written in C: writes one text into a workload file and reads it back through the public header. */
#include <stdlib.h>
#include <string.h>

#include "aapi/wkldfile.h"

int write_as_c_host(const char* path, const char* text);
int read_as_c_host(const char* path, const char* text);

int write_as_c_host(const char* path, const char* text) {
  wkldfile_handle_s* handle = create_wkld_file(path);
  int result = handle == NULL;
  if (handle != NULL) {
    handle->cursor = handle->buffer;
    handle->room = sizeof(handle->buffer);
    result = wkldfile_write_record(handle, text, 0, 0);
    result = result != 0 ? result : wkldfile_write_record(handle, NULL, 0, 0);
  }
  return close_wkld_file(handle) + result;
}

int read_as_c_host(const char* path, const char* text) {
  wkldfile_handle_s* handle = open_wkld_file(path);
  wkldfile_record_s* record = calloc(1, sizeof(*record));
  int same = handle != NULL && record != NULL && wkldfile_read_record(handle, record, 0) == 0 &&
             record->length == strlen(text) + 1 && strcmp(record->data, text) == 0 &&
             wkldfile_read_record(handle, record, 0) == WKLDFILE_END;
  free(record);
  close_wkld_file(handle);
  return same;
}
