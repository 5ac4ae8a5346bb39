// The bearer token: obtained from the login authority, cached until shortly before it expires.
#pragma once

#include <memory>
#include <string>

#include "src/rest/http_client.h"
#include "src/rest/token_source.h"

namespace azurestackpi {

/// One per process. Asks the region's own federation service (password grant) when "IdentityProvider" is "ADFS", else
/// the public login authority (client-credentials grant).
class AzureStackPi_Authentication final : public TokenSource {
 public:
  /// Created on first use from the server registered with the configuration; null when that has no usable name.
  static AzureStackPi_Authentication* getInstance();

  /// The cached token is used again only for the same login address, resource, client, user and secret, and while it
  /// has more than 300 seconds to live.
  std::string GetAuthToken(Status& status, bool force_renew) override;

  struct Token {
    std::string value;             // goes into a header line as it is
    std::uint64_t expires_on = 0;  // seconds since the epoch; 0: for the request in hand only
    std::string identity;          // of whom and for what
  };

  /// Reads a login authority's answer. Returns 0 with a token that fits a header line; 5 when the body is not JSON,
  /// 6011 when it holds no usable token, or what CheckHeader says of the header.
  static Status ParseAuthResponse(const std::string& header, const std::string& body, Token& token);

 private:
  struct Grant {
    bool adfs;         // a password grant at the region's own authority, else a client-credentials grant
    std::string path;  // of the token address
    std::string body;  // the form
  };

  static Grant ReadGrant();
  Status RequestToken(const Grant& grant, const std::string& url, Token& token) const;
  static Status CreateUrl(const AzureStackPi_HttpClient& client, const std::string& path, std::string& url);

  azs_rest_server_s rest_;  // of the open server
  Token token_;
};

/// The process's token source for every Resource Manager client: asks the one instance, made when first needed.
TokenSource& ProcessTokens();

/// A client for Resource Manager calls: with the process's tokens, traced when "CURL_VERBOSE" is "true".
AzureStackPi_HttpClient MakeResourceManagerClient(const azs_rest_server_s& rest);

}  // namespace azurestackpi
