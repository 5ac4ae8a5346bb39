/*
 * A plug-in small enough to see through, for the tests of the loader and of the program's frame. Compiled several
 * times: FAKE_INIT_STATUS refuses the version, FAKE_EMPTY_SLOT leaves one entry point out. The first label of the
 * server name says how the property query ends: "works", anything else fails with 6614. For a discovery it says what
 * becomes of the workload files: "torn" leaves one that breaks off, "short" none for the one machine that it counts,
 * "silent" none and no count, "works" none since there is no machine. A name of fewer than four labels gives 6601 and
 * still a handle, as the real one does.
 *
 * For a backup there are two machines, "first" (running) and "second", of one disk each. What is wrong with the first
 * one's disk is the label, too: "fine" nothing, "breaks" a read fails in the middle, "early" it ends there without an
 * error, "empty" its size is 0, "locked" it cannot be opened, "signal" this process gets SIGTERM in the middle,
 * "killed" SIGKILL; with "unset" the snapshots of the first machine's disks end in 6661. What is opened and closed, and
 * the snapshots that are released or swept, are in the log at the error level.
 *
 * In a restore every call is in the log, at the error level, too. What is wrong with the machine "first" is the label:
 * "refused" its target, "unmade" that it cannot be made of its disks, "signal" and "killed" as above, in the middle of
 * its disk. A disk that is closed before its stream's end gives 6614, as the real one does.
 */
#include <aapi/aapi.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifndef FAKE_INIT_STATUS
#define FAKE_INIT_STATUS 0
#endif

struct aapi_pgn_server_handle_s {
  const aapi_session_def_v1_t* session;
  int works;
  char kind[16]; /* the first label */
  char snapshot[64];
};

static struct aapi_pgn_server_handle_s the_server;

static uint32_t claim(const char* name) { return strncmp(name, "azurestack:", 11) == 0 ? 0 : AAPI_E_INVALID_OBJECT; }

static uint32_t terminate(void) { return 0; }

static uint32_t open_server(const aapi_session_def_v1_t* session, const char* name,
                            const aapi_credentials_v1_t* credentials, aapi_server_t** out) {
  int dots = 0;
  for (const char* at = name; *at != '\0'; ++at) dots += *at == '.';
  the_server.session = session;
  the_server.works = strstr(name, ":works.") != NULL;
  (void)sscanf(name, "%*[^:]:%15[^.]", the_server.kind);
  *out = &the_server;
  session->log("tag", credentials->text[0] == '\0' ? "opened without login" : "opened with login", AAPI_LOG_ERROR);
  return dots < 3 ? AAPI_E_INVALID_ARGUMENT : 0;
}

static uint32_t close_server(aapi_server_t* server) {
  server->session->log("tag", "closed", AAPI_LOG_ERROR);
  return 0;
}

/* A disk's stream: header, one range, padding, data. */
enum { DISK_SIZE = 8 << 20, DATA_SIZE = 5 << 20, PADDING = 456, HEADER_SIZE = 40, TABLE_SIZE = 16 };
enum { STREAM_SIZE = HEADER_SIZE + TABLE_SIZE + PADDING + DATA_SIZE };

static const char* const machine_objects[] = {"",
                                              "/Metadata",
                                              "/Metadata/UseManagedDisk=No",
                                              "/acct.blob.r1.stack.example",
                                              "/acct.blob.r1.stack.example/vhds",
                                              "/acct.blob.r1.stack.example/vhds/os.vhd",
                                              "/Metadata/Size=A1",
                                              "/Metadata/PowerState=",
                                              "/Metadata/VmName="};

struct aapi_object_s {
  aapi_server_t* server;
  int is_disk;
  int has_fault;
  uint64_t position;
  uint64_t header[5]; /* of a stream that is written */
  char path[256];
};

static int is_kind(const aapi_server_t* server, const char* kind) { return strcmp(server->kind, kind) == 0; }

static int has_machines(const aapi_server_t* server) {
  static const char* const kinds[] = {"fine",   "breaks", "early", "empty",  "locked",
                                      "signal", "killed", "unset", "foreign"};
  for (size_t at = 0; at < sizeof kinds / sizeof *kinds; ++at) {
    if (is_kind(server, kinds[at])) return 1;
  }
  return 0;
}

static void log_call(const aapi_server_t* server, const char* call, const char* what) {
  char line[512];
  snprintf(line, sizeof line, "%s %s", call, what);
  server->session->log("tag", line, AAPI_LOG_ERROR);
}

static uint32_t get_snappath_from_realpath(aapi_server_t* server, const char* snapshot, const char* path, char* out,
                                           uint64_t size) {
  snprintf(server->snapshot, sizeof server->snapshot, "%s", snapshot);
  snprintf(out, size, "%s", path);
  return 0;
}

