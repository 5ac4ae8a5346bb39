/*
 * The host interface of the Azure Stack plug-in: everything a host needs to load and drive
 * libazurestackpi.so. Plain C, no dependency; compiles as C11 and as C++20.
 *
 * A host loads the library, calls aapi_pgn_init and from then on works through the table of entry
 * points that call hands out. The layouts below are a binary contract for x86-64 Linux with natural
 * alignment; the assertions at the end hold every size and offset.
 *
 * Conventions
 *  - Every entry point returns a status: 0 for success, else a code (AAPI_E_* names the ones a host
 *    meets most). Results leave through pointers; no exception crosses the boundary.
 *  - Texts are UTF-8 and NUL-terminated. A text given to the plug-in is copied; a text in a record that
 *    the plug-in fills is cut to the field, always with its NUL.
 *  - Handles (server, object, list) belong to the host from the call that makes them to the call that
 *    closes them, and must not be used by two threads at once.
 */
#ifndef AAPI_AAPI_H
#define AAPI_AAPI_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Interface versions that aapi_pgn_init accepts; both give the same operations. */
#define AAPI_INTERFACE_V1 1u
#define AAPI_INTERFACE_V2 2u

/* session_kind of a session definition. */
#define AAPI_SESSION_DISCOVERY 1u
#define AAPI_SESSION_BACKUP 2u
#define AAPI_SESSION_RESTORE 4u

/* object_type of an object record. */
#define AAPI_OBJECT_DIRECTORY 3u
#define AAPI_OBJECT_FILE 4u

/* Levels of log lines. */
#define AAPI_LOG_DETAIL 1u
#define AAPI_LOG_FLOW 3u
#define AAPI_LOG_ERROR 4u
#define AAPI_LOG_EXCEPTION 5u

/* Statuses that a host is likely to tell apart. */
#define AAPI_OK 0u
#define AAPI_E_UNSUPPORTED 95u
#define AAPI_E_INVALID_ARGUMENT 6601u
#define AAPI_E_NO_MEMORY 6602u
#define AAPI_E_VERSION 6608u
#define AAPI_E_INVALID_OBJECT 6609u
#define AAPI_E_NO_MORE_ENTRIES 6613u
#define AAPI_E_OPERATION_FAILED 6614u
#define AAPI_E_INTERNAL 6622u
#define AAPI_E_SERVER_NAME 6626u

/* Opaque handles. The first 32-bit word of a server handle is the marker 0xa5f20000. */
typedef struct aapi_pgn_server_handle_s aapi_server_t;
typedef struct aapi_object_s aapi_object_t;
typedef struct aapi_object_list_s aapi_object_list_t;

/* Takes one log line: a fixed tag, the text and its level. Must not call back into the plug-in. */
typedef void (*aapi_log_fn)(const char* tag, const char* message, uint32_t level);

/* Called while the plug-in waits; a result other than 0 asks it to stop the request in hand. */
typedef uint32_t (*aapi_keepalive_fn)(const char* caller);

/* What a host says of its session. Owned by the host; stays valid until the library's last call. */
typedef struct aapi_session_def_v1_t {
  void* host_context;           /* the host's own; never touched by the plug-in */
  aapi_log_fn log;              /* may be null: nothing is logged */
  aapi_keepalive_fn keepalive;  /* may be null */
  const char* config_path;      /* key=value settings; null: none */
  const char* credentials_path; /* credentials store; null: none */
  uint32_t session_kind;        /* AAPI_SESSION_* */
  uint32_t reserved[5];         /* zero */
} aapi_session_def_v1_t;

/* User name ":" password, or an empty text. */
typedef struct aapi_credentials_v1_t {
  uint64_t reserved;
  char text[1024];
} aapi_credentials_v1_t;

typedef struct aapi_server_info_v1_t {
  char server_name[512];
  uint32_t reserved;      /* cleared */
  uint32_t properties[7]; /* property bits, OR-ed in: the host clears them before the call */
  uint64_t limits[3];     /* cleared */
  uint32_t value;
} aapi_server_info_v1_t;

typedef struct aapi_object_info_v1_t {
  uint32_t record_version; /* 2 */
  uint32_t object_type;    /* AAPI_OBJECT_* */
  uint64_t size;           /* bytes */
  uint64_t block_size;     /* bytes */
  uint64_t block_count;
  int64_t access_time; /* times in seconds since the epoch */
  int64_t modification_time;
  int64_t change_time;
  uint32_t mode; /* permission bits as in stat(2) */
  char owner[1024];
  char group[1024];
  uint32_t ids[2];
  uint32_t reserved[2];
  char server_name[512];
  char object_name[1024];
} aapi_object_info_v1_t;

typedef struct aapi_snapshot_v1_t {
  char name[512]; /* the snapshot id */
  int64_t time;   /* seconds since the epoch */
  uint64_t reserved;
} aapi_snapshot_v1_t;

