#include "sim/cloud.h"

#include <algorithm>

#include "sim/form.h"

namespace sim {
namespace {

/// "host:port/path" of an address; empty for what has no scheme.
std::string_view without_scheme(std::string_view address) {
  const std::size_t scheme = address.find("://");
  return scheme == std::string_view::npos ? std::string_view() : address.substr(scheme + 3);
}

}  // namespace

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

const Named<StorageAccount>::value_type* account_at(const World& world, std::string_view address) {
  const std::string_view rest = without_scheme(address);
  const std::string_view host = rest.substr(0, std::min(rest.find(':'), rest.find('/')));
  const auto account = world.storage_accounts.find(host.substr(0, host.find('.')));
  if (account == world.storage_accounts.end()) return nullptr;
  return equal_ignoring_case(host, account->first + ".blob." + account->second.endpoint_suffix) ? &*account : nullptr;
}

std::optional<Blob> blob_at(const World& world, std::string_view address) {
  const auto* account = account_at(world, address);
  if (account == nullptr) return std::nullopt;
  const std::string_view rest = without_scheme(address);
  const std::size_t container = std::min(rest.find('/'), rest.size());
  const std::size_t name = rest.find('/', container + 1);
  if (name == std::string_view::npos || name + 1 == rest.size()) return std::nullopt;
  return Blob{account->first, percent_decoded(rest.substr(container + 1, name - container - 1)),
              percent_decoded(rest.substr(name + 1))};
}

}  // namespace sim
