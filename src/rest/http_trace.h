// The verbose trace of a transfer: every record that curl shows of its work, as log lines without secrets.
#pragma once

#include <cstddef>
#include <string>

#include "platform/curl_wrapper.h"

namespace azurestackpi {

/// Collects the records of one transfer. Records of one kind that follow each other become one line, since a secret may
/// begin in one and end in the next; what goes beyond the longest log line is dropped.
class HttpTrace {
 public:
  HttpTrace() = default;
  ~HttpTrace() { Flush(); }
  HttpTrace(const HttpTrace&) = delete;
  HttpTrace& operator=(const HttpTrace&) = delete;

  /// Writes out what is held.
  void Flush() noexcept;

  /// Curl's debug callback; user is the HttpTrace.
  static int CurloptDebugCallback(CURL* handle, curl_infotype kind, char* data, std::size_t size, void* user) noexcept;

 private:
  void Take(curl_infotype kind, const char* data, std::size_t size);

  curl_infotype kind_ = CURLINFO_TEXT;
  std::string held_;
};

}  // namespace azurestackpi