/* What the metadata object holds: the last of a machine its configuration. Returns its length. */
static uint64_t write_text(const aapi_server_t* server, const char* path, char* out, size_t size) {
  const char* name = strstr(path, "/VmName=");
  if (name != NULL && is_kind(server, "foreign") && strstr(path, "/first/") != NULL) name = "/VmName=another";
  const int length =
      name == NULL ? snprintf(out, size, "METADATA_FILE")
                   : snprintf(out, size,
                              "{\"resources\":[{\"id\":\"/subscriptions/s/resourceGroups/g/providers/Microsoft.Compute/"
                              "virtualMachines/%s\",\"configuration\":{}}]}",
                              name + strlen("/VmName="));
  return (uint64_t)length;
}

static uint32_t query_machine_object(aapi_server_t* server, const char* path, aapi_object_info_v1_t* out) {
  const int first = strstr(path, "/first/") != NULL;
  memset(out, 0, sizeof *out);
  out->object_type = AAPI_OBJECT_DIRECTORY;
  if (strstr(path, "/os.vhd") != NULL) {
    if (server->snapshot[0] == '\0') return AAPI_E_INVALID_ARGUMENT;
    out->object_type = AAPI_OBJECT_FILE;
    out->size = first && is_kind(server, "empty") ? 0 : DISK_SIZE;
  } else if (strstr(path, "/VmName=") != NULL || strstr(path, "/UseManagedDisk=") != NULL) {
    out->object_type = AAPI_OBJECT_FILE;
    char text[512];
    out->size = write_text(server, path, text, sizeof text);
    if (first && is_kind(server, "unset") && strstr(path, "=No") != NULL) return 6661;
  }
  return 0;
}

static int is_restore(const aapi_server_t* server) { return server->session->session_kind == AAPI_SESSION_RESTORE; }

static int is_disk_path(const char* path) {
  int slashes = 0;
  for (const char* at = path; *at != '\0'; ++at) slashes += *at == '/';
  return slashes == 6 && strstr(path, "/Metadata/") == NULL;
}

static uint32_t ask_for(aapi_server_t* server, const char* path) {
  char line[512];
  log_call(server, "ask", path);
  if (is_disk_path(path)) {
    if (is_kind(server, "refused") && strstr(path, "/first/") != NULL) {
      server->session->log("tag", "Failed to find subscription ID =s on Azure Stack. error=6789", AAPI_LOG_ERROR);
    } else {
      snprintf(line, sizeof line, "f: managed disk Id: /id%s-RESTORE-7", strrchr(path, '/'));
      server->session->log("tag", line, AAPI_LOG_FLOW);
    }
    return 2;
  }
  return strstr(path, "/Metadata/") != NULL ? 2 : 0;
}

static uint32_t create_object(aapi_server_t* server, const char* path, const aapi_object_info_v1_t* info,
                              aapi_object_t** out) {
  (void)info;
  log_call(server, "create", path);
  *out = NULL;
  if (is_kind(server, "refused") && is_disk_path(path) && strstr(path, "/first/") != NULL) return 6789;
  *out = calloc(1, sizeof **out);
  if (*out == NULL) return AAPI_E_NO_MEMORY;
  (*out)->server = server;
  (*out)->is_disk = is_disk_path(path);
  (*out)->has_fault = (*out)->is_disk && strstr(path, "/first/") != NULL;
  snprintf((*out)->path, sizeof(*out)->path, "%s", path);
  return 0;
}

static uint32_t write_object(aapi_object_t* object, const void* buffer, uint64_t length, uint64_t offset,
                             uint64_t* count) {
  char line[512];
  *count = 0;
  if (length == 0 || offset != object->position) return AAPI_E_INVALID_ARGUMENT;
  if (object->is_disk && length > 1000003) length = 1000003; /* the host gives the rest again */
  for (uint64_t at = offset; at < sizeof object->header && at < offset + length; ++at) {
    ((char*)object->header)[at] = ((const char*)buffer)[at - offset];
  }
  if (!object->is_disk) {
    snprintf(line, sizeof line, "write %s: %.*s", object->path, (int)length, (const char*)buffer);
    object->server->session->log("tag", line, AAPI_LOG_ERROR);
  }
  if (object->has_fault && offset > 0 && is_kind(object->server, "signal")) (void)raise(SIGTERM);
  if (object->has_fault && offset > 0 && is_kind(object->server, "killed")) (void)raise(SIGKILL);
  object->position += length;
  *count = length;
  return 0;
}

/* The stream ends where its header says: header, table, padding, data. */
static uint32_t close_written(const aapi_object_t* object) {
  const uint64_t* header = object->header;
  const uint64_t end = HEADER_SIZE + header[3] * TABLE_SIZE + header[4] + header[2];
  const int is_whole = !object->is_disk || (object->position >= HEADER_SIZE && object->position == end);
  log_call(object->server, is_whole ? "close" : "take back", object->path);
  return is_whole ? 0 : AAPI_E_OPERATION_FAILED;
}

