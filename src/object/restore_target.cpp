#include "src/object/restore_target.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/config.h"
#include "src/model/azurestack_storagekeys.h"
#include "src/model/resource_calls.h"
#include "src/model/vm_records.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/resource_groups.h"
#include "src/object/restore_state.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kSubscription = 1;  // places between the slashes of a path
constexpr std::size_t kHost = 4;
constexpr std::size_t kDiskGroup = 5;

// A disk on its way back, and what is known of its machine.
struct Disk {
  const std::string& path;
  const std::vector<std::string> parts;  // of the path
  const std::string vm_path;
  const vm_details_t* const vm;  // null: no object of the machine came yet
  const std::string& server_name;
};

azurestack_storagekeys& Accounts() { return *azurestack_storagekeys::getInstance(); }

struct SubscriptionAdvice {
  const char* when_missing;
  const char* when_unknown;
};

Status CheckSubscription(const FunctionLog& log, const std::string& subscription, const SubscriptionAdvice& advice) {
  if (!subscription.empty() && Accounts().check_subid_present(subscription)) {
    return kOk;
  }
  log.error("Failed to find subscription ID =%s on Azure Stack. error=%d", subscription.c_str(),
            static_cast<int>(kConfigurationInvalid));
  log.error("%s", subscription.empty() ? advice.when_missing : advice.when_unknown);
  return kConfigurationInvalid;
}

Status KnowResourceGroups(const std::string& server_name, const std::string& subscription) {
  const Status status = azurestackpi_get_rg_from_subscription(server_name, subscription);
  return status == kOk ? status : static_cast<Status>(kConfigurationInvalid);
}

Status azurestackpi_validate_diskrg(const md_metadata& target) {
  const FunctionLog log(__func__);
  const std::string group = ToLower(target.getDiskRgName());
  if (HasResourceGroup(target.getSubId(), group)) {
    log.flow("Disk resource group name=%s specified  is present on azurestack", group.c_str());
    return kOk;
  }
  log.error("Failed to find disk resource group name=%s under subscription ID %s on Azure Stack. error=%d",
            group.c_str(), target.getSubId().c_str(), static_cast<int>(kConfigurationInvalid));
  log.error("%s", group.empty()
                      ? "Ensure that the disk resource group name is provided to restore"
                      : "Ensure that the disk resource group name provided is defined in the target subscription ");
  return kConfigurationInvalid;
}

// Into the subscription that the operator wants. A machine that comes back as it was but to another subscription takes
// its disks along into its own group: the disks' old groups are not there.
void Redirect(const FunctionLog& log, const vm_details_t& vm, md_metadata& target) {
  if (!vm.m_flag) {
    target.setSubId(vm.m_subscription_id);
    log.detail("managed disk subId: %s", target.getSubId().c_str());
    return;
  }
  log.flow("Keeping original configuration.");
  if (!EqualIgnoringCase(target.getSubId(), vm.m_subscription_id)) {
    log.flow("Subscription is changed. Updating Disk RG to be same as VM RG.");
    target.setDiskRgName(target.getVMRgName());
    log.detail("managed disk subId: %s RG: %s", target.getSubId().c_str(), target.getDiskRgName().c_str());
  }
}

// The first second from now that gives it a name of its own: long names are cut, and disks of one name may come into
// one resource group.
void ChooseUniqueName(md_metadata& target) {
  const auto taken = [&] {
    return std::ranges::any_of(md_metadata_map(), [&](const auto& other) {
      return EqualIgnoringCase(other.second.getUniqDiskName(), target.getUniqDiskName());
    });
  };
  for (std::int64_t seconds = platform::clock().now(); taken();) {
    target.setRestoreTime(++seconds);
  }
}

// What the disk's path tells, with the unique name that it got before, if it did.
Status ReadTarget(const FunctionLog& log, const Disk& disk, md_metadata& target) {
  const auto known = md_metadata_map().find(disk.path);
  if (known == md_metadata_map().end()) {
    target = md_metadata(disk.path);
    ChooseUniqueName(target);
  } else {
    target = known->second;
    target.setSubId(disk.parts[kSubscription]);
    target.setDiskRgName(disk.parts[kDiskGroup]);
  }
  if (!target.isValidPath()) {
    return kConfigurationInvalid;
  }
  // It becomes part of the addresses of a disk and of a blob.
  if (!IsPathSegment(target.getUniqDiskName()) || target.getDiskName().empty()) {
    log.error("Invalid path: %s", disk.path.c_str());
    return kConfigurationInvalid;
  }
  return kOk;
}

