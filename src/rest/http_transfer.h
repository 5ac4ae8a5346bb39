// One curl handle, set up by the configuration: TLS, proxy, trace, and the buffers of the answer.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/curl_wrapper.h"
#include "src/rest/http_message.h"
#include "src/rest/http_trace.h"

namespace azurestackpi {

/// Longest body that is taken, in bytes: beyond every answer of Resource Manager, and short of what could harm the
/// host.
inline constexpr std::size_t kLongestBody = std::size_t{256} << 20;

/// Curl's write and header callbacks. data of size * count bytes is appended to the buffer; returns how much was taken,
/// 0 when there is no buffer, no room or no memory: curl then ends the transfer.
std::size_t WriteCallback(char* data, std::size_t size, std::size_t count, void* buffer);

/// Curl's global initialisation, once per process. The only step of the plug-in under a lock.
void InitCurlGlobal();

class HttpTransfer {
 public:
  HttpTransfer();

  /// False when the handle could not be made, which the log then tells.
  bool valid() const { return handle_ != nullptr; }

  void EnableTrace();
  /// The certificate file of the configuration is the only authority for calls to the Azure Stack; a call to the
  /// internet may also end at a host that one of the system's authorities vouches for.
  void ApplyTls(bool is_internet_call);
  void ApplyProxy(bool is_internet_call);
  /// The answer's buffers are filled by every Perform from then on.
  void Collect(_Response& response);
  void SetUrl(const std::string& url);
  void FollowRedirects();
  /// method: an HttpHeader. Returns 6601 for another value.
  Status SetMethod(int method);
  /// body outlives the transfer.
  void SetBody(const _buffer_s& body);

  /// Sends with these header lines and logs a failure. Returns 0, or the status of a curl failure, of an option that
  /// could not be set before included: a request is not sent without its proxy or its authority.
  Status Perform(const std::vector<std::string>& headers);

  /// HTTP status of the last Perform; 0 when there was no answer.
  long HttpStatus() const;

 private:
  struct HandleDeleter {
    void operator()(CURL* handle) const { CVGSS_curl_easy_cleanup(handle); }
  };

  template <typename Value>
  void Set(CURLoption option, Value value) {
    const CURLcode result = CVGSS_curl_easy_setopt(handle_.get(), option, value);
    first_failure_ = first_failure_ == CURLE_OK ? result : first_failure_;
  }

  HttpTrace trace_;  // outlives the handle, which may still report while it closes
  std::unique_ptr<CURL, HandleDeleter> handle_;
  std::string url_;
  CURLcode first_failure_ = CURLE_OK;  // of setting an option
};

}  // namespace azurestackpi