static uint32_t set_object_utimes(aapi_server_t* server, const char* path) {
  log_call(server, "make", path);
  if (!is_kind(server, "unmade") || strstr(path, "/first/") == NULL) return 0;
  server->session->log("tag", "Failed to create the VM first.", AAPI_LOG_ERROR);
  return 6793;
}

static uint32_t restore_postprocess(void) {
  log_call(&the_server, "end", "of the restore");
  return 0;
}

static uint32_t open_object(aapi_server_t* server, const char* path, uint32_t flags, aapi_object_t** out) {
  (void)flags;
  const int first = strstr(path, "/first/") != NULL;
  const int is_disk = strstr(path, "/os.vhd") != NULL;
  log_call(server, "open", path);
  if (first && is_disk && is_kind(server, "locked")) return 6781;
  *out = calloc(1, sizeof **out);
  if (*out == NULL) return AAPI_E_NO_MEMORY;
  (*out)->server = server;
  (*out)->is_disk = is_disk;
  (*out)->has_fault = first && is_disk;
  snprintf((*out)->path, sizeof(*out)->path, "%s", path);
  return 0;
}

static uint32_t close_object(aapi_object_t* object) {
  uint32_t status = 0;
  if (is_restore(object->server)) {
    status = close_written(object);
  } else {
    log_call(object->server, "close", object->path);
  }
  free(object);
  return status;
}

static char stream_byte(uint64_t at) {
  const uint64_t header[] = {HEADER_SIZE + TABLE_SIZE, DISK_SIZE, DATA_SIZE, 1, PADDING, 0, DATA_SIZE};
  if (at < sizeof header) return ((const char*)header)[at];
  if (at < STREAM_SIZE - DATA_SIZE) return 0;
  return (char)(at * at >> 9);
}

/* What goes wrong in the middle of the stream; 0: nothing. */
static uint32_t meet_fault(const aapi_object_t* object) {
  if (!object->has_fault || object->position < STREAM_SIZE / 2) return 0;
  if (is_kind(object->server, "signal")) (void)raise(SIGTERM);
  if (is_kind(object->server, "killed")) (void)raise(SIGKILL);
  return is_kind(object->server, "breaks") ? AAPI_E_OPERATION_FAILED : 0;
}

static uint32_t read_object(aapi_object_t* object, void* buffer, uint64_t length, uint64_t offset, uint64_t* count) {
  char text[512];
  char* out = buffer;
  uint64_t end = write_text(object->server, object->path, text, sizeof text);
  if (object->is_disk) end = STREAM_SIZE;
  *count = 0;
  if (offset != object->position) return AAPI_E_INVALID_ARGUMENT;
  const uint32_t status = meet_fault(object);
  if (status != 0) return status;
  if (object->has_fault && is_kind(object->server, "early")) end = STREAM_SIZE - 1;
  if (length > 1000003) length = 1000003; /* fewer bytes than asked for are no end */
  while (*count < length && object->position < end) {
    if (object->is_disk) {
      out[*count] = stream_byte(object->position);
    } else {
      out[*count] = text[object->position];
    }
    ++*count;
    ++object->position;
  }
  if (!object->is_disk) out[*count] = '\0';
  return 0;
}

static uint32_t delete_snapshot(aapi_server_t* server, const char* path, const aapi_snapshot_v1_t* snapshot) {
  (void)snapshot;
  log_call(server, "release", path);
  return 0;
}

static uint32_t postprocess(aapi_server_t* server, const char* selections, const char* snapshot) {
  log_call(server, "sweep", selections);
  server->session->log("tag", "f: Delete Managed Disk stale snapshots of Subscriptions s .", AAPI_LOG_DETAIL);
  return snapshot[0] == '\0' ? AAPI_E_INVALID_ARGUMENT : 0;
}

static uint32_t get_object_prop_byname(aapi_server_t* server, const char* path, aapi_object_info_v1_t* out) {
  if (is_restore(server)) return ask_for(server, path);
  if (has_machines(server)) return query_machine_object(server, path, out);
  memset(out, 0, sizeof *out);
  printf("noise on output\n");
  fprintf(stderr, "noise on error\n");
  server->session->log("tag", "a step", AAPI_LOG_FLOW);
  server->session->log("tag", "first line\nsecond line \033[31m", AAPI_LOG_ERROR);
  return server->works ? 0 : AAPI_E_OPERATION_FAILED;
}

