#include "storage/blob_client.h"

#include <algorithm>

#include "platform/clock.h"
#include "platform/curl_wrapper.h"

namespace azurestoragewrapper {
namespace {

constexpr int kLongestSilence = 30;  // seconds without a keep-alive
constexpr int kLongestPause = 60;    // seconds, where the service does not ask for more

Answer attempt(BlobClient& client, const Request& request, const std::string& doing, std::size_t longest_body) {
  Transfer transfer(Transfer::Connections::of_thread);
  std::string body;
  bool too_long = false;
  const auto sink = [&](std::span<const std::byte> bytes) {
    too_long = bytes.size() > longest_body - body.size();
    if (!too_long) body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return !too_long;
  };
  const SignedRequest signed_request = client.access.sign(request, platform::clock().now(), client.options.api_version);
  transfer.prepare(signed_request, request, client.options, sink);
  const CURLcode result = CVGSS_curl_easy_perform(transfer.handle());
  if (too_long) {
    throw azurestorage_exception(
        failure_of_form("the answer is longer than " + std::to_string(longest_body) + " bytes", doing, false));
  }
  if (auto failure = transfer.failure(result, doing)) throw azurestorage_exception(std::move(*failure));
  const double wait = transfer.answer_wait_ms();
  if (wait > 0 && (client.fastest_answer_ms <= 0 || wait < client.fastest_answer_ms)) client.fastest_answer_ms = wait;
  Answer answer = transfer.answer();
  answer.body = std::move(body);
  return answer;
}

}  // namespace

void log_line(const client_options& options, std::uint32_t level, const std::string& text) {
  if (options.log != nullptr) options.log(level, text.c_str());
}

void keep_alive(const client_options& options, const char* caller) {
  if (options.keepalive != nullptr) static_cast<void>(options.keepalive(caller));
}

bool may_repeat(const client_options& options, Repeat repeat, const Failure& failure, int repeats) {
  if (!failure.retryable || repeats >= options.most_repeats || repeat == Repeat::never) return false;
  return repeat == Repeat::always || failure.http_status == 429 || failure.http_status == 503;
}

void pause_before_repeat(const client_options& options, const Failure& failure, int repeats) {
  const int doubled = std::min(1 << std::min(repeats, 10), kLongestPause);
  const int seconds = failure.retry_after > 0 ? failure.retry_after : doubled;
  log_line(options, kLogWarning, failure.message + "; sent again in " + std::to_string(seconds) + " seconds");
  for (int left = seconds; left > 0; left -= kLongestSilence) {
    keep_alive(options, "pause_before_repeat");
    platform::clock().sleep(std::min(left, kLongestSilence));
  }
}

Answer perform(BlobClient& client, const Request& request, const std::string& doing, std::size_t longest_body) {
  for (int repeats = 0;; ++repeats) {
    try {
      return attempt(client, request, doing, longest_body);
    } catch (const azurestorage_exception& error) {
      if (!may_repeat(client.options, request.repeat, error.failure(), repeats)) throw;
      pause_before_repeat(client.options, error.failure(), repeats);
    }
  }
}

}  // namespace azurestoragewrapper
