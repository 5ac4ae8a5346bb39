#include "sim/cloud.h"

namespace sim {

Endpoints endpoints_of(const World& world, std::uint16_t port) {
  const std::string suffix = "." + world.region + "." + world.domain + ":" + std::to_string(port);
  return {"management" + suffix, "login" + suffix, "adfs" + suffix};
}

std::string blob_endpoint(const Cloud& cloud, const std::string& account) {
  const auto known = cloud.world.storage_accounts.find(account);
  const std::string suffix = known != cloud.world.storage_accounts.end()
                                 ? known->second.endpoint_suffix
                                 : cloud.world.region + "." + cloud.world.domain;
  std::string endpoint = "https://" + account + ".blob." + suffix;
  if (cloud.blob_port != 0) endpoint.append(":").append(std::to_string(cloud.blob_port));
  return endpoint + "/";
}

std::string blob_address(const Cloud& cloud, const Blob& blob) {
  return blob_endpoint(cloud, blob.account) + blob.container + "/" + blob.name;
}

}  // namespace sim
