#include "sim/blob_accounts.h"

#include <algorithm>

#include "sim/derived_text.h"

namespace sim {

Named<StorageAccount> blob_accounts(const World& world) {
  Named<StorageAccount> accounts = world.storage_accounts;
  accounts[managed_disk_account] = {.location = world.region,
                                    .endpoint_suffix = world.region + "." + world.domain,
                                    .keys = storage_keys_of(managed_disk_account)};
  return accounts;
}

const std::string& signing_key(const StorageAccount& account) {
  static const std::string none;
  const auto key =
      std::find_if(account.keys.begin(), account.keys.end(), [](const auto& text) { return !text.empty(); });
  return key == account.keys.end() ? none : *key;
}

std::string azurite_accounts(const World& world) {
  std::string text;
  for (const auto& [name, account] : blob_accounts(world)) {
    if (signing_key(account).empty()) continue;  // the whole text would be refused
    text.append(text.empty() ? "" : ";").append(name);
    for (const std::string& key : account.keys) {
      if (!key.empty()) text.append(":").append(key);
    }
  }
  return text;
}

}  // namespace sim
