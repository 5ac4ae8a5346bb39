// The grammar of object paths: what an object is, told by its path alone. No predicate fails or logs.
#pragma once

#include <string>

namespace azurestackpi {

/// How many "/" stand in the path, wherever they stand.
std::size_t CountSlashes(const std::string& path);

/// Exactly three slashes: "/SUBSCRIPTION/GROUP/VM".
bool azurestackpi_is_vmpath(const std::string& path);

/// "/Metadata/" stands in the path.
bool azurestackpi_is_metapath(const std::string& path);

/// "/Metadata/VmName=" stands in the path: the object that completes a machine's metadata at restore.
bool azurestackpi_is_last_metafile(const std::string& path);

}  // namespace azurestackpi
