// One raw curl handle that sends GETs with a bearer token: what the client is measured against.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace bench {

class RawHandle {
 public:
  RawHandle(const std::string& ca_file, const std::string& token_line) : handle_(curl_easy_init()) {
    for (const char* line : {"Version: 4", "Content-Type: application/json", "Accept: application/json"}) {
      Append(line);
    }
    Append(token_line.c_str());
    Append("Content-Length: 0");
    curl_easy_setopt(handle_.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_.get(), CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(handle_.get(), CURLOPT_CAINFO, ca_file.c_str());
    curl_easy_setopt(handle_.get(), CURLOPT_HTTPHEADER, headers_.get());
    curl_easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION, &Discard);
  }

  /// True when the answer was a 200.
  bool Get(const std::string& url) {
    long status = 0;
    curl_easy_setopt(handle_.get(), CURLOPT_URL, url.c_str());
    return curl_easy_perform(handle_.get()) == CURLE_OK &&
           curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status == 200;
  }

 private:
  struct HandleDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  static std::size_t Discard(char* /*data*/, std::size_t size, std::size_t count, void* /*user*/) {
    return size * count;
  }
  void Append(const char* line) { headers_.reset(curl_slist_append(headers_.release(), line)); }

  std::unique_ptr<curl_slist, ListDeleter> headers_;
  std::unique_ptr<CURL, HandleDeleter> handle_;
};

}  // namespace bench
