// What the credentials can see: the subscriptions, known from the first use of a server on.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "src/base/server_handle.h"
#include "src/model/azurestack_resource.h"

namespace azurestackpi {

/// One per process, for the server that made it, until destroyInstance.
class azurestack_storagekeys final : public azurestack_resource {
 public:
  /// Makes the instance and lists the subscriptions; an existing one is kept as it is. Returns 0, or why the list could
  /// not be had (no instance is kept then): 6601 when no subscription is visible.
  static Status createInstance(aapi_pgn_server_handle_s* server);

  /// Null when there is none.
  static azurestack_storagekeys* getInstance();

  static void destroyInstance();

  explicit azurestack_storagekeys(const azs_rest_server_s& rest);

  /// Subscription ids, in the order received.
  const std::vector<std::string>& subscriptions() const { return subscriptions_; }

 private:
  Status BuildSubList();
  Status ParseAllSubscriptions(const std::string& header, const std::string& body);
  Status addSubToMap(const std::string& id);

  azs_rest_server_s rest_;
  std::vector<std::string> subscriptions_;
};

}  // namespace azurestackpi
