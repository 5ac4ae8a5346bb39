#include "bench/open_session.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

void DropLine(const char* /*tag*/, const char* /*message*/, std::uint32_t /*level*/) {}

std::filesystem::path MakeFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "azurestackpi-bench-XXXXXX").string();
  return mkdtemp(pattern.data()) == nullptr ? std::filesystem::path() : std::filesystem::path(pattern);
}

}  // namespace

OpenSession::OpenSession(const sim::Simulator& simulator, const sim::World& world, const std::string& more_settings,
                         std::uint32_t session_kind)
    : folder_(MakeFolder()), config_(folder_ / "azurestack.conf"), credentials_(folder_ / "credentials") {
  std::ofstream(config_) << "CA_FILE_PATH=" << simulator.ca_file().string()
                         << "\nAAD_LOGIN_ENDPOINT=" << simulator.aad_host() << "\n"
                         << more_settings;
  std::ofstream(credentials_) << "IdentityProvider=AAD\nTenantId=" << world.tenant_id
                              << "\nClientId=" << world.aad_clients[0].client_id
                              << "\nClientSecret=" << world.aad_clients[0].client_secret
                              << "\nAuthResource=" << world.audience << "\n";
  std::filesystem::permissions(credentials_, std::filesystem::perms::owner_read);
  definition_.log = DropLine;
  definition_.config_path = config_.c_str();
  definition_.credentials_path = credentials_.c_str();
  definition_.session_kind = session_kind;
  aapi_plugin_info_t info{};
  aapi_pgn_init(AAPI_INTERFACE_V2, nullptr, &info);
  table_ = info.entry_points;
  const aapi_credentials_v1_t none{};
  const std::string name = "azurestack:" + simulator.management_host();
  if (const std::uint32_t status = table_->open_server(&definition_, name.c_str(), &none, &server_); status != 0) {
    throw std::runtime_error("open_server: " + std::to_string(status));
  }
}

OpenSession::~OpenSession() {
  table_->close_server(server_);
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

}  // namespace bench
