// What an operator wants to be different in a restored machine: --set KEY=VALUE, --as NAME, --to SUBSCRIPTION[/GROUP].
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct RestoreChanges {
  std::map<std::string, std::string, std::less<>> settings;  // by key; --as is VmName
  std::string to;           // "/SUBSCRIPTION[/GROUP]": the place of the machines; empty: where they were
  bool disks_only = false;  // the disks are written, the machines are not made

  /// Null: the operator says nothing of that key.
  const std::string* find(std::string_view key) const;
  /// Whether the machines come back as they were, apart from their place and what the place brings along.
  bool keeps_configuration() const;
};

/// Whether the key is one of a disk's path (DiskRg, DiskType; StorageAccount, Container) and not of a metadata object,
/// and of which disks.
enum class KeyScope { machine, managed_disks, unmanaged_disks };
KeyScope scope_of(std::string_view key);

/// The options as they were given, each text possibly empty.
struct GivenChanges {
  std::vector<std::string> settings;  // "KEY=VALUE"
  std::string as;
  std::string to;
  bool disks_only = false;
};

/// Throws UsageError, its text saying what is allowed, for what is unknown, given twice, without effect beside the
/// others, or would not be one name in a path.
RestoreChanges read_changes(const GivenChanges& given);

}  // namespace host
