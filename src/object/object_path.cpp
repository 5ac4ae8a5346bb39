#include "src/object/object_path.h"

#include <algorithm>

namespace azurestackpi {
namespace {

constexpr std::size_t kVmPathSlashes = 3;

bool Contains(const std::string& path, const char* marker) { return path.rfind(marker) != std::string::npos; }

}  // namespace

std::size_t CountSlashes(const std::string& path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

bool azurestackpi_is_vmpath(const std::string& path) { return CountSlashes(path) == kVmPathSlashes; }
bool azurestackpi_is_metapath(const std::string& path) { return Contains(path, "/Metadata/"); }
bool azurestackpi_is_last_metafile(const std::string& path) { return Contains(path, "/Metadata/VmName="); }

}  // namespace azurestackpi
