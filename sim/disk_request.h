// Requests that make disks and snapshots, and what the two kinds have in common.
#pragma once

#include <cstdint>
#include <string>

#include "sim/scope.h"

namespace sim {

/// What a request lacks is empty.
struct DiskRequest {
  std::string location = {};
  std::string storage_type = "Standard_LRS";
  std::string create_option = {};
  std::string source_id = {};
  std::string source_uri = {};
  std::string storage_account_id = {};
  std::int64_t size_gb = 0;  // 0: not told
  Tags tags = {};
};

/// Reads and checks the body of a PUT, and the name in its path. Throws Refusal (400) for a name or a location that
/// cannot be, a storage type or a size that is not offered, and a body of another form.
DiskRequest disk_request(const Cloud& cloud, const GroupScope& scope, const Call& call);

/// Removes data that neither a disk nor a snapshot of the world refers to any more.
void remove_unused_data(Cloud& cloud, const std::string& container);

}  // namespace sim
