// A machine made anew out of restored disks.
#pragma once

#include <string>
#include <vector>

#include "src/model/resource_calls.h"
#include "src/model/vm_records.h"
#include "src/recovery/attached_disks.h"

namespace azurestackpi {

/// Makes the machine that an environment describes: its network interface first, then the machine itself, then its
/// power state. Nothing is made when a resource group is missing or the machine is there already. What was made for a
/// machine that then could not be made stays, and a line names it.
class recreateVm {
 public:
  /// The environment's subscription, resource group and machine name are parts of addresses: IsPathSegment holds.
  recreateVm(const azs_rest_server_s& rest, vm_env_t env);

  /// Out of VHDs, the OS disk first; there is at least one. Returns 0; 6789 for a resource group, 6794 for the network
  /// interface, 6793 for the machine, or the status of updatePowerState; lines say why.
  Status recreate(const std::vector<AttachedDisk>& vhds);

  /// The same out of managed disks.
  Status recreateManaged(const std::vector<AttachedDisk>& managed_disks);

  /// Returns 0 when the subscription has the resource group; 6797 when it has not, or why the groups could not be
  /// listed. Names compare without letter case.
  Status ValidateRG(const std::string& resource_group, const std::string& subscription) const;

  /// Switches the machine off or deallocates it when the environment says so; a machine that is just made runs. Returns
  /// 0; 6614 with a line when the service refused.
  Status updatePowerState();

  /// Makes a path of the management endpoint the address of the next request. Returns 0 or 6601.
  Status CreateUrl(const std::string& subpath) { return calls_.CreateUrl(subpath); }

 private:
  enum class Kind { kUnmanaged, kManaged };  // of the disks: the bodies and the words of messages differ
  struct GroupCheck;

  Status Create(Kind kind, const std::vector<AttachedDisk>& disks);
  Status CheckGroups(const FunctionLog& log, Kind kind) const;
  Status CheckGroup(const FunctionLog& log, const GroupCheck& check) const;
  Status CheckVmIsNew(const FunctionLog& log, Kind kind);
  Status MakeNic(const FunctionLog& log, Kind kind, std::string& nic_id);
  Status PutVm(const FunctionLog& log, Kind kind, const std::string& body);
  Status RefuseVm(const FunctionLog& log, Kind kind) const;
  Status SetVmUrl(const FunctionLog& log, const std::string& action);
  Status SendPowerAction(const FunctionLog& log, const char* action);

  azs_rest_server_s rest_;
  vm_env_t env_;
  ResourceCalls calls_;
  std::string public_ip_id_;  // of the machine's interface; empty: it has none
};

}  // namespace azurestackpi
