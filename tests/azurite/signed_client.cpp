#include "tests/azurite/signed_client.h"

#include <utility>

#include "sim/shared_key.h"
#include "tests/azurite/azurite_server.h"

namespace azurite {
namespace {

using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

struct Body {
  std::string text;
  std::size_t most_bytes;
};

std::size_t take_body(const char* data, std::size_t size, std::size_t count, void* body) {
  auto& [text, most_bytes] = *static_cast<Body*>(body);
  text.append(data, size * count);
  return text.size() >= most_bytes ? 0 : size * count;
}

std::size_t take_head(const char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

void append(HeaderList& list, const std::string& name, const std::string& value) {
  list.reset(curl_slist_append(list.release(), (name + ": " + value).c_str()));
}

/// The headers and the authorization that covers them.
HeaderList signed_headers(const std::string& account, const sim::SignedParts& parts) {
  HeaderList list(nullptr, curl_slist_free_all);
  for (const auto& [name, value] : parts.ms_headers) append(list, name, value);
  append(list, "Content-Type", parts.content_type);
  append(list, "Authorization", sim::shared_key_authorization({account, key(account)}, parts));
  return list;
}

std::string url_text(const std::string& account, std::uint16_t port, const std::string& path, const Texts& query) {
  std::string url = "http://" + account + ".blob.localhost:" + std::to_string(port) + path;
  char mark = '?';
  for (const auto& [name, value] : query) {
    url.append(1, mark).append(name).append("=").append(value);
    mark = '&';
  }
  return url;
}

}  // namespace

SignedClient::SignedClient(std::uint16_t port, std::string account) : port_(port), account_(std::move(account)) {}

ClientAnswer SignedClient::send(const std::string& method, const std::string& path, const Texts& query,
                                Texts ms_headers, const std::string& body) {
  ms_headers["x-ms-date"] = "Mon, 23 Nov 2026 12:00:00 GMT";  // the service of the tests looks at no clock
  ms_headers["x-ms-version"] = version_;
  const HeaderList headers =
      signed_headers(account_, {.method = method,
                                .path = path,
                                .query = query,
                                .ms_headers = std::move(ms_headers),
                                .content_length = body.empty() ? "" : std::to_string(body.size()),
                                .content_type = body.empty() ? "" : "application/octet-stream"});
  ClientAnswer answer;
  Body received{{}, most_bytes_};
  CURL* curl = curl_.get();
  curl_easy_reset(curl);
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_URL, url_text(account_, port_, path, query).c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, take_body);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &received);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, take_head);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer.head);
  if (method == "PUT") {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
  }
  if (method == "HEAD") {
    curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  } else {
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
  }
  answer.result = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
  answer.body = std::move(received.text);
  return answer;
}

}  // namespace azurite
