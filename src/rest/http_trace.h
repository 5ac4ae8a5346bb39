// The verbose trace of a transfer: every record that curl shows of its work, as log lines without secrets.
#pragma once

#include <cstddef>
#include <string>

#include "platform/curl_wrapper.h"

namespace azurestackpi {

/// Collects the records of one transfer. What is sent and what is received, headers and body each, is joined until the
/// direction turns or the transfer ends, and becomes one line: a secret may begin in one record and end in the next.
/// What goes beyond the longest log line is dropped. Curl's own remarks, and how many bytes of TLS went by, are told at
/// once.
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
  struct Held {
    std::string header;
    std::string data;
  };

  void Take(curl_infotype kind, const char* data, std::size_t size);
  void FlushSent();
  void FlushReceived();

  Held sent_;
  Held received_;
};

}  // namespace azurestackpi
