#include "src/discovery/scan_list.h"

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/config.h"
#include "src/model/vm_environment.h"

namespace azurestackpi {
namespace {

constexpr Status kNoSubscription = 6610;

// Parses one selection into its environment.
Status ReadSelection(const FunctionLog& log, const std::string& selection, vm_env_t& env) {
  if (const Status status = parseSRVSection(selection, env.m_subscription_id, env.m_resource_group, env.m_vm_name);
      status != kOk) {
    return status;
  }
  env.m_vm_state_filter = AzureStackPi_Config::getInstance().ConfValueOr("VM_STATE", "");
  log.flow("Done Parsing. subscription : %s , Resource Group : %s ,VM Name : %s , VM State : %s ",
           env.m_subscription_id.c_str(), env.m_resource_group.c_str(), env.m_vm_name.c_str(),
           env.m_vm_state_filter.c_str());
  log.detail("Filters vm_state %s . ", env.m_vm_state_filter.c_str());
  if (env.m_subscription_id.empty()) {
    log.error("A subscription must be provided. \n");
    return kNoSubscription;
  }
  if (env.m_resource_group.empty()) {
    env.m_vm_name.clear();
  }
  return kOk;
}

}  // namespace

Status create_azurestack_scanlist(ScanList& list, const aapi_pgn_server_handle_s& server,
                                  const std::string& selections) {
  const FunctionLog log(__func__);
  vm_env_t shared;
  if (const Status status = PrepareEnvironment(shared); status != kOk) {
    return status;
  }
  azs_rest_server_s rest;
  if (const Status status = InitRestServerHandle(&server, rest); status != kOk) {
    return status;
  }
  for (const std::string& selection : SplitText(selections, ' ')) {
    if (selection.empty()) {
      continue;
    }
    vm_env_t env = shared;
    if (const Status status = ReadSelection(log, selection, env); status != kOk) {
      return status;
    }
    auto machines = std::make_unique<azurestackRG>(rest, env);
    if (const Status status = machines->buildRGFromEnv(); status != kOk) {
      log.error("Error Building Resource Group Object for given selection.");
      return status;
    }
    list.push_front({env.m_subscription_id, std::move(machines)});
  }
  return kOk;
}

}  // namespace azurestackpi
