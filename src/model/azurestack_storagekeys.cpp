#include "src/model/azurestack_storagekeys.h"

#include <algorithm>
#include <utility>

#include "src/base/process_state.h"
#include "src/base/secrets.h"
#include "src/base/text.h"
#include "src/config/config.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

ProcessValue<std::unique_ptr<azurestack_storagekeys>> m_singleton("subscriptions and storage accounts");

constexpr const char* kStorageApiVersion = "2017-10-01";

int Count(std::size_t size) { return static_cast<int>(size); }

std::string WithoutPort(const std::string& host) { return host.substr(0, host.find(':')); }

// "https://ACCOUNT.blob.SUFFIX/" gives SUFFIX, its port included.
std::string SuffixOf(const std::string& blob_endpoint) {
  constexpr std::string_view mark = ".blob.";
  const std::size_t found = blob_endpoint.find(mark);
  if (found == std::string::npos) {
    return {};
  }
  const std::size_t begin = found + mark.size();
  return blob_endpoint.substr(begin, blob_endpoint.find('/', begin) - begin);
}

}  // namespace

Status azurestack_storagekeys::createInstance(const aapi_pgn_server_handle_s* server) {
  if (*m_singleton) {
    return kOk;
  }
  const FunctionLog log(__func__);
  log.flow("Creating new instance");
  azs_rest_server_s rest;
  if (const Status status = InitRestServerHandle(server, rest); status != kOk) {
    return status;
  }
  auto made =
      std::make_unique<azurestack_storagekeys>(rest, server->region_name + "." + WithoutPort(server->domain_name));
  if (const Status status = made->BuildSubList(); status != kOk) {
    log.error("Failed to generate subscription list");
    return status;
  }
  *m_singleton = std::move(made);
  return kOk;
}

azurestack_storagekeys* azurestack_storagekeys::getInstance() { return m_singleton->get(); }

void azurestack_storagekeys::destroyInstance() { m_singleton->reset(); }

// Subscriptions.

Status azurestack_storagekeys::BuildSubList() {
  const FunctionLog log(__func__);
  log.flow("Enter");
  const std::string subpath = "subscriptions?api-version=2018-05-01";
  log.detail("sub_url get all subscriptions :%s", subpath.c_str());
  Status status = MakeAPICall(subpath);
  if (status != kOk) {
    log.error("error failed to make http request :%d", static_cast<int>(status));
  } else {
    status = ParseAllSubscriptions();
    if (status != kOk) {
      log.error("error failed to parse response. rc :%d", static_cast<int>(status));
    } else {
      log.flow("Parsed All Subscriptions. Number of subscriptions : %d", Count(subscriptions_.size()));
    }
  }
  if (status == kOk && subscriptions_.empty()) {
    log.error("Failed to fetch any subscription ");
    status = kInvalidArgument;
  }
  log.flow("Leaving. rc = %d ", static_cast<int>(status));
  return status;
}

Status azurestack_storagekeys::ParseAllSubscriptions() {
  const FunctionLog log(__func__);
  return ReadList(log, response(), {"storage_account", "Subscriptions Accounts"}, [&](const json_t* subscription) {
    const std::string id = JsonStringOrEmpty(subscription, "id");
    if (addSubToMap(id) != kOk) {
      log.error("Failed to parse subscription %s", id.c_str());
    }
    return kOk;
  });
}

Status azurestack_storagekeys::addSubToMap(const std::string& id) {
  const FunctionLog log(__func__);
  constexpr std::string_view key = "/subscriptions/";
  const std::size_t found = id.find(key);
  if (found == std::string::npos) {
    log.error("can't find key %s in subscription id %s ", key.data(), id.c_str());
    return kInvalidArgument;
  }
  const std::string subscription = id.substr(found + key.size());
  if (!IsPathSegment(subscription)) {
    log.error("there is no subscription in subscription id %s ", id.c_str());
    return kInvalidArgument;
  }
  if (!check_subid_present(subscription)) {
    subscriptions_.push_back(subscription);
    log.detail("subscription %s added to subscription list", subscription.c_str());
  }
  return kOk;
}

bool azurestack_storagekeys::check_subid_present(const std::string& subscription) const {
  return std::any_of(subscriptions_.begin(), subscriptions_.end(),
                     [&](const std::string& known) { return EqualIgnoringCase(known, subscription); });
}

// Storage accounts.

Status azurestack_storagekeys::BuildFromEnv() {
  if (listed_.size() == subscriptions_.size()) {
    return kOk;
  }
  const FunctionLog log(__func__);
  log.flow("storage keys BFE Enter. ");
  log.flow("Fetching Storage Accounts Metadata from Azure Stack");
  const Status status = BuildStaMetadata();
  log.flow("Leaving BFE Size of azurestack_storage_meta_list: %d", Count(azurestack_storage_meta_list.size()));
  return status;
}

