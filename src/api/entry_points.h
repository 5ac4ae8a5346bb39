// The entry points, listed once: declarations, both tables, the export list and the tests follow from this list.
#pragma once

#include <type_traits>

#include "aapi/aapi.h"

/// X(NAME) for every slot of the table, in slot order.
#define AZURESTACKPI_ENTRY_POINTS(X) \
  X(claim)                           \
  X(terminate)                       \
  X(open_server)                     \
  X(close_server)                    \
  X(get_server_prop)                 \
  X(get_server_prop_byname)          \
  X(open_object)                     \
  X(close_object)                    \
  X(create_object)                   \
  X(delete_object)                   \
  X(read_object)                     \
  X(read_object_meta)                \
  X(write_object)                    \
  X(write_object_meta)               \
  X(flush)                           \
  X(get_object_prop)                 \
  X(get_object_prop_byname)          \
  X(open_object_list)                \
  X(list_object)                     \
  X(close_object_list)               \
  X(allow_snapshot)                  \
  X(disallow_snapshot)               \
  X(create_snapshot)                 \
  X(delete_snapshot)                 \
  X(rename_snapshot)                 \
  X(get_snapshot_diff)               \
  X(get_realpath_from_snappath)      \
  X(get_snappath_from_realpath)      \
  X(discovery)                       \
  X(preprocess)                      \
  X(postprocess)                     \
  X(restore_preprocess)              \
  X(restore_postprocess)             \
  X(set_object_utimes)               \
  X(recovery_preprocess)             \
  X(recovery_postprocess)            \
  X(get_app_metadata)                \
  X(set_lastbackup_meta)

#define AZURESTACKPI_DECLARE(name) \
  AAPI_EXPORT std::remove_pointer_t<decltype(aapi_entry_points_t::name)> azurestackpi_##name##_v1;

extern "C" {
AZURESTACKPI_ENTRY_POINTS(AZURESTACKPI_DECLARE)
}

#undef AZURESTACKPI_DECLARE
