#include "src/recovery/recovery_target.h"

#include <algorithm>
#include <vector>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/config.h"
#include "src/model/azurestack_network.h"
#include "src/model/azurestack_storagekeys.h"
#include "src/model/resource_calls.h"
#include "src/model/vm_environment.h"
#include "src/object/object_path.h"
#include "src/recovery/create_nic.h"

namespace azurestackpi {
namespace {

constexpr const char* kDriver = "azurestackpi_recover_vm";  // whose lines these are

std::string FirstNonEmpty(const std::string& first, const std::string& second) {
  return first.empty() ? second : first;
}

std::string GroupOf(const std::string& id) {
  std::string subscription;
  std::string group;
  std::string type;
  std::string name;
  azurestack_network::parseResourceId(id, subscription, group, type, name);
  return group;
}

// A virtual network or a security group, as lines name it.
struct NetworkKind {
  const char* word;
  const char* changed;
  const char* title;
  const char* missing;  // with the blank that does or does not follow the sentence
  const char* blank;
};
constexpr NetworkKind kVnet{"vnet", "Vnet", "Vnet", "Virtual Network", " "};
constexpr NetworkKind kNsg{"nsg", "nsg", "Nsg", "Network Security Group", ""};

// Networks of a changed subscription.

// named: the one of the wanted name; others: what stands in for it, the target group's own first.
Status TakeFound(const FunctionLog& log, const NetworkKind& kind, const std::string& named,
                 const std::vector<std::string>& others, const vm_env_t& env, std::string& name, std::string& id) {
  if (named.empty() && others.empty()) {
    log.error("Failed to find %s found in target subscription.%serror=%d", kind.missing, kind.blank,
              static_cast<int>(kResourceNotFound));
    return kResourceNotFound;
  }
  const std::string found = named.empty() ? others.front() : named;
  const bool in_group = EqualIgnoringCase(GroupOf(found), env.m_resource_group);
  log.flow("Found %s=[%s] in target Subscription%s.", kind.word, found.c_str(), in_group ? " & RG" : "");
  if (named.empty()) {
    log.error("%s \"%s\" is not known in the target subscription; %s takes its place", kind.missing, name.c_str(),
              found.c_str());
  }
  id = found;
  name = LastPathComponent(found);
  return kOk;
}

// The wanted subnet if the network has it, else the network's own choice.
Status FindSubnet(const FunctionLog& log, azurestack_network& networks, vm_network_profile_t& network) {
  std::string chosen;
  if (networks.getSubnet(network.m_vnet_id, chosen) != kOk) {
    log.error("Failed to find subnet in VNET [%s].error=%d", network.m_vnet_id.c_str(),
              static_cast<int>(kResourceNotFound));
    return kResourceNotFound;
  }
  if (!networks.hasSubnet(network.m_vnet_id, network.m_subnet)) {
    if (!network.m_subnet.empty()) {
      log.error("Subnet \"%s\" is not known in %s; \"%s\" takes its place", network.m_subnet.c_str(),
                network.m_vnet_id.c_str(), chosen.c_str());
    }
    network.m_subnet = chosen;
  }
  return kOk;
}

Status FindVnet(const FunctionLog& log, azurestack_network& networks, const vm_env_t& env,
                vm_network_profile_t& network) {
  std::vector<std::string> ids;
  static_cast<void>(networks.listVnets(env.m_subscription_id, env.m_resource_group, ids));
  static_cast<void>(networks.listVnets(env.m_subscription_id, ids));
  const NetworkName wanted = SplitNetworkName(network.m_vnet_name);
  network.m_vnet_name = wanted.network;
  network.m_subnet = network.m_subnet.empty() ? wanted.subnet : network.m_subnet;
  const std::string named = networks.findVnet(env.m_subscription_id, env.m_resource_group, network.m_vnet_name);
  const Status status = TakeFound(log, kVnet, named, ids, env, network.m_vnet_name, network.m_vnet_id);
  return status == kOk ? FindSubnet(log, networks, network) : status;
}

Status FindNsg(const FunctionLog& log, azurestack_network& networks, const vm_env_t& env,
               vm_network_profile_t& network) {
  if (network.m_nsg_name.empty()) {
    return kOk;
  }
  std::vector<std::string> ids;
  static_cast<void>(networks.listNsgs(env.m_subscription_id, env.m_resource_group, ids));
  static_cast<void>(networks.listNsgs(env.m_subscription_id, ids));
  const std::string named = networks.findNsg(env.m_subscription_id, env.m_resource_group, network.m_nsg_name);
  return TakeFound(log, kNsg, named, ids, env, network.m_nsg_name, network.m_nsg_id);
}

Status FindNetworks(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const vm_env_t& env,
                    vm_network_profile_t& network) {
  log.detail("Subscription changed.");
  if (network.m_vnet_name.empty()) {
    log.error("Changing Target Subscription needs additional configuration to be specified during restore.");
    return kOperationFailed;
  }
  if (const Status status = azurestack_network::createInstance(&server); status != kOk) {
    return status;
  }
  azurestack_network& networks = *azurestack_network::getInstance();
  const Status status = FindVnet(log, networks, env, network);
  return status == kOk ? FindNsg(log, networks, env, network) : status;
}

Status CheckNames(const FunctionLog& log, const vm_env_t& env) {
  for (const std::string* const name : {&env.m_subscription_id, &env.m_resource_group, &env.m_vm_name}) {
    if (!IsPathSegment(*name)) {
      log.error("\"%s\" cannot be a subscription, resource group or machine", name->c_str());
      return kOperationFailed;
    }
  }
  return kOk;
}

// Resource groups of the networks.

std::string NetworkGroup(const FunctionLog& log, const NetworkKind& kind, const std::string& id,
                         const std::string& name, const std::string& vm_group) {
  std::string group = GroupOf(id);
  if (group.empty()) {
    log.detail("DEBUG RG not foun for %s, RG of the VM", kind.changed);
    return vm_group;
  }
  if (!EqualIgnoringCase(LastPathComponent(id), name)) {
    log.detail("DEBUG %s is changed, using RG of the VM", kind.changed);
    return vm_group;
  }
  log.detail("DEBUG using RG from original %s id", kind.word);
  log.detail("DEBUG found RG//%s", kind.title);
  return group;
}

void ChooseNetworkGroups(const FunctionLog& log, const vm_network_profile_t& network, vm_env_t& env) {
  env.m_vnet_name = network.m_vnet_name;
  env.m_subnet = network.m_subnet;
  env.m_nsg_name = network.m_nsg_name;
  env.m_vnet_resource_group =
      NetworkGroup(log, kVnet, network.m_vnet_id, SplitNetworkName(network.m_vnet_name).network, env.m_resource_group);
  log.detail("DEBUG : vnet_rg=%s vnet=%s", env.m_vnet_resource_group.c_str(), env.m_vnet_name.c_str());
  env.m_nsg_resource_group = NetworkGroup(log, kNsg, network.m_nsg_id, network.m_nsg_name, env.m_resource_group);
  log.detail("DEBUG : nsg_rg=%s nsg=%s", env.m_nsg_resource_group.c_str(), env.m_nsg_name.c_str());
}

// Boot diagnostics.

// The account of a blob address, or of a name that stands alone.
std::string AccountOf(const std::string& storage) {
  constexpr std::string_view plain_scheme = "http://";
  std::string account;
  azurestackpi_get_storage_account_from_url(
      storage.starts_with(plain_scheme) ? storage.substr(plain_scheme.size()) : storage, account);
  return account;
}

// Null when the subscription has no such account, or none can be listed.
azurestack_storagekeys* AccountsWith(const aapi_pgn_server_handle_s& server, const std::string& account,
                                     const std::string& subscription) {
  if (account.empty() || azurestack_storagekeys::createInstance(&server) != kOk) {
    return nullptr;
  }
  azurestack_storagekeys* const accounts = azurestack_storagekeys::getInstance();
  return accounts->is_storageAccount_exists(account, subscription) ? accounts : nullptr;
}

void UseOriginalDiagnostics(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const vm_details_t& saved,
                            vm_env_t& env) {
  log.flow("Using Original Boot diagnostics settings ");
  const std::string& storage = saved.m_boot_diagnostics_storage_uri;
  if (AccountsWith(server, AccountOf(storage), env.m_subscription_id) == nullptr) {
    log.error("Original Boot diagnostics uri is not present. Disabling Boot diagnostics");
    return;
  }
  env.m_boot_diagnostics_enabled = true;
  env.m_boot_diagnostics_storage_uri = storage;
}

void UseNamedDiagnostics(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const vm_details_t& entry,
                         vm_env_t& env) {
  const std::string account = AccountOf(entry.m_boot_diagnostics_storage_uri);
  log.flow("Boot diagnostics is enabled with storage_account :%s at recovery ", account.c_str());
  azurestack_storagekeys* const accounts = AccountsWith(server, account, env.m_subscription_id);
  if (accounts == nullptr) {
    log.error("Boot diagnostics uri is not present. Disabling Boot diagnostics");
    return;
  }
  env.m_boot_diagnostics_enabled = true;
  env.m_boot_diagnostics_storage_uri = "https://" + account + ".blob." + accounts->EndpointSuffix(account) + "/";
}

void ChooseDiagnostics(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const vm_details_t& saved,
                       const vm_details_t& entry, vm_env_t& env) {
  env.m_boot_diagnostics_enabled = false;
  env.m_boot_diagnostics_storage_uri.clear();
  const bool keep = entry.m_flag;
  if (!(keep ? saved : entry).m_boot_diagnostics_enabled) {
    log.flow("Boot diagnostics disabled at recovery");
  } else if (keep) {
    UseOriginalDiagnostics(log, server, saved, env);
  } else {
    UseNamedDiagnostics(log, server, entry, env);
  }
  log.detail("DEBUG : diag_enabled=%d diag_storage_uri=%s", env.m_boot_diagnostics_enabled ? 1 : 0,
             env.m_boot_diagnostics_storage_uri.c_str());
}

Status ReadEnvironment(vm_env_t& env) {
  std::string provider;
  if (const Status status = AzureStackPi_Config::getInstance().GetCredsVal("IdentityProvider", provider);
      status != kOk) {
    return status;
  }
  // What else is missing, the login tells.
  static_cast<void>(PrepareEnvironment(env));
  return kOk;
}

}  // namespace

Status ChooseTarget(const aapi_pgn_server_handle_s& server, const std::string& vm_path, const vm_details_t& saved,
                    vm_details_t& entry, vm_env_t& env) {
  const FunctionLog log(kDriver);
  const bool keep = entry.m_flag;
  std::string subscription;
  std::string group;
  std::string name;
  if (parseSRVSection(vm_path, subscription, group, name) != kOk) {
    return kOperationFailed;
  }
  env.m_subscription_id = keep ? subscription : FirstNonEmpty(entry.m_subscription_id, subscription);
  env.m_resource_group = keep ? group : FirstNonEmpty(entry.m_resource_group, group);
  env.m_vm_name = keep ? name : entry.m_name;
  if (env.m_vm_name.empty()) {
    log.error("VMName is required for recovery.");
    return kOperationFailed;
  }
  if (const Status status = CheckNames(log, env); status != kOk) {
    return status;
  }
  if (!keep) {
    return kOk;
  }
  log.flow("Retain Original configuration.");
  std::string original;
  getNextPathToken(saved.m_id, "/subscriptions/", original);
  return EqualIgnoringCase(original, subscription) ? static_cast<Status>(kOk)
                                                   : FindNetworks(log, server, env, entry.m_network_profile);
}

Status DescribeMachine(const aapi_pgn_server_handle_s& server, const vm_details_t& saved, const vm_details_t& entry,
                       vm_env_t& env) {
  const FunctionLog log(kDriver);
  if (const Status status = ReadEnvironment(env); status != kOk) {
    log.error("The identity provider of %s cannot be read: %d", server.server_name.c_str(), static_cast<int>(status));
    return status;
  }
  const bool keep = entry.m_flag;
  env.m_vm_size = keep ? saved.m_vm_size : FirstNonEmpty(entry.m_vm_size, saved.m_vm_size);
  log.detail("DEBUG: vm_size %s", env.m_vm_size.c_str());
  env.m_location = FirstNonEmpty(saved.m_location, server.region_name);
  env.m_os_type = saved.m_storage_profile.m_os_disk.m_os_type;
  env.m_power_state = entry.m_power_state;
  ChooseNetworkGroups(log, entry.m_network_profile, env);
  ChooseDiagnostics(log, server, saved, entry, env);
  env.m_tags = saved.m_tags;
  log.detail("DEBUG: tags %s", env.m_tags.c_str());
  log.flow("use_orig_config is %s", keep ? "true" : "false");
  const std::string seconds = std::to_string(platform::clock().now());
  env.m_nic_name = env.m_vm_name + "-nic-" + seconds;
  env.m_public_ip_name = env.m_vm_name + "-pip-" + seconds;
  return kOk;
}

}  // namespace azurestackpi