Status azurestack_storagekeys::BuildStaMetadata() {
  const FunctionLog log(__func__);
  log.flow("Enter");
  Status failure = kOk;
  for (const std::string& subscription : subscriptions_) {
    if (listed_.count(subscription) != 0) {
      continue;
    }
    const Status status = ListAccounts(subscription);
    if (status == kOk) {
      listed_.insert(subscription);
    } else {
      log.error("The storage accounts of subscription %s are not known: %d", subscription.c_str(),
                static_cast<int>(status));
      failure = status;
    }
    if (status == kNoToken) {
      break;
    }
  }
  log.flow("Parsed All Storage Accounts. Number of Storage Accounts : %d", Count(azurestack_storage_meta_list.size()));
  const Status status = listed_.empty() ? failure : kOk;
  log.flow("Leaving. rc = %d ", static_cast<int>(status));
  return status;
}

Status azurestack_storagekeys::ListAccounts(const std::string& subscription) {
  const FunctionLog log("BuildStaMetadata");
  if (!IsPathSegment(subscription)) {
    return kInvalidArgument;
  }
  const std::string subpath = "subscriptions/" + subscription +
                              "/providers/Microsoft.Storage/storageAccounts/?api-version=" + kStorageApiVersion;
  log.detail("sub_url get all storage accounts :%s", subpath.c_str());
  if (const Status status = MakeAPICall(subpath); status != kOk) {
    log.error("error failed to make http request :%d", static_cast<int>(status));
    return status;
  }
  const Status status = ParseAllStorageAccounts();
  if (status != kOk) {
    log.error("error failed to parse response. rc :%d", static_cast<int>(status));
  }
  return status;
}

Status azurestack_storagekeys::ParseAllStorageAccounts() {
  const FunctionLog log(__func__);
  return ReadList(log, response(), {"storage_account", "Storage Accounts"}, [&](const json_t* account) {
    const json_t* const endpoints = json_object_get(json_object_get(account, "properties"), "primaryEndpoints");
    const std::string id = JsonStringOrEmpty(account, "id");
    if (addToMap(id, JsonStringOrEmpty(endpoints, "blob")) != kOk) {
      log.error("Failed to parse storage account %s", id.c_str());
    }
    return kOk;
  });
}

Status azurestack_storagekeys::addToMap(const std::string& id, const std::string& blob_endpoint) {
  const FunctionLog log(__func__);
  storage_account_metadata_t account;
  const std::pair<std::string_view, std::string*> parts[] = {{"/subscriptions/", &account.m_subscription_id},
                                                             {"/resourcegroups/", &account.m_resource_group}};
  for (const auto& [key, value] : parts) {
    const std::size_t found = id.find(key);
    if (found == std::string::npos) {
      log.error("can't find key %s in storage account id %s ", key.data(), id.c_str());
      return kInvalidArgument;
    }
    const std::size_t begin = found + key.size();
    *value = id.substr(begin, id.find('/', begin) - begin);
  }
  const std::string name = id.substr(id.rfind('/') + 1);
  if (!IsPathSegment(name) || !IsPathSegment(account.m_subscription_id) || !IsPathSegment(account.m_resource_group)) {
    log.error("storage account id %s is not in expected format ", id.c_str());
    return kInvalidArgument;
  }
  account.m_endpoint_suffix = SuffixOf(blob_endpoint);
  log.detail("storage account name %s with rg %s and subscription %s added to the map ", name.c_str(),
             account.m_resource_group.c_str(), account.m_subscription_id.c_str());
  azurestack_storage_meta_list.emplace(name, std::move(account));
  return kOk;
}

const storage_account_metadata_t* azurestack_storagekeys::FindAccount(const std::string& account) {
  const auto find = [&]() -> const storage_account_metadata_t* {
    const auto found = std::find_if(azurestack_storage_meta_list.begin(), azurestack_storage_meta_list.end(),
                                    [&](const auto& entry) { return EqualIgnoringCase(entry.first, account); });
    return found == azurestack_storage_meta_list.end() ? nullptr : &found->second;
  };
  const storage_account_metadata_t* const known = find();
  if (known != nullptr) {
    return known;
  }
  static_cast<void>(BuildFromEnv());
  return find();
}

std::string azurestack_storagekeys::EndpointSuffix(const std::string& account) {
  const storage_account_metadata_t* const found = FindAccount(account);
  return found == nullptr || found->m_endpoint_suffix.empty() ? default_suffix_ : found->m_endpoint_suffix;
}

void azurestack_storagekeys::retrieve_subid_rg_for_sta(const std::string& account, std::string& subscription,
                                                       std::string& resource_group) {
  subscription.clear();
  resource_group.clear();
  static_cast<void>(FindAccount(account));
  for (const auto& [name, found] : azurestack_storage_meta_list) {
    if (name.find(account) != std::string::npos) {
      subscription = found.m_subscription_id;
      resource_group = found.m_resource_group;
    }
  }
}

