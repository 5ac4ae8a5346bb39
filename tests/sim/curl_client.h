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
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer.head);
    answer.result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
  }

  Answer get(const std::string& url, const std::vector<std::string>& headers = {}) { return send("GET", url, headers); }

 private:
  static std::size_t append(const char* data, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
  }

  std::string ca_file_;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_{curl_easy_init(), curl_easy_cleanup};
};

}  // namespace sim_test
