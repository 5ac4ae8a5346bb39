// What the plug-in knows of one open server: one Azure Stack region's management endpoint.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "aapi/aapi.h"

inline constexpr std::uint32_t kServerHandleMarker = 0xa5f20000;

/// Made by open_server, owned by the host until close_server. Hosts may look at the marker and at nothing else.
struct aapi_pgn_server_handle_s {
  std::uint32_t marker = kServerHandleMarker;
  std::string server_name;                         // without "azurestack:"; may end in ":port"
  const aapi_session_def_v1_t* session = nullptr;  // the host's, not owned
  std::uint32_t session_kind = 0;                  // AAPI_SESSION_*
  std::string snapshot_name;                       // the name last given to get_snappath_from_realpath
  std::string region_name;
  std::string domain_name;
};

static_assert(offsetof(aapi_pgn_server_handle_s, marker) == 0);
