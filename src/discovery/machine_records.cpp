#include "src/discovery/machine_records.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "src/model/azurevm.h"
#include "src/object/object_path.h"

namespace azurestackpi {
namespace {

constexpr std::string_view kScheme = "https://";

class RecordList {
 public:
  /// A log line that goes before the next record.
  void Note(std::string line) { notes_.push_back(std::move(line)); }

  void Add(std::string path) { records_.push_back({std::exchange(notes_, {}), std::move(path), false}); }

  void AddWithParents(std::string path, const std::string& note) {
    Note(note + path);
    records_.push_back({std::exchange(notes_, {}), std::move(path), true});
  }

  std::vector<MachineRecord> Take() { return std::move(records_); }

 private:
  std::vector<std::string> notes_;
  std::vector<MachineRecord> records_;
};

std::size_t DataDiskCount(const vm_storage_profile_t& storage) {
  const auto received = static_cast<std::size_t>(std::max(storage.m_data_disk_count, 0));
  return std::min(received, storage.m_data_disks.size());
}

// Any scheme is cut off by the length of the usual one: what stands there is not looked at.
std::string WithoutScheme(const std::string& uri) { return uri.substr(std::min(kScheme.size(), uri.size())); }

void AddDisk(RecordList& records, const std::string& machine, const DiskOwner& disk, const std::string& disk_name,
             std::int64_t gigabytes) {
  const auto add = [&](const std::string& path) {
    if (gigabytes > 0) {
      records.Note("Disk of " + std::to_string(gigabytes) + " GB: " + path);
    }
    records.AddWithParents(path, "\n\nwkldfileentry: ");
  };
  if (const vm_managed_disk_t* const managed = disk.managed()) {
    records.Note("\nManaged disk path (id): " + managed->m_disk_id);
    add(machine + "/ManagedDisks:" + managed->m_storage_account_type + "/" + managed->m_disk_resource_group + "/" +
        disk_name);
  } else if (const vm_unmanaged_disk_t* const unmanaged = disk.unmanaged()) {
    add(machine + "/" + WithoutScheme(unmanaged->m_uri));
  }
}

void AddDisks(RecordList& records, const std::string& machine, const vm_storage_profile_t& storage) {
  AddDisk(records, machine, storage.m_os_disk.m_disk, storage.m_os_disk.m_name, storage.m_os_disk.m_disk_size_gb);
  const std::size_t count = DataDiskCount(storage);
  records.Note("Number of data disks: " + std::to_string(count));
  for (std::size_t i = 0; i < count; ++i) {
    const vm_data_disks_t& slot = storage.m_data_disks[i];
    AddDisk(records, machine, slot.m_disk, slot.m_name, slot.m_disk_size_gb);
  }
}

std::string BootDiagnostics(const vm_details_t& vm) {
  std::string account = "Off";
  if (vm.m_boot_diagnostics_enabled) {
    // Resource Manager also writes it with the plain scheme, whose slashes would make further objects of the path.
    const std::string& uri = vm.m_boot_diagnostics_storage_uri;
    const bool plain = uri.rfind("http://", 0) == 0;
    azurestackpi_get_storage_account_from_url(plain ? uri.substr(7) : uri, account);
  }
  return account;
}

}  // namespace

std::string MachinePath(const std::string& subscription, const vm_details_t& vm) {
  return "/" + subscription + "/" + vm.m_resource_group + "/" + vm.m_name;
}

std::vector<const DiskOwner*> DisksOf(const vm_details_t& vm) {
  const vm_storage_profile_t& storage = vm.m_storage_profile;
  std::vector<const DiskOwner*> disks{&storage.m_os_disk.m_disk};
  for (std::size_t i = 0; i < DataDiskCount(storage); ++i) {
    disks.push_back(&storage.m_data_disks[i].m_disk);
  }
  return disks;
}

std::vector<MachineRecord> MakeMachineRecords(const std::string& subscription, const vm_details_t& vm) {
  RecordList records;
  const std::string machine = MachinePath(subscription, vm);
  records.Note(vm.m_is_managed ? "\nVM with Managed disk : 1" : "\nVM without Managed disk : 0");
  records.AddWithParents(machine + "/Metadata/UseManagedDisk=" + (vm.m_is_managed ? "Yes" : "No"),
                         "\n\nwkldfileentry: ");
  records.Add(machine + "/Metadata/SubId=" + subscription);
  // The operator names the staging account when restoring.
  records.Add(machine + "/Metadata/StagingStorageAccount=");
  AddDisks(records, machine, vm.m_storage_profile);
  records.AddWithParents(machine + "/Metadata/BootDiagnostics=" + BootDiagnostics(vm),
                         "\n\n Boot diagnostics  wkldfileentry: ");
  std::vector<std::string> metadata;
  azurevm::azurestackpi_get_metapaths(vm, metadata);
  for (std::string& path : metadata) {
    records.AddWithParents(std::move(path), "\n\nwkldfileentry: metapath : ");
  }
  return records.Take();
}

}  // namespace azurestackpi
