// What the credentials can see: the subscriptions, and the storage accounts in them with their keys.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "src/base/server_handle.h"
#include "src/model/azurestack_resource.h"

namespace azurestackpi {

/// Where a storage account is.
struct storage_account_metadata_t {
  std::string m_resource_group;
  std::string m_subscription_id;
  std::string m_endpoint_suffix;  // of its blob address, without "ACCOUNT.blob."; empty when none is listed
};

/// One per process, for the server that made it, until destroyInstance. Storage accounts are listed at the first
/// question that needs them; a subscription that cannot be listed is passed over and asked again at a later question.
/// Subscriptions and accounts compare without letter case.
class azurestack_storagekeys final : public azurestack_resource {
 public:
  /// Makes the instance and lists the subscriptions; an existing one is kept as it is. Returns 0, or why the list could
  /// not be had (no instance is kept then): 6601 when no subscription is visible.
  static Status createInstance(const aapi_pgn_server_handle_s* server);

  /// Null when there is none.
  static azurestack_storagekeys* getInstance();

  static void destroyInstance();

  azurestack_storagekeys(const azs_rest_server_s& rest, std::string default_suffix)
      : azurestack_resource(rest), default_suffix_(std::move(default_suffix)) {}

  /// Subscription ids, in the order received.
  const std::vector<std::string>& subscriptions() const { return subscriptions_; }

  bool check_subid_present(const std::string& subscription) const;

  /// Lists the storage accounts of every subscription that was not listed yet. Returns 0 when at least one subscription
  /// is listed, else why not.
  Status BuildFromEnv() override;

  /// The access key of an account: from Resource Manager, or from the credentials store when "FETCH_STORAGE_KEYS"
  /// is set to something other than yes. Asked anew each time. Empty unless 0 is returned; 6661 for an unknown account
  /// or one without a key.
  Status getStorageKey(const std::string& account, std::string& key);

  /// Subscription and resource group of the last account, in the order of names, whose name contains the given one.
  /// Both empty when there is none.
  void retrieve_subid_rg_for_sta(const std::string& account, std::string& subscription, std::string& resource_group);

  /// The account's record; null when it is not visible.
  const storage_account_metadata_t* FindAccount(const std::string& account);

  /// The domain of the account's services, "REGION.DOMAIN" for instance; the server's when the account's own is not
  /// known.
  std::string EndpointSuffix(const std::string& account);

  /// True when the account is in that subscription.
  bool is_storageAccount_exists(const std::string& account, const std::string& subscription);
  bool check_sta_and_subid_map(const std::string& account, const std::string& subscription);

  /// Appends the names of a subscription's accounts.
  void getAllStorageAccountsForSubscription(const std::string& subscription, std::vector<std::string>& accounts);

 private:
  Status BuildSubList();
  Status ParseAllSubscriptions();
  Status addSubToMap(const std::string& id);
  Status BuildStaMetadata();
  Status ListAccounts(const std::string& subscription);
  Status ParseAllStorageAccounts();
  Status addToMap(const std::string& id, const std::string& blob_endpoint);
  Status FetchStorageKeyFromAzure(const std::string& account, std::string& key);
  Status ParseStorageAccountKey(std::string& key);
  static Status ReadStorageKey(const std::string& account, std::string& key);

  std::string default_suffix_;
  std::vector<std::string> subscriptions_;
  std::set<std::string> listed_;  // subscriptions whose accounts are known
  std::map<std::string, storage_account_metadata_t> azurestack_storage_meta_list;
};

}  // namespace azurestackpi
