// A plain libcurl client for the simulator's tests: one handle, one connection, everything it got.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/simulator.h"

namespace sim_test {

struct Answer {
  CURLcode result = CURLE_OK;
  long status = 0;
  std::string head;
  std::string body;

  /// The member "error"."code" of Resource Manager's errors, or "error" of a login authority's.
  std::string error() const {
    const auto json = nlohmann::json::parse(body, nullptr, false);
    if (!json.is_object() || !json.contains("error")) return "none";
    return json["error"].is_object() ? json["error"].value("code", "none") : json["error"].get<std::string>();
  }
};

class CurlClient {
 public:
  /// `ca_file` empty: the system's authorities, which do not know the simulator.
  explicit CurlClient(std::string ca_file) : ca_file_(std::move(ca_file)) {}

  Answer send(const std::string& method, const std::string& url, const std::vector<std::string>& headers = {},
              const std::string& body = "") {
    Answer answer;
    CURL* curl = curl_.get();
    curl_easy_reset(curl);
    curl_slist* list = nullptr;
    for (const std::string& header : headers) list = curl_slist_append(list, header.c_str());
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> owner(list, curl_slist_free_all);
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    if (!body.empty()) curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    if (!ca_file_.empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, ca_file_.c_str());
    Body body_so_far{answer.body, most_bytes_};
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append_body);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body_so_far);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, append);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer.head);
    answer.result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
  }

  /// Breaks answers off as soon as a body has so many bytes; the result is CURLE_WRITE_ERROR then.
  void break_off_after(std::size_t bytes) { most_bytes_ = bytes; }

  Answer get(const std::string& url, const std::vector<std::string>& headers = {}) { return send("GET", url, headers); }

 private:
  static std::size_t append(const char* data, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
  }

  struct Body {
    std::string& text;
    std::size_t most_bytes;
  };
  static std::size_t append_body(const char* data, std::size_t size, std::size_t count, void* body) {
    auto& [text, most_bytes] = *static_cast<Body*>(body);
    return append(data, size, count, &text) + (text.size() < most_bytes ? 0 : 1);
  }

  std::string ca_file_;
  std::size_t most_bytes_ = std::string::npos;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_{curl_easy_init(), curl_easy_cleanup};
};

}  // namespace sim_test