Status CheckPlace(const FunctionLog& log, const Disk& disk, md_metadata& target) {
  const std::string& subscription = target.getSubId();
  const SubscriptionAdvice advice{"Ensure that the subscription ID is provided to restore",
                                  "Ensure that the subscription ID provided is defined / configured in Azure Stack."};
  if (const Status status = CheckSubscription(log, subscription, advice); status != kOk) {
    return status;
  }
  log.flow(
      " Starting Validation of Staging Storage Account name under specified target subscription ID %s given as user "
      "input",
      subscription.c_str());
  std::string account;
  if (const Status status = azurestackpi_validate_and_set_sta(disk.vm_path, subscription, account); status != kOk) {
    return status;
  }
  target.setStagingStavalue(account);
  log.flow("Starting validation of disk resource group name under target subscription ID %s", subscription.c_str());
  const Status status = KnowResourceGroups(disk.server_name, subscription);
  return status == kOk ? azurestackpi_validate_diskrg(target) : status;
}

Status CheckManaged(const FunctionLog& log, const Disk& disk) {
  log.flow("Validating Storage account type given as user input ");
  md_metadata target;
  if (const Status status = ReadTarget(log, disk, target); status != kOk) {
    return status;
  }
  if (disk.vm != nullptr && !disk.vm->m_subscription_id.empty()) {
    Redirect(log, *disk.vm, target);
  }
  log.flow(" vmfullpath = %s ", disk.vm_path.c_str());
  if (const Status status = CheckPlace(log, disk, target); status != kOk) {
    return status;
  }
  const std::string id = target.getUniqDiskId();
  log.flow("managed disk Id: %s", id.c_str());
  md_metadata_map()[disk.path] = target;
  azurestackpi_add_vhd_to_recovery_list(disk.path, id);
  FindRestoredDisk(disk.path)->name = id;  // a second query may have another subscription
  return kOk;
}

Status CheckUnmanagedAccount(const FunctionLog& log, const std::string& account, const std::string& subscription) {
  if (!account.empty() && Accounts().check_sta_and_subid_map(account, subscription)) {
    log.flow("Found valid Storage Account %s specified for unmanaged disk in target subscription ID %s ",
             account.c_str(), subscription.c_str());
    return kOk;
  }
  log.error("Failed to find unmanaged disk Storage Account=%s in specified subscription ID=%s on Azure Stack. error=%d",
            account.c_str(), subscription.c_str(), static_cast<int>(kStorageAccountNotFound));
  log.error("%s", account.empty()
                      ? "Ensure that the Staging Storage Account is provided to restore "
                      : "Ensure that the Staging Storage Account provided is defined in the target subscription ");
  return kStorageAccountNotFound;
}

Status CheckUnmanaged(const FunctionLog& log, const Disk& disk) {
  log.flow("Starting Validations Storage Account of unmanaged disks");
  const std::string account = disk.parts[kHost].substr(0, disk.parts[kHost].find('.'));
  const bool redirected = disk.vm != nullptr && !disk.vm->m_flag;
  const std::string& subscription = redirected ? disk.vm->m_subscription_id : disk.parts[kSubscription];
  const SubscriptionAdvice advice{"Ensure that the subscription ID is provided to restore.",
                                  "Ensure that the subscription ID provided is defined in the target subscription "};
  Status status = CheckSubscription(log, subscription, advice);
  if (status == kOk) {
    status = KnowResourceGroups(disk.server_name, subscription);
  }
  return status == kOk ? CheckUnmanagedAccount(log, account, subscription) : status;
}

// The name as it is listed; empty when the subscription has no such account.
std::string ListedAccount(const std::string& wanted, const std::string& subscription) {
  std::vector<std::string> accounts;
  Accounts().getAllStorageAccountsForSubscription(subscription, accounts);
  const auto found =
      std::ranges::find_if(accounts, [&](const std::string& name) { return EqualIgnoringCase(name, wanted); });
  return found == accounts.end() ? std::string() : *found;
}

