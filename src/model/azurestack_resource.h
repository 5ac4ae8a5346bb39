// The base of what is cached of an account: makes one call at a time.
#pragma once

#include <string>

#include "src/model/resource_calls.h"

namespace azurestackpi {

class azurestack_resource {
 public:
  explicit azurestack_resource(const azs_rest_server_s& rest) : calls_(rest) {}
  virtual ~azurestack_resource() = default;
  azurestack_resource(const azurestack_resource&) = delete;
  azurestack_resource& operator=(const azurestack_resource&) = delete;

  /// Fills the cache. The base has none. Returns a status.
  virtual Status BuildFromEnv() { return kOk; }

 protected:
  /// Sends one request to the management endpoint and keeps its answer. method: an HttpHeader; body: null for none.
  /// Returns the status of SendHttpRequest.
  Status MakeAPICall(const std::string& subpath, int method = kGet, const _buffer_s* body = nullptr);

  const _Response& response() const { return calls_.response(); }

 private:
  ResourceCalls calls_;
};

}  // namespace azurestackpi
