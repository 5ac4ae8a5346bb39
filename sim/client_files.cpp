#include "sim/client_files.h"

#include <string>

#include "sim/private_file.h"

namespace sim {

void write_client_files(const std::filesystem::path& directory, const Simulator& simulator, const World& world) {
  std::filesystem::create_directories(directory);
  write_private_file(directory / "azurestack.conf",
                     "CA_FILE_PATH=" + std::filesystem::absolute(simulator.ca_file()).string() +
                         "\nAAD_LOGIN_ENDPOINT=" + simulator.aad_host() +
                         "\nVM_SNAPSHOT_IN_DISCOVERY=true\nASYNC_SNAPSHOT_SUPPORT=true\n");
  if (!world.aad_clients.empty()) {
    const AadClient& client = world.aad_clients.front();
    write_private_file(directory / "credentials",
                       "IdentityProvider=AAD\nTenantId=" + world.tenant_id + "\nClientId=" + client.client_id +
                           "\nClientSecret=" + client.client_secret + "\nAuthResource=" + world.audience + "\n");
  }
  if (!world.adfs_users.empty()) {
    const AdfsUser& user = world.adfs_users.front();
    write_private_file(directory / "credentials-adfs",
                       "IdentityProvider=ADFS\nClientId=" + user.client_id + "\nAuthResource=" + world.audience + "\n");
    write_private_file(directory / "adfs-password", user.user_name + ":" + user.password + "\n");
  }
}

}  // namespace sim
