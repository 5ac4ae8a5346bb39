#include "src/rest/authentication.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/process_state.h"
#include "src/base/secrets.h"
#include "src/base/text.h"
#include "src/base/url_text.h"
#include "src/config/config.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr std::uint64_t kRenewBeforeExpiry = 300;  // seconds

ProcessValue<std::unique_ptr<AzureStackPi_Authentication>> instance("bearer token");

bool IsVerbose() {
  return EqualIgnoringCase(AzureStackPi_Config::getInstance().ConfValueOr("CURL_VERBOSE", "false"), "true");
}

std::uint64_t Now() { return static_cast<std::uint64_t>(platform::clock().now()); }

// A non-negative number, whether the authority writes it as a number or as a text; 0 when it is neither.
std::uint64_t JsonSeconds(const json_t* object, const char* key) {
  const json_t* const member = json_object_get(object, key);
  if (json_is_integer(member)) {
    return static_cast<std::uint64_t>(std::max<json_int_t>(json_integer_value(member), 0));
  }
  const std::string text = JsonStringOrEmpty(object, key);
  const bool number = !text.empty() && std::isdigit(static_cast<unsigned char>(text.front())) != 0;
  return number ? std::strtoull(text.c_str(), nullptr, 0) : 0;
}

// Bytes that may stand in a header line; a token with others would forge lines of its own.
bool IsHeaderText(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

std::string Credential(const char* key) {
  std::string value;
  static_cast<void>(AzureStackPi_Config::getInstance().GetCredsVal(key, value));
  return value;
}

class InstanceTokens final : public TokenSource {
 public:
  std::string GetAuthToken(Status& status, bool force_renew) override {
    AzureStackPi_Authentication* const authentication = AzureStackPi_Authentication::getInstance();
    if (authentication == nullptr) {
      status = kNoToken;
      return {};
    }
    return authentication->GetAuthToken(status, force_renew);
  }
};

}  // namespace

TokenSource& ProcessTokens() {
  static InstanceTokens tokens;
  return tokens;
}

AzureStackPi_HttpClient MakeResourceManagerClient(const azs_rest_server_s& rest) {
  return AzureStackPi_HttpClient(rest, &ProcessTokens(), IsVerbose());
}

AzureStackPi_Authentication* AzureStackPi_Authentication::getInstance() {
  azs_rest_server_s rest;
  if (const Status status = AzureStackPi_Config::getInstance().InitRestHandle(rest); status != kOk) {
    const FunctionLog log("AzureStackPi_Authentication");
    log.error("Unable to initialize rest server handle for create snapshot of managed disk. ret: %d ",
              static_cast<int>(status));
    return nullptr;
  }
  if (!*instance) {
    *instance = std::make_unique<AzureStackPi_Authentication>();
  }
  // The server may be another than the one it was made for.
  (*instance)->rest_ = rest;
  return instance->get();
}

std::string AzureStackPi_Authentication::GetAuthToken(Status& status, bool force_renew) {
  const FunctionLog log(__func__);
  const auto header_line = [this] { return "Authorization: Bearer " + token_.value; };
  const Grant grant = ReadGrant();
  std::string url;
  status = CreateUrl(AzureStackPi_HttpClient(rest_, nullptr, false), grant.path, url);
  if (status != kOk) {
    log.error("CreateUrl failed with error code: %d", static_cast<int>(status));
    return {};
  }
  const std::string identity = url + "\n" + grant.body;
  if (!force_renew && !token_.value.empty() && token_.identity == identity &&
      token_.expires_on > Now() + kRenewBeforeExpiry) {
    log.flow("Reusing auth token");
    return header_line();
  }
  log.flow("Renewing auth token");
  log.detail("Calling %s access token mechanism", grant.adfs ? "ADFS" : "AAD");
  token_ = Token();
  status = RequestToken(grant, url, token_);
  if (token_.value.empty()) {
    log.detail("Did not get Access Token %d", static_cast<int>(status));
    status = kNoToken;
    return {};
  }
  token_.identity = identity;
  RememberSecret(SecretKind::kToken, token_.value);
  return header_line();
}

AzureStackPi_Authentication::Grant AzureStackPi_Authentication::ReadGrant() {
  AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  Grant grant;
  grant.adfs = Credential("IdentityProvider") == "ADFS";
  const std::string common = "&resource=" + EncodeFormValue(Credential("AuthResource")) +
                             "&client_id=" + EncodeFormValue(Credential("ClientId"));
  if (grant.adfs) {
    grant.path = "adfs/oauth2/token";
    grant.body = "grant_type=password" + common + "&username=" + EncodeFormValue(config.GetUserName()) +
                 "&password=" + EncodeFormValue(config.GetPassword());
  } else {
    grant.body =
        "grant_type=client_credentials" + common + "&client_secret=" + EncodeFormValue(Credential("ClientSecret"));
    grant.path = Credential("TenantId") + "/oauth2/token";
  }
  return grant;
}

Status AzureStackPi_Authentication::CreateUrl(const AzureStackPi_HttpClient& client, const std::string& path,
                                              std::string& url) {
  const FunctionLog log(__func__);
  const Status status = client.CreateQueryURL(client.RestServer().login_endpoint.c_str(), &url, path.c_str());
  if (status != kOk) {
    log.error("Query Url formation failed rc: %d", static_cast<int>(status));
  }
  log.detail("m_url: %s", url.c_str());
  return status;
}

Status AzureStackPi_Authentication::RequestToken(const Grant& grant, const std::string& url, Token& token) const {
  HttpRequest request;
  request.url = url;
  request.method = kPost;
  request.headers = {"charset=utf-8", "Version: 4", "Content-Type: application/x-www-form-urlencoded",
                     "Accept: application/json"};
  request.body = &grant.body;
  request.is_internet_call = !grant.adfs;
  request.block_type = kLongRequest;
  request.skip_token = true;
  _Response response;
  AzureStackPi_HttpClient client(rest_, nullptr, IsVerbose());
  const Status status = client.SendHttpRequest(request, response);
  return status == kOk ? ParseAuthResponse(response.header, response.body, token) : status;
}

Status AzureStackPi_Authentication::ParseAuthResponse(const std::string& header, const std::string& body,
                                                      Token& token) {
  const FunctionLog log(__func__);
  if (const Status status = CheckHeader(header.c_str(), body.c_str(), "Authorization"); status != kOk) {
    return status;
  }
  log.detail("Response Header Looks Good !!");
  json_error_t error{};
  const JsonPtr root = ParseJson(body, error);
  if (!root) {
    log.error("error while parsing json: on line %d: %s", error.line, error.text);
    return kBadJson;
  }
  std::string value = JsonStringOrEmpty(root.get(), "access_token");
  if (value.empty() || !IsHeaderText(value)) {
    log.error("The login authority's answer holds no usable access token. AAPI_Errno = %d", static_cast<int>(kNoToken));
    return kNoToken;
  }
  token.value = std::move(value);
  token.expires_on = JsonSeconds(root.get(), "expires_on");
  if (token.expires_on == 0) {
    // A federation service gives the lifetime alone. With neither the token is not used again.
    const std::uint64_t lifetime = JsonSeconds(root.get(), "expires_in");
    token.expires_on = lifetime == 0 ? 0 : Now() + lifetime;
  }
  return kOk;
}

}  // namespace azurestackpi
