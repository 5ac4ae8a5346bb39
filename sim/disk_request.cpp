#include "sim/disk_request.h"

#include <algorithm>

#include "sim/request_body.h"

namespace sim {
namespace {

constexpr std::int64_t largest_disk_gb = 1023;
constexpr std::size_t longest_name = 80;

/// A size of 0 counts for none.
std::int64_t read_size(ObjectReader& properties) {
  const int size = properties.number("diskSizeGB", 0);
  if (size <= largest_disk_gb) return size;
  throw bad_parameter("The value '" + std::to_string(size) +
                      "' of parameter 'diskSizeGB' is out of range. It must be from 1 to " +
                      std::to_string(largest_disk_gb) + ".");
}

void read_creation_data(ObjectReader& creation, DiskRequest& request) {
  request.create_option = creation.text("createOption", "");
  request.source_id = creation.text("sourceResourceId", "");
  request.source_uri = creation.text("sourceUri", "");
  request.storage_account_id = creation.text("storageAccountId", "");
}

std::string read_storage_type(ObjectReader& sku) {
  sku.optional_text("tier");  // it follows from the name
  std::string type = sku.text("name", "Standard_LRS");
  for (const char* offered : {"Standard_LRS", "Premium_LRS"}) {
    if (equal_ignoring_case(type, offered)) return type;
  }
  throw bad_parameter("The value '" + type + "' of parameter 'sku.name' is not allowed.");
}

}  // namespace

DiskRequest disk_request(const Cloud& cloud, const GroupScope& scope, const Call& call) {
  check_name(call.path.at("name"), longest_name);
  DiskRequest request;
  read_body(call, [&](ObjectReader& body) {
    pass_over_identity(body);
    request.location = read_location(body, cloud, scope);
    body.section("sku", [&](ObjectReader& sku) { request.storage_type = read_storage_type(sku); });
    body.section("properties", [&](ObjectReader& properties) {
      request.size_gb = read_size(properties);
      properties.section("creationData", [&](ObjectReader& creation) { read_creation_data(creation, request); });
    });
    request.tags = body.tags("tags").value_or(Tags{});
  });
  return request;
}

void remove_unused_data(Cloud& cloud, const std::string& container) {
  const auto uses = [&container](const auto& named) { return named.second.container == container; };
  for (const Subscription& subscription : cloud.world.subscriptions) {
    for (const auto& [name, group] : subscription.resource_groups) {
      if (std::any_of(group.disks.begin(), group.disks.end(), uses)) return;
      if (std::any_of(group.snapshots.begin(), group.snapshots.end(), uses)) return;
    }
  }
  cloud.disks->remove(container);
}

}  // namespace sim
