// Entry points of servers: claim, open, close, properties.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "platform/bounded_text.h"
#include "platform/curl_wrapper.h"
#include "src/api/entry_frame.h"
#include "src/api/entry_points.h"
#include "src/base/server_handle.h"
#include "src/config/config.h"
#include "src/config/rest_server.h"
#include "src/model/azurestack_network.h"
#include "src/model/azurestack_storagekeys.h"
#include "src/object/disk_export.h"
#include "src/object/object_maps.h"
#include "src/object/open_object.h"
#include "src/object/restore_state.h"

using azurestackpi::AzureStackPi_Config;
using azurestackpi::EntryFrame;
using azurestackpi::FunctionLog;
using azurestackpi::RunEntryPoint;
using azurestackpi::Status;

namespace {

constexpr const char* kServerPrefix = "azurestack:";

// The text behind the first colon; null without one.
const char* NameBehindColon(const char* server_name) {
  const char* const colon = std::strchr(server_name, ':');
  return colon == nullptr ? nullptr : colon + 1;
}

void ReadyConfiguration(aapi_pgn_server_handle_s& server, const aapi_credentials_v1_t& credentials) {
  AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  config.SetSessionDef(server.session);
  config.SetServerDef(&server);
  config.ReadConf();
  const std::string text(credentials.text, strnlen(credentials.text, sizeof(credentials.text)));
  if (!text.empty()) {
    config.SetCreds(text.c_str());
  }
}

// What is known of one server's cloud, and the connections to it, must not serve another server.
void ForgetCloud() {
  azurestackpi::azurestack_storagekeys::destroyInstance();
  azurestackpi::azurestack_network::destroyInstance();
  azurestackpi::ClearObjectMaps();
  azurestackpi::ClearRestoreState();
  platform::drop_connections();
}

// Exports that no disk uses would otherwise last for a year. Whatever comes of it, the server goes.
void EndExports(const FunctionLog& log, const aapi_pgn_server_handle_s* closing) {
  static_cast<void>(azurestackpi::Guarded(log, [&](const FunctionLog&) {
    if (closing != nullptr) {
      azurestackpi::ReleaseObjectsOf(log, *closing);
    }
    azurestackpi::RevokeAllUnusedExports();
    return azurestackpi::kOk;
  }));
}

// Takes a server out of the configuration when it goes before it was handed out.
struct OpeningServerDeleter {
  void operator()(aapi_pgn_server_handle_s* server) const {
    AzureStackPi_Config::getInstance().SetServerDef(nullptr);
    delete server;
  }
};

Status OpenServer(const FunctionLog& log, const aapi_session_def_v1_t& session, const char* server_name,
                  const aapi_credentials_v1_t& credentials, aapi_server_t*& out) {
  const char* const name = NameBehindColon(server_name);
  if (name == nullptr) {
    log.error("Server name is not in expected format");
    return azurestackpi::kServerNameInvalid;
  }
  std::unique_ptr<aapi_pgn_server_handle_s, OpeningServerDeleter> server(new (std::nothrow) aapi_pgn_server_handle_s);
  if (!server) {
    log.error("failed to allocate memory for server handle");
    return azurestackpi::kOutOfMemory;
  }
  server->server_name = name;
  server->session = &session;
  server->session_kind = session.session_kind;
  const Status status = azurestackpi::parseAzureEndpoint(name, server->region_name, server->domain_name);
  if (status != azurestackpi::kOk) {
    log.error("Server name is not in expected format");
  }
  log.flow("parsed region name %s and domain name %s ", server->region_name.c_str(), server->domain_name.c_str());
  EndExports(log, nullptr);
  ForgetCloud();
  ReadyConfiguration(*server, credentials);
  if (server->session_kind == AAPI_SESSION_RESTORE) {
    azurestackpi::azurestack_network::createInstance(server.get());
  }
  out = server.release();
  return status;
}

// The host's property numbers, set and not interpreted here: bits 10, 20, ... 210 but for 150.
void init_server_prop_v1(aapi_server_info_v1_t& info) {
  constexpr std::uint32_t masks[] = {0x40100400, 0x10040100, 0x04010040, 0x01004010,
                                     0x00001004, 0x40100401, 0x00040100};
  static_assert(std::size(masks) == std::size(aapi_server_info_v1_t{}.properties));
  for (std::size_t i = 0; i < std::size(masks); ++i) {
    info.properties[i] |= masks[i];
  }
  std::fill(std::begin(info.limits), std::end(info.limits), 0);
  info.value = 4;
}

void FillServerInfo(aapi_server_info_v1_t& info, const char* server_name) {
  V_strlcpy(info.server_name, server_name, sizeof(info.server_name));
  info.reserved = 0;
  init_server_prop_v1(info);
}

}  // namespace

extern "C" {

std::uint32_t azurestackpi_claim_v1(const char* server_name) {
  if (server_name == nullptr) {
    return azurestackpi::kInvalidArgument;
  }
  const bool ours = std::strncmp(server_name, kServerPrefix, std::strlen(kServerPrefix)) == 0;
  return ours ? azurestackpi::kOk : azurestackpi::kInvalidObject;
}

std::uint32_t azurestackpi_terminate_v1() { return azurestackpi::kOk; }

std::uint32_t azurestackpi_open_server_v1(const aapi_session_def_v1_t* session, const char* server_name,
                                          const aapi_credentials_v1_t* credentials, aapi_server_t** out) {
  if (azurestackpi::AnyNull({session, server_name, credentials, out})) {
    return azurestackpi::kInvalidArgument;
  }
  *out = nullptr;
  // From here on every line goes to this session, the enter line already.
  azurestackpi::setGlobalSessionDef(session);
  return RunEntryPoint({__func__, "entering", EntryFrame::Leave::kDetail}, {}, [&](const FunctionLog& log) {
    return OpenServer(log, *session, server_name, *credentials, *out);
  });
}

std::uint32_t azurestackpi_close_server_v1(aapi_server_t* server) {
  return RunEntryPoint({__func__, "entering.", EntryFrame::Leave::kSilent}, {}, [&](const FunctionLog& log) {
    const std::unique_ptr<aapi_pgn_server_handle_s> owned(server);
    EndExports(log, server);
    AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
    if (server != nullptr && config.GetServerDef() == server) {
      config.SetServerDef(nullptr);
    }
    log.flow("deleting storage account metadata");
    ForgetCloud();
    log.flow("exiting.");
    return azurestackpi::kOk;
  });
}

std::uint32_t azurestackpi_get_server_prop_v1(aapi_server_t* server, aapi_server_info_v1_t* out) {
  return RunEntryPoint({__func__}, {server, out}, [&](const FunctionLog&) {
    FillServerInfo(*out, server->server_name.c_str());
    return azurestackpi::kOk;
  });
}

std::uint32_t azurestackpi_get_server_prop_byname_v1(const aapi_session_def_v1_t* session, const char* server_name,
                                                     void* /*reserved*/, aapi_server_info_v1_t* out) {
  return RunEntryPoint({__func__}, {session, server_name, out}, [&](const FunctionLog&) -> Status {
    const char* const name = NameBehindColon(server_name);
    if (name == nullptr) {
      return azurestackpi::kServerNameInvalid;
    }
    FillServerInfo(*out, name);
    return azurestackpi::kOk;
  });
}

}  // extern "C"
