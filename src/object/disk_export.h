// Read access to the snapshot of a managed disk, as the service grants it: once at a time, for a year, to whoever has
// the address. Every grant that this process asked for is an open disk's or remembered here, until it is revoked.
#pragma once

#include <memory>
#include <string>

#include "src/base/logging.h"
#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// The name of a managed disk's snapshot for a backup: "VM-ID_KIND_LUN_TIME_TAG".
std::string ManagedSnapshotName(const vm_managed_disk_t& disk, const std::string& backup_time);

/// What it takes to revoke an access again.
struct DiskGrant {
  const aapi_pgn_server_handle_s* server = nullptr;  // not owned; no grant is remembered over its close
  std::string path;                                  // the disk's object path
  std::string backup_time;
  vm_managed_disk_t disk;  // m_extra1: the address, which is a secret; m_extra2: the snapshot's name
};

/// Revokes the access when it is destroyed, unless it was kept. One that cannot be revoked is remembered.
class DiskExport {
 public:
  /// The snapshot's name in the grant is filled in here. may_be_active: false until Begin.
  DiskExport(DiskGrant grant, bool may_be_active);
  ~DiskExport();
  DiskExport(const DiskExport&) = delete;
  DiskExport& operator=(const DiskExport&) = delete;

  /// Asks for the access. Returns the status of ExportManagedDiskSnapshot. A refusal leaves nothing to revoke: another
  /// job may be reading the snapshot. nobody_else: none can, so that a conflict is with an earlier try of this request,
  /// whose answer the transport did not get or took for a failure that may pass.
  Status Begin(bool nobody_else);

  /// Leaves the access for an open of the disk to take. The last thing that is done with the object.
  void Keep();

  /// Returns 0, or why the access may be active still.
  Status Revoke();

  /// The same at a server's end. False when the service did not answer.
  bool RevokeAtEnd();

  /// Revokes any access to the snapshot and deletes it. Returns 0, or the first failure.
  Status DeleteSnapshot();

  const std::string& address() const { return grant_.disk.m_extra1; }
  const DiskGrant& grant() const { return grant_; }

 private:
  Status Cancel(const FunctionLog& log);

  DiskGrant grant_;
  bool may_be_active_;
  long http_status_ = 0;  // of the last request; 0: no answer
};

/// Takes the access that nobody uses to that snapshot of the disk at path; null when none is there to be used.
std::unique_ptr<DiskExport> TakeUnusedExport(const std::string& path, const std::string& snapshot_name);

/// Revokes the accesses that nobody uses to snapshots of the disk at path.
void RevokeUnusedExports(const std::string& path);

/// Revokes all accesses that nobody uses, for when their server goes, and forgets those that cannot be revoked. Ends at
/// the first that the service does not answer: a dead network must not hold a close for as long as there are disks.
void RevokeAllUnusedExports();

}  // namespace azurestackpi