/* The entry points, in the order of their slots. What each does stands beside its slot. */
typedef struct aapi_entry_points_t {
  /* Servers. claim: 0 when the name begins with "azurestack:", else 6609. */
  uint32_t (*claim)(const char* server_name);
  uint32_t (*terminate)(void);
  uint32_t (*open_server)(const aapi_session_def_v1_t* session, const char* server_name,
                          const aapi_credentials_v1_t* credentials, aapi_server_t** out);
  uint32_t (*close_server)(aapi_server_t* server);
  uint32_t (*get_server_prop)(aapi_server_t* server, aapi_server_info_v1_t* out);
  uint32_t (*get_server_prop_byname)(const aapi_session_def_v1_t* session, const char* server_name, void* reserved,
                                     aapi_server_info_v1_t* out);

  /* Objects: disks and metadata, by path. A buffer given to read_object holds length + 1 bytes. */
  uint32_t (*open_object)(aapi_server_t* server, const char* path, uint32_t flags, aapi_object_t** out);
  uint32_t (*close_object)(aapi_object_t* object);
  uint32_t (*create_object)(aapi_server_t* server, const char* path, const aapi_object_info_v1_t* info,
                            aapi_object_t** out); /* info may be null */
  uint32_t (*delete_object)(aapi_server_t* server, const char* path);
  uint32_t (*read_object)(aapi_object_t* object, void* buffer, uint64_t length, uint64_t offset, uint64_t* bytes_read);
  uint32_t (*read_object_meta)(aapi_object_t* object, void* buffer, uint64_t* length);
  uint32_t (*write_object)(aapi_object_t* object, const void* buffer, uint64_t length, uint64_t offset,
                           uint64_t* bytes_written);
  uint32_t (*write_object_meta)(aapi_object_t* object, const void* buffer, const uint64_t* length);
  uint32_t (*flush)(aapi_object_t* object);
  uint32_t (*get_object_prop)(aapi_object_t* object, aapi_object_info_v1_t* out);
  uint32_t (*get_object_prop_byname)(aapi_server_t* server, const char* path, aapi_object_info_v1_t* out);

  /* Listings. They show no entries: objects are reached through discovery and by name. */
  uint32_t (*open_object_list)(aapi_server_t* server, const char* path, uint32_t flags, aapi_object_list_t** out);
  uint32_t (*list_object)(aapi_object_list_t* list, aapi_object_info_v1_t* out);
  uint32_t (*close_object_list)(aapi_object_list_t* list);

  /* Snapshots of one disk. */
  uint32_t (*allow_snapshot)(aapi_server_t* server, const char* path);
  uint32_t (*disallow_snapshot)(aapi_server_t* server, const char* path);
  uint32_t (*create_snapshot)(aapi_server_t* server, const char* path, aapi_snapshot_v1_t* out);
  uint32_t (*delete_snapshot)(aapi_server_t* server, const char* path, const aapi_snapshot_v1_t* snapshot);
  uint32_t (*rename_snapshot)(aapi_server_t* server, const char* path, const char* from, const char* to);
  uint32_t (*get_snapshot_diff)(aapi_server_t* server, const char* path, const char* from, const char* to);
  uint32_t (*get_realpath_from_snappath)(aapi_server_t* server, const char* snapshot_name, const char* snapshot_path,
                                         char* out, uint64_t out_size);
  uint32_t (*get_snappath_from_realpath)(aapi_server_t* server, const char* snapshot_name, const char* real_path,
                                         char* out, uint64_t out_size);

  /* The hooks of backup, restore and recovery. */
  uint32_t (*discovery)(aapi_server_t* server, const char* selections, const char* proxyclients, const char* wkldoutdir,
                        const char* outfilesuffix, const char* schedtype, const char* snapid);
  uint32_t (*preprocess)(aapi_server_t* server, const char* selections);
  uint32_t (*postprocess)(aapi_server_t* server, const char* selections, const char* snapid);
  uint32_t (*restore_preprocess)(aapi_server_t* server);
  uint32_t (*restore_postprocess)(void);
  uint32_t (*set_object_utimes)(aapi_server_t* server, const char* path);
  uint32_t (*recovery_preprocess)(aapi_server_t* server);
  uint32_t (*recovery_postprocess)(aapi_server_t* server);
  uint32_t (*get_app_metadata)(aapi_server_t* server);
  uint32_t (*set_lastbackup_meta)(aapi_server_t* server);

  void (*unused[2])(void); /* null */
} aapi_entry_points_t;

typedef struct aapi_plugin_info_t {
  uint32_t interface_version;
  const aapi_entry_points_t* entry_points; /* lives as long as the library */
  char type_name[32];
  char description[32];
  uint32_t flag_a;
  uint32_t flag_b;
  uint32_t words[3];
  char version_string[32];
} aapi_plugin_info_t;

#if defined(__GNUC__)
#define AAPI_EXPORT __attribute__((visibility("default")))
#else
#define AAPI_EXPORT
#endif

