// The requests of a proxy to the server behind it.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "sim/http_message.h"

namespace azurite {

/// Sends requests on as they came, over connections that it keeps. Several threads may use it at once.
class Upstream {
 public:
  /// A port of 127.0.0.1.
  explicit Upstream(std::uint16_t port) : port_(port) {}

  /// The server's whole answer, without the headers that concern a single connection. Throws std::runtime_error when
  /// none came.
  sim::Response send(const sim::Request& request);

 private:
  using Handle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

  Handle borrow();
  void give_back(Handle handle);

  std::uint16_t port_;
  std::mutex mutex_;
  std::vector<Handle> idle_;
};

}  // namespace azurite
