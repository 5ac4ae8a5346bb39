#include "src/recovery/attached_disks.h"

#include <algorithm>
#include <optional>
#include <set>

#include "src/base/logging.h"
#include "src/model/resource_calls.h"
#include "src/object/object_path.h"

namespace azurestackpi {
namespace {

struct SavedDisk {
  std::string path_end;  // of its object's path, from the slash on
  std::string name;      // of the disk or of its VHD
  std::int64_t lun = 0;
};

// A restored disk and where the machine had it: its number among the saved ones, their count when it had none of that
// name.
struct PlacedDisk {
  std::size_t place = 0;
  const RestoredDisk* disk = nullptr;
  std::optional<std::int64_t> lun = {};
};

void AddSaved(const DiskOwner& owner, const std::string& name, std::int64_t lun, std::vector<SavedDisk>& disks) {
  if (const vm_managed_disk_t* const managed = owner.managed()) {
    disks.push_back({"/" + managed->m_disk_resource_group + "/" + name, name, lun});
  } else if (const vm_unmanaged_disk_t* const unmanaged = owner.unmanaged()) {
    const std::size_t scheme_end = unmanaged->m_uri.find("//");
    disks.push_back({unmanaged->m_uri.substr(scheme_end == std::string::npos ? 0 : scheme_end + 1),
                     LastPathComponent(unmanaged->m_uri), lun});
  }
}

std::vector<SavedDisk> SavedDisks(const vm_storage_profile_t& storage) {
  std::vector<SavedDisk> disks;
  AddSaved(storage.m_os_disk.m_disk, storage.m_os_disk.m_name, 0, disks);
  for (const vm_data_disks_t& slot : storage.m_data_disks) {
    AddSaved(slot.m_disk, slot.m_name, slot.m_lun, disks);
  }
  return disks;
}

// The disk of that path, or else of that name: it may be restored to another group or account.
std::size_t PlaceOf(const std::string& path, const std::vector<SavedDisk>& saved) {
  auto found = std::ranges::find_if(saved, [&](const SavedDisk& disk) { return path.ends_with(disk.path_end); });
  if (found == saved.end()) {
    found = std::ranges::find(saved, LastPathComponent(path), &SavedDisk::name);
  }
  return static_cast<std::size_t>(found - saved.begin());
}

bool HasOsDisk(const FunctionLog& log, std::vector<PlacedDisk>& placed, std::size_t unknown) {
  if (std::ranges::find(placed, 0U, &PlacedDisk::place) != placed.end()) {
    return true;
  }
  const auto instead = std::ranges::find(placed, unknown, &PlacedDisk::place);
  if (instead == placed.end()) {
    return false;
  }
  instead->place = 0;
  log.error("No restored disk has the saved OS disk's name; %s is taken for it", instead->disk->path.c_str());
  return true;
}

void ChooseLuns(std::vector<PlacedDisk>& placed, const std::vector<SavedDisk>& saved) {
  std::set<std::int64_t> taken;
  for (auto disk = placed.begin() + 1; disk != placed.end(); ++disk) {
    if (disk->place < saved.size() && taken.insert(saved[disk->place].lun).second) {
      disk->lun = saved[disk->place].lun;
    }
  }
  std::int64_t lowest = 0;
  for (auto disk = placed.begin() + 1; disk != placed.end(); ++disk) {
    while (!disk->lun && !taken.insert(lowest).second) {
      ++lowest;
    }
    disk->lun = disk->lun.value_or(lowest);
  }
}

}  // namespace

Status OrderDisks(const vm_details_t& saved, const std::vector<RestoredDisk>& restored, bool managed,
                  std::vector<AttachedDisk>& disks) {
  const FunctionLog log(__func__);
  const std::vector<SavedDisk> saved_disks = SavedDisks(saved.m_storage_profile);
  std::vector<PlacedDisk> placed;
  placed.reserve(restored.size());
  for (const RestoredDisk& disk : restored) {
    placed.push_back({PlaceOf(WithoutEndSlash(disk.path), saved_disks), &disk});
  }
  if (!HasOsDisk(log, placed, saved_disks.size())) {
    log.error("None of the %zu restored disks of machine %s can be its OS disk", restored.size(), saved.m_name.c_str());
    return kOperationFailed;
  }
  std::ranges::stable_sort(placed, {}, &PlacedDisk::place);
  if (managed) {
    ChooseLuns(placed, saved_disks);
  }
  if (placed.size() < saved_disks.size()) {
    log.error("Machine %s had %zu disks, of which %zu were restored", saved.m_name.c_str(), saved_disks.size(),
              placed.size());
  }
  disks.clear();
  for (const PlacedDisk& disk : placed) {
    const auto index = static_cast<std::int64_t>(disks.size()) - 1;
    disks.push_back({disk.disk->name, disk.lun.value_or(index)});
  }
  disks.front().lun = 0;
  return kOk;
}

}  // namespace azurestackpi
