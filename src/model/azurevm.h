// Virtual machines as Resource Manager describes them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "src/model/resource_calls.h"
#include "src/model/vm_reader.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// Reads machines, each with its network interface and the types of its managed disks, and keeps their records.
class azurevm {
 public:
  azurevm(const azs_rest_server_s& rest, vm_env_t env);
  ~azurevm();
  azurevm(const azurevm&) = delete;
  azurevm& operator=(const azurevm&) = delete;

  /// Reads the machine that the environment names.
  Status GetVmDetails();

  /// Reads a machine of the environment's resource group and adds its record. Without a record: 6601 when the power
  /// state is not the wanted one, a name or id is malformed or the answer is of another machine, 6789 for a machine
  /// that cannot be protected whole (more than four data disks, a disk that is neither a VHD nor a managed disk,
  /// managed disks whose snapshots cannot be told apart), 5 for bad JSON, 6011 without a token, or the status of the
  /// call. With a record: 0, or why the network interface could not be read.
  Status GetVmDetails(const std::string& vm_name);

  /// Reads a machine like GetVmDetails, for a selection: one that gets no record is told in a line that names its path
  /// and the reason, and does not fail the selection. Returns 0, or 6011 without a token.
  Status SelectVm(const std::string& vm_name);

  /// Reads all machines on the first page of the resource group's list with SelectVm. Returns 0 even if some were left
  /// out; 6601 when the environment names no group, 6011 without a token, or why the list could not be had.
  Status GetALLVMDetails();

  /// Records in the order read; owned here.
  const std::vector<std::unique_ptr<vm_details_t>>& vm_details() const { return m_vm_details; }

  /// Reads the table of machine sizes.
  Status GetOsDiskSizes();

  /// Largest OS disk in GB by name of the machine size; empty before GetOsDiskSizes.
  const std::map<std::string, std::uint64_t>& os_disk_sizes() const { return m_os_disk_sizes; }

  /// Reads network, subnet and security group of an interface into the machine's network profile.
  Status GetNetworkInterfaceDetails(const std::string& nic_id, vm_details_t& vm);

  /// Completes the storage account types of managed disks that the machine's description did not tell. Returns the last
  /// failure, 6797 for a disk without a type, or 0.
  Status GetDiskStorageAccoutType(vm_details_t& vm);

  /// The "resourceGroups" part of a resource id. Throws std::out_of_range for an id without it.
  static std::string GetVMResourceGroupFromId(const std::string& id) { return ResourceGroupFromId(id); }

  static std::string GetVMRegion(const vm_details_t& vm) { return vm.m_location; }

  /// Fills a machine's record from a saved document of resources. Returns 0, 5 when the text is no such document, or
  /// the status of a machine that cannot be read from it.
  static Status ParseResources(const std::string& text, vm_details_t& vm);

  /// Appends the paths of the machine's metadata objects.
  static void azurestackpi_get_metapaths(const vm_details_t& vm, std::vector<std::string>& paths);

 private:
  VmVerdict ReadVm(const std::string& vm_name);
  VmVerdict ParseVMResponse(const std::string& vm_name, vm_details_t& vm);
  bool IsTheMachine(const std::string& vm_name, const vm_details_t& vm) const;
  VmVerdict ApplyFilter(const vm_details_t& vm) const;
  Status ParseALLVMResponse();
  Status ParseVMSizesResponse();
  Status CompleteDiskType(vm_managed_disk_t* disk, const char* kind);
  Status getDiskStorageAccoutType(const std::string& disk_id, std::string& type);
  Status Get(const FunctionLog& log, const std::string& subpath);
  Status GetResource(const FunctionLog& log, const std::string& id, const std::string& api_version, const char* kind,
                     JsonPtr& root);
  std::string GroupSubpath() const;

  ResourceCalls calls_;
  vm_env_t env_;
  std::vector<std::unique_ptr<vm_details_t>> m_vm_details;
  std::map<std::string, std::uint64_t> m_os_disk_sizes;
};

}  // namespace azurestackpi