static void write_torn_file(const char* folder) {
  char path[1024];
  snprintf(path, sizeof path, "%s/w.1", folder);
  FILE* file = fopen(path, "w");
  if (file == NULL) return;
  (void)fwrite("\x20\0\0\0\0\0\0\0/s/g", 1, 12, file);
  (void)fclose(file);
}

static void write_record(FILE* file, const char* text) {
  const uint64_t length = strlen(text) + 1;
  (void)fwrite(&length, sizeof length, 1, file);
  (void)fwrite(text, 1, length, file);
}

static void write_machine(FILE* file, const char* name, const char* power_state) {
  char path[256];
  for (size_t at = 0; at < sizeof machine_objects / sizeof *machine_objects; ++at) {
    const char* object = machine_objects[at];
    const char* value = strstr(object, "PowerState=") != NULL ? power_state : strstr(object, "VmName=") ? name : "";
    snprintf(path, sizeof path, "/s/g/%s%s%s", name, object, value);
    write_record(file, path);
  }
}

static FILE* open_workload(const char* folder, int number, const char* snapshot) {
  char text[1024];
  snprintf(text, sizeof text, "%s/w.%d", folder, number);
  FILE* file = fopen(text, "w");
  if (file == NULL) return NULL;
  snprintf(text, sizeof text, "snapshot_name=%s", snapshot);
  write_record(file, text);
  write_record(file, "/s");
  write_record(file, "/s/g");
  return file;
}

/* A file for each stream that the first line of the configuration asks for, at most two. */
static int streams(const aapi_server_t* server) {
  static const char key[] = "NO_OF_BACKUP_STREAMS_PER_NODE=";
  char line[100] = "";
  FILE* file = server->session->config_path == NULL ? NULL : fopen(server->session->config_path, "r");
  if (file == NULL) return 1;
  const int found = fgets(line, sizeof line, file) != NULL && strncmp(line, key, sizeof key - 1) == 0;
  (void)fclose(file);
  return found ? (int)strtol(line + sizeof key - 1, NULL, 10) : 1;
}

static void write_machines(const aapi_server_t* server, const char* folder, const char* snapshot) {
  FILE* file = open_workload(folder, 1, snapshot);
  if (file == NULL) return;
  write_machine(file, "first", "running");
  if (streams(server) > 1) {
    (void)fclose(file);
    file = open_workload(folder, 2, snapshot);
    if (file == NULL) return;
  }
  write_machine(file, "second", "deallocated");
  (void)fclose(file);
}

static uint32_t discovery(aapi_server_t* server, const char* selections, const char* proxyclients,
                          const char* wkldoutdir, const char* outfilesuffix, const char* schedtype,
                          const char* snapid) {
  (void)selections, (void)proxyclients, (void)outfilesuffix, (void)schedtype;
  if (has_machines(server)) {
    write_machines(server, wkldoutdir, snapid);
    server->session->log("tag", "run_scanner: Total VMs scanned: 2,", AAPI_LOG_DETAIL);
    return 0;
  }
  if (strcmp(server->kind, "torn") == 0) write_torn_file(wkldoutdir);
  if (strcmp(server->kind, "silent") == 0) {
    server->session->log("tag", "run_scanner: Failed to open azsbackup", AAPI_LOG_ERROR);
  } else {
    server->session->log("tag",
                         server->works ? "run_scanner: Total VMs scanned: 0," : "run_scanner: Total VMs scanned: 1,",
                         AAPI_LOG_DETAIL);
  }
  return 0;
}

static void other(void) {}

AAPI_EXPORT uint32_t aapi_pgn_init(uint32_t version, void* reserved, aapi_plugin_info_t* info) {
  static union {
    aapi_entry_points_t table;
    void (*slots[40])(void);
  } entries;
  (void)reserved;
  for (int slot = 0; slot < 38; ++slot) entries.slots[slot] = other;
  entries.table.claim = claim;
  entries.table.terminate = terminate;
  entries.table.open_server = open_server;
  entries.table.close_server = close_server;
  entries.table.discovery = discovery;
  entries.table.get_object_prop_byname = get_object_prop_byname;
  entries.table.get_snappath_from_realpath = get_snappath_from_realpath;
  entries.table.open_object = open_object;
  entries.table.read_object = read_object;
  entries.table.close_object = close_object;
  entries.table.delete_snapshot = delete_snapshot;
  entries.table.postprocess = postprocess;
  entries.table.create_object = create_object;
  entries.table.write_object = write_object;
  entries.table.set_object_utimes = set_object_utimes;
  entries.table.restore_postprocess = restore_postprocess;
#ifdef FAKE_EMPTY_SLOT
  entries.slots[FAKE_EMPTY_SLOT - 1] = NULL;
#endif
  info->interface_version = version;
  info->entry_points = &entries.table;
  strcpy(info->version_string, "fake 1");
  return FAKE_INIT_STATUS;
}