/*
 * Fills info for interface version 1 or 2. Returns 0; 6601 for a null info; 6608 for another version,
 * the record untouched. reserved is not used and may be null. The only symbol a host has to look up.
 */
AAPI_EXPORT uint32_t aapi_pgn_init(uint32_t version, void* reserved, aapi_plugin_info_t* info);

#ifdef __cplusplus
}
#endif

#if defined(__x86_64__) && defined(__linux__)
#ifdef __cplusplus
#define AAPI_ASSERT(condition) static_assert(condition, #condition)
#else
#define AAPI_ASSERT(condition) _Static_assert(condition, #condition)
#endif
#define AAPI_SLOT (sizeof(void (*)(void)))
#define AAPI_AT(record, field, offset) AAPI_ASSERT(offsetof(record, field) == (offset))

AAPI_ASSERT(sizeof(aapi_session_def_v1_t) == 64);
AAPI_AT(aapi_session_def_v1_t, host_context, 0);
AAPI_AT(aapi_session_def_v1_t, log, 8);
AAPI_AT(aapi_session_def_v1_t, keepalive, 16);
AAPI_AT(aapi_session_def_v1_t, config_path, 24);
AAPI_AT(aapi_session_def_v1_t, credentials_path, 32);
AAPI_AT(aapi_session_def_v1_t, session_kind, 40);
AAPI_AT(aapi_session_def_v1_t, reserved, 44);

AAPI_ASSERT(sizeof(aapi_credentials_v1_t) == 1032);
AAPI_AT(aapi_credentials_v1_t, reserved, 0);
AAPI_AT(aapi_credentials_v1_t, text, 8);

AAPI_ASSERT(sizeof(aapi_server_info_v1_t) == 576);
AAPI_AT(aapi_server_info_v1_t, server_name, 0);
AAPI_AT(aapi_server_info_v1_t, reserved, 512);
AAPI_AT(aapi_server_info_v1_t, properties, 516);
AAPI_AT(aapi_server_info_v1_t, limits, 544);
AAPI_AT(aapi_server_info_v1_t, value, 568);

AAPI_ASSERT(sizeof(aapi_object_info_v1_t) == 3664);
AAPI_AT(aapi_object_info_v1_t, record_version, 0);
AAPI_AT(aapi_object_info_v1_t, object_type, 4);
AAPI_AT(aapi_object_info_v1_t, size, 8);
AAPI_AT(aapi_object_info_v1_t, block_size, 16);
AAPI_AT(aapi_object_info_v1_t, block_count, 24);
AAPI_AT(aapi_object_info_v1_t, access_time, 32);
AAPI_AT(aapi_object_info_v1_t, modification_time, 40);
AAPI_AT(aapi_object_info_v1_t, change_time, 48);
AAPI_AT(aapi_object_info_v1_t, mode, 56);
AAPI_AT(aapi_object_info_v1_t, owner, 60);
AAPI_AT(aapi_object_info_v1_t, group, 1084);
AAPI_AT(aapi_object_info_v1_t, ids, 2108);
AAPI_AT(aapi_object_info_v1_t, reserved, 2116);
AAPI_AT(aapi_object_info_v1_t, server_name, 2124);
AAPI_AT(aapi_object_info_v1_t, object_name, 2636);

AAPI_ASSERT(sizeof(aapi_snapshot_v1_t) == 528);
AAPI_AT(aapi_snapshot_v1_t, name, 0);
AAPI_AT(aapi_snapshot_v1_t, time, 512);
AAPI_AT(aapi_snapshot_v1_t, reserved, 520);

AAPI_ASSERT(sizeof(aapi_entry_points_t) == 40 * AAPI_SLOT);
AAPI_AT(aapi_entry_points_t, open_object, 6 * AAPI_SLOT);
AAPI_AT(aapi_entry_points_t, get_object_prop_byname, 16 * AAPI_SLOT);
AAPI_AT(aapi_entry_points_t, discovery, 28 * AAPI_SLOT);
AAPI_AT(aapi_entry_points_t, set_lastbackup_meta, 37 * AAPI_SLOT);

AAPI_ASSERT(sizeof(aapi_plugin_info_t) == 136);
AAPI_AT(aapi_plugin_info_t, interface_version, 0);
AAPI_AT(aapi_plugin_info_t, entry_points, 8);
AAPI_AT(aapi_plugin_info_t, type_name, 16);
AAPI_AT(aapi_plugin_info_t, description, 48);
AAPI_AT(aapi_plugin_info_t, flag_a, 80);
AAPI_AT(aapi_plugin_info_t, flag_b, 84);
AAPI_AT(aapi_plugin_info_t, words, 88);
AAPI_AT(aapi_plugin_info_t, version_string, 100);

#undef AAPI_AT
#undef AAPI_SLOT
#undef AAPI_ASSERT
#endif

#endif
