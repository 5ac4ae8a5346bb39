// The one way to Resource Manager and the login authority.
#pragma once

#include <string>

#include "src/config/rest_server.h"
#include "src/rest/http_message.h"
#include "src/rest/http_transfer.h"
#include "src/rest/token_source.h"

namespace azurestackpi {

/// Made for one resource call or a short series, by one thread. Adds the bearer token, applies TLS and proxy settings,
/// repeats on overload, renews a token that the server calls invalid, and follows asynchronous operations to their end.
class AzureStackPi_HttpClient {
 public:
  /// tokens: outlives the client; null for a client whose requests all skip the token. verbose: trace every transfer.
  AzureStackPi_HttpClient(azs_rest_server_s rest, TokenSource* tokens, bool verbose);

  /// Sends the request and fills response (cleared first). Returns 0 whenever there is an answer of any HTTP status;
  /// 6011 without a token, 6601 for a bad method, 6602 out of memory, 6622/6625/6626 when the transfer failed, 6646
  /// when overload outlasts ten attempts, 6629 when the token cannot be renewed, the status of a failed asynchronous
  /// operation, or the keep-alive's result when that asks to stop.
  Status SendHttpRequest(const HttpRequest& request, _Response& response);

  /// Follows the operation that the header block of an earlier answer names to its end, as SendHttpRequest does for a
  /// long request; of the request its header lines, keep-alive and proxy are used. Returns 0 at once when the block
  /// names none; else 0 when the operation succeeded, or a status as SendHttpRequest.
  Status FollowOperation(HttpRequest request, const std::string& header_block);

  /// HTTP status of the last attempt, 0 when there was no answer. Polls of an operation do not change it.
  long GetHttpStatusCode() const { return http_status_; }

  /// The last poll's answer of the operation followed last, which tells why it failed.
  const _Response& AsyncResponse() const { return async_response_; }

  /// "https://" HOST "/" PATH, with exactly one "/" between; blanks, control and non-ASCII bytes of the path are
  /// percent-encoded. host may carry ":port". Returns 0, or 6601 for a null argument or an empty host.
  static Status CreateQueryURL(const char* host, std::string* url, const char* path);

  const azs_rest_server_s& RestServer() const { return rest_; }

  /// Frees what an answer holds.
  static void ResetResponse(_Response& response);

  /// Waits the seconds, with the keep-alive called before each sleep of interval seconds. What the last interval is
  /// longer than the rest is slept as well, so a wait is never shorter than asked. Below 1: sleeps one second.
  static void HandleHttpWaitandKeepAlive(int seconds, aapi_keepalive_fn keepalive, int interval);

 private:
  enum class Next { kEnd, kRepeat };

  Status EnsureToken();
  void PrepareKeepAlive(const HttpRequest& request);
  Status PrepareTransfer(HttpTransfer& transfer, const HttpRequest& request, _Response& response);
  Status RunAttempts(HttpTransfer& transfer, const HttpRequest& request, _Response& response);
  Status Attempt(HttpTransfer& transfer, const HttpRequest& request, _Response& response, int attempt);
  Status AfterAnswer(const HttpRequest& request, _Response& response, bool& renewed);
  Next DecideRepeat(const HttpRequest& request, int attempt, bool renewed, Status& status, _Response& response);
  std::vector<std::string> HeaderLines(const HttpRequest& request) const;

  // Renewal of a token that the server calls invalid (token_renewal.cpp).
  Status HandleRenewToken(long http_status, const _Response& response, bool& renewed);

  // Asynchronous operations (async_operation.cpp).
  struct Operation;
  Status AsyncHttpRequestHandling(const HttpRequest& request, const _Response& response);
  Status PollUntilDone(Operation& operation, std::string& status_text);
  Status PollOnce(Operation& operation);
  Status JudgePoll(Operation& operation, std::string& status_text, bool& done);

  azs_rest_server_s rest_;
  TokenSource* tokens_;
  bool verbose_;
  long http_status_ = 0;
  std::string token_line_;                 // empty: none
  aapi_keepalive_fn keepalive_ = nullptr;  // of the request in hand
  int keepalive_interval_ = 10;            // seconds, of the request in hand
  _Response async_response_;               // of the last poll of the operation followed last
};

/// Draws a pause: a random number below high, with low added when it is below low; 30 and 90 give 30 to 89.
int randomNumber(int low, int high);

/// Calls the keep-alive once, if there is one. Its result is logged and does not stop anything.
void CallKeepAlive(aapi_keepalive_fn keepalive);

}  // namespace azurestackpi