// Sets account to the first configured one that the subscription has.
Status FindConfiguredAccount(const FunctionLog& log, const std::string& subscription, std::string& account) {
  std::string configured;
  const bool given = AzureStackPi_Config::getInstance().GetConfVal("STAGING_STORAGE_ACCOUNTS", configured) == kOk;
  if (!given || IsEmptyString(configured)) {
    log.error(
        "Failed to find Staging Storage Account=%s defined in either rename file or azurestack.conf file, error=%d",
        given ? configured.c_str() : "", static_cast<int>(kStorageAccountNotFound));
    log.error("%s", given
                        ? "Ensure that the Staging Storage Account is provided in rename file or azurestack.conf file "
                        : "Ensure that the Staging Storage Account is provided in either rename file or "
                          "azurestack.conf file ");
    return kStorageAccountNotFound;
  }
  for (const std::string& word : SplitText(configured, ' ')) {
    account = word.empty() ? std::string() : ListedAccount(word, subscription);
    if (!account.empty()) {
      return kOk;
    }
  }
  log.error(
      "Failed to find Staging Storage Account=%s required for creating managed disk under subscription ID %s on Azure "
      "Stack, error=%d",
      configured.c_str(), subscription.c_str(), static_cast<int>(kStorageAccountNotFound));
  log.error("Ensure that the Staging Storage Account provided is defined in the subscription ");
  return kStorageAccountNotFound;
}

// Sets account to the operator's.
Status FindChosenAccount(const FunctionLog& log, const std::string& wanted, const std::string& subscription,
                         std::string& account) {
  log.flow("Staging Storage Account retrived from user is %s.", wanted.c_str());
  account = ListedAccount(wanted, subscription);
  if (!account.empty()) {
    return kOk;
  }
  log.error("Failed to find Staging Storage Account=%s under specified target subscription ID=%s, error=%d",
            wanted.c_str(), subscription.c_str(), static_cast<int>(kStorageAccountNotFound));
  log.error("Ensure that the Staging Storage Account provided is defined in the target subscription ");
  return kStorageAccountNotFound;
}

}  // namespace

Status ValidateRestoreTarget(const std::string& path, const aapi_pgn_server_handle_s& server) {
  const FunctionLog log(__func__);
  if (const Status status = azurestack_storagekeys::createInstance(&server); status != kOk) {
    return status;
  }
  std::string vm_path;
  azurestackpi_get_vmpath(path, vm_path);
  if (vm_path.empty()) {
    return kInvalidArgument;
  }
  if (const auto refusal = vm_validation_status().find(vm_path); refusal != vm_validation_status().end()) {
    return refusal->second;
  }
  std::vector<std::string> parts = SplitText(path, '/');
  parts.resize(std::max(parts.size(), kDiskGroup + 2));
  const auto entry = vm_details_recovery_map().find(vm_path);
  const vm_details_t* const vm = entry == vm_details_recovery_map().end() ? nullptr : &entry->second;
  const Disk disk{path, std::move(parts), vm_path, vm, server.server_name};
  accepted_targets().erase(path);
  const Status status = azurestackpi_is_mdpath(path) ? CheckManaged(log, disk) : CheckUnmanaged(log, disk);
  if (status == kOk) {
    accepted_targets().insert(path);
  } else {
    vm_validation_status()[vm_path] = status;
  }
  return status;
}

void azurestackpi_get_md_metadata(const std::string& path, md_metadata& target) {
  const FunctionLog log(__func__);
  log.detail("DEBUG get_md_metadata : pathname [%s]", path.c_str());
  const auto entry = md_metadata_map().find(path);
  if (entry != md_metadata_map().end()) {
    target = entry->second;
  }
}

Status azurestackpi_validate_and_set_sta(const std::string& vm_path, const std::string& subscription,
                                         std::string& account) {
  const FunctionLog log(__func__);
  StagingAccount& staging = vm_staging_sta_map()[vm_path];
  if (staging.validated) {
    account = staging.name;
    return kOk;
  }
  const Status status = staging.name.empty() ? FindConfiguredAccount(log, subscription, account)
                                             : FindChosenAccount(log, staging.name, subscription, account);
  if (status == kOk) {
    staging = {account, true};
    log.flow(
        "Staging Storage Account=%s required for creating managed disk is available in specified target subscription "
        "ID %s",
        account.c_str(), subscription.c_str());
  }
  return status;
}

}  // namespace azurestackpi
