#include "tests/api/c_host.h"

#include <string.h>

static unsigned lines_seen;

static void take_line(const char* tag, const char* message, uint32_t level) {
  if (strlen(tag) != 0 && strlen(message) != 0 && level >= AAPI_LOG_DETAIL && level <= AAPI_LOG_EXCEPTION) {
    ++lines_seen;
  }
}

static uint32_t stay(const char* caller) {
  (void)caller;
  return AAPI_OK;
}

/* Steps with an open server. */
static int use_server(const aapi_entry_points_t* table, aapi_server_t* server) {
  aapi_server_info_v1_t facts = {0};
  aapi_object_info_v1_t object = {0};
  aapi_snapshot_v1_t snapshot = {0};
  aapi_object_list_t* list = NULL;
  if (table->get_server_prop(server, &facts) != AAPI_OK || facts.value != 4) {
    return 3;
  }
  if (table->open_object_list(server, "/", 0, &list) != AAPI_OK) {
    return 4;
  }
  if (table->list_object(list, &object) != AAPI_E_NO_MORE_ENTRIES || table->close_object_list(list) != AAPI_OK) {
    return 5;
  }
  if (table->delete_snapshot(NULL, "/", &snapshot) != AAPI_E_INVALID_ARGUMENT) {
    return 6;
  }
  return 0;
}

int drive_as_c_host(const aapi_plugin_info_t* plugin, unsigned* log_lines) {
  const aapi_entry_points_t* const table = plugin->entry_points;
  /* Valid until the library's last call. */
  static const aapi_session_def_v1_t session = {
      .log = take_line, .keepalive = stay, .session_kind = AAPI_SESSION_DISCOVERY};
  const aapi_credentials_v1_t nobody = {0};
  aapi_server_t* server = NULL;
  int failed = 0;
  lines_seen = 0;
  if (table->claim("azurestack:management.r.d1.d2") != AAPI_OK) {
    return 1;
  }
  if (table->open_server(&session, "azurestack:management.r.d1.d2", &nobody, &server) != AAPI_OK) {
    return 2;
  }
  failed = use_server(table, server);
  if (table->close_server(server) != AAPI_OK || table->terminate() != AAPI_OK) {
    failed = 7;
  }
  *log_lines = lines_seen;
  return failed;
}
