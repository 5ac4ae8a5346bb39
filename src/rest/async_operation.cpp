// Following an asynchronous operation to its end, while the host's connection is kept alive.
#include <algorithm>
#include <charconv>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/rest/http_client.h"

namespace azurestackpi {
namespace {

constexpr const char* kOperationTag = "Azure-AsyncOperation: ";
constexpr const char* kRetryAfterTag = "Retry-After: ";
constexpr int kNoRetryAfter = -1;
constexpr int kLongestRetryAfter = 600;
constexpr int kMostOverloadedPolls = 10;

// Seconds; -1 for a value that is missing or not made of digits only.
int RetryAfterSeconds(const std::string& header) {
  const FunctionLog log("AsyncHttpRequestHandling");
  const std::string value = GetTagValueFromResponseHeader(header, kRetryAfterTag);
  const bool digits = !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
  if (!digits) {
    log.flow("No %s tag found in response header", kRetryAfterTag);
    return kNoRetryAfter;
  }
  int seconds = kLongestRetryAfter;  // stays so when the number is beyond int
  std::from_chars(value.data(), value.data() + value.size(), seconds);
  seconds = std::min(seconds, kLongestRetryAfter);
  log.flow("Got %s tag in response header with value %d", kRetryAfterTag, seconds);
  return seconds;
}

}  // namespace

struct AzureStackPi_HttpClient::Operation {
  HttpTransfer transfer;
  std::vector<std::string> headers;  // the request's own
  int retry_after = kNoRetryAfter;   // seconds between polls
  int overloaded_polls = 0;          // in a row
  bool renewed = false;              // the last poll was repeated with a new token
};

void CallKeepAlive(aapi_keepalive_fn keepalive) {
  const FunctionLog log(__func__);
  log.detail("Keepalive callback %s", keepalive == nullptr ? "is not set." : "is set.");
  if (keepalive == nullptr) {
    return;
  }
  if (const std::uint32_t result = keepalive(__func__); result != 0) {
    log.error("Failed to invoke send keep alive callback rc: %d", static_cast<int>(result));
  }
}

void AzureStackPi_HttpClient::HandleHttpWaitandKeepAlive(int seconds, aapi_keepalive_fn keepalive, int interval) {
  const FunctionLog log(__func__);
  log.flow("Need to wait for %d sec before trying to fetch async opeartion status", std::max(seconds, 1));
  if (seconds < 1) {
    platform::clock().sleep(1);
    if (interval < 2) {
      CallKeepAlive(keepalive);
    }
    return;
  }
  for (int total = 0;;) {
    CallKeepAlive(keepalive);
    total += interval;
    if (total > seconds) {
      platform::clock().sleep(total - seconds);
      return;
    }
    platform::clock().sleep(interval);
  }
}

Status AzureStackPi_HttpClient::FollowOperation(HttpRequest request, const std::string& header_block) {
  request.block_type = kLongRequest;
  PrepareKeepAlive(request);
  return AsyncHttpRequestHandling(request, {{}, header_block});
}

Status AzureStackPi_HttpClient::AsyncHttpRequestHandling(const HttpRequest& request, const _Response& response) {
  const FunctionLog log(__func__);
  if (response.header.empty() || request.block_type != kLongRequest) {
    log.detail("Async handling not applicable");
    return kOk;
  }
  const std::string address = GetTagValueFromResponseHeader(response.header, kOperationTag);
  if (address.empty()) {
    return kOk;
  }
  Operation operation{{}, request.headers};
  if (!operation.transfer.valid()) {
    return kOutOfMemory;
  }
  if (verbose_) {
    operation.transfer.EnableTrace();
  }
  operation.transfer.ApplyTls(request.is_internet_call);
  operation.transfer.ApplyProxy(request.is_internet_call);
  operation.transfer.Collect(async_response_);
  operation.transfer.SetUrl(address);
  log.flow("Got %s tag in response header with value %s", kOperationTag, address.c_str());
  operation.retry_after = RetryAfterSeconds(response.header);
  std::string status_text;
  const Status polled = PollUntilDone(operation, status_text);
  const Status status = polled == kOk ? MapAsyncStatus(status_text) : polled;
  log.detail("Leaving rc : %d", static_cast<int>(status));
  return status;
}

Status AzureStackPi_HttpClient::PollUntilDone(Operation& operation, std::string& status_text) {
  for (bool done = false; !done;) {
    HandleHttpWaitandKeepAlive(operation.retry_after, keepalive_, keepalive_interval_);
    if (const Status status = PollOnce(operation); status != kOk) {
      return status;
    }
    if (const Status status = JudgePoll(operation, status_text, done); status != kOk) {
      return status;
    }
  }
  return kOk;
}

Status AzureStackPi_HttpClient::PollOnce(Operation& operation) {
  const FunctionLog log("AsyncHttpRequestHandling");
  ResetResponse(async_response_);
  // An operation may outlast its token, so the source is asked each time; it answers from its cache as long as it can.
  Status status = kOk;
  token_line_ = tokens_ == nullptr ? std::string() : tokens_->GetAuthToken(status, false);
  if (token_line_.empty()) {
    log.error("Failed to get auth token");
    return status == kOk ? static_cast<Status>(kNoToken) : status;
  }
  std::vector<std::string> lines = operation.headers;
  lines.push_back(token_line_);
  lines.emplace_back("Content-Length: 0");
  return operation.transfer.Perform(lines);
}

// Reads one poll's answer: done with the operation's status, or to be asked again.
Status AzureStackPi_HttpClient::JudgePoll(Operation& operation, std::string& status_text, bool& done) {
  const FunctionLog log("AsyncHttpRequestHandling");
  const long http_status = operation.transfer.HttpStatus();
  log.flow("http response code from curl %ld ", http_status);
  log.detail("http response body %s", async_response_.body.c_str());
  log.detail("http response header %s", async_response_.header.c_str());
  if (IsOverload(http_status)) {
    if (++operation.overloaded_polls < kMostOverloadedPolls) {
      return kOk;
    }
    log.error("Failed to make http request with http response error code %ld. retries exceeded", http_status);
    return kCannotCommunicate;
  }
  operation.overloaded_polls = 0;
  bool renewed = false;
  if (!operation.renewed) {
    if (const Status status = HandleRenewToken(http_status, async_response_, renewed); status != kOk) {
      return status;
    }
  }
  operation.renewed = renewed;
  if (renewed) {
    return kOk;
  }
  static_cast<void>(
      CheckHeader(async_response_.header.c_str(), async_response_.body.c_str(), "Async Opeartion Status"));
  status_text = ToLower(GetHttpStatusValueFromResponseBody(async_response_.body, "status"));
  if (!status_text.empty()) {
    log.flow("Found async operation status : %s", status_text.c_str());
    done = status_text != "inprogress";
  }
  return kOk;
}

}  // namespace azurestackpi