bool azurestack_storagekeys::is_storageAccount_exists(const std::string& account, const std::string& subscription) {
  const FunctionLog log(__func__);
  const storage_account_metadata_t* const found = FindAccount(account);
  if (found == nullptr) {
    log.flow("Storage Account :%s is not present in Azurestack", account.c_str());
    return false;
  }
  const bool here = EqualIgnoringCase(found->m_subscription_id, subscription);
  log.flow("Storage Account :%s is %spresent in Subscription : %s", account.c_str(), here ? "" : "not ",
           subscription.c_str());
  return here;
}

bool azurestack_storagekeys::check_sta_and_subid_map(const std::string& account, const std::string& subscription) {
  const FunctionLog log(__func__);
  log.flow("Checking for availability of Storage Account specified for restore ");
  return is_storageAccount_exists(account, subscription);
}

void azurestack_storagekeys::getAllStorageAccountsForSubscription(const std::string& subscription,
                                                                  std::vector<std::string>& accounts) {
  const FunctionLog log(__func__);
  log.flow("List storage accounts for subscription :%s ", subscription.c_str());
  static_cast<void>(BuildFromEnv());
  int total = 0;
  for (const auto& [name, account] : azurestack_storage_meta_list) {
    if (EqualIgnoringCase(account.m_subscription_id, subscription)) {
      log.detail("Storage Account :%s ", name.c_str());
      accounts.push_back(name);
      ++total;
    }
  }
  log.detail("For subscription : %s Total Number of Storage Accounts are : %d  ", subscription.c_str(), total);
}

// Keys.

Status azurestack_storagekeys::getStorageKey(const std::string& account, std::string& key) {
  const FunctionLog log(__func__);
  key.clear();
  if (IsYes(AzureStackPi_Config::getInstance().ConfValueOr("FETCH_STORAGE_KEYS", "true"))) {
    log.flow("Fetching Storage Key for storage account %s from azure stack", account.c_str());
    return FetchStorageKeyFromAzure(account, key);
  }
  log.flow("Reading Storage Key for storage account %s from creds file", account.c_str());
  return ReadStorageKey(account, key);
}

Status azurestack_storagekeys::ReadStorageKey(const std::string& account, std::string& key) {
  const FunctionLog log("getStorageKey");
  const Status status = AzureStackPi_Config::getInstance().GetCredsVal(account, key);
  if (status != kOk) {
    log.error("Storage account access key not found. return status %d : %s for given Storage account %s",
              static_cast<int>(status), StatusText(status).c_str(), account.c_str());
    return status;
  }
  RememberSecret(SecretKind::kStorageKey, key);
  return kOk;
}

Status azurestack_storagekeys::FetchStorageKeyFromAzure(const std::string& account, std::string& key) {
  const FunctionLog log(__func__);
  log.flow("Fetching Storage Key for storage account %s from azure stack by post", account.c_str());
  const storage_account_metadata_t* const found = FindAccount(account);
  if (found == nullptr) {
    log.error("Failed to get storage account meta data for storage account %s ", account.c_str());
    return kParameterNotFound;
  }
  const std::string subpath = "subscriptions/" + found->m_subscription_id + "/resourceGroups/" +
                              found->m_resource_group + "/providers/Microsoft.Storage/storageAccounts/" + account +
                              "/listkeys?api-version=" + kStorageApiVersion;
  log.detail("sub_url get storage account key :%s", subpath.c_str());
  const _buffer_s body = "{}";
  Status status = MakeAPICall(subpath, kPost, &body);
  if (status != kOk) {
    log.error("error failed to make http request :%d", static_cast<int>(status));
    return status;
  }
  status = ParseStorageAccountKey(key);
  if (status != kOk) {
    log.error("Failed to fetch storage access key. Parsing failed. rc :%d.", static_cast<int>(status));
    return status;
  }
  RememberSecret(SecretKind::kStorageKey, key);
  log.flow("Parsed storage account key : %s ", kSecretMask.data());
  return kOk;
}

Status azurestack_storagekeys::ParseStorageAccountKey(std::string& key) {
  const FunctionLog log(__func__);
  JsonPtr root;
  const Status status = OpenAnswer(log, response(), "storage_account_list_keys", root, " for storage access keys");
  if (status != kOk) {
    return status;
  }
  const json_t* const keys = json_object_get(root.get(), "keys");
  log.detail("Total keys: %d", Count(json_array_size(keys)));
  for (std::size_t i = 0; i < json_array_size(keys) && key.empty(); ++i) {
    key = JsonStringOrEmpty(json_array_get(keys, i), "value");
  }
  // Other members are not logged: whatever stands in such an answer may be a key.
  return key.empty() ? kParameterNotFound : kOk;
}

}  // namespace azurestackpi
