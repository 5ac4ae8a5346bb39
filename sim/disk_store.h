// The data of disks and snapshots: page blobs in the blob server.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/blob_client.h"
#include "sim/disk_digest.h"
#include "sim/world.h"

namespace sim {

/// Each managed disk is one blob in a container of its own, whose name is random: several simulators can share a blob
/// server. A snapshot is a snapshot of that blob. Without a blob server (port 0) there are no data, but everything else
/// goes on: addresses are of the right form, with nothing behind them. Every member may throw BlobError.
class DiskStore {
 public:
  DiskStore(const BlobServer& server, const World& world);

  /// Removes the data of the managed disks that are left.
  ~DiskStore();
  DiskStore(const DiskStore&) = delete;
  DiskStore& operator=(const DiskStore&) = delete;

  /// Makes the blobs of all disks of the world and notes the containers of managed ones in it. VHDs that are there
  /// already stay as they are.
  void fill(World& world);

  /// The size of the disk in the VHD in bytes; 0 without a blob server. Throws std::invalid_argument when the blob is
  /// no fixed VHD.
  std::int64_t vhd_size(const Blob& vhd);

  /// A new disk with the data of the VHD; returns its container. Throws std::invalid_argument when the blob is no fixed
  /// VHD of at most `size_gb` GiB.
  std::string import(const Blob& vhd, std::int64_t size_gb);

  /// What the disk of a blob holds; see DiskDigest.
  DiskDigest digest(const Blob& vhd) { return digest_of(client_, vhd); }

  /// The blob that holds the data of a managed disk.
  static Blob data_blob(const std::string& container);

  /// The data as they are now; returns the name of the snapshot.
  std::string snapshot(const std::string& container);
  void remove_snapshot(const std::string& container, const std::string& snapshot);

  /// The disk's own data and every snapshot of them.
  void remove(const std::string& container);

  /// An address that reads the snapshot until the policy is withdrawn or has expired (seconds since the epoch, by the
  /// blob server's clock).
  std::string grant(const std::string& container, const std::string& snapshot, const ReadPolicy& policy);
  void withdraw(const std::string& container, const std::string& policy_id);

 private:
  bool there_is_a_server() const { return server_.port != 0; }
  void fill_blob(const Blob& blob, const std::string& disk_name, std::int64_t size_gb, const DiskContent& content);
  std::string new_container();
  void copy(const Blob& source, const Blob& destination, std::int64_t source_size, std::int64_t size);
  void set_policies(const std::string& container);

  const BlobServer server_;
  const Named<StorageAccount> accounts_;
  BlobClient client_;
  std::set<std::string> containers_;
  std::map<std::string, std::vector<ReadPolicy>> policies_;  // by container
  std::map<std::string, std::string> last_snapshots_;        // by container
};

}  // namespace sim
