// A plain libcurl client of the blob service: one handle, one connection at a time, no second tries.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>

namespace azurite {

using Texts = std::map<std::string, std::string>;

struct ClientAnswer {
  CURLcode result = CURLE_OK;
  long status = 0;
  std::string head;
  std::string body;
};

class SignedClient {
 public:
  /// The service or a proxy before it, on a port of 127.0.0.1; every request is of this account.
  SignedClient(std::uint16_t port, std::string account);

  /// path: percent-encoded; query: values that need no encoding; ms_headers: "x-ms-..." in small letters, without date
  /// and version; body: for PUT.
  ClientAnswer send(const std::string& method, const std::string& path, const Texts& query = {}, Texts ms_headers = {},
                    const std::string& body = "");

  void set_version(const std::string& version) { version_ = version; }

  /// To break an answer off at so many bytes of its body; the result is CURLE_WRITE_ERROR then.
  void set_most_bytes(std::size_t bytes) { most_bytes_ = bytes; }

 private:
  std::uint16_t port_;
  std::string account_;
  std::string version_ = "2017-04-17";
  std::size_t most_bytes_ = std::numeric_limits<std::size_t>::max();
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_{curl_easy_init(), curl_easy_cleanup};
};

}  // namespace azurite
