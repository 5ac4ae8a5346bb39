// Disks and snapshots as the compute provider describes them.
#pragma once

#include "sim/cloud.h"
#include "sim/disk_request.h"
#include "sim/json_response.h"
#include "sim/scope.h"

namespace sim {

Json disk_json(const GroupScope& scope, const Named<ManagedDisk>::value_type& named);

Json snapshot_json(const GroupScope& scope, const Named<Snapshot>::value_type& named, std::int64_t now);

/// What a PUT answers at once: neither id nor name, and a member that nobody documents.
Json accepted_json(const DiskRequest& request, Json creation_data);

/// Whether read access to the snapshot is granted and has not run out.
bool has_access(const Snapshot& snapshot, std::int64_t now);

}  // namespace sim
