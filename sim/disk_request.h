// Requests that make disks and snapshots, and what the two kinds have in common.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/json_response.h"
#include "sim/scope.h"

namespace sim {

/// The api-versions that an Azure Stack knows of disks, snapshots and their operations.
inline const std::vector<std::string> disk_versions = {"2017-03-30", "2018-04-01", "2018-06-01",
                                                       "2018-09-30", "2019-03-01", "2019-07-01"};

/// Names of members count in either case; what a request lacks is empty.
struct DiskRequest {
  std::string location = {};
  std::string storage_type = {};
  std::string create_option = {};
  std::string source_id = {};
  std::string source_uri = {};
  std::string storage_account_id = {};
  std::int64_t size_gb = 0;  // 0: not told
  Tags tags = {};
};

/// The member of an object by its name in either case; null without one.
const Json* find_member(const Json& object, const std::string& name);

/// The body as a JSON object. Throws Refusal (400 InvalidRequestContent).
Json request_json(const Call& call);

/// Reads and checks the body of a PUT, and the name in its path. Throws Refusal (400) for a name or a location that
/// cannot be, a storage type or a size that is not offered, and members of the wrong kind.
DiskRequest disk_request(const Cloud& cloud, const GroupScope& scope, const Call& call);

/// Removes data that neither a disk nor a snapshot of the world refers to any more.
void remove_unused_data(Cloud& cloud, const std::string& container);

}  // namespace sim
