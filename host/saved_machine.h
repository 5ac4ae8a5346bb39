// Is a manifest the record of one whole machine? It comes from outside, and what it names is about to be made.
#pragma once

#include <string>
#include <string_view>

#include "host/manifest.h"

namespace host {

/// The key and the value that a metadata object's path tells: ".../Metadata/KEY=VALUE".
struct Setting {
  std::string key;    // empty: the object tells no setting
  std::string value;  // may hold slashes
};

/// Of an object of the machine at that path.
Setting setting_of(std::string_view machine, std::string_view object);

/// Throws ManifestError, naming the machine and the object, unless the manifest is of machine and its objects can be of
/// no other: each lies in the machine's path, says something known, once, and stands where a backup puts it; the
/// configuration is of this machine; there is a disk, and each can be one.
void check_manifest(const Manifest& manifest, const std::string& machine);

/// The part of check_manifest that is about one disk.
void check_disk(const Manifest& manifest, const SavedDisk& disk);

}  // namespace host
