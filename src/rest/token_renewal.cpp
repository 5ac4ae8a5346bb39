// Renewal of a bearer token that the server calls invalid.
#include "src/base/logging.h"
#include "src/rest/http_client.h"

namespace azurestackpi {

Status AzureStackPi_HttpClient::HandleRenewToken(long http_status, const _Response& response, bool& renewed) {
  // Only this text says that another token would help; a missing right or header stays refused, however often asked.
  if (http_status != 401 || tokens_ == nullptr ||
      AuthenticationErrorDescription(response.header) != "the access token is invalid.") {
    return kOk;
  }
  const FunctionLog log(__func__);
  constexpr int most_tries = 3;
  for (int i = 0; i < most_tries; ++i) {
    Status status = kOk;
    token_line_ = tokens_->GetAuthToken(status, true);
    if (!token_line_.empty()) {
      log.flow("New auth token fetched");
      renewed = true;
      return kOk;
    }
  }
  log.error("Maximum limit to renew auth token is over");
  renewed = false;
  return kNotAuthorized;
}

}  // namespace azurestackpi
