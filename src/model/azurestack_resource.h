// The base of what is cached of an account: owns a REST client and makes one call at a time.
#pragma once

#include <string>

#include "src/rest/http_client.h"

namespace azurestackpi {

class azurestack_resource {
 public:
  /// rest: outlives the object.
  explicit azurestack_resource(const azs_rest_server_s* rest);
  virtual ~azurestack_resource() = default;
  azurestack_resource(const azurestack_resource&) = delete;
  azurestack_resource& operator=(const azurestack_resource&) = delete;

  /// Fills the cache. The base has none. Returns a status.
  virtual Status BuildFromEnv() { return kOk; }

 protected:
  void initRestServer(const azs_rest_server_s* rest) { rest_ = rest; }

  /// Sends one request to the management endpoint and keeps its answer. method: an HttpHeader; body: null for none;
  /// block_type: an EBlockType. Returns the status of SendHttpRequest.
  Status MakeAPICall(const std::string& subpath, int method, const _buffer_s* body, int block_type);

  void ResetResponse() { AzureStackPi_HttpClient::ResetResponse(response_); }

  const _Response& response() const { return response_; }

 private:
  Status CreateUrl(const std::string& subpath);

  const azs_rest_server_s* rest_;
  AzureStackPi_HttpClient client_;
  std::string m_url;
  _Response response_;
};

}  // namespace azurestackpi
