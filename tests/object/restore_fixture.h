// A host that gives objects back in restore sessions of the demonstration world.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/object/backup_fixture.h"

namespace backup_test {

/// Bytes that differ from place to place and are nowhere a page of zeros.
std::string Data(std::size_t size, unsigned seed = 1);

class RestoreTest : public BackupTest {
 protected:
  using BackupTest::BackupTest;

  /// Opens the server anew for a restore.
  void StartRestore(const Settings& settings = {});

  /// get_object_prop_byname.
  Status Ask(const std::string& path);

  /// Asks for the object, creates it, writes the bytes in pieces of that size and closes it. A failed write ends the
  /// writing. Returns the first failure of creation, writes and close; close may not succeed after another one.
  Status Restore(const std::string& path, const std::string& bytes, std::uint64_t piece = 8 * kMiB);

  /// An object of a backup and what it held.
  struct Object {
    std::string path;
    std::string bytes;
  };

  /// Backs a machine up and returns all its objects.
  std::vector<Object> BackUpMachine(const std::string& machine);

  /// Gives them back as a host does: the small ones, each key that is named with that value, the disks, the recovery.
  /// The first failure ends it.
  Status GiveBack(const std::vector<Object>& objects, const std::map<std::string, std::string>& values);

  /// As the simulator has it now, in a group of the first subscription; without an id when there is none.
  sim::Machine MachineNow(const std::string& group, const std::string& name) const;

  /// resource: "Compute/disks/NAME".
  void DeleteResource(const std::string& group, const std::string& resource, const std::string& api_version);

  /// Path of an unmanaged disk of DB-01 at that blob, and of a managed disk of web-01 of the test's own.
  std::string PathOf(const sim::Blob& blob) const;
  std::string ManagedPath(const std::string& disk) const;

  /// Names in a container of the account of DB-01's disk that begin so.
  Texts BlobNames(const std::string& container, const std::string& prefix = "");

  void RemoveBlob(const std::string& container, const std::string& name);

  /// The stream that a backup of the blob would be now.
  std::string ImageOfBlob(const sim::Blob& blob);

  /// Whether an error line holds the text.
  bool TellsError(const std::string& text) const { return log.contains(4, text); }

  const std::string account = Vhd().account;
  const std::string own_name = azurite::new_container_name();  // of disks that no other test has
};

}  // namespace backup_test
