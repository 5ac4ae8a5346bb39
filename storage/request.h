// One request to the blob service before it is signed, and what came back.
#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace azurestoragewrapper {

/// What the request is addressed to.
enum class Resource { account, container, blob };

/// When a request that failed may be sent again.
enum class Repeat {
  never,
  if_refused,  // 429 and 503: the service says that it did not carry it out
  always,      // carried out twice it does no more than once
};

struct Request {
  std::string method = {};
  Resource resource = Resource::blob;
  std::vector<std::pair<std::string, std::string>> query = {};    // not percent-encoded; lower-case names
  std::vector<std::pair<std::string, std::string>> headers = {};  // lower-case names; "x-ms-..." only, no empty value
  std::string if_none_match = {};                                 // "*": only when there is none yet
  std::span<const std::byte> body = {};                           // lives as long as the request is under way
  int success = 200;  // the one status that says that it was done: other servers on the way have others
  Repeat repeat = Repeat::always;
};

struct Answer {
  int status = 0;                              // 0: none came
  std::map<std::string, std::string> headers;  // lower-case names
  std::string body;                            // of a failure: its beginning; else where the body was asked as text

  /// The header's value, or an empty text.
  const std::string& header(const std::string& name) const;
  bool succeeded() const { return status >= 200 && status < 300; }
};

}  // namespace azurestoragewrapper
