#include "src/rest/http_client.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <random>
#include <utility>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/base/url_text.h"
#include "src/config/config.h"

namespace azurestackpi {
namespace {

constexpr int kMostAttempts = 10;
constexpr int kDefaultKeepAliveInterval = 10;
constexpr int kLongestKeepAliveInterval = 3600;
constexpr const char* kSend = "SendHttpRequest";

int KeepAliveInterval() {
  std::string value;
  if (AzureStackPi_Config::getInstance().GetConfVal("ASYNC_KEEP_ALIVE_INTERVAL", value) != kOk) {
    return kDefaultKeepAliveInterval;
  }
  int seconds = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
  if (error != std::errc() || end != value.data() + value.size() || seconds < 1 ||
      seconds > kLongestKeepAliveInterval) {
    return kDefaultKeepAliveInterval;
  }
  const FunctionLog log(kSend);
  log.flow("Using %d sec(s) as keep alive callback interval", seconds);
  return seconds;
}

}  // namespace

int randomNumber(int low, int high) {
  const auto seed = static_cast<std::uint64_t>(getpid()) + static_cast<std::uint64_t>(platform::clock().now());
  std::mt19937_64 generator(seed);
  const int drawn = static_cast<int>(generator() % static_cast<std::uint64_t>(high));
  return drawn < low ? drawn + low : drawn;
}

AzureStackPi_HttpClient::AzureStackPi_HttpClient(azs_rest_server_s rest, TokenSource* tokens, bool verbose)
    : rest_(std::move(rest)), tokens_(tokens), verbose_(verbose) {}

Status AzureStackPi_HttpClient::SendHttpRequest(const HttpRequest& request, _Response& response) {
  const FunctionLog log(kSend);
  http_status_ = 0;
  async_response_ = {};
  ResetResponse(response);
  log.flow("Enter. Allow retry is %s", request.allow_retry ? "set" : " not set ");
  log.flow("Query URL: %s. is_internet_call %d ", request.url.c_str(), request.is_internet_call ? 1 : 0);
  if (!request.skip_token) {
    if (const Status status = EnsureToken(); status != kOk) {
      return status;
    }
  }
  HttpTransfer transfer;
  if (!transfer.valid()) {
    return kOutOfMemory;
  }
  if (const Status status = PrepareTransfer(transfer, request, response); status != kOk) {
    return status;
  }
  const Status status = RunAttempts(transfer, request, response);
  if (http_status_ >= 400) {
    log.error("Returning rc: %d, response: %s, %s", static_cast<int>(status), response.body.c_str(),
              response.header.c_str());
  }
  return status;
}

Status AzureStackPi_HttpClient::EnsureToken() {
  if (!token_line_.empty()) {
    return kOk;
  }
  Status status = kOk;
  token_line_ = tokens_ == nullptr ? std::string() : tokens_->GetAuthToken(status, false);
  if (token_line_.empty()) {
    return kNoToken;
  }
  const FunctionLog log(kSend);
  log.flow("New auth token fetched");
  return kOk;
}

void AzureStackPi_HttpClient::PrepareKeepAlive(const HttpRequest& request) {
  keepalive_ = request.keepalive;
  if (request.block_type != kShortRequest && keepalive_ == nullptr) {
    const FunctionLog log(kSend);
    log.flow("Assigning default keepalive callback i.e. send_keepalive_callback");
    keepalive_ = send_keepalive_callback;
  }
  keepalive_interval_ = KeepAliveInterval();
}

Status AzureStackPi_HttpClient::PrepareTransfer(HttpTransfer& transfer, const HttpRequest& request,
                                                _Response& response) {
  if (verbose_) {
    transfer.EnableTrace();
  }
  transfer.ApplyTls(request.is_internet_call);
  transfer.ApplyProxy(request.is_internet_call);
  transfer.Collect(response);
  transfer.SetUrl(request.url);
  if (request.body != nullptr) {
    transfer.SetBody(*request.body);
  }
  if (const Status status = transfer.SetMethod(request.method); status != kOk) {
    return status;
  }
  if (request.redirect == Redirect::kFollow) {
    transfer.FollowRedirects();
  }
  PrepareKeepAlive(request);
  return kOk;
}

std::vector<std::string> AzureStackPi_HttpClient::HeaderLines(const HttpRequest& request) const {
  std::vector<std::string> lines = request.headers;
  if (!request.skip_token) {
    lines.push_back(token_line_);
  }
  if (request.body == nullptr && (request.method == kGet || request.method == kPost)) {
    lines.emplace_back("Content-Length: 0");
  }
  return lines;
}

Status AzureStackPi_HttpClient::RunAttempts(HttpTransfer& transfer, const HttpRequest& request, _Response& response) {
  const FunctionLog log(kSend);
  for (int attempt = 1;; ++attempt) {
    Status status = Attempt(transfer, request, response, attempt);
    bool renewed = false;
    if (status == kOk && !request.skip_token) {
      status = AfterAnswer(request, response, renewed);
    }
    if (status != kOk || DecideRepeat(request, attempt, renewed, status, response) == Next::kEnd) {
      return status;
    }
  }
}

Status AzureStackPi_HttpClient::Attempt(HttpTransfer& transfer, const HttpRequest& request, _Response& response,
                                        int attempt) {
  const FunctionLog log(kSend);
  ResetResponse(response);
  http_status_ = 0;
  log.detail("Keepalive callback %s", keepalive_ == nullptr ? "is not set." : "is set.");
  if (keepalive_ != nullptr) {
    if (const std::uint32_t stop = keepalive_(kSend); stop != 0) {
      log.error("Breaking out of launch cmd core   rc: %d", static_cast<int>(stop));
      return stop;
    }
  }
  log.detail("Making the http request attempt %d ", attempt);
  const Status status = transfer.Perform(HeaderLines(request));
  http_status_ = transfer.HttpStatus();
  if (status == kOk) {
    log.flow("http response code from curl %ld ", http_status_);
  }
  return status;
}

Status AzureStackPi_HttpClient::AfterAnswer(const HttpRequest& request, _Response& response, bool& renewed) {
  const FunctionLog log(kSend);
  if (const Status status = HandleRenewToken(http_status_, response, renewed); status != kOk) {
    return status;
  }
  if (const Status status = AsyncHttpRequestHandling(request, response); status != kOk) {
    log.error("Async operation failed with error %d", static_cast<int>(status));
    return status;
  }
  if (request.want_async_response && !async_response_.body.empty() && !async_response_.header.empty()) {
    log.detail("Caller interested in async response body %s header %s", async_response_.body.c_str(),
               async_response_.header.c_str());
    response = async_response_;
    log.detail("response body %s header %s", response.body.c_str(), response.header.c_str());
  }
  return kOk;
}

// The end of an attempt that got an answer: over, or once more after a renewed token or, past a pause, after overload.
AzureStackPi_HttpClient::Next AzureStackPi_HttpClient::DecideRepeat(const HttpRequest& request, int attempt,
                                                                    bool renewed, Status& status, _Response& response) {
  const FunctionLog log(kSend);
  const bool overloaded = IsOverload(http_status_);
  const bool last = attempt == kMostAttempts;
  if (!request.allow_retry || last) {
    if (renewed || (last && overloaded)) {
      log.error("Failed to make http request with http response error code %ld. retries exceeded", http_status_);
      status = kCannotCommunicate;
    }
    return Next::kEnd;
  }
  if (!overloaded) {
    return renewed ? Next::kRepeat : Next::kEnd;
  }
  ResetResponse(response);
  const int pause = randomNumber(30, 90);
  log.detail("Overload detected. Retrying, max retries %d . Sleeping for %d secs", kMostAttempts, pause);
  platform::clock().sleep(pause);
  log.detail("Done Sleeping");
  return Next::kRepeat;
}

Status AzureStackPi_HttpClient::CreateQueryURL(const char* host, std::string* url, const char* path) {
  const FunctionLog log(__func__);
  // Without a host the path's first piece would be taken for one, and be sent the token.
  if (host == nullptr || *host == '\0' || url == nullptr || path == nullptr) {
    log.error("Invalid arguments. AAPI_Errno = %d", static_cast<int>(kInvalidArgument));
    return kInvalidArgument;
  }
  *url = std::string("https://") + host + "/" + EncodeUrlPath(ltrim(path, "/"));
  return kOk;
}

void AzureStackPi_HttpClient::ResetResponse(_Response& response) { response = _Response(); }

}  // namespace azurestackpi
