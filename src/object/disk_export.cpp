#include "src/object/disk_export.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "src/base/process_state.h"
#include "src/blob/disk_snapshots.h"
#include "src/blob/managed_disk_snapshots.h"

namespace azurestackpi {
namespace {

using Grants = std::vector<DiskGrant>;
ProcessValue<Grants> unused_exports("exports that no open disk uses");

constexpr long kConflict = 409;

bool IsRefusal(long http_status) { return http_status >= 400 && http_status < 500; }

// Those that match, which are remembered no longer.
template <typename Matches>
Grants TakeFromUnused(Matches matches) {
  Grants& unused = *unused_exports;
  const auto taken =
      std::stable_partition(unused.begin(), unused.end(), [&](const DiskGrant& grant) { return !matches(grant); });
  Grants found(std::make_move_iterator(taken), std::make_move_iterator(unused.end()));
  unused.erase(taken, unused.end());
  return found;
}

}  // namespace

std::string ManagedSnapshotName(const vm_managed_disk_t& disk, const std::string& backup_time) {
  return disk.m_vm_id + "_" + disk.m_disk_kind + "_" + disk.m_lun + "_" + backup_time + "_" + kSnapshotTag;
}

DiskExport::DiskExport(DiskGrant grant, bool may_be_active) : grant_(std::move(grant)), may_be_active_(may_be_active) {
  grant_.disk.m_extra2 = ManagedSnapshotName(grant_.disk, grant_.backup_time);
}

DiskExport::~DiskExport() {
  try {
    static_cast<void>(Revoke());
  } catch (...) {
    FunctionLog("RevokeExport").exception("Unknown exception");
  }
}

Status DiskExport::Begin(bool nobody_else) {
  const Status status = ExportManagedDiskSnapshot(grant_.server, grant_.backup_time.c_str(), kSnapshotTag, grant_.disk,
                                                  grant_.disk.m_extra1, &http_status_);
  // Without an answer, or when the operation behind it failed, the access may have been granted all the same.
  const bool own_conflict = nobody_else && http_status_ == kConflict;
  may_be_active_ = status != kInvalidArgument && (own_conflict || !IsRefusal(http_status_));
  return status;
}

void DiskExport::Keep() {
  may_be_active_ = false;
  // A snapshot has one access: what was remembered of an earlier one is over.
  static_cast<void>(TakeFromUnused([&](const DiskGrant& other) {
    return other.path == grant_.path && other.disk.m_extra2 == grant_.disk.m_extra2;
  }));
  unused_exports->push_back(std::move(grant_));
}

Status DiskExport::Revoke() { return may_be_active_ ? Cancel(FunctionLog("RevokeExport")) : static_cast<Status>(kOk); }

bool DiskExport::RevokeAtEnd() { return Revoke() == kOk || http_status_ != 0; }

Status DiskExport::Cancel(const FunctionLog& log) {
  const Status status = CancelExportManagedDiskSnapshot(grant_.server, grant_.backup_time.c_str(), kSnapshotTag,
                                                        grant_.disk, &http_status_);
  if (status != kOk) {
    log.error("Failed to cancel export snapshot %s for %s disk", grant_.disk.m_extra2.c_str(),
              grant_.disk.m_disk_id.c_str());
    grant_.disk.m_extra1.clear();  // remembered to be revoked, not to be read
    Keep();
    return status;
  }
  may_be_active_ = false;
  log.detail("Cancel export snapshot for %s disk is complete", grant_.disk.m_disk_id.c_str());
  return kOk;
}

Status DiskExport::DeleteSnapshot() {
  const FunctionLog log("azurestackpi_delete_managed_disk_snapshot");
  const char* const id = grant_.disk.m_disk_id.c_str();
  log.flow("Found managed disk %s for path %s", id, grant_.path.c_str());
  if (const Status status = Cancel(log); status != kOk) {
    return status;
  }
  const Status status = DeleteManagedDiskSnapshot(grant_.server, grant_.backup_time.c_str(), kSnapshotTag, grant_.disk);
  if (status != kOk) {
    log.error("Failed to delete snapshot %s for %s disk", grant_.disk.m_extra2.c_str(), id);
  } else {
    log.detail("Delete snapshot for %s disk is complete", id);
  }
  return status;
}

std::unique_ptr<DiskExport> TakeUnusedExport(const std::string& path, const std::string& snapshot_name) {
  Grants found = TakeFromUnused([&](const DiskGrant& grant) {
    return grant.path == path && grant.disk.m_extra2 == snapshot_name && !grant.disk.m_extra1.empty();
  });
  return found.empty() ? nullptr : std::make_unique<DiskExport>(std::move(found.front()), true);
}

void RevokeUnusedExports(const std::string& path) {
  for (DiskGrant& grant : TakeFromUnused([&](const DiskGrant& other) { return other.path == path; })) {
    const DiskExport revoked_here(std::move(grant), true);
  }
}

void RevokeAllUnusedExports() {
  Grants grants = TakeFromUnused([](const DiskGrant&) { return true; });
  for (std::size_t i = 0; i < grants.size(); ++i) {
    if (!DiskExport(std::move(grants[i]), true).RevokeAtEnd()) {
      FunctionLog(__func__).error("The service does not answer: exports of %zu more snapshots are not revoked",
                                  grants.size() - i - 1);
      break;
    }
  }
  unused_exports->clear();
}

}  // namespace azurestackpi
