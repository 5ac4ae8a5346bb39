/*
 * A plug-in small enough to see through, for the tests of the loader and of the program's frame. Compiled several
 * times: FAKE_INIT_STATUS refuses the version, FAKE_EMPTY_SLOT leaves one entry point out. The first label of the
 * server name says how the property query ends: "works", anything else fails with 6614. For a discovery it says what
 * becomes of the workload files: "torn" leaves one that breaks off, "short" none for the one machine that it counts,
 * "silent" none and no count, "works" none since there is no machine. A name of fewer than four labels gives 6601 and
 * still a handle, as the real one does.
 */
#include <aapi/aapi.h>
#include <stdio.h>
#include <string.h>

#ifndef FAKE_INIT_STATUS
#define FAKE_INIT_STATUS 0
#endif

struct aapi_pgn_server_handle_s {
  const aapi_session_def_v1_t* session;
  int works;
  char kind[16]; /* the first label */
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

static uint32_t get_object_prop_byname(aapi_server_t* server, const char* path, aapi_object_info_v1_t* out) {
  (void)path;
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

static uint32_t discovery(aapi_server_t* server, const char* selections, const char* proxyclients,
                          const char* wkldoutdir, const char* outfilesuffix, const char* schedtype,
                          const char* snapid) {
  (void)selections, (void)proxyclients, (void)outfilesuffix, (void)schedtype, (void)snapid;
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
#ifdef FAKE_EMPTY_SLOT
  entries.slots[FAKE_EMPTY_SLOT - 1] = NULL;
#endif
  info->interface_version = version;
  info->entry_points = &entries.table;
  strcpy(info->version_string, "fake 1");
  return FAKE_INIT_STATUS;
}
