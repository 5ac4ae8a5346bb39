// A host that backs up the demonstration world through the entry table: machines as the simulator describes them, their
// disks in the blob service behind a proxy that makes faults.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sim/blob_accounts.h"
#include "sim/blob_client.h"
#include "src/base/status.h"
#include "storage/wire.h"
#include "tests/azurite/fault_proxy.h"
#include "tests/sim/azurite_world.h"
#include "tests/transport/open_server.h"

namespace backup_test {

using azurestackpi::Status;
using transport_test::Settings;
using Texts = std::vector<std::string>;

inline constexpr std::int64_t kMiB = 1 << 20;
inline constexpr std::int64_t kGiB = 1 << 30;

/// The demonstration world: web-01 with managed disks, the OS disk's ranges longer than a read-ahead and touching each
/// other, the data disk empty but for its footer; DB-01 with an unmanaged one.
sim::World SmallWorld();

/// The data of each range of a disk, by its offset.
using Ranges = std::map<std::uint64_t, std::string>;
/// Behind all that there are, in one range with the last when they touch.
void AddRange(Ranges& ranges, std::int64_t offset, const std::string& bytes);

/// A disk's stream: of a disk of that size that holds those ranges.
std::string MakeImage(std::uint64_t disk_size, const Ranges& ranges);

/// Constructed before the simulator, which finds the blob service behind it.
struct ProxyBase {
  azurite::FaultProxy proxy{azurite::port()};
};

class BackupTest : private ProxyBase, public transport_test::OpenServer {
 protected:
  BackupTest();
  /// Of a world like that of SmallWorld.
  explicit BackupTest(const sim::World& of);
  ~BackupTest() override;

  /// Forgets the lines, which hold no secret.
  void ClearLog();

  /// Opens the server anew with these settings. A backup session unless told.
  void Start(const Settings& settings);

  /// Discovers the first subscription; records then holds the machines' paths, those of directories included.
  Status Discover(const std::string& snapid);
  Texts RecordsWith(const std::string& text) const;
  std::string RecordWith(const std::string& text) const;

  /// get_snappath_from_realpath and get_object_prop_byname, as a host queries an object of a backup.
  Status Query(const std::string& path, const std::string& snapid);

  /// Opens the object, reads it in pieces of that size until nothing or a failure comes, and closes it; image then
  /// holds the bytes. Returns the first status that is not 0.
  Status ReadObject(const std::string& path, std::uint64_t piece);
  /// The same in its parts; null when it cannot be opened.
  aapi_object_t* OpenForReading(const std::string& path);
  Status ReadToEnd(aapi_object_t* object, std::uint64_t piece);

  /// Discovery, and the query of every object before a disk of the machine.
  void PrepareMachine(const std::string& machine, const std::string& snapid, const Settings& settings);

  /// What a disk's stream must be: by the world's description and nothing that the plug-in tells.
  static std::string ImageOf(const std::string& disk_name, const sim::DiskContent& content);
  std::string ImageOfDisk(const std::string& disk_name) const;

  /// Names of the snapshots of managed disks in the first subscription, sorted.
  Texts ManagedSnapshots();
  /// How many of them somebody has read access to.
  long Exported();
  /// A snapshot of web-01's OS disk by a name of the test's own.
  void MakeManagedSnapshot(const std::string& name);

  /// The ids that the snapshots of DB-01's disk carry, the oldest first.
  Texts BlobSnapshots();
  void MakeBlobSnapshot(const std::string& snapid, const std::string& snapkey);
  void OverwriteVhd(const std::string& bytes);

  /// A blob of that name in a container of its own, beside DB-01's disk. Only the container is made.
  sim::Blob NewContainer(const std::string& blob_name);

  /// The blob of DB-01's disk.
  sim::Blob Vhd() const;

  /// Of a blob, or a container, in the account of DB-01's disk.
  azurestoragewrapper::BlobClient ClientOf(const std::string& container, const std::string& name) const;

  using ProxyBase::proxy;
  const sim::World small_world;
  const std::string subscription;
  const std::string web = "/web-01/";
  const std::string db = "/DB-01/";
  sim::BlobClient blob_client{{"http", azurite::port()}, sim::blob_accounts(small_world)};
  Texts records;
  aapi_object_info_v1_t info{};
  std::string image;

 private:
  int discoveries_ = 0;
};

}  // namespace backup_test
